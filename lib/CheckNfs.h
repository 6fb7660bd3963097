#pragma once

#include <netinet/in.h>

// Does the server of a network filesystem answer? A statistics call on the mount of a dead server hangs for
// ever, so it is asked before. Also here: a TCP test of the server, two validators of IPv4 addresses, and the
// watchdog that interrupts blocking calls.
//
// g_nIPv6Flag chooses how servers are asked (docs/nfs-check.md): anything but 1 is the plain mode, IPv4 and
// UDP; 1 is the TCP mode, IPv6 and IPv4.

// Does the server of a mount answer? source is the mount's source as the mount table has it, "host:/path"; a
// text without ":" is all host, and only its first 4095 bytes count. Returns 1 when the server's NFS service
// answers, else 0, whatever the reason; null gives 0. Logs nothing.
// Plain mode: asks the portmapper (UDP port 111) for the UDP port of NFS version 2, then NFS there. About 2
// seconds at most for a portmapper that is silent, 5 more for NFS; "unable to set timeout\n" on standard
// error when the RPC library refuses these times. Looking up the host's name takes what the resolver takes.
// TCP mode: a null call on TCP port 2049, then on the registered port; the host may be an IPv6 address, with
// or without brackets. 5 seconds at most in all, name lookup included.
// One thread at a time: the plain mode works in a static buffer.
int chknfsmnt(const char* source);

// Fills an IPv4 address, port 0, from a dotted text or by looking up the name. Returns 1; 0 when it does not
// resolve or an argument is null, and then leaves *out zeroed, but for the family.
int get_inaddr(sockaddr_in* out, const char* host);

// Can the server be connected to on TCP port 2049? source as above, but it must hold ":". Returns 1 when it
// can, within 5 seconds, and 0 when not; -1 for null, without ":", for a host that does not resolve, and when
// the signal handler cannot be set.
// Plain mode: only servers given as dotted addresses are really tested. A name that resolves gives 0, on
// purpose. The call takes SIGALRM for itself: fgCNSocket_CathAlam stays installed, and an alarm that was set
// before is gone.
// TCP mode: asks as chknfsmnt does, without a signal; names are tested as well.
int fgNfsCheck(const char* source);

// Does the text look like a dotted IPv4 address? At most 15 characters, exactly three dots, and four parts
// that have no letter among their first three characters and a decimal value of at most 255. Everything else
// passes: "1-2.3.4.5", signs, empty parts (0). Returns 1 or 0; null gives 0.
int fgIPCheck(const char* text);

// Is the text a dotted IPv4 address? Digits and exactly three dots, four parts of at most 4 digits and 255,
// of which only the last must not be empty. Returns 1 or 0; null gives 0.
int fgIPVaildCheck(const char* text);

// Handler of SIGALRM that does nothing: a blocking call is interrupted by it and fails with EINTR.
void fgCNSocket_CathAlam(int);

// The watchdog: body of a thread that ends when g_nAlarmThStatus is no longer 1 (within a second) and returns
// null. blockTimeOut points at the longest time in seconds between two heartbeats; null, or less than 1, is
// none. It is read once, at the start, and stays the caller's. Once a second the thread looks at
// - g_nAlarmSec: who goes into a call that may block sets it to N before and to 0 behind it. About N seconds
//   later the process g_nSignalPid gets SIGALRM and g_nAlarmSec is 0. A change from one N to another goes on
//   counting; it does not start anew. Nor does it after a 0 that no look sees.
// - g_nBlockChkSec, about every 11 seconds and only while g_nBlockChkFlag is 1: a loop that is supervised
//   stores the time here. When that is longer ago than g_nBlockTimeOut, SIGALRM is sent and the time is now.
// The globals are those of driver/RunConfig.h; once the thread runs, touch them through lib/SharedFlag.h. The
// start sets g_nAlarmSec to 0, g_nBlockChkSec to now, g_nBlockTimeOut from the argument, g_nSignalPid, where
// it is below 1, to this process and, last, g_nAlarmThStatus to 1: arm it after that. SIGALRM ends a process
// that has no handler for it: install one first. Lines of level 3 under "UNI" (LOG_WATCHDOG) tell what was
// sent, the armed seconds and the number of the last trace breadcrumb (lib/Trace.h).
void* fgAlarmTh(int* blockTimeOut);
