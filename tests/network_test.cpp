#include "collect/network.h"

#include <gtest/gtest.h>
#include <string>

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
    std::string text = std::string(name) + " " + link;
    for (const unsigned long long counter : to)
        text += " " + std::to_string(counter);
    return text;
}
} // namespace

TEST(Network, LinesOfTheThreeLayouts)
{
    EXPECT_EQ(fgNetDevVersion(" face |bytes    packets errs"), 2);
    const std::tuple<int, const char*, const char*> rows[] = {
        {3, " eth0: 11 12 13 14 15 16 17 18 21 22 23 24 25 26 27 28\n",
         "eth0 0=12 1=22 2=11 3=21 4=13 5=23 6=14 7=24 8=18 9=17 10=28 11=26 15=16 16=15 19=27 20=25"},
        {2, "eth0: 11 12 13 14 15 16 21 22 23 24 25 26 27 99",
         "eth0 0=12 1=22 2=11 3=21 4=13 5=23 6=14 7=24 11=26 15=16 16=15 19=27 20=25"},
        {1, "eth0: 12 13 14 15 16 22 23 24 25 26 -1 99",
         "eth0 0=12 1=22 4=13 5=23 6=14 7=24 11=26 15=16 16=15 19=18446744073709551615 20=25"},
        {3, "eth0: 11 x 13", "eth0 2=11"},
        {3, "eth0: 18446744073709551615 1", "eth0 0=1 2=18446744073709551615"},
        {3, "", ""},
        {3, "eth0:1: 10 20", "eth0:1 0=20 2=10"},
        {3, "eth0:10 20", "eth0 0=20 2=10"},
        {3, "eth0:12:30 20", "eth0:12 0=20 2=30"},
        {3, "eth0 10 20", "eth0 0=20 2=10"},
        {3, "a.name-of_40@characters-that-is-too-long:10 20", "a.name-of_40@ch 0=20 2=10"},
        {3, "$(id):x: 1", "$(id)"},
        {3, "eth0:", "eth0"},
        {3, ":1 2", " 0=2 2=1"},
    };
    for (const auto& [version, line, parsed] : rows)
        EXPECT_EQ(fParsed(line, version), parsed) << line;
}

TEST(Network, TwoReadersShareNothing)
{
    const CTestTree tree;
    const CTestHost host(tree.fPath("host"));
    const std::string table = tree.fPath("host/proc/net/dev");
    EXPECT_EQ(init_netinfo(), -1) << "no table";
    EXPECT_EQ(fLine(get_next_netinfo) + fLine(get_push_next_netinfo), "") << "not open";
    fgWriteFile(table, "Inter-|\n|bytes compressed\n  lo: 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n"
                       "eth0:101 102 103 0 0 0 0 0 109 110 111 0 0 114 0 0\n");
    ASSERT_EQ(init_netinfo(), 0);
    EXPECT_EQ(fLine(get_next_netinfo), "lo LINKUPxx 2 10 1 9 3 11 14");
    fgWriteFile(table, "\n|packets\nold: 1 2 3 4 5 6 7 8 9 10 11\n");
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
