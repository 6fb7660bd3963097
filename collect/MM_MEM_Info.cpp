#include "collect/MM_MEM_Info.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "driver/RunConfig.h"
#include "lib/HostFile.h"
#include "lib/KeyText.h"
#include "lib/Owners.h"
#include "lib/PlainNumbers.h"
#include "lib/ScriptOutput.h"
#include "lib/TextTable.h"

namespace
{
constexpr int FILE_SIZE = 4096;   // bytes of each kernel file that are read; what lies behind is not seen
constexpr int RESERVE_SIZE = 128; // of /proc/sys/vm/min_free_kbytes
constexpr int MODULE_LINE_SIZE = 256;

constexpr char COMMAND_MODULES[] = "../../utils/ETC/ShCmd 5 ./shell/LINUX/MemCntInfoLIN.sh";
constexpr char FILE_MODULES[] = "../aproc/shell/MemCntInfo.dat";

struct ST_MEM_KEY
{
    const char* l_strKey;
    std::optional<unsigned long> ST_MEM_TEXT::*l_pValue;
    bool l_bRequired;
};
constexpr ST_MEM_KEY MEM_KEYS[] = {
    {"MemTotal:", &ST_MEM_TEXT::l_ulTotal, true},
    {"MemFree:", &ST_MEM_TEXT::l_ulFree, true},
    {"Buffers:", &ST_MEM_TEXT::l_ulBuffers, true},
    {"Cached:", &ST_MEM_TEXT::l_ulCached, true}, // stands in front of SwapCached
    {"SReclaimable:", &ST_MEM_TEXT::l_ulReclaimable, false},
    {"MemAvailable:", &ST_MEM_TEXT::l_ulAvailable, false},
    {"Inactive(file):", &ST_MEM_TEXT::l_ulInactiveFile, false},
    {"Active(file):", &ST_MEM_TEXT::l_ulActiveFile, false},
};

float fShare(unsigned long part, unsigned long total)
{
    return static_cast<float>(part) / static_cast<float>(total) * 100;
}
} // namespace

CMM_MEM_Info::CMM_MEM_Info()
    : m_pulMEM{}, m_pulSWP{}, m_pclUtil(new CSSUtil), m_nMemCnt(0), m_pnMemCnt(nullptr), m_strCurrentPath{},
      m_nMemFreeFlag(MEM_FREE_MEMFREE | MEM_FREE_BUFFERS | MEM_FREE_CACHED), m_nMemTAQSize(MEM_PUSH_SIZE),
      m_pStrMemoryTAQ(nullptr), m_pStrRealTimeMemTAQ(fgNewTableBuffer(MEM_PUSH_SIZE))
{
    fgSetSeparators(m_strSplit, m_strPushSplit);
}

CMM_MEM_Info::~CMM_MEM_Info()
{
    fFreeMemCnt();
    delete m_pclUtil;
    free(m_pStrRealTimeMemTAQ);
}

int CMM_MEM_Info::fSetMemFreeFlag(int bits)
{
    m_nMemFreeFlag = bits;
    return 0;
}

CMM_MEM_Info* CMM_MEM_Info::fMGetMem()
{
    char text[FILE_SIZE];
    ST_MEM_TEXT mem;
    if (m_clMeminfo.fRead(text, sizeof(text)) <= 0 || !fgParseMemInfo(text, mem)) return nullptr;
    fStoreMemory(mem);
    return this;
}

unsigned long* CMM_MEM_Info::fMGetSwap()
{
    char meminfo[FILE_SIZE];
    char stat[FILE_SIZE];
    if (m_clMeminfo.fRead(meminfo, sizeof(meminfo)) <= 0 || m_clStat.fRead(stat, sizeof(stat)) <= 0)
        return nullptr;
    if (strstr(meminfo, "Swap:") == nullptr) return fTakeSwap(meminfo);
    return fgParseOldSwap(meminfo, stat, m_pulSWP) ? m_pulSWP : nullptr;
}

unsigned long* CMM_MEM_Info::fMGetSwap_k2_6()
{
    char meminfo[FILE_SIZE];
    return m_clMeminfo.fRead(meminfo, sizeof(meminfo)) <= 0 ? nullptr : fTakeSwap(meminfo);
}

unsigned long CMM_MEM_Info::fMGetTotMem()
{
    return m_pulMEM[MEM_TOTAL];
}
unsigned long CMM_MEM_Info::fMGetUsdMem()
{
    return m_pulMEM[MEM_USED];
}
unsigned long CMM_MEM_Info::fMGetFreMem()
{
    return m_pulMEM[MEM_FREE];
}
unsigned long CMM_MEM_Info::fMGetTotSwap()
{
    return m_pulSWP[SWP_TOTAL];
}
unsigned long CMM_MEM_Info::fMGetUsdSwap()
{
    return m_pulSWP[SWP_USED];
}
unsigned long CMM_MEM_Info::fMGetFreSwap()
{
    return m_pulSWP[SWP_FREE];
}

int* CMM_MEM_Info::fMGetMemCnt()
{
    fgRunShell(COMMAND_MODULES);
    const COwnedStream file(fopen(FILE_MODULES, "re"));
    if (file == nullptr) return nullptr;
    int* modules = static_cast<int*>(calloc(MEM_MODULES, sizeof(int)));
    if (modules == nullptr) return nullptr;
    fFreeMemCnt();
    m_pnMemCnt = modules;
    m_nMemCnt = 0;
    char line[MODULE_LINE_SIZE];
    while (m_nMemCnt < MEM_MODULES && fgets(line, sizeof(line), file.get()) != nullptr) {
        const int size = static_cast<int>(strtol(line, nullptr, 10));
        if (size > 0) m_pnMemCnt[m_nMemCnt++] = size;
    }
    return m_pnMemCnt;
}

int CMM_MEM_Info::fMGetMemTotCnt()
{
    return m_nMemCnt;
}

void CMM_MEM_Info::fFreeMemCnt()
{
    free(m_pnMemCnt);
    m_pnMemCnt = nullptr;
}

int CMM_MEM_Info::fMGetMinFreePara(unsigned long long* kb)
{
    char line[RESERVE_SIZE];
    if (fgReadHostFile("/proc/sys/vm/min_free_kbytes", line, sizeof(line)) < 0) return -1;
    line[strcspn(line, "\n")] = '\0';
    if (line[0] == '\0' || strpbrk(line, "abcdefghijklmnopqrstuvwxyz") != nullptr) return -1;
    *kb = strtoull(line, nullptr, 10);
    return 0;
}

unsigned long long CMM_MEM_Info::fMGetMin(unsigned long long a, unsigned long long b)
{
    return std::min(a, b);
}

int CMM_MEM_Info::fPushGatherMem()
{
    if (fMGetMem() == nullptr) return 1;
    const float used = fShare(m_pulMEM[MEM_USED], m_pulMEM[MEM_TOTAL]);
    // Asked this way round, so that the not-a-number of a machine without memory gets its row.
    if (used < 0 || used > 100) return 1;
    fWritePush(used, fShare(m_pulMEM[MEM_CACHED], m_pulMEM[MEM_TOTAL]));
    return 1;
}

char* CMM_MEM_Info::fGetRealTimeStrMemTAQ()
{
    return m_pStrRealTimeMemTAQ;
}

void CMM_MEM_Info::fStoreMemory(const ST_MEM_TEXT& mem)
{
    const auto counted = [this](MEM_FREE_BIT bit, unsigned long size) {
        return (m_nMemFreeFlag & bit) != 0 ? size : 0;
    };
    const unsigned long free = counted(MEM_FREE_MEMFREE, *mem.l_ulFree);
    const unsigned long reclaimable = mem.l_ulReclaimable.value_or(0);
    const unsigned long slab = counted(MEM_FREE_RECLAIMABLE, reclaimable);
    m_pulMEM[MEM_TOTAL] = *mem.l_ulTotal;
    m_pulMEM[MEM_BUFFERS] = *mem.l_ulBuffers;
    m_pulMEM[MEM_CACHED] = *mem.l_ulCached + slab;
    m_pulMEM[MEM_RECLAIMABLE] = reclaimable;
    m_pulMEM[MEM_FREE] =
        free + counted(MEM_FREE_BUFFERS, *mem.l_ulBuffers) + counted(MEM_FREE_CACHED, *mem.l_ulCached) + slab;
    m_pulMEM[MEM_USED] = m_pulMEM[MEM_TOTAL] - m_pulMEM[MEM_FREE];
    // The estimate starts from the term of the free sum, so without its bit free memory is not available
    // either: kept.
    m_pulMEM[MEM_AVAILABLE] = mem.l_ulAvailable ? *mem.l_ulAvailable : fAvailable(mem, free);
}

unsigned long CMM_MEM_Info::fAvailable(const ST_MEM_TEXT& mem, unsigned long free)
{
    unsigned long long reserve = 0;
    if (!mem.l_ulInactiveFile || !mem.l_ulActiveFile || fMGetMinFreePara(&reserve) != 0)
        return MEM_NO_ESTIMATE;
    return fgEstimateAvailable(free, reserve, *mem.l_ulInactiveFile + *mem.l_ulActiveFile,
                               mem.l_ulReclaimable.value_or(0));
}

// From a text of /proc/meminfo and a fresh one of /proc/vmstat.
unsigned long* CMM_MEM_Info::fTakeSwap(const char* meminfo)
{
    char vmstat[FILE_SIZE];
    if (m_clVmstat.fRead(vmstat, sizeof(vmstat)) <= 0) return nullptr;
    return fgParseSwap(meminfo, vmstat, m_pulSWP) ? m_pulSWP : nullptr;
}

void CMM_MEM_Info::fWritePush(float usedPercent, float cachedPercent)
{
    if (m_pStrRealTimeMemTAQ == nullptr) return;
    const auto size = static_cast<size_t>(m_nMemTAQSize);
    const char* open = m_strPushSplit[0];
    const char* close = m_strPushSplit[1];
    const auto kb = [this](MEM_VALUE value) { return static_cast<unsigned long long>(m_pulMEM[value]); };
    const CPlainNumbers plain;
    memset(m_pStrRealTimeMemTAQ, 0, size);
    snprintf(m_pStrRealTimeMemTAQ, size, PUSH_MEM, fgAgentKey(), open, "4.4.1.0", close, kb(MEM_TOTAL), close,
             open, "4.4.3.0", close, kb(MEM_USED), close, open, "4.4.4.0", close, kb(MEM_FREE), close, open,
             "4.4.12.0", close, kb(MEM_BUFFERS), close, open, "4.4.13.0", close, kb(MEM_CACHED), close, open,
             "4.4.5.0", close, static_cast<double>(usedPercent), close, open, "4.4.24.0", close,
             static_cast<double>(cachedPercent), close);
}

bool fgParseMemInfo(const char* meminfo, ST_MEM_TEXT& mem)
{
    for (const ST_MEM_KEY& key : MEM_KEYS) {
        unsigned long value = 0;
        if (fgFindNumber(meminfo, key.l_strKey, value))
            mem.*key.l_pValue = value;
        else if (key.l_bRequired)
            return false;
    }
    return true;
}

unsigned long fgEstimateAvailable(unsigned long free, unsigned long reserve, unsigned long pageCache,
                                  unsigned long reclaimable)
{
    const unsigned long low = reserve * 5 / 4;
    return free - low + pageCache - std::min(pageCache / 2, low) + reclaimable -
           std::min(reclaimable / 2, low);
}

bool fgParseOldSwap(const char* meminfo, const char* stat, unsigned long (&swap)[SWP_VALUES])
{
    unsigned long bytes[3];
    unsigned long pages[2];
    if (!fgFindNumbers(meminfo, "Swap:", bytes) || !fgFindNumbers(stat, "swap", pages)) return false;
    const unsigned long values[] = {bytes[0] >> 10, bytes[1] >> 10, bytes[2] >> 10, pages[0], pages[1]};
    std::copy(std::begin(values), std::end(values), swap);
    return true;
}

bool fgParseSwap(const char* meminfo, const char* vmstat, unsigned long (&swap)[SWP_VALUES])
{
    unsigned long total = 0;
    unsigned long free = 0;
    unsigned long in = 0;
    unsigned long out = 0;
    if (!fgFindNumber(meminfo, "SwapTotal:", total) || !fgFindNumber(meminfo, "SwapFree:", free) ||
        !fgFindNumber(vmstat, "pswpin ", in) || !fgFindNumber(vmstat, "pswpout ", out))
        return false;
    const unsigned long values[] = {total, total - free, free, in, out};
    std::copy(std::begin(values), std::end(values), swap);
    return true;
}
