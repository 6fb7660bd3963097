#pragma once

#include <cstddef>
#include <string_view>

#include "collect/BandwidthList.h"
#include "lib/LogGate.h"

// Finds the bandwidth of the network interfaces by scripts of the runtime tree, which read it from the
// kernel's /sys/class/net. Each discovery runs its script and waits for it, adds what it finds to the list,
// and keeps what is there; what cannot be found is missing in the list, and normal lines say why. An
// interface that is down tells no bandwidth. scratch is for the log lines.

// Bandwidth and duplex of all interfaces by one script, at most 30 seconds.
void fgDiscoverBandwidthDuplex(CBandwidthList& list, char (&scratch)[LOG_SCRATCH_SIZE]);

// Bandwidth by a script for each interface, at most 5 seconds each and 10 for their names; duplex is full. Of
// a bond and its VLANs the active slave is measured, or the bond itself when fgGetBondInfo gives none. A name
// that may not go to a shell is left out, with an error line.
void fgDiscoverBandwidthEach(CBandwidthList& list, char (&scratch)[LOG_SCRATCH_SIZE]);

// Bandwidth of all interfaces by one script, at most 10 seconds; duplex is full.
void fgDiscoverBandwidth(CBandwidthList& list, char (&scratch)[LOG_SCRATCH_SIZE]);

constexpr size_t BOND_SLAVE_SIZE = 256; // bytes that any active slave fits in, as long as its line is read

// Writes the name of a bond's active slave, cut to size - 1 bytes, from /proc/net/bonding/IFNAME: the
// kernel's "None" while the bond has none. Returns 1; -1 when that is no bond, or one that knows no active
// slave, as those that balance their load.
int fgGetBondInfo(const char* ifname, char* activeSlave, size_t size);

// The part of an interface's name before the first ".": the bond of "bond0.100".
std::string_view fgBondOf(std::string_view ifname);

// Takes a line "VELKSC|eth0|1000000|1": name, kilobits per second, duplex code. false for other keys and for
// more or fewer fields. The line is overwritten.
bool fgParseBandwidthDuplex(char* line, _ST_BANDWIDTH_LIST& found);

// Takes a line "eth0 1000000": name, kilobits per second. false without a blank.
bool fgParseBandwidth(const char* line, _ST_BANDWIDTH_LIST& found);

// Takes the slave from a line "Currently Active Slave: eth1" without its newline; false for other lines.
bool fgParseActiveSlave(std::string_view line, std::string_view& slave);

// Kilobits of a text with megabits per second. Reckoned in 32 bits on purpose: above 2147483 the product
// wraps.
int fgKilobits(const char* megabits);
