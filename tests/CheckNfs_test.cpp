#include "lib/CheckNfs.h"

#include <chrono>
#include <csignal>
#include <net/if.h>
#include <sys/ioctl.h>
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

struct ST_CHECK
{
    const char* l_strWhy;
    std::vector<std::string> l_clSources;
    int l_nAnswer;
    double l_dSeconds; // that it takes
    SERVER l_fnUsual;  // at the usual port of TCP; none: nobody listens
    SERVER l_fnOther;  // at OTHER_PORT, which the portmapper tells
    bool l_bDrops = false;
};

// The answer, after so many seconds; a busy machine may take a little longer.
void fExpect(int answer, double seconds, const std::string& source, int (*check)(const char*) = chknfsmnt)
{
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(answer, check(source.c_str())) << source.substr(0, 50);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    EXPECT_TRUE(took.count() >= seconds && took.count() < seconds + 1.5) << took.count();
}

void fCheck(int (*check)(const char*), bool byTcp, const std::vector<ST_CHECK>& rows)
{
    const CTestSetting<int> mode(g_nIPv6Flag, byTcp ? 1 : 0);
    for (const ST_CHECK& row : rows) {
        SCOPED_TRACE(row.l_strWhy);
        const rpcvers_t version = byTcp ? 3 : 2;
        rpcb_unset(NFS_PROGRAM, version, nullptr);
        for (const std::string& network : fgSplit(byTcp ? "tcp tcp6" : "udp", " "))
            EXPECT_TRUE(!row.l_fnOther || fRegister(NFS_PROGRAM, version, network));
        const CServer usual(row.l_fnUsual, SOCK_STREAM, NFS_PORT);
        const CServer other(row.l_fnOther, byTcp ? SOCK_STREAM : SOCK_DGRAM, OTHER_PORT);
        const auto queued = row.l_bDrops ? fFillQueue() : std::vector<CDescriptor>();
        for (const std::string& source : row.l_clSources)
            fExpect(row.l_nAnswer, row.l_dSeconds, source, check);
    }
}

// In network, mount and process namespaces, where no port and no process of the host is touched.
TEST(CheckNfs, AsksARealPortmapperAndServers)
{
    if (!fgIsApart("-nmpf --mount-proc --kill-child", "mount -t tmpfs tmpfs /run")) return;
    ifreq loopback = {{"lo"}, {}};
    loopback.ifr_flags = IFF_UP;
    EXPECT_EQ(0, ioctl(CDescriptor(socket(AF_INET, SOCK_DGRAM, 0)).fGet(), SIOCSIFFLAGS, &loopback));

    const SERVER silent = [](int) { pause(); };
    const SERVER two = fServes(NFS_PROGRAM, 2), three = fServes(NFS_PROGRAM, 3),
                 four = fServes(NFS_PROGRAM, 4);
    const std::string four4 = "127.0.0.1:/x", four6 = "[::1]:/x", longest = four4 + std::string(100000, 'x');
    fExpect(0, 0, four4); // no portmapper
    {
        const CServer portmapper(silent, SOCK_DGRAM, PMAPPORT);
        fExpect(0, 2, four4);
    }
    const auto run = [](int) { execl("/usr/sbin/rpcbind", "rpcbind", "-f", nullptr); };
    const CServer portmapper(run, SOCK_DGRAM, 0);
    if (!fgAwait([] { return fRegister(NFS_PROGRAM + 1, 1, "tcp"); }))
        GTEST_SKIP() << "rpcbind cannot be started here";
    fCheck(chknfsmnt, false,
           {{"not registered", {four4}, 0, 0, {}, {}},
            {"registered, but silent", {four4}, 0, 5, {}, silent},
            {"another version", {four4}, 0, 0, {}, three},
            {"registered", {four4, "localhost:/a:b", "127.1", longest}, 1, 0, {}, two},
            {"no host", {"", ":/x", "nohost.invalid:/x", longest.substr(50)}, 0, 0, {}, two}});
    fCheck(
        chknfsmnt, true,
        {{"the usual port", {four6, "::1:/x", four4, "localhost:/x"}, 1, 0, four, {}},
         {"refuses the version", {four6}, 1, 0, two, {}},
         {"another program", {four6}, 0, 0, fServes(NFS_PROGRAM + 2, 4), {}},
         {"hangs up", {four6}, 0, 0, fDribbles(0), {}},
         {"nobody", {"localhost:/x"}, 0, 0, {}, {}},
         {"no host", {"[]:/x"}, 0, 0, four, {}},
         {"registered", {four6, four4}, 1, 0, {}, three},
         {"registered, another program at the usual port", {four4}, 1, 0, fServes(NFS_PROGRAM + 2, 4), three},
         {"registered, usual port dropped", {four6}, 1, 2.5, silent, three, true},
         {"silent", {four4}, 0, 5, silent, three},
         {"endless reply", {four6}, 0, 5, fDribbles(101), {}}});
    fCheck(fgNfsCheck, true, {{"no host", {"[]:/x"}, -1, 0, {}, {}}});
    fCheck(fgNfsCheck, false, // connects to dotted addresses alone
           {{"nobody", {four4}, 0, 0, {}, {}},
            {"connects", {four4}, 1, 0, silent, {}},
            {"not tested", {"localhost:/x", "1-2.0.0.1:/x"}, 0, 0, silent, {}},
            {"bad input", {"127.0.0.1", "nohost.invalid:/x", ":/x"}, -1, 0, silent, {}},
            {"dropped", {four4}, 0, 5, silent, {}, true}});
    EXPECT_EQ(-1, fgNfsCheck(nullptr) + chknfsmnt(nullptr));
    struct sigaction action = {};
    sigaction(SIGALRM, nullptr, &action);
    EXPECT_EQ(fgCNSocket_CathAlam, action.sa_handler) << "stays";
}

TEST(NfsTexts, HostsAndAddresses)
{
    for (const auto& [host, sources] : {std::pair("host", "host:/a:b host:export host"),
                                        {"fe80::1%eth0", "[fe80::1%eth0]:/a"},
                                        {"2001:db8::", "2001:db8:::/a"},
                                        {"::1", "::1 [::1"},
                                        {"", "[]:/a :"}})
        for (const std::string& source : fgSplit(sources, " "))
            EXPECT_EQ(host, fgNfsHost(source)) << source;
    constexpr std::tuple<int, int, const char*> ROWS[] = {
        // loose, strict
        {1, 1, "192.168.1.1 255.255.255.255 1..2.3 ...9 0123.1.1.1"},
        {1, 0, "1-2.3.4.5 -9.2.3.4 1.2.3. ... 00001.1.1.1 1.1.1.00001 1.2.3.004a 1.2.003a.4 0000001.2.3.40"},
        {0, 0, " 192.168.1 1.2.3.400 256.2.3.4 a.b.c.d 1.2.3.4.5 1.2.3.4a 0000001.2.3.400 99999999999.1.1"}};
    for (const auto& [loose, strict, texts] : ROWS)
        for (const std::string& text : fgSplit(texts, " "))
            EXPECT_EQ(std::pair(loose, strict),
                      std::pair(fgIPCheck(text.c_str()), fgIPVaildCheck(text.c_str())))
                << text;
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
    const std::string tail = "[pid:" + std::to_string(getpid()) + "] time out[";
    const std::string alarm = tail + "2 sec](DEBUG NO : 10718)", block = tail + "1 sec](DEBUG NO : 10718)";
    EXPECT_EQ((std::vector<std::string>{"[INFO][UNI]signal alarm sending-alarm" + alarm,
                                        "[INFO][UNI]signal alarm send-alarm" + alarm,
                                        "[INFO][UNI]signal alarm sending-block" + block,
                                        "[INFO][UNI]signal alarm send-block" + block,
                                        "[INFO][UNI]signal alarm thread exit"}),
              log.fLines());
    pthread_sigmask(SIG_UNBLOCK, &alarms, nullptr);
}
} // namespace
