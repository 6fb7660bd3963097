#include "collect/MM_CPU_Info.h"

#include "tests/TestSupport.h"

namespace
{
struct ST_CPU : CMM_CPU_Info
{
    ST_CPU() { m_pstOsVersion->l_nMinorNum = 6; } // the layout of its columns
};

// Collectors for rows, in front of a host of the test's own.
struct CpuRows : CHostTest
{
    void fStat(const std::string& text) const { m_clTree.fWrite("proc/stat", text); }
    const CTestSetting<int> m_clRows{g_nCpuStrType, 1};
};
} // namespace

TEST(CpuInfo, SharesBetweenTwoMoments)
{
    const CTestHost host("linux-6.1/t0");
    ST_CPU cpu;
    EXPECT_EQ(cpu.fMGetNCpu(), 2);
    EXPECT_EQ(*cpu.fMGetCpuInterrupt(0.5), 0);
    host.fMove("linux-6.1/t1");
    // system, user, idle, wait, nice
    EXPECT_EQ(fgNumbers(cpu.fMGetCpu(), CPU_VALUES), "150 101 675 25 50");
    for (const char* slot : {"100 100 750 50 0", "200 101 599 0 100", "", ""})
        EXPECT_EQ(fgNumbers(cpu.fMGetCpuNext(), CPU_VALUES), slot) << "stays behind the last";
    EXPECT_EQ(*cpu.fMGetCpuInterrupt(2.5), 20000) << "interrupts per second";
    host.fMove("linux-6.1/t0");
    EXPECT_EQ(*cpu.fMGetCpuInterrupt(2.5), 0) << "a count that fell";
    const auto shares = {cpu.fMGetCpuSys(), cpu.fMGetCpuUser(), cpu.fMGetCpuIdle(), cpu.fMGetCpuWio()};
    EXPECT_EQ(fgNumbers(shares.begin(), shares.size()), "150 101 675 25");
}

TEST_F(CpuRows, PushFormShowsTheMachineAlone)
{
    m_clHost.fMove("linux-6.1/t0");
    ST_CPU cpu;
    EXPECT_EQ(cpu.fMGetNCpu() + cpu.m_nCpuTAQCnt, 0) << "the first sample primes";
    m_clHost.fMove("linux-6.1/t1");
    const CTestSetting waitIsUsed(g_nCpuUsedInWIO, 1);
    ASSERT_NE(cpu.fMGetPushCpu(), nullptr);
    EXPECT_EQ(fgReadable(cpu.m_pRealTimeStrCpuTAQ),
              "4.3.24.0^NAME~USED~USER~SYSTEM~IOWAIT~IDLE~|CPUS~32.50~10.10~15.00~2.50~67.50~");
    EXPECT_EQ(cpu.m_nPushCpuCnt, 1);
    EXPECT_FLOAT_EQ(cpu.fGetUtilization(), 32.5F);
}

TEST_F(CpuRows, WhatIsNoPercentageIsLogged)
{
    ST_CPU cpu;
    EXPECT_EQ(cpu.fMGetCpu(), nullptr) << "no file";
    fStat("cpu  100 0 100 1000 0\ncpu0 100 0 100 1000 0\n");
    cpu.fMGetCpu();
    fStat("cpu  200 0 200 1100 0\ncpu0 400 0 100 900 0\n"); // cpu0: user 300 up, idle 100 down, 200 in all
    ASSERT_NE(cpu.fMGetCpu(), nullptr);
    EXPECT_EQ(fgSplit(fgReadable(cpu.m_pStrCpuTAQ), "|")[2], "CPU1~0.00~-1.00~0.00~0.00~100.00~")
        << "a CPU is written as idle";
    fStat("cpu  300 0 300 1000 0\n");
    EXPECT_EQ(cpu.fMGetCpu(), nullptr) << "for the total there is no sample";
    EXPECT_EQ(m_clLog.fCount("[INFO][MM_CPU_Info.cpp]/proc/stat buff read failed"), 1);
    EXPECT_EQ(m_clLog.fCount("[INFO][MM_CPU_Info.cpp]total cpu idle value collect failed"), 2);
}

// More CPUs than slots, and texts that fill the buffer in the middle of a line.
TEST_F(CpuRows, BoundsManyCpus)
{
    const std::string shortLine = " 100000000 200000000 300000000 400000000 500000000 0 0 0 0 0\n";
    const std::string longLine = " 1" + std::string(190, '0') + " 2 3 4 5\n";
    for (const auto& [cpus, line, seen] : {std::tuple(513, shortLine, 512), {512, longLine, 318}}) {
        std::string text = "cpu  1 1 1 1 1\n";
        for (int i = 0; i < cpus; i++)
            text += "cpu" + std::to_string(i) + line;
        fStat(text);
        ST_CPU cpu;
        cpu.fMGetCpu();
        ASSERT_NE(cpu.fMGetCpu(), nullptr);
        EXPECT_EQ(std::pair(cpu.fMGetNCpu(), cpu.m_nCpuTAQCnt), std::pair(seen, seen + 1));
    }
}

TEST_F(CpuRows, InventoryAndPhysicalProcessors)
{
    for (const auto& [output, count] : {std::pair("8\\n", 8), {"16", 16}, {"16\\n", 0}, {"", 0}}) {
        m_clTree.fScript("cpu_info", std::string("printf '") + output + "'");
        EXPECT_EQ(ST_CPU().fMGetPhyCpuCnt(), count) << "short lines alone count";
    }
    ST_CPU cpu;
    const std::string path = "../aproc/shell/CpuINVStrInfo.dat", large(20000, 'A');
    EXPECT_EQ(cpu.fGetCpuINV(), -1);
    // Lower-case letters make it no record, and so does half a line.
    for (const char* text : {"", "VELKCPU|some model\n", "VELKCPU|\n", "VELKCPU|X"}) {
        fgWriteFile(path, text);
        EXPECT_EQ(cpu.fGetCpuINV(), -1);
    }
    EXPECT_EQ(m_clLog.fLines(), fgSplit(fgFixture("processors/log"), "\n"));
    fgWriteFile(path, "made by hand\nVELKCPU|X|" + large + "\n");
    EXPECT_EQ(cpu.fGetCpuINV(), 1);
    EXPECT_EQ(cpu.m_pStrCpuINV, "X|" + large) << "the buffer grows";
    EXPECT_EQ(cpu.fINVFileRemove(), 0);
    m_clHost.fMove("scripts/processors/host");
    EXPECT_EQ(cpu.fCommandINV(1), 1);
    EXPECT_EQ(cpu.fGetCpuINV(), 1) << "written by the tree's own script";
    EXPECT_EQ(cpu.fCommandINV(2), -1) << "no scheduler";
}
