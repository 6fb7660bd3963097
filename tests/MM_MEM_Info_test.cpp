#include "collect/MM_MEM_Info.h"

#include "collect/MM_VM_Info.h"
#include "tests/TestSupport.h"

namespace
{
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

class MemInfo : public CHostTest
{
protected:
    std::string fPush(const std::string& meminfo)
    {
        m_clTree.fWrite("proc/meminfo", meminfo);
        EXPECT_EQ(m_clMem.fPushGatherMem(), 1);
        return fgReadable(m_clMem.fGetRealTimeStrMemTAQ());
    }

    CMM_MEM_Info m_clMem;
};
} // namespace

TEST_F(MemInfo, FiguresByBitsAndByWhatTheKernelTells)
{
    for (const auto& row : fgCases("memory/figures")) { // why, bits, reserve, keys without, figures
        m_clTree.fWrite("proc/meminfo", row.at(3) == "none" ? MEMINFO : fWithout(MEMINFO, row[3]));
        m_clTree.fWrite("proc/sys/vm/min_free_kbytes", row[2] + "\n");
        m_clMem.fSetMemFreeFlag(atoi(row[1].c_str()));
        EXPECT_EQ(m_clMem.fMGetMem(), &m_clMem);
        EXPECT_EQ(fgNumbers(m_clMem.m_pulMEM, MEM_VALUES), row.at(4)) << row[0];
    }
    for (const char* key : {"MemTotal:", "MemFree:", "Buffers:", "SwapCached: Cached:"}) {
        m_clTree.fWrite("proc/meminfo", fWithout(MEMINFO, key));
        EXPECT_EQ(m_clMem.fMGetMem(), nullptr) << key;
        EXPECT_EQ(m_clMem.fMGetUsdMem(), 730000U) << "the figures stay";
    }
}

TEST_F(MemInfo, SwapOfBothFormsOfKernels)
{
    const std::string old = fgFixture("linux-2.4.21/t0/proc/meminfo");
    const std::tuple<std::string, std::string, const char*, const char*> rows[] = {
        {MEMINFO, VMSTAT, "cpu\n", "90000 20000 70000 100 200"},
        {old, "", "page 5000 7000\nswap 300 400\n", "1048576 204800 843776 300 400"},
        {old, VMSTAT, "page 1 2\n", ""},
        {fWithout(MEMINFO, "SwapFree:"), VMSTAT, "cpu\n", ""},
        {MEMINFO, fWithout(VMSTAT, "pswpout"), "cpu\n", ""},
        {MEMINFO, std::string(4095 - 12, '#') + "pswpin 1234\npswpout 5\n", "cpu\n", ""}};
    for (const auto& [meminfo, vmstat, stat, swap] : rows) {
        m_clTree.fWrite("proc/meminfo", meminfo);
        m_clTree.fWrite("proc/vmstat", vmstat);
        m_clTree.fWrite("proc/stat", stat);
        EXPECT_EQ(fgNumbers(m_clMem.fMGetSwap(), SWP_VALUES), swap) << meminfo << vmstat << stat;
    }
    EXPECT_EQ(fgNumbers(m_clMem.m_pulSWP, SWP_VALUES), "1048576 204800 843776 300 400") << "they stay";
}

// On the live host, whatever its kernel: no key is pushed behind the bytes that are read.
TEST_F(MemInfo, LongestCountersOfThisKernelFitTheReads)
{
    constexpr size_t PAGE = 4096; // what the kernel hands out of /proc/vmstat in one read
    m_clTree.fWrite("proc/meminfo", fLongest("/proc/meminfo"));
    m_clTree.fWrite("proc/vmstat", fLongest("/proc/vmstat").substr(0, PAGE));
    m_clTree.fWrite("proc/stat", "ctxt 1\n");
    ASSERT_NE(m_clMem.fMGetMem(), nullptr);
    EXPECT_EQ(m_clMem.m_pulMEM[MEM_RECLAIMABLE], ~0UL) << "the last key that is looked for";
    const unsigned long swap[SWP_VALUES] = {~0UL, 0, ~0UL, ~0UL, ~0UL};
    EXPECT_EQ(fgNumbers(m_clMem.fMGetSwap(), SWP_VALUES), fgNumbers(swap, SWP_VALUES));
    long raw[VM_VALUES] = {};
    EXPECT_EQ(CMM_VM_Info().fMGetStat(raw), 1);
}

TEST_F(MemInfo, TakesModulesOfTheScriptsFileUpToItsArray)
{
    const std::string path = "../aproc/shell/MemCntInfo.dat";
    m_clTree.fScript("MemCntInfoLIN.sh", "");
    fgWriteFile(path, "16384\n0\nnone\n-8\n 8192 MB\n");
    const int* sizes = m_clMem.fMGetMemCnt();
    EXPECT_EQ(fgNumbers(sizes, 3), "16384 8192 0");
    fs::remove(path);
    EXPECT_EQ(m_clMem.fMGetMemCnt(), nullptr);
    EXPECT_TRUE(m_clMem.m_pnMemCnt == sizes && m_clMem.fMGetMemTotCnt() == 2) << "they stay together";
    fgRunCommand("seq 1 1000 >" + path);
    ASSERT_NE(m_clMem.fMGetMemCnt(), nullptr);
    EXPECT_EQ(m_clMem.fMGetMemTotCnt(), MEM_MODULES);
}

TEST_F(MemInfo, PushRowNeedsAShareThatIsNoNonsense)
{
    EXPECT_EQ(fPush("MemTotal: 5\n"), "") << "no sample";
    const std::string row = fPush("MemTotal: 3000\nMemFree: 500\nBuffers: 200\nCached: 300\n");
    EXPECT_EQ(row, "agent]4.4.1.0^3000^]4.4.3.0^2000^]4.4.4.0^1000^]4.4.12.0^200^]4.4.13.0^300^"
                   "]4.4.5.0^66.67^]4.4.24.0^10.00^");
    EXPECT_EQ(fPush("MemTotal: 10\nMemFree: 9\nBuffers: 1\nCached: 1\n"), row) << "more free than there is";
    const std::string none = fPush("MemTotal: 0\nMemFree: 0\nBuffers: 0\nCached: 0\n");
    EXPECT_NE(none.find("nan^]4.4.24.0^"), std::string::npos) << none;
    std::string key(5000, 'K');
    g_ptrAgentKey = key.data();
    EXPECT_EQ(fPush("MemTotal: 9\nMemFree: 1\nBuffers: 1\nCached: 1\n"), std::string(MEM_PUSH_SIZE - 1, 'K'));
}
