#include "collect/network.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <linux/sockios.h>
#include <sys/ioctl.h>

#include "lib/FixedText.h"
#include "lib/Owners.h"

int procnetdev_vsn = 1;
FILE* fh = nullptr;
struct interface* ife = nullptr;
int skfd = -1;

namespace
{
char m_strTable[NET_TABLE_BUFFER];
constexpr CNetDevReader READER(procnetdev_vsn, fh, ife, skfd, m_strTable,
                               "4.6(NWT) TAQ network get_next_netinfo fgets fh is null\n");

struct ST_NET_TYPE
{
    int l_nType; // ARPHRD_ constant of linux/if_arp.h
    const char* l_strWord;
};
constexpr ST_NET_TYPE NET_TYPES[] = {
    {1, "Ethernet"}, {3, "AX.25 Level 2"}, {6, "IEEE 802.2 Ethernet/TR/TB"},         {8, "APPLEtalk"},
    {19, "ATM"},     {772, "Loopback"},    {774, "Fiber Distributed Data Interface"}};

constexpr unsigned long long SPEED_UNKNOWN_BITS = 9999;

// The kernel's request for an interface's settings (linux/ethtool.h), here so that its header is not needed,
// which declares a newer form of the same size under the same name.
struct ethtool_cmd
{
    uint32_t cmd;
    uint32_t supported;
    uint32_t advertising;
    uint16_t speed; // Mb/s, the low 16 bits; 65535 when the driver does not know
    uint8_t duplex;
    uint8_t port;
    uint8_t phy_address;
    uint8_t transceiver;
    uint8_t autoneg;
    uint32_t maxtxpkt;
    uint32_t maxrxpkt;
    uint32_t reserved[4];
};
static_assert(sizeof(ethtool_cmd) == 44, "the kernel writes the whole of its record");
constexpr uint32_t ETHTOOL_GET_SETTINGS = 1;

CDescriptor fOpenSocket()
{
    return CDescriptor(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
}

// Asks for the hardware address, whose family is the hardware type.
bool fAskHardware(const char* ifname, ifreq& request)
{
    const CDescriptor probe = fOpenSocket();
    if (!probe) {
        fgTraceNetwork("4.6(NWT) socket error[%s]\n", errno);
        return false;
    }
    request = {};
    fgCopyText(request.ifr_name, ifname);
    if (ioctl(probe.fGet(), SIOCGIFHWADDR, &request) == 0) return true;
    fgTraceNetwork("4.6(NWT) SIOCGIFHWADDR[%s]\n", errno);
    return false;
}
} // namespace

int init_netinfo()
{
    return READER.fInit();
}

int get_next_netinfo(char* name, char* link, unsigned long long* inPkt, unsigned long long* outPkt,
                     unsigned long long* inByte, unsigned long long* outByte, unsigned long long* inErr,
                     unsigned long long* outErr, unsigned long long* collisions,
                     unsigned long long* /*spare*/)
{
    return READER.fNext(name, link, {inPkt, outPkt, inByte, outByte, inErr, outErr, collisions});
}

int fin_netinfo()
{
    return READER.fFin();
}

int get_net_type(const char* ifname, char* typeWord)
{
    ifreq request;
    if (!fAskHardware(ifname, request)) return -1;
    const char* word = fgNetTypeWord(request.ifr_hwaddr.sa_family);
    memcpy(typeWord, word, strlen(word) + 1);
    return 1;
}

int get_net_mac(const char* ifname, char* mac)
{
    ifreq request;
    if (!fAskHardware(ifname, request)) return -1;
    static_assert(sizeof(request.ifr_hwaddr.sa_data) == NET_MAC_SIZE);
    memcpy(mac, request.ifr_hwaddr.sa_data, NET_MAC_SIZE);
    return 1;
}

int fGetSpeed(const char* ifname, unsigned long long* speed)
{
    ethtool_cmd settings = {};
    settings.cmd = ETHTOOL_GET_SETTINGS;
    ifreq request = {};
    fgCopyText(request.ifr_name, ifname);
    request.ifr_data = reinterpret_cast<char*>(&settings);
    const CDescriptor probe = fOpenSocket(); // without one the request fails
    const bool known = ioctl(probe.fGet(), SIOCETHTOOL, &request) == 0;
    *speed = known ? fgSpeedOfMegabits(settings.speed) : SPEED_UNKNOWN_BITS;
    return 1;
}

int fWrite_Msg(const char* /*text*/)
{
    return 1;
}

void fgTraceNetwork(const char* format, int error)
{
    char text[512];
    snprintf(text, sizeof(text), format, strerror(error));
    fWrite_Msg(text);
}

const char* fgNetTypeWord(int hardwareType)
{
    for (const ST_NET_TYPE& type : NET_TYPES)
        if (type.l_nType == hardwareType) return type.l_strWord;
    return "UNKNOWN";
}

unsigned long long fgSpeedOfMegabits(unsigned short megabits)
{
    return static_cast<unsigned long long>(static_cast<int>(megabits * 1000000U));
}
