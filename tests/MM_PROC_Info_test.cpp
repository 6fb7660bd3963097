#include "collect/MM_PROC_Info.h"

#include <cfloat>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>
#include <random>

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
    // A row of two texts and between them the owner and the start of a process, in ticks after boot.
    std::string fRow(const std::string& left, long ticks, const std::string& right) const
    {
        return left + "~me~" + std::to_string(m_tTime - 12345 + ticks / 100) + "~" + right + "~";
    }
};

// A process of a tree with the figures of a fixture's.
void fWriteProcess(const CTestTree& tree, int pid, const std::string& commandLine)
{
    const std::string folder = tree.fPath("proc/" + std::to_string(pid));
    for (const char* file : {"/stat", "/statm"})
        fgWriteFile(folder + file,
                    fgReadFile(std::string(HOSTMETRICS_FIXTURES "/linux-6.1/t0/proc/1") + file));
    fgWriteFile(folder + "/cmdline", commandLine);
}
} // namespace

TEST(ProcInfo, RatesBetweenTwoPasses)
{
    const CTestSetting extend(g_nProcExtendFlag, 1);
    const CTestHost host("linux-6.1/t0");
    ST_PROC proc;
    testing::internal::CaptureStdout();
    const ROWS first = proc.fRows();
    EXPECT_EQ(first.at("500").find("~0.00~"), first.at("500").find('~')) << "no rates";

    host.fMove("linux-6.1/t1");
    const ROWS rows = proc.fRows();
    fflush(stdout);
    const std::string console = testing::internal::GetCapturedStdout();
    EXPECT_NE(console.find("me         1 10.0  1.3    167221     12840 /sbin/init --deep\n"), console.npos)
        << console;
    EXPECT_EQ(fgSplit(console, "/sbin/init").size(), 2U) << "the first pass prints nothing";
    EXPECT_EQ(
        rows, // without 300: a command line that begins with a blank hides its process
        (ROWS{
            {"PID", "ARGS~PCPU~PMEM~VSZ~RSS~STAT~NICE~PPID~USER~STIME~CTIME~THCNT~APPID~PRI~"
                    "PUSERCPU~PSYSCPU~IOBYTECOM~IOBYTE~IOBYTERATE~"},
            {"1", proc.fRow("/sbin/init --deep~10.00~1.28~167221~12840~S~0~0", 250,
                            "1040~3~1~20~6.00~4.00~1003072.00~1000000.00~1.00")},
            {"2", proc.fRow("[kthreadd]~0.00~0.00~0~0~?~0~0", 251, "0~1~0~20~0.00~0.00~0.00~0.00~0.00")},
            {"100",
             proc.fRow("prog --x~0.00~0.03~4000~308~R~5~1", 1234567, "0~2~99~25~0.00~0.00~4.00~0.00~0.00")},
            {"200", proc.fRow("[dead]~0.00~0.00~0~0~Z~0~100", 1300000, "0~1~99~20~0.00~0.00~0.00~0.00~0.00")},
            {"400", proc.fRow("/usr/bin/late~0.01~0.02~2000~200~S~-5~1", 1234000,
                              "1~1~400~20~0.00~0.00~0.00~0.00~0.00")}}));
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

TEST(ProcInfo, LayoutsByTheTwoFlags)
{
    const CTestHost host("linux-6.1/t0");
    const CTestSetting fileName(g_nExecedFileNameFlag, 1);
    const CTestSetting extend(g_nProcExtendFlag, 0);
    ST_PROC proc;
    const std::string row = proc.fRows()["100"];
    EXPECT_EQ(row, proc.fRow("prog --x~0.00~0.03~4000~308~R~5~1", 1234567, "8~2~a (b) c"));
    g_nProcExtendFlag = 7;
    EXPECT_STREQ(proc.fMGetProc(0), "") << "no layout: neither header nor rows";
    EXPECT_EQ(proc.fMGetNProcs(), 5) << "but counted";
}

TEST(ProcInfo, NothingToReadIsNoTable)
{
    const CTestTree tree;
    const CTestHost host(tree.fTop());
    ST_PROC proc;
    EXPECT_EQ(proc.fMGetProc(0), nullptr) << "no /proc";
    fgWriteFile(tree.fPath("proc/77/stat"), "77 (half"); // vanishing
    EXPECT_EQ(proc.fMGetProc(0), nullptr);
}

// What every field can hold at most, between guard bytes.
TEST(ProcInfo, LongestRowsFitAndAreNarrowed)
{
    const auto record = std::make_unique<_ST_PROC>();
    std::string text(PROC_ROW_SIZE, '#');
    _ST_PROC& p = *record;
    memset(p.l_strPname, 'n', sizeof(p.l_strPname) - 1);
    memset(p.l_strUname, 'u', sizeof(p.l_strUname) - 1);
    for (int* field : {&p.l_nPid, &p.l_nPPid, &p.l_nNice, &p.l_nPriority, &p.l_nThreads, &p.l_nCTime,
                       &p.l_nStart, &p.l_uPSid})
        *field = INT_MIN;
    p.l_chStatus = 'S';
    p.l_ulVSZ = 0x1ffffffffUL; // printed narrowed: -1
    p.l_dPCPU = p.l_dPMEM = -FLT_MAX;
    for (double* field : {&p.l_dPUserCpu, &p.l_dPSysCpu, &p.l_dIOByteCom, &p.l_dIOByte, &p.l_dIOByteRate})
        *field = -DBL_MAX;
    const char* end = fgPutProcRow(text.data(), PROC_LAYOUT_EXTENDED, INT_MAX, p);
    ASSERT_LE(static_cast<size_t>(end - text.data()), PROC_ROW_SIZE);
    const std::vector<std::string> fields = fgSplit(fgReadable(std::string(text.c_str(), end)), "~");
    EXPECT_EQ(fields.size(), 22U);
    EXPECT_EQ(std::tuple(fields[2].size(), fields[5], fields[10].size(), fields[12]),
              std::tuple(PROC_NAME_SIZE - 1, "-1", sizeof(p.l_strUname) - 1, "-21474836"));
}

// The hand-written parser against sscanf: the same texts taken and refused, the same values.
TEST(ProcInfo, ParsesStatAsSscanfDoes)
{
    std::mt19937 random(4);
    const std::string line =
        "S 1 2 -3 34816 -1 4194560 100 200 3 4 1500 2500 30 40 20 0 3 0 250 171234567 3210 "
        "18446744073709551615 1 2 3 4 5 671173123 0x1000 -4EC 7fffffffffffffff 9 17 1";
    for (int i = 0; i < 20000; i++) {
        std::string text = line;
        for (unsigned damage = random() % 4; damage > 0 && !text.empty(); damage--) {
            const size_t at = random() % text.size();
            const size_t lost = random() % 3 == 0 ? text.npos : random() % 4;
            text.replace(at, lost, std::string(random() % 2, " -x9\n"[random() % 5]));
        }
        proc_s a = {};
        proc_s b = {};
        const auto hex = [](long long& value) { return reinterpret_cast<unsigned long long*>(&value); };
        const int count =
            sscanf(text.c_str(), FORMAT_PROC_STAT, &a.state, &a.ppid, &a.pgrp, &a.session, &a.tty, &a.tpgid,
                   &a.flags, &a.min_flt, &a.cmin_flt, &a.maj_flt, &a.cmaj_flt, &a.utime, &a.stime, &a.cutime,
                   &a.cstime, &a.priority, &a.nice, &a.num_threads, &a.it_real_value, &a.start_time, &a.vsize,
                   &a.rss, &a.rss_rlim, &a.start_code, &a.end_code, &a.start_stack, &a.kstk_esp, &a.kstk_eip,
                   hex(a.signal), hex(a.blocked), hex(a.sigignore), hex(a.sigcatch), &a.wchan);
        ASSERT_EQ(fgParseProcStat(text.c_str(), b), count == 33) << text;
        ASSERT_EQ(memcmp(&a, &b, sizeof(a)), 0) << text;
        proc_s row = {};
        ASSERT_EQ(fgParseProcRowStat(text.c_str(), row), count == 33) << text;
        ASSERT_EQ(std::tuple(row.state, row.ppid, row.session, row.utime, row.stime, row.priority, row.nice,
                             row.num_threads, row.start_time, row.vsize, row.rss),
                  std::tuple(a.state, a.ppid, a.session, a.utime, a.stime, a.priority, a.nice, a.num_threads,
                             a.start_time, a.vsize, a.rss))
            << text;
    }
}

TEST(ProcInfo, ParsesTheFrontOfStat)
{
    CMM_PROC_Info proc;
    const std::string numbers = " S 1 1 1 34816 -1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1";
    const std::tuple<std::string, int, std::string> rows[] = {
        {"7 (a) b) c)" + numbers, 1, "a) b) c"},
        {"7 (" + std::string(60, 'l') + ")" + numbers, 1, std::string(39, 'l')},
        {"7 ()" + numbers, 0, ""},
        {"7 (x" + numbers, 0, ""},
    };
    for (auto [text, result, name] : rows) {
        proc_s work = {};
        EXPECT_EQ(proc.fMStat2Proc(text.data(), &work), result) << text;
        if (result == 1) {
            EXPECT_EQ(std::pair(std::string(work.cmd), work.tty), std::pair(name, 34816 + 1024));
        }
    }
    proc_s work = {};
    work.cmd[0] = 'y';
    char none[] = "";
    proc.fMCmdline2Proc(none, &work);
    EXPECT_STREQ(work.args, "[y]");
    proc.fMCmdline2Proc(std::string(100, 'a').data(), &work);
    EXPECT_EQ(work.args, std::string(63, 'a'));
}

TEST(ProcInfo, SharesOfFallenCountersAreWhole)
{
    CMM_PROC_Info proc;
    const auto now = std::make_unique<_ST_PROC>();
    std::tie(now->l_nCTime, now->l_nUTime, now->l_nSTime, now->l_dIOByteCom) = std::tuple(300, 50, 250, 10);
    _ST_PROC_OLD_LIST old = {1, 200, 150, 50, 30, 0, 0};
    proc.fMCompute(now.get(), &old, 1000);
    // The user's share is of the whole count, which fell; input and output are never below 0.
    EXPECT_EQ(std::tuple(now->l_dPCPU, now->l_dPUserCpu, now->l_dPSysCpu, now->l_dIOByte, now->l_dIOByteRate),
              std::tuple(10.0F, 5.0, 20.0, 0.0, 0.0));
    proc.fMGetPCpu(now.get(), nullptr, 1000);
    EXPECT_FLOAT_EQ(now->l_dPCPU, 30);
}

TEST(ProcInfo, OldKernelsAskTheScripts)
{
    const CTestTree tree;
    const CTestLog log;
    const CTestHost host("linux-6.1/t1");
    const CTestSetting type(g_nGetProcessType, 1);
    const CTestSetting java(g_nGetProcessJAVA, 1);
    const std::string scripts = "agent/bin/shell/LINUX/";
    tree.fReplaceScript(scripts + "PSInfoLIN.sh", "#!/bin/sh\nprintf '100\\n1\\n9999\\n'\n");
    ST_PROC proc;
    proc.m_pstOsVersion->l_nMinorNum = 4;
    EXPECT_EQ(proc.fRows().size(), 3U) << "the header and the two that live";
    EXPECT_EQ(log.fCount("MinorNum[4]GtrProcType[1]GtrJavaProc[1]"), 1);
    EXPECT_EQ(log.fCount("top_info"), 0) << "no Java process";

    g_nGetProcessType = 0;
    const CTestHost two(tree.fTop());
    fWriteProcess(tree, 1, "/opt/java");
    fWriteProcess(tree, 2, "java -jar");
    tree.fReplaceScript(scripts + "top_info", "#!/bin/sh\necho >> ../aproc/shell/count.dat\n");
    tree.fReplaceScript(scripts + "ProcCpuUseTop.sh", "#!/bin/sh\n[ $1 = 1 ] && echo 12.5\n");
    const ROWS rows = proc.fRows();
    EXPECT_TRUE(rows.at("1").starts_with("/opt/java~12.50~"));
    EXPECT_TRUE(rows.at("2").starts_with("java -jar~0.40~")) << "no line, no correction";
    EXPECT_EQ(log.fCount("top_info gatherTime["), 1);
    EXPECT_EQ(fgReadFile(tree.fPath("agent/aproc/shell/count.dat")), "\n") << "one snapshot a pass";
}

TEST(ProcInfo, AppendsVirtualMachineRowsToLongCommandLines)
{
    const CTestTree tree;
    const CTestLog log;
    const CTestHost host(tree.fTop());
    for (const int pid : {1, 2, 3})
        fWriteProcess(tree, pid, std::string(20000, static_cast<char>('a' + pid)));
    ST_PROC proc;
    EXPECT_TRUE(proc.fRows()["3"].starts_with(std::string(10240, 'd') + "~"));
    EXPECT_EQ(proc.m_nProcessInfoBufSize, 40960);
    proc.fSetVMFlag(1, 1);
    proc.fMGetProc(0);
    EXPECT_EQ(log.fCount("VMWare PROC Gtr ../aproc/shell/vmware_proc.dat file not found"), 1);
    fgWriteFile(tree.fPath("agent/aproc/shell/vmware_proc.dat_"), "x~y\n" + std::string(500, 'v'));
    EXPECT_TRUE(fgReadable(proc.fMGetProc(0)).ends_with("|x~y|" + std::string(500, 'v')));
    EXPECT_EQ(proc.fMGetNProcs(), 5);
}
