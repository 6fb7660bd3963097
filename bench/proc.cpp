// The process pass, opening its files or with kept ones, against a bare reader of the same files and against
// other readers of the process table. The program starts its own sleeping processes and ends them by their
// ids. Usage: hostmetrics_bench_proc [SIZE...]

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <malloc.h>
#include <memory>
#include <set>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>

#include "bench/Contest.h"
#include "bench/Population.h"
#include "bench/ProcPeers.h"
#include "collect/MM_PROC_Info.h"
#include "driver/RunConfig.h"
#include "lib/Owners.h"

namespace
{
// Many short rounds: what else the machine does swings over seconds, and hits all contenders of a short round
// alike.
constexpr int ROUNDS = 45;
constexpr int READS_PER_ROUND = 4000; // processes that a contender reads in a round, in several passes
constexpr int MOST_PROCESSES = 20000;
constexpr int KEPT_MOST = 1 << 20;   // descriptors; no more than half of the limit are taken
constexpr double MEMORY_MOST = 1536; // bytes
constexpr int PAUSED_SIZE = 2000;
constexpr int PAUSED_ROUNDS = 15;
constexpr std::chrono::milliseconds PAUSE(200);
constexpr size_t PAUSE_BYTES = 64 << 20; // more than the caches hold

// The floor: the files of every process opened, read and closed, and nothing done with them.
class CBareReader
{
public:
    int fRun()
    {
        const COwnedDir proc(opendir("/proc"));
        int count = 0;
        while (const dirent* entry = readdir(proc.get()))
            if (entry->d_name[0] >= '0' && entry->d_name[0] <= '9')
                count += fReadProcess(entry->d_name) ? 1 : 0;
        return count;
    }

private:
    bool fReadProcess(const char* pid)
    {
        char path[64] = "/proc/";
        const size_t length = strlen(pid);
        memcpy(path + 6, pid, length + 1);
        struct stat folder = {};
        if (stat(path, &folder) != 0) return false;
        char* end = path + 6 + length;
        if (fRead(path, end, "/stat", 4096) <= 0 || fRead(path, end, "/statm", 4096) <= 0) return false;
        fRead(path, end, "/io", 4096);
        return fRead(path, end, "/cmdline", PROC_NAME_SIZE) > 0 || fRead(path, end, "/status", 4096) > 0;
    }

    ssize_t fRead(const char* path, char* end, std::string_view name, size_t size)
    {
        memcpy(end, name.data(), name.size());
        end[name.size()] = '\0';
        const int fd = open(path, O_RDONLY | O_CLOEXEC);
        if (fd < 0) return -1;
        const ssize_t length = read(fd, m_strText, size - 1);
        close(fd);
        return length;
    }

    char m_strText[PROC_NAME_SIZE];
};

// Takes as many descriptors as half of the limit allows.
int fRunKept(CMM_PROC_Info& collector)
{
    const int before = std::exchange(g_nProcKeepFdMax, KEPT_MOST);
    collector.fMGetProc(0);
    g_nProcKeepFdMax = before;
    return collector.fMGetNProcs();
}

// Raises the soft limit of open files to the hard one. Returns of how many processes the files can be kept.
int fRaiseLimit(FILE* out)
{
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    const rlim_t kept = std::min<rlim_t>(limit.rlim_cur / 2, KEPT_MOST);
    const int processes = static_cast<int>(kept / PROC_FILE_STATUS);
    fprintf(out, "hard limit of %llu open files: %llu descriptors may be kept, those of %d processes\n",
            static_cast<unsigned long long>(limit.rlim_max), static_cast<unsigned long long>(kept),
            processes);
    return processes;
}

class CProcBench
{
public:
    CProcBench(FILE* out, int keepable) : m_pOut(out), m_nKeepable(keepable), m_clPeers(fgProcPeers(out)) {}

    void fRun(std::vector<int> sizes)
    {
        if (sizes.empty()) sizes = fUsualSizes();
        for (const int size : sizes) {
            m_clPopulation.fGrowTo(static_cast<size_t>(size));
            fContest(size);
            if (size == PAUSED_SIZE) fContestWithPauses(size);
        }
        if (sizes.size() > 1)
            fCheck("pass, CPU time a process, largest size to smallest", m_dCosts.back() / m_dCosts[0], 1.10);
        fCheck("pass, bytes kept a process", fKeptBytes(0), MEMORY_MOST);
        fCheck("pass, kept files, bytes kept a process", fKeptBytes(KEPT_MOST), MEMORY_MOST);
    }
    int fMissed() const { return m_nMissed; }

private:
    // One more between them, where the host limits so: all processes together are those that can be kept.
    std::vector<int> fUsualSizes()
    {
        std::set<int> sizes = {200, 2000, 8000};
        const int own = m_nKeepable - m_clBare.fRun();
        if (own > *sizes.begin() && own < *sizes.rbegin()) sizes.insert(own);
        return {sizes.begin(), sizes.end()};
    }

    std::vector<ST_CONTENDER> fContenders()
    {
        std::vector<ST_CONTENDER> contenders;
        contenders.push_back({"bare reader", [this] { return m_clBare.fRun(); }});
        contenders.push_back({"pass", [plain = std::make_shared<CMM_PROC_Info>()] {
                                  plain->fMGetProc(0);
                                  return plain->fMGetNProcs();
                              }});
        contenders.push_back(
            {"pass, kept files", [keeper = std::make_shared<CMM_PROC_Info>()] { return fRunKept(*keeper); }});
        contenders.insert(contenders.end(), m_clPeers.begin(), m_clPeers.end());
        return contenders;
    }

    void fContest(int size)
    {
        std::vector<ST_CONTENDER> contenders = fContenders();
        fgRunContest(contenders, ROUNDS, std::max(1, READS_PER_ROUND / m_clBare.fRun()));
        fReport(contenders, size, "");
        fCheckContest(contenders, size);
    }

    // Single passes, behind a while in which others use the caches, as between those of an agent.
    void fContestWithPauses(int size)
    {
        std::vector<ST_CONTENDER> contenders = fContenders();
        std::erase_if(contenders, [](const ST_CONTENDER& c) { return c.l_bSlow; });
        std::vector<char> others(PAUSE_BYTES);
        fgRunContest(contenders, PAUSED_ROUNDS, 1, [&others] {
            std::fill(others.begin(), others.end(), static_cast<char>(others[0] + 1));
            std::this_thread::sleep_for(PAUSE);
        });
        fReport(contenders, size, "single passes with pauses; ");
    }

    void fReport(const std::vector<ST_CONTENDER>& contenders, int size, const char* what)
    {
        fgPrintContest(
            m_pOut, contenders,
            (std::to_string(size) + " processes of our own; " + what + "microseconds a process").c_str());
        m_nMissed += fgCheckPieces(m_pOut, contenders, size);
    }

    void fCheckContest(const std::vector<ST_CONTENDER>& contenders, int size)
    {
        const ST_CONTENDER& bare = contenders[0];
        const ST_CONTENDER& pass = contenders[1];
        const ST_CONTENDER& kept = contenders[2];
        const ST_CONTENDER* library = fgContender(contenders, "libproc2");
        fCheck("pass, CPU time to the bare reader's", fgRatio(pass, bare), 1.05);
        // in clock ticks, so over all rounds together
        const auto user = [](const ST_COST& c) { return c.l_dUser; };
        fCheck("pass, user time above the bare reader's, to its CPU time",
               (fgMeanOf(pass, user) - fgMeanOf(bare, user)) /
                   fgMeanOf(bare, [](const ST_COST& c) { return c.fCpu(); }),
               0.04);
        if (library != nullptr) fCheck("pass, CPU time to libproc2's", fgRatio(pass, *library), 0.95);
        m_dCosts.push_back(fgMedianOf(pass, [](const ST_COST& c) { return c.fCpu(); }));
        if (size > m_nKeepable) return;
        fCheck("pass, kept files, CPU time to the bare reader's", fgRatio(kept, bare), 0.55);
        if (library != nullptr)
            fCheck("pass, kept files, CPU time to libproc2's", fgRatio(kept, *library), 0.50);
    }

    // What a collector holds behind some passes but for its table, in use on the heap.
    static double fKeptBytes(int keepMost)
    {
        const auto used = [] {
            const struct mallinfo2 heap = mallinfo2();
            return static_cast<double>(heap.uordblks + heap.hblkhd);
        };
        const double before = used();
        const auto collector = std::make_unique<CMM_PROC_Info>();
        for (int i = 0; i < 3; i++)
            keepMost > 0 ? fRunKept(*collector) : (collector->fMGetProc(0), 0);
        const double table = static_cast<double>(malloc_usable_size(collector->fGetProcInfo()));
        return (used() - before - table) / collector->fMGetNProcs();
    }

    void fCheck(const char* what, double value, double limit)
    {
        m_nMissed += fgCheckFigure(m_pOut, what, value, limit) ? 0 : 1;
    }

    FILE* m_pOut;
    int m_nKeepable;
    int m_nMissed = 0;
    std::vector<double> m_dCosts; // of the pass, microseconds a process, by size
    CBareReader m_clBare;
    std::vector<ST_CONTENDER> m_clPeers;
    CPopulation m_clPopulation;
};
} // namespace

int main(int argc, char** argv)
{
    std::vector<int> sizes;
    for (int i = 1; i < argc; i++)
        sizes.push_back(static_cast<int>(strtol(argv[i], nullptr, 10)));
    for (const int size : sizes)
        if (size < 1 || size > MOST_PROCESSES) {
            fprintf(stderr, "hostmetrics_bench_proc takes sizes from 1 to %d\n", MOST_PROCESSES);
            return 2;
        }
    std::sort(sizes.begin(), sizes.end());

    // The pass prints a line for each process; the report goes to what was standard output.
    const COwnedStream out(fdopen(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0), "w"));
    if (out == nullptr || freopen("/dev/null", "w", stdout) == nullptr) return 1;
    setlinebuf(out.get());
    fgInitRunConfig();
    fgPrintMachine(out.get());
    CProcBench bench(out.get(), fRaiseLimit(out.get()));
    bench.fRun(sizes);
    return bench.fMissed() == 0 ? 0 : 1;
}
