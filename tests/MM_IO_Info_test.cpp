#include "collect/MM_IO_Info.h"

#include <cstring>
#include <malloc.h>
#include <memory>
#include <random>
#include <string>

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
        m_clTree.fReplaceScript("agent/bin/shell/LINUX/partitions.sh",
                                "#!/bin/sh\ncat '" + std::string(g_strHostRoot) + "/proc/partitions'\n");
    }
    void fDiskstats(const std::string& text) { fgWriteFile(m_clTree.fPath("proc/diskstats"), text); }
    // The records from the cursor on: name, the values of a row, milliseconds an operation, size.
    CTexts fRecords()
    {
        CTexts records;
        while (const _ST_DISKIO* io = m_pclIo->fMGetIoStatNext()) {
            char text[DISK_ROW_SIZE];
            snprintf(text, sizeof(text), "%s %.2f %.2f %.2f %.2f %.2f %.2f %lu", io->l_strDEVname,
                     io->l_dRead_N, io->l_dWrite_N, io->l_dRead_B, io->l_dWrite_B, io->l_dBusy, io->l_dAwait,
                     io->l_nTotSize);
            records.emplace_back(text);
        }
        return records;
    }
    // One pass over two seconds; false when it gave nothing.
    bool fPass(int mode = 1, int push = -1) { return m_pclIo->fMGetIoStat(2.0, mode, push) != nullptr; }
    CTexts fRows() const { return fgSplit(fgReadable(m_pclIo->m_pStrDiskTAQ), "|"); }

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

TEST_F(DiskInfo, ListsRatesBetweenTwoMoments)
{
    fMove("linux-6.1/t0");
    ASSERT_TRUE(fPass());
    EXPECT_EQ(fRecords()[0], "/dev/sda 0.00 0.00 0.00 0.00 0.00 0.00 0") << "nothing to measure against";
    fMove("linux-6.1/t1");
    ASSERT_TRUE(fPass(5)) << "the mode is not looked at";
    EXPECT_EQ(fRecords(), (CTexts{"/dev/sda 100.00 10.00 2000.00 500.00 25.00 0.00 0",
                                  "/dev/sdb 0.00 1.00 0.00 4.00 100.00 0.00 0",
                                  "/dev/sdc 0.00 0.00 0.00 0.00 0.00 0.00 0",
                                  "/dev/nvme0n1 0.00 250.00 0.00 0.00 0.00 0.00 0",
                                  "/dev/nvme0n1p1 1.00 3.00 4.00 8.00 1.00 0.00 0"}));
    EXPECT_EQ(m_pclIo->fMGetIoStatNext(), nullptr);
    EXPECT_EQ(m_pclIo->m_nNDev, 5);
}

TEST_F(DiskInfo, TextPrimesThenShowsRowsWithWhatFellAsUnknown)
{
    const CTestSetting rows(g_nDiskStrType, 1);
    fMove("linux-6.1/t0");
    ASSERT_TRUE(fPass(0));
    EXPECT_EQ(fRows(), CTexts{HEADER});
    fMove("linux-6.1/t1");
    ASSERT_TRUE(fPass(0));
    EXPECT_EQ(fRows(),
              (CTexts{HEADER, "1~/dev/sda~100.00~10.00~2000.00~500.00~25.00~",
                      "2~/dev/sdb~0.00~1.00~0.00~4.00~100.00~", "3~/dev/sdc~0.00~0.00~0.00~0.00~0.00~",
                      "4~/dev/nvme0n1~-1.00~250.00~4611686018427387904.00~0.00~100.00~",
                      "5~/dev/nvme0n1p1~1.00~3.00~4.00~8.00~1.00~"}));
    fMove("none");
    EXPECT_FALSE(fPass());
    EXPECT_EQ(fRows().size(), 6U) << "untouched";
}

TEST_F(DiskInfo, OldKernelsTakeTheDisksOfTheTable)
{
    const std::tuple<int, std::string, CTexts> kernels[] = {
        {4,
         "linux-2.4/",
         {"/dev/hda 30.00 5.00 240.00 40.00 0.00 20.00 20010",
          "/dev/hdc 0.00 0.50 0.00 2.00 0.00 30.00 4000"}},
        {2,
         "linux-2.2/",
         {"/dev/hda 20.00 5.00 100.00 50.00 0.00 0.00 2000", "/dev/hdb 0.00 1.00 0.00 8.00 0.00 0.00 1500"}},
    };
    for (const auto& [minor, machine, records] : kernels) {
        fStart(2, minor);
        fMove(machine + "t0");
        ASSERT_TRUE(fPass(7)) << "only stores";
        EXPECT_EQ(fRecords(), CTexts{});
        fMove(machine + "t1");
        ASSERT_TRUE(fPass());
        EXPECT_EQ(fRecords(), records);
    }
    fStart(2, 4);
    const CTestSetting most(g_nDiskMaxGatherCnt, 1);
    std::string listing;
    for (const char* disk : {"0 9000000 hda", "16 9000000 hdb", "32 9000000 hdc"})
        listing += " 3 " + std::string(disk) + " 1 0 1 0 1 0 1 0 0 0 0\n";
    fgWriteFile(m_clTree.fPath("proc/partitions"), listing);
    fMove(m_clTree.fTop());
    ASSERT_TRUE(fPass());
    EXPECT_EQ(fRecords().size(), 3U) << "no bound here";
}

TEST_F(DiskInfo, InventoryOfThisHostAndTheTable)
{
    fMove("linux-6.1/t0");
    const CTestLog log;
    EXPECT_EQ(m_pclIo->fMGetIoStat(0, -1), m_pclIo->m_pclINVList);
    EXPECT_EQ(fRecords(), (CTexts{"/dev/sda 0.00 0.00 0.00 0.00 0.00 0.00 500107",
                                  "/dev/sdb 0.00 0.00 0.00 0.00 0.00 0.00 1000",
                                  "/dev/nvme0n1 0.00 0.00 0.00 0.00 0.00 0.00 250059",
                                  "/dev/sr0 0.00 0.00 0.00 0.00 0.00 0.00 1048"}))
        << "names are not looked at";
    EXPECT_EQ(m_pclIo->fMGetDevNames(1), 4);
    EXPECT_EQ(m_pclIo->fMGetDevNames(1), 4) << "no entry twice";
    const CTestSetting most(g_nDiskMaxGatherCnt, 1);
    ASSERT_TRUE(fPass(0));
    EXPECT_EQ(fRecords().size(), 2U) << "the bound is tested behind the insertion";
    fgRunCommand("rm -rf ../aproc/shell"); // the listing has no place
    EXPECT_FALSE(fPass(0));
    EXPECT_EQ(log.fCount("[INFO][MM_IO_Info.cpp]fMGetDevNames D_FOPEN failed"), 1);
}

TEST_F(DiskInfo, TheBoundCountsShortLinesAndEndsListsAlone)
{
    std::string text = " 3 0 hda 1 2 3 4\n 3 1 hda1 1 2 3 4\n";
    for (const char* name : {"sda", "sdb", "sdc", "sdd"})
        text += fStatLine(name, 0, 1, 1);
    fDiskstats(text);
    const CTestSetting most(g_nDiskMaxGatherCnt, 2);
    ASSERT_TRUE(fPass());
    EXPECT_EQ(fRecords().size(), 2U) << "hda was counted, hda1 is a partition";
    const CTestSetting rows(g_nDiskStrType, 1);
    fPass();
    fPass();
    EXPECT_EQ(m_pclIo->m_nDiskTAQCnt, 4);
}

// Each format's parser against sscanf's own reading of whole, cut and damaged lines.
TEST(DiskParsers, TakeWhatSscanfTakes)
{
    const char* const pieces[] = {"0",  "-1",  "4294967296", "18446744073709551616", "x", "",
                                  "+5", "\t3", "2.5"};
    std::mt19937 random(3);
    for (int i = 0; i < 40000; i++) {
        const bool old = i % 2 == 1;
        std::string text;
        const auto damaged = random() % 40;
        for (unsigned column = 0; column < 16; column++) {
            const std::string plain = column == (old ? 3U : 2U) ? "sdb" : std::to_string(random());
            text += (damaged == column ? pieces[random() % std::size(pieces)] : plain) + " ";
        }
        if (random() % 8 == 0) text.resize(random() % text.size());
        ST_DISK_LINE is, be;
        char name[512] = "";
        unsigned int ticks = 0; // 32 bits in the old format
        const auto scan = [&](const char* format, auto* tick) {
            return sscanf(text.c_str(), format, &be.l_nMajor, &be.l_nMinor, name, &be.l_uiReads,
                          &be.l_uiReadMerges, &be.l_ulReadSectors, &be.l_uiReadTicks, &be.l_uiWrites,
                          &be.l_uiWriteMerges, &be.l_ulWriteSectors, &be.l_uiWriteTicks, tick,
                          &be.l_uiWeighted);
        };
        const int expected = old ? scan(FORMAT_PARTITIONS, &ticks) : scan(FORMAT_DISKSTATS, &be.l_ulTicks);
        if (old) be.l_ulTicks = ticks;
        ASSERT_EQ(old ? fgParsePartitions(text.c_str(), is) : fgParseDiskstats(text.c_str(), is),
                  std::max(expected, 0))
            << text;
        const auto all = [](const ST_DISK_LINE& l) {
            return std::tie(l.l_nMajor, l.l_nMinor, l.l_uiReads, l.l_uiReadMerges, l.l_ulReadSectors,
                            l.l_uiReadTicks, l.l_uiWrites, l.l_uiWriteMerges, l.l_ulWriteSectors,
                            l.l_uiWriteTicks, l.l_ulTicks, l.l_uiWeighted);
        };
        ASSERT_EQ(all(is), all(be)) << text;
        ASSERT_EQ(is.l_strName, name) << text;
    }
}

TEST(DiskParsers, DisksOfTheListing)
{
    const std::pair<bool, std::string> rows[] = {
        {true, "   8        0    1000000 name\n"},            // just large enough
        {true, "   8       16    9000000 name"},              // no newline
        {false, "   8        0     999999 name\n"},           // too small
        {false, "   8       17    9000000 name\n"},           // a partition
        {false, "major minor  #blocks  name     rio rmerge"}, // the header
        {false, "8 0 9000000 name 1 2 3 4 5 0 rio\n"},        // statistics without activity
    };
    ST_LISTED_DISK disk;
    for (const auto& [isDisk, line] : rows)
        EXPECT_EQ(fgParseListedDisk(line.c_str(), disk), isDisk) << line;
    ASSERT_TRUE(fgParseListedDisk(("8 32 3000000 " + std::string(100, 'n')).c_str(), disk));
    EXPECT_EQ(std::pair(disk.l_ulBlocks, std::string(disk.l_strName)),
              std::pair(3000000UL, std::string(63, 'n')));
}

TEST(DiskParsers, FilterAndSource)
{
    const std::tuple<bool, int, const char*, int> rows[] = {
        {true, 16, "sda", 13},      {true, 1, "nvme0n1p1", 13}, {false, 16, "dm-0", 13},
        {false, 16, "xsddlma", 13}, {false, 16, "sr0", 13},     {false, 16, "md0", 13},
        {false, 16, "nvmemd", 13},  {false, 1, "sda1", 13},     {false, 3, "xnvme", 13},
        {true, 0, "dm-0", 7},       {false, 1, "hda1", 7}, // of short lines the minor number alone counts
    };
    for (const auto& [isDisk, minor, name, values] : rows)
        EXPECT_EQ(fgPassesDiskFilter({0, minor, name}, values), isDisk) << name;

    std::string sources; // 0 none, 1 stat, 2 partitions, 3 diskstats
    for (const int major : {1, 2, 3, 6})
        for (const int minor : {0, 2, 4, 5, 6, 9})
            sources += std::to_string(fgDiskSource(major, minor));
    EXPECT_EQ(sources, "000000012033333333333333");
}

TEST(DiskRates, ClampsAndOrder)
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
    char word[6] = "#####";
    EXPECT_STREQ(CMM_IO_Info().fMParceDevUnit(" sda 12", word, 4), " 12");
    EXPECT_EQ(std::string(word, 5), std::string("sda\0#", 5));
    EXPECT_EQ(CMM_IO_Info().fMParceDevUnit("sdab", word, 4), nullptr);
}

TEST_F(DiskInfo, PushFormSumsAndShowsTheBusiest)
{
    const CTestSetting rows(g_nDiskStrType, 1);
    char key[] = "agent";
    const CTestSetting<char*> agent(g_ptrAgentKey, key);
    const CTestSetting paced(g_nDiskWaitFlag, 100); // would take half a second
    const auto write = [this](int step) {
        std::string text;
        for (int i = 0; i < 60; i++) // operations step by 2 (i + 1), ticks by 20 in pairs
            text += fStatLine("d" + std::to_string(i), 16 * i, step * 2 * (i + 1), step * 20 * (i / 2));
        fDiskstats(text + fStatLine("back", 0, 1000 - step, 0));
    };
    const std::string start = std::string("agent]4.5.11.0^") + HEADER;
    write(1);
    ASSERT_TRUE(fPass(1, 1));
    EXPECT_EQ(fRows(), CTexts{start});
    write(2);
    ASSERT_TRUE(fPass(1, 1));
    const CTexts table = fRows();
    ASSERT_EQ(table.size(), 52U) << "the header, the sum and fifty";
    // 1 + 2 + ... + 60; of the disk that fell the counts are not known, the kilobytes enormous
    EXPECT_EQ(table[1].substr(0, 22), "1~NULL~1830.00~1830.00");
    EXPECT_EQ(table[1].substr(table[1].size() - 6), "29.00~");
    EXPECT_EQ(table[2], "2~/dev/d58~59.00~59.00~29.50~29.50~29.00~") << "equals stay in order";
    EXPECT_EQ(table[51], "51~/dev/d11~12.00~12.00~6.00~6.00~5.00~");
    ASSERT_TRUE(fPass(1, 0));
    EXPECT_EQ(fRows()[1], "1~/dev/d0~0.00~0.00~0.00~0.00~0.00~") << "the samples are shared";
}

TEST(DiskRates, PausesBeforeTheFirstOfEveryHundredRows)
{
    std::string pauses;
    for (const int count : {0, 1, 100, 150, 200})
        for (const int flag : {99, 100, 150})
            pauses += fgPausesBeforeRow(count, flag) ? '1' : '0';
    EXPECT_EQ(pauses, "011000010001010");
}

// The table grows, by twice what is used; a name is cut at its field.
TEST_F(DiskInfo, TextOfManyDisksAndLongNames)
{
    const CTestSetting rows(g_nDiskStrType, 1);
    std::string moments[2];
    for (int i = 0; i < 2500; i++) // more than is read at first
        for (int step = 0; step < 2; step++)
            moments[step] +=
                fStatLine(std::string(i == 0 ? 3000 : 3, 'n') + std::to_string(i), 0, step * i, 0);
    moments[1].pop_back(); // no newline
    for (const std::string& moment : moments) {
        fDiskstats(moment);
        ASSERT_TRUE(fPass());
    }
    const CTexts table = fgSplit(m_pclIo->m_pStrDiskTAQ, SEPARATOR_ROW);
    ASSERT_EQ(table.size(), 2501U);
    size_t size = TABLE_START_SIZE, used = table[0].size();
    for (size_t i = 1; i < table.size(); i++) {
        const std::string path = "/dev/" + (i == 1 ? std::string(1019, 'n') : "nnn" + std::to_string(i - 1));
        EXPECT_EQ(fgSplit(table[i], SEPARATOR_FIELD)[1], path);
        if (size - used < path.size() + TABLE_ROOM) size += 2 * used;
        used += strlen(SEPARATOR_ROW) + table[i].size();
    }
    EXPECT_EQ(static_cast<size_t>(m_pclIo->m_nDiskTAQSize), size);
}

TEST_F(DiskInfo, ReadsItsInventoryAndSeesItChange)
{
    const std::string path = m_clTree.fPath("agent/aproc/shell/DiskINVStrInfo.dat");
    fgWriteFile(path, "12|34\nVELKDISK||/dev/sda||x\nlater\n");
    EXPECT_EQ(m_pclIo->fGetDiskINV(), 1);
    EXPECT_STREQ(m_pclIo->m_pStrDiskINV, "/dev/sda||x");
    for (const char* why : {"the first", "the same"})
        EXPECT_EQ(m_pclIo->fDiskChangeCheck(), 0) << why;
    const std::string large = "VELKDISK|" + std::string(20000, 'd');
    fgWriteFile(path, large + "\n");
    EXPECT_EQ(m_pclIo->fDiskChangeCheck(), 1);
    EXPECT_EQ(m_pclIo->m_nDiskINVSize, 10240 + 20009 + 16) << "told of the other buffer";
    EXPECT_EQ(m_pclIo->fDiskChangeCheck(), 0);
    EXPECT_EQ(m_pclIo->fGetDiskINV(), 1) << "the room decides, not the size that is told";
    EXPECT_EQ(m_pclIo->m_pStrDiskINV, large.substr(9));
    for (const auto reader : {&CMM_IO_Info::fGetDiskINV, &CMM_IO_Info::fDiskChangeCheck})
        for (const size_t length : {10230U, 10236U, 30000U})
        { // the second: a record too long, a table that fits
            fStart(3, 10);
            fgWriteFile(path, "VELKDISK|" + std::string(length, 'd') + "\n");
            EXPECT_GE((m_pclIo.get()->*reader)(), 0);
            EXPECT_EQ(m_pclIo->m_nDiskINVSize > 10240, length > 10231);
            EXPECT_GE(malloc_usable_size(m_pclIo->m_pStrDiskINV),
                      static_cast<size_t>(m_pclIo->m_nDiskINVSize));
        }
}
