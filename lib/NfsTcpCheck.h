#pragma once

#include <string_view>

// The TCP mode of the NFS check: IPv6 and IPv4 servers, NFS versions 4 to 2.

// The host of a mount source: what stands in brackets, or before ":/", or, without both, before the only ":";
// several are those of an address. Otherwise all of it.
std::string_view fgNfsHost(std::string_view source);

enum NFS_ANSWER
{
    NFS_NO_ADDRESS = -1, // the host does not resolve
    NFS_SILENT = 0,      // no NFS service answered within the time
    NFS_ALIVE = 1
};

// Asks the NFS server of a host, an address or a name, and returns after 5 seconds at the latest, whatever
// resolver and server do. The work is done by a thread that may outlast the call, at most by what the
// resolver takes; all it uses is its own.
NFS_ANSWER fgAskNfsByTcp(std::string_view host);

// The port of a universal address (RFC 5665), such as 2049 of "::1.8.1": its last two numbers are the port's
// bytes. 0 when it ends in something else.
unsigned fgUniversalPort(std::string_view address);
