#include "collect/MM_MEM_Info.h"

#include "collect/MM_VM_Info.h"
#include "tests/TestSupport.h"

namespace
{
using CFigures = std::vector<unsigned long>; // by SWP_VALUE

CFigures fFigures(const unsigned long (&values)[SWP_VALUES])
{
    return {values, values + SWP_VALUES};
}

// The text with the keys of some lines spoiled.
std::string fWithout(std::string text, const std::string& keys)
{
    for (const std::string& key : fgSplit(keys, " "))
        text.at(("\n" + text).find("\n" + key) + key.size() - 1) = '#';
    return text;
}

// A kernel file with each number as long as 64 bits can be.
std::string fLongest(const std::string& path)
{
    return fgRunCommand("sed -E 's/ +[0-9]+/ 18446744073709551615/' " + path).l_strOut;
}

const std::string MEMINFO = fgFixture("linux-6.12/t0/proc/meminfo");
const std::string VMSTAT = fgFixture("linux-6.12/t0/proc/vmstat");

class MemInfo : public testing::Test
{
protected:
    void fPut(const std::string& file, const std::string& text) const
    {
        m_clTree.fWrite("proc/" + file, text);
    }
    void fScript(const std::string& line) const
    {
        m_clTree.fScript("MemCntInfoLIN.sh", "cd ../aproc/shell; " + line);
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

TEST_F(MemInfo, FiguresByBitsAndByWhatTheKernelTells)
{
    for (const auto& row : fgCases("memory/figures")) { // why, bits, reserve, keys without, figures
        fPut("meminfo", row.at(3) == "none" ? MEMINFO : fWithout(MEMINFO, row[3]));
        fPut("sys/vm/min_free_kbytes", row[2] + "\n");
        m_clMem.fSetMemFreeFlag(atoi(row[1].c_str()));
        EXPECT_EQ(m_clMem.fMGetMem(), &m_clMem);
        std::string figures;
        for (const unsigned long figure : m_clMem.m_pulMEM)
            figures += std::to_string(figure) + " ";
        EXPECT_EQ(figures, row.at(4) + " ") << row[0];
    }
    for (const char* key : {"MemTotal:", "MemFree:", "Buffers:", "SwapCached: Cached:"}) {
        fPut("meminfo", fWithout(MEMINFO, key));
        EXPECT_EQ(m_clMem.fMGetMem(), nullptr) << key;
        EXPECT_EQ(m_clMem.fMGetUsdMem(), 730000U) << "the figures stay";
    }
}

TEST_F(MemInfo, SwapOfBothFormsOfKernels)
{
    const std::string old = fgFixture("linux-2.4.21/t0/proc/meminfo");
    const CFigures kilobytes{90000, 20000, 70000, 100, 200}, ofBytes{1048576, 204800, 843776, 300, 400};
    const std::tuple<std::string, std::string, const char*, bool, CFigures> rows[] = {
        {MEMINFO, VMSTAT, "cpu\n", true, kilobytes},
        {old, "", "page 5000 7000\nswap 300 400\n", true, ofBytes},
        {old, VMSTAT, "page 1 2\n", false, ofBytes},
        {fWithout(MEMINFO, "SwapFree:"), VMSTAT, "cpu\n", false, ofBytes},
        {MEMINFO, fWithout(VMSTAT, "pswpout"), "cpu\n", false, ofBytes},
        {MEMINFO, std::string(4095 - 12, '#') + "pswpin 1234\npswpout 5\n", "cpu\n", false, ofBytes},
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
    EXPECT_TRUE(m_clMem.m_pnMemCnt == sizes && m_clMem.fMGetMemTotCnt() == 2) << "they stay together";
    fScript("seq 1 1000 >MemCntInfo.dat");
    ASSERT_NE(m_clMem.fMGetMemCnt(), nullptr);
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
