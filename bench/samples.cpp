// One sample of each collector of a fixed set of files, and one of the whole host, against bare reading of
// the same files on this host and against other tools that have the same figures. Usage:
// hostmetrics_bench_samples

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <initializer_list>
#include <mntent.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/vfs.h>
#include <unistd.h>

#include "bench/Contest.h"
#include "bench/Peers.h"
#include "bench/SamplePeers.h"
#include "collect/MM_CPU_Info.h"
#include "collect/MM_FS_Info.h"
#include "collect/MM_IO_Info.h"
#include "collect/MM_LA_Info.h"
#include "collect/MM_MEM_Info.h"
#include "collect/MM_NWT_Info.h"
#include "collect/MM_VM_Info.h"
#include "driver/RunConfig.h"
#include "lib/FixedText.h"
#include "lib/Owners.h"

namespace
{
constexpr int ROUNDS = 45;
constexpr int SAMPLES_PER_ROUND = 300;
constexpr double OWN_PART_MOST = 1.10;
constexpr double NO_LIMIT = 0;

struct ST_SAMPLE
{
    const char* l_strName;
    SAMPLE l_nKind;
    bool l_bOfHost; // of one sample of the whole host
    std::function<void()> l_fnBare;
    std::function<void()> l_fnSample;
    double l_dLimit = OWN_PART_MOST; // of the CPU time, to the bare calls'
};

// The floor: each file opened, read and closed, as often as a sample does. The kernel hands these out in one
// piece, or no more of them is wanted.
void fReadFirst(std::initializer_list<const char*> files)
{
    static char text[0x10000];
    for (const char* path : files) {
        const CDescriptor file(open(path, O_RDONLY | O_CLOEXEC));
        while (read(file.fGet(), text, sizeof(text)) < 0 && errno == EINTR)
            ;
    }
}

// Those with a line for each of what there are, to their end.
void fReadAll(const char* path)
{
    static char text[0x10000];
    const CDescriptor file(open(path, O_RDONLY | O_CLOEXEC));
    while (read(file.fGet(), text, sizeof(text)) > 0)
        ;
}

// For filesystems: the mount table, the list of NFS mounts that is written anew, and the figures of every
// mount that a sample asks for.
class CBareMounts
{
public:
    CBareMounts()
    {
        FILE* file = setmntent("/etc/mtab", "r");
        if (file == nullptr) return;
        while (const mntent* mount = getmntent(file))
            if (!fgSkipsFsType(mount->mnt_type) && strstr(mount->mnt_type, "nfs") == nullptr)
                m_strPoints.emplace_back(mount->mnt_dir);
        endmntent(file);
    }
    void fRun() const
    {
        fReadAll("/etc/mtab");
        const CDescriptor list(
            open("../aproc/shell/NFSList.dat", O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
        for (const std::string& point : m_strPoints) {
            struct statfs64 figures = {};
            statfs64(point.c_str(), &figures);
        }
    }

private:
    std::vector<std::string> m_strPoints;
};

// For interfaces: their counters and the reader's socket; for text rows the state of each link besides.
class CBareLinks
{
public:
    CBareLinks()
    {
        struct if_nameindex* all = if_nameindex();
        for (const auto* link = all; link != nullptr && link->if_name != nullptr; link++)
            if (strcmp(link->if_name, "lo") != 0) m_strNames.emplace_back(link->if_name);
        if_freenameindex(all);
    }
    void fRun(bool asks) const
    {
        fReadAll("/proc/net/dev");
        const CDescriptor reader(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        if (!asks) return;
        for (const std::string& name : m_strNames) {
            ifreq request = {};
            fgCopyText(request.ifr_name, name);
            ioctl(reader.fGet(), SIOCGIFFLAGS, &request);
        }
    }

private:
    std::vector<std::string> m_strNames;
};

ST_CONTENDER fOnce(const char* name, const std::function<void()>& work)
{
    return {name, [&work] {
                work();
                return 1;
            }};
}

class CSampleBench
{
public:
    int fRun(const std::vector<ST_SAMPLE>& samples)
    {
        if (!m_clPython.fIsThere()) fgSayMissing(stdout, "psutil");
        for (const auto& [name, calls] : m_clLibraries)
            if (calls.empty()) fgSayMissing(stdout, name);
        for (const ST_SAMPLE& sample : samples)
            fContest(sample);
        for (const auto& [name, calls] : m_clLibraries)
            if (!calls.empty()) fContestHost(samples, name, calls);
        return m_nMissed;
    }

private:
    void fContest(const ST_SAMPLE& sample)
    {
        std::vector<ST_CONTENDER> contenders;
        contenders.push_back(fOnce("bare calls", sample.l_fnBare));
        contenders.push_back(fOnce("sample", sample.l_fnSample));
        for (const auto& [name, calls] : m_clLibraries)
            if (const auto call = calls.find(sample.l_nKind); call != calls.end())
                contenders.push_back(fOnce(name, call->second.l_fnRun));
        if (const auto expression = fgPsutilSamples().find(sample.l_nKind);
            m_clPython.fIsThere() && expression != fgPsutilSamples().end())
            contenders.push_back({"psutil",
                                  [this, &text = expression->second] {
                                      return m_clPython.fRun(text, SAMPLES_PER_ROUND) < 0 ? 0
                                                                                          : SAMPLES_PER_ROUND;
                                  },
                                  [this] { return m_clPython.fUsed(); }, true});
        fPrint(contenders, sample.l_strName);
        if (sample.l_dLimit != NO_LIMIT)
            fCheck(std::string(sample.l_strName) + ": sample, CPU time to the bare calls'", contenders[1],
                   contenders[0], sample.l_dLimit);
    }

    // One sample of all collectors whose files the library reads as well, one behind the other.
    void fContestHost(const std::vector<ST_SAMPLE>& samples, const char* name, const CSampleCalls& calls)
    {
        std::vector<const ST_SAMPLE*> common;
        for (const ST_SAMPLE& sample : samples)
            if (const auto call = calls.find(sample.l_nKind);
                sample.l_bOfHost && call != calls.end() && call->second.l_bSameFiles)
                common.push_back(&sample);
        const std::function<void()> bare = [&] {
            for (const ST_SAMPLE* sample : common)
                sample->l_fnBare();
        };
        const std::function<void()> ours = [&] {
            for (const ST_SAMPLE* sample : common)
                sample->l_fnSample();
        };
        const std::function<void()> library = [&] {
            for (const ST_SAMPLE* sample : common)
                calls.at(sample->l_nKind).l_fnRun();
        };
        std::vector<ST_CONTENDER> contenders = {fOnce("bare calls", bare), fOnce("sample", ours),
                                                fOnce(name, library)};
        fPrint(contenders, std::string("the host, as far as ") + name + " reads the same files");
        fCheck(std::string("the host: sample, CPU time to that of ") + name, contenders[1], contenders[2],
               1.00);
    }

    static void fPrint(std::vector<ST_CONTENDER>& contenders, const std::string& title)
    {
        fgRunContest(contenders, ROUNDS, SAMPLES_PER_ROUND);
        fgPrintContest(stdout, contenders, (title + "; microseconds a sample").c_str());
    }

    void fCheck(const std::string& what, const ST_CONTENDER& contender, const ST_CONTENDER& to, double limit)
    {
        m_nMissed += fgCheckFigure(stdout, what.c_str(), fgRatio(contender, to), limit) ? 0 : 1;
    }

    int m_nMissed = 0;
    CPythonPeer m_clPython;
    const std::vector<std::pair<const char*, CSampleCalls>> m_clLibraries = {
        {"libproc2", fgProc2Samples()}, {"libstatgrab", fgStatgrabSamples()}};
};
} // namespace

int main()
{
    if (chdir(HOSTMETRICS_RUNTIME "/agent/bin") != 0) return 1; // where the collectors find their scripts
    setlinebuf(stdout);
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
    const CBareMounts mounts;
    const CBareLinks links;
    const auto disk = [&disks](int rowType) {
        g_nDiskStrType = rowType;
        disks.fMGetIoStat(1.0, 1, -1);
    };
    const auto interface = [&network](int rowType) {
        g_nInterfaceStrType = rowType;
        network.fMGetNetworkStat(1.0, -1);
    };
    const std::vector<ST_SAMPLE> samples = {
        {"CPU, records", SAMPLE_CPU, false, [] { fReadFirst({"/proc/stat"}); },
         [&] {
             g_nCpuStrType = 0;
             records.fMGetCpu();
         }},
        {"CPU, text rows", SAMPLE_CPU, true, [] { fReadFirst({"/proc/stat"}); },
         [&] {
             g_nCpuStrType = 1;
             rows.fMGetCpu();
         }},
        {"load average", SAMPLE_LOAD, true, [] { fReadFirst({"/proc/loadavg"}); },
         [&] { load.fMGetLoadAvg(); }},
        {"VM statistics", SAMPLE_VM, true,
         [] {
             fReadFirst({"/proc/stat", "/proc/vmstat", "/proc/loadavg"});
         },
         [&] { vm.fMGetVmStat(1); }},
        {"memory", SAMPLE_MEMORY, true, [] { fReadFirst({"/proc/meminfo"}); }, [&] { memory.fMGetMem(); }},
        {"swap", SAMPLE_SWAP, true,
         [] {
             fReadFirst({"/proc/meminfo", "/proc/stat", "/proc/vmstat"});
         },
         [&] { memory.fMGetSwap(); }},
        {"filesystems, records", SAMPLE_FILESYSTEMS, false, [&] { mounts.fRun(); },
         [&] { filesystems.fMGetFileSys(); }},
        {"filesystems, text rows", SAMPLE_FILESYSTEMS, true, [&] { mounts.fRun(); },
         [&] { filesystems.fGetFileSystem(); }},
        {"filesystems, text rows, g_nFsStatTimeoutSec 5", SAMPLE_FILESYSTEMS, false, [&] { mounts.fRun(); },
         [&] {
             g_nFsStatTimeoutSec = 5;
             filesystems.fGetFileSystem();
             g_nFsStatTimeoutSec = 0;
         },
         NO_LIMIT},
        {"disks, records", SAMPLE_DISKS, false, [] { fReadAll("/proc/diskstats"); }, [&] { disk(0); }},
        {"disks, text rows", SAMPLE_DISKS, true, [] { fReadAll("/proc/diskstats"); }, [&] { disk(1); }},
        {"network, records", SAMPLE_NETWORK, false, [&] { links.fRun(false); }, [&] { interface(0); }},
        {"network, text rows", SAMPLE_NETWORK, true, [&] { links.fRun(true); }, [&] { interface(1); }},
    };
    return CSampleBench().fRun(samples) == 0 ? 0 : 1;
}
