#include "collect/MM_PROC_Info.h"

#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <random>

#include "driver/RunConfig.h"
#include "lib/TextTable.h"
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
    fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "the first pass prints nothing";
    EXPECT_EQ(first.at("500").find("~0.00~"), first.at("500").find('~')) << "nor has it rates";

    host.fMove("linux-6.1/t1");
    testing::internal::CaptureStdout();
    const ROWS rows = proc.fRows();
    fflush(stdout);
    const std::string console = testing::internal::GetCapturedStdout();
    EXPECT_NE(console.find("me         1 10.0  1.3    167221     12840 /sbin/init --deep\n"), console.npos)
        << console;
    EXPECT_EQ(proc.fMGetNProcs(), 5);
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
    EXPECT_EQ(proc.m_ProcMap.size(), 5U);
}

TEST(ProcInfo, LayoutsByTheTwoFlags)
{
    const std::tuple<int, int, PROC_LAYOUT> layouts[] = {
        {0, 0, PROC_LAYOUT_BASE},     {1, 0, PROC_LAYOUT_FILE}, {0, 1, PROC_LAYOUT_EXTENDED},
        {1, 1, PROC_LAYOUT_EXTENDED}, {2, 1, PROC_LAYOUT_NONE}, {0, 2, PROC_LAYOUT_NONE}};
    for (const auto& [fileName, extend, layout] : layouts)
        EXPECT_EQ(fgProcLayout(fileName, extend), layout);

    const CTestHost host("linux-6.1/t0");
    const CTestSetting fileName(g_nExecedFileNameFlag, 1);
    const CTestSetting extend(g_nProcExtendFlag, 0);
    ST_PROC proc;
    const std::string row = proc.fRows()["100"];
    EXPECT_EQ(row, proc.fRow("prog --x~0.00~0.03~4000~308~R~5~1", 1234567, "8~2~a (b) c"));
    const std::vector<std::string> rows = fgSplit(fgReadable(proc.fGetProcInfo()), "|");
    EXPECT_EQ(rows.size(), 6U);
    for (size_t index = 1; index < rows.size(); index++)
        EXPECT_EQ(rows[index].find(std::to_string(index) + "~"), 0U);
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
    EXPECT_EQ(std::tuple(proc.fMGetNProcs(), proc.m_nInsertFirst, proc.m_nNewCount, proc.fMGetSysTotMem()),
              std::tuple(0, 0, 1, 0U));
}

// Whole rows against their formats, with a different number in every field and the extremes of each.
TEST(ProcInfo, RowsAreWhatPrintfGives)
{
    const auto record = std::make_unique<_ST_PROC>();
    const auto text = std::make_unique<char[]>(PROC_ROW_SIZE);
    const auto expected = std::make_unique<char[]>(PROC_ROW_SIZE);
    std::mt19937_64 random(3);
    const char* f = SEPARATOR_FIELD;
    _ST_PROC& p = *record;
    for (int i = 0; i < 2000; i++) {
        const auto number = [&] { return static_cast<int>(random() >> (random() % 64)); };
        const auto real = [&] { return static_cast<double>(number()) / 1000 * (i % 3 == 0 ? 1e9 : 1); };
        memset(p.l_strPname, 0, sizeof(p.l_strPname));
        memset(p.l_strPname, 'n', i % 2 == 0 ? 10 : PROC_NAME_SIZE - 1);
        snprintf(p.l_strUname, sizeof(p.l_strUname), "u%d", number());
        snprintf(p.l_strFName, sizeof(p.l_strFName), "f%d", number());
        for (int* field : {&p.l_nPid, &p.l_nPPid, &p.l_nNice, &p.l_nPriority, &p.l_nThreads, &p.l_nCTime,
                           &p.l_nStart, &p.l_uPSid})
            *field = number();
        p.l_ulVSZ = random();
        p.l_ulRSS = random();
        p.l_chStatus = static_cast<char>('A' + i % 26);
        p.l_dPCPU = static_cast<float>(real());
        p.l_dPMEM = i % 5 == 0 ? INFINITY : static_cast<float>(real());
        for (double* field : {&p.l_dPUserCpu, &p.l_dPSysCpu, &p.l_dIOByteCom, &p.l_dIOByte, &p.l_dIOByteRate})
            *field = real();
        const int vsz = static_cast<int>(p.l_ulVSZ);
        const int rss = static_cast<int>(p.l_ulRSS);
        const double cpu = p.l_dPCPU;
        const double mem = p.l_dPMEM;
        const auto check = [&](char* end, const char* format, auto... values) {
            const int size = snprintf(expected.get(), PROC_ROW_SIZE, format, values...);
            ASSERT_EQ(std::string(text.get(), end), std::string(expected.get(), expected.get() + size));
        };
        const auto checkRow = [&](PROC_LAYOUT layout, const char* format, auto... more) {
            check(fgPutProcRow(text.get(), layout, i, p), format, SEPARATOR_ROW, i, f, p.l_nPid, f,
                  p.l_strPname, f, cpu, f, mem, f, vsz, f, rss, f, p.l_chStatus, f, p.l_nNice, f, p.l_nPPid,
                  f, p.l_strUname, f, p.l_nStart, f, p.l_nCTime / 100, f, p.l_nThreads, f, more...);
        };
        checkRow(PROC_LAYOUT_BASE, ROW_PROC);
        checkRow(PROC_LAYOUT_FILE, ROW_PROC_FILE, p.l_strFName, f);
        checkRow(PROC_LAYOUT_EXTENDED, ROW_PROC_EXTENDED, p.l_uPSid, f, p.l_nPriority, f, p.l_dPUserCpu, f,
                 p.l_dPSysCpu, f, p.l_dIOByteCom, f, p.l_dIOByte, f, p.l_dIOByteRate, f);
        check(fgPutProcConsole(text.get(), p), LINE_PROC_CONSOLE, p.l_strUname, p.l_nPid, cpu, mem, vsz, rss,
              p.l_strPname);
        if (HasFatalFailure()) return;
    }
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
    }
}

TEST(ProcInfo, ParsesTheFrontOfStat)
{
    CMM_PROC_Info proc;
    const std::string numbers = " S 1 1 1 34816 -1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1";
    const std::tuple<std::string, int, std::string> rows[] = {
        {"7 (a) b) c)" + numbers, 1, "a) b) c"},
        {"7  (x)" + numbers, 1, "x"},
        {"7 (" + std::string(60, 'l') + ")" + numbers, 1, std::string(39, 'l')},
        {"7 ()" + numbers, 0, ""},
        {"seven (x)" + numbers, 0, ""},
        {"7 (x" + numbers, 0, ""},
        {"7 (x)", 0, "x"},
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
    char statm[] = "1 2 3 4 5 6";
    EXPECT_EQ(proc.fMStatm2Proc(statm, &work), 0) << "six of seven";
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

TEST(ProcInfo, ComparatorsAnswerOneOrZero)
{
    const auto a = std::make_unique<_ST_PROC>();
    const auto b = std::make_unique<_ST_PROC>();
    a->l_dPCPU = 2;
    a->l_nIsUpNow = 1;
    b->l_strPname[0] = '\xE9'; // a negative character
    const std::pair<decltype(&fCMPProcName), std::pair<int, int>> rows[] = {
        {fCMPProcName, {1, 0}}, {fCMPProcCpu, {1, 0}}, {fCMPProcPid, {1, 1}}, {fCMPProcIsUpNow, {0, 0}}};
    for (const auto& [compare, expected] : rows)
        EXPECT_EQ(std::pair(compare(a.get(), b.get()), compare(b.get(), a.get())), expected);
}
