#pragma once

#include <optional>

#include "collect/MM_INIT_Info.h"
#include "collect/SSUtil.h"

// Slots of the memory array, kilobytes.
enum MEM_VALUE
{
    MEM_TOTAL,
    MEM_USED, // total less free
    MEM_FREE, // by the bits of m_nMemFreeFlag
    MEM_BUFFERS,
    MEM_CACHED,
    MEM_RECLAIMABLE, // slab
    MEM_AVAILABLE,   // the kernel's figure, else an estimate, else MEM_NO_ESTIMATE
    MEM_VALUES
};

// Slots of the swap array.
enum SWP_VALUE
{
    SWP_TOTAL, // kilobytes
    SWP_USED,
    SWP_FREE,
    SWP_IN, // pages since boot
    SWP_OUT,
    SWP_VALUES
};

// What counts as free memory.
enum MEM_FREE_BIT
{
    MEM_FREE_MEMFREE = 1,
    MEM_FREE_BUFFERS = 2,
    MEM_FREE_CACHED = 4,
    MEM_FREE_RECLAIMABLE = 8 // reclaimable slab, which then also counts as cached
};

constexpr unsigned long MEM_NO_ESTIMATE = 888888888; // kilobytes: available memory cannot be told
constexpr int MEM_MODULES = 128;                     // entries of the module array
constexpr int MEM_PUSH_SIZE = 512;                   // bytes of the push row, terminator included

// The push row: the agent's key, then for each metric push row, code, push field, value, push field.
constexpr char PUSH_MEM[] =
    "%s%s%s%s%llu%s%s%s%s%llu%s%s%s%s%llu%s%s%s%s%llu%s%s%s%s%llu%s%s%s%s%.2f%s%s%s%s%.2f%s";

// Memory and swap as they are now, from /proc/meminfo, /proc/vmstat and /proc/stat, and the sizes of the
// memory modules by a script. Nothing is logged. One caller thread per object.
class CMM_MEM_Info : public CMM_INIT_Info
{
public:
    CMM_MEM_Info();
    ~CMM_MEM_Info();

    // Chooses what counts as free, MEM_FREE_BITs; 7, all but reclaimable slab, after construction. Returns 0.
    int fSetMemFreeFlag(int bits);

    // Reads the memory into m_pulMEM. Returns the object; null when /proc/meminfo cannot be read or lacks
    // MemTotal, MemFree, Buffers or Cached, and the figures stay as they were.
    CMM_MEM_Info* fMGetMem();

    // Reads the swap into m_pulSWP and returns it, the collector's; null when a file cannot be read or lacks
    // a key, and the figures stay as they were. The second reads the form of later kernels alone, the first
    // chooses it unless /proc/meminfo has a line "Swap:".
    unsigned long* fMGetSwap();
    unsigned long* fMGetSwap_k2_6();

    unsigned long fMGetTotMem(); // kilobytes of the last read; 0 before it
    unsigned long fMGetUsdMem();
    unsigned long fMGetFreMem();
    unsigned long fMGetTotSwap();
    unsigned long fMGetUsdSwap();
    unsigned long fMGetFreSwap();

    // Runs the script shell/LINUX/MemCntInfoLIN.sh, for at most 5 seconds, and takes the sizes of the
    // modules, megabytes as the script gives them, from its file. Returns the array m_pnMemCnt, MEM_MODULES
    // entries with zeros behind the last module; null when the file cannot be opened or there is no memory,
    // and array and count stay those of the call before. The array is the collector's, until the next call or
    // fFreeMemCnt.
    int* fMGetMemCnt();
    int fMGetMemTotCnt(); // modules of the last fMGetMemCnt; look at its array first
    void fFreeMemCnt();   // frees the array and nulls the pointer; the count stays

    // Reads the kernel's minimum free reserve, /proc/sys/vm/min_free_kbytes, kilobytes. 0; -1 when the file
    // cannot be read, its line is empty or holds a lower-case letter: kb is as it was then.
    int fMGetMinFreePara(unsigned long long* kb);
    unsigned long long fMGetMin(unsigned long long a, unsigned long long b); // the smaller

    // Reads the memory and writes the push row. Always 1; without a sample, or when the used share is no
    // percentage, the row stays that of before.
    int fPushGatherMem();
    char* fGetRealTimeStrMemTAQ(); // the push row; empty before the first, the collector's

    unsigned long m_pulMEM[MEM_VALUES];
    unsigned long m_pulSWP[SWP_VALUES];
    CSSUtil* m_pclUtil;
    int m_nMemCnt;              // modules of the last fMGetMemCnt
    int* m_pnMemCnt;            // their sizes, MEM_MODULES entries from calloc; null before the first
    char m_strCurrentPath[256]; // kept for the agent, empty here
    int m_nMemFreeFlag;
    int m_nMemTAQSize;          // MEM_PUSH_SIZE
    char* m_pStrMemoryTAQ;      // kept for the agent, null here
    char* m_pStrRealTimeMemTAQ; // push row, MEM_PUSH_SIZE bytes
    char m_strSplit[2][4];
    char m_strPushSplit[2][4];

private:
    void fStoreMemory(const struct ST_MEM_TEXT& mem);
    unsigned long fAvailable(const ST_MEM_TEXT& mem, unsigned long free);
    unsigned long* fTakeSwap(const char* meminfo);
    void fWritePush(float usedPercent, float cachedPercent);
};

// Lines of /proc/meminfo, kilobytes; those that a kernel may lack have no value then.
struct ST_MEM_TEXT
{
    std::optional<unsigned long> l_ulTotal, l_ulFree, l_ulBuffers, l_ulCached, l_ulReclaimable, l_ulAvailable,
        l_ulInactiveFile, l_ulActiveFile;
};

// Takes the lines of "MemTotal:       24684096 kB ...". false when one of the first four is missing.
bool fgParseMemInfo(const char* meminfo, ST_MEM_TEXT& mem);

// The kernel's own estimate of available memory (mm/show_mem.c, si_mem_available), for kernels that do not
// print it: what is free above the low watermark, with page cache and reclaimable slab, each less half of
// itself or the watermark, whichever is smaller. Kilobytes, unsigned throughout: it wraps where the watermark
// exceeds all else.
unsigned long fgEstimateAvailable(unsigned long free, unsigned long reserve, unsigned long pageCache,
                                  unsigned long reclaimable);

// Takes the swap of kernels before 2.5: "Swap:" of /proc/meminfo, in bytes, and "swap" of /proc/stat; and of
// later kernels: SwapTotal and SwapFree, and "pswpin" and "pswpout" of /proc/vmstat. false when a key is
// missing, and nothing was stored.
bool fgParseOldSwap(const char* meminfo, const char* stat, unsigned long (&swap)[SWP_VALUES]);
bool fgParseSwap(const char* meminfo, const char* vmstat, unsigned long (&swap)[SWP_VALUES]);
