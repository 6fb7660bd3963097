#pragma once

#include <ctime>
#include <dirent.h>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <sys/time.h>

#include "collect/MM_INIT_Info.h"
#include "collect/ProcFiles.h"
#include "collect/SSUser.h"
#include "collect/SSUtil.h"
#include "lib/LogGate.h"
#include "lib/Owners.h"

// Raw fields of one process as its files give them; one work record serves a whole pass. Fields without a
// source in the comments are kept for the agent and never filled.
struct proc_s
{
    char user[10];
    char cmd[40];  // name from stat, cut at 39 characters
    char args[64]; // command line, by fMCmdline2Proc
    char state;
    char ttyc[5];
    char** environ;
    char** cmdline;
    int uid; // owner of /proc/PID
    int pid, ppid, pgrp, session, tty, tpgid, priority, nice;
    long long signal, blocked, sigignore, sigcatch; // hexadecimal in stat
    long start_time, utime, stime, cutime, cstime;  // clock ticks
    long size, resident, share, trs, lrs, drs, dt;  // statm, pages
    unsigned long long io_rchar, io_wchar, io_syscr, io_syscw;
    unsigned long long io_read, io_write; // bytes that reached the disks, from io
    unsigned long long io_cancle_write;
    unsigned int pcpu;
    unsigned long vsize; // bytes
    unsigned long rss;   // pages
    unsigned long rss_rlim, num_threads, it_real_value, flags, min_flt, maj_flt, cmin_flt, cmaj_flt,
        start_code, end_code, start_stack, kstk_esp, kstk_eip, wchan;
};

// One finished process. Percentages are of one CPU over the interval between two passes.
struct _ST_PROC
{
    char l_strPname[PROC_NAME_SIZE]; // command line, or "[name]" of a process without one
    char l_strUname[33];             // owner's name
    char l_strCTime[22];             // CPU time as text
    char l_strStart[22];             // local start time as text
    char l_strFName[65];             // executable's name
    int l_nPid, l_nPPid;
    int l_nNice, l_nPriority;
    char l_chStatus;       // S, R, T, Z or ?
    unsigned long l_ulVSZ; // KB
    unsigned long l_ulRSS; // KB
    float l_dPCPU;
    float l_dPMEM; // resident share of the memory, percent
    int l_nThreads;
    int l_nCTime;           // user + system ticks
    int l_nUTime, l_nSTime; // ticks
    int l_nStart;           // seconds since the epoch
    int l_nIsUpNow;         // 1 once the record is complete
    int l_uPSid;            // session, printed as "APPID"
    double l_dPUserCpu, l_dPSysCpu;
    double l_dIOByte;     // KB read and written in the interval
    double l_dIOByteRate; // l_dIOByte over the interval in hundredths of a second
    double l_dIOByteCom;  // KB read and written since the process started
};

// Previous sample of one process.
struct _ST_PROC_OLD_LIST
{
    pid_t m_nPid;
    int m_fOldCpuTime;     // ticks
    int m_fOldUserCpuTime; // ticks
    int m_fOldSysCpuTime;  // ticks
    double m_dIOByteCom;   // KB
    double m_dCurTime;     // never set
    int m_nDelFlag;        // 1 each time the entry is written
};

using CProcMap = std::map<int, std::unique_ptr<_ST_PROC_OLD_LIST>>; // previous samples by pid

struct ST_PROCALL_LIST; // kept for the agent

// Row layouts, chosen by g_nExecedFileNameFlag and g_nProcExtendFlag.
constexpr char HEADER_PROC[] =
    "INDEX%sPID%sARGS%sPCPU%sPMEM%sVSZ%sRSS%sSTAT%sNICE%sPPID%sUSER%sSTIME%sCTIME%sTHCNT%s";
constexpr char HEADER_PROC_FILE[] =
    "INDEX%sPID%sARGS%sPCPU%sPMEM%sVSZ%sRSS%sSTAT%sNICE%sPPID%sUSER%sSTIME%sCTIME%sTHCNT%sFNAME%s";
constexpr char HEADER_PROC_EXTENDED[] = "INDEX%sPID%sARGS%sPCPU%sPMEM%sVSZ%sRSS%sSTAT%sNICE%sPPID%sUSER%"
                                        "sSTIME%sCTIME%sTHCNT%sAPPID%sPRI%sPUSERCPU%s"
                                        "PSYSCPU%sIOBYTECOM%sIOBYTE%sIOBYTERATE%s";
constexpr char ROW_PROC[] = "%s%d%s%d%s%s%s%.02f%s%.02f%s%d%s%d%s%c%s%d%s%d%s%s%s%d%s%d%s%d%s";
constexpr char ROW_PROC_FILE[] = "%s%d%s%d%s%s%s%.02f%s%.02f%s%d%s%d%s%c%s%d%s%d%s%s%s%d%s%d%s%d%s%s%s";
constexpr char ROW_PROC_EXTENDED[] = "%s%d%s%d%s%s%s%.02f%s%.02f%s%d%s%d%s%c%s%d%s%d%s%s%s%d%s%d%s%d%s%d%s%d%"
                                     "s%.02f%s%.02f%s%.02f%s%.02f%s%.02f%s";
constexpr char LINE_PROC_CONSOLE[] = "%s%10d%5.1f%5.1f%10d%10d %s\n";

enum PROC_LAYOUT
{
    PROC_LAYOUT_NONE, // no header and no rows; processes are counted all the same
    PROC_LAYOUT_BASE,
    PROC_LAYOUT_FILE,
    PROC_LAYOUT_EXTENDED
};

// The process table: one pass lists every process and builds the text table of them, with the rates since the
// pass before. One caller thread per object; a pass blocks on the scripts that it runs (kernels with minor
// number 4 only).
class CMM_PROC_Info : public CMM_INIT_Info
{
public:
    CMM_PROC_Info();
    ~CMM_PROC_Info();

    // One pass; the argument is not used. Returns the table m_pstrProcessInfo: a header row and a row of each
    // process, in the layout that the run configuration selects. Null when no process was counted, memory or
    // /proc cannot be had (the table is untouched then). The table is the collector's, until the next pass.
    // The first pass gives figures since each process started over a huge interval, that is, practically 0
    // percent. From the second pass on, and in the extended layout, each row is also printed to standard
    // output as a line for people.
    char* fMGetProc(int);

    int fMGetNProcs();                         // processes and virtual-machine rows of the last pass
    char* fGetProcInfo();                      // the table as it stands
    void fSetVMFlag(int vmFlag, int isVMWare); // both 1: append the virtual-machine rows

    // Reads one process into out, which the caller zeroed: 1, or 0 when it must be skipped, having vanished
    // or having a command line that begins with a blank. totMemKB is the machine's memory; elapsed the
    // interval in hundredths of a second; the last argument is not used.
    int fMReadProcTable(int pid, proc_s* work, _ST_PROC* out, unsigned long totMemKB, double elapsed,
                        int flag);

    // Parsers of the process files; 1, or 0 when the text is not what the kernel writes.
    int fMStat2Proc(char* text, proc_s* work); // ends the text at the last ")"
    int fMStatm2Proc(char* text, proc_s* work);
    int fMCmdline2Proc(char* text, proc_s* work);  // args: the text, or "[cmd]" for an empty one; always 1
    int fMIo2Proc(const char* path, proc_s* work); // reads the file; 0 when it cannot be read

    // Shares and I/O of cur against the previous sample over elapsed hundredths of a second. Returns 1.
    int fMCompute(_ST_PROC* cur, _ST_PROC_OLD_LIST* old, double elapsed);
    // The CPU share alone against a previous record, which may be null. Returns 1.
    int fMGetPCpu(_ST_PROC* cur, _ST_PROC* prev, double elapsed);

    // Hundredths of a second since the call before, by the wall clock; 1e11 on the first.
    double fMGetTimeDiff();
    unsigned long fMGetSysTotMem(); // KB, "MemTotal:" of /proc/meminfo; 0 when it cannot be had

    // Mark and sweep of the previous samples of vanished processes. Passes call them with g_nProcKeepFdMax
    // above 0 only; without it the samples stay until the object is destroyed. Erase behind a pass that gave
    // a table alone: one that could not read /proc has marked nothing. A pass that ran out of descriptors
    // marks all.
    void fProcMapUpdate(); // unmarks every entry; each process read marks its own again
    void fProcMapErase();  // drops those still unmarked

    // Closes the files that passes keep open (g_nProcKeepFdMax), as an agent may before it sleeps, and has to
    // before it closes all descriptors; the next pass opens them again. Returns how many those were.
    int fCloseKeptFiles() { return m_clFiles.fCloseAll(); }

    CSSUser* m_pclUser;
    CSSUtil* m_pclUtil;
    char* m_pstrProcessInfo; // the table
    int m_nProcessInfoBufSize;
    int m_nNProc;
    int m_nCpuCnt;
    int m_nVMFlag;
    int m_nIsVMWare;
    time_t m_tTime;       // of the current pass
    char m_strUpTime[64]; // whole seconds since boot, as text
    CProcMap m_ProcMap;
    int m_nInsertFirst;                           // 1 once a pass has counted processes
    int m_nNewCount;                              // 1 once a pass has ended
    std::string g_stringPollProcess;              // kept for the agent
    char* m_pstrPollProcInfo;                     // kept for the agent
    char* m_pstrProcReturn;                       // kept for the agent
    timeval m_stLastTime;                         // of the pass before
    char m_strPushSplit[2][4];                    // kept for the agent
    int m_nActiveSize;                            // kept for the agent
    std::list<ST_PROCALL_LIST*> m_stAllProcList;  // kept for the agent
    std::map<int, ST_PROCALL_LIST*> m_ProcTopMap; // kept for the agent
    char m_strLogMsg[LOG_SCRATCH_SIZE];

private:
    struct ST_PASS;
    COwnedDir fOpenProc();
    void fReadUpTime();
    void fMarkSamples(int mark);
    void fGatherAll(ST_PASS& pass, DIR* proc);
    void fGatherListed(ST_PASS& pass);
    void fGatherPid(ST_PASS& pass, int pid);
    void fFinishBatch(ST_PASS& pass);
    void fFinishProcess(ST_PASS& pass, ST_PROC_TEXTS& texts);
    void fCorrectJava(ST_PASS& pass);
    void fAppendProcess(ST_PASS& pass);
    void fAppendVirtual(ST_PASS& pass);
    size_t fFillProcess(ST_PROC_TEXTS& texts, proc_s* work, _ST_PROC* out, unsigned long totMemKB,
                        double elapsed, bool whole);
    void fFillRecord(const proc_s& work, _ST_PROC* out, unsigned long totMemKB);
    void fKeepSample(_ST_PROC* out, double elapsed, bool isReplaced);

    std::unique_ptr<_ST_PROC_OLD_LIST>& fEntry(int pid);

    CProcFiles m_clFiles;
    CProcMap::iterator* m_pitNext = nullptr; // the pass's own, while one runs
};

// Comparators over two records. They answer 1 or 0 and so give no three-way order, which is kept.
int fCMPProcName(const void* first, const void* second);    // first name's differing byte is greater
int fCMPProcCpu(const void* first, const void* second);     // first CPU share is greater
int fCMPProcPid(const void* first, const void* second);     // equal pids
int fCMPProcIsUpNow(const void* first, const void* second); // equal marks

// The layout that the two flags select.
PROC_LAYOUT fgProcLayout(int fileNameFlag, int extendFlag);

// Takes the numbers behind the name of a stat text, exactly as sscanf with the format below would, whole or
// not.
constexpr char FORMAT_PROC_STAT[] =
    "%c %d %d %d %d %d %lu %lu %lu %lu %lu %ld %ld %ld %ld %d %d %lu %lu %ld %lu %lu "
    "%lu %lu %lu %lu %lu %lu %LX %LX %LX %LX %lu";
bool fgParseProcStat(const char* text, proc_s& work);

// Takes or refuses the same texts, and the numbers that rows show: state, ppid, session, utime, stime,
// priority, nice, num_threads, start_time, vsize and rss. Half the work.
bool fgParseProcRowStat(const char* text, proc_s& work);

// Takes the counters of an io text.
void fgParseProcIo(const char* text, proc_s& work);

// Puts the name on the first line of a status text ("Name:\tkthreadd\n...") into brackets, for a process
// without a command line. to has PROC_NAME_SIZE bytes. Returns its length; 0 when the text has no name, to is
// as it was.
size_t fgPutStatusName(char* to, std::string_view status);

// The state letter that is reported for a letter of the kernel.
char fgProcState(char state);

// Appends what snprintf writes with the layout's row format. index counts from 1. to has PROC_ROW_SIZE bytes;
// returns the end.
constexpr size_t PROC_ROW_SIZE = PROC_NAME_SIZE + 8192;
char* fgPutProcRow(char* to, PROC_LAYOUT layout, int index, const _ST_PROC& process);

// The same for the console line.
char* fgPutProcConsole(char* to, const _ST_PROC& process);
