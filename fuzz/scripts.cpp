#include <algorithm>
#include <climits>
#include <cstring>
#include <string>
#include <unistd.h>

#include "collect/BandwidthDiscovery.h"
#include "collect/MM_CPU_Info.h"
#include "collect/MM_FS_Info.h"
#include "collect/MM_IO_Info.h"
#include "collect/MM_MEM_Info.h"
#include "collect/MM_NWT_Info.h"
#include "collect/MM_PROC_Info.h"
#include "driver/RunConfig.h"
#include "fuzz/Fuzz.h"
#include "inventory/Memory_Info.h"
#include "lib/OmniLog.h"

// What scripts give, and collectors that start some in any case.

namespace
{
void fRegions(std::string_view text)
{
    fgFuzzScript(text);
    CMemory_Info().GetMemoryNum();
}

void fModules(std::string_view text)
{
    fgFuzzWrite("../aproc/shell/MemCntInfo.dat", text);
    CMM_MEM_Info memory;
    const int* modules = memory.fMGetMemCnt();
    fgFuzzMust(modules != nullptr && memory.fMGetMemTotCnt() <= MEM_MODULES, "the array suffices");
    fgFuzzMust(std::all_of(modules, modules + memory.fMGetMemTotCnt(), [](int size) { return size > 0; }),
               "a module has a size");
}

void fProcessors(std::string_view text)
{
    fgFuzzScript(text);
    const int count = CMM_CPU_Info().fMGetPhyCpuCnt();
    fgFuzzMust(count >= -9 && count <= 99, "a count has two characters at most");
}

// What is listed, then what is found out about each interface and its bond.
void fBandwidth(std::string_view input)
{
    const CFuzzText bond(fgFuzzPart(input));
    fgFuzzWrite(fgFuzzHost("/proc/net/bonding/bond0").c_str(), bond.fView());
    char scratch[LOG_SCRATCH_SIZE];
    fgFuzzScript(input);
    CBandwidthList each, plain, duplex;
    fgDiscoverBandwidthEach(each, scratch);
    fgDiscoverBandwidth(plain, scratch);
    fgDiscoverBandwidthDuplex(duplex, scratch);
    char word[DUPLEX_TEXT_SIZE];
    if (fGetDuplex("eth0", word) == 1) fgFuzzMust(strlen(word) < sizeof(word), "the word is terminated");
}

void fDatastores(std::string_view text)
{
    fgFuzzScript(text);
    fgFuzzWrite(fgFuzzHost("/etc/mtab").c_str(), "");
    CMM_FS_Info collector;
    collector.fSetVMFlag(1, 1);
    collector.fMGetFileSys();
    const int records = collector.fMGetNFileSys();
    fgFuzzMust(collector.fGetFileSystem() == (records == 0 ? -1 : records), "both forms have the same rows");
}

// The listing, and behind it a moment of the counters of a kernel 2.2 or 2.4.
template <int MINOR> void fDisks(std::string_view input)
{
    fgFuzzScript(fgFuzzPart(input));
    fgFuzzWrite(fgFuzzHost(MINOR == 2 ? "/proc/stat" : "/proc/partitions").c_str(), input);
    g_nDiskStrType = 0;
    g_nDiskMaxGatherCnt = 50;
    CMM_IO_Info disk;
    *CMM_INIT_Info::m_pstOsVersion = {2, MINOR, 0};
    disk.fMGetIoStat(1.0, 0, 0);
    disk.fMGetIoStat(0.0, 1, 0);
    while (disk.fMGetIoStatNext() != nullptr) {
    }
}

// Bandwidths that the scripts print, and behind them a moment of the counters.
void fInterfaces(std::string_view input)
{
    fgFuzzScript(fgFuzzPart(input));
    g_nLinuxBandwidthFlag = 1;
    for (g_nInterfaceStrType = 1; g_nInterfaceStrType >= 0; g_nInterfaceStrType--) {
        CMM_NWT_Info network;
        std::string_view rest = input;
        do {
            fgFuzzWrite(fgFuzzHost("/proc/net/dev").c_str(), fgFuzzPart(rest));
            network.fMGetNetworkStat(2.0, static_cast<int>(rest.size() % 2));
            while (network.fMGetNetworkStatNext() != nullptr) {
            }
        } while (!rest.empty());
    }
    g_nInterfaceStrType = 0;
}

// Processes that a script lists, the share of "java" that another prints, and the rows of the guests.
void fProcesses(std::string_view input)
{
    fgFuzzScript(fgFuzzPart(input).substr(0, 512)); // each is read once more
    fgFuzzWrite("../aproc/shell/vmware_proc.dat", input);
    fgFuzzWrite(fgFuzzHost("/proc/1/stat").c_str(),
                "1 (java) S 1 1 1 0 -1 0 1 2 3 4 5 6 7 8 20 0 1 0 9 1 1 1 1 1 1 1 1 0 0 0 0 0 1");
    fgFuzzWrite(fgFuzzHost("/proc/1/statm").c_str(), "1 2 3 4 5 6 7");
    fgFuzzWrite(fgFuzzHost("/proc/1/cmdline").c_str(), "java");
    CMM_PROC_Info process;
    *CMM_INIT_Info::m_pstOsVersion = {2, 4, 21};
    g_nGetProcessType = g_nGetProcessJAVA = 1;
    process.fSetVMFlag(1, 1);
    process.fMGetProc(1);
}

// The name of the last log file, and names of the folder that may be those of old ones.
void fLogFiles(std::string_view input)
{
    constexpr char FOLDER[] = "../buffer/";
    fgFuzzWrite("../aproc/shell/recentlogfile.dat", fgFuzzPart(input));
    COmniLog log(0, "FUZZ", 1);
    log.fSetLogPath(FOLDER);
    if (log.fGetRecentLogFile("20240101") == 1)
        fgFuzzMust(strstr(log.m_pstrLogFile + strlen(FOLDER), "../") == nullptr, "a log is in its folder");
    std::string name(CFuzzText(input).fView().substr(0, NAME_MAX));
    std::replace(name.begin(), name.end(), '/', '_');
    const std::string path = FOLDER + name;
    if (name.empty() || name == "." || name == "..") return;
    fgFuzzWrite(path.c_str(), "");
    log.fOldLogFileCheck(1704067200);
    unlink(path.c_str());
}

constexpr FUZZ_READER READERS[] = {fRegions,  fModules,  fProcessors, fBandwidth, fDatastores,
                                   fDisks<2>, fDisks<4>, fInterfaces, fProcesses, fLogFiles};
const CFuzzTarget TARGET("scripts", [](std::string_view input) { fgFuzzDispatch(READERS, input); });
} // namespace
