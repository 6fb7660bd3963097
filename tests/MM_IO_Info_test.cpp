#include "collect/MM_IO_Info.h"

#include <malloc.h>
#include <memory>

#include "driver/RunConfig.h"
#include "lib/TextTable.h"
#include "tests/TestSupport.h"

namespace
{
using CTexts = std::vector<std::string>;

// A collector on a kernel of the test's choice, whose listing script shows the fixture's partitions.
class DiskInfo : public testing::Test
{
protected:
    DiskInfo() : m_clHost(m_clTree.fTop()) { fStart(3, 10); }
    void fStart(int major, int minor) // a collector that knows no samples
    {
        m_pclIo.reset();
        m_pclIo = std::make_unique<CMM_IO_Info>();
        CMM_INIT_Info::m_pstOsVersion->l_nMajorNum = major;
        CMM_INIT_Info::m_pstOsVersion->l_nMinorNum = minor;
    }
    void fMove(const std::string& root)
    {
        m_clHost.fMove(root);
        m_clTree.fScript("partitions.sh", "cat '" + std::string(g_strHostRoot) + "/proc/partitions'");
    }
    void fDiskstats(const std::string& text) { m_clTree.fWrite("proc/diskstats", text); }
    // The records from the cursor on: name, the values of a row, milliseconds an operation, size.
    std::string fRecords()
    {
        std::string records;
        while (const _ST_DISKIO* io = m_pclIo->fMGetIoStatNext()) {
            char text[DISK_ROW_SIZE];
            snprintf(text, sizeof(text), "%s %.2f %.2f %.2f %.2f %.2f %.2f %lu\n", io->l_strDEVname,
                     io->l_dRead_N, io->l_dWrite_N, io->l_dRead_B, io->l_dWrite_B, io->l_dBusy, io->l_dAwait,
                     io->l_nTotSize);
            records += text;
        }
        return records;
    }
    size_t fCount() { return fgSplit(fRecords(), "\n").size() - 1; }
    // One pass over two seconds; false when it gave nothing.
    bool fPass(int mode = 1, int push = -1) { return m_pclIo->fMGetIoStat(2.0, mode, push) != nullptr; }
    std::string fTable() const { return fgReadable(m_pclIo->m_pStrDiskTAQ); }

    CTestTree m_clTree;
    CTestHost m_clHost;
    std::unique_ptr<CMM_IO_Info> m_pclIo;
};

constexpr char HEADER[] = "INDEX~DISKNAME~READCNT~WRITECNT~READKB~WRITEKB~BUSY~";

std::string fStatLine(const std::string& name, int minor, int counter, int ticks)
{
    const std::string n = std::to_string(counter);
    return " 8 " + std::to_string(minor) + " " + name + " " + n + " 0 " + n + " 0 " + n + " 0 " + n +
           " 0 0 " + std::to_string(ticks) + " 0\n";
}
} // namespace

TEST_F(DiskInfo, RatesBetweenTwoMomentsOfEachKindOfKernel)
{
    const std::tuple<int, int, std::string, int> kernels[] = {
        {3, 10, "linux-6.1", 4}, {2, 4, "linux-2.4", 0}, {2, 2, "linux-2.2", 0}};
    for (const auto& [major, minor, machine, disks] : kernels) {
        fStart(major, minor);
        fMove(machine + "/t0");
        ASSERT_TRUE(fPass(7)); // on old kernels, this mode only stores
        EXPECT_EQ(fCount(), static_cast<size_t>(disks));
        fMove(machine + "/t1");
        ASSERT_TRUE(fPass());
        EXPECT_EQ(fRecords(), fgFixture(machine + "/disks"));
        EXPECT_EQ(m_pclIo->fMGetIoStatNext(), nullptr);
    }
    const CTestSetting rows(g_nDiskStrType, 1);
    fStart(3, 10);
    fMove("linux-6.1/t0");
    ASSERT_TRUE(fPass(0));
    EXPECT_EQ(fTable(), HEADER) << "text primes";
    fMove("linux-6.1/t1");
    ASSERT_TRUE(fPass(0));
    const std::string table = fTable();
    EXPECT_EQ(table + "\n", HEADER + fgFixture("linux-6.1/disk-rows")) << "what fell is not known";
    fMove("none");
    EXPECT_FALSE(fPass());
    EXPECT_EQ(fTable(), table) << "untouched";
}

TEST_F(DiskInfo, InventoryOfThisHostAndTheTable)
{
    fMove("linux-6.1/t0");
    const CTestLog log;
    EXPECT_EQ(m_pclIo->fMGetIoStat(0, -1), m_pclIo->m_pclINVList);
    EXPECT_EQ(fRecords(), fgFixture("linux-6.1/disk-inventory")) << "names are not looked at";
    EXPECT_EQ(m_pclIo->fMGetDevNames(1), 4);
    EXPECT_EQ(m_pclIo->fMGetDevNames(1), 4) << "no entry twice";
    const CTestSetting most(g_nDiskMaxGatherCnt, 1);
    ASSERT_TRUE(fPass(0));
    EXPECT_EQ(fCount(), 2U) << "the bound is tested behind the insertion";
    fgRunCommand("rm -rf ../aproc/shell"); // the listing has no place
    EXPECT_FALSE(fPass(0));
    EXPECT_EQ(log.fCount("[INFO][MM_IO_Info.cpp]fMGetDevNames D_FOPEN failed"), 1);
}

TEST_F(DiskInfo, TheBoundCountsShortLinesAndEndsListsOfNewKernelsAlone)
{
    std::string text = " 3 0 hda 1 2 3 4\n 3 1 hda1 1 2 3 4\n";
    for (const char* name : {"sda", "sdb", "sdc", "sdd"})
        text += fStatLine(name, 0, 1, 1);
    fDiskstats(text);
    const CTestSetting most(g_nDiskMaxGatherCnt, 2);
    ASSERT_TRUE(fPass());
    EXPECT_EQ(fCount(), 2U) << "hda was counted, hda1 is a partition";
    {
        const CTestSetting rows(g_nDiskStrType, 1);
        fPass();
        fPass();
        EXPECT_EQ(m_pclIo->m_nDiskTAQCnt, 4);
    }
    g_nDiskMaxGatherCnt = 1;
    fStart(2, 4);
    fMove("linux-2.4/t0");
    ASSERT_TRUE(fPass());
    EXPECT_EQ(fCount(), 3U);
}

TEST(DiskParsers, ListingFilterAndSource)
{
    ST_LISTED_DISK disk;
    for (const auto& row : fgCases("disks/listing")) // why, the line, whether it is a disk
        EXPECT_EQ(fgParseListedDisk(row.at(1).c_str(), disk), row.at(2) == "1") << row[0];
    ASSERT_TRUE(fgParseListedDisk(("8 32 3000000 " + std::string(100, 'n')).c_str(), disk));
    EXPECT_EQ(disk.l_strName, std::string(63, 'n'));
    for (const auto& row : fgCases("disks/filter")) { // why, minor number, name, values, whether it passes
        const int minor = atoi(row.at(1).c_str()), values = atoi(row.at(3).c_str());
        EXPECT_EQ(fgPassesDiskFilter({0, minor, row[2]}, values), row.at(4) == "1") << row[0];
    }
    ST_DISK_LINE line;
    fgParsePartitions("3 0 9 hda 1 2 3 4 5 6 7 8 9 4294967297 11", line);
    EXPECT_EQ(line.l_ulTicks, 1U) << "32 bits on these kernels";
    std::string sources; // 0 none, 1 stat, 2 partitions, 3 diskstats
    for (const int major : {1, 2, 3, 6})
        for (const int minor : {0, 2, 4, 5, 6, 9})
            sources += std::to_string(fgDiskSource(major, minor));
    EXPECT_EQ(sources, "000000012033333333333333");
    char word[6] = "#####";
    EXPECT_STREQ(CMM_IO_Info().fMParceDevUnit(" sda 12", word, 4), " 12");
    EXPECT_EQ(std::string(word, 5), std::string("sda\0#", 5));
    EXPECT_EQ(CMM_IO_Info().fMParceDevUnit("sdab", word, 4), nullptr);
}

TEST(DiskRates, ClampsOrderAndPauses)
{
    _ST_DISKIO io = {};
    io.l_dRead_N = 1e9;
    io.l_dWrite_N = 999999999.5;
    io.l_dRead_B = -0.25;
    io.l_dBusy = 100.5;
    fgClampDisk(io);
    EXPECT_EQ((DISK_COLUMNS{io.l_dRead_N, io.l_dWrite_N, io.l_dRead_B, io.l_dWrite_B, io.l_dBusy}),
              (DISK_COLUMNS{-1, 999999999.5, -1, 0, 100}));
    ST_DISKALL_LIST idle = {}, busy = {};
    idle.l_dBusy = 50;
    busy.l_dBusy = 50.000001;
    EXPECT_EQ(compare_alldisk(&idle, &busy), 0) << "closer than single precision";
    std::string pauses; // before the first of every hundred rows
    for (const int count : {0, 1, 100, 150, 200})
        for (const int flag : {99, 100, 150})
            pauses += fgPausesBeforeRow(count, flag) ? '1' : '0';
    EXPECT_EQ(pauses, "011000010001010");
}

TEST_F(DiskInfo, PushFormSumsAndShowsTheBusiest)
{
    const CTestSetting rows(g_nDiskStrType, 1);
    char key[] = "agent";
    const CTestSetting<char*> agent(g_ptrAgentKey, key);
    const CTestSetting paced(g_nDiskWaitFlag, 100); // would take half a second
    const auto pass = [this](int step, int push = 1) {
        std::string text;
        for (int i = 0; i < 60; i++) // operations step by 2 (i + 1), ticks by 20 in pairs
            text += fStatLine("d" + std::to_string(i), 16 * i, step * 2 * (i + 1), step * 20 * (i / 2));
        fDiskstats(text + fStatLine("back", 0, 1000 - step, 0));
        EXPECT_TRUE(fPass(1, push));
        return fgSplit(fTable(), "|");
    };
    EXPECT_EQ(pass(1), CTexts{std::string("agent]4.5.11.0^") + HEADER});
    const CTexts table = pass(2);
    ASSERT_EQ(table.size(), 52U) << "the header, the sum and fifty";
    // 1 + 2 + ... + 60; of the disk that fell the counts are not known, the kilobytes enormous
    EXPECT_TRUE(table[1].starts_with("1~NULL~1830.00~1830.00~") && table[1].ends_with("~29.00~")) << table[1];
    EXPECT_EQ(table[2], "2~/dev/d58~59.00~59.00~29.50~29.50~29.00~") << "equals stay in order";
    EXPECT_EQ(table[51], "51~/dev/d11~12.00~12.00~6.00~6.00~5.00~");
    EXPECT_EQ(pass(2, 0)[1], "1~/dev/d0~0.00~0.00~0.00~0.00~0.00~") << "the samples are shared";
}

// The table grows, by twice what is used; a name is cut at its field.
TEST_F(DiskInfo, TextOfManyDisksAndLongNames)
{
    const CTestSetting rows(g_nDiskStrType, 1);
    std::string text = fStatLine(std::string(3000, 'n'), 0, 0, 0);
    for (int i = 1; i < 2500; i++) // more than is read at first
        text += fStatLine("nnn" + std::to_string(i), 0, i, 0);
    text.pop_back(); // no newline
    fDiskstats(text);
    ASSERT_TRUE(fPass() && fPass());
    const CTexts table = fgSplit(m_pclIo->m_pStrDiskTAQ, SEPARATOR_ROW);
    ASSERT_EQ(table.size(), 2501U);
    for (size_t i = 1; i < table.size(); i++) {
        const std::string path = "/dev/" + (i == 1 ? std::string(1019, 'n') : "nnn" + std::to_string(i - 1));
        ASSERT_EQ(fgSplit(table[i], SEPARATOR_FIELD)[1], path);
    }
    EXPECT_EQ(m_pclIo->m_nDiskTAQSize, 270616);
}

TEST_F(DiskInfo, ReadsItsInventoryAndSeesItChange)
{
    const auto inventory = [this](const std::string& text) {
        m_clTree.fWrite("agent/aproc/shell/DiskINVStrInfo.dat", text + "\n");
    };
    inventory("12|34\nVELKDISK||/dev/sda||x\nlater");
    EXPECT_EQ(m_pclIo->fGetDiskINV(), 1);
    EXPECT_STREQ(m_pclIo->m_pStrDiskINV, "/dev/sda||x");
    for (const char* why : {"the first", "the same"})
        EXPECT_EQ(m_pclIo->fDiskChangeCheck(), 0) << why;
    const std::string large(20000, 'd');
    inventory("VELKDISK|" + large);
    EXPECT_EQ(m_pclIo->fDiskChangeCheck(), 1);
    EXPECT_EQ(m_pclIo->m_nDiskINVSize, 10240 + 20009 + 16) << "told of the other buffer";
    EXPECT_EQ(m_pclIo->fDiskChangeCheck(), 0);
    EXPECT_EQ(m_pclIo->fGetDiskINV(), 1) << "the room decides, not the size that is told";
    EXPECT_EQ(m_pclIo->m_pStrDiskINV, large);
    for (const auto reader : {&CMM_IO_Info::fGetDiskINV, &CMM_IO_Info::fDiskChangeCheck})
        for (const size_t length : {10230U, 10236U}) { // the second: a record too long, a table that fits
            fStart(3, 10);
            inventory("VELKDISK|" + std::string(length, 'd'));
            EXPECT_GE((m_pclIo.get()->*reader)(), 0);
            EXPECT_EQ(m_pclIo->m_nDiskINVSize > 10240, length > 10231);
            EXPECT_GE(malloc_usable_size(m_pclIo->m_pStrDiskINV),
                      static_cast<size_t>(m_pclIo->m_nDiskINVSize));
        }
}
