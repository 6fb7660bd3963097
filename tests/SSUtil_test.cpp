#include "collect/SSUtil.h"

#include <clocale>

#include "collect/MM_INIT_Info.h"
#include "collect/MM_MEM_Info.h"
#include "tests/TestSupport.h"

TEST(InitInfo, KeepsTheReleaseOfTheHostWhileOneLives)
{
    const CTestTree tree;
    const CTestHost host(tree.fTop());
    for (const auto& row : fgCases("units/releases")) {
        tree.fWrite("proc/sys/kernel/osrelease", row[0]);
        auto first = std::make_unique<CMM_INIT_Info>();
        const CMM_INIT_Info second;
        first.reset();
        const ST_OS_VERSION& version = *CMM_INIT_Info::m_pstOsVersion;
        EXPECT_EQ(std::to_string(version.l_nMajorNum) + " " + std::to_string(version.l_nMinorNum) + " " +
                      std::to_string(version.l_nExtraNum),
                  row.at(1));
    }
}

TEST(SSUtil, SignedSharesRecoverA32BitWrapAndAdditionDoesNot)
{
    CSSUtil util;
    int pct[2];
    long diff[2];
    long cur[] = {5, 111};
    long old[] = {4294967290, 100};
    EXPECT_EQ(util.fGetCpuPct(2, pct, cur, old, diff), 22);
    EXPECT_EQ(diff[0], 11);
    EXPECT_EQ(pct[0], 500);

    long fallen[] = {5, 7};
    long before[] = {10, 4};
    EXPECT_EQ(util.fGetAddition(2, pct, fallen, before), -2);
    EXPECT_EQ(std::pair(pct[0], before[0]), std::pair(-5, 5L));
}

TEST(SSUtil, ElapsedTimeLosesWhatSinglePrecisionLoses)
{
    EXPECT_EQ(fgElapsedSeconds({10, 999999}, {12, 1}), 2 + static_cast<double>(-999998.0F) * 1e-6);
}

TEST(SSUtil, FormatsDurationsAndSizes)
{
    CSSUtil util;
    for (const auto& row : fgCases("units/durations"))
        EXPECT_EQ(util.fFormatTime(atoi(row[0].c_str())), row.at(1));
    for (const auto& [size, kilobytes] : {std::pair(512, 4UL), {1024, 9UL}, {4096, 36UL}})
        EXPECT_EQ(util.fBlock2k(9, size), kilobytes);
    for (const auto& row : fgCases("units/sizes")) { // as kilobytes and three times as megabytes
        const unsigned long size = strtoul(row[0].c_str(), nullptr, 10);
        EXPECT_EQ(util.fKbyteToForm(size), row.at(1));
        EXPECT_EQ(util.fMbyteToForm(size), row.at(2));
        EXPECT_EQ(util.fMbyteTo1000Form(size), row.at(3));
        EXPECT_EQ(util.fMbyteTo1000FormInt(size), row.at(4));
    }
}

TEST(SSUtil, ReadsFilesWithinBounds)
{
    CSSUtil util;
    const CTestTree tree;
    const CTestHost host(tree.fTop());
    tree.fWrite("proc/1/cmdline", std::string("a\0b\0", 4));
    tree.fWrite("proc/1/stat", std::string("a\0b", 3));
    char text[4];
    EXPECT_EQ(util.fFile2Buff("/proc/1/cmdline", text, 4), 3);
    EXPECT_STREQ(text, "a b");
    EXPECT_EQ(util.fFile2Buff("/proc/1/stat", text, sizeof(text)), 3);
    EXPECT_STREQ(text, "a") << "only command lines get blanks";
    EXPECT_EQ(util.fFile2Buff("/proc/1/none", text, sizeof(text)), 0);
}

// An agent may have set one with a decimal comma.
TEST(PlainNumbers, HaveAPointInEveryLocale)
{
    const CTestTree tree;
    fgRunCommand("localedef -c -i " HOSTMETRICS_FIXTURES "/units/comma -f ANSI_X3.4-1968 " +
                 tree.fPath("commas"));
    setenv("LOCPATH", tree.fTop().c_str(), 1);
    ASSERT_NE(setlocale(LC_NUMERIC, "commas"), nullptr);
    const CTestHost host("linux-6.12/t1");
    CMM_MEM_Info memory;
    memory.fPushGatherMem();
    const std::string texts = memory.fGetRealTimeStrMemTAQ() + std::string(CSSUtil().fKbyteToForm(1536));
    setlocale(LC_NUMERIC, "C");
    EXPECT_TRUE(texts.find("4.4.24.0") != std::string::npos && texts.find(',') == std::string::npos) << texts;
}
