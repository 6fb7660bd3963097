#include "collect/MM_MEM_Info.h"

#include <sstream>

#include "collect/MM_VM_Info.h"
#include "driver/RunConfig.h"
#include "tests/TestSupport.h"

namespace
{
using CFigures = std::vector<unsigned long>; // by MEM_VALUE or SWP_VALUE

template <size_t N> CFigures fFigures(const unsigned long (&values)[N])
{
    return {values, values + N};
}

// The text with the key of one line spoiled; as it is without a key.
std::string fWithout(std::string text, const std::string& key)
{
    if (!key.empty()) text.at(("\n" + text).find("\n" + key) + key.size() - 1) = '#';
    return text;
}

// A kernel file with each number as long as 64 bits can be.
std::string fLongest(const char* path)
{
    std::istringstream lines(fgReadFile(path));
    std::string text;
    for (std::string name, rest; lines >> name && getline(lines, rest);)
        text += name + rest.substr(0, rest.find_first_not_of(' ')) + "18446744073709551615" +
                (rest.ends_with(" kB") ? " kB\n" : "\n");
    return text;
}

const std::string MEMINFO = fgReadFile(HOSTMETRICS_FIXTURES "/linux-6.12/t0/proc/meminfo");
const std::string VMSTAT = fgReadFile(HOSTMETRICS_FIXTURES "/linux-6.12/t0/proc/vmstat");

class MemInfo : public testing::Test
{
protected:
    void fPut(const std::string& file, const std::string& text) const
    {
        fgWriteFile(m_clTree.fPath("proc/" + file), text);
    }
    void fScript(const std::string& line) const
    {
        m_clTree.fReplaceScript("agent/bin/shell/LINUX/MemCntInfoLIN.sh",
                                "#!/bin/sh\ncd ../aproc/shell\n" + line + "\n");
    }
    std::string fPush(const std::string& meminfo)
    {
        fPut("meminfo", meminfo);
        EXPECT_EQ(m_clMem.fPushGatherMem(), 1);
        return fgReadable(m_clMem.fGetRealTimeStrMemTAQ());
    }

    CTestTree m_clTree;
    CTestHost m_clHost{m_clTree.fTop()};
    CMM_MEM_Info m_clMem;
};
} // namespace

TEST_F(MemInfo, BitsChooseWhatIsFree)
{
    fPut("meminfo", MEMINFO);
    const std::pair<int, CFigures> rows[] = {
        {7, {1000000, 730000, 270000, 30000, 40000, 5000, 555555}},
        {15, {1000000, 725000, 275000, 30000, 45000, 5000, 555555}},
        {2, {1000000, 970000, 30000, 30000, 40000, 5000, 555555}},
        {1, {1000000, 800000, 200000, 30000, 40000, 5000, 555555}},
    };
    for (const auto& [bits, figures] : rows) {
        m_clMem.fSetMemFreeFlag(bits);
        EXPECT_EQ(m_clMem.fMGetMem(), &m_clMem);
        EXPECT_EQ(fFigures(m_clMem.m_pulMEM), figures) << bits;
    }
    for (const char* key : {"MemTotal:", "MemFree:", "Buffers:", "Cached:"}) {
        fPut("meminfo", fWithout(fWithout(MEMINFO, "SwapCached:"), key));
        EXPECT_EQ(m_clMem.fMGetMem(), nullptr) << key;
        EXPECT_EQ(m_clMem.fMGetUsdMem(), 800000U) << "the figures stay";
    }
}

TEST_F(MemInfo, EstimatesWhatIsAvailable)
{
    const std::tuple<const char*, int, const char*, unsigned long> rows[] = {
        {"4000\n", 7, "", 200000 - 5000 + 40000 - 5000 + 5000 - 2500},
        {"4000\n", 6, "", 0UL - 5000 + 40000 - 5000 + 5000 - 2500}, // free memory goes with its bit
        {"4000\n", 7, "SReclaimable:", 200000 - 5000 + 40000 - 5000},
        {"40001", 7, "", 200000 - 50001 + 40000 - 20000 + 5000 - 2500},
        {"4000\n", 7, "Active(file):", 888888888},
        {"12x\n", 7, "", 888888888},
    };
    for (const auto& [reserve, bits, missing, available] : rows) {
        fPut("meminfo", fWithout(fWithout(MEMINFO, "MemAvailable:"), missing));
        fPut("sys/vm/min_free_kbytes", reserve);
        m_clMem.fSetMemFreeFlag(bits);
        ASSERT_NE(m_clMem.fMGetMem(), nullptr);
        EXPECT_EQ(m_clMem.m_pulMEM[MEM_AVAILABLE], available) << reserve << missing;
    }
}

TEST_F(MemInfo, SwapOfBothFormsOfKernels)
{
    const std::string old(HOSTMETRICS_FIXTURES "/linux-2.4.21/t0/proc/");
    const CFigures inBytes{1048576, 204800, 843776, 300, 400};
    const std::tuple<std::string, std::string, std::string, bool, CFigures> rows[] = {
        {MEMINFO, VMSTAT, "cpu\n", true, {90000, 20000, 70000, 100, 200}},
        {fgReadFile(old + "meminfo"), "", fgReadFile(old + "stat"), true, inBytes},
        {fgReadFile(old + "meminfo"), VMSTAT, "page 1 2\n", false, inBytes},
        {fWithout(MEMINFO, "SwapFree:"), VMSTAT, "cpu\n", false, inBytes},
        {MEMINFO, fWithout(VMSTAT, "pswpout "), "cpu\n", false, inBytes},
        {MEMINFO, std::string(4095 - 12, '#') + "pswpin 1234\npswpout 5\n", "cpu\n", false, inBytes},
    };
    for (const auto& [meminfo, vmstat, stat, sampled, swap] : rows) {
        fPut("meminfo", meminfo);
        fPut("vmstat", vmstat);
        fPut("stat", stat);
        EXPECT_EQ(m_clMem.fMGetSwap(), sampled ? m_clMem.m_pulSWP : nullptr);
        EXPECT_EQ(fFigures(m_clMem.m_pulSWP), swap) << meminfo << vmstat << stat;
    }
}

// On the live host, whatever its kernel: no key is pushed behind the bytes that are read.
TEST_F(MemInfo, LongestCountersOfThisKernelFitTheReads)
{
    constexpr size_t PAGE = 4096; // what the kernel hands out of /proc/vmstat in one read
    fPut("meminfo", fLongest("/proc/meminfo"));
    fPut("vmstat", fLongest("/proc/vmstat").substr(0, PAGE));
    fPut("stat", "ctxt 1\n");
    ASSERT_NE(m_clMem.fMGetMem(), nullptr);
    EXPECT_EQ(m_clMem.m_pulMEM[MEM_RECLAIMABLE], ~0UL) << "the last key that is looked for";
    ASSERT_NE(m_clMem.fMGetSwap(), nullptr);
    EXPECT_EQ(fFigures(m_clMem.m_pulSWP), (CFigures{~0UL, 0, ~0UL, ~0UL, ~0UL}));
    long raw[VM_VALUES] = {};
    EXPECT_EQ(CMM_VM_Info().fMGetStat(raw), 1);
}

TEST_F(MemInfo, TakesModulesOfTheScriptsFileUpToItsArray)
{
    fScript("printf '16384\\n0\\nnone\\n-8\\n 8192 MB\\n' >MemCntInfo.dat");
    const int* sizes = m_clMem.fMGetMemCnt();
    ASSERT_NE(sizes, nullptr);
    EXPECT_EQ(std::vector<int>(sizes, sizes + 3), (std::vector<int>{16384, 8192, 0}));
    fScript("rm -f MemCntInfo.dat");
    EXPECT_EQ(m_clMem.fMGetMemCnt(), nullptr);
    EXPECT_EQ(std::pair(m_clMem.m_pnMemCnt, m_clMem.fMGetMemTotCnt()), std::pair(const_cast<int*>(sizes), 2))
        << "array and count stay together";
    fScript("seq 1 1000 >MemCntInfo.dat");
    ASSERT_NE(sizes = m_clMem.fMGetMemCnt(), nullptr);
    EXPECT_EQ(m_clMem.fMGetMemTotCnt(), MEM_MODULES);
}

TEST_F(MemInfo, PushRowNeedsAShareThatIsNoNonsense)
{
    std::string key = "KEY";
    const CTestSetting<char*> agent(g_ptrAgentKey, key.data());
    EXPECT_EQ(fPush("MemTotal: 5\n"), "") << "no sample";
    const std::string row = fPush("MemTotal: 3000\nMemFree: 500\nBuffers: 200\nCached: 300\n");
    EXPECT_EQ(row, "KEY]4.4.1.0^3000^]4.4.3.0^2000^]4.4.4.0^1000^]4.4.12.0^200^]4.4.13.0^300^"
                   "]4.4.5.0^66.67^]4.4.24.0^10.00^");
    EXPECT_EQ(fPush("MemTotal: 10\nMemFree: 9\nBuffers: 1\nCached: 1\n"), row) << "more free than there is";
    const std::string none = fPush("MemTotal: 0\nMemFree: 0\nBuffers: 0\nCached: 0\n");
    EXPECT_NE(none.find("nan^]4.4.24.0^"), std::string::npos) << none;
    key.assign(5000, 'K');
    g_ptrAgentKey = key.data();
    EXPECT_EQ(fPush("MemTotal: 9\nMemFree: 1\nBuffers: 1\nCached: 1\n"), std::string(MEM_PUSH_SIZE - 1, 'K'));
}
