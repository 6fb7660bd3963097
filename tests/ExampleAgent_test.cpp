#include <filesystem>

#include "tests/TestSupport.h"

// The example agent, which docs/embedding.md shows.

namespace
{
constexpr char AGENT_SOURCE[] = HOSTMETRICS_FIXTURES "/../../examples/agent/agent.cpp";
constexpr char AGENT_PAGE[] = HOSTMETRICS_FIXTURES "/../../docs/embedding.md";
} // namespace

TEST(ExampleAgent, IsWhatThePageShows)
{
    EXPECT_NE(fgReadFile(AGENT_PAGE).find("```cpp\n" + fgReadFile(AGENT_SOURCE) + "```\n"),
              std::string::npos);
}

TEST(ExampleAgent, KeepsWhatItCannotWrite)
{
    const CTestTree tree;
    for (const char* script : {"agent/bin/libinvinfo", "agent/bin/shell/libinvdiskexe.sh"})
        tree.fReplaceScript(script, "#!/bin/sh\n"); // may run on when the agent has ended
    const std::string line =
        "HOSTMETRICS_HOST_ROOT=" HOSTMETRICS_FIXTURES "/linux-6.1/t0 " HOSTMETRICS_EXAMPLE_AGENT " 0 2";
    const auto stored = [&tree] {
        std::string text;
        for (const auto& file : std::filesystem::directory_iterator(tree.fPath("agent/buffer")))
            text += fgReadFile(file.path());
        return text;
    };
    const ST_TEST_RUN run = fgRunCommand(line);
    EXPECT_EQ(std::pair(run.l_nStatus, run.l_strErr), std::pair(0, std::string()));
    EXPECT_EQ(stored(), "");
    EXPECT_NE(run.l_strOut.find("\ndisks INDEX\x03\x1F~"), std::string::npos) << run.l_strOut;
    EXPECT_NE(run.l_strOut.find("cpu NAME\x03\x1F~"), std::string::npos);
    EXPECT_NE(run.l_strOut.find("processes INDEX\x03\x1F~"), std::string::npos);

    EXPECT_EQ(fgRunCommand(line + " >/dev/full").l_nStatus, 0);
    const std::string kept = stored();
    EXPECT_NE(kept.find("disks\x03\x1F^INDEX\x03\x1F~"), std::string::npos) << kept;
    EXPECT_NE(kept.find("processes\x03\x1F^INDEX\x03\x1F~"), std::string::npos);
    const auto logs = std::filesystem::directory_iterator(tree.fPath("agent/log"));
    EXPECT_NE(fgReadFile(logs->path()).find("setmntent failed"), std::string::npos);
}
