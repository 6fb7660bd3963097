#include "tests/TestSupport.h"

// The example agent, which docs/embedding.md shows.

TEST(ExampleAgent, IsWhatThePageShows)
{
    const std::string source = fgReadFile(HOSTMETRICS_FIXTURES "/../../examples/agent/agent.cpp");
    const std::string page = fgReadFile(HOSTMETRICS_FIXTURES "/../../docs/embedding.md");
    EXPECT_NE(page.find("```cpp\n" + source + "```\n"), std::string::npos);
}

TEST(ExampleAgent, KeepsWhatItCannotWrite)
{
    const CTestTree tree;
    for (const char* script : {"agent/bin/libinvinfo", "agent/bin/shell/libinvdiskexe.sh"})
        tree.fReplaceScript(script, "#!/bin/sh\n"); // may run on when the agent has ended
    const std::string line =
        "HOSTMETRICS_HOST_ROOT=" HOSTMETRICS_FIXTURES "/linux-6.1/t0 " HOSTMETRICS_EXAMPLE_AGENT " 0 2";
    const ST_TEST_RUN run = fgRunCommand(line);
    EXPECT_EQ(std::pair(run.l_nStatus, run.l_strErr), std::pair(0, std::string()));
    EXPECT_TRUE(fgNames("../buffer").empty());
    EXPECT_EQ(fgRunCommand(line + " >/dev/full").l_nStatus, 0);
    std::string kept;
    for (const std::string& name : fgNames("../buffer"))
        kept += fgReadFile("../buffer/" + name);
    for (const char* name : {"disks", "cpu", "processes"}) {
        const std::string header = *name == 'c' ? "NAME\x03\x1F~" : "INDEX\x03\x1F~";
        EXPECT_NE(run.l_strOut.find(name + (" " + header)), std::string::npos) << run.l_strOut;
        EXPECT_NE(kept.find(name + ("\x03\x1F^" + header)), std::string::npos) << kept;
    }
    EXPECT_NE(fgReadFile("../log/" + fgNames("../log")[0]).find("setmntent failed"), std::string::npos);
}
