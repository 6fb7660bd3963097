#include "collect/MM_IO_Info.h"

#include <malloc.h>
#include <memory>

#include "driver/RunConfig.h"
#include "lib/TextTable.h"
#include "tests/TestSupport.h"

namespace
{
using CTexts = std::vector<std::string>;

// A collector on a kernel of the test's choice.
class DiskInfo : public CHostTest
{
protected:
    DiskInfo() { fStart(3, 10); }
    void fStart(int major, int minor) // a collector that knows no samples
    {
        m_pclIo.reset();
        m_pclIo = std::make_unique<CMM_IO_Info>();
        CMM_INIT_Info::m_pstOsVersion->l_nMajorNum = major;
        CMM_INIT_Info::m_pstOsVersion->l_nMinorNum = minor;
    }
    void fDiskstats(const std::string& text) { m_clTree.fWrite("proc/diskstats", text); }
    // The records from the cursor on: name, the values of a row, milliseconds an operation, size.
    std::string fRecords()
    {
        std::string records;
        while (const _ST_DISKIO* io = m_pclIo->fMGetIoStatNext()) {
            const double values[] = {io->l_dRead_N,
                                     io->l_dWrite_N,
                                     io->l_dRead_B,
                                     io->l_dWrite_B,
                                     io->l_dBusy,
                                     io->l_dAwait,
                                     static_cast<double>(io->l_nTotSize)};
            records += io->l_strDEVname + (" " + fgNumbers(values, std::size(values)) + "\n");
        }
        return records;
    }
    size_t fCount() { return fgSplit(fRecords(), "\n").size() - 1; }
    // One pass over two seconds; false when it gave nothing.
    bool fPass(int mode = 1, int push = -1) { return m_pclIo->fMGetIoStat(2.0, mode, push) != nullptr; }
    std::string fTable() const { return fgReadable(m_pclIo->m_pStrDiskTAQ); }

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
    const CTestSetting bound(g_nDiskMaxGatherCnt, 0);
    const std::tuple<int, int, std::string, int> kernels[] = {
        {3, 10, "linux-6.1", 4}, // disks, with hda, whose short line gives no record; one more ends the list
        {2, 4, "linux-2.4", 1},  // their lists do not end early
        {2, 2, "linux-2.2", 1}};
    for (const auto& [major, minor, machine, most] : kernels) {
        g_nDiskMaxGatherCnt = most;
        fStart(major, minor);
        m_clHost.fMove(machine + "/t0");
        ASSERT_TRUE(fPass(7)); // on old kernels, this mode only stores
        EXPECT_EQ(fCount(), major == 2 ? 0U : 4U);
        m_clHost.fMove(machine + "/t1");
        ASSERT_TRUE(fPass());
        EXPECT_EQ(fRecords(), fgFixture(machine + "/disks"));
        EXPECT_EQ(m_pclIo->fMGetIoStatNext(), nullptr);
    }
}

TEST_F(DiskInfo, InventoryOfThisHostAndTheTable)
{
    m_clHost.fMove("linux-6.1/t0");
    EXPECT_EQ(m_pclIo->fMGetIoStat(0, -1), m_pclIo->m_pclINVList);
    EXPECT_EQ(fRecords(), fgFixture("linux-6.1/disk-inventory")) << "names are not looked at";
    EXPECT_EQ(m_pclIo->fMGetDevNames(1), 4);
    EXPECT_EQ(m_pclIo->fMGetDevNames(1), 4) << "no entry twice";
    const CTestSetting most(g_nDiskMaxGatherCnt, 1);
    ASSERT_TRUE(fPass(0));
    EXPECT_EQ(fCount(), 2U) << "the bound is tested behind the insertion";
    fgRunCommand("rm -rf ../aproc/shell"); // the listing has no place
    EXPECT_FALSE(fPass(0));
    EXPECT_EQ(m_clLog.fCount("[INFO][MM_IO_Info.cpp]fMGetDevNames D_FOPEN failed"), 1);
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

// The table grows, by twice what is used, without a bound; a name is cut at its field.
TEST_F(DiskInfo, TextOfManyDisksAndLongNames)
{
    const CTestSetting rows(g_nDiskStrType, 1);
    const CTestSetting most(g_nDiskMaxGatherCnt, 50);
    std::string text = fStatLine(std::string(3000, 'n'), 0, 0, 0);
    for (int i = 1; i < 2500; i++) // more than is read at first
        text += fStatLine("nnn" + std::to_string(i), 0, i, 0);
    text.pop_back(); // no newline
    fDiskstats(text);
    ASSERT_TRUE(fPass() && fPass());
    const CTexts table = fgSplit(m_pclIo->m_pStrDiskTAQ, SEPARATOR_ROW);
    ASSERT_EQ(table.size(), 2501U);
    EXPECT_EQ(fgSplit(table[1], SEPARATOR_FIELD)[1], "/dev/" + std::string(1019, 'n'));
    for (size_t i = 2; i < table.size(); i++)
        ASSERT_EQ(fgSplit(table[i], SEPARATOR_FIELD)[1], "/dev/nnn" + std::to_string(i - 1));
    EXPECT_EQ(m_pclIo->m_nDiskTAQSize, 270616);
    m_clHost.fMove("none");
    EXPECT_FALSE(fPass());
    EXPECT_EQ(fgSplit(m_pclIo->m_pStrDiskTAQ, SEPARATOR_ROW), table) << "untouched";
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
    inventory("VELKDISK|/dev/sdb");
    EXPECT_EQ(m_pclIo->fDiskChangeCheck(), 1);
    EXPECT_EQ(m_pclIo->fDiskChangeCheck(), 0);
    for (const auto reader : {&CMM_IO_Info::fGetDiskINV, &CMM_IO_Info::fDiskChangeCheck})
        for (const int length : {10230, 10236, 20000}) { // the second: a record too long, a table that fits
            fStart(3, 10);
            const std::string record = "VELKDISK|" + std::string(static_cast<size_t>(length), 'd');
            inventory(record);
            EXPECT_GE((m_pclIo.get()->*reader)(), 0);
            EXPECT_EQ(m_pclIo->m_nDiskINVSize, length == 10230 ? 10240 : 10240 + length + 9 + 16);
            EXPECT_GE(malloc_usable_size(m_pclIo->m_pStrDiskINV),
                      static_cast<size_t>(m_pclIo->m_nDiskINVSize));
            EXPECT_EQ(m_pclIo->fGetDiskINV(), 1) << "the room decides, not the size that is told";
            EXPECT_EQ(m_pclIo->m_pStrDiskINV, record.substr(9));
        }
}
