#include "lib/NCmdScheduler.h"

#include <thread>
#include <unistd.h>

#include "lib/SharedFlag.h"
#include "tests/TestSupport.h"

namespace
{
class CSchedulerTest : public testing::Test
{
protected:
    CSchedulerTest()
    {
        g_pclOmniLog->fSetThreadChk(1);
        m_Scheduler.fSetCmdSchedulerHomePath(m_strHome.c_str());
    }
    int fSave(std::string key, const std::string& cmd)
    {
        return m_Scheduler.fCmdSave(key.data(), cmd.c_str());
    }
    std::string fTop(const char* name) const { return m_Tree.fPath(name); }
    bool fLogged(const std::string& text) const { return m_Log.fLines().back().ends_with("]" + text); }
    // Saves the same 50 commands from four threads.
    void fSaveFromFour(const std::string& cmd)
    {
        const auto save = [&] {
            for (int key = 10; key < 60; ++key)
                fSave("k" + std::to_string(key), cmd);
        };
        const std::jthread callers[] = {std::jthread(save), std::jthread(save), std::jthread(save),
                                        std::jthread(save)};
    }
    // A command that ends when the file "go" is there, or in the end without it.
    std::string fUntilGo() const
    {
        return "for i in $(seq 500); do [ ! -e " + fTop("go") + " ] || break; sleep 0.02; done";
    }

    CTestTree m_Tree;
    CTestLog m_Log;
    std::string m_strHome = m_Tree.fPath("agent/cmd/");
    CCmdScheduler m_Scheduler;
};

TEST_F(CSchedulerTest, RefusesWhatIsMissing)
{
    for (auto row :
         fgCases("commands/refused")) // home, key, command, of which one may be none, and what it says
        for (const int type : {CMD_TYPE_FILE, CMD_TYPE_LIST}) {
            const auto text = [&row](size_t at) { return row[at] == "none" ? nullptr : row[at].data(); };
            CCmdScheduler scheduler;
            scheduler.m_nCmdSchedulerType = type;
            scheduler.fSetCmdSchedulerHomePath(text(0));
            EXPECT_EQ(-1, scheduler.fCmdSave(text(1), text(2)));
            EXPECT_TRUE(fLogged("command save " + row.at(3))) << row[3];
        }
}

TEST_F(CSchedulerTest, FileModeWritesOneFileForAPendingKeyOrRuns)
{
    const std::string file = m_strHome + "shcmd_cpu_inv_1.cmd";
    fs::create_symlink(fTop("elsewhere"), file); // leads nowhere: nothing may be created there
    char key[] = "cpu inv/1";
    EXPECT_EQ(0, m_Scheduler.fCmdSave(key, "x"));
    EXPECT_STREQ("cpu_inv_1", key);
    EXPECT_TRUE(fLogged("command save success[" + file + "] : x"));
    EXPECT_EQ(1, m_Scheduler.m_nCmdSaveFlag);
    // A literal: a key that needs no change is not written to.
    EXPECT_EQ(0, m_Scheduler.fCmdSave(const_cast<char*>("cpu_inv_1"), "y"));
    EXPECT_TRUE(fLogged("command already save [" + file + "]-skip : y"));
    EXPECT_EQ("x", fgReadFile(file));
    EXPECT_EQ(fs::perms(0600), fs::symlink_status(file).permissions()) << "those of a link are others";

    fSaveFromFour("x");
    EXPECT_EQ(50, m_Log.fCount("command save success[" + m_strHome + "shcmd_k"));
    EXPECT_EQ(150, m_Log.fCount("command already save [" + m_strHome + "shcmd_k"));
    EXPECT_EQ(-1, fSave(std::string(300, 'k'), "x"));
    EXPECT_EQ(1, m_Log.fCount("kkk.cmd) open failed : File name too long"));
    for (const std::string& name : fgNames(m_strHome))
        EXPECT_FALSE(name.starts_with(".shcmd_")) << "a draft is left behind";

    m_Scheduler.m_nCmdRunFlag = 1; // at once, and no file
    EXPECT_EQ(0, fSave("now", "echo done > " + fTop("out")));
    EXPECT_EQ("done\n", fgReadFile(fTop("out")));
    m_Scheduler.m_nCmdRunFlag = 0;
    const std::string longest = "/" + std::string(509, 'h');
    m_Scheduler.fSetCmdSchedulerHomePath((longest + "hhh").c_str());
    EXPECT_TRUE(fLogged("command schedule daemon home path set : " + longest + "/"));
    EXPECT_EQ(-1, fSave("k", "x")) << "no such folder";
}

TEST_F(CSchedulerTest, ListsTheLineThatIsRun)
{
    for (const auto& row : fgCases("commands/lines")) { // home, key, command, the line
        CCmdScheduler scheduler;
        scheduler.fSetCmdSchedulerHomePath(row[0].c_str());
        for (int times = 0; times < 2; ++times)
            EXPECT_EQ(0, scheduler.fCmdPush(row.at(1).c_str(), row.at(2).c_str()));
        ASSERT_EQ(1u, scheduler.m_CmdList.size()) << row.at(3);
        EXPECT_EQ(row[1], scheduler.m_CmdList.front()->l_strCmdReqKey);
        EXPECT_EQ(row[3], scheduler.m_CmdList.front()->l_pstrCmdStr);
        EXPECT_TRUE(fLogged("exists command in linked-list[" + row[3] + "]"));
    }
}

TEST_F(CSchedulerTest, ListCycleStartsEachCommandOnceAndForgetsIt)
{
    m_Scheduler.m_nCmdSchedulerType = CMD_TYPE_LIST;
    EXPECT_EQ(0, fSave("inv/1", fUntilGo() + "; echo slow >> " + fTop("out") + "; (exit 3)"));
    EXPECT_EQ(0, fSave("inv 2", "echo quick >> " + fTop("out") + " &\n"));
    const std::string result = m_Scheduler.m_CmdList.front()->l_pstrResultFile;
    EXPECT_TRUE(result.starts_with(m_strHome + "inv_1_1")) << result; // the seconds since 1970 begin with 1
    m_Scheduler.fCmdListCycle(); // would not end if it waited for the first
    EXPECT_TRUE(fgAwait([&] { return fgReadFile(fTop("out")) == "quick\n"; }));
    EXPECT_EQ(1, m_Scheduler.m_CmdList.front()->l_nStatus);
    fgWriteFile(fTop("go"), "");
    EXPECT_TRUE(fgAwait([&] { return fgReadFile(result) == "3\n"; }));
    EXPECT_TRUE(fgAwait([&] { return m_Scheduler.fCmdListCycle(), m_Scheduler.m_CmdList.empty(); }));
    EXPECT_FALSE(fs::exists(result));
    EXPECT_EQ("quick\nslow\n", fgReadFile(fTop("out")));
    EXPECT_LE(1, m_Log.fCount("CmdScheduler Thread end[0]"));
}

TEST_F(CSchedulerTest, ListChangesWhileItIsWorkedOff)
{
    m_Scheduler.m_nCmdSchedulerType = CMD_TYPE_LIST;
    // Closes the group that the line is put in, so that the start takes as long as we like.
    fSave("k", "true); touch " + fTop("began") + "; " + fUntilGo() + "; ( true");
    std::thread cycle([this] { m_Scheduler.fCmdListCycle(); });
    EXPECT_TRUE(fgAwait([&] { return fs::exists(fTop("began")); }));
    fSaveFromFour("true");
    EXPECT_EQ(1, m_Scheduler.fCmdSchedulerStop()); // the entry that is being started stays alive
    EXPECT_EQ(0, fgLoadFlag(m_Scheduler.m_nSyncFlag));
    fgWriteFile(fTop("go"), "");
    cycle.join();
    EXPECT_TRUE(m_Scheduler.m_CmdList.empty());
}

TEST_F(CSchedulerTest, QueueHoldsSoManyAndRunsThemInTurn)
{
    m_Scheduler.m_nCmdSchedulerType = CMD_TYPE_QUEUE;
    EXPECT_EQ(-1, fSave("k", "true"));
    EXPECT_EQ(1, m_Log.fCount("cmdQueue push failed"));
    m_Scheduler.m_pcQueue = new Queue<MessageQData*>; // the scheduler's from here
    EXPECT_EQ(0, m_Scheduler.fCmdQueueCycle());
    const std::string cmd = "echo 1 >> " + fTop("out") + "; sleep 0.05; echo 2 >> " + fTop("out");
    EXPECT_EQ(0, fSave("k", cmd));
    EXPECT_EQ(0, m_Scheduler.fCmdQueuePush(nullptr)); // passed over
    m_Scheduler.fGetMessageQueue()->push(nullptr);
    for (int i = 3; i < 51; ++i)
        EXPECT_EQ(0, m_Scheduler.fCmdQueuePush(("echo 3 >> " + fTop("out")).c_str()));
    EXPECT_EQ(0, m_Log.fCount("overflow"));
    EXPECT_EQ(0, m_Scheduler.fCmdQueuePush("true"));
    EXPECT_EQ(1, m_Log.fCount("cmdQueue count overflow-skip [51]"));
    for (int left = 51; left > 47; --left)
        EXPECT_EQ(left, m_Scheduler.fCmdQueueCycle());
    EXPECT_EQ("1\n2\n3\n", fgReadFile(fTop("out")));
}

TEST_F(CSchedulerTest, FileModeCallsTheScriptsOfTheHomeFolder)
{
    const std::string home = fTop("it's & blank") + "/";
    for (const char* script : {"start", "stop"})
        m_Tree.fReplaceScript("it's & blank/cmd_scd_" + std::string(script) + ".sh",
                              "#!/bin/sh\necho \"$0 $# $1\" >> \"$1out\"\nexit 1\n");
    m_Scheduler.m_nCmdSaveFlag = 1;
    m_Scheduler.fSetCmdSchedulerHomePath(home.c_str());
    fgStoreFlag(g_nCmdSync, 1); // as while a script of somebody else runs
    std::thread start([this] { EXPECT_EQ(1, m_Scheduler.fCmdSchedulerStart()); });
    EXPECT_TRUE(fgAwait([this] { return m_Log.fCount(") execute waiting.....") > 0; }));
    EXPECT_FALSE(fs::exists(home + "out"));
    fgStoreFlag(g_nCmdSync, 0);
    start.join();
    m_Scheduler.m_nCmdSchedulerType = CMD_TYPE_QUEUE; // stops with the script as well
    EXPECT_EQ(1, m_Scheduler.fCmdSchedulerStop());
    EXPECT_EQ(home + "cmd_scd_start.sh 1 " + home + "\n" + home + "cmd_scd_stop.sh 1 " + home + "\n",
              fgReadFile(home + "out"));
    EXPECT_EQ(0, fgLoadFlag(g_nCmdSync) + m_Scheduler.m_nCmdSaveFlag);
}

// The threads live as long as their process: they are started in a child that is left without clearing up.
TEST_F(CSchedulerTest, ThreadsAreStartedOnce)
{
    for (const int type : {CMD_TYPE_LIST, CMD_TYPE_QUEUE}) {
        m_Scheduler.m_nCmdSchedulerType = type;
        const auto start = [&] {
            bool good = m_Scheduler.fCmdSchedulerStart() == 1 && m_Scheduler.m_nThreadStart == 1;
            good = m_Scheduler.fCmdSchedulerStart() == 1 && fSave("k", "true") == 0 && good;
            const char* sign = type == CMD_TYPE_LIST ? "fCmdSchedulerTh init" : "CmdSchedulercmd[true]";
            _exit(fgAwait([&] { return m_Log.fCount(sign) == 1; }) && good ? 0 : 1);
        };
        EXPECT_EXIT(start(), testing::ExitedWithCode(0), "");
    }
    EXPECT_EQ(1, m_Log.fCount("]pthread_create scheduler success"));
    EXPECT_EQ(1, m_Log.fCount("]pthread_create queue_scheduler success"));
}
} // namespace
