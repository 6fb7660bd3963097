#include <chrono>
#include <filesystem>

#include "tests/TestSupport.h"

namespace fs = std::filesystem;

namespace
{
TEST(RecentLogFile, NamesTheAgentFileWrittenLast)
{
    const CTestTree tree;
    int age = 100;
    // The one wanted has neither the first nor the last number, but was written last.
    for (const char* name : {"20240101_AGENT.log", "20240101_AGENT_2.log", "20240101_AGENT_1.log",
                             "20240101_OTHER.log", "20240101_AGENT_3.log.gz", "20240102_my agent.log"})
    {
        fgWriteFile(name, "");
        fs::last_write_time(name, fs::file_time_type::clock::now() - std::chrono::seconds(age--));
    }
    fs::create_directory("20240101_AGENT_4.log");
    fs::create_symlink("20240101_AGENT_2.log", "20240101_AGENT_5.log");
    fgWriteFile("other", "kept");
    fs::create_symlink("../../bin/other", "../aproc/shell/recentlogfile.dat");
    for (const auto& [argument, answer] : {std::pair("20240101", "20240101_AGENT_1.log\n"),
                                           {"20240102", "20240102_my agent.log\n"},
                                           {"20240103", ""},
                                           {"", ""},
                                           {"202401011", ""},
                                           {"2024010.", ""}})
    {
        const ST_TEST_RUN run = fgRunCommand(std::string("../../utils/INSTALL/recentlogfile.sh ") + argument);
        EXPECT_EQ(0, run.l_nStatus);
        EXPECT_EQ("", run.l_strOut + run.l_strErr);
        EXPECT_EQ(answer, fgReadFile("../aproc/shell/recentlogfile.dat")) << argument;
    }
    EXPECT_EQ("kept", fgReadFile("other"));
}
} // namespace
