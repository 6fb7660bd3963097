#include "collect/MM_NWT_Info.h"

#include <algorithm>
#include <ctime>
#include <iterator>
#include <limits>
#include <memory>
#include <sstream>
#include <string>

#include "driver/PrintInfo.h"
#include "lib/NCmdScheduler.h"
#include "lib/TextTable.h"
#include "tests/TestSupport.h"

namespace
{
using CTexts = std::vector<std::string>;
using CCounters = std::vector<unsigned long long>; // packets, bytes, errors in; the same out; collisions

constexpr char HEADER[] = "INDEX~NAME~LINK~INPKT~OUTPKT~INBYTE~OUTBYTE~INERR~OUTERR~INERRRATE~OUTERRRATE~"
                          "COLLISION~COLLISIONRATE~RATE~RXRATE~TXRATE~";

CCounters fNumbers(const std::string& text)
{
    std::istringstream in(text);
    return {std::istream_iterator<unsigned long long>(in), {}};
}

std::string fLine(const std::string& name, const std::string& counters)
{
    const CCounters c = fNumbers(counters);
    std::string text = name + ":";
    for (const int at : {1, 0, 2, -1, -1, -1, -1, -1, 4, 3, 5, -1, -1, 6, -1, -1})
        text += " " + std::to_string(at < 0 ? 0 : c[static_cast<size_t>(at)]);
    return text + "\n";
}

// Behind the counters the bandwidth and duplex code, where they are known.
_ST_NETWORK_OLD_LIST fSample(const std::string& counters)
{
    CCounters c = fNumbers(counters);
    c.resize(9);
    return {{"eth0", "", c[0], c[3], c[1], c[4], c[2], c[5], c[6], c[7], static_cast<unsigned>(c[8])}};
}

const std::string MOMENTS[] = {fLine("lo", "1 1 1 1 1 1 1") + fLine("eth0", "100 1000 1 200 2000 2 3") +
                                   fLine("eth1", "0 0 0 0 0 0 0") + fLine("lo:0", "4294967000 5 9 5 5 5 3"),
                               fLine("eth0", "300 1500 11 1200 2040 8 7") + fLine("eth1", "0 0 0 0 0 0 0") +
                                   fLine("lo:0", "100 5 8 5 5 5 3") + fLine("new", "9 9 9 9 9 9 8")};
constexpr char ZEROS[] = " 0 0 0 0 0 0 0 0 0 0 0 0 0";

std::string fValues(const _ST_NETWORK& one)
{
    std::string text;
    for (const double* value = &one.l_dInPkt; value <= &one.l_dPortTxRate; value++) {
        char number[32];
        snprintf(number, sizeof(number), " %.12g", *value);
        text += number;
    }
    return text;
}

// A collector in front of a table that the test writes; the scripts know some interfaces.
class NetworkInfo : public testing::Test
{
protected:
    NetworkInfo() : m_clHost(m_clTree.fPath("host"))
    {
        fScript("ifname_bandwidth_duplex.sh", "echo 'VELKSC|eth0|8|1'; echo 'VELKSC|eth1|16|2'");
        fScript("IFName.sh", "echo eth2");
        fScript("BandWidth.sh", "echo 10 >$2");
        fStart();
    }
    void fScript(const std::string& name, const std::string& text)
    {
        m_clTree.fReplaceScript("agent/bin/shell/LINUX/" + name, "#!/bin/sh\n" + text + "\n");
    }
    void fStart() { m_pclNet = std::make_unique<CMM_NWT_Info>(); }
    void fTable(const std::string& lines) { fgWriteFile(m_strTable, "Inter-|\n|bytes compressed\n" + lines); }
    bool fPass(int push = -1, double elapsed = 2) { return m_pclNet->fMGetNetworkStat(elapsed, push); }
    CTexts fRows() const { return fgSplit(fgReadable(m_pclNet->m_pstrNetworkInfo), "|"); }
    CTexts fRecords() // from the cursor on
    {
        CTexts records;
        while (const _ST_NETWORK* one = m_pclNet->fMGetNetworkStatNext())
            records.push_back(one->l_strIfName + (" " + (one->l_strLinkAlive + fValues(*one))));
        return records;
    }

    const CTestTree m_clTree;
    const CTestHost m_clHost;
    const std::string m_strTable = m_clTree.fPath("host/proc/net/dev");
    const CTestSetting<int> m_clBandwidth{g_nLinuxBandwidthFlag, 1};
    std::unique_ptr<CMM_NWT_Info> m_pclNet;
};
} // namespace

TEST_F(NetworkInfo, ListsRatesBetweenTwoMoments)
{
    fTable(MOMENTS[0]);
    ASSERT_TRUE(fPass());
    EXPECT_EQ(fRecords()[2], std::string("lo:0 LINKUP") + ZEROS);
    fTable(MOMENTS[1]);
    ASSERT_EQ(m_pclNet->fMGetNetworkStat(2, 1), m_pclNet->m_pclList) << "the push reader, the same figures";
    const CTexts second = {
        "eth0 LINKUP 100 500 250 20 5 3 0 0 2 0 25 25 2", "eth1 LINKUP 0 0 0 0 0 0 0 0 0 0 0.025 0.025 0.025",
        "lo:0 LINKUP 198 0 0 0 9.22337203685e+18 0 0 0 0 0 -1 -1 -1", std::string("new LINKUP") + ZEROS};
    EXPECT_EQ(fRecords(), second);
    EXPECT_EQ(m_pclNet->fMGetNetworkStatNext(), nullptr) << "again";
    EXPECT_EQ(m_pclNet->m_nIfCnt, 4);
    remove(m_strTable.c_str());
    EXPECT_FALSE(fPass()) << "what is stored stays";
    fTable(fLine("eth0", "300 1500 11 1200 2040 8 7") + "\n:1 2\n");
    ASSERT_TRUE(fPass());
    EXPECT_EQ(fRecords(), CTexts{"eth0 LINKUP 0 0 0 0 0 0 0 0 0 0 0.05 0.05 0.05"})
        << "idle is not 0; no name, no record";
    fTable(MOMENTS[1]);
    ASSERT_TRUE(fPass());
    EXPECT_EQ(fRecords()[3], "new LINKUP 0 0 0 0 0 0 0 0 0 0 -1 -1 -1") << "came late, went, came back";
}

TEST_F(NetworkInfo, TextPrimesThenShowsClampedRows)
{
    const CTestSetting rows(g_nInterfaceStrType, 1);
    char key[] = "agent";
    const CTestSetting<char*> agent(g_ptrAgentKey, key);
    const CTestLog log;
    EXPECT_STREQ(m_pclNet->m_pstrNetworkInfo, "");
    {
        const CTestSetting normal(g_nLoggingNORMAL2, 0);
        EXPECT_FALSE(fPass()) << "no table";
    }
    EXPECT_EQ(fRows(), CTexts{HEADER});
    EXPECT_EQ(log.fLines(), CTexts{"[INFO][MM_NWT_Info.cpp]init_netinfo failed"});
    const CTestSetting errors(g_nLoggingERROR2, 0); // lines of the normal level from here on
    EXPECT_EQ(m_pclNet->m_nInsertFirst + m_pclNet->m_nTAQSkipChk, 0);
    fTable(MOMENTS[0] + fLine("eth0", "9 9 9 9 9 9 9"));
    EXPECT_FALSE(fPass(1)) << "primes";
    EXPECT_EQ(fRows(), CTexts{std::string("agent]4.6.7.0^") + HEADER});
    EXPECT_EQ(log.fCount("ifname[eth1] Band(16000) Duplex(2)") + log.fCount("ifname[lo:0] bw is null"), 2);
    fTable(MOMENTS[1]);
    ASSERT_EQ(m_pclNet->fMGetNetworkStat(2, 0), m_pclNet->m_pclList);
    const CTexts second = {
        HEADER, "1~eth0~1~100.00~500.00~0.24~0.02~5.00~3.00~0.00~0.00~2.00~0.00~25.00~25.00~2.00~",
        "2~eth1~1~0.00~0.00~0.00~0.00~0.00~0.00~0.00~0.00~0.00~0.00~0.03~0.03~0.03~",
        "3~lo:0~1~198.00~0.00~0.00~0.00~9223372036854775808.00~0.00~0.00~0.00~0.00~0.00~0.00~0.00~0.00~"};
    EXPECT_EQ(fRows(), second) << "none of them is here, so their links count as up";
    EXPECT_EQ(m_pclNet->m_nInterfaceTAQCnt * 10 + m_pclNet->m_nIfCnt, 33);
    EXPECT_EQ(log.fCount("OLD_OutBytes[2000]---> New_OutBytes[2040]"), 1)
        << "of a name the first line counts";
    EXPECT_EQ(log.fCount("fMComputeNetwork end"), 3);
    fTable(fLine("new", "9 9 9 9 9 9 8") + fLine("eth0", "1 1 1 1 1 1 1"));
    ASSERT_TRUE(fPass(2));
    EXPECT_EQ(fRows()[1], "1~new~1~0.00~0.00~0.00~0.00~0.00~0.00~0.00~0.00~0.00~0.00~0.00~0.00~0.00~");
    EXPECT_EQ(fRows()[2], "2~eth0~1~-1.00~-1.00~-1.00~-1.00~9223372036854775808.00~9223372036854775808.00~"
                          "0.00~0.00~9223372036854775808.00~1.00~-1.00~-1.00~-1.00~");
}

TEST_F(NetworkInfo, RatesAndClampsAtTheEdges)
{
    const struct
    {
        const char *why, *previous, *current;
        double elapsed;
        const char* rates;
    } rows[] = {
        {"32 bits wrap", "4294967000", "100", 1, "396 0 0 0 0 0 0 0 0 0 -1 -1 -1"},
        {"64 bits fall", "0 1099511627776", "", 1, "0 0 1.84467429785e+19 0 0 0 0 0 0 0 -1 -1 -1"},
        {"half duplex idles", "5 5 5 5 5 5 4 800 2", "5 5 5 5 5 5 4", 1, "0 0 0 0 0 0 0 0 0 0 1 1 1"},
        {"half duplex adds", "0 0 0 0 0 0 0 800 2", "1 30 0 1 20", 1, "1 1 30 20 0 0 0 0 0 0 50 30 20"},
        {"full: the busier", "0 0 0 0 0 0 0 800 1", "1 30 0 1 40", 2, "0.5 0.5 15 20 0 0 0 0 0 0 20 15 20"},
        {"unknown likewise", "0 0 0 0 0 0 0 800 0", "1 30", 1, "1 0 30 0 0 0 0 0 0 0 30 30 1"},
        {"no time", "0 0 0 0 0 0 0 800 1", "1", 0, "inf 0 0 0 0 0 0 0 0 0 inf inf inf"},
        {"sums that wrap, whole numbers", "1 0 18446744073709551615 2 0 18446744073709551615 5",
         "1 0 18446744073709551615 2 0 18446744073709551614 5", 1,
         "0 0 0 0 0 1.84467440737e+19 0 0 0 2 -1 -1 -1"},
    };
    for (const auto& [why, before, now, elapsed, rates] : rows) {
        const _ST_NETWORK_OLD_LIST current = fSample(now), previous = fSample(before);
        EXPECT_EQ(fValues(*m_pclNet->fMNetComputeIo(&current, &previous, elapsed)).substr(1), rates) << why;
    }
    const double inf = std::numeric_limits<double>::infinity();
    const double clamps[][5] = {
        {99.5, 99.5, 99.5 / 1024, 99.5, 99.5}, // value, packets, bytes, errors, percent
        {1e9, 1e9, 1e9 / 1024, 1e9, -1},
        {1e9 + 1, -1, (1e9 + 1) / 1024, 1e9 + 1, -1},
        {1536e6, -1, 1500000, 1536e6, -1},
        {1537e6, -1, -1, 1537e6, -1},
        {-inf, 0, 0, 0, 0},
        {inf, -1, -1, inf, -1}};
    for (const auto& [v, p, b, e, r] : clamps) {
        const _ST_NETWORK one = {"", "", v, v, v, v, v, v, v, v, v, v, v, v, v};
        EXPECT_EQ(fgNetworkColumns(one), (NETWORK_COLUMNS{p, p, b, b, e, e, r, r, e, r, r, r, r})) << v;
    }
    _ST_STATIC_NETWORK full = fSample("1 2 3 4 5 6 7 8 9");
    memset(full.l_strIfName, 'n', sizeof(full.l_strIfName) + sizeof(full.l_strLinkAlive)); // no terminators
    m_pclNet->fMSetOldCompNetwork(&full);
    full.l_ulInPkt = full.l_ulBandWidth = 99;
    m_pclNet->fMSetOldCompNetwork(&full);
    const _ST_STATIC_NETWORK* stored = m_pclNet->fMGetOldCompNetwork(&full);
    ASSERT_NE(stored, nullptr);
    EXPECT_EQ(stored->l_ulInPkt * 100 + stored->l_ulBandWidth, 9908U) << "the bandwidth stays";
    EXPECT_EQ(strlen(m_pclNet->fMComputeNetwork(&full, 1)->l_strIfName), 127U);
}

TEST_F(NetworkInfo, InventoryOfEveryKind)
{
    EXPECT_EQ(m_pclNet->fGetInterfaceINV(), -1) << "made for lists: no path";
    const CTestSetting rows(g_nInterfaceStrType, 1);
    const CTestLog log;
    const CTestSetting normal(g_nLoggingNORMAL2, 0); // errors alone
    fStart();
    const std::string path = "../aproc/shell/InterfaceINVStrInfo.dat";
    const std::string newPath = "../aproc/shell/InterfaceINVNewStrInfo.dat";
    EXPECT_EQ(m_pclNet->fGetInterfaceINV(), -1) << "no file";
    fgWriteFile(path, "no key|x\n");
    EXPECT_EQ(m_pclNet->fGetInterfaceINV() + m_pclNet->fInterfaceChangeCheck(), -2);
    fgWriteFile(path, "SKIPPED\nVELKInterface|table|x\n");
    EXPECT_EQ(m_pclNet->fInterfaceChangeCheck() + m_pclNet->fInterfaceChangeCheck(), 0) << "first, same";
    EXPECT_EQ(m_pclNet->fGetInterfaceINV() + m_pclNet->m_nInterfaceINVCnt, 2);
    EXPECT_STREQ(m_pclNet->m_pStrInterfaceINV, "table|x");
    fgWriteFile(path, "VELKInterface|\n");
    EXPECT_EQ(m_pclNet->fGetInterfaceINV() + m_pclNet->m_nInterfaceINVCnt, -1);
    EXPECT_EQ(m_pclNet->fInterfaceChangeCheck(), 1);
    const std::string large(30000, 'i');
    for (const std::string& file : {path, newPath})
        fgWriteFile(file, "VELKInterface|" + large + "\n");
    EXPECT_EQ(m_pclNet->fGetInterfaceNewINV() + m_pclNet->fInterfaceChangeCheck(), 2);
    EXPECT_EQ(m_pclNet->m_pStrInterfaceNewINV, large);
    EXPECT_EQ(m_pclNet->m_pstrInterfaceName, "VELKInterface|" + large);
    EXPECT_EQ(m_pclNet->m_nInterfaceINVNewSize, 10240 + 30014 + 16);
    EXPECT_EQ(m_pclNet->fINVFileRemove() * 10 + m_pclNet->fINVFileRemove(), -1);
    for (const auto& [text, count] : {std::pair("fopen failed(2)", 1),
                                      {"fgets not contents", 2},
                                      {"inv not contents", 1},
                                      {"Interface inv change", 2}})
        EXPECT_EQ(log.fCount(std::string("[INFO][MM_NWT_Info.cpp]") + text), count) << text;
    EXPECT_EQ(m_pclNet->fCommandINV(4), -1) << "no scheduler";
    CCmdScheduler scheduler;
    scheduler.fSetCmdSchedulerHomePath(m_clTree.fPath("agent/cmd").c_str());
    const CTestSetting setting(g_pclCCmdScheduler, &scheduler);
    EXPECT_EQ(m_pclNet->fCommandINV(4), 1);
    EXPECT_EQ(fgReadFile(m_clTree.fPath("agent/cmd/shcmd_nic_inv_1.cmd")),
              "../../utils/ETC/ShCmd 1200 ./libinvinfo 3 4 &");
}

TEST_F(NetworkInfo, ExtensionRowsForWhatNoPassReported)
{
    const CTestSetting rows(g_nInterfaceStrType, 1);
    const CTestSetting extension(g_nNetworkExtGather, 1);
    const CTestLog log;
    const CTestSetting errors(g_nLoggingERROR2, 0);
    fStart();
    const std::string r = SEPARATOR_ROW, f = SEPARATOR_FIELD;
    const std::string table = "INDEX" + f + "NAME" + f + r + "1" + f + "eth0" + f + r + "x" + r + "2" + f +
                              "lo" + f + "y" + r + "3" + f + "no such" + f + r + "4" + f + "lo";
    fgWriteFile("../aproc/shell/InterfaceINVStrInfo.dat", "VELKInterface|" + table + "\n");
    EXPECT_EQ(m_pclNet->fGetInterfaceINV(), 1);
    EXPECT_EQ(m_pclNet->m_pStrInterfaceINV, table) << "split in a copy";
    EXPECT_EQ(log.fCount("[INFO][MM_NWT_Info.cpp]fSetExtNetwork[lo]"), 2);
    fTable(MOMENTS[0]);
    const std::string none = "1~-~-~-~-~-~-~-~-~-~-~-~-~-~";
    EXPECT_FALSE(fPass(0));
    EXPECT_EQ(fRows(), (CTexts{HEADER, "1~eth0~" + none, "2~lo~" + none, "3~no such~" + none}));
    EXPECT_EQ(m_pclNet->m_nInterfaceTAQCnt, 0);
    ASSERT_TRUE(fPass(0));
    EXPECT_EQ(fRows().at(4) + fRows().at(5), "4~lo~" + none + "5~no such~" + none);
    EXPECT_EQ(m_pclNet->m_nInterfaceTAQCnt * 10 + m_pclNet->m_nIfCnt, 53);
    for (const int push : {-1, 1}) {
        ASSERT_TRUE(fPass(push));
        EXPECT_EQ(fRows().size(), 4U);
    }
    fTable("");
    ASSERT_TRUE(fPass(0));
    EXPECT_EQ(fRows().size(), 3U) << "eth0 was seen once and stays out";
}

TEST_F(NetworkInfo, FindsBandwidthAndMeasuresItsOwnIntervals)
{
    unsigned long bandwidth = 500;
    int duplex = 7;
    EXPECT_EQ(m_pclNet->fReturnBand("eth2", &bandwidth, &duplex), 1);
    EXPECT_EQ(bandwidth * 10 + static_cast<unsigned>(duplex), 5007U) << "not known, not touched";
    EXPECT_EQ(m_pclNet->fReturnBand("eth1", &bandwidth, &duplex), 1);
    EXPECT_EQ(bandwidth * 10 + static_cast<unsigned>(duplex), 162U);
    const CTestSetting setting(g_nLinuxBandwidthFlag, 0);
    fStart();
    EXPECT_EQ(m_pclNet->m_pclBandwidthList->fGetHeadNode()->m_lBandwidth, 10000) << "eth2 alone";
    fTable(fLine("eth0", "0 0 0 0 0 0 0"));
    ASSERT_NE(m_pclNet->fMGetNetworkStat(), nullptr);
    fTable(fLine("eth0", "1000 0 0 0 0 0 0"));
    m_pclNet->m_stOldIoTime.tv_sec -= 100;
    ASSERT_NE(m_pclNet->fMGetNetworkStat(), nullptr);
    EXPECT_NEAR(m_pclNet->fMGetNetworkStatNext()->l_dInPkt, 10, 0.5);
    fTable(fLine("eth0", "3000 0 0 0 0 0 0"));
    m_pclNet->m_stOldTarnIoTime.tv_sec -= 400;
    ASSERT_NE(m_pclNet->fMGetTarnisNetworkStat(1), nullptr);
    EXPECT_NEAR(m_pclNet->fMGetNetworkStatNext()->l_dInPkt, 5, 0.5);
    testing::internal::CaptureStderr();
    EXPECT_EQ(print_nwt_info(m_pclNet.get(), 1), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "InterfaceName|LinkAlive|InPkt|OutPkt|InByte|OutByte|InErr|OutErr|InErrRate|OutErrRate|"
              "Collisions|CollisionRate|PortRate\n1|eth0|LINKUP|0.00|0.00|0.00|0.00|0.00|0.00|0.00|0.00|0.00|"
              "0.00|-1.000000|-1.000000|-1.000000\n");
}

// CPU time an interface of passes of both outputs, the first of which looks bandwidths up, with all
// interfaces in the inventory. Where a step is quadratic the large table costs several times as much.
TEST_F(NetworkInfo, CostGrowsWithTheInterfacesAlone)
{
    CTestSetting output(g_nInterfaceStrType, 0);
    const CTestSetting extension(g_nNetworkExtGather, 1);
    const auto cost = [this](int interfaces) {
        double best = 1e9;
        for (int round = 0; round < 3; round++) {
            fStart();
            std::string table;
            for (int i = 0; i < interfaces; i++) {
                const std::string name = "interface" + std::to_string(i);
                table += fLine(name, "1 1 1 1 1 1 1");
                m_pclNet->m_pclBandwidthList->fAddLinkedList(name.c_str(), 1, 1);
                m_pclNet->m_pclNetworkExtList->fAddLinkedList(name.c_str());
            }
            fTable(table);
            const clock_t before = clock();
            for (const int type : {0, 0, 1, 1}) {
                g_nInterfaceStrType = type;
                fPass(0);
            }
            best = std::min(best, static_cast<double>(clock() - before) / interfaces);
            EXPECT_EQ(m_pclNet->m_nIfCnt, interfaces);
        }
        return best;
    };
    const double few = cost(400);
    EXPECT_LT(cost(6400), few * 4);
}
