#pragma once

#include <sys/time.h>

#include "collect/MM_INIT_Info.h"
#include "collect/SSUtil.h"
#include "lib/HostFile.h"
#include "lib/Owners.h"

// Slots of the VM arrays; counters are since boot, results are per second. The slots between stay 0.
enum VM_VALUE
{
    VM_RUN_QUEUE = 0,    // processes running now but the reader itself; a level, no rate
    VM_PAGED_IN_KB = 2,  // kilobytes read from block devices
    VM_PAGED_OUT_KB = 3, // kilobytes written to them
    VM_SWAPPED_IN = 4,   // pages
    VM_SWAPPED_OUT = 5,  // pages
    VM_FAULTS = 7,       // page faults, minor and major
    VM_SWITCHES = 9,     // context switches
    VM_PAGE_INS = 12,    // taken as pages before 2.5; later a fixed share of the kilobytes
    VM_PAGE_OUTS = 13,
    VM_VALUES
};

constexpr int VM_PUSH_SIZE = 512; // bytes of the push row, terminator included

// The push row: the agent's key, then for each metric push row, code, push field, value, push field.
constexpr char PUSH_VM[] = "%s%s%s%s%.2f%s%s%s%s%.2f%s%s%s%s%.2f%s%s%s%s%.2f%s%s%s%s%.2f%s%s%s%s%.2f%s";

// Paging, swapping, page faults and context switches per second since the sample before, from /proc/vmstat
// and /proc/stat; from /proc/stat and the processes on kernels before 2.5, told by a "page " line. The first
// complete sample only primes; a failed one leaves counters and rates alone. A counter that fell gives 0.0.
// Nothing is logged. One caller thread per object.
class CMM_VM_Info : public CMM_INIT_Info
{
public:
    CMM_VM_Info();
    ~CMM_VM_Info();

    // Samples. elapsedSeconds since the sample before is the caller's. Returns m_pdVM by VM_VALUE, the
    // collector's, overwritten by the next sample; null when a source is missing, and on the first complete
    // sample.
    double* fMGetVmStat(double elapsedSeconds);

    // Samples over the time since the call before, or since construction, by the wall clock. With makeRow 1
    // or more and a result it also writes the push row, cut at its buffer. Returns as fMGetVmStat does.
    double* fMTarnisGetPage(int makeRow);

    // Readers of one sample into raw, VM_VALUES counters that the caller zeroed. 1; 0 when a file or a key is
    // missing, and raw is in part filled then.
    int fMGetRunque(long* raw);
    int fMGetStat(long* raw);      // all but the run queue; chooses between the two below
    int fMGetStat_k2_6(long* raw); // from /proc/vmstat, and "ctxt " of /proc/stat
    int fMGetPageFault(long* raw); // the faults alone, summed over the processes; 0 without /proc

    int fMGetTarnisRunque(); // the run queue; 0 when it cannot be had

    // Seconds since the call before, by the wall clock, into m_dElapsedTime. Returns 1.
    int fSetElapsedTime();
    char* fGetRealTimeStrPageTAQ(); // the push row; empty before the first, the collector's

    CSSUtil* m_pclUtil;
    int m_nFirstFlag;               // 1 once a complete sample primed
    double m_pdVM[VM_VALUES];       // results
    double m_pdPAGE_AVG[VM_VALUES]; // kept for the agent, zero here
    long m_plOldVM[VM_VALUES];      // previous counters
    char* m_pStrRealTimePageTAQ;    // push row, VM_PUSH_SIZE bytes
    int m_nGatherCount;             // kept for the agent, zero here
    int m_nPageRealTAQSize;         // VM_PUSH_SIZE
    double m_dElapsedTime;          // seconds between the last two fSetElapsedTime
    timeval m_stOldIoTime;          // of the last fSetElapsedTime
    char m_strPushSplit[2][4];

private:
    bool fReadStat();
    bool fGrowStat();
    int fTakeVmstat(long* raw);
    unsigned long fReadFaults(const char* pid);
    void fWritePush();

    CHostFile m_clStat{"/proc/stat"};
    CHostFile m_clVmstat{"/proc/vmstat"};
    CHostFile m_clLoadavg{"/proc/loadavg"};
    COwnedText m_pstrStat; // text of /proc/stat
    int m_nStatSize;       // bytes of its buffer
};

// Takes the run queue of "0.05 0.10 0.15 3/80 1234": 2, what runs without the reader itself, not below 0. On
// false nothing was stored.
bool fgParseRunQueue(const char* loadavg, int& queue);

// Takes the counters of kernels before 2.5 out of /proc/stat: the slots 12, 13, 4, 5 and 9. false when a key
// is missing.
bool fgParseVmOldStat(const char* stat, long* raw);

// Takes the counters of later kernels. pageSize is in bytes, 1024 or more. false when a key is missing.
bool fgParseVmStat(const char* vmstat, const char* stat, long pageSize, long* raw);

// Takes minor and major faults of a /proc/PID/stat of old kernels. On false minor may have been stored.
bool fgParseProcFaults(const char* text, unsigned long& minor, unsigned long& major);
