#pragma once

#include <cstdio>
#include <net/if.h>
#include <sys/socket.h>

// The reader of the kernel's interface counters in /proc/net/dev, without its state. The state of an instance
// is a set of globals of its own: collect/network.h and collect/push_network.h.

// Counters of an interface since it was made. Their names are those of the kernel's columns.
struct user_net_device_stats
{
    unsigned long long rx_packets;
    unsigned long long tx_packets;
    unsigned long long rx_bytes;
    unsigned long long tx_bytes;
    unsigned long long rx_errors;
    unsigned long long tx_errors;
    unsigned long long rx_dropped;
    unsigned long long tx_dropped;
    unsigned long long rx_multicast;
    unsigned long long rx_compressed;
    unsigned long long tx_compressed;
    unsigned long long collisions;
    unsigned long long rx_length_errors;
    unsigned long long rx_over_errors;
    unsigned long long rx_crc_errors;
    unsigned long long rx_frame_errors;
    unsigned long long rx_fifo_errors;
    unsigned long long rx_missed_errors;
    unsigned long long tx_aborted_errors;
    unsigned long long tx_carrier_errors;
    unsigned long long tx_fifo_errors;
    unsigned long long tx_heartbeat_errors;
    unsigned long long tx_window_errors;
};

// One interface. The reader fills name and stats; all else is zero.
struct interface
{
    struct interface* next;
    char name[16]; // cut at 15 characters
    short type;
    short flags;
    int metric;
    int mtu;
    int tx_queue_len;
    struct ifmap map;
    struct sockaddr addr;
    struct sockaddr dstaddr;
    struct sockaddr broadaddr;
    struct sockaddr netmask;
    struct sockaddr ipxaddr_bb;
    struct sockaddr ipxaddr_sn;
    struct sockaddr ipxaddr_e3;
    struct sockaddr ipxaddr_e2;
    struct sockaddr ddpaddr;
    struct sockaddr ecaddr;
    int has_ip;
    int has_ipx_bb;
    int has_ipx_sn;
    int has_ipx_e3;
    int has_ipx_e2;
    int has_ax25;
    int has_ddp;
    int has_econet;
    char hwaddr[32];
    int statistics_valid;
    struct user_net_device_stats stats;
    int keepalive;
    int outfill;
};

// Where a line's counters are delivered: packets in and out, bytes in and out, errors in and out, collisions.
constexpr int NET_COUNTERS = 7;
using NET_DELIVERY = unsigned long long* [NET_COUNTERS];

// Bytes that a reader takes of the table at once. The kernel gives no more than a page of it.
constexpr size_t NET_TABLE_BUFFER = 4096;

// One instance: the operations of collect/network.h on the globals that it is made with. They are the whole
// of its state.
class CNetDevReader
{
public:
    constexpr CNetDevReader(int& version, FILE*& table, struct interface*& record, int& socket,
                            char (&buffer)[NET_TABLE_BUFFER], const char* notOpenText)
        : m_rVersion(version), m_rTable(table), m_rRecord(record), m_rSocket(socket), m_rBuffer(buffer),
          m_pstrNotOpen(notOpenText)
    {}
    int fInit() const;
    int fNext(char* name, char* link, const NET_DELIVERY& counters) const;
    int fFin() const;

private:
    void fRelease() const;

    int& m_rVersion;
    FILE*& m_rTable;
    struct interface*& m_rRecord;
    int& m_rSocket;
    char (&m_rBuffer)[NET_TABLE_BUFFER]; // the table's
    const char* m_pstrNotOpen;
};

// The layout of the table, told by its second line, the names of the columns: 3 when it has compressed
// packets (since Linux 2.1.90), 2 when it has bytes, else 1.
int fgNetDevVersion(const char* columns);

// Takes the name and the counters from a line of that layout; the whole record is zeroed first, and counters
// that the line does not have stay zero. An empty line gives an empty name.
void fgParseNetDevLine(const char* line, int version, struct interface& record);
