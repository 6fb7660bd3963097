#include "collect/MM_VM_Info.h"

#include <cctype>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "collect/MM_LA_Info.h"
#include "driver/RunConfig.h"
#include "lib/FixedText.h"
#include "lib/HostFile.h"
#include "lib/KeyText.h"
#include "lib/NumberText.h"
#include "lib/PlainNumbers.h"
#include "lib/TextTable.h"

namespace
{
constexpr int LOADAVG_SIZE = 8192;   // bytes of these files that are read
constexpr int VMSTAT_SIZE = 8192;    // the kernel hands out at most a page of it in one read
constexpr int PROC_STAT_SIZE = 8192; // of each process
constexpr int STAT_SIZE = 0x10000;   // first size for /proc/stat, which is read as a whole
constexpr int STAT_MOST = 1 << 26;   // more than any kernel has; what lies behind is not seen

constexpr char FORMAT_PROC_FAULTS[] =
    "%*d %*s %*s %*d %*d %*d %*d %*d %*u %lu %*u %lu %*u %*u %*u %*u %*u %*d %*d %*u %*u %*d %*u %*u %*u %*u "
    "%*u %*u %*u %*u %*u %*u %*u %*u %*u %*u %*u %*u %*u\n";

// Where the numbers behind a key land.
struct ST_VM_KEY
{
    const char* l_strKey;
    int l_nNumbers;
    VM_VALUE l_anSlot[2];
};
constexpr ST_VM_KEY OLD_STAT_KEYS[] = {
    {"page ", 2, {VM_PAGE_INS, VM_PAGE_OUTS}},
    {"swap ", 2, {VM_SWAPPED_IN, VM_SWAPPED_OUT}},
    {"ctxt ", 1, {VM_SWITCHES}},
};
constexpr ST_VM_KEY VMSTAT_KEYS[] = {
    {"pgpgin ", 1, {VM_PAGED_IN_KB}},  {"pgpgout ", 1, {VM_PAGED_OUT_KB}}, {"pswpin ", 1, {VM_SWAPPED_IN}},
    {"pswpout ", 1, {VM_SWAPPED_OUT}}, {"pgfault ", 1, {VM_FAULTS}},
};
constexpr ST_VM_KEY STAT_KEYS[] = {{"ctxt ", 1, {VM_SWITCHES}}};

template <size_t N> bool fTakeKeys(const char* text, const ST_VM_KEY (&keys)[N], int base, long* raw)
{
    for (const ST_VM_KEY& key : keys) {
        unsigned long numbers[2];
        if (!fgFindNumbers(text, key.l_strKey, numbers, base)) return false;
        for (int i = 0; i < key.l_nNumbers; i++)
            raw[key.l_anSlot[i]] = static_cast<long>(numbers[i]);
    }
    return true;
}

// Kilobytes divided by the page size and taken times 1024. That converts nothing into anything, yet what is
// stored downstream was scaled so, and a conversion would break every series.
long fScaledPages(long kilobytes, long pageSize)
{
    const long scaled = kilobytes / pageSize * 1024;
    return scaled < 0 ? 0 : scaled;
}
} // namespace

CMM_VM_Info::CMM_VM_Info()
    : m_pclUtil(new CSSUtil), m_nFirstFlag(0), m_pdVM{}, m_pdPAGE_AVG{}, m_plOldVM{},
      m_pStrRealTimePageTAQ(fgNewTableBuffer(VM_PUSH_SIZE)), m_nGatherCount(0),
      m_nPageRealTAQSize(VM_PUSH_SIZE), m_dElapsedTime(0.0), m_stOldIoTime{},
      m_pstrStat(fgNewTableBuffer(STAT_SIZE)), m_nStatSize(STAT_SIZE)
{
    fSetElapsedTime();
    fgCopyText(m_strPushSplit[0], SEPARATOR_PUSH_ROW);
    fgCopyText(m_strPushSplit[1], SEPARATOR_PUSH_FIELD);
}

CMM_VM_Info::~CMM_VM_Info()
{
    delete m_pclUtil;
    free(m_pStrRealTimePageTAQ);
}

double* CMM_VM_Info::fMGetVmStat(double elapsedSeconds)
{
    long raw[VM_VALUES] = {};
    int steps[VM_VALUES] = {};
    if (fMGetStat(raw) == 0 || fMGetRunque(raw) == 0) return nullptr;
    m_pclUtil->fGetAddition(VM_VALUES, steps, raw, m_plOldVM);
    m_pdVM[VM_RUN_QUEUE] = static_cast<double>(raw[VM_RUN_QUEUE]);
    for (int i = VM_RUN_QUEUE + 1; i < VM_VALUES; i++)
        m_pdVM[i] = steps[i] > 0 ? steps[i] / elapsedSeconds : 0.0;
    if (m_nFirstFlag == 0) {
        m_nFirstFlag = 1;
        return nullptr;
    }
    return m_pdVM;
}

double* CMM_VM_Info::fMTarnisGetPage(int makeRow)
{
    fSetElapsedTime();
    double* rates = fMGetVmStat(m_dElapsedTime);
    if (rates != nullptr && makeRow >= 1) fWritePush();
    return rates;
}

int CMM_VM_Info::fMGetRunque(long* raw)
{
    char text[LOADAVG_SIZE];
    int queue = 0;
    if (m_clLoadavg.fRead(text, sizeof(text)) < 1 || !fgParseRunQueue(text, queue)) return 0;
    raw[VM_RUN_QUEUE] = queue;
    return 1;
}

int CMM_VM_Info::fMGetTarnisRunque()
{
    long raw[VM_VALUES] = {};
    return fMGetRunque(raw) == 0 ? 0 : static_cast<int>(raw[VM_RUN_QUEUE]);
}

int CMM_VM_Info::fMGetStat(long* raw)
{
    if (!fReadStat()) return 0;
    if (strstr(m_pstrStat.get(), "page ") == nullptr) return fTakeVmstat(raw);
    if (!fgParseVmOldStat(m_pstrStat.get(), raw)) return 0;
    const auto kilobytes = [this](long pages) {
        return static_cast<long>(m_pclUtil->fPage2k(static_cast<unsigned long>(pages)));
    };
    raw[VM_PAGED_IN_KB] = kilobytes(raw[VM_PAGE_INS]);
    raw[VM_PAGED_OUT_KB] = kilobytes(raw[VM_PAGE_OUTS]);
    return fMGetPageFault(raw);
}

int CMM_VM_Info::fMGetStat_k2_6(long* raw)
{
    return fReadStat() ? fTakeVmstat(raw) : 0;
}

// The sum is that of the living, so it falls when a process with many faults ends.
int CMM_VM_Info::fMGetPageFault(long* raw)
{
    const COwnedDir proc = fgOpenHostDir("/proc");
    if (proc == nullptr) return 0;
    unsigned long sum = 0;
    while (const dirent* entry = readdir(proc.get()))
        if (isdigit(static_cast<unsigned char>(entry->d_name[0]))) sum += fReadFaults(entry->d_name);
    raw[VM_FAULTS] = static_cast<long>(sum);
    return 1;
}

int CMM_VM_Info::fSetElapsedTime()
{
    timeval now = {};
    gettimeofday(&now, nullptr);
    m_dElapsedTime = fgElapsedSeconds(m_stOldIoTime, now);
    m_stOldIoTime = now;
    return 1;
}

char* CMM_VM_Info::fGetRealTimeStrPageTAQ()
{
    return m_pStrRealTimePageTAQ;
}

// The kernel hands out /proc/stat in one piece (fs/proc/stat.c), so one read shows whether it fits. It is
// read as a whole because "ctxt" stands behind the interrupts, which fill 64 KiB on large machines.
bool CMM_VM_Info::fReadStat()
{
    if (m_pstrStat == nullptr) return false;
    ssize_t length = 0;
    do
        length = m_clStat.fRead(m_pstrStat.get(), static_cast<size_t>(m_nStatSize));
    while (length == m_nStatSize - 1 && fGrowStat());
    return length > 0;
}

bool CMM_VM_Info::fGrowStat()
{
    if (m_nStatSize >= STAT_MOST) return false;
    COwnedText grown(fgNewTableBuffer(m_nStatSize * 2));
    if (grown == nullptr) return false;
    m_pstrStat = std::move(grown);
    m_nStatSize *= 2;
    return true;
}

// From /proc/vmstat and the text of /proc/stat that was read before.
int CMM_VM_Info::fTakeVmstat(long* raw)
{
    char vmstat[VMSTAT_SIZE];
    if (m_clVmstat.fRead(vmstat, sizeof(vmstat)) <= 0) return 0;
    return fgParseVmStat(vmstat, m_pstrStat.get(), getpagesize(), raw) ? 1 : 0;
}

// Faults of one process; 0 when it vanished or its line has another form.
unsigned long CMM_VM_Info::fReadFaults(const char* pid)
{
    char path[sizeof("/proc//stat") + NAME_MAX];
    char text[PROC_STAT_SIZE];
    unsigned long minor = 0;
    unsigned long major = 0;
    snprintf(path, sizeof(path), "/proc/%s/stat", pid);
    if (fgReadHostFile(path, text, sizeof(text)) <= 0 || !fgParseProcFaults(text, minor, major)) return 0;
    return minor + major;
}

void CMM_VM_Info::fWritePush()
{
    if (m_pStrRealTimePageTAQ == nullptr) return;
    const auto size = static_cast<size_t>(m_nPageRealTAQSize);
    const char* open = m_strPushSplit[0];
    const char* close = m_strPushSplit[1];
    const CPlainNumbers plain;
    memset(m_pStrRealTimePageTAQ, 0, size);
    snprintf(m_pStrRealTimePageTAQ, size, PUSH_VM, fgAgentKey(), open, "4.9.1.0", close,
             m_pdVM[VM_PAGED_IN_KB], close, open, "4.9.2.0", close, m_pdVM[VM_PAGED_OUT_KB], close, open,
             "4.9.5.0", close, m_pdVM[VM_FAULTS], close, open, "4.9.6.0", close, m_pdVM[VM_SWITCHES], close,
             open, "4.9.11.0", close, m_pdVM[VM_PAGE_INS], close, open, "4.9.12.0", close,
             m_pdVM[VM_PAGE_OUTS], close);
}

bool fgParseRunQueue(const char* loadavg, int& queue)
{
    CNumberScan scan(loadavg);
    int whole = 0;
    int hundredths = 0;
    for (int i = 0; i < LOAD_AVERAGES; i++)
        if (!scan.fPair(whole, '.', hundredths)) return false;
    int running = 0;
    int all = 0;
    if (!scan.fPair(running, '/', all)) return false;
    queue = running < 1 ? 0 : running - 1;
    return true;
}

bool fgParseVmOldStat(const char* stat, long* raw)
{
    constexpr int ANY_BASE = 0;
    return fTakeKeys(stat, OLD_STAT_KEYS, ANY_BASE, raw);
}

bool fgParseVmStat(const char* vmstat, const char* stat, long pageSize, long* raw)
{
    unsigned long major = 0;
    if (!fTakeKeys(vmstat, VMSTAT_KEYS, 10, raw) || !fgFindNumber(vmstat, "pgmajfault ", major) ||
        !fTakeKeys(stat, STAT_KEYS, 10, raw))
        return false;
    raw[VM_FAULTS] = static_cast<long>(static_cast<unsigned long>(raw[VM_FAULTS]) + major);
    raw[VM_PAGE_INS] = fScaledPages(raw[VM_PAGED_IN_KB], pageSize);
    raw[VM_PAGE_OUTS] = fScaledPages(raw[VM_PAGED_OUT_KB], pageSize);
    return true;
}

bool fgParseProcFaults(const char* text, unsigned long& minor, unsigned long& major)
{
    return sscanf(text, FORMAT_PROC_FAULTS, &minor, &major) == 2;
}
