#include "lib/NfsTcpCheck.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <poll.h>
#include <string>
#include <sys/socket.h>

#include "lib/DetachedThread.h"
#include "lib/NfsRpc.h"
#include "lib/Owners.h"

namespace
{
using CLOCK = std::chrono::steady_clock;
using MOMENT = CLOCK::time_point;
constexpr std::chrono::seconds CHECK_LIMIT(5);
constexpr unsigned UNIVERSAL_SIZE = 256; // bytes of a universal address; real ones have at most 55

std::chrono::microseconds fTimeTo(MOMENT end)
{
    using namespace std::chrono;
    return std::max(microseconds(0), duration_cast<microseconds>(end - CLOCK::now()));
}

timeval fWaitTo(MOMENT end)
{
    constexpr long MICROSECONDS = 1000000;
    const long left = fTimeTo(end).count();
    return {left / MICROSECONDS, left % MICROSECONDS};
}

// The moment by which the first of several that share the time to the end has to be done.
MOMENT fShareOf(MOMENT end, long sharers)
{
    return CLOCK::now() + fTimeTo(end) / sharers;
}

// What the caller and the thread that asks share; it lives until both are done with it.
class CQuestion
{
public:
    explicit CQuestion(std::string_view host) : m_strHost(host), m_End(CLOCK::now() + CHECK_LIMIT) {}

    // The thread's: asks, and leaves the answer.
    void fAsk();

    // The caller's: waits for the answer until the end. Then it is silence, and the connection is cut: the
    // RPC library bounds the wait for each piece of a reply, not that for all of it.
    NFS_ANSWER fAwait();

    // The thread's connection, for the caller to cut; false when it has given up. -1 takes it back.
    bool fHold(int connection);

private:
    const std::string m_strHost;
    const MOMENT m_End;
    std::mutex m_clLock;
    std::condition_variable m_clAnswered;
    bool m_bAnswered = false;
    bool m_bGivenUp = false;
    int m_nConnection = -1;
    NFS_ANSWER m_eAnswer = NFS_SILENT;
};

NFS_ANSWER CQuestion::fAwait()
{
    std::unique_lock lock(m_clLock);
    if (m_clAnswered.wait_until(lock, m_End, [this] { return m_bAnswered; })) return m_eAnswer;
    m_bGivenUp = true;
    if (m_nConnection >= 0) shutdown(m_nConnection, SHUT_RDWR);
    return NFS_SILENT;
}

bool CQuestion::fHold(int connection)
{
    const std::lock_guard lock(m_clLock);
    m_nConnection = connection;
    return !m_bGivenUp;
}

bool fHasConnected(int connection, MOMENT by)
{
    using namespace std::chrono;
    pollfd waiting = {connection, POLLOUT, 0};
    int error = 0;
    socklen_t size = sizeof(error);
    return poll(&waiting, 1, static_cast<int>(ceil<milliseconds>(fTimeTo(by)).count())) == 1 &&
           getsockopt(connection, SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
}

// A blocking socket that is connected, or none. The RPC library would connect by itself, but without a limit.
CDescriptor fConnect(const sockaddr_storage& server, socklen_t size, MOMENT by)
{
    CDescriptor connection(socket(server.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!connection) return connection;
    const int begun = connect(connection.fGet(), reinterpret_cast<const sockaddr*>(&server), size);
    if (begun != 0 && (errno != EINPROGRESS || !fHasConnected(connection.fGet(), by))) return CDescriptor();
    fcntl(connection.fGet(), F_SETFL, 0);
    return connection;
}

sockaddr_storage fWithPort(const addrinfo& server, unsigned port)
{
    sockaddr_storage address = {};
    memcpy(&address, server.ai_addr, server.ai_addrlen);
    // Both families have it at the same place.
    reinterpret_cast<sockaddr_in*>(&address)->sin_port = htons(static_cast<in_port_t>(port));
    return address;
}

// A connection to a port of the server that the question's caller can cut, and a client of a program there.
class CRpcConnection
{
public:
    CRpcConnection(CQuestion& question, const addrinfo& server, unsigned port, MOMENT by)
        : m_clQuestion(question), m_nSize(server.ai_addrlen), m_stServer(fWithPort(server, port)),
          m_clSocket(fConnect(m_stServer, m_nSize, by))
    {}
    ~CRpcConnection() { m_clQuestion.fHold(-1); }
    CRpcConnection& operator=(CRpcConnection&&) = delete;

    // Null when there is no connection, or nobody waits for the answer any more.
    COwnedClient fClient(rpcprog_t program, rpcvers_t version)
    {
        if (!m_clSocket || !m_clQuestion.fHold(m_clSocket.fGet())) return nullptr;
        netbuf address = {m_nSize, m_nSize, &m_stServer};
        return COwnedClient(clnt_vc_create(m_clSocket.fGet(), &address, program, version, 0, 0));
    }

private:
    CQuestion& m_clQuestion;
    const socklen_t m_nSize;
    sockaddr_storage m_stServer;
    const CDescriptor m_clSocket;
};

bool_t fXdrUniversal(XDR* stream, char** text)
{
    return xdr_string(stream, text, UNIVERSAL_SIZE - 1);
}

// Asks an rpcbind (RFC 1833, version 3), which knows ports of IPv6; the portmapper's version 2 does not.
unsigned fGetAddress(CLIENT* rpcbind, rpcvers_t version, timeval wait)
{
    char network[] = "tcp6";
    char none[] = "";
    rpcb wanted = {NFS_PROGRAM, version, network, none, none};
    char address[UNIVERSAL_SIZE] = {};
    char* at = address;
    const clnt_stat status =
        clnt_call(rpcbind, RPCBPROC_GETADDR, fgXdr(xdr_rpcb), &wanted, fgXdr(fXdrUniversal), &at, wait);
    return status == RPC_SUCCESS ? fgUniversalPort(address) : 0;
}

// The TCP port of a version of NFS; 0 when the server does not tell one.
unsigned fRegisteredPort(CQuestion& question, const addrinfo& server, rpcvers_t version, MOMENT by)
{
    const bool isIPv4 = server.ai_family == AF_INET; // there, older portmappers know version 2 alone
    CRpcConnection connection(question, server, PMAPPORT, by);
    const COwnedClient client = connection.fClient(PMAPPROG, isIPv4 ? PMAPVERS : RPCBVERS);
    if (client == nullptr) return 0;
    return isIPv4 ? fgGetPort(client.get(), version, IPPROTO_TCP, fWaitTo(by))
                  : fGetAddress(client.get(), version, fWaitTo(by));
}

// Is there an NFS service at the port? One that refuses the version is.
bool fAnswers(CQuestion& question, const addrinfo& server, unsigned port, rpcvers_t version, MOMENT connectBy,
              MOMENT by)
{
    CRpcConnection connection(question, server, port, connectBy);
    const COwnedClient client = connection.fClient(NFS_PROGRAM, version);
    if (client == nullptr) return false;
    const clnt_stat status = fgCallNull(client.get(), fWaitTo(by));
    return status == RPC_SUCCESS || status == RPC_PROGVERSMISMATCH;
}

// A firewall that drops what goes to the usual port must leave time for the registered one: connecting gets
// half. A server that takes the connection and is silent may use it all.
bool fIsAlive(CQuestion& question, const addrinfo& server, MOMENT by)
{
    const MOMENT half = fShareOf(by, 2);
    for (const rpcvers_t version : {NFS_VERSION_4, NFS_VERSION_3})
        if (fAnswers(question, server, NFS_PORT, version, half, by)) return true;
    for (const rpcvers_t version : {NFS_VERSION_3, NFS_VERSION_2}) {
        const unsigned port = fRegisteredPort(question, server, version, by);
        if (port != 0 && fAnswers(question, server, port, version, by, by)) return true;
    }
    return false;
}

// The addresses of a name share the time, so that one that is silent leaves some for the next.
NFS_ANSWER fAskHost(CQuestion& question, const char* host, MOMENT end)
{
    const COwnedAddresses addresses = fgResolve(host, AF_UNSPEC);
    if (addresses == nullptr) return NFS_NO_ADDRESS;
    long left = 0;
    for (const addrinfo* server = addresses.get(); server != nullptr; server = server->ai_next)
        left++;
    for (const addrinfo* server = addresses.get(); server != nullptr; server = server->ai_next)
        if (fIsAlive(question, *server, fShareOf(end, left--))) return NFS_ALIVE;
    return NFS_SILENT;
}

void CQuestion::fAsk()
{
    const NFS_ANSWER answer = fAskHost(*this, m_strHost.c_str(), m_End);
    const std::lock_guard lock(m_clLock);
    m_eAnswer = answer;
    m_bAnswered = true;
    m_clAnswered.notify_one();
}

void* fAskBody(void* argument)
{
    // The RPC library writes to connections that may be gone, and SIGPIPE would end the process. The others
    // are for the threads of the program.
    sigset_t signals;
    sigfillset(&signals);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    const std::unique_ptr<std::shared_ptr<CQuestion>> question(
        static_cast<std::shared_ptr<CQuestion>*>(argument));
    (*question)->fAsk();
    return nullptr;
}
} // namespace

std::string_view fgNfsHost(std::string_view source)
{
    if (source.starts_with('[')) return source.substr(1, source.find(']') - 1);
    const size_t path = source.find(":/");
    if (path != source.npos) return source.substr(0, path);
    const size_t colon = source.find(':');
    return colon == source.rfind(':') ? source.substr(0, colon) : source;
}

NFS_ANSWER fgAskNfsByTcp(std::string_view host)
{
    const auto question = std::make_shared<CQuestion>(host);
    auto handed = std::make_unique<std::shared_ptr<CQuestion>>(question);
    if (fgStartDetached(fAskBody, handed.get()) != 0) return NFS_SILENT;
    static_cast<void>(handed.release()); // the thread's
    return question->fAwait();
}

unsigned fgUniversalPort(std::string_view address)
{
    unsigned bytes[2] = {};
    for (int place = 1; place >= 0; place--) {
        const size_t dot = address.rfind('.');
        if (dot == address.npos) return 0;
        const std::string_view number = address.substr(dot + 1);
        const char* end = number.data() + number.size();
        const auto [stop, error] = std::from_chars(number.data(), end, bytes[place]);
        if (error != std::errc() || stop != end || bytes[place] > 255) return 0;
        address = address.substr(0, dot);
    }
    return bytes[0] * 256 + bytes[1];
}
