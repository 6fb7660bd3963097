#include "collect/MM_CPU_Info.h"

#include <filesystem>

#include "lib/TextTable.h"
#include "tests/TestSupport.h"

namespace
{
using SLOT = std::vector<unsigned long long>; // system, user, idle, wait, nice
SLOT fSlot(const unsigned long long* slot)
{
    return slot == nullptr ? SLOT{} : SLOT{slot, slot + CPU_VALUES};
}

// With the column layout of a kernel's second number.
struct ST_CPU : CMM_CPU_Info
{
    explicit ST_CPU(int minor = 6) { m_pstOsVersion->l_nMinorNum = minor; }
};

constexpr char STAT[] = "proc/stat";
const std::string SAID = "[INFO][MM_CPU_Info.cpp]";
} // namespace

TEST(CpuInfo, ParsesBothLayouts)
{
    const std::tuple<const char*, int, SLOT, const char*> rows[] = {
        {"cpu  1 2 3 4 5 6 7\n", 6, {3, 1, 4, 5, 2}, " 6 7\n"},
        {"cpu12 1 2 3 4 5\n", 4, {3, 1, 4, 2, 2}, " 5\n"}, // nice is I/O wait and nice
        {"cpu  1 2 3 4\ncpu0 9", 6, {3, 1, 4, 0, 2}, "\ncpu0 9"},
    };
    for (const auto& [text, minor, slot, rest] : rows) {
        unsigned long long counters[CPU_VALUES];
        EXPECT_STREQ(fgParseCpuLine(text, minor, counters), rest);
        EXPECT_EQ(fSlot(counters), slot) << text;
    }
}

TEST(CpuInfo, SharesBetweenTwoMoments)
{
    const CTestHost host("linux-6.1/t0");
    ST_CPU cpu;
    EXPECT_EQ(cpu.fMGetNCpu(), 2);
    EXPECT_EQ(*cpu.fMGetCpuInterrupt(0.5), 0);
    host.fMove("linux-6.1/t1");
    EXPECT_EQ(fSlot(cpu.fMGetCpu()), (SLOT{150, 101, 675, 25, 50}));
    for (const SLOT& slot : {SLOT{100, 100, 750, 50, 0}, SLOT{200, 101, 599, 0, 100}, SLOT{}, SLOT{}})
        EXPECT_EQ(fSlot(cpu.fMGetCpuNext()), slot) << "stays behind the last";
    EXPECT_EQ(*cpu.fMGetCpuInterrupt(2.5), 20000) << "interrupts per second";
    host.fMove("linux-6.1/t0");
    EXPECT_EQ(*cpu.fMGetCpuInterrupt(2.5), 0) << "a count that fell";
    EXPECT_EQ(SLOT({cpu.fMGetCpuSys(), cpu.fMGetCpuUser(), cpu.fMGetCpuIdle(), cpu.fMGetCpuWio()}),
              (SLOT{150, 101, 675, 25}));

    host.fMove("linux-2.4/t0");
    ST_CPU old(4);
    old.fMGetCpu();
    host.fMove("linux-2.4/t1"); // user 400, nice 50, system 150, idle 400; nice counts twice: 1050
    EXPECT_EQ(fSlot(old.fMGetCpu()), (SLOT{143, 381, 381, 48, 48}));
}

TEST(CpuInfo, RowsPrimeThenShowTheMachineAndEachCpu)
{
    const CTestSetting rows(g_nCpuStrType, 1);
    const CTestHost host("linux-6.1/t0");
    ST_CPU cpu;
    EXPECT_EQ(cpu.fMGetNCpu(), 0) << "the first sample primes";
    EXPECT_EQ(cpu.m_nCpuTAQCnt, 0);
    host.fMove("linux-6.1/t1");
    ASSERT_NE(cpu.fMGetCpu(), nullptr);
    EXPECT_EQ(fgReadable(cpu.m_pStrCpuTAQ), "NAME~USED~USER~SYSTEM~IOWAIT~IDLE~"
                                            "|CPUS~30.00~10.10~15.00~2.50~67.50~"
                                            "|CPU1~20.00~10.00~10.00~5.00~75.00~"
                                            "|CPU2~40.10~10.10~20.00~0.00~59.90~");
    EXPECT_EQ(cpu.m_nCpuTAQCnt, 3);
    EXPECT_FLOAT_EQ(cpu.fGetUtilization(), 30);

    host.fMove("linux-6.1/t0"); // the total runs backwards
    cpu.fMGetPushCpu();
    host.fMove("linux-6.1/t1");
    const CTestSetting waitIsUsed(g_nCpuUsedInWIO, 1);
    ASSERT_NE(cpu.fMGetPushCpu(), nullptr);
    EXPECT_EQ(fgReadable(cpu.m_pRealTimeStrCpuTAQ), "4.3.24.0^NAME~USED~USER~SYSTEM~IOWAIT~IDLE~"
                                                    "|CPUS~32.50~10.10~15.00~2.50~67.50~");
    EXPECT_EQ(cpu.m_nPushCpuCnt, 1);
}

TEST(CpuInfo, SaysWhatItCannotReadAndClampsWhatIsNoPercentage)
{
    const CTestSetting rows(g_nCpuStrType, 1);
    const CTestTree tree;
    const CTestHost host(tree.fTop());
    const CTestLog log;
    ST_CPU cpu;
    const auto stat = [&](const char* text) { fgWriteFile(tree.fPath(STAT), text); };
    EXPECT_EQ(cpu.fMGetCpu(), nullptr);
    stat("cpu  100 0 100 1000 0\ncpu0 100 0 100 1000 0\n");
    cpu.fMGetCpu();
    stat("cpu  200 0 200 1100 0\ncpu0 400 0 100 900 0\n"); // cpu0: user 300 up, idle 100 down, 200 in all
    ASSERT_NE(cpu.fMGetCpu(), nullptr);
    EXPECT_EQ(fgSplit(fgReadable(cpu.m_pStrCpuTAQ), "|")[2], "CPU1~0.00~-1.00~0.00~0.00~100.00~")
        << "logged, and written as idle";
    stat("cpu  300 0 300 1000 0\n");
    EXPECT_EQ(cpu.fMGetCpu(), nullptr) << "for the total there is no sample";
    EXPECT_EQ(log.fLines(),
              (std::vector{SAID + "/proc/stat buff read failed", SAID + "total cpu idle value collect failed",
                           SAID + "total cpu idle value collect failed"}));
}

// More CPUs than slots, and texts that fill the buffer in the middle of a line.
TEST(CpuInfo, BoundsManyCpus)
{
    const CTestSetting rows(g_nCpuStrType, 1);
    const CTestTree tree;
    const CTestHost host(tree.fTop());
    const std::string shortLine = " 100000000 200000000 300000000 400000000 500000000 0 0 0 0 0\n";
    const std::string longLine = " 1" + std::string(190, '0') + " 2 3 4 5\n";
    for (const auto& [cpus, line, seen] : {std::tuple(513, shortLine, 512), {512, longLine, 318}}) {
        std::string text = "cpu  1 1 1 1 1\n";
        for (int i = 0; i < cpus; i++)
            text += "cpu" + std::to_string(i) + line;
        fgWriteFile(tree.fPath(STAT), text);
        ST_CPU cpu;
        cpu.fMGetCpu();
        ASSERT_NE(cpu.fMGetCpu(), nullptr);
        EXPECT_EQ(std::pair(cpu.fMGetNCpu(), cpu.m_nCpuTAQCnt), std::pair(seen, seen + 1));
    }
}

TEST(CpuInfo, CountsPhysicalProcessorsOfShortLinesAlone)
{
    const CTestTree tree;
    for (const auto& [output, count] : {std::pair("8\\n", 8), {"16", 16}, {"16\\n", 0}, {"", 0}}) {
        tree.fReplaceScript("agent/bin/shell/LINUX/cpu_info",
                            std::string("#!/bin/sh\nprintf '") + output + "'\n");
        EXPECT_EQ(ST_CPU().fMGetPhyCpuCnt(), count) << output;
    }
}

TEST(CpuInfo, ReadsItsInventory)
{
    const CTestSetting rows(g_nCpuStrType, 1);
    const CTestTree tree;
    const CTestLog log;
    ST_CPU cpu;
    const std::string path = tree.fPath("agent/aproc/shell/CpuINVStrInfo.dat");
    const std::string longText(20000, 'A');
    EXPECT_EQ(cpu.fGetCpuINV(), -1);
    // Lower-case letters make it no record, and so does half a line.
    for (const char* text : {"", "VELKCPU|some model\n", "VELKCPU|\n", "VELKCPU|X"}) {
        fgWriteFile(path, text);
        EXPECT_EQ(cpu.fGetCpuINV(), -1);
    }
    EXPECT_EQ(log.fLines(),
              (std::vector{SAID + "fopen failed(2)", SAID + "inv file size zero", SAID + "fgets not contents",
                           SAID + "inv not contents", SAID + "fgets not contents"}));
    fgWriteFile(path, "made by hand\nVELKCPU|X|" + longText + "\n");
    EXPECT_EQ(cpu.fGetCpuINV(), 1);
    EXPECT_EQ(cpu.m_pStrCpuINV, "X|" + longText) << "the buffer grows";
    std::filesystem::remove(path);
    EXPECT_EQ(cpu.fCommandINV(1), 1);
    EXPECT_EQ(cpu.fGetCpuINV(), 1) << "written by the tree's own script";
    EXPECT_EQ(cpu.fCommandINV(2), -1) << "no scheduler";
}
