#include <chrono>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>

#include "tests/TestSupport.h"

namespace fs = std::filesystem;

namespace
{
constexpr char LAUNCHER[] = "../../utils/ETC/ShCmd ";

TEST(ShCmd, GivesWhatTheCommandGives)
{
    const CTestTree tree;
    const struct
    {
        const char* why;
        const char* call;
        int status;
        const char* out = "";
    } cases[] = {
        {"arguments stay what they are", "20 printf '%s|' 'a  b' '$x' '' '*'", 0, "a  b|$x||*|"},
        {"input", "20 cat <<X\nline\nX\n", 0, "line\n"},
        {"no input", "20 cat <&-", 0},
        {"killed by itself", "20 sh -c 'kill -9 $$'", 137},
        {"in the background", "20 sh -c 'echo a; exit 5' & wait $!", 5, "a\n"},
        {"no such command", "20 ./nowhere", 127},
        {"a word of the shell", "20 if", 127},
        {"a command of the shell alone", "20 export", 127},
        {"a folder", "20 /", 126},
        {"no command", "20", 125},
        {"no limit", "0 echo a", 125},
        {"beyond all numbers", "9999999999 echo a", 125},
    };
    for (const auto& row : cases) {
        const ST_TEST_RUN run = fgRunCommand(std::string(LAUNCHER) + row.call);
        EXPECT_EQ(row.status, run.l_nStatus) << row.why;
        EXPECT_EQ(row.out, run.l_strOut) << row.why;
        EXPECT_EQ("", run.l_strErr) << row.why;
    }
}

TEST(ShCmd, EndsTheWholeGroup)
{
    const std::string stubborn = "trap '' TERM; echo $$ > command; sleep 60 & echo $! > child; wait";
    const std::string at = std::string(LAUNCHER) + "1 sh job";
    const struct
    {
        const char* why;
        std::string job, call;
        int status;
    } cases[] = {
        {"ignores the signal", stubborn, at, 124},
        {"child ignores it",
         "echo $$ > command; sh -c 'trap \"\" TERM; sleep 60; sleep 60' & echo $! > child; wait", at, 124},
        {"child stays behind, until then",
         "echo $$ > command; (sleep 0.1; echo > early; exec sleep 60) & echo $! > child; exit 3", at, 3},
        {"signal before the limit", stubborn,
         std::string(LAUNCHER) + "60 sh job & until [ -s child ]; do sleep 0.02; done; kill $!; wait $!",
         137},
    };
    for (const auto& row : cases) {
        const CTestTree tree;
        fgWriteFile("job", row.job);
        const auto begin = std::chrono::steady_clock::now();
        const ST_TEST_RUN run = fgRunCommand(row.call);
        EXPECT_GT(std::chrono::seconds(20), std::chrono::steady_clock::now() - begin) << row.why;
        EXPECT_EQ(row.status, run.l_nStatus) << row.why;
        EXPECT_EQ("", run.l_strErr) << row.why;
        EXPECT_TRUE(fgAwait([] { return fgHasEnded("command") && fgHasEnded("child"); })) << row.why;
        EXPECT_EQ(row.status == 3, fs::exists("early")) << row.why;
    }
}
} // namespace
