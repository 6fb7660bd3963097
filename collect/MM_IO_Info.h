#pragma once

#include <array>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <sys/time.h>
#include <unordered_map>

#include "collect/MM_INIT_Info.h"
#include "collect/SSList.h"
#include "collect/SSUtil.h"
#include "collect/SampleIndex.h"
#include "lib/HostFile.h"
#include "lib/LogGate.h"
#include "lib/NumberText.h"

constexpr size_t DISK_PATH_SIZE = 1025;   // bytes of "/dev/NAME", terminator included
constexpr size_t DISK_LISTED_SIZE = 64;   // bytes of a name in the listing, terminator included
constexpr int DISK_TABLE_START = 10000;   // records of m_stAllDiskList at first
constexpr int DISK_PUSH_ROWS = 50;        // most disks in a push table
constexpr double DISK_COUNT_LIMIT = 1e9;  // operations per second that no disk does
constexpr int DISK_PAUSE_US = 500000;     // pause of paced text output, microseconds
constexpr unsigned long DISK_SMALL = 999; // size in thousands of blocks up to which a device is no disk

// Text output: the header and the row of a disk. Operations and KB per second, busy percent.
constexpr char HEADER_DISK[] = "INDEX%sDISKNAME%sREADCNT%sWRITECNT%sREADKB%sWRITEKB%sBUSY%s";
constexpr char ROW_DISK[] = "%s%d%s%s%s%.2f%s%.2f%s%.2f%s%.2f%s%.2f%s";
constexpr char PUSH_START_DISK[] = "%s%s%s%s"; // agent key, push row, code, push field; the header follows
constexpr char PUSH_CODE_DISK[] = "4.5.11.0";
constexpr char DISK_SUMMARY[] = "NULL"; // the summary row's DISKNAME

using DISK_COLUMNS = std::array<double, 5>; // the values of a row, READCNT to BUSY

// One disk of the device-name table.
struct _ST_DEV_NAME
{
    char m_pstrName[DISK_PATH_SIZE];
    char m_chIndex;             // kept for the agent, zero here
    unsigned long m_lTotalSize; // blocks of 1 KB
};

// One disk's result. The inventory fills only name and size.
struct _ST_DISKIO
{
    char l_strDEVname[DISK_PATH_SIZE];
    unsigned int l_uiRead_ios, l_uiRead_ticks, l_uiWrite_ios, l_uiWrite_ticks; // zero here
    double l_dAwait;              // milliseconds an operation; kernels 2.2 and 2.4 only
    double l_dRead_B, l_dWrite_B; // KB per second; sectors or blocks per second on kernels 2.2 and 2.4
    double l_dRead_N, l_dWrite_N; // operations per second
    double l_dXfer_B, l_dXfer_N;  // zero here
    unsigned long l_nTotSize;     // thousands of blocks of 1 KB; 0 where the pass does not know it
    double l_dBusy;               // percent of the interval with I/O in progress; kernels 2.6 and later only
};

// One disk's counters as the kernel gives them, since it appeared.
struct _ST_COMPUTE_IO
{
    char l_strDEVname[DISK_PATH_SIZE];
    unsigned long l_ulRead_B, l_ulWrite_B; // sectors of 512 bytes; blocks on kernel 2.2
    unsigned long l_ulRead_N, l_ulWrite_N; // completed operations
    unsigned long l_ulXfer_B, l_ulXfer_N;  // zero here
    unsigned int l_uiRead_ios, l_uiRead_ticks, l_uiWrite_ios, l_uiWrite_ticks; // operations, milliseconds
    unsigned long l_ulWaitCnt, l_ulWaitTime;                                   // zero here
    unsigned long l_nTotSize;                                                  // as in _ST_DISKIO
    unsigned long l_lTick; // milliseconds with I/O in progress
};

// Previous sample of one disk in text output on kernels 2.6 and later.
struct _ST_DISK_OLD_LIST
{
    char l_strDEVname[DISK_PATH_SIZE];
    unsigned long l_ulRead_B, l_ulWrite_B;
    unsigned long l_ulRead_N, l_ulWrite_N;
    unsigned long l_lTick;
};

// One disk of a push pass, by which the disks are ordered.
struct ST_DISKALL_LIST
{
    char l_strDEVname[DISK_PATH_SIZE];
    double l_dRead_B, l_dWrite_B;
    double l_dRead_N, l_dWrite_N;
    double l_dBusy;
};

// Operations, kilobytes and busy share per second of each disk; the disks of this host; the disk inventory.
// Whole disks alone are sampled. With g_nDiskStrType 1 a pass builds a text table, else a list of records.
// One caller thread per object; a pass blocks on the listing script on kernels 2.2 and 2.4 and for the disks
// of this host, and on its own pauses in paced text output (g_nDiskWaitFlag above 99).
class CMM_IO_Info : public CMM_INIT_Info
{
public:
    CMM_IO_Info();
    ~CMM_IO_Info();

    // One pass over the kernel's disk counters: /proc/diskstats on kernels 2.6 and later, /proc/partitions on
    // 2.4, /proc/stat on 2.2. Rates are over the time since the pass before.
    // - List output: a record of each disk in m_pclList, all rates 0 for a disk seen first. mode 0 gives the
    //   disks of this host instead, in m_pclINVList. fMGetIoStatNext walks the list. On kernels 2.6 and
    //   later, and for mode 0 on any, the pass ends once it has more disks than g_nDiskMaxGatherCnt (1 or
    //   more), so with one more than that. Kernels 2.2 and 2.4 deliver every disk of the table.
    // - Text output: the table m_pStrDiskTAQ of m_nDiskTAQCnt rows, and an empty list. The first pass on
    //   kernels 2.6 and later gives no rows, on others rows of zeros. push of 1 or more gives the push form:
    //   a summary row, then at most 50 disks, the busiest first.
    // On kernels 2.2 and 2.4 a mode other than 0 and 1 stores the counters and delivers nothing, and so does
    // 0 in text output, where the header stands alone then. Null when the counters or the listing cannot be
    // read, or the kernel is another and it is not list output with mode 0; the text is untouched then. The
    // lists stay the collector's, until the next pass. Every call restarts the interval, the inventory's too.
    CSSList* fMGetIoStat(int mode, int push);
    // The same over elapsed seconds that the caller measured; the interval of the other goes on.
    CSSList* fMGetIoStat(double elapsed, int mode, int push);

    // The next record of the list that the last pass returned; null behind the last.
    _ST_DISKIO* fMGetIoStatNext();

    void fSetElapsedTime(); // m_dElapsedTime: seconds since the call before; since the epoch on the first

    // Has the script shell/LINUX/partitions.sh list the block devices, for which it has 5 seconds, and takes
    // the disks: at least 1,000,000 blocks of 1 KB and a minor number that is a multiple of 16.
    // - mode 0 appends them to m_pclINVList, which the caller emptied, as it set m_nNDevINV to 0. That puts
    //   the cursor of fMGetIoStatNext in front of this list first, also when the call fails then. With
    //   g_nDiskStrType 0 alone it stops once m_nNDevINV exceeds g_nDiskMaxGatherCnt (1 or more), so with one
    //   disk more than that.
    // - Any other mode adds those not yet known to the table m_pstDevName.
    // Returns the length of that table. 0 when the listing cannot be opened (an error line is written; the
    // lists and m_nNDev stay) or memory for the table is out (m_nNDev stays).
    int fMGetDevNames(int mode);

    // Copies the first word of src to dst, which has size bytes and is zeroed first. Returns the place behind
    // the word in src; null, with dst empty, for a word of size bytes or more.
    char* fMParceDevUnit(const char* src, char* dst, int size);

    // Rates of the counters against the stored sample of the disk over elapsed seconds, in m_pstIO, which is
    // returned. Without a stored sample they are 0, and so is what fell. The first is for kernels 2.2
    // and 2.4: no busy share, B rates as the counters are; the second for 2.6 and later: B rates in KB, no
    // l_dAwait.
    _ST_DISKIO* fMComputeIo(const _ST_COMPUTE_IO* current, double elapsed);
    _ST_DISKIO* fMComputeIo26(const _ST_COMPUTE_IO* current, double elapsed);
    // As fMComputeIo26 against a sample of the text output (null: none), except that a counter that fell
    // gives an enormous rate. Returns m_pstIO.
    _ST_DISKIO* fMDiskComputeIo(const _ST_COMPUTE_IO* current, const _ST_DISK_OLD_LIST* previous,
                                double elapsed);

    // The stored sample of the disk with that name; null for none. It stays the collector's.
    _ST_COMPUTE_IO* fMGetOldCompIo(const _ST_COMPUTE_IO* current);
    // Stores a copy of the counters as the disk's sample. 1; 0 when there is no memory.
    int fMSetOldCompIo(const _ST_COMPUTE_IO* current);

    // Has the disk inventory written by the command scheduler; the number is handed to the command. 1, or -1
    // when the scheduler is missing or refuses.
    int fCommandINV(int number);
    // Reads the inventory file m_strDataPath into m_pStrDiskINV: what follows the first "|" of its record,
    // the first line with a lower-case letter. 1; -1 when there is none (an error line says why).
    int fGetDiskINV();
    // Compares the record of the inventory file with the one it was called with before, and keeps it. 1 when
    // it differs; 0 when not, and for the first one; -1 when there is none or no memory. A record longer than
    // m_nDiskNameSize sets m_nDiskINVSize to the sum of the two and 16, on purpose; that buffer grows with
    // it.
    int fDiskChangeCheck();
    int fINVFileRemove();  // removes the inventory file; 0, or -1 with errno set
    int fCommandExecute(); // 1

    CSSList* m_pclList;     // records of the last pass
    CSSList* m_pclList_Old; // previous samples, list output and kernels 2.2 and 2.4
    CSSList* m_pclINVList;  // records of the disks of this host
    CSSUtil* m_pclUtil;
    ST_SSNODE_T* m_pstNextNode; // cursor of fMGetIoStatNext
    _ST_DISKIO* m_pstIO;        // result of the last computation
    _ST_DEV_NAME* m_pstDevName; // the device-name table, from malloc; entries are never dropped
    int m_nDevNameCount;        // its length
    int m_nNDev;                // disks seen by the last pass; the table's length after fMGetDevNames
    int m_nNDevINV;             // entries of m_pclINVList
    std::map<int, std::unique_ptr<_ST_DISK_OLD_LIST>> m_DiskMap; // previous samples by ELFHash of "/dev/NAME"
    int m_nInsertFirst;               // 0 until the first pass on a kernel 2.6 or later has ended
    timeval m_stOldIoTime;            // of the previous fSetElapsedTime
    double m_dElapsedTime;            // seconds
    ST_DISKALL_LIST* m_stAllDiskList; // disks of the last push pass, from malloc; null before the first
    int m_nAllDiskCnt;                // records it has room for
    int m_nDiskTAQCnt;                // rows of the last text pass, the summary included
    char* m_pStrDiskTAQ;              // the table
    int m_nDiskTAQSize;
    int m_nDiskINVCnt;    // 1 when the last fGetDiskINV took an inventory
    char* m_pStrDiskINV;  // the inventory
    int m_nDiskINVSize;   // kept for the agent: bytes; the buffer has as many or more, see fDiskChangeCheck
    char* m_pstrDiskName; // the inventory record seen last
    int m_nDiskNameSize;  // kept for the agent, never changes
    char m_strDataPath[512];
    char m_strSplit[2][4];
    char m_strPushSplit[2][4];
    char m_strLogMsg[LOG_SCRATCH_SIZE];

private:
    struct ST_PASS;
    bool fSampleStat(ST_PASS& pass);
    bool fSamplePartitions(ST_PASS& pass);
    bool fSampleDiskstats(ST_PASS& pass);
    bool fSampleLine(ST_PASS& pass, const char* text);
    void fBeginOld(ST_PASS& pass);
    bool fSampleOld(ST_PASS& pass, int entry);
    bool fCompute26(const ST_PASS& pass);
    bool fComputeText(const ST_PASS& pass);
    bool fCountDisk(const ST_PASS& pass);
    void fBeginRows(ST_PASS& pass);
    bool fDeliver(ST_PASS& pass);
    void fAppendRow(ST_PASS& pass, std::string_view name, const DISK_COLUMNS& columns);
    bool fCollect(ST_PASS& pass);
    void fAppendBusiest(ST_PASS& pass);
    CSSList* fFinish(ST_PASS& pass);
    CSSList* fListInventory();
    void fEmptyList(CSSList* list);
    bool fListDevices(int mode);
    bool fReadTable();
    bool fAddToInventory(const struct ST_LISTED_DISK& disk);
    bool fAddToTable(const struct ST_LISTED_DISK& disk);
    void fStartResult(const _ST_COMPUTE_IO& current);
    bool fReadRecord(std::string& record);
    bool fTellSize(int size, const std::string& record);

    CHostFile m_clDiskstats{"/proc/diskstats"};
    CHostText m_clText;                                  // the counter file of the pass
    std::unordered_map<std::string, int> m_clTableIndex; // entry of the device-name table by path
    CSampleIndex<_ST_COMPUTE_IO, &_ST_COMPUTE_IO::l_strDEVname> m_clOld; // of m_pclList_Old
    int m_nDiskINVRoom;                                                  // bytes behind m_pStrDiskINV
    int m_nDiskNameRoom;                                                 // bytes behind m_pstrDiskName
};

// Match of two records that begin with a device path, for CSSList: 1 when the paths are equal, else 0. No
// ordering.
int fCMPDeviceName(const void* first, const void* second);

// Order of two ST_DISKALL_LIST, for qsort: the busier first. Busy shares are compared in single precision, so
// shares closer than that are equal.
int compare_alldisk(const void* first, const void* second);

// Where a kernel of that version keeps its disk counters.
enum DISK_SOURCE
{
    DISK_SOURCE_NONE,
    DISK_SOURCE_STAT,       // 2.2
    DISK_SOURCE_PARTITIONS, // 2.4
    DISK_SOURCE_DISKSTATS   // 2.6 and later
};
DISK_SOURCE fgDiskSource(int kernelMajor, int kernelMinor);

// A device of the listing, in the layout of /proc/partitions.
struct ST_LISTED_DISK
{
    char l_strName[DISK_LISTED_SIZE]; // cut
    unsigned long l_ulBlocks;         // of 1 KB
};
// Takes a line of the listing. false when it is no device, or one that is no disk: smaller than 1,000,000
// blocks, a minor number that is no multiple of 16, or no activity in a line with statistics.
bool fgParseListedDisk(const char* line, ST_LISTED_DISK& disk);

// A line of /proc/diskstats, or of /proc/partitions of a kernel 2.4.
struct ST_DISK_LINE
{
    int l_nMajor = 0, l_nMinor = 0;
    std::string_view l_strName = {}; // within the line
    unsigned int l_uiReads = 0, l_uiReadMerges = 0, l_uiReadTicks = 0;
    unsigned long l_ulReadSectors = 0;
    unsigned int l_uiWrites = 0, l_uiWriteMerges = 0, l_uiWriteTicks = 0;
    unsigned long l_ulWriteSectors = 0;
    unsigned long l_ulTicks = 0; // milliseconds with I/O in progress
    unsigned int l_uiWeighted = 0;
};
// Takes a line exactly as sscanf with the format of its layout would, and returns how many values it took:
// DISK_LINE_VALUES for a whole line.
constexpr int DISK_LINE_VALUES = 13;
constexpr char FORMAT_DISKSTATS[] = "%d %d %s %u %u %lu %u %u %u %lu %u %*u %lu %u";
constexpr char FORMAT_PARTITIONS[] = "%d %d %*d %s %u %u %lu %u %u %u %lu %u %*u %u %u";
// With onlyDisks it takes the first three alone of a line that fgPassesDiskFilter refuses by its number.
int fgParseDiskstats(const char* line, ST_DISK_LINE& disk, bool onlyDisks = false);
int fgParsePartitions(const char* line, ST_DISK_LINE& disk);

// Says whether a line of /proc/diskstats of which that many values were taken is a disk's.
bool fgPassesDiskFilter(const ST_DISK_LINE& disk, int values);

// Says whether paced text output pauses before the row that follows so many rows.
bool fgPausesBeforeRow(int rows, int waitFlag);

// Sets what cannot be to -1 (rates below 0 and counts from DISK_COUNT_LIMIT on) and a busy share above 100 to
// 100.
void fgClampDisk(_ST_DISKIO& disk);

// Sets a field to "/dev/" and the name, cut at the field. The field holds a text with zeros behind it.
void fgSetDiskPath(char (&path)[DISK_PATH_SIZE], std::string_view name);

// Appends what snprintf writes with ROW_DISK. The name is at most DISK_PATH_SIZE - 1 bytes long; to has
// DISK_ROW_SIZE bytes. Returns the end.
constexpr size_t DISK_ROW_SIZE = DISK_PATH_SIZE + 6 * (NUMBER_TEXT_SIZE + 8);
char* fgPutDiskRow(char* to, int index, std::string_view name, const DISK_COLUMNS& columns);
