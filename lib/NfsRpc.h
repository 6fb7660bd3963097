#pragma once

#include <memory>
#include <netdb.h>
#include <rpc/rpc.h>

// What both ways of asking an NFS server stand on. It includes the RPC library's headers, so that only they
// do.

constexpr rpcprog_t NFS_PROGRAM = 100003; // RFC 1094, RFC 1813, RFC 7530
constexpr rpcvers_t NFS_VERSION_2 = 2;
constexpr rpcvers_t NFS_VERSION_3 = 3;
constexpr rpcvers_t NFS_VERSION_4 = 4;
constexpr in_port_t NFS_PORT = 2049;

struct CClientDestroyer
{
    void operator()(CLIENT* client) const { clnt_destroy(client); }
};
using COwnedClient = std::unique_ptr<CLIENT, CClientDestroyer>;

struct CAddressDeleter
{
    void operator()(addrinfo* addresses) const { freeaddrinfo(addresses); }
};
using COwnedAddresses = std::unique_ptr<addrinfo, CAddressDeleter>;

// A routine that encodes and decodes, as the RPC library takes it: whatever its second argument is.
template <class TRoutine> xdrproc_t fgXdr(TRoutine* routine)
{
    return reinterpret_cast<xdrproc_t>(reinterpret_cast<void (*)()>(routine));
}

// The addresses of a host given as a number or by name, of one family or of any (AF_UNSPEC), each once and
// without a port; null when it does not resolve. Takes what the resolver takes.
COwnedAddresses fgResolve(const char* host, int family);

// Asks a portmapper (protocol version 2) for the port of NFS; protocol is IPPROTO_UDP or IPPROTO_TCP. Returns
// 0 without an answer and when it is not registered. Some portmappers name the port of another version.
unsigned fgGetPort(CLIENT* portmapper, rpcvers_t version, unsigned protocol, timeval wait);

// The call that does nothing and that every RPC program answers.
clnt_stat fgCallNull(CLIENT* server, timeval wait);
