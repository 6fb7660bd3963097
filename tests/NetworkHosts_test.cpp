#include <linux/if_packet.h>
#include <map>
#include <net/if.h>
#include <sys/socket.h>

#include "collect/MM_NWT_Info.h"
#include "lib/Owners.h"
#include "lib/TextTable.h"
#include "tests/TestSupport.h"

// The network collector in front of real interfaces, in namespaces of the test's own, with /sys mounted
// afresh, since that shows the interfaces of the namespace it was mounted in.

namespace
{
constexpr int FRAME_SIZE = 1000; // bytes, as the counters count them

void fShell(const std::string& line)
{
    const ST_TEST_RUN run = fgRunCommand("set -e; " + line);
    EXPECT_EQ(run.l_nStatus, 0) << line << ": " << run.l_strErr;
}

// Sends a thousand frames of a protocol that nobody speaks out of an interface.
void fSend(const char* ifname)
{
    const CDescriptor raw(socket(AF_PACKET, SOCK_RAW, 0));
    sockaddr_ll to = {};
    to.sll_family = AF_PACKET;
    to.sll_ifindex = static_cast<int>(if_nametoindex(ifname));
    ASSERT_EQ(bind(raw.fGet(), reinterpret_cast<sockaddr*>(&to), sizeof(to)), 0) << ifname;
    char frame[FRAME_SIZE] = {};
    frame[12] = '\x88'; // local experiments (IEEE 802)
    frame[13] = '\xB5';
    for (int i = 0; i < 1000; i++)
        ASSERT_EQ(send(raw.fGet(), frame, sizeof(frame), 0), FRAME_SIZE) << strerror(errno);
}

// The columns of the rows of a pass over one second, by name.
enum COLUMN
{
    LINK = 2,
    INPKT = 3,
    OUTPKT = 4,
    OUTBYTE = 6
};
using ROWS = std::map<std::string, std::vector<std::string>>;
ROWS fRows(CMM_NWT_Info& net, int push = -1)
{
    ROWS rows;
    net.fMGetNetworkStat(1, push);
    for (const std::string& row : fgSplit(net.m_pstrNetworkInfo, SEPARATOR_ROW)) {
        const std::vector<std::string> columns = fgSplit(row, SEPARATOR_FIELD);
        rows[columns.at(1)] = columns;
    }
    rows.erase("NAME");
    return rows;
}
} // namespace

TEST(NetworkHosts, InterfacesThatComeAndGo)
{
    if (!fgIsApart("--net --mount", "mount -t sysfs sysfs /sys && ip link >/dev/null")) return;
    const CTestTree tree;
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
    fSend("v0");
    fSend("g0");
    ROWS seen = fRows(net);
    EXPECT_EQ(seen.size(), 6U);
    for (const auto& [name, column, value] : {std::tuple("v0", OUTPKT, 1000.0),
                                              {"g0", OUTPKT, 1000.0},
                                              {"v1", INPKT, 1000.0},
                                              {"v0", OUTBYTE, 1000.0 * FRAME_SIZE / 1024}})
        EXPECT_NEAR(atof(seen[name].at(column).c_str()), value, 20) << name << column;
    EXPECT_EQ(seen["v0"].at(LINK) + seen["$(id)"].at(LINK), "10") << "the second is down";
    fShell("./libinvinfo 3 1; ip link set v0 down; ip link del g0");
    EXPECT_EQ(net.fGetInterfaceINV(), 1);
    seen = fRows(net, 0);
    EXPECT_EQ(seen["v0"].at(LINK) + seen["v1"].at(LINK) + seen["g0"].at(LINK), "011")
        << "what has gone counts as up";
    EXPECT_EQ(seen.size(), 6U) << "g0 and g1 by the inventory alone";
    EXPECT_EQ(seen["g0"].at(INPKT), "-");
    fShell("ip link set v0 name 'a;id'; ip link add g0 type veth peer name g1; ip link set g1 up");
    seen = fRows(net);
    EXPECT_EQ(seen.count("v0") + seen.count("a;id"), 0U) << "one has gone, one is new";
    EXPECT_EQ(seen["g0"].at(OUTPKT), "-1.00") << "made anew: its counters fell";
    EXPECT_EQ(fRows(net).count("a;id"), 1U);
}
