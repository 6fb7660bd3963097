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
#include "tests/TestSupport.h"

namespace
{
using ROWS = std::map<pid_t, std::vector<std::string>>;

std::string fProcFile(pid_t pid, const std::string& name)
{
    return fgReadFile("/proc/" + std::to_string(pid) + "/" + name);
}

// Our own processes in a pid namespace of the test, where the next pid can be chosen.
struct ST_POPULATION
{
    std::set<pid_t> l_nPids;
    ~ST_POPULATION()
    {
        while (!l_nPids.empty())
            fEnd(*l_nPids.begin());
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
        l_nPids.insert(pid);
        return pid;
    }
    // Waits until all of them sleep, are stopped or have ended, so that nothing of them changes.
    void fSettle() const
    {
        for (const pid_t pid : l_nPids)
            EXPECT_TRUE(fgAwait([pid] {
                const std::string stat = fProcFile(pid, "stat");
                return stat.find(") R ") == std::string::npos && stat.find(") D ") == std::string::npos;
            }));
    }
    void fEnd(pid_t pid)
    {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
        l_nPids.erase(pid);
    }
    // Ends a process and starts another with its pid; false when the pid went elsewhere.
    bool fReplace(pid_t pid)
    {
        fEnd(pid);
        fgWriteFile("/proc/sys/kernel/ns_last_pid", std::to_string(pid - 1));
        return fStart() == pid;
    }
};

// The rows of the population in a pass whose interval is so long that no share of it shows, without their
// start: that is from two clocks, so that it is off by a second at times.
ROWS fPass(CMM_PROC_Info& collector, const ST_POPULATION& population)
{
    if (collector.m_stLastTime.tv_sec != 0) collector.m_stLastTime.tv_sec = time(nullptr) - 1000000;
    ROWS rows;
    const char* table = collector.fMGetProc(0);
    for (const std::string& row : fgSplit(table == nullptr ? "" : fgReadable(table), "|")) {
        std::vector<std::string> fields = fgSplit(row, "~");
        const pid_t pid = fields.size() < 12 ? 0 : atoi(fields[1].c_str());
        if (!population.l_nPids.contains(pid)) continue;
        fields[0] = fields[11] = ""; // the index changes
        rows[pid] = fields;
    }
    return rows;
}

size_t fOpenFiles()
{
    return fgNames("/proc/self/fd").size();
}
} // namespace

// Both modes give the same rows while processes execute programs, change their owner, end, and are replaced.
TEST(ProcFiles, KeptFilesGiveTheSameRows)
{
    if (!fgIsApart("--pid --fork --mount-proc --kill-child", "true")) return;
    const CTestSetting extended(g_nProcExtendFlag, 1);
    ST_POPULATION population;
    const pid_t executes = population.fStart([] { execl("/bin/sleep", "sleep", "1000", nullptr); });
    const pid_t changes = population.fStart([] {
        if (setuid(65534) != 0) _exit(1);
    });
    const pid_t ends = population.fStart([] { _exit(0); });
    const pid_t goes = population.fStart();
    const pid_t replaced = population.fStart();

    CMM_PROC_Info plain, kept;
    const size_t openFiles = fOpenFiles();
    const auto compare = [&](const char* when) {
        population.fSettle();
        const ROWS expected = fPass(plain, population);
        const CTestSetting keep(g_nProcKeepFdMax, 1000);
        EXPECT_EQ(fPass(kept, population), expected) << when;
        EXPECT_EQ(expected.size(), population.l_nPids.size());
    };
    const auto work = std::make_unique<proc_s>();
    const auto process = std::make_unique<_ST_PROC>();
    EXPECT_EQ(kept.fMReadProcTable(goes, work.get(), process.get(), 1, 1, 0), 1);
    compare("first");
    EXPECT_TRUE(kept.m_ProcMap.contains(goes)) << "a sample of its own before the first pass stays";
    compare("nothing happened");
    for (const pid_t pid : {executes, changes, ends})
        kill(pid, SIGCONT);
    const auto reaches = [](pid_t pid, const char* file, const char* text) {
        return fgAwait([=] { return fProcFile(pid, file).find(text) != std::string::npos; });
    };
    ASSERT_TRUE(reaches(executes, "cmdline", "sleep") && reaches(changes, "status", "\t65534") &&
                reaches(ends, "stat", ") Z "));
    for (const auto& [pid, sample] : kept.m_ProcMap)
        sample->m_dCurTime = 1; // nobody else sets it
    population.fEnd(goes);
    const bool isReplaced = population.fReplace(replaced);
    const pid_t last = population.fStart();
    compare("much happened");
    population.fEnd(last);
    compare("that was seen; the last has gone");
    kept.fCloseKeptFiles();
    EXPECT_EQ(fOpenFiles(), openFiles) << "those of the vanished had been closed";
    EXPECT_FALSE(kept.m_ProcMap.contains(goes)) << "samples of the vanished are dropped";
    EXPECT_TRUE(plain.m_ProcMap.contains(goes));
    EXPECT_EQ(kept.m_ProcMap[executes]->m_dCurTime, 1);
    if (!isReplaced) GTEST_SKIP() << "no pid could be used again";
    EXPECT_EQ(kept.m_ProcMap[replaced]->m_dCurTime, 0) << "a sample of another process is dropped";
}

// Half of the soft limit at most, all of it given back when descriptors run out, and none for plain files.
TEST(ProcFiles, DescriptorsAreBounded)
{
    const CTestSetting keep(g_nProcKeepFdMax, 1 << 30);
    ST_POPULATION population;
    for (int i = 0; i < 12; i++)
        population.fStart();
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit low{64, limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &low);
    const auto inherited = [] { return fgRunCommand("ls /proc/self/fd").l_strOut; };
    const size_t before = fOpenFiles();
    const std::string inheritedBefore = inherited();
    CMM_PROC_Info collector;
    EXPECT_EQ(fPass(collector, population).size(), 12U);
    EXPECT_EQ(fOpenFiles(), before + 32);
    EXPECT_EQ(inherited(), inheritedBefore) << "close-on-exec";

    std::vector<CDescriptor> others;
    const auto takeAll = [&] {
        while (others.empty() || others.back())
            others.emplace_back(open("/dev/null", O_RDONLY | O_CLOEXEC));
        others.pop_back();
    };
    takeAll();
    EXPECT_EQ(fPass(collector, population).size(), 12U) << "no descriptor is free";
    takeAll();
    others.pop_back();
    const size_t samples = collector.m_ProcMap.size();
    EXPECT_EQ(fPass(collector, population).size(), 0U) << "one that /proc takes";
    EXPECT_EQ(collector.m_ProcMap.size(), samples) << "who could not be read has not vanished";
    others.clear();
    EXPECT_EQ(fOpenFiles(), before) << "all given back";

    EXPECT_EQ(fPass(collector, population).size(), 12U);
    EXPECT_EQ(collector.fCloseKeptFiles(), 32);
    EXPECT_EQ(fOpenFiles(), before);
    const CTestHost host("linux-6.1/t0");
    EXPECT_NE(collector.fMGetProc(0), nullptr);
    EXPECT_EQ(fOpenFiles(), before);
    setrlimit(RLIMIT_NOFILE, &limit);
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
