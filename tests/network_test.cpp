#include "collect/network.h"

#include "collect/push_network.h"
#include "tests/TestSupport.h"

namespace
{
// The name and every counter that is not zero, by its place in the record:
// 0 rx_packets 1 tx_packets 2 rx_bytes 3 tx_bytes 4 rx_errors 5 tx_errors 6 rx_dropped 7 tx_dropped 8
// rx_multicast 9 rx_compressed 10 tx_compressed 11 collisions 15 rx_frame 16 rx_fifo 19 tx_carrier 20 tx_fifo
std::string fParsed(const char* line, int version)
{
    struct interface record;
    memset(&record, 0x5A, sizeof(record));
    fgParseNetDevLine(line, version, record);
    std::string text = record.name;
    const unsigned long long* values = &record.stats.rx_packets;
    for (size_t i = 0; i < sizeof(record.stats) / sizeof(*values); i++)
        if (values[i] != 0) text += " " + std::to_string(i) + "=" + std::to_string(values[i]);
    EXPECT_TRUE(record.next == nullptr && record.mtu == 0 && record.outfill == 0);
    return text;
}

// What the next call delivers: name, link buffer, counters; empty at the end.
template <class TNext> std::string fLine(TNext next)
{
    char name[16];
    char link[9] = "xxxxxxxx";
    unsigned long long to[7];
    if (next(name, link, &to[0], &to[1], &to[2], &to[3], &to[4], &to[5], &to[6], nullptr) != 0) return "";
    return std::string(name) + " " + link + " " + fgNumbers(to, 7);
}
} // namespace

TEST(Network, LinesOfTheThreeLayouts)
{
    EXPECT_EQ(fgNetDevVersion(" face |bytes    packets errs"), 2);
    EXPECT_EQ(fParsed("", 3), "");
    for (const auto& row : fgCases("network/lines")) // the layout, a line, what it gives
        EXPECT_EQ(fParsed(row[1].c_str(), atoi(row[0].c_str())), row.at(2)) << row[1];
}

TEST(Network, TwoReadersShareNothing)
{
    const CTestTree tree;
    const CTestHost host(tree.fPath("host"));
    const std::string table = "host/proc/net/dev";
    EXPECT_EQ(init_netinfo(), -1) << "no table";
    EXPECT_EQ(fLine(get_next_netinfo) + fLine(get_push_next_netinfo), "") << "not open";
    tree.fWrite(table, "Inter-|\n|bytes compressed\n  lo: 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n"
                       "eth0:101 102 103 0 0 0 0 0 109 110 111 0 0 114 0 0\n");
    ASSERT_EQ(init_netinfo(), 0);
    EXPECT_EQ(fLine(get_next_netinfo), "lo LINKUPxx 2 10 1 9 3 11 14");
    tree.fWrite(table, "\n|packets\nold: 1 2 3 4 5 6 7 8 9 10 11\n");
    ASSERT_EQ(init_push_netinfo(), 0);
    EXPECT_EQ(procnetdev_vsn * 10 + push_procnetdev_vsn, 31);
    EXPECT_NE(skfd, l_nPushskfd);
    EXPECT_EQ(fLine(get_push_next_netinfo), "old LINKUPxx 1 6 0 0 2 7 10");
    EXPECT_EQ(fLine(get_push_next_netinfo), "");
    EXPECT_EQ(fin_push_netinfo(), 0);
    EXPECT_EQ(fLine(get_next_netinfo), "eth0 LINKUPxx 102 110 101 109 103 111 114");
    ASSERT_EQ(init_netinfo(), 0) << "in place of the pass that was not finished";
    EXPECT_EQ(fLine(get_next_netinfo), "old LINKUPxx 1 6 0 0 2 7 10");
    EXPECT_EQ(fin_netinfo() + fin_netinfo(), 0);
    EXPECT_TRUE(fh == nullptr && ife == nullptr && skfd == -1 && l_nPushskfd == -1);
    EXPECT_EQ(fLine(get_next_netinfo), "");
}

// On the live host, whose loopback has an address of zeros and no speed.
TEST(Network, ProbesOfThisHost)
{
    EXPECT_STREQ(fgNetTypeWord(65534), "UNKNOWN");
    EXPECT_EQ(static_cast<long long>(fgSpeedOfMegabits(2500)), -1794967296) << "32 bits";
    char word[NET_TYPE_SIZE] = "as it was";
    char mac[NET_MAC_SIZE + 1];
    memset(mac, 'x', sizeof(mac));
    for (const char* missing : {"", "a name that does not fit a request"})
        EXPECT_EQ(get_net_type(missing, word) + get_net_mac(missing, mac), -2) << missing;
    EXPECT_STREQ(word, "as it was");
    EXPECT_EQ(get_net_type("lo", word) + get_net_mac("lo", mac), 2);
    EXPECT_STREQ(word, "Loopback");
    EXPECT_EQ(std::string(mac, sizeof(mac)), std::string(NET_MAC_SIZE, '\0') + "x");
    unsigned long long speed = 1;
    EXPECT_EQ(fGetSpeed("lo", &speed), 1);
    EXPECT_EQ(speed, 9999U);
}
