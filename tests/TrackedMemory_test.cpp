#include "lib/TrackedMemory.h"

#include <algorithm>
#include <cstdlib>

#include "tests/TestSupport.h"

namespace
{
// A table of the test's own, with its warnings and reports on standard error.
class TrackedMemory : public testing::Test
{
protected:
    ~TrackedMemory() override
    {
        std::for_each_n(m_rTable.m_ppvdMEM, m_rTable.m_nMemSize, free);
        free(m_rTable.m_ppvdMEM);
        free(m_rTable.m_pnDebugNum);
        free(m_rTable.m_pnMEMSize);
    }
    using CRecord = std::vector<int>; // slot, debug number, size
    CRecord fRecord(const void* block) const
    {
        const auto slot = std::find(m_rTable.m_ppvdMEM, m_rTable.m_ppvdMEM + m_rTable.m_nMemSize, block) -
                          m_rTable.m_ppvdMEM;
        return {static_cast<int>(slot), m_rTable.m_pnDebugNum[slot], m_rTable.m_pnMEMSize[slot]};
    }

    CTestSetting<ST_MEM_USE_ST> m_clTable{g_stMemUse, {}};
    CTestSetting<int> m_clPrint{g_nPrint, 1};
    const ST_MEM_USE_ST& m_rTable = g_stMemUse;
};
} // namespace

TEST_F(TrackedMemory, TakesTheLastFreeSlotAndGrows)
{
    void* first = fgNmalloc(10, 7);
    EXPECT_EQ(m_rTable.m_nMemSize, 512);
    const auto* zeros = static_cast<unsigned char*>(fgNcalloc(3, 5, 8));
    EXPECT_EQ(fRecord(zeros), (CRecord{510, 8, 5})) << "the size of one";
    EXPECT_EQ(std::count(zeros, zeros + 15, 0), 15);
    for (int i = 2; i < 512; i++)
        fgNmalloc(i, 100 + i);
    EXPECT_TRUE(fgInitAlloc() == 1 && m_rTable.m_nMemSize == 512) << "not made again";
    EXPECT_EQ(fRecord(fgNmalloc(20, 9)), (CRecord{512, 9, 20})) << "the first new slot";
    EXPECT_EQ(m_rTable.m_nMemSize, 1024);
    EXPECT_EQ(fRecord(first), (CRecord{511, 7, 10}));
    EXPECT_EQ(fRecord(fgNmalloc(21, 9)), (CRecord{1023, 9, 21})) << "the last free slot again";

    EXPECT_EQ(fgNfree(first, 1), 1);
    EXPECT_TRUE(!fgNmalloc(-1, 1) && !fgNcalloc(-1, 8, 1) && !fgNcalloc(8, -1, 1));
    EXPECT_TRUE(!m_rTable.m_ppvdMEM[511] && !m_rTable.m_pnDebugNum[511] && !m_rTable.m_pnMEMSize[511]);
    void* stranger = malloc(10);
    EXPECT_TRUE(
        fgTold([&] { EXPECT_EQ(fgNfree(stranger, 5), 0); }).starts_with("not found free address [0x"));
    EXPECT_EQ(fgNfree(nullptr, 5), 0) << "null marks a free slot, no block";
}

// Where freed memory is held back to find faults, an address comes back when enough has been freed.
TEST_F(TrackedMemory, NoticesAnAddressThatCameBack)
{
    constexpr int SIZE = 64 << 20;
    void* volatile lost = fgNmalloc(SIZE, 7); // freed behind the back of whoever knows it
    const auto comesBack = [&lost](auto allocate) {
        free(lost);
        void* block = nullptr;
        std::string told;
        for (int i = 0; i < 100 && block != lost; i++) {
            fgNfree(block, 0);
            told = fgTold([&] { block = allocate(); });
        }
        return told;
    };
    EXPECT_EQ(comesBack([] { return fgNmalloc(SIZE, 9); }),
              "re malloc[511] DEBUG NO[7] --> 1 count, 67108864 Byte : request[size 67108864][DebugNum 9]\n");
    EXPECT_EQ(comesBack([] { return fgNcalloc(2, SIZE / 2, 8); }),
              "re calloc[511] DEBUG NO[9] --> 1 count, 67108864 Byte : request[memcnt 2, size 33554432]"
              "[DebugNum 8]\n");
    EXPECT_EQ(fRecord(lost), (CRecord{511, 8, SIZE / 2}));
}

TEST_F(TrackedMemory, ReportsByDebugNumberOnBothChannels)
{
    for (const auto& [size, number] : {std::pair(1000, 0), {1, 30}, {20, 10}, {300, 30}, {4000, 20}})
        fgNmalloc(size, number);
    EXPECT_EQ(fgTold([] { EXPECT_EQ(fgNPrintAlloc(), 1); }), fgFixture("memory/blocks"))
        << "without number 0";
    g_nPrint = 0;
    const CTestLog log;
    for (const char* mask : {"DEBUG:LAB:ALL", "DEBUG:UNI:UNI"}) {
        EXPECT_TRUE(log.fLines().empty());
        g_pclOmniLog->fSetLogModeBit(mask);
        EXPECT_EQ(fgTold(fgNPrintAlloc), "");
    }
    EXPECT_EQ(log.fLines().size(), 4U);
    EXPECT_EQ(log.fCount("[DEBUG][LIB]Total MEM alloc[1] DEBUG NO[30] --> 2 count, 301 Byte"), 1);
}
