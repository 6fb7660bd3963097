#include <fcntl.h>
#include <linux/if_packet.h>
#include <map>
#include <net/if.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include "collect/MM_NWT_Info.h"
#include "lib/Owners.h"
#include "lib/TextTable.h"
#include "tests/TestSupport.h"

// The network collector in front of real interfaces. Each test runs as a process of its own in a network and
// a mount namespace of its own, with /sys mounted afresh, since that shows the interfaces of the namespace it
// was mounted in. They are gone with that process.

namespace
{
constexpr int FRAME_SIZE = 1000; // bytes, as the counters count them

class NetworkHosts : public testing::Test
{
protected:
    static void fShell(const std::string& line)
    {
        const ST_TEST_RUN run = fgRunCommand("set -e; " + line);
        EXPECT_EQ(run.l_nStatus, 0) << line << ": " << run.l_strErr;
    }
    // Sends frames of a protocol that nobody speaks out of an interface.
    static void fSend(const char* ifname, int frames)
    {
        const CDescriptor raw(socket(AF_PACKET, SOCK_RAW, 0));
        sockaddr_ll to = {};
        to.sll_family = AF_PACKET;
        to.sll_ifindex = static_cast<int>(if_nametoindex(ifname));
        ASSERT_EQ(bind(raw.fGet(), reinterpret_cast<sockaddr*>(&to), sizeof(to)), 0) << ifname;
        char frame[FRAME_SIZE] = {};
        frame[12] = '\x88'; // local experiments (IEEE 802)
        frame[13] = '\xB5';
        for (int i = 0; i < frames; i++)
            ASSERT_EQ(send(raw.fGet(), frame, sizeof(frame), 0), FRAME_SIZE) << strerror(errno);
    }
    // The rows of a pass over one second by name.
    struct ST_ROW
    {
        std::string link, inPkt;
        double outPkt, outByte;
    };
    static std::map<std::string, ST_ROW> fRows(CMM_NWT_Info& net, int push = -1)
    {
        std::map<std::string, ST_ROW> rows;
        net.fMGetNetworkStat(1, push);
        for (const std::string& row : fgSplit(net.m_pstrNetworkInfo, SEPARATOR_ROW)) {
            const std::vector<std::string> v = fgSplit(row, SEPARATOR_FIELD);
            rows[v.at(1)] = {v.at(2), v.at(3), atof(v.at(4).c_str()), atof(v.at(6).c_str())};
        }
        rows.erase("NAME");
        return rows;
    }

    const bool m_bInside = fgIsApart("--net --mount", "mount -t sysfs sysfs /sys && ip link >/dev/null");
    const CTestTree m_clTree;
};
} // namespace

TEST_F(NetworkHosts, TwoHostsOnAVethPair)
{
    if (!m_bInside) return;
    const CDescriptor home(open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(unshare(CLONE_NEWNET), 0);
    const CDescriptor away(open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(setns(home.fGet(), CLONE_NEWNET), 0);
    fShell("ip link add v0 type veth peer name p0; ip link set v0 up; ip link set p0 netns /proc/" +
           std::to_string(getpid()) + "/fd/" + std::to_string(away.fGet()));
    const auto sendAway = [&](int frames) {
        ASSERT_EQ(setns(away.fGet(), CLONE_NEWNET), 0);
        fShell("ip link set p0 up");
        fSend("p0", frames);
        ASSERT_EQ(setns(home.fGet(), CLONE_NEWNET), 0);
    };
    sendAway(1);
    const CTestSetting bandwidth(g_nLinuxBandwidthFlag, 1);
    CMM_NWT_Info net;
    const _ST_BANDWIDTH_LIST* pair = net.m_pclBandwidthList->fGetNode("v0");
    ASSERT_NE(pair, nullptr) << "a pair that is up has a speed";
    const double capacity = static_cast<double>(pair->m_lBandwidth) * 125;
    ASSERT_NE(net.fMGetNetworkStat(), nullptr);
    const timeval before = net.m_stOldIoTime;
    fSend("v0", 20000);
    sendAway(8000);
    ASSERT_NE(net.fMGetNetworkStat(), nullptr);
    const double elapsed = fgElapsedSeconds(before, net.m_stOldIoTime);
    const _ST_NETWORK* one = net.fMGetNetworkStatNext();
    ASSERT_STREQ(one->l_strIfName, "v0");
    EXPECT_EQ(net.m_nIfCnt, 1) << "p0 is with the other host";
    for (const auto& [rate, sent] : {std::pair(one->l_dOutPkt, 20000.0),
                                     {one->l_dOutByte, 2e4 * FRAME_SIZE},
                                     {one->l_dInPkt, 8000.0},
                                     {one->l_dInByte, 8e3 * FRAME_SIZE},
                                     {one->l_dPortRate, 2e6 * FRAME_SIZE / capacity},
                                     {one->l_dPortRxRate, 8e5 * FRAME_SIZE / capacity}})
        EXPECT_NEAR(rate * elapsed, sent, sent * 0.02);
}

TEST_F(NetworkHosts, InterfacesThatComeAndGo)
{
    if (!m_bInside) return;
    const CTestSetting rows(g_nInterfaceStrType, 1);
    const CTestSetting extension(g_nNetworkExtGather, 1);
    const CTestLog log;
    fShell(
        "ip link add v0 type veth peer name v1; ip link add g0 type veth peer name g1;"
        "ip link add '$(id)' type veth peer name 'x|y`>z'; for i in v0 v1 g0 g1; do ip link set $i up; done");
    CMM_NWT_Info net;
    EXPECT_EQ(net.m_pclBandwidthList->fGetNodeCnt(), 4);
    EXPECT_EQ(log.fCount("interface name refused[$(id)]") + log.fCount("interface name refused[x|y`>z]"), 2);
    EXPECT_EQ(fRows(net).size(), 0U);
    fSend("v0", 1000);
    fSend("g0", 1000);
    auto seen = fRows(net);
    EXPECT_EQ(seen.size(), 6U);
    for (const char* name : {"v0", "g0"}) {
        EXPECT_NEAR(seen[name].outPkt, 1000, 20) << name;
        EXPECT_NEAR(seen[name].outByte, 1000.0 * FRAME_SIZE / 1024, 20) << name;
    }
    EXPECT_EQ(seen["v0"].link + seen["$(id)"].link, "10") << "the second is down";
    fShell("./libinvinfo 3 1; ip link set v0 down; ip link del g0");
    EXPECT_EQ(net.fGetInterfaceINV(), 1);
    seen = fRows(net, 0);
    EXPECT_EQ(seen["v0"].link + seen["v1"].link + seen["g0"].link, "011") << "what has gone counts as up";
    EXPECT_EQ(seen.size(), 6U) << "g0 and g1 by the inventory alone";
    EXPECT_EQ(seen["g0"].inPkt, "-");
    fShell("ip link set v0 name 'a;id'; ip link add g0 type veth peer name g1; ip link set g1 up");
    seen = fRows(net);
    EXPECT_EQ(seen.count("v0") + seen.count("a;id"), 0U) << "one has gone, one is new";
    EXPECT_EQ(seen["g0"].outPkt, -1) << "made anew: its counters fell";
    EXPECT_EQ(fRows(net).count("a;id"), 1U);
}

TEST_F(NetworkHosts, AVlanOnABond)
{
    if (!m_bInside) return;
    const ST_TEST_RUN make = fgRunCommand("ip link add bond0 type bond mode active-backup miimon 50 && "
                                          "ip link add link bond0 name bond0.100 type vlan id 100");
    if (make.l_nStatus != 0) GTEST_SKIP() << "this kernel makes no bond with a VLAN: " << make.l_strErr;
    fShell("ip link add v0 type veth peer name v1; ip link set v1 up; ip link set v0 master bond0;"
           "ip link set bond0 up; ip link set bond0.100 up");
    CMM_NWT_Info net;
    char slave[256] = "";
    ASSERT_TRUE(fgAwait([&] { return net.fGetBondInfo("bond0", slave) == 1 && strcmp(slave, "v0") == 0; }));
    net.fGetBandwidth();
    const _ST_BANDWIDTH_LIST* vlan = net.m_pclBandwidthList->fGetNode("bond0.100");
    ASSERT_NE(vlan, nullptr);
    EXPECT_EQ(vlan->m_lBandwidth, net.m_pclBandwidthList->fGetNode("v0")->m_lBandwidth);
    const CTestSetting rows(g_nInterfaceStrType, 1);
    fRows(net);
    fSend("bond0.100", 1000);
    auto seen = fRows(net);
    for (const char* name : {"v0", "bond0", "bond0.100"})
        EXPECT_NEAR(seen[name].outPkt, 1000, 50) << name;
}
