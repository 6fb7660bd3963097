#pragma once

#include <cstddef>
#include <cstdio>

#include "collect/NetDevReader.h"

// The regular reader of the interface counters, and probes of one interface.
//
// A pass over /proc/net/dev is init_netinfo, get_next_netinfo until it returns -1, fin_netinfo. The state is
// the globals below, for one pass at a time. A second reader of the same kind, which shares nothing with this
// one and may be used by another thread at the same time, is in collect/push_network.h. Nothing here logs.
//
// Table and probes show the network namespace that the program is in. That holds below a host root, too: the
// kernel answers for the process that reads /proc/net, so an agent in a container has to share the host's
// network.

extern int procnetdev_vsn;    // layout of the table, 1 to 3: fgNetDevVersion
extern FILE* fh;              // the table behind its two header lines; null when not open
extern struct interface* ife; // the line read last; null when not open
extern int skfd;              // a datagram socket; -1 when not open

// Opens the table; what a pass that was given up left open is closed first. Returns 0; -1 when the table
// cannot be opened or there is no socket or memory, for which fin_netinfo is to be called too.
int init_netinfo();

// Reads the next interface, as the kernel lists them.
//   name   at least 16 bytes; gets the terminated name, at most 15 characters, an alias with its number
//   link   at least 6 bytes; gets the six characters "LINKUP", whatever the link's state, and no terminator:
//          callers pass zeroed buffers
//   inPkt to collisions   the counters since the interface was made; 0 for those that the line does not have
//   spare  never written
// Returns 0, or -1 with nothing written at the end of the table and when it is not open.
int get_next_netinfo(char* name, char* link, unsigned long long* inPkt, unsigned long long* outPkt,
                     unsigned long long* inByte, unsigned long long* outByte, unsigned long long* inErr,
                     unsigned long long* outErr, unsigned long long* collisions, unsigned long long* spare);

// Closes everything; may be called again. Returns 0.
int fin_netinfo();

constexpr size_t NET_TYPE_SIZE = 33; // bytes of the longest type's word and its terminator
constexpr size_t NET_MAC_SIZE = 14;  // bytes of a hardware address as the kernel hands it out

// Writes the word of an interface's hardware type ("Ethernet", "Loopback" ...) into typeWord, of
// NET_TYPE_SIZE bytes. Returns 1; -1 when there is no such interface, typeWord being as it was.
int get_net_type(const char* ifname, char* typeWord);

// Writes NET_MAC_SIZE raw bytes into mac: the hardware address, six bytes for Ethernet, zeros behind it.
// Returns 1, or -1 as above.
int get_net_mac(const char* ifname, char* mac);

// Stores an interface's speed in bits per second; 9999 when its driver does not answer. Reckoned in 32 bits
// and sign-extended on purpose: right up to 2147 Mb/s, 2500 Mb/s give -1794967296 as a signed value, 10000
// Mb/s 1410065408; 1110490560 is a driver's own "unknown", 65535 Mb/s, as of a link that is down. Returns 1.
int fGetSpeed(const char* ifname, unsigned long long* speed);

// Takes a trace line of the readers and the probes, and does nothing. Returns 1.
int fWrite_Msg(const char* text);

// Composes a trace line with the system's text of an error and hands it to fWrite_Msg.
void fgTraceNetwork(const char* format, int error);

// The word of a hardware type (ARPHRD_ETHER and others of linux/if_arp.h); "UNKNOWN" for the rest.
const char* fgNetTypeWord(int hardwareType);

// What fGetSpeed stores for a speed in megabits per second.
unsigned long long fgSpeedOfMegabits(unsigned short megabits);
