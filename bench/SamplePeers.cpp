#include "bench/SamplePeers.h"

#ifdef HOSTMETRICS_WITH_LIBPROC2
#include <libproc2/diskstats.h>
#include <libproc2/meminfo.h>
#include <libproc2/misc.h>
#include <libproc2/stat.h>
#include <libproc2/vmstat.h>
#endif
#ifdef HOSTMETRICS_WITH_LIBSTATGRAB
#include <statgrab.h>
#endif

#include <memory>

#ifdef HOSTMETRICS_WITH_LIBPROC2
namespace
{
stat_item CPU_ITEMS[] = {
    STAT_TIC_ID,         STAT_TIC_DELTA_USER,   STAT_TIC_DELTA_SYSTEM,  STAT_TIC_DELTA_IDLE,
    STAT_TIC_DELTA_NICE, STAT_TIC_DELTA_IOWAIT, STAT_TIC_SUM_DELTA_BUSY};
stat_item STAT_ITEMS[] = {STAT_SYS_DELTA_CTX_SWITCHES, STAT_SYS_PROC_RUNNING};
vmstat_item PAGE_ITEMS[] = {VMSTAT_DELTA_PGPGIN,  VMSTAT_DELTA_PGPGOUT, VMSTAT_DELTA_PSWPIN,
                            VMSTAT_DELTA_PSWPOUT, VMSTAT_DELTA_PGFAULT, VMSTAT_DELTA_PGMAJFAULT};
meminfo_item MEMORY_ITEMS[] = {MEMINFO_MEM_TOTAL,    MEMINFO_MEM_USED,   MEMINFO_MEM_FREE,
                               MEMINFO_MEM_BUFFERS,  MEMINFO_MEM_CACHED, MEMINFO_MEM_SLAB_RECLAIM,
                               MEMINFO_MEM_AVAILABLE};
meminfo_item SWAP_ITEMS[] = {MEMINFO_SWAP_TOTAL, MEMINFO_SWAP_USED, MEMINFO_SWAP_FREE};
vmstat_item SWAPPED_ITEMS[] = {VMSTAT_PSWPIN, VMSTAT_PSWPOUT};
diskstats_item DISK_ITEMS[] = {DISKSTATS_NAME,
                               DISKSTATS_DELTA_READS,
                               DISKSTATS_DELTA_WRITES,
                               DISKSTATS_DELTA_READ_SECTORS,
                               DISKSTATS_DELTA_WRITE_SECTORS,
                               DISKSTATS_DELTA_IO_TIME};

// The state of one of the library's modules, which ends with the last copy.
template <class T> std::shared_ptr<T> fOpen(int (*create)(T**), int (*release)(T**))
{
    T* info = nullptr;
    create(&info);
    return {info, [release](T* last) { release(&last); }};
}
} // namespace

// It keeps all files but /proc/loadavg open.
CSampleCalls fgProc2Samples()
{
    const auto stat = [] { return fOpen(procps_stat_new, procps_stat_unref); };
    const auto vmstat = [] { return fOpen(procps_vmstat_new, procps_vmstat_unref); };
    const auto meminfo = [] { return fOpen(procps_meminfo_new, procps_meminfo_unref); };
    CSampleCalls calls;
    calls[SAMPLE_CPU] = {[info = stat()] {
        procps_stat_reap(info.get(), STAT_REAP_CPUS_ONLY, CPU_ITEMS, std::size(CPU_ITEMS));
    }};
    calls[SAMPLE_LOAD] = {[] {
        double averages[3];
        procps_loadavg(&averages[0], &averages[1], &averages[2]);
    }};
    calls[SAMPLE_VM] = {[info = stat(), pages = vmstat()] {
        procps_stat_select(info.get(), STAT_ITEMS, std::size(STAT_ITEMS));
        procps_vmstat_select(pages.get(), PAGE_ITEMS, std::size(PAGE_ITEMS));
    }};
    calls[SAMPLE_MEMORY] = {
        [info = meminfo()] { procps_meminfo_select(info.get(), MEMORY_ITEMS, std::size(MEMORY_ITEMS)); }};
    calls[SAMPLE_SWAP] = {[info = meminfo(), pages = vmstat()] {
        procps_meminfo_select(info.get(), SWAP_ITEMS, std::size(SWAP_ITEMS));
        procps_vmstat_select(pages.get(), SWAPPED_ITEMS, std::size(SWAPPED_ITEMS));
    }};
    calls[SAMPLE_DISKS] = {[info = fOpen(procps_diskstats_new, procps_diskstats_unref)] {
        procps_diskstats_reap(info.get(), DISK_ITEMS, std::size(DISK_ITEMS));
    }};
    return calls;
}
#else
CSampleCalls fgProc2Samples()
{
    return {};
}
#endif

#ifdef HOSTMETRICS_WITH_LIBSTATGRAB
CSampleCalls fgStatgrabSamples()
{
    sg_init(1);
    CSampleCalls calls;
    calls[SAMPLE_CPU] = {[] { sg_get_cpu_stats(nullptr); }};          // of the whole machine alone
    calls[SAMPLE_LOAD] = {[] { sg_get_load_stats(nullptr); }, false}; // asks sysinfo
    calls[SAMPLE_VM] = {[] {
        sg_get_page_stats(nullptr);
        sg_get_cpu_stats(nullptr); // has the context switches
    }};
    calls[SAMPLE_MEMORY] = {[] { sg_get_mem_stats(nullptr); }};
    calls[SAMPLE_SWAP] = {[] { sg_get_swap_stats(nullptr); }, false}; // sizes, out of /proc/meminfo
    calls[SAMPLE_FILESYSTEMS] = {[] { sg_get_fs_stats(nullptr); }};
    calls[SAMPLE_DISKS] = {[] { sg_get_disk_io_stats(nullptr); }};
    calls[SAMPLE_NETWORK] = {[] { sg_get_network_io_stats(nullptr); }};
    return calls;
}
#else
CSampleCalls fgStatgrabSamples()
{
    return {};
}
#endif

const std::map<SAMPLE, std::string>& fgPsutilSamples()
{
    static const std::map<SAMPLE, std::string> EXPRESSIONS = {
        {SAMPLE_CPU, "psutil.cpu_times(percpu=True)"},
        {SAMPLE_LOAD, "psutil.getloadavg()"},
        {SAMPLE_MEMORY, "psutil.virtual_memory()"},
        {SAMPLE_SWAP, "psutil.swap_memory()"},
        {SAMPLE_FILESYSTEMS, "[psutil.disk_usage(p.mountpoint) for p in psutil.disk_partitions(all=False)]"},
        {SAMPLE_DISKS, "psutil.disk_io_counters(perdisk=True)"},
        {SAMPLE_NETWORK, "psutil.net_io_counters(pernic=True)"},
    };
    return EXPRESSIONS;
}
