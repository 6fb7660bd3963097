#pragma once

#include <ctime>
#include <string_view>

#include "collect/MM_INIT_Info.h"
#include "collect/SSUtil.h"
#include "lib/HostFile.h"
#include "lib/LogGate.h"

// Slots of the CPU arrays: 0 is the whole machine, 1 to 512 are the per-CPU lines of /proc/stat in their
// order.
constexpr int CPU_SLOTS = 513;

// Values of a slot, in this order in every array here: counters are clock ticks, shares are tenths of a
// percent.
enum CPU_VALUE
{
    CPU_SYSTEM,
    CPU_USER,
    CPU_IDLE,
    CPU_WAIT,
    CPU_NICE,
    CPU_VALUES
};

// Row output: the header, then "CPUS" with the percentages of the machine and "CPU1", ... with those of each
// CPU, two decimals each.
constexpr char HEADER_CPU[] = "NAME%sUSED%sUSER%sSYSTEM%sIOWAIT%sIDLE%s";
constexpr char PUSH_CODE_CPU[] = "4.3.24.0";

// Shares of CPU time between two samples of /proc/stat, of the machine and of each logical CPU; interrupts
// per second; the number of processors; the CPU inventory. With g_nCpuStrType 1 at construction, samples also
// build the text table m_pStrCpuTAQ, and the first sample only primes. One caller thread per object.
class CMM_CPU_Info : public CMM_INIT_Info
{
public:
    CMM_CPU_Info();
    ~CMM_CPU_Info();

    // Samples. Returns the shares of slot 0, with the other slots behind it; null when /proc/stat cannot be
    // read or has no total, and in row output on the first sample and when the total's idle share is no
    // percentage. Without row output the first sample's shares are those since boot. The caller frees
    // nothing; the next sample overwrites it.
    unsigned long long* fMGetCpu();

    // Per-CPU lines of the last sample. When there are none it samples first, and is 0 when that gives
    // nothing, as right after construction in row output. Push and alternate samples have none, so do not ask
    // behind these: the sample would cover next to no time.
    int fMGetNCpu();

    // The next per-CPU slot of the last sample, from slot 1 on; null behind the last.
    unsigned long long* fMGetCpuNext();

    unsigned long long fMGetCpuSys(); // shares of slot 0
    unsigned long long fMGetCpuUser();
    unsigned long long fMGetCpuIdle();
    unsigned long long fMGetCpuWio();

    float fGetUtilization();   // used percent of the machine in the last row; -1.0 before there is one
    float fGetLogicalCpuCnt(); // per-CPU lines of the last fMGetCpu

    // Interrupts per second since the call before, elapsed seconds apart, from the "intr" line of /proc/stat;
    // 0 on the first call and when the count fell. Null when the line cannot be had.
    double* fMGetCpuInterrupt(double elapsed);

    // Physical processors, by the script shell/LINUX/cpu_info. 0 when unknown. Only a first line of one or
    // two characters, a newline included, counts: kept, the script knows it.
    int fMGetPhyCpuCnt();

    // Samples the total alone and builds the push row m_pRealTimeStrCpuTAQ. Returns the shares of slot 0,
    // also on the first sample, which are those since boot; null when there is no total, its idle share is no
    // percentage or the object has no row buffers. It shares the previous counters of slot 0 with fMGetCpu,
    // and empties the other slots.
    unsigned long long* fMGetPushCpu();

    // Samples the total alone, without any text, as fMGetPushCpu does, emptying the other slots. Returns the
    // shares of slot 0, or null when there is no total.
    unsigned long long* fMAltGatherCpu();

    int fCpuChangeCheck(); // 1

    // Has the CPU inventory written: at once with mode 1, else by the command scheduler, with mode handed to
    // the command. 1, or -1 when the scheduler is missing or refuses.
    int fCommandINV(int mode);

    // Reads the inventory file m_strDataPath into m_pStrCpuINV: what follows the "|" of its record, the first
    // line with the key "VELKCPU" and without a lower-case letter. 1; -1 when there is none (an error line
    // says why) or no row output.
    int fGetCpuINV();
    int fINVFileRemove(); // removes the inventory file; 0, or -1 with errno set

    unsigned long long m_plOldCPU[CPU_SLOTS][CPU_VALUES]; // previous counters
    unsigned long long m_pnCPU[CPU_SLOTS][CPU_VALUES];    // shares of the last interval
    int m_nNCpu;     // per-CPU lines of the last sample when that was an fMGetCpu that gave shares; else 0
    int m_nCpuIndex; // cursor of fMGetCpuNext
    long m_plIntr;   // previous interrupt count; 0 before the first
    double m_pdIntr; // interrupts per second
    CSSUtil* m_pclUtil;
    char m_strLogMsg[LOG_SCRATCH_SIZE];
    char m_strSplit[2][4];
    char m_strPushSplit[2][4];
    int m_nCpuTAQCnt;   // rows of the last sample, the machine's included
    char* m_pStrCpuTAQ; // the table, null without row output
    int m_nCpuTAQSize;
    int m_nCpuINVCnt; // 1 when the last fGetCpuINV took an inventory
    char* m_pStrCpuINV;
    int m_nCpuINVSize;
    char m_strDataPath[512];
    int m_nTAQSkipChk; // 0 until the first row sample
    char* m_pRealTimeStrCpuTAQ;
    int m_nCpuTAQRealSize;
    time_t m_tOldTime;    // kept for the agent, zero here
    int m_nGatherCount;   // kept for the agent, zero here
    int* m_pnCpus;        // kept for the agent, null here
    float m_fUsed;        // used percent of the machine in the last row
    int m_nLogicalCpuCnt; // per-CPU lines parsed in the last fMGetCpu
    int m_nPushCpuCnt;    // rows of the last push sample

private:
    bool fReadStat();
    const char* fReadTotal();
    void fClearSample();
    const char* fSampleTotal();
    bool fAppendTotal(class CTextTable& table);
    void fAppendCpu(class CTextTable& table, int slot);

    CHostFile m_clStat{"/proc/stat"};
    char* m_pstrStat;     // text of /proc/stat, 64 KiB
    int m_nSlotsUsed = 0; // slots of m_pnCPU that a sample filled since they were cleared
};

// Percentages of one row.
struct ST_CPU_ROW
{
    float l_fUsed;
    float l_fUser;
    float l_fSystem;
    float l_fWait;
    float l_fIdle;
};

// Takes the counters of a line "cpu  4705 356 584 3699 23 ..." or "cpu3 ..." and returns where they end.
// kernelMinor is the second number of the kernel's release: below 5 the line has four columns.
const char* fgParseCpuLine(const char* line, int kernelMinor, unsigned long long (&counters)[CPU_VALUES]);

// Finds the total of all interrupts, the first number behind "intr ". false when there is none.
bool fgParseInterrupts(const char* stat, long& count);

// Turns shares into a row's percentages, not yet limited. waitIsUsed counts I/O wait as used. The row is
// complete also when false says that idle is no percentage.
bool fgComputeCpuRow(const unsigned long long (&shares)[CPU_VALUES], bool waitIsUsed, ST_CPU_ROW& row);
