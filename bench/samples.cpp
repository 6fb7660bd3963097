// One sample of each collector of a fixed set of files against bare reading of the same files on this host.
// Usage: hostmetrics_bench_samples

#include <fcntl.h>
#include <functional>
#include <mntent.h>
#include <sys/vfs.h>
#include <unistd.h>

#include "bench/Contest.h"
#include "collect/MM_CPU_Info.h"
#include "collect/MM_FS_Info.h"
#include "collect/MM_IO_Info.h"
#include "collect/MM_LA_Info.h"
#include "collect/MM_MEM_Info.h"
#include "collect/MM_NWT_Info.h"
#include "collect/MM_VM_Info.h"
#include "driver/RunConfig.h"
#include "lib/Owners.h"

namespace
{
constexpr int ROUNDS = 15;
constexpr int SAMPLES_PER_ROUND = 2000;

struct ST_SAMPLE
{
    const char* l_strName;
    std::vector<const char*> l_strFiles; // as often as a sample opens each
    std::function<void()> l_fnSample;
    std::function<int()> l_fnBare = {}; // in place of reading files
};

// The floor: each file opened, read to its end in pieces as large as a collector's, and closed.
int fReadBare(const std::vector<const char*>& files)
{
    static char text[0x10000];
    for (const char* path : files) {
        const CDescriptor file(open(path, O_RDONLY | O_CLOEXEC));
        if (read(file.fGet(), text, sizeof(text)) < 0) return 0;
    }
    return 1;
}

// The same for filesystems: the mount table, and the figures of every mount that the sample asks for.
int fStatBare()
{
    FILE* file = setmntent("/etc/mtab", "r");
    if (file == nullptr) return 0;
    while (const mntent* mount = getmntent(file)) {
        struct statfs64 figures = {};
        if (!fgSkipsFsType(mount->mnt_type)) statfs64(mount->mnt_dir, &figures);
    }
    endmntent(file);
    return 1;
}

void fContest(const ST_SAMPLE& sample)
{
    std::vector<ST_CONTENDER> contenders;
    contenders.push_back({"bare reading", [&sample] {
                              return sample.l_fnBare ? sample.l_fnBare() : fReadBare(sample.l_strFiles);
                          }});
    contenders.push_back({"sample", [&sample] {
                              sample.l_fnSample();
                              return 1;
                          }});
    fgRunContest(contenders, ROUNDS, SAMPLES_PER_ROUND);
    fgPrintContest(stdout, contenders, (std::string(sample.l_strName) + "; microseconds a sample").c_str());
}
} // namespace

int main()
{
    if (chdir(HOSTMETRICS_RUNTIME "/agent/bin") != 0) return 1; // where the collectors find their scripts
    fgInitRunConfig();
    fgPrintMachine(stdout);
    CMM_CPU_Info records;
    g_nCpuStrType = 1;
    CMM_CPU_Info rows;
    CMM_LA_Info load;
    CMM_VM_Info vm;
    CMM_MEM_Info memory;
    CMM_FS_Info filesystems;
    CMM_IO_Info disks;
    CMM_NWT_Info network; // its scripts run once, here
    const ST_SAMPLE samples[] = {
        {"CPU, records",
         {"/proc/stat"},
         [&] {
             g_nCpuStrType = 0;
             records.fMGetCpu();
         }},
        {"CPU, text rows",
         {"/proc/stat"},
         [&] {
             g_nCpuStrType = 1;
             rows.fMGetCpu();
         }},
        {"load average", {"/proc/loadavg"}, [&] { load.fMGetLoadAvg(); }},
        {"VM statistics", {"/proc/loadavg", "/proc/stat", "/proc/vmstat"}, [&] { vm.fMGetVmStat(1); }},
        {"memory", {"/proc/meminfo"}, [&] { memory.fMGetMem(); }},
        {"swap", {"/proc/meminfo", "/proc/vmstat"}, [&] { memory.fMGetSwap(); }},
        {"filesystems, records", {}, [&] { filesystems.fMGetFileSys(); }, fStatBare},
        {"filesystems, text rows", {}, [&] { filesystems.fGetFileSystem(); }, fStatBare},
        {"filesystems, text rows, g_nFsStatTimeoutSec 5",
         {},
         [&] {
             g_nFsStatTimeoutSec = 5;
             filesystems.fGetFileSystem();
         },
         fStatBare},
        {"disks, records", {"/proc/diskstats"}, [&] { disks.fMGetIoStat(1.0, 1, -1); }},
        {"network, records",
         {"/proc/net/dev"},
         [&] {
             g_nInterfaceStrType = 0;
             network.fMGetNetworkStat(1.0, -1);
         }},
        {"network, text rows, which ask for each link",
         {"/proc/net/dev"},
         [&] {
             g_nInterfaceStrType = 1;
             network.fMGetNetworkStat(1.0, -1);
         }},
    };
    for (const ST_SAMPLE& sample : samples)
        fContest(sample);
    return 0;
}
