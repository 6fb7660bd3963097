#include "collect/MM_VM_Info.h"

#include "driver/RunConfig.h"
#include "tests/TestSupport.h"

namespace
{
using CRates = std::vector<double>; // by VM_VALUE
CRates fRates(const double* rates)
{
    return rates == nullptr ? CRates() : CRates(rates, rates + VM_VALUES);
}

const std::string VMSTAT = fgFixture("linux-6.12/t0/proc/vmstat");
} // namespace

// Rates over 250 seconds, worked out by hand from the two moments of each machine.
TEST(VmInfo, RatesBetweenTwoMoments)
{
    const std::pair<std::string, CRates> rows[] = {
        // Kilobytes as the kernel counts them; 9000 / 4096 * 1024 is 2048, of 1034000 it is 258048.
        {"linux-6.12", {2, 0, 4100, 8192, 1.2, 2.4, 0, 1300, 0, 5000, 0, 0, 1024, 2048}},
        // Pages, times 4 for kilobytes; the process with a blank in its name has no part in the faults.
        {"linux-2.4.21", {1, 0, 8, 16, 0.2, 0.3, 0, 3, 0, 4, 0, 0, 2, 4}},
    };
    const CTestTree tree;
    for (const auto& [machine, rates] : rows) {
        const CTestHost host(machine + "/t0");
        CMM_VM_Info vm;
        EXPECT_EQ(vm.fMGetVmStat(250), nullptr) << "the first sample primes";
        const CTestHost noLoad(tree.fTop()); // the counters of t1 without a run queue
        for (const std::string file : {"/proc/stat", "/proc/vmstat"})
            tree.fWrite(file.substr(1), fgFixture(machine + "/t1" + file));
        EXPECT_EQ(vm.fMGetVmStat(250), nullptr) << "and a failed one changes nothing";
        host.fMove(machine + "/t1");
        EXPECT_EQ(fRates(vm.fMGetVmStat(250)), rates) << machine;
        host.fMove(machine + "/t0");
        EXPECT_EQ(fRates(vm.fMGetVmStat(250)), CRates(VM_VALUES)) << machine << ", counters that fell";
    }
}

TEST(VmInfo, FailsWithoutAnyOfItsKeys)
{
    long raw[VM_VALUES] = {};
    EXPECT_TRUE(fgParseVmStat(VMSTAT.c_str(), "ctxt 1\n", 4096, raw));
    for (const char* key : {"pgpgin ", "pswpout ", "pgmajfault "}) {
        std::string text = VMSTAT;
        text[text.find(key)] = '#';
        EXPECT_FALSE(fgParseVmStat(text.c_str(), "ctxt 1\n", 4096, raw)) << key;
    }
    EXPECT_FALSE(fgParseVmStat(VMSTAT.c_str(), "ctxt\n", 4096, raw));
    EXPECT_FALSE(fgParseVmOldStat("page 1 2\nctxt 3\n", raw));
}

// The line of the interrupts fills the first buffer, and the second.
TEST(VmInfo, FindsContextSwitchesBehindManyInterrupts)
{
    const CTestTree tree;
    const CTestHost host(tree.fTop());
    tree.fWrite("proc/vmstat", VMSTAT);
    CMM_VM_Info vm;
    for (const int interrupts : {32766, 32767, 200000}) {
        tree.fWrite("proc/stat",
                    "intr" + std::string(2 * static_cast<size_t>(interrupts), '0') + "\nctxt 4711\n");
        long raw[VM_VALUES] = {};
        EXPECT_EQ(vm.fMGetStat(raw), 1);
        EXPECT_EQ(raw[VM_SWITCHES], 4711) << interrupts;
    }
}

TEST(VmInfo, PushRowIsCutAtItsBuffer)
{
    std::string key = "KEY";
    const CTestSetting<char*> agent(g_ptrAgentKey, key.data());
    const CTestHost host("linux-6.12/t0");
    CMM_VM_Info vm;
    EXPECT_EQ(vm.fMTarnisGetPage(1), nullptr);
    host.fMove("linux-6.12/t1");
    vm.m_stOldIoTime.tv_sec -= 100000; // so many seconds that those of the test do not show
    ASSERT_NE(vm.fMTarnisGetPage(1), nullptr);
    EXPECT_EQ(fgReadable(vm.fGetRealTimeStrPageTAQ()),
              "KEY]4.9.1.0^10.25^]4.9.2.0^20.48^]4.9.5.0^3.25^]4.9.6.0^12.50^]4.9.11.0^2.56^]4.9.12.0^5.12^");
    key.assign(5000, 'K');
    g_ptrAgentKey = key.data();
    ASSERT_NE(vm.fMTarnisGetPage(1), nullptr);
    EXPECT_EQ(std::string(vm.fGetRealTimeStrPageTAQ()), std::string(VM_PUSH_SIZE - 1, 'K'));
}
