// Everything at once for a long time: all collectors in all their forms, the log in thread mode with small
// files, the scheduler in queue mode, buffer files, the NFS check, while processes come and go. Memory,
// descriptors and threads have to stay flat; prints their curve, and ends with status 1 when they do not.
// Usage: hostmetrics_bench_soak [SECONDS]

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <malloc.h>
#include <thread>

#include "bench/Contest.h"
#include "bench/Population.h"
#include "collect/MM_CPU_Info.h"
#include "collect/MM_FS_Info.h"
#include "collect/MM_IO_Info.h"
#include "collect/MM_LA_Info.h"
#include "collect/MM_MEM_Info.h"
#include "collect/MM_NWT_Info.h"
#include "collect/MM_PROC_Info.h"
#include "collect/MM_VM_Info.h"
#include "driver/RunConfig.h"
#include "inventory/Disk_Info.h"
#include "inventory/Memory_Info.h"
#include "inventory/NIC_Info.h"
#include "inventory/Pci_Info.h"
#include "lib/BufferFile.h"
#include "lib/CheckNfs.h"
#include "lib/FixedText.h"
#include "lib/NCmdScheduler.h"
#include "lib/NGFunctions.h"
#include "lib/OmniLog.h"
#include "lib/Owners.h"

namespace
{
namespace fs = std::filesystem;
using CClock = std::chrono::steady_clock;

constexpr int DEFAULT_SECONDS = 30;
constexpr int PASSES_PER_SECOND = 10; // at most: a pass waits until the log and the scheduler are idle
constexpr int FORKS_PER_PASS = 5;
constexpr size_t CHILDREN = 50; // that live at a time
constexpr size_t LOGS_KEPT = 20;

// What may be higher at the end than after the first quarter, in the median. The heap holds tables of all
// processes of this host, which double when others start many; RSS moves by what the allocator keeps for
// later.
constexpr double HEAP_GROWTH = 256; // KB
constexpr double RSS_GROWTH = 1024; // KB
constexpr double COUNT_GROWTH = 1;  // descriptors, threads: one may happen to be in use

volatile sig_atomic_t g_bStop = 0;

// What the process holds between two passes.
struct ST_LEVEL
{
    double l_dSeconds; // since the start
    double l_dRss;     // KB
    double l_dHeap;    // KB in use, of all arenas
    double l_dDescriptors;
    double l_dThreads;
};

// The number behind a key of /proc/self/status.
double fStatus(const char* key)
{
    std::ifstream status("/proc/self/status");
    std::string word;
    double value = 0;
    while (status >> word && word != key) {
    }
    status >> value;
    return value;
}

ST_LEVEL fMeasure(double seconds)
{
    const struct mallinfo2 heap = mallinfo2();
    const fs::directory_iterator descriptors("/proc/self/fd"), end;
    return {seconds, fStatus("VmRSS:"), static_cast<double>(heap.uordblks + heap.hblkhd) / 1024,
            static_cast<double>(std::distance(descriptors, end) - 1), fStatus("Threads:")};
}

// A runtime tree of its own, in whose agent/bin the process works, and in it a host root with NFS mounts of a
// server that is not there.
class CSoakTree
{
public:
    CSoakTree()
    {
        std::string pattern = (fs::temp_directory_path() / "hostmetrics-soak-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) return;
        m_strTop = pattern;
        std::error_code failed;
        fs::copy(HOSTMETRICS_RUNTIME, m_strTop, fs::copy_options::recursive, failed);
        fs::current_path(m_strTop / "agent/bin", failed);
        fs::create_directories(m_strTop / "log", failed);
        fs::create_directories(m_strTop / "host/etc", failed);
        std::ofstream(m_strTop / "host/etc/mtab")
            << "127.0.0.1:/export /mnt nfs rw 0 0\n"
               "[::1]:/export /mnt6 nfs4 rw 0 0\n/dev/root / ext4 rw 0 0\n";
        std::ofstream("../aproc/shell/vmware_proc.dat") << "row of a virtual machine\n";
        m_bReady = !failed;
    }
    ~CSoakTree()
    {
        std::error_code failed;
        fs::current_path("/", failed);
        fs::remove_all(m_strTop, failed);
    }
    CSoakTree(const CSoakTree&) = delete;
    CSoakTree& operator=(const CSoakTree&) = delete;

    bool fIsReady() const { return m_bReady; }
    std::string fPath(const char* below) const { return m_strTop / below; }

    // The log keeps files for days; here they would be thousands.
    void fDropOldLogs() const
    {
        std::vector<fs::path> files;
        std::error_code failed;
        for (const fs::directory_entry& entry : fs::directory_iterator(m_strTop / "log", failed))
            if (entry.path().extension() != ".log") files.push_back(entry.path());
        if (files.size() <= LOGS_KEPT) return;
        for (const fs::path& file : files)
            fs::remove(file, failed);
    }

private:
    fs::path m_strTop;
    bool m_bReady = false;
};

// Points the host root elsewhere for the life of the object.
class CHostRoot
{
public:
    explicit CHostRoot(const std::string& root) { fgCopyText(g_strHostRoot, root); }
    ~CHostRoot() { g_strHostRoot[0] = '\0'; }
    CHostRoot(const CHostRoot&) = delete;
    CHostRoot& operator=(const CHostRoot&) = delete;
};

// The collectors of one agent, those with two kinds of output twice.
struct ST_COLLECTORS
{
    explicit ST_COLLECTORS(int rows) : l_nRows(fSelect(rows)) {}

    // Chooses records or text, for the building and for every sample.
    static int fSelect(int rows)
    {
        g_nCpuStrType = g_nDiskStrType = g_nInterfaceStrType = rows;
        return rows;
    }

    void fSample(int push)
    {
        fSelect(l_nRows);
        l_clCpu.fMGetCpu();
        l_clCpu.fMGetPushCpu();
        l_clCpu.fMAltGatherCpu();
        l_clCpu.fMGetCpuInterrupt(1);
        l_clLoad.fMGetLoadAvg();
        l_clVm.fMGetVmStat(1);
        l_clVm.fMTarnisGetPage(push);
        l_clMem.fMGetMem();
        l_clMem.fMGetSwap();
        l_clMem.fPushGatherMem();
        l_clIo.fMGetIoStat(1, push);
        l_clIo.fMGetIoStat(1.0, 1, -1);
        l_clIo.fMGetIoStat(0, -1);
        l_clNwt.fMGetNetworkStat();
        l_clNwt.fMGetNetworkStat(1.0, 0);
        l_clNwt.fMGetTarnisNetworkStat(push);
        if (l_nRows == 0)
            l_clFs.fMGetFileSys();
        else
            l_clFs.fGetFileSystem();
    }

    // Mark and sweep are what keeps an agent's history of processes from growing.
    void fSampleProcesses(int fileName, int extended)
    {
        g_nExecedFileNameFlag = fileName;
        g_nProcExtendFlag = extended;
        l_clProc.fSetVMFlag(1, extended);
        l_clProc.fProcMapUpdate();
        if (l_clProc.fMGetProc(0) != nullptr) l_clProc.fProcMapErase();
    }

    // What starts scripts, by way of the scheduler where there is one.
    void fRunScripts()
    {
        fSelect(l_nRows);
        l_clCpu.fMGetPhyCpuCnt();
        l_clCpu.fCommandINV(2);
        l_clCpu.fGetCpuINV();
        l_clMem.fMGetMemCnt();
        l_clIo.fMGetDevNames(1);
        l_clIo.fCommandINV(2);
        l_clIo.fGetDiskINV();
        l_clIo.fDiskChangeCheck();
        l_clNwt.fGetNewBandwidthDuplex();
        l_clNwt.fGetNewBandwidth();
        l_clNwt.fGetBandwidth();
        l_clNwt.fCommandINV(2);
        l_clNwt.fGetInterfaceINV();
        l_clNwt.fInterfaceChangeCheck();
        l_clFs.fSetVMFlag(1, 1);
    }

    const int l_nRows; // before the collectors, whose constructors read what it sets
    CMM_CPU_Info l_clCpu;
    CMM_LA_Info l_clLoad;
    CMM_VM_Info l_clVm;
    CMM_MEM_Info l_clMem;
    CMM_FS_Info l_clFs;
    CMM_IO_Info l_clIo;
    CMM_NWT_Info l_clNwt;
    CMM_PROC_Info l_clProc;
};

struct ST_INVENTORY
{
    void fRead()
    {
        const CHostRoot old(HOSTMETRICS_FIXTURES "/linux-2.4.21/t0"); // kernels that have these files
        l_clNic.GetNICNum();
        l_clNic.GetNICInfos();
        l_clDisk.GetCdromNum();
        l_clDisk.GetCdromInfo();
        l_clPci.GetPciNum();
        l_clPci.GetPciInfo();
        l_clMemory.GetMemoryNum();
    }

    CNIC_Info l_clNic;
    CDisk_Info l_clDisk;
    CPci_Info l_clPci;
    CMemory_Info l_clMemory;
};

// Work that is done in every so many passes, and in the first.
struct ST_JOB
{
    int l_nEvery;
    std::function<void()> l_fnRun;
};

class CSoak
{
public:
    explicit CSoak(const CSoakTree& tree) : m_rTree(tree) {}

    void fPass(int number)
    {
        m_clChildren.fEndOldest(FORKS_PER_PASS);
        m_clChildren.fGrowTo(CHILDREN);
        for (const ST_JOB& job : m_stJobs)
            if (number % job.l_nEvery == 0) job.l_fnRun();
    }

private:
    void fStatWithLimit()
    {
        g_nFsStatTimeoutSec = 5;
        m_clRows.fSample(1);
        g_nFsStatTimeoutSec = 0;
    }

    void fCheckNfs()
    {
        const CHostRoot root(m_rTree.fPath("host"));
        g_nNfsStatusCheckFlag = 1;
        m_clRecords.l_clFs.fSetNFSFlag(1);
        for (g_nIPv6Flag = 1; g_nIPv6Flag >= 0; g_nIPv6Flag--) {
            m_clRecords.l_clFs.fMGetFileSys();
            chknfsmnt("127.0.0.1:/export");
        }
        g_nIPv6Flag = g_nNfsStatusCheckFlag = 0;
    }

    void fKeepRecords()
    {
        fgBufFileWrite("", "cpu", m_clRows.l_clCpu.m_pStrCpuTAQ);
        fgNBufFileWrite("", "proc", m_clRows.l_clProc.fGetProcInfo());
    }

    static void fMakeAnew()
    {
        ST_COLLECTORS collectors(1);
        collectors.fSample(1);
        collectors.fSampleProcesses(1, 0);
        ST_INVENTORY().fRead();
    }

    const CSoakTree& m_rTree;
    CPopulation m_clChildren;
    ST_COLLECTORS m_clRecords{0};
    ST_COLLECTORS m_clRows{1};
    ST_INVENTORY m_clInventory;
    const std::vector<ST_JOB> m_stJobs{
        {1, [this] { m_clRecords.fSample(0); }},
        {1, [this] { m_clRows.fSample(0); }},
        {2, [this] { m_clRows.fSample(1); }},
        {1, [this] { m_clRows.fSampleProcesses(0, 0); }},
        {2, [this] { m_clRows.fSampleProcesses(1, 0); }},
        {2, [this] { m_clRecords.fSampleProcesses(0, 1); }},
        {2, [this] { fStatWithLimit(); }},
        {3, [this] { fCheckNfs(); }},
        {2, [this] { fKeepRecords(); }},
        {5, [this] { m_clInventory.fRead(); }},
        {20, [this] { m_clRecords.fRunScripts(); }},
        {30, [this] { m_clRows.fRunScripts(); }},
        {40, [] { fMakeAnew(); }},
    };
};

// Log lines that wait would count as memory, and commands as descriptors.
void fAwaitIdle(COmniLog& log, CCmdScheduler& scheduler)
{
    const auto limit = CClock::now() + std::chrono::seconds(10);
    while (CClock::now() < limit &&
           log.fGetMessageQueue()->getCount() + scheduler.fGetMessageQueue()->getCount() > 0)
        fgUSleep(1000);
}

double fMedianOf(const std::vector<ST_LEVEL>& levels, double from, double to, double ST_LEVEL::*figure)
{
    std::vector<double> values;
    for (const ST_LEVEL& level : levels)
        if (level.l_dSeconds >= from && level.l_dSeconds < to) values.push_back(level.*figure);
    return values.empty() ? 0 : fgMedian(values);
}

// The last quarter against the second: the first is for buffers that grow to their size.
bool fCheckLevels(FILE* out, const std::vector<ST_LEVEL>& levels)
{
    const struct
    {
        const char* l_strName;
        double ST_LEVEL::*l_pdFigure;
        double l_dLimit;
    } rows[] = {
        {"heap, KB more in the last quarter than in the second", &ST_LEVEL::l_dHeap, HEAP_GROWTH},
        {"RSS, KB more", &ST_LEVEL::l_dRss, RSS_GROWTH},
        {"descriptors more", &ST_LEVEL::l_dDescriptors, COUNT_GROWTH},
        {"threads more", &ST_LEVEL::l_dThreads, COUNT_GROWTH},
    };
    if (levels.empty()) return false;
    const double end = levels.back().l_dSeconds;
    bool flat = true;
    for (const auto& [name, figure, limit] : rows)
        flat &= fgCheckFigure(out, name,
                              fMedianOf(levels, end * 3 / 4, end + 1, figure) -
                                  fMedianOf(levels, end / 4, end / 2, figure),
                              limit);
    return flat;
}

bool fRun(FILE* out, int seconds, const CSoakTree& tree, COmniLog& log, CCmdScheduler& scheduler)
{
    CSoak soak(tree);
    std::vector<ST_LEVEL> levels; // all its memory is taken before the first
    levels.resize(static_cast<size_t>(seconds + 1) * PASSES_PER_SECOND + 1);
    levels.clear();
    const auto start = CClock::now();
    const double pause = std::clamp(seconds / 20.0, 1.0, 60.0); // between two lines
    double next = 0;
    fputs("seconds  passes    RSS KB   heap KB  descriptors  threads\n", out);
    for (double now = 0; now < seconds && g_bStop == 0;) {
        soak.fPass(static_cast<int>(levels.size()));
        fAwaitIdle(log, scheduler);
        std::this_thread::sleep_until(start +
                                      levels.size() * std::chrono::milliseconds(1000 / PASSES_PER_SECOND));
        now = std::chrono::duration<double>(CClock::now() - start).count();
        levels.push_back(fMeasure(now));
        if (now < next) continue;
        next += pause;
        const ST_LEVEL& level = levels.back();
        fprintf(out, "%7.0f %7zu %9.0f %9.0f %12.0f %8.0f\n", level.l_dSeconds, levels.size(), level.l_dRss,
                level.l_dHeap, level.l_dDescriptors, level.l_dThreads);
        tree.fDropOldLogs();
    }
    return fCheckLevels(out, levels);
}
int fSoak(int seconds)
{
    // The process collector prints its console lines to stdout; they go nowhere here.
    const COwnedStream out(fdopen(dup(STDOUT_FILENO), "w"));
    if (out == nullptr || freopen("/dev/null", "w", stdout) == nullptr) return 1;
    setlinebuf(out.get());
    const CSoakTree tree;
    if (!tree.fIsReady()) return 1;
    fgInitRunConfig();
    g_nDataBufferSaveMaxSize = 1;
    g_nNetworkExtGather = 1;
    // Both serve threads of their own and so live until the process ends.
    auto* log = new COmniLog(1, "SOAK", 1, 1);
    log->fSetLogPath(tree.fPath("log/").c_str());
    log->fSetLogSize(8, 2);
    // All but the rates that the network collector tells: at 5 ms a line the passes would wait for the log.
    log->fSetLogModeBit("NORMAL:ALL:ALL|ERROR:LAB:5");
    g_pclOmniLog = log;
    auto* scheduler = new CCmdScheduler;
    scheduler->m_nCmdSchedulerType = CMD_TYPE_QUEUE;
    scheduler->fSetCmdSchedulerHomePath(tree.fPath("agent/cmd").c_str());
    scheduler->fCmdSchedulerStart();
    g_pclCCmdScheduler = scheduler;

    fgPrintMachine(out.get());
    return fRun(out.get(), seconds, tree, *log, *scheduler) ? 0 : 1;
}

// Takes what the soak left in the background until the soak itself has ended. The first process of many
// containers takes nothing, and thousands of zombies would be so many more processes to sample.
int fTakeOrphans(pid_t soak)
{
    int status = 0;
    while (true) {
        const pid_t ended = waitpid(-1, &status, 0);
        if (ended == soak) return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
        if (ended < 0 && errno == EINTR && g_bStop != 0) kill(soak, SIGTERM);
        if (ended < 0 && errno != EINTR) return 1;
    }
}
} // namespace

int main(int argc, char** argv)
{
    const int seconds = argc > 1 ? atoi(argv[1]) : DEFAULT_SECONDS;
    if (seconds < 4 || seconds > 1000000) {
        fputs("usage: hostmetrics_bench_soak [SECONDS], 4 to 1000000\n", stderr);
        return 2;
    }
    struct sigaction stop = {}; // without SA_RESTART: waiting ends
    stop.sa_handler = [](int) { g_bStop = 1; };
    for (const int number : {SIGINT, SIGTERM})
        sigaction(number, &stop, nullptr);
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    const pid_t soak = fork();
    if (soak > 0) return fTakeOrphans(soak);
    return soak == 0 ? fSoak(seconds) : 1;
}
