#include "collect/MM_PROC_Info.h"

#include <cstdio>
#include <memory>

#include "driver/RunConfig.h"
#include "tests/TestSupport.h"

namespace
{
using ROWS = std::map<std::string, std::string>;

// A collector whose owner of all is "me", and whose last pass seems 10000 seconds ago: long enough that the
// test's own run time does not show.
struct ST_PROC : CMM_PROC_Info
{
    ST_PROC() { m_pclUser->fAdd2Hash(static_cast<int>(geteuid()), "me"); }
    // A pass. Gives its rows by pid, each from behind the pid on; the header is that of "PID".
    ROWS fRows()
    {
        if (m_stLastTime.tv_sec != 0) m_stLastTime.tv_sec = time(nullptr) - 10000;
        ROWS rows;
        const char* table = fMGetProc(0);
        for (const std::string& row : fgSplit(table == nullptr ? "" : fgReadable(table), "|")) {
            const std::vector<std::string> fields = fgSplit(row, "~");
            if (fields.size() > 1) rows[fields[1]] = row.substr(fields[0].size() + fields[1].size() + 2);
        }
        return rows;
    }
};

// A collector in front of a host of the test's own.
struct ProcHost : CHostTest
{
    // A process with the figures of a fixture's.
    void fProcess(int pid, const std::string& commandLine) const
    {
        const std::string folder = "proc/" + std::to_string(pid);
        for (const char* file : {"/stat", "/statm"})
            m_clTree.fWrite(folder + file, fgFixture(std::string("linux-6.1/t0/proc/1") + file));
        m_clTree.fWrite(folder + "/cmdline", commandLine);
    }
    ST_PROC m_clProc;
};
} // namespace

TEST(ProcInfo, PrintsForPeopleHidesAndForgets)
{
    const CTestSetting extend(g_nProcExtendFlag, 1);
    const CTestHost host("linux-6.1/t0");
    ST_PROC proc;
    testing::internal::CaptureStdout();
    EXPECT_EQ(proc.fRows().size(), 6U);
    host.fMove("linux-6.1/t1");
    const ROWS rows = proc.fRows();
    fflush(stdout);
    const std::string console = testing::internal::GetCapturedStdout();
    EXPECT_NE(console.find("me         1 10.0  1.3    167221     12840 /sbin/init --deep\n"), console.npos)
        << console;
    EXPECT_EQ(fgSplit(console, "/sbin/init").size(), 2U) << "the first pass prints nothing";
    EXPECT_EQ(rows.count("300"), 0U) << "a command line that begins with a blank hides its process";
    EXPECT_EQ(proc.m_ProcMap.count(500), 1U) << "samples of vanished processes stay";
    proc.fProcMapUpdate();
    proc.fRows();
    proc.fProcMapErase();
    EXPECT_EQ(proc.m_ProcMap.count(500), 0U);
    const CTestSetting keep(g_nProcKeepFdMax, 1); // a pass drops the vanished itself
    proc.fRows();
    proc.fProcMapErase();
    EXPECT_EQ(proc.m_ProcMap.size(), 5U) << "and its samples are not those of the vanished";
}

TEST(ProcInfo, ReadsOneProcessBehindAPass)
{
    const CTestHost host("linux-6.1/t0");
    ST_PROC proc;
    proc.fMGetProc(0);
    host.fMove("linux-6.1/t1");
    proc_s work = {};
    const auto one = std::make_unique<_ST_PROC>();
    EXPECT_EQ(proc.fMReadProcTable(300, &work, one.get(), 1000000, 10000, 1), 0) << "hidden";
    ASSERT_EQ(proc.fMReadProcTable(1, &work, one.get(), 1000000, 10000, 1), 1);
    EXPECT_EQ(std::tuple(std::string(one->l_strPname), std::string(one->l_strFName), one->l_dPCPU,
                         one->l_dIOByteRate, one->l_nIsUpNow),
              std::tuple("/sbin/init --deep", "systemd", 1000.0F, 100.0, 1));
    EXPECT_STREQ(one->l_strCTime, "00:17:20");
    EXPECT_STREQ(one->l_strStart, CSSUtil().fGetLocalTime(proc.m_tTime - 12345 + 2));
    one->l_nCTime = 300;
    proc.fMGetPCpu(one.get(), nullptr, 1000);
    EXPECT_FLOAT_EQ(one->l_dPCPU, 30);
    EXPECT_EQ(std::tuple(std::string(work.cmd), work.tty, work.min_flt, work.drs, work.io_write),
              std::tuple("systemd", -1, 100U, 4700, 2097152U))
        << "the work record is whole";
}

TEST(ProcInfo, LayoutsByTheTwoFlags)
{
    const CTestHost host("linux-6.1/t0");
    const CTestSetting fileName(g_nExecedFileNameFlag, 1);
    const CTestSetting extend(g_nProcExtendFlag, 0);
    ST_PROC proc;
    const std::string row = proc.fRows()["100"];
    EXPECT_EQ(row, "prog --x~0.00~0.03~4000~308~R~5~1~me~" + std::to_string(proc.m_tTime) + "~8~2~a (b) c~");
    g_nProcExtendFlag = 7;
    EXPECT_STREQ(proc.fMGetProc(0), "") << "no layout: neither header nor rows";
    EXPECT_EQ(proc.fMGetNProcs(), 5) << "but counted";
}

TEST(ProcInfo, ParsesTheFrontOfStat)
{
    CMM_PROC_Info proc;
    for (auto& row : fgCases("processes/stat")) { // why, the text, what it gives: result, name, terminal
        proc_s work = {};
        const int result = proc.fMStat2Proc(row.at(1).data(), &work);
        const std::string given = std::to_string(result) + " " + work.cmd + " " + std::to_string(work.tty);
        EXPECT_EQ(given, row.at(2)) << row[0];
    }
    proc_s work = {};
    proc.fMCmdline2Proc(std::string().data(), &work);
    EXPECT_STREQ(work.args, "[]");
}

TEST_F(ProcHost, OldKernelsAskTheScripts)
{
    m_clHost.fMove("linux-6.1/t1");
    const CTestSetting type(g_nGetProcessType, 1);
    const CTestSetting java(g_nGetProcessJAVA, 1);
    m_clTree.fScript("PSInfoLIN.sh", "printf '100\\n1\\n9999\\n'");
    m_clProc.m_pstOsVersion->l_nMinorNum = 4;
    EXPECT_EQ(m_clProc.fRows().size(), 3U) << "the header and the two that live";
    EXPECT_EQ(m_clLog.fCount("MinorNum[4]GtrProcType[1]GtrJavaProc[1]"), 1);
    EXPECT_EQ(m_clLog.fCount("top_info"), 0) << "no Java process";

    g_nGetProcessType = 0;
    m_clHost.fMove(m_clTree.fTop());
    fProcess(1, "/opt/java");
    fProcess(2, "java -jar");
    m_clTree.fScript("top_info", "echo >> ../aproc/shell/count.dat");
    m_clTree.fScript("ProcCpuUseTop.sh", "[ $1 = 1 ] && echo 12.5");
    const ROWS rows = m_clProc.fRows();
    EXPECT_TRUE(rows.at("1").starts_with("/opt/java~12.50~"));
    EXPECT_TRUE(rows.at("2").starts_with("java -jar~0.40~")) << "no line, no correction";
    EXPECT_EQ(m_clLog.fCount("top_info gatherTime["), 1);
    EXPECT_EQ(fgReadFile("../aproc/shell/count.dat"), "\n") << "one snapshot a pass";
}

TEST_F(ProcHost, AppendsVirtualMachineRowsToLongCommandLines)
{
    EXPECT_EQ(m_clProc.fMGetProc(0), nullptr) << "no /proc";
    m_clTree.fWrite("proc/77/stat", "77 (half"); // vanishing
    EXPECT_EQ(m_clProc.fMGetProc(0), nullptr);
    for (const int pid : {1, 2, 3})
        fProcess(pid, std::string(20000, static_cast<char>('a' + pid)));
    EXPECT_TRUE(m_clProc.fRows()["3"].starts_with(std::string(10240, 'd') + "~"));
    EXPECT_EQ(m_clProc.m_nProcessInfoBufSize, 40960);
    m_clProc.fSetVMFlag(1, 1);
    m_clProc.fMGetProc(0);
    EXPECT_EQ(m_clLog.fCount("VMWare PROC Gtr ../aproc/shell/vmware_proc.dat file not found"), 1);
    fgWriteFile("../aproc/shell/vmware_proc.dat_", "x~y\n" + std::string(500, 'v'));
    EXPECT_TRUE(fgReadable(m_clProc.fMGetProc(0)).ends_with("|x~y|" + std::string(500, 'v')));
    EXPECT_EQ(m_clProc.fMGetNProcs(), 5);
}
