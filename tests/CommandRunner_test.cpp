#include <filesystem>
#include <gtest/gtest.h>
#include <string>

#include "tests/TestSupport.h"

namespace fs = std::filesystem;

namespace
{
// The runner of a tree's own home folder, with short times. It never outlives the test.
class CCommandRunner : public testing::Test
{
protected:
    CCommandRunner() : m_strHome(m_Tree.fPath("agent/cmd")) {}
    ~CCommandRunner() override { fStop(); }
    ST_TEST_RUN fRun(const std::string& before, const char* script, const std::string& behind = "") const
    {
        return fgRunCommand(before + " " + m_strHome + "/cmd_scd_" + script + ".sh ../cmd/ " + behind);
    }
    int fStart() const { return fRun("CMD_SCD_LIMIT=1 CMD_SCD_POLL=0.05", "start").l_nStatus; }
    int fStop() const { return fRun("", "stop").l_nStatus; }
    std::string fFile(const std::string& name) const { return m_strHome + "/shcmd_" + name + ".cmd"; }
    void fSave(const std::string& name, const std::string& cmd) const { fgWriteFile(fFile(name), cmd); }
    std::string fRunnerNumber() const { return fgReadFile(m_strHome + "/.cmd_scd.pid"); }
    bool fPending() const
    {
        for (const fs::directory_entry& entry : fs::directory_iterator(m_strHome))
            if (!entry.is_symlink() && entry.path().extension() == ".cmd") return true;
        return false;
    }
    bool fDone() const
    {
        return fgAwait([this] { return !fPending(); });
    }

    CTestTree m_Tree;
    std::string m_strHome;
};

TEST_F(CCommandRunner, RunsEachFileOnceAndOneAtATime)
{
    const std::string step = "mkdir turn && sleep 0.1 && echo $$ >> out && rmdir turn";
    fSave("a", step + " &"); // in the background: the next one has to wait all the same
    fSave("ab", step);
    fSave("b", "kill -9 $$");
    fSave("c", "exit 127"); // its own status: it was started
    fSave("d", "trap '' TERM; echo $$ > hung; sleep 60; sleep 60");
    fgWriteFile("./foreign", step);
    fs::create_symlink("../bin/foreign", fFile("link")); // not ours to run or to remove
    EXPECT_EQ(0, fStart());
    EXPECT_TRUE(fDone());
    EXPECT_TRUE(fgHasEnded("hung"));
    fSave("a", step);
    EXPECT_TRUE(fDone());
    EXPECT_EQ(3u + 1u, fgSplit(fgReadFile("out"), "\n").size());
    EXPECT_TRUE(fs::is_symlink(fFile("link")));
}

TEST_F(CCommandRunner, ThereIsOneForAFolder)
{
    EXPECT_EQ("", fRun("for i in 1 2 3 4; do CMD_SCD_POLL=0.05", "start", "& done; wait").l_strErr);
    const std::string runner = fRunnerNumber();
    EXPECT_EQ(0, fStart());
    EXPECT_EQ(runner, fRunnerNumber());
    const std::string stats =
        "grep -la 'cmd_scd_run[.]sh.'" + m_strHome + " /proc/[0-9]*/cmdline 2>/dev/null";
    const std::string one = "/proc/" + fgSplit(runner, "\n")[0] + "/cmdline\n";
    EXPECT_TRUE(fgAwait([&] { return fgRunCommand(stats).l_strOut == one; })); // and no child before its exec
    fgWriteFile("runner", runner);
    EXPECT_EQ(0, fStop());
    EXPECT_TRUE(fgHasEnded("runner"));
    EXPECT_EQ(0, fStop());
}

// The caller ignores the signals that end the runner, and waits for everybody who holds its pipe open.
TEST_F(CCommandRunner, StopEndsTheCommandAndLeavesTheRest)
{
    fSave("a", "echo $$ > command; sleep 60");
    fSave("b", "echo done > out");
    EXPECT_EQ(0, fRun("( trap '' TERM HUP INT;", "start", "3>&1 5>&1 7>&1 ) | timeout 20 cat").l_nStatus);
    EXPECT_TRUE(fgAwait([] { return !fgReadFile("command").empty(); }));
    EXPECT_EQ(0, fStop());
    EXPECT_TRUE(fgHasEnded("command"));
    EXPECT_FALSE(fs::exists(fFile("a")));
    EXPECT_TRUE(fs::exists(fFile("b")));
    EXPECT_EQ("", fRunnerNumber());
}

TEST_F(CCommandRunner, KeepsWhatItCannotStart)
{
    for (const char* setting : {"LIMIT=0", "POLL=2sec", "POLL=0.0", "POLL=1.2.3"}) {
        const ST_TEST_RUN run = fRun("CMD_SCD_" + std::string(setting), "start");
        EXPECT_EQ(1, run.l_nStatus) << setting;
        EXPECT_TRUE(run.l_strErr.starts_with("cmd_scd_start.sh: CMD_SCD_")) << setting;
    }
    m_Tree.fReplaceScript("utils/ETC/ShCmd", "#!/bin/sh\necho >> tried\nexit 127\n");
    fSave("a", "echo done > out");
    EXPECT_EQ(0, fStart());
    EXPECT_TRUE(fgAwait([] { return fgReadFile("tried").size() > 1; }));
    EXPECT_TRUE(fs::exists(fFile("a")));
}

TEST_F(CCommandRunner, DoesNotRepeatWhatAKilledOneHadBegun)
{
    fSave("a", "echo a >> out; kill -9 $(cat " + m_strHome + "/.cmd_scd.pid); sleep 60");
    EXPECT_EQ(0, fStart());
    EXPECT_TRUE(fgAwait([] { return fgReadFile("out") == "a\n"; }));
    fgWriteFile("runner", fRunnerNumber());
    EXPECT_TRUE(fgAwait([] { return fgHasEnded("runner"); }));
    EXPECT_TRUE(fs::exists(fFile("a")));
    fSave("b", "echo b >> out");
    EXPECT_EQ(0, fStart());
    EXPECT_TRUE(fDone());
    EXPECT_EQ("a\nb\n", fgReadFile("out"));
}
} // namespace
