#include "collect/ProcFiles.h"

#include <csignal>
#include <fcntl.h>
#include <map>
#include <set>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "collect/MM_PROC_Info.h"
#include "lib/TextTable.h"
#include "tests/TestSupport.h"

namespace
{
using ROWS = std::map<std::string, std::string>; // by pid, without their index

// Our own processes in a pid namespace of the test, where the next pid can be chosen.
class CPopulation
{
public:
    ~CPopulation()
    {
        while (!m_nPids.empty())
            fEnd(*m_nPids.begin());
    }
    // A process that sleeps, or stops first and does something when it goes on.
    pid_t fStart(void (*then)() = nullptr)
    {
        const pid_t pid = fork();
        if (pid == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            if (then != nullptr) raise(SIGSTOP);
            if (then != nullptr) then();
            for (;;)
                pause();
        }
        if (then != nullptr) waitpid(pid, nullptr, WUNTRACED);
        m_nPids.insert(pid);
        return pid;
    }
    // Waits until all of them sleep, are stopped or have ended, so that nothing of them changes.
    void fSettle() const
    {
        for (const pid_t pid : m_nPids)
            EXPECT_TRUE(fgAwait([pid] {
                const std::string stat = fgReadFile("/proc/" + std::to_string(pid) + "/stat");
                return stat.find(") R ") == std::string::npos && stat.find(") D ") == std::string::npos;
            }));
    }
    void fEnd(pid_t pid)
    {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
        m_nPids.erase(pid);
    }
    // Ends a process and starts another with its pid; false when the pid went elsewhere.
    bool fReplace(pid_t pid)
    {
        fEnd(pid);
        fgWriteFile("/proc/sys/kernel/ns_last_pid", std::to_string(pid - 1));
        return fStart() == pid;
    }
    const std::set<pid_t>& fPids() const { return m_nPids; }

private:
    std::set<pid_t> m_nPids;
};

// The rows of the population in a pass whose interval is so long that no share of it shows.
ROWS fPass(CMM_PROC_Info& collector, const CPopulation& population)
{
    if (collector.m_stLastTime.tv_sec != 0) collector.m_stLastTime.tv_sec = time(nullptr) - 1000000;
    ROWS rows;
    const char* table = collector.fMGetProc(0);
    for (const std::string& row : fgSplit(table == nullptr ? "" : fgReadable(table), "|")) {
        std::vector<std::string> fields = fgSplit(row, "~");
        if (fields.size() < 12 || !population.fPids().contains(static_cast<pid_t>(atoi(fields[1].c_str()))))
            continue;
        fields[11].clear(); // the start: from two clocks, so that it is off by a second at times
        for (const std::string& field : fields)
            rows[fields[1]] += (&field == &fields[0] ? "" : field) + "~";
    }
    return rows;
}

// Descriptors that are open, or only those of them that a program started by us would inherit.
int fOpenFiles(bool inherited = false)
{
    int count = 0;
    for (int fd = 0; fd < 20000; fd++) {
        const int flags = fcntl(fd, F_GETFD);
        if (flags >= 0 && (!inherited || (flags & FD_CLOEXEC) == 0)) count++;
    }
    return count;
}

class CFileLimit
{
public:
    explicit CFileLimit(rlim_t soft)
    {
        getrlimit(RLIMIT_NOFILE, &m_stOld);
        fSet(soft);
    }
    ~CFileLimit() { setrlimit(RLIMIT_NOFILE, &m_stOld); }
    CFileLimit& operator=(CFileLimit&&) = delete;
    void fSet(rlim_t soft) const
    {
        const rlimit limit = {soft, m_stOld.rlim_max};
        setrlimit(RLIMIT_NOFILE, &limit);
    }

private:
    rlimit m_stOld = {};
};

constexpr char PID_NAMESPACE[] = "--pid --fork --mount-proc --kill-child";
} // namespace

// Both modes give the same rows while processes execute programs, change their owner, end, and are replaced.
TEST(ProcFiles, KeptFilesGiveTheSameRows)
{
    if (!fgIsApart(PID_NAMESPACE, "true")) return;
    const CTestSetting extended(g_nProcExtendFlag, 1);
    CPopulation population;
    const pid_t executes = population.fStart([] { execl("/bin/sleep", "sleep", "1000", nullptr); });
    const pid_t changes = population.fStart([] {
        if (setuid(65534) != 0) _exit(1);
    });
    const pid_t ends = population.fStart([] { _exit(0); });
    const pid_t goes = population.fStart();
    const pid_t replaced = population.fStart();

    CMM_PROC_Info plain;
    CMM_PROC_Info kept;
    size_t rows = 0;
    const auto compare = [&](const char* when) {
        population.fSettle();
        testing::internal::CaptureStdout();
        const ROWS expected = fPass(plain, population);
        const CTestSetting keep(g_nProcKeepFdMax, 1000);
        const ROWS found = fPass(kept, population);
        fflush(stdout);
        testing::internal::GetCapturedStdout();
        EXPECT_EQ(found, expected) << when;
        rows = expected.size();
    };
    compare("first");
    compare("nothing happened");
    for (const pid_t pid : {executes, changes, ends})
        kill(pid, SIGCONT);
    const auto folder = [](pid_t pid) { return "/proc/" + std::to_string(pid); };
    ASSERT_TRUE(fgAwait([&] { return fgReadFile(folder(executes) + "/cmdline").starts_with("sleep"); }));
    ASSERT_TRUE(fgAwait(
        [&] { return fgReadFile(folder(changes) + "/status").find("\t65534") != std::string::npos; }));
    ASSERT_TRUE(
        fgAwait([&] { return fgReadFile(folder(ends) + "/stat").find(") Z ") != std::string::npos; }));
    population.fEnd(goes);
    const bool isReplaced = population.fReplace(replaced);
    population.fStart();
    compare("much happened");
    compare("and was seen");
    EXPECT_EQ(rows, population.fPids().size());
    EXPECT_FALSE(kept.m_ProcMap.contains(goes)) << "samples of the vanished are dropped";
    EXPECT_TRUE(plain.m_ProcMap.contains(goes));
    if (!isReplaced) GTEST_SKIP() << "no pid could be used again";
}

TEST(ProcFiles, APidThatIsUsedAgainIsAnotherProcess)
{
    if (!fgIsApart(PID_NAMESPACE, "true")) return;
    CPopulation population;
    const pid_t pid = population.fStart();
    const CDescriptor proc(open("/proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    CProcFiles files;
    CProcBatch batch;
    const auto read = [&] {
        files.fBegin(proc.fGet(), 100);
        batch.fClear();
        EXPECT_TRUE(batch.fRead(files, pid));
        files.fEnd();
        return batch.fTexts().front().l_bReplaced;
    };
    EXPECT_FALSE(read());
    EXPECT_FALSE(read()) << "the same process";
    if (!population.fReplace(pid)) GTEST_SKIP() << "no pid could be used again";
    EXPECT_TRUE(read());
    EXPECT_FALSE(read());
    population.fEnd(pid);
    files.fBegin(proc.fGet(), 100);
    EXPECT_FALSE(batch.fRead(files, pid));
    files.fEnd();
    EXPECT_EQ(files.fCloseAll(), 0);
}

// Half of the soft limit at most, all of it given back when descriptors run out, and none for plain files.
TEST(ProcFiles, DescriptorsAreBounded)
{
    const CTestSetting keep(g_nProcKeepFdMax, 1 << 30);
    CPopulation population;
    for (int i = 0; i < 12; i++)
        population.fStart();
    const CFileLimit limit(64);
    const int before = fOpenFiles();
    const int inherited = fOpenFiles(true);
    CMM_PROC_Info collector;
    EXPECT_EQ(fPass(collector, population).size(), 12U);
    EXPECT_EQ(fOpenFiles() - before, 32);
    EXPECT_EQ(fOpenFiles(true), inherited) << "close-on-exec";

    std::vector<CDescriptor> others;
    while (others.empty() || others.back())
        others.emplace_back(open("/dev/null", O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(fPass(collector, population).size(), 12U) << "no descriptor is free";
    others.clear();
    EXPECT_EQ(fOpenFiles(), before) << "all given back";

    EXPECT_EQ(fPass(collector, population).size(), 12U);
    EXPECT_EQ(collector.fCloseKeptFiles(), 32);
    EXPECT_EQ(fOpenFiles(), before);
    const CTestHost host("linux-6.1/t0");
    EXPECT_NE(collector.fMGetProc(0), nullptr);
    EXPECT_EQ(fOpenFiles(), before);
}

// A kernel thread is told by its stat alone: its row is what its other files give.
TEST(ProcFiles, KernelThreadsKeepTheirNames)
{
    const std::string status = fgReadFile("/proc/2/status");
    if (!status.starts_with("Name:\tkthreadd\n")) GTEST_SKIP() << "no kernel threads to be seen here";
    const CDescriptor proc(open("/proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    CProcFiles files;
    CProcBatch batch;
    files.fBegin(proc.fGet(), 100);
    ASSERT_TRUE(batch.fRead(files, 2));
    ASSERT_TRUE(batch.fRead(files, getpid()));
    EXPECT_STREQ(batch.fTexts()[0].l_pstrStatus, "Name:\tkthreadd");
    EXPECT_EQ(fgReadFile("/proc/2/statm"), std::string(batch.fTexts()[0].l_pstrStatm) + "\n");
    EXPECT_GT(batch.fTexts()[1].l_nCommand, 0U);
}
