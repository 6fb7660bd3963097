// The process pass against a bare reader of the same files and against the same pass on libproc2. The program
// starts its own sleeping processes and ends them by their ids. Usage: hostmetrics_bench_proc [SIZE...]

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#ifdef HOSTMETRICS_WITH_LIBPROC2
#include <libproc2/pids.h>
#endif

#include "bench/Contest.h"
#include "bench/Population.h"
#include "collect/MM_PROC_Info.h"
#include "driver/RunConfig.h"
#include "lib/FixedText.h"
#include "lib/Owners.h"
#include "lib/TextTable.h"

namespace
{
// Many short rounds: what else the machine does swings over seconds, and hits all contenders of a short round
// alike.
constexpr int ROUNDS = 45;
constexpr int READS_PER_ROUND = 4000; // processes that a contender reads in a round, in several passes
constexpr int MOST_PROCESSES = 20000;
constexpr int KEPT_MOST = 1 << 20; // descriptors; half of the limit is less

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

#ifdef HOSTMETRICS_WITH_LIBPROC2
// The same rows out of libproc2, without rates: it fetches the same files, and the rows are written by the
// fastest writer at hand.
class CProc2Reader
{
public:
    CProc2Reader() { procps_pids_new(&m_pstInfo, ITEMS, std::size(ITEMS)); }
    ~CProc2Reader()
    {
        procps_pids_unref(&m_pstInfo);
        free(m_pstrText);
    }
    CProc2Reader(const CProc2Reader&) = delete;
    CProc2Reader& operator=(const CProc2Reader&) = delete;

    int fRun()
    {
        CTextTable table(m_pstrText, m_nSize);
        const pids_fetch* fetched = procps_pids_reap(m_pstInfo, PIDS_FETCH_TASKS_ONLY);
        for (int i = 0; i < fetched->counts->total; i++)
            fAppend(table, fetched->stacks[i], i + 1);
        return fetched->counts->total;
    }

private:
    static inline pids_item ITEMS[] = {
        PIDS_ID_PID,        PIDS_ID_PPID,       PIDS_ID_SESSION, PIDS_CMD,         PIDS_CMDLINE,
        PIDS_ID_EUSER,      PIDS_STATE,         PIDS_NICE,       PIDS_PRIORITY,    PIDS_NLWP,
        PIDS_MEM_VIRT,      PIDS_MEM_RES,       PIDS_TICS_USER,  PIDS_TICS_SYSTEM, PIDS_TICS_BEGAN,
        PIDS_IO_READ_BYTES, PIDS_IO_WRITE_BYTES};

    void fAppend(CTextTable& table, pids_stack* stack, int index)
    {
        const auto* value = stack->head;
        _ST_PROC& p = *m_pstProcess;
        p.l_nPid = value[0].result.s_int;
        p.l_nPPid = value[1].result.s_int;
        p.l_uPSid = value[2].result.s_int;
        const std::string_view command = value[4].result.str;
        *std::copy(command.begin(),
                   command.begin() + static_cast<long>(std::min(command.size(), PROC_NAME_SIZE - 1)),
                   p.l_strPname) = '\0';
        fgCopyText(p.l_strUname, value[5].result.str);
        p.l_chStatus = value[6].result.s_ch;
        p.l_nNice = value[7].result.s_int;
        p.l_nPriority = value[8].result.s_int;
        p.l_nThreads = value[9].result.s_int;
        p.l_ulVSZ = value[10].result.ul_int;
        p.l_ulRSS = value[11].result.ul_int;
        p.l_nCTime = static_cast<int>(value[12].result.ull_int + value[13].result.ull_int);
        p.l_nStart = static_cast<int>(value[14].result.ull_int);
        p.l_dIOByteCom = static_cast<double>(value[15].result.ul_int + value[16].result.ul_int) / 1024.0;
        table.fReserve(command.size() + TABLE_ROOM);
        const char* end = fgPutProcRow(m_strRow.get(), PROC_LAYOUT_EXTENDED, index, p);
        table.fAppendText({m_strRow.get(), end});
    }

    pids_info* m_pstInfo = nullptr;
    char* m_pstrText = fgNewTableBuffer();
    int m_nSize = TABLE_START_SIZE;
    std::unique_ptr<_ST_PROC> m_pstProcess = std::make_unique<_ST_PROC>();
    std::unique_ptr<char[]> m_strRow = std::make_unique<char[]>(PROC_ROW_SIZE);
};
#endif

double fMean(const ST_CONTENDER& contender, const std::function<double(const ST_COST&)>& figure)
{
    double sum = 0;
    for (const ST_COST& cost : contender.l_stRounds)
        sum += figure(cost);
    return sum / static_cast<double>(contender.l_stRounds.size());
}

// Contests at one size; returns the pass's CPU time a process, and counts the figures that were missed.
double fRunSize(FILE* out, int size, int& missed)
{
    CBareReader bare;
    CMM_PROC_Info collector;
    std::vector<ST_CONTENDER> contenders;
    contenders.push_back({"bare reader", [&] { return bare.fRun(); }});
    contenders.push_back({"pass", [&] {
                              collector.fMGetProc(0);
                              return collector.fMGetNProcs();
                          }});
    CMM_PROC_Info keeper;
    contenders.push_back({"pass, kept files", [&] {
                              const int before = std::exchange(g_nProcKeepFdMax, KEPT_MOST);
                              keeper.fMGetProc(0);
                              g_nProcKeepFdMax = before;
                              return keeper.fMGetNProcs();
                          }});
#ifdef HOSTMETRICS_WITH_LIBPROC2
    CProc2Reader library;
    contenders.push_back({"libproc2", [&] { return library.fRun(); }});
#endif
    fgRunContest(contenders, ROUNDS, std::max(1, READS_PER_ROUND / size));
    fgPrintContest(out, contenders,
                   (std::to_string(size) + " processes of our own; microseconds a process").c_str());

    const ST_CONTENDER& pass = contenders[1];
    // The kernel counts user time in clock ticks, of which a round has few: over all rounds together.
    const double ownUser = fMean(pass, [](const ST_COST& c) { return c.l_dUser; }) -
                           fMean(contenders[0], [](const ST_COST& c) { return c.l_dUser; });
    const double bareCpu = fMean(contenders[0], [](const ST_COST& c) { return c.fCpu(); });
    missed +=
        fgCheckFigure(out, "pass, CPU time to the bare reader's", fgRatio(pass, contenders[0]), 1.05) ? 0 : 1;
    missed += fgCheckFigure(out, "pass, user time above the bare reader's, to its CPU time",
                            ownUser / bareCpu, 0.04)
                  ? 0
                  : 1;
#ifdef HOSTMETRICS_WITH_LIBPROC2
    missed += fgCheckFigure(out, "pass, CPU time to libproc2's", fgRatio(pass, contenders[3]), 0.95) ? 0 : 1;
#else
    fprintf(out, "libproc2 is not installed: no comparison with it\n");
#endif
    for (const ST_CONTENDER& contender : contenders)
        if (contender.l_nPieces < size) missed++;
    return fgMedianOf(pass, [](const ST_COST& c) { return c.fCpu(); });
}
} // namespace

int main(int argc, char** argv)
{
    std::vector<int> sizes;
    for (int i = 1; i < argc; i++)
        sizes.push_back(static_cast<int>(strtol(argv[i], nullptr, 10)));
    if (sizes.empty()) sizes = {200, 2000, 8000};
    for (const int size : sizes)
        if (size < 1 || size > MOST_PROCESSES) {
            fprintf(stderr, "hostmetrics_bench_proc takes sizes from 1 to %d\n", MOST_PROCESSES);
            return 2;
        }

    // The pass prints a line for each process; the report goes to what was standard output.
    const COwnedStream out(fdopen(dup(STDOUT_FILENO), "w"));
    if (out == nullptr || freopen("/dev/null", "w", stdout) == nullptr) return 1;
    setlinebuf(out.get());
    fgInitRunConfig();
    fgPrintMachine(out.get());

    int missed = 0;
    CPopulation population;
    std::vector<double> costs;
    for (const int size : sizes) {
        population.fGrowTo(size);
        costs.push_back(fRunSize(out.get(), size, missed));
    }
    if (sizes.size() > 1)
        missed += fgCheckFigure(out.get(), "pass, CPU time a process, largest size to smallest",
                                costs.back() / costs[0], 1.10)
                      ? 0
                      : 1;
    return missed == 0 ? 0 : 1;
}
