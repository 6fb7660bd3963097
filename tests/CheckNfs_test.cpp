#include "lib/CheckNfs.h"

#include <chrono>
#include <csignal>
#include <map>
#include <regex>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "lib/LogMasks.h"
#include "lib/NfsRpc.h"
#include "lib/NfsTcpCheck.h"
#include "lib/Owners.h"
#include "lib/SharedFlag.h"
#include "lib/Trace.h"
#include "tests/TestSupport.h"

namespace
{
constexpr in_port_t OTHER_PORT = 20490;

// What a process does with a socket, for ever.
using SERVER = std::function<void(int bound)>;

// A server at a port of all addresses that lives as long as the object; none without a function.
class CServer
{
public:
    CServer(const SERVER& serve, int type, in_port_t port)
    {
        if (!serve) return;
        const CDescriptor bound(socket(AF_INET6, type | SOCK_CLOEXEC, 0));
        const sockaddr_in6 address = {AF_INET6, htons(port), 0, in6addr_any, 0};
        const int on = 1;
        setsockopt(bound.fGet(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
        EXPECT_EQ(0, bind(bound.fGet(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)));
        listen(bound.fGet(), 0); // refused for UDP
        if ((m_nPid = fork()) != 0) return;
        serve(bound.fGet());
        _exit(1);
    }
    ~CServer()
    {
        if (m_nPid > 0) kill(m_nPid, SIGKILL);
        if (m_nPid > 0) waitpid(m_nPid, nullptr, 0);
    }
    CServer& operator=(CServer&&) = delete;

private:
    pid_t m_nPid = 0;
};

// Serves a version of a program.
SERVER fServes(rpcprog_t program, rpcvers_t version)
{
    return [=](int bound) {
        const auto answer = [](svc_req*, SVCXPRT* to) { svc_sendreply(to, fgXdr(xdr_void), nullptr); };
        svc_reg(svc_tli_create(bound, nullptr, nullptr, 0, 0), program, version, answer, nullptr);
        svc_run();
    };
}

// Sends each connection that many bytes, one by one, of a reply that is said to be endless.
SERVER fDribbles(size_t bytes)
{
    return [bytes](int listener) {
        for (;;) {
            const CDescriptor connection(accept(listener, nullptr, nullptr));
            for (const char byte : std::string("\x7f" + std::string(100, '\0')).substr(0, bytes)) {
                send(connection.fGet(), &byte, 1, MSG_NOSIGNAL);
                usleep(100000);
            }
        }
    };
}

// Registers a program at OTHER_PORT. Not by pmap_set, which leaks.
bool fRegister(rpcprog_t program, rpcvers_t version, const std::string& network)
{
    netconfig* known = getnetconfigent(network.c_str());
    sockaddr_in6 address = {AF_INET6, htons(OTHER_PORT), 0, in6addr_any, 0};
    if (network.size() == 3) address.sin6_family = AF_INET; // "udp" and "tcp"; the port is at the same place
    netbuf buffer = {sizeof(address), sizeof(address), &address};
    const bool done = rpcb_set(program, version, known, &buffer) != 0;
    freenetconfigent(known);
    return done;
}

// Fills the queue of the listener at the usual port, so that the kernel drops what comes behind.
std::vector<CDescriptor> fFillQueue()
{
    std::vector<CDescriptor> queued;
    const sockaddr_in6 address = {AF_INET6, htons(NFS_PORT), 0, in6addr_loopback, 0};
    for (int i = 0; i < 3; i++) {
        queued.emplace_back(socket(AF_INET6, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        connect(queued.back().fGet(), reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    }
    return queued;
}

// By the names that the cases have for them. The queue of a full one is filled.
const std::map<std::string, SERVER> SERVERS = {{"none", {}},
                                               {"silent", [](int) { pause(); }},
                                               {"full", [](int) { pause(); }},
                                               {"NFS 2", fServes(NFS_PROGRAM, 2)},
                                               {"NFS 3", fServes(NFS_PROGRAM, 3)},
                                               {"NFS 4", fServes(NFS_PROGRAM, 4)},
                                               {"not NFS", fServes(NFS_PROGRAM + 2, 4)},
                                               {"hangs up", fDribbles(0)},
                                               {"endless", fDribbles(101)}};

// The answer, after so many seconds; a busy machine may take a little longer. "..." at the end of a source
// stands for a hundred thousand bytes.
void fExpect(int (*check)(const char*), std::string source, int answer, double seconds)
{
    if (source.ends_with("...")) source.resize(100000, 'x');
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(answer, check(source.c_str())) << source.substr(0, 50);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    EXPECT_TRUE(took.count() >= seconds && took.count() < seconds + 1.5) << took.count();
}

// The function and its way, why, sources, the answer to each and the seconds that it takes; who is at the
// usual port of TCP, and who at OTHER_PORT, which the portmapper tells.
void fCheck(const std::vector<std::string>& row)
{
    SCOPED_TRACE(row.at(2));
    const bool byTcp = row.at(1) == "tcp";
    const SERVER& registered = SERVERS.at(row.at(7));
    const CTestSetting<int> mode(g_nIPv6Flag, byTcp ? 1 : 0);
    const rpcvers_t version = byTcp ? 3 : 2;
    rpcb_unset(NFS_PROGRAM, version, nullptr);
    for (const std::string& network : fgSplit(byTcp ? "tcp tcp6" : "udp", " "))
        EXPECT_TRUE(!registered || fRegister(NFS_PROGRAM, version, network));
    const CServer usual(SERVERS.at(row.at(6)), SOCK_STREAM, NFS_PORT);
    const CServer other(registered, byTcp ? SOCK_STREAM : SOCK_DGRAM, OTHER_PORT);
    const auto queued = row[6] == "full" ? fFillQueue() : std::vector<CDescriptor>();
    for (const std::string& source : fgSplit(row.at(3), " "))
        fExpect(row[0] == "chknfsmnt" ? chknfsmnt : fgNfsCheck, source, atoi(row.at(4).c_str()),
                atof(row.at(5).c_str()));
}

// In network, mount and process namespaces, where no port and no process of the host is touched.
TEST(CheckNfs, AsksARealPortmapperAndServers)
{
    if (!fgIsApart("-nmpf --mount-proc --kill-child", "mount -t tmpfs tmpfs /run && ip link set lo up"))
        return;
    fExpect(chknfsmnt, "127.0.0.1:/x", 0, 0); // no portmapper
    {
        const CServer portmapper(SERVERS.at("silent"), SOCK_DGRAM, PMAPPORT);
        fExpect(chknfsmnt, "127.0.0.1:/x", 0, 2);
    }
    const auto run = [](int) { execl("/usr/sbin/rpcbind", "rpcbind", "-f", nullptr); };
    const CServer portmapper(run, SOCK_DGRAM, 0);
    if (!fgAwait([] { return fRegister(NFS_PROGRAM + 1, 1, "tcp"); }))
        GTEST_SKIP() << "rpcbind cannot be started here";
    for (const auto& row : fgCases("nfs/servers"))
        fCheck(row);
    EXPECT_EQ(-1, fgNfsCheck(nullptr) + chknfsmnt(nullptr));
    struct sigaction action = {};
    sigaction(SIGALRM, nullptr, &action);
    EXPECT_EQ(fgCNSocket_CathAlam, action.sa_handler) << "stays";
}

TEST(NfsTexts, HostsAndAddresses)
{
    for (const auto& row : fgCases("nfs/hosts"))
        for (const std::string& source : fgSplit(row.at(1), " "))
            EXPECT_EQ(row[0], fgNfsHost(source)) << source;
    for (const auto& row : fgCases("nfs/addresses")) // loose, strict
        for (const std::string& text : fgSplit(row.at(2), " ")) {
            EXPECT_EQ(row[0], std::to_string(fgIPCheck(text.c_str()))) << text;
            EXPECT_EQ(row.at(1), std::to_string(fgIPVaildCheck(text.c_str()))) << text;
        }
    sockaddr_in address;
    memset(&address, 0xFF, sizeof(address));
    EXPECT_EQ(1, get_inaddr(&address, "10.1.2.3"));
    EXPECT_EQ(std::tuple(AF_INET, 0, htonl(0x0A010203)),
              std::tuple(address.sin_family, address.sin_port, address.sin_addr.s_addr));
    EXPECT_EQ(0, get_inaddr(&address, "") + get_inaddr(&address, nullptr) + get_inaddr(nullptr, "10.1.2.3") +
                     fgIPCheck(nullptr) + fgIPVaildCheck(nullptr));
}

TEST(Watchdog, InterruptsWhatIsArmedAndAHeartThatStopped)
{
    sigset_t alarms;
    sigemptyset(&alarms);
    sigaddset(&alarms, SIGALRM);
    pthread_sigmask(SIG_BLOCK, &alarms, nullptr);
    const auto isInterrupted = [&](time_t seconds) {
        const timespec limit = {seconds, 0};
        return sigtimedwait(&alarms, nullptr, &limit) == SIGALRM;
    };
    const CTestLog log;
    fgSetLogMasks("ERROR:UNI:UNI");
    const CTestSetting<int> pid(g_nSignalPid, 0), heartbeat(g_nBlockChkFlag, 1);
    fgTrace(10718);
    int limit = 1;
    std::thread watchdog(fgAlarmTh, &limit);
    EXPECT_TRUE(fgAwait([] { return fgLoadFlag(g_nAlarmThStatus) == 1; }));
    fgStoreFlag(g_nAlarmSec, 2);
    EXPECT_FALSE(isInterrupted(1));
    EXPECT_TRUE(isInterrupted(3));
    EXPECT_TRUE(fgAwait([] { return fgLoadFlag(g_nAlarmSec) == 0; }));
    fgStoreFlag(g_nAlarmSec, 6);
    EXPECT_FALSE(isInterrupted(3));
    fgStoreFlag(g_nAlarmSec, 1); // counted on from the 3 seconds before: it never fires
    EXPECT_TRUE(isInterrupted(15));
    fgStoreFlag(g_nAlarmThStatus, 0);
    watchdog.join();
    std::string lines;
    for (const std::string& line : log.fLines())
        lines += std::regex_replace(line, std::regex("pid:" + std::to_string(getpid())), "pid:N") + "\n";
    EXPECT_EQ(fgFixture("nfs/watchdog"), lines);
    pthread_sigmask(SIG_UNBLOCK, &alarms, nullptr);
}
} // namespace
