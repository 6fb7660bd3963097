#pragma once

#include <ctime>

// The run configuration: process-wide globals that whoever embeds the library sets before it builds a
// collector, and that every collector reads directly. All of them are zero at load; fgInitRunConfig stores
// the console program's defaults. None is guarded: write them before the first collector exists.

class COmniLog;
class CCmdScheduler;

// The table of live blocks of the tracked allocator: three parallel arrays of m_nMemSize slots.
struct ST_MEM_USE_ST
{
    void** m_ppvdMEM;  // address of each live block; null marks a free slot
    int* m_pnDebugNum; // the number by which the call site names itself
    int m_nMemSize;    // slots: 0 before the first use, then a multiple of 512
    int* m_pnMEMSize;  // requested size of each block, bytes
};

constexpr int FILESYSTEM_ROWS = 100;    // rows in each filesystem type list
constexpr int FILESYSTEM_ROW_SIZE = 32; // bytes a row, terminator included
constexpr int HOST_ROOT_SIZE = 512;     // bytes of g_strHostRoot, terminator included
constexpr int DEBUG_DETAIL_SIZE = 1024; // bytes of g_strDebugDetail, terminator included
constexpr int AGENT_KEY_SIZE = 16;      // bytes behind g_ptrAgentKey

// Put in front of every absolute path of the observed host (lib/HostFile.h). Empty: this host.
extern char g_strHostRoot[HOST_ROOT_SIZE];

extern COmniLog* g_pclOmniLog;            // the log, or null: nothing is logged. Owned by who sets it
extern CCmdScheduler* g_pclCCmdScheduler; // runs the inventory commands, or null. Owned by who sets it
extern char* g_ptrAgentKey;               // first field of push rows; AGENT_KEY_SIZE bytes from malloc

// Filesystem collector: types never reported, types left out of the totals, and the mount points that alone
// are in a text table.
extern char g_strExcludeFilesystem[FILESYSTEM_ROWS][FILESYSTEM_ROW_SIZE];
extern int g_nExcludeFilesystemCnt;
extern char g_strTotExcludeFilesystem[FILESYSTEM_ROWS][FILESYSTEM_ROW_SIZE];
extern int g_nTotExcludeFilesystemCnt;
extern char g_strIncludeFilesystem[FILESYSTEM_ROWS][FILESYSTEM_ROW_SIZE];
extern int g_nIncludeFilesystemCnt;
extern int g_nFsFreeUsedFlag;     // other than 0: usage counts what is reserved for root as free
extern int g_nNfsStatusCheckFlag; // 1: ask NFS servers before measuring their mounts
extern int g_nVAGENT_type;        // 1 or more: text passes sum up totals
extern int g_nFSTokenCount;       // above 0: most "/" in a mount point of a text table
extern int g_nFsStatTimeoutSec;   // seconds a mount has to answer, lib/StatfsLimit.h; below 1: no limit
extern int g_nIPv6Flag;           // 1: the NFS check asks by TCP, IPv6 and IPv4 servers (lib/CheckNfs.h)

// Process collector.
extern int g_nProcKeepFdMax;      // descriptors of process files that passes may keep open; below 1: none
extern int g_nGetProcessType;     // 1: shell-listed processes, on kernels with minor number 4
extern int g_nGetProcessJAVA;     // 1: correct the CPU share of "java", on kernels with minor number 4
extern int g_nExecedFileNameFlag; // 1: rows carry the executed file's name
extern int g_nProcExtendFlag;     // 1: rows carry session, priority, user/system share and I/O

// CPU, disk and network collectors.
extern int g_nCpuStrType;         // 1: row output of the CPU collector
extern int g_nCpuUsedInWIO;       // 1: I/O wait counts as used CPU time
extern int g_nDiskStrType;        // 1: row output of the disk collector
extern int g_nDiskMaxGatherCnt;   // a list ends behind one disk more than that; below 1: no limit
extern int g_nDiskWaitFlag;       // pacing of the disk row output
extern int g_nInterfaceStrType;   // 1: row output of the network collector
extern int g_nLinuxBandwidthFlag; // 1: bandwidth and duplex by one script; else bandwidth alone, one by one
extern int g_nNetworkExtGather;   // 1: gather the extension interfaces
extern int g_nTmpRealTimeGather;  // stored by the program, read by nobody here
extern int g_lBandWidthSet;       // stored by the program, read by nobody here
extern int g_nDuplexSet;          // stored by the program, read by nobody here

// Buffer files: largest family, megabytes.
extern int g_nDataBufferSaveMaxSize;

// Log: 1 echoes every line to standard error; the nine masks are written by COmniLog::fSetLogModeBit.
extern int g_nPrint;
extern int g_nLogModERROR, g_nLogModNORMAL, g_nLogModDEBUG;
extern int g_nLoggingERROR1, g_nLoggingERROR2;
extern int g_nLoggingNORMAL1, g_nLoggingNORMAL2;
extern int g_nLoggingDEBUG1, g_nLoggingDEBUG2;
extern char g_strDebugDetail[DEBUG_DETAIL_SIZE]; // the last trace breadcrumb

// Watchdog of blocking calls.
extern int g_nAlarmThStatus, g_nAlarmSec, g_nBlockChkFlag, g_nBlockTimeOut, g_nSignalPid;
extern time_t g_nBlockChkSec;

extern ST_MEM_USE_ST g_stMemUse; // table of the tracked allocator
extern int g_nCmdSync;           // 1 while a start or stop script of the scheduler runs

// Stores the program's defaults: limits, flags, the agent key and the default exclusion list. Call it before
// the first collector is built. The agent key is allocated here and lives until the process ends.
void fgInitRunConfig();

// Splits a comma-separated list of filesystem types into the rows of g_strExcludeFilesystem, which are zeroed
// first, and returns how many rows it filled: 0 to 100, 0 for a null or an empty list. Only the first 1023
// bytes of the list are read, and a name longer than 31 bytes is cut. When the hundredth row is stored the
// rest is ignored and a message goes to standard error. The caller stores the count.
int fgSetExcludeFilesystem(const char* list);

// The agent's key for push rows: g_ptrAgentKey, or an empty text while nobody has set it.
const char* fgAgentKey();

enum RUN_CONFIG_RESULT
{
    RUN_CONFIG_STORED,
    RUN_CONFIG_UNKNOWN,     // no integer global has that name
    RUN_CONFIG_OUT_OF_RANGE // the count of a list outside 0 to 100, or a value beyond the global's type
};

// Stores a value in the integer global of that name.
RUN_CONFIG_RESULT fgSetRunConfig(const char* name, long value);
