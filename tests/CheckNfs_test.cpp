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

// A child process that lives as long as the object.
class CChild
{
public:
    template <class TBody> explicit CChild(TBody body) : m_nPid(fork())
    {
        if (m_nPid != 0) return;
        body();
        _exit(1);
    }
    ~CChild()
    {
        kill(m_nPid, SIGKILL);
        waitpid(m_nPid, nullptr, 0);
    }
    CChild& operator=(CChild&&) = delete;

private:
    pid_t m_nPid;
};

sockaddr_in6 fAddress(in_port_t port, const in6_addr& host = in6addr_any)
{
    return {AF_INET6, htons(port), 0, host, 0};
}

// A socket on all addresses of both families.
CDescriptor fBound(int type, in_port_t port)
{
    CDescriptor bound(socket(AF_INET6, type | SOCK_CLOEXEC, 0));
    const int on = 1;
    setsockopt(bound.fGet(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    const sockaddr_in6 address = fAddress(port);
    EXPECT_EQ(0, bind(bound.fGet(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)));
    listen(bound.fGet(), 0); // refused for UDP
    return bound;
}

// Serves a version of a program on a socket, for ever.
void fServe(int type, int bound, rpcprog_t program, rpcvers_t version)
{
    const auto answer = [](svc_req*, SVCXPRT* to) { svc_sendreply(to, fgXdr(xdr_void), nullptr); };
    SVCXPRT* transport = type == SOCK_DGRAM ? svc_dg_create(bound, 0, 0) : svc_vc_create(bound, 0, 0);
    svc_reg(transport, program, version, answer, nullptr);
    svc_run();
}

// In network, mount and process namespaces, where no port and no process of the host is touched?
bool fIsInside()
{
    if (!fgIsApart("-nmpf --mount-proc --kill-child", "mount -t tmpfs tmpfs /run")) return false;
    ifreq loopback = {{"lo"}, {}};
    loopback.ifr_flags = IFF_UP;
    EXPECT_EQ(0, ioctl(CDescriptor(socket(AF_INET, SOCK_DGRAM, 0)).fGet(), SIOCSIFFLAGS, &loopback));
    return true;
}

void fRunPortmapper()
{
    execl("/usr/sbin/rpcbind", "rpcbind", "-f", nullptr);
}

// Registers a program at OTHER_PORT. Not by pmap_set, which leaks.
bool fRegister(rpcprog_t program, rpcvers_t version, const char* network)
{
    netconfig* known = getnetconfigent(network);
    sockaddr_in6 address = fAddress(OTHER_PORT);
    if (network[3] == '\0') address.sin6_family = AF_INET; // "udp" and "tcp"; the port is at the same place
    netbuf buffer = {sizeof(address), sizeof(address), &address};
    const bool done = rpcb_set(program, version, known, &buffer) != 0;
    freenetconfigent(known);
    return done;
}

bool fHasPortmapper()
{
    return fgAwait([] { return fRegister(NFS_PROGRAM + 1, 1, "tcp"); });
}

// The answer, after so many seconds; a busy machine may take a little longer.
void fExpect(int answer, double seconds, const char* source, const char* why,
             int (*check)(const char*) = chknfsmnt)
{
    SCOPED_TRACE(why);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(answer, check(source));
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    EXPECT_GE(took.count(), seconds);
    EXPECT_LE(took.count(), seconds + 1.5);
}

TEST(CheckNfs, AsksAPortmapperAndNfsByUdp)
{
    if (!fIsInside()) return;
    constexpr char SOURCE[] = "127.0.0.1:/export";
    fExpect(0, 0, SOURCE, "no portmapper");
    {
        const CDescriptor silent = fBound(SOCK_DGRAM, PMAPPORT);
        fExpect(0, 2, SOURCE, "silent portmapper");
    }
    const CChild portmapper(fRunPortmapper);
    if (!fHasPortmapper()) GTEST_SKIP() << "rpcbind cannot be started here";
    fExpect(0, 0, SOURCE, "not registered");
    ASSERT_TRUE(fRegister(NFS_PROGRAM, 2, "udp"));
    fExpect(0, 0, SOURCE, "registered, but gone");
    {
        const CDescriptor silent = fBound(SOCK_DGRAM, OTHER_PORT);
        fExpect(0, 5, SOURCE, "registered, but silent");
    }
    const CDescriptor nfs = fBound(SOCK_DGRAM, OTHER_PORT); // anew: the calls before get no late answer
    {
        const CChild server([&] { fServe(SOCK_DGRAM, nfs.fGet(), NFS_PROGRAM, 3); });
        fExpect(0, 0, SOURCE, "another version");
    }
    const CChild server([&] { fServe(SOCK_DGRAM, nfs.fGet(), NFS_PROGRAM, 2); });
    const std::string longest = SOURCE + std::string(100000, 'x');
    for (const char* source : {SOURCE, "localhost:/a:b", "127.1", longest.c_str()})
        fExpect(1, 0, source, source);
    for (const char* source :
         {"", ":/export", "nohost.invalid:/export", longest.c_str() + 50, static_cast<const char*>(nullptr)})
        fExpect(0, 0, source, "no host");
}

// What a server does with the listener at the usual port.
template <rpcprog_t PROGRAM, rpcvers_t VERSION> void fServeTcp(int listener)
{
    fServe(SOCK_STREAM, listener, PROGRAM, VERSION);
}
// Sends each connection that many bytes, one by one, of a reply that is said to be endless.
template <size_t BYTES> void fDribble(int listener)
{
    for (;;) {
        const CDescriptor connection(accept(listener, nullptr, nullptr));
        for (const char byte : std::string("\x7f" + std::string(100, '\0')).substr(0, BYTES)) {
            send(connection.fGet(), &byte, 1, MSG_NOSIGNAL);
            usleep(100000);
        }
    }
}
void fStaySilent(int)
{
    pause();
}

// Fills the listener's queue, so that the kernel drops what comes behind.
std::vector<CDescriptor> fFillQueue()
{
    std::vector<CDescriptor> queued;
    const sockaddr_in6 address = fAddress(NFS_PORT, in6addr_loopback);
    for (int i = 0; i < 3; i++) {
        queued.emplace_back(socket(AF_INET6, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        connect(queued.back().fGet(), reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    }
    return queued;
}

TEST(CheckNfs, AsksByTcp)
{
    if (!fIsInside()) return;
    constexpr bool REGISTERED = true; // version 3 answers at another port
    constexpr bool DROPS = true;
    const struct
    {
        const char* l_strWhy;
        const char* l_strSource;
        int l_nAnswer;
        double l_dSeconds;
        void (*l_fnServe)(int listener); // null: nobody listens
        bool l_bRegistered = false;
        bool l_bDrops = false;
    } rows[] = {
        {"IPv6 in brackets", "[::1]:/export", 1, 0, fServeTcp<NFS_PROGRAM, 4>},
        {"IPv6", "::1:/export", 1, 0, fServeTcp<NFS_PROGRAM, 4>},
        {"IPv4", "127.0.0.1:/export", 1, 0, fServeTcp<NFS_PROGRAM, 4>},
        {"name", "localhost:/export", 1, 0, fServeTcp<NFS_PROGRAM, 4>},
        {"refuses the version", "[::1]:/export", 1, 0, fServeTcp<NFS_PROGRAM, 2>},
        {"another program", "[::1]:/export", 0, 0, fServeTcp<NFS_PROGRAM + 2, 4>},
        {"hangs up", "[::1]:/export", 0, 0, fDribble<0>},
        {"nobody", "localhost:/export", 0, 0, nullptr},
        {"no host", "[]:/export", 0, 0, fServeTcp<NFS_PROGRAM, 4>},
        {"registered, IPv6", "[::1]:/export", 1, 0, nullptr, REGISTERED},
        {"registered, IPv4", "127.0.0.1:/export", 1, 0, fServeTcp<NFS_PROGRAM + 2, 4>, REGISTERED},
        {"registered, usual port dropped", "[::1]:/export", 1, 2.5, fStaySilent, REGISTERED, DROPS},
        {"silent", "127.0.0.1:/export", 0, 5, fStaySilent, REGISTERED},
        {"endless reply", "[::1]:/export", 0, 5, fDribble<101>},
    };
    const CTestSetting<int> mode(g_nIPv6Flag, 1);
    const CChild portmapper(fRunPortmapper);
    if (!fHasPortmapper()) GTEST_SKIP() << "rpcbind cannot be started here";
    const CDescriptor other = fBound(SOCK_STREAM, OTHER_PORT);
    const CChild registered([&] { fServe(SOCK_STREAM, other.fGet(), NFS_PROGRAM, 3); });
    for (const auto& row : rows) {
        rpcb_unset(NFS_PROGRAM, 3, nullptr);
        for (const char* network : {"tcp", "tcp6"})
            EXPECT_TRUE(!row.l_bRegistered || fRegister(NFS_PROGRAM, 3, network));
        const CDescriptor usual = row.l_fnServe == nullptr ? CDescriptor() : fBound(SOCK_STREAM, NFS_PORT);
        const CChild server([&] {
            if (row.l_fnServe != nullptr) row.l_fnServe(usual.fGet());
        });
        const auto queued = row.l_bDrops ? fFillQueue() : std::vector<CDescriptor>();
        fExpect(row.l_nAnswer, row.l_dSeconds, row.l_strSource, row.l_strWhy);
    }
    fExpect(-1, 0, "[]:/x", "no host", fgNfsCheck);
}

TEST(CheckNfs, ConnectsToDottedAddressesOnly)
{
    if (!fIsInside()) return;
    fExpect(0, 0, "127.0.0.1:/x", "nobody listens", fgNfsCheck);
    struct sigaction action = {};
    sigaction(SIGALRM, nullptr, &action);
    EXPECT_EQ(fgCNSocket_CathAlam, action.sa_handler) << "stays";
    const CDescriptor usual = fBound(SOCK_STREAM, NFS_PORT);
    fExpect(1, 0, "127.0.0.1:/x", "listens", fgNfsCheck);
    for (const char* source : {"localhost:/x", "1-2.0.0.1:/x"})
        fExpect(0, 0, source, "not tested", fgNfsCheck);
    for (const char* source : {"127.0.0.1", "nohost.invalid:/x", ":/x", static_cast<const char*>(nullptr)})
        fExpect(-1, 0, source, "bad input", fgNfsCheck);
    const auto queued = fFillQueue();
    fExpect(0, 5, "127.0.0.1:/x", "dropped", fgNfsCheck);
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
        for (const std::string& text : fgSplit(texts, " ")) {
            EXPECT_EQ(loose, fgIPCheck(text.c_str())) << text;
            EXPECT_EQ(strict, fgIPVaildCheck(text.c_str())) << text;
        }
    EXPECT_EQ(0, fgIPCheck(nullptr) + fgIPVaildCheck(nullptr));
    sockaddr_in address;
    memset(&address, 0xFF, sizeof(address));
    EXPECT_EQ(1, get_inaddr(&address, "10.1.2.3"));
    EXPECT_EQ(std::tuple(AF_INET, 0, htonl(0x0A010203)),
              std::tuple(address.sin_family, address.sin_port, address.sin_addr.s_addr));
    EXPECT_EQ(0, get_inaddr(&address, "") + get_inaddr(&address, nullptr) + get_inaddr(nullptr, "10.1.2.3"));
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
