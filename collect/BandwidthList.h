#pragma once

#include <cstddef>

#include "collect/NamedList.h"
#include "lib/LogGate.h"

// Duplex codes; not named as the macros of <linux/ethtool.h>, whose values are others. Any other value than
// half is reckoned as full where rates are computed.
constexpr int DUPLEX_CODE_UNKNOWN = 0;
constexpr int DUPLEX_CODE_FULL = 1;
constexpr int DUPLEX_CODE_HALF = 2; // both directions share the capacity

// What an interface can carry.
struct _ST_BANDWIDTH_LIST
{
    char m_strIFName[32]; // cut at 31 characters
    long m_lBandwidth;    // kilobits per second
    int m_nDuplex;
    _ST_BANDWIDTH_LIST* m_pstNext;
    _ST_BANDWIDTH_LIST* m_pstPrev;
};

// Error message without memory for a node.
constexpr char BANDWIDTH_NO_MEMORY[] = "new node malloc error [%d]";

// The interfaces whose bandwidth is known, in the order in which they were found. Duplicates are refused
// until m_nDupFlag says otherwise: the first value stays.
class CBandwidthList : public CNamedList<_ST_BANDWIDTH_LIST>
{
public:
    CBandwidthList();

    // Adds an interface with its bandwidth in kilobits per second and its duplex code. Returns 1; 0 when it
    // is there already; -1 without a name, with a word on standard output, and without memory.
    int fAddLinkedList(const char* name, long bandwidth, int duplex);
};

constexpr size_t DUPLEX_TEXT_SIZE = 12; // bytes of "Full Duplex" and its terminator

// Writes "Full Duplex" or "Half Duplex" into text, DUPLEX_TEXT_SIZE bytes of the caller's. Returns 1, or -1
// when it is not known or the name may not go to a shell (an error line); text is as it was then.
// The script shell/LINUX/NICDuplexInfoLinux.sh finds it. With a command scheduler (g_pclCCmdScheduler) the
// script runs later: the answer is that of the run before, -1 the first time. Without one the call waits for
// it, at most 5 seconds. An answer is used for 301 seconds. It is kept in one file whatever the interface:
// within that time a question about another interface gets the same answer.
int fGetDuplex(const char* ifname, char* text);

// May the name stand in a shell command line? Linux allows interfaces such as "a;id" and "$(id)". False, with
// an error line, for anything but 1 to 31 letters, digits and . _ - : @
bool fgAcceptForShell(const char* ifname, char (&scratch)[LOG_SCRATCH_SIZE]);
