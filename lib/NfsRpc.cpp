#include "lib/NfsRpc.h"

COwnedAddresses fgResolve(const char* host, int family)
{
    addrinfo wanted = {};
    wanted.ai_family = family;
    wanted.ai_socktype = SOCK_STREAM; // any one, or each address comes once for every type
    addrinfo* found = nullptr;
    return COwnedAddresses(getaddrinfo(host, nullptr, &wanted, &found) == 0 ? found : nullptr);
}

unsigned fgGetPort(CLIENT* portmapper, rpcvers_t version, unsigned protocol, timeval wait)
{
    pmap mapping = {NFS_PROGRAM, version, protocol, 0};
    unsigned short port = 0;
    const clnt_stat status =
        clnt_call(portmapper, PMAPPROC_GETPORT, fgXdr(xdr_pmap), &mapping, fgXdr(xdr_u_short), &port, wait);
    return status == RPC_SUCCESS ? port : 0;
}

clnt_stat fgCallNull(CLIENT* server, timeval wait)
{
    const auto none = fgXdr(xdr_void);
    return clnt_call(server, NULLPROC, none, nullptr, none, nullptr, wait);
}
