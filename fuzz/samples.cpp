#include <string>

#include "collect/MM_CPU_Info.h"
#include "collect/MM_IO_Info.h"
#include "collect/MM_MEM_Info.h"
#include "collect/MM_PROC_Info.h"
#include "collect/MM_VM_Info.h"
#include "driver/RunConfig.h"
#include "fuzz/Fuzz.h"

// Collectors that start no script, over several moments of a host: the arithmetic and the tables behind the
// parsers. The moments have a form feed between.

namespace
{
// Hands each moment to the collector, and then the last one once more.
template <class TSample> void fMoments(std::string_view input, const char* path, TSample sample)
{
    const std::string file = fgFuzzHost(path);
    do {
        fgFuzzWrite(file.c_str(), fgFuzzPart(input));
        sample();
    } while (!input.empty());
    sample();
}

template <int ROWS> void fCpu(std::string_view input)
{
    g_nCpuStrType = ROWS;
    CMM_CPU_Info cpu;
    *CMM_INIT_Info::m_pstOsVersion = {6, 1, 0};
    double elapsed = 0;
    fMoments(input, "/proc/stat", [&] {
        cpu.fMGetCpu();
        while (cpu.fMGetCpuNext() != nullptr) {
        }
        cpu.fMGetPushCpu();
        cpu.fMGetCpuInterrupt(elapsed++);
        fgFuzzMust(cpu.fMGetNCpu() < CPU_SLOTS, "the slots suffice");
    });
}

template <int ROWS> void fDisk(std::string_view input)
{
    g_nDiskStrType = ROWS;
    g_nDiskMaxGatherCnt = 50;
    CMM_IO_Info disk;
    *CMM_INIT_Info::m_pstOsVersion = {2, 6, 32};
    double elapsed = 0;
    fMoments(input, "/proc/diskstats", [&] {
        disk.fMGetIoStat(elapsed, 1, ROWS * static_cast<int>(elapsed) % 2);
        elapsed++;
        while (disk.fMGetIoStatNext() != nullptr) {
        }
    });
}

// The kernel's reserve has the first moment's text as well.
void fMemory(std::string_view input)
{
    CMM_MEM_Info memory;
    fgFuzzWrite(fgFuzzHost("/proc/vmstat").c_str(), "pswpin 1\npswpout 2\n");
    fgFuzzWrite(fgFuzzHost("/proc/sys/vm/min_free_kbytes").c_str(), input.substr(0, input.find('\f')));
    fMoments(input, "/proc/meminfo", [&] {
        memory.fPushGatherMem();
        memory.fMGetSwap();
    });
}

// The moments are those of one file, what else is read stands still.
template <int MINOR> void fPaging(std::string_view input)
{
    CMM_VM_Info paging;
    *CMM_INIT_Info::m_pstOsVersion = {2, MINOR, 32};
    fgFuzzWrite(fgFuzzHost("/proc/stat").c_str(), "ctxt 5\n");
    fgFuzzWrite(fgFuzzHost("/proc/loadavg").c_str(), "0.05 0.10 0.15 3/80 1234\n");
    fgFuzzWrite(fgFuzzHost("/proc/1/stat").c_str(), "1 (init) S 0 1 1 0 -1 0 7 8 9 10");
    fMoments(input, MINOR == 4 ? "/proc/stat" : "/proc/vmstat", [&] { paging.fMTarnisGetPage(1); });
}

// Behind a moment of stat: statm, io and the command line, without which status counts.
void fProcess(std::string_view input)
{
    static CMM_PROC_Info process;
    *CMM_INIT_Info::m_pstOsVersion = {6, 1, 0};
    g_nProcExtendFlag = 1;
    process.m_ProcMap.clear();
    process.m_nInsertFirst = process.m_nNewCount = 0;
    for (const char* file : {"/proc/1/stat", "/proc/1/statm", "/proc/1/io", "/proc/1/cmdline",
                             "/proc/1/status", "/proc/meminfo", "/proc/uptime"})
        fgFuzzWrite(fgFuzzHost(file).c_str(), fgFuzzPart(input));
    for (const int kept : {0, 5, 5}) { // descriptors
        g_nProcKeepFdMax = kept;
        process.fMGetProc(1);
        fgFuzzMust(process.fMGetNProcs() <= 1, "there is one process");
    }
    const auto work = std::make_unique<proc_s>();
    const auto record = std::make_unique<_ST_PROC>();
    process.fMReadProcTable(1, work.get(), record.get(), 1024, 100, 0);
}

constexpr FUZZ_READER READERS[] = {fCpu<0>, fCpu<1>,    fDisk<0>, fDisk<1>,
                                   fMemory, fPaging<6>, fProcess, fPaging<4>};
const CFuzzTarget TARGET("samples", [](std::string_view input) { fgFuzzDispatch(READERS, input); });
} // namespace
