#include "collect/MM_VM_Info.h"

#include "driver/RunConfig.h"
#include "tests/TestSupport.h"

namespace
{
const std::string VMSTAT = fgFixture("linux-6.12/t0/proc/vmstat");

struct VmInfo : CHostTest
{
    CMM_VM_Info m_clVm;
};
} // namespace

// Rates over 250 seconds, worked out by hand from the two moments of each machine.
TEST_F(VmInfo, RatesBetweenTwoMoments)
{
    const std::pair<std::string, const char*> rows[] = {
        // Kilobytes as the kernel counts them; 9000 / 4096 * 1024 is 2048, of 1034000 it is 258048.
        {"linux-6.12", "2 0 4100 8192 1.2 2.4 0 1300 0 5000 0 0 1024 2048"},
        // Pages, times 4 for kilobytes; the process with a blank in its name has no part in the faults.
        {"linux-2.4.21", "1 0 8 16 0.2 0.3 0 3 0 4 0 0 2 4"}};
    for (const auto& [machine, rates] : rows) {
        m_clHost.fMove(machine + "/t0");
        CMM_VM_Info vm;
        EXPECT_EQ(vm.fMGetVmStat(250), nullptr) << "the first sample primes";
        m_clHost.fMove(m_clTree.fTop()); // the counters of t1 without a run queue
        for (const std::string file : {"/proc/stat", "/proc/vmstat"})
            m_clTree.fWrite(file.substr(1), fgFixture(machine + "/t1" + file));
        EXPECT_EQ(vm.fMGetVmStat(250), nullptr) << "and a failed one changes nothing";
        m_clHost.fMove(machine + "/t1");
        EXPECT_EQ(fgNumbers(vm.fMGetVmStat(250), VM_VALUES), rates) << machine;
        m_clHost.fMove(machine + "/t0");
        EXPECT_EQ(fgNumbers(vm.fMGetVmStat(250), VM_VALUES), "0 0 0 0 0 0 0 0 0 0 0 0 0 0") << "all fell";
    }
}

TEST_F(VmInfo, FailsWithoutAnyOfItsKeys)
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
TEST_F(VmInfo, FindsContextSwitchesBehindManyInterrupts)
{
    m_clTree.fWrite("proc/vmstat", VMSTAT);
    for (const size_t interrupts : {32766U, 32767U, 200000U}) {
        m_clTree.fWrite("proc/stat", "intr" + std::string(2 * interrupts, '0') + "\nctxt 4711\n");
        long raw[VM_VALUES] = {};
        EXPECT_EQ(m_clVm.fMGetStat(raw), 1);
        EXPECT_EQ(raw[VM_SWITCHES], 4711) << interrupts;
    }
}

TEST_F(VmInfo, PushRowIsCutAtItsBuffer)
{
    m_clHost.fMove("linux-6.12/t0");
    EXPECT_EQ(m_clVm.fMTarnisGetPage(1), nullptr);
    m_clHost.fMove("linux-6.12/t1");
    m_clVm.m_stOldIoTime.tv_sec -= 100000; // so many seconds that those of the test do not show
    ASSERT_NE(m_clVm.fMTarnisGetPage(1), nullptr);
    EXPECT_EQ(
        fgReadable(m_clVm.fGetRealTimeStrPageTAQ()),
        "agent]4.9.1.0^10.25^]4.9.2.0^20.48^]4.9.5.0^3.25^]4.9.6.0^12.50^]4.9.11.0^2.56^]4.9.12.0^5.12^");
    std::string key(5000, 'K');
    g_ptrAgentKey = key.data();
    ASSERT_NE(m_clVm.fMTarnisGetPage(1), nullptr);
    EXPECT_EQ(m_clVm.fGetRealTimeStrPageTAQ(), std::string(VM_PUSH_SIZE - 1, 'K'));
}
