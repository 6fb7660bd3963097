#pragma once

#include <string_view>
#include <sys/vfs.h>

#include "collect/MM_INIT_Info.h"
#include "lib/LogGate.h"
#include "lib/NumberText.h"
#include "lib/ObjectBuffer.h"

struct mntent;

constexpr size_t FS_NAME_SIZE = 1025;             // bytes of a name, terminator included
constexpr unsigned long long FS_SMALL = 1000000;  // KB up to which a filesystem is not reported
constexpr char FS_TABLE_END[] = "velk_token_end"; // ends the table, behind a row separator
constexpr size_t VMFS_LINE_SIZE = 513;            // bytes read of a line of datastores, terminator included

// Text table: the header and the row of a filesystem. KB of 1024 bytes, inodes, percent.
constexpr char HEADER_FS[] =
    "INDEX%sFSNAME%sDISKNAME%sTOTSIZE%sUSEDSIZE%sFREESIZE%sUSAGE%sAVAILSIZE%sITOTSIZE%s"
    "IUSEDSIZE%sIFREESIZE%sIUSAGE%sIAVAILSIZE%sFSTYPE%s";

// One filesystem.
struct _ST_FS
{
    char l_strFSname[FS_NAME_SIZE];    // mount point, or name of a datastore
    char l_strDEVname[FS_NAME_SIZE];   // device or remote source
    char l_strFSType[FS_NAME_SIZE];    // as the kernel names it
    unsigned long long l_ulTotDskSize; // KB
    unsigned long long l_ulUsdDskSize;
    unsigned long long l_ulFreDskSize; // what is reserved for root included
    unsigned long long l_ulAvaDskSize; // for everybody
    unsigned long long l_ulTotIndSize; // inodes; 0 where a filesystem makes them as they are needed
    unsigned long long l_ulUsdIndSize;
    unsigned long long l_ulFreIndSize;
    unsigned long long l_ulAvaIndSize; // always as l_ulFreIndSize
    double l_dDskUsage;                // percent; not a number when nothing is used and nothing available
    double l_dIndUsage;
    int l_nIsUpNow; // kept for the agent, zero here
};

// The mounted filesystems of /etc/mtab that hold data, with what statfs64 tells of each; on hosts of virtual
// machines the datastores of a script as well. A pass gives records (fMGetFileSys) or a text table
// (fGetFileSystem), and writes the NFS mounts to ../aproc/shell/NFSList.dat, a line "MOUNT POINT|SOURCE"
// each. Which mounts are left out, and how figures are made: docs/filesystem-tables.md.
//
// One caller thread per object. statfs64 waits for a dead server or daemon for ever unless
// g_nFsStatTimeoutSec says how long (lib/StatfsLimit.h); asking a server first (g_nNfsStatusCheckFlag) costs
// up to some seconds for each mount of a dead one (lib/CheckNfs.h).
class CMM_FS_Info : public CMM_INIT_Info
{
public:
    CMM_FS_Info();
    ~CMM_FS_Info();

    // One pass for records. Returns the object buffer with a record under each mount point, in the order of
    // the table; null when there is none, or when /etc/mtab cannot be opened: the records of before stay
    // then. Buffer and records are the collector's, until the next pass for records.
    CObjectBuffer* fMGetFileSys();

    // The next record of the last pass; null behind the last, and behind a pass for text.
    _ST_FS* fMGetFileSysNext();

    // One pass for text: the header and a row for each filesystem in the result buffer, and the totals.
    // Returns the number of rows; -1 when there is none, without the end of the table then, or when
    // /etc/mtab cannot be opened: text and totals of before stay then.
    int fGetFileSystem();

    int fMGetNFileSys() const { return m_nNFs; }          // records or rows of the last pass
    char* fGetFSInfo() const { return m_pstrResultData; } // the text, the collector's until the next pass

    void fSetNFSFlag(int report) { m_nNFSFlag = report; } // 1: NFS mounts are reported as well
    // Both 1: datastores are reported as well. The script that lists them has 5 seconds and runs in the first
    // pass alone; later ones read its file again.
    void fSetVMFlag(int vmFlag, int isVMWare);

    // Sums over the rows of the last pass for text, but for types of g_strTotExcludeFilesystem: KB, then
    // inodes. 0 while g_nVAGENT_type is below 1.
    unsigned long long fGetFSTotalSize() const { return m_uFSTotalSizeTotal; }
    unsigned long long fGetFSUsedSize() const { return m_uFSUseTotal; }
    unsigned long long fGetFSFreeSize() const { return m_uFSFreeTotal; }
    unsigned long long fGetFSAvailSize() const { return m_uFSAvailTotal; }
    unsigned long long fGetINTotalSize() const { return m_uINTotalSizeTotal; }
    unsigned long long fGetINUsedSize() const { return m_uINUseTotal; }
    unsigned long long fGetINFreeSize() const { return m_uINFreeTotal; }
    unsigned long long fGetINAvailSize() const { return m_uINAvailTotal; }

    void fFreeFSObject();                 // frees the records; the count of the last pass is 0 then
    int fGetFSTokCount(const char* path); // how many "/" are in a path

    CObjectBuffer* m_pclObjectBuffer; // records by mount point
    int m_nNFs;                       // records or rows of the last pass
    int m_nCurIndex;                  // cursor of fMGetFileSysNext, from 1
    int m_nNFSFlag;
    char* m_pstrResultData; // text of the last pass for text, from malloc
    int m_nResultDataSize;  // bytes
    char m_strSplit[2][4];
    unsigned long long m_uFSTotalSizeTotal, m_uFSUseTotal, m_uFSFreeTotal, m_uFSAvailTotal;
    unsigned long long m_uINTotalSizeTotal, m_uINUseTotal, m_uINFreeTotal, m_uINAvailTotal;
    int m_nVMFlag;
    int m_nIsVMWare;
    int m_nFirstFlag; // 1 once the script of the datastores has run
    char m_strLogMsg[LOG_SCRATCH_SIZE];

private:
    struct ST_PASS;
    int fGather(bool rows);
    void fBegin(ST_PASS& pass);
    void fEnd(ST_PASS& pass);
    void fTakeMount(ST_PASS& pass, const mntent& mount);
    bool fTakesNfs(const ST_PASS& pass, const mntent& mount);
    void fListNfs(const ST_PASS& pass, const mntent& mount);
    bool fMeasure(const char* mountPoint, struct statfs64& figures);
    void fTakeDatastores(ST_PASS& pass);
    void fDeliver(ST_PASS& pass, const _ST_FS& record);
    bool fPutRecord(const _ST_FS& record);
    bool fAppendRow(ST_PASS& pass, const _ST_FS& record);
    void fClearTotals();
    void fAddTotals(const _ST_FS& record);

    bool m_bRows; // the last pass was for text
};

// Is a mount left out for its type? By g_strExcludeFilesystem, name by name; without any there, by what the
// type contains: "proc", "usbdevfs", "devpts".
bool fgSkipsFsType(std::string_view type);
// Is it left out of a text pass, by g_strIncludeFilesystem or for its depth, g_nFSTokenCount?
bool fgSkipsMountPoint(std::string_view mountPoint);
// Is it left out as a drive for removable media or the pipe of the RPC services?
bool fgSkipsMedia(std::string_view mountPoint, std::string_view device);
// Does its type count in the totals?
bool fgCountsInTotals(std::string_view type);

int fgPathDepth(std::string_view path); // how many "/" are in it

// The size of a filesystem in KB, as the record has it.
unsigned long long fgFsSize(const struct statfs64& figures);

// The figures of a record, by what statfs64 tells (fs/statfs.c).
void fgSetFsFigures(const struct statfs64& figures, _ST_FS& record);

// Writes the row of a filesystem of that index; returns the end. to has FS_ROW_SIZE bytes.
constexpr size_t FS_ROW_SIZE = 3 * FS_NAME_SIZE + 14 * (INTEGER_TEXT_SIZE + 4) + 2 * NUMBER_TEXT_SIZE;
char* fgPutFsRow(char* to, int index, const _ST_FS& record);

// The datastores of a line of the script: groups of six fields, separated by blanks: device, total, used and
// available KB, usage percent, name.
class CDatastoreLine
{
public:
    explicit CDatastoreLine(std::string_view line) : m_strRest(line) {}

    // The next complete group as a record; false when there is none left. A field 1 without "vmfs" in it is
    // dropped and the field behind it taken as field 3, on purpose: the rest of such a group still
    // makes a record, one without device and total.
    bool fNext(_ST_FS& record);

private:
    bool fNextField(std::string_view& field);
    std::string_view m_strRest;
};
