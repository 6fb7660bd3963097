#include "lib/CheckNfs.h"

#include <arpa/inet.h>
#include <cctype>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <netdb.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

#include "driver/RunConfig.h"
#include "lib/FixedText.h"
#include "lib/NfsRpc.h"
#include "lib/NfsTcpCheck.h"
#include "lib/Owners.h"

namespace
{
constexpr size_t SOURCE_SIZE = 4096; // bytes of a mount source that count, terminator included
constexpr timeval RETRY_WAIT = {2, 0};
constexpr timeval PORTMAPPER_WAIT = {2, 0}; // stands over the call's: the library keeps to the client's
constexpr timeval CALL_WAIT = {5, 0};
constexpr unsigned CONNECT_SECONDS = 5;

// Kept by its name; nothing here depends on it.
[[maybe_unused]] int timeout;

// A client of a program at a port of the server, both of whose time-outs are wait; null when there is none.
COwnedClient fUdpClient(sockaddr_in& server, unsigned port, rpcprog_t program, rpcvers_t version,
                        timeval wait)
{
    server.sin_port = htons(static_cast<in_port_t>(port));
    int newSocket = RPC_ANYSOCK; // the client closes it
    COwnedClient client(clntudp_create(&server, program, version, RETRY_WAIT, &newSocket));
    if (client == nullptr) return client;
    fcntl(newSocket, F_SETFD, FD_CLOEXEC); // else commands that other threads start inherit it
    constexpr unsigned SETTINGS[] = {CLSET_TIMEOUT, CLSET_RETRY_TIMEOUT};
    for (const unsigned setting : SETTINGS)
        if (!clnt_control(client.get(), setting, reinterpret_cast<char*>(&wait)))
            fputs("unable to set timeout\n", stderr);
    return client;
}

// The UDP port of NFS version 2; 0 when the portmapper is silent or knows none.
unsigned fAskPort(sockaddr_in& server)
{
    const COwnedClient portmapper = fUdpClient(server, PMAPPORT, PMAPPROG, PMAPVERS, PORTMAPPER_WAIT);
    return portmapper == nullptr ? 0 : fgGetPort(portmapper.get(), NFS_VERSION_2, IPPROTO_UDP, CALL_WAIT);
}

// A target for connect: the text's address, port 2049. No text gives the address of all hosts, to which TCP
// does not connect.
bool fConnects(int to, const char* address)
{
    sockaddr_in server = {};
    server.sin_family = AF_INET;
    server.sin_port = htons(NFS_PORT);
    server.sin_addr.s_addr = inet_addr(address);
    // The alarm may reach another thread of the process, and then would not end the call.
    const timeval limit = {CONNECT_SECONDS, 0};
    setsockopt(to, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit));
    alarm(CONNECT_SECONDS);
    const bool connected = connect(to, reinterpret_cast<const sockaddr*>(&server), sizeof(server)) == 0;
    alarm(0);
    return connected;
}

// It stays installed: the watchdog's signal must not end the process later.
bool fCatchAlarm()
{
    struct sigaction action = {};
    action.sa_handler = fgCNSocket_CathAlam; // without SA_RESTART: the call is to fail
    return sigfillset(&action.sa_mask) == 0 && sigaction(SIGALRM, &action, nullptr) == 0;
}

bool fIsLoosePart(std::string_view part)
{
    for (const char character : part.substr(0, 3))
        if (isalpha(static_cast<unsigned char>(character)) != 0) return false;
    return strtol(std::string(part).c_str(), nullptr, 10) <= 255;
}

bool fIsStrictPart(std::string_view part)
{
    if (part.size() > 4) return false;
    int value = 0;
    for (const char digit : part) {
        if (digit < '0' || digit > '9') return false;
        value = value * 10 + (digit - '0');
    }
    return value <= 255;
}

// Has the text exactly three dots, and four parts that all pass?
bool fHasFourParts(std::string_view text, bool (*passes)(std::string_view))
{
    for (int dots = 0; dots < 3; dots++) {
        const size_t dot = text.find('.');
        if (dot == text.npos || !passes(text.substr(0, dot))) return false;
        text.remove_prefix(dot + 1);
    }
    return text.find('.') == text.npos && passes(text);
}
} // namespace

int chknfsmnt(const char* source)
{
    static char host[SOURCE_SIZE];
    if (source == nullptr) return 0;
    const std::string_view text(source, strnlen(source, SOURCE_SIZE - 1));
    if (g_nIPv6Flag == 1) return fgAskNfsByTcp(fgNfsHost(text)) == NFS_ALIVE ? 1 : 0;
    fgReplaceText(host, text.substr(0, text.find(':')));
    sockaddr_in server;
    if (get_inaddr(&server, host) == 0) return 0;
    const unsigned port = fAskPort(server);
    if (port == 0) return 0;
    const COwnedClient nfs = fUdpClient(server, port, NFS_PROGRAM, NFS_VERSION_2, CALL_WAIT);
    return nfs != nullptr && fgCallNull(nfs.get(), CALL_WAIT) == RPC_SUCCESS ? 1 : 0;
}

int get_inaddr(sockaddr_in* out, const char* host)
{
    if (out == nullptr) return 0;
    *out = {};
    out->sin_family = AF_INET;
    if (host == nullptr) return 0;
    const COwnedAddresses found = fgResolve(host, AF_INET);
    if (found == nullptr) return 0;
    out->sin_addr = reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr;
    return 1;
}

int fgNfsCheck(const char* source)
{
    const char* colon = source == nullptr ? nullptr : strchr(source, ':');
    if (colon == nullptr) return -1;
    if (g_nIPv6Flag == 1) return fgAskNfsByTcp(fgNfsHost(source));
    const std::string host(source, colon);
    const bool isDotted = fgIPCheck(host.c_str()) == 1;
    if (!isDotted) {
        sockaddr_in found;
        char dotted[INET_ADDRSTRLEN];
        if (get_inaddr(&found, host.c_str()) == 0 ||
            inet_ntop(AF_INET, &found.sin_addr, dotted, sizeof(dotted)) == nullptr || fgIPCheck(dotted) == 0)
            return -1;
    }
    const CDescriptor connection(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fCatchAlarm()) return -1;
    // A name is resolved and then not used: agents rely on an answer of 0 for servers given by name.
    return fConnects(connection.fGet(), isDotted ? host.c_str() : "") ? 1 : 0;
}

int fgIPCheck(const char* text)
{
    constexpr size_t LONGEST = sizeof("255.255.255.255") - 1;
    if (text == nullptr || strnlen(text, LONGEST + 1) > LONGEST) return 0;
    return fHasFourParts(text, fIsLoosePart) ? 1 : 0;
}

int fgIPVaildCheck(const char* text)
{
    if (text == nullptr || std::string_view(text).ends_with('.')) return 0;
    return fHasFourParts(text, fIsStrictPart) ? 1 : 0;
}

void fgCNSocket_CathAlam(int) {}
