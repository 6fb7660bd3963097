#include "collect/MM_NWT_Info.h"

#include <algorithm>
#include <ctime>
#include <iterator>
#include <memory>
#include <sstream>

#include "driver/PrintInfo.h"
#include "lib/NCmdScheduler.h"
#include "lib/TextTable.h"
#include "tests/TestSupport.h"

namespace
{
// Of "packets, bytes, errors in; the same out; collisions; bandwidth and duplex code"; what is missing is 0.
_ST_NETWORK_OLD_LIST fSample(const std::string& counters)
{
    std::istringstream in(counters);
    std::vector<unsigned long long> c{std::istream_iterator<unsigned long long>(in), {}};
    c.resize(9);
    return {{"eth0", "", c[0], c[3], c[1], c[4], c[2], c[5], c[6], c[7], static_cast<unsigned>(c[8])}};
}

std::string fValues(const _ST_NETWORK& one)
{
    return fgNumbers(&one.l_dInPkt, static_cast<size_t>(&one.l_dPortTxRate - &one.l_dInPkt) + 1);
}

// A collector in front of a table that the test writes; the scripts know some interfaces.
class NetworkInfo : public CHostTest
{
protected:
    NetworkInfo()
    {
        m_clTree.fScript("ifname_bandwidth_duplex.sh", "echo 'VELKSC|eth0|8|1'; echo 'VELKSC|eth1|16|2'");
        m_clTree.fScript("IFName.sh", "echo eth2");
        m_clTree.fScript("BandWidth.sh", "echo 10 >$2");
        fStart();
    }
    void fStart() { m_pclNet = std::make_unique<CMM_NWT_Info>(); }
    void fTable(const std::string& lines) const
    {
        m_clTree.fWrite("proc/net/dev", "Inter-|\n|bytes compressed\n" + lines);
    }
    bool fPass(int push = -1, double elapsed = 2) { return m_pclNet->fMGetNetworkStat(elapsed, push); }
    // Notes a pass in front of a table of these lines: what it gave and how many, its text or its records.
    void fStep(const char* why, const std::string& lines, int push = -1)
    {
        fTable(lines);
        const bool gave = fPass(push);
        m_strStory += "# " + (why + (": " + std::to_string(gave))) + " " +
                      std::to_string(m_pclNet->m_nIfCnt) + " " +
                      std::to_string(m_pclNet->m_nInterfaceTAQCnt) + "\n";
        if (g_nInterfaceStrType == 1) m_strStory += fgReadable(m_pclNet->m_pstrNetworkInfo) + "\n";
        std::ranges::replace(m_strStory, '|', '\n');
        while (const _ST_NETWORK* one = m_pclNet->fMGetNetworkStatNext())
            m_strStory +=
                std::string(one->l_strIfName) + " " + one->l_strLinkAlive + " " + fValues(*one) + "\n";
    }

    const CTestSetting<int> m_clBandwidth{g_nLinuxBandwidthFlag, 1};
    std::unique_ptr<CMM_NWT_Info> m_pclNet;
    std::string m_strStory;
};
} // namespace

TEST_F(NetworkInfo, ListsRatesBetweenMoments)
{
    EXPECT_FALSE(fPass()) << "no table";
    fStep("the first", fgFixture("network/t0"));
    fStep("two seconds later, by the push reader", fgFixture("network/t1"), 1);
    fStep("idle is not 0; no name, no record", "eth0:1500 300 11 0 0 0 0 0 2040 1200 8 0 0 7\n\n:1 2\n");
    fStep("one that came late, went and came back", fgFixture("network/t1"));
    EXPECT_EQ(m_strStory, fgFixture("network/records"));
    EXPECT_EQ(m_pclNet->fMGetNetworkStatNext(), nullptr) << "again";
}

TEST_F(NetworkInfo, TextPrimesThenShowsClampedRows)
{
    const CTestSetting rows(g_nInterfaceStrType, 1);
    EXPECT_FALSE(fPass()) << "no table";
    fStep("primes; of a name the first line counts", fgFixture("network/t0") + "eth0:9 9 9 0 0 0 0 0 9 9 9\n",
          1);
    fStep("none of them is here, so their links count as up", fgFixture("network/t1"), 0);
    fStep("one that came, one that fell",
          "new:9 9 9 0 0 0 0 0 9 9 9 0 0 8\neth0:1 1 1 0 0 0 0 0 1 1 1 0 0 1\n", 2);
    EXPECT_EQ(m_strStory, fgFixture("network/rows"));
    for (const char* line : {"init_netinfo failed", "ifname[eth1] Band(16000) Duplex(2)",
                             "ifname[lo:0] bw is null", "OLD_OutBytes[2000]---> New_OutBytes[2040]"})
        EXPECT_EQ(m_clLog.fCount("[INFO][MM_NWT_Info.cpp]" + std::string(line)), 1) << line;
}

TEST_F(NetworkInfo, RatesAndClampsAtTheEdges)
{
    for (const auto& row : fgCases("network/rates")) { // why, previous, current, seconds, the record
        const _ST_NETWORK_OLD_LIST previous = fSample(row.at(1)), current = fSample(row.at(2));
        const _ST_NETWORK* rates = m_pclNet->fMNetComputeIo(&current, &previous, atof(row.at(3).c_str()));
        EXPECT_EQ(fValues(*rates), row.at(4)) << row[0];
    }
    for (const auto& row : fgCases("network/clamps")) { // a value, and as packets, KB, errors, percent
        const auto number = [&row](size_t at) { return atof(row.at(at).c_str()); };
        const double v = number(0), p = number(1), b = number(2), e = number(3), r = number(4);
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
    const CTestSetting rows(g_nInterfaceStrType, 1);
    fStart();
    const std::string path = "../aproc/shell/InterfaceINVStrInfo.dat";
    const std::string newPath = "../aproc/shell/InterfaceINVNewStrInfo.dat";
    EXPECT_EQ(m_pclNet->fGetInterfaceINV(), -1);
    fgWriteFile(path, "SKIPPED\nVELKInterface|table|x\n");
    EXPECT_EQ(m_pclNet->fInterfaceChangeCheck() + m_pclNet->fInterfaceChangeCheck(), 0) << "first, same";
    EXPECT_EQ(m_pclNet->fGetInterfaceINV() + m_pclNet->m_nInterfaceINVCnt, 2);
    EXPECT_STREQ(m_pclNet->m_pStrInterfaceINV, "table|x");
    const std::string large(30000, 'i');
    for (const std::string& file : {path, newPath})
        fgWriteFile(file, "VELKInterface|" + large + "\n");
    EXPECT_EQ(m_pclNet->fGetInterfaceNewINV() + m_pclNet->fInterfaceChangeCheck(), 2);
    EXPECT_EQ(m_clLog.fCount("[INFO][MM_NWT_Info.cpp]Interface inv change"), 1);
    EXPECT_EQ(m_pclNet->m_pStrInterfaceNewINV, large);
    EXPECT_EQ(m_pclNet->m_pstrInterfaceName, "VELKInterface|" + large);
    EXPECT_EQ(m_pclNet->m_nInterfaceINVNewSize, 10240 + 30014 + 16);
    EXPECT_EQ(m_pclNet->fINVFileRemove() * 10 + m_pclNet->fINVFileRemove(), -1);
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
    fStart();
    const std::string r = SEPARATOR_ROW, f = SEPARATOR_FIELD;
    const std::string table = "INDEX" + f + "NAME" + f + r + "1" + f + "eth0" + f + r + "x" + r + "2" + f +
                              "lo" + f + "y" + r + "3" + f + "no such" + f + r + "4" + f + "lo";
    fgWriteFile("../aproc/shell/InterfaceINVStrInfo.dat", "VELKInterface|" + table + "\n");
    EXPECT_EQ(m_pclNet->fGetInterfaceINV(), 1);
    EXPECT_EQ(m_pclNet->m_pStrInterfaceINV, table) << "split in a copy";
    fStep("primes", fgFixture("network/t0"), 0);
    fStep("with rows for the others", fgFixture("network/t0"), 0);
    fStep("none by default", fgFixture("network/t0"), -1);
    fStep("none by push", fgFixture("network/t0"), 1);
    fStep("eth0 was seen once and stays out", "", 0);
    EXPECT_EQ(m_strStory, fgFixture("network/rows-extended"));
}

TEST_F(NetworkInfo, FindsBandwidthAndMeasuresItsOwnIntervals)
{
    unsigned long bandwidth = 500;
    int duplex = 7;
    EXPECT_EQ(m_pclNet->fReturnBand("eth2", &bandwidth, &duplex), 1);
    EXPECT_TRUE(bandwidth == 500 && duplex == 7) << "not known, not touched";
    EXPECT_EQ(m_pclNet->fReturnBand("eth1", &bandwidth, &duplex), 1);
    EXPECT_TRUE(bandwidth == 16 && duplex == 2);
    const CTestSetting setting(g_nLinuxBandwidthFlag, 0);
    fStart();
    EXPECT_EQ(m_pclNet->m_pclBandwidthList->fGetHeadNode()->m_lBandwidth, 10000) << "eth2 alone";
    fTable("eth0:0 1000\n");
    ASSERT_NE(m_pclNet->fMGetTarnisNetworkStat(1), nullptr);
    fTable("eth0:0 3000\n");
    m_pclNet->m_stOldTarnIoTime.tv_sec -= 400;
    ASSERT_NE(m_pclNet->fMGetTarnisNetworkStat(1), nullptr);
    EXPECT_NEAR(m_pclNet->fMGetNetworkStatNext()->l_dInPkt, 5, 0.5);
    EXPECT_EQ(fgTold([this] { EXPECT_EQ(print_nwt_info(m_pclNet.get(), 1), 1); }),
              fgFixture("network/console"));
}

// CPU time an interface: a quadratic step makes many cost several times more.
TEST_F(NetworkInfo, CostGrowsWithTheInterfacesAlone)
{
    CTestSetting output(g_nInterfaceStrType, 0);
    const auto cost = [this](int interfaces) {
        fStart();
        std::string table;
        for (int i = 0; i < interfaces; i++)
            table += "interface" + std::to_string(i) + ":1 1\n";
        fTable(table);
        const clock_t before = clock();
        for (const int type : {0, 0, 1, 1}) {
            g_nInterfaceStrType = type;
            fPass();
        }
        EXPECT_EQ(m_pclNet->m_nIfCnt, interfaces);
        return static_cast<double>(clock() - before) / interfaces;
    };
    const double few = std::min({cost(400), cost(400), cost(400)});
    EXPECT_LT(std::min({cost(6400), cost(6400), cost(6400)}), few * 4);
}
