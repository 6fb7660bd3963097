#include "collect/MM_IO_Info.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "driver/RunConfig.h"
#include "lib/FixedText.h"
#include "lib/NGFunctions.h"
#include "lib/RowWriter.h"
#include "lib/TextTable.h"

namespace
{
size_t fGrowByTwiceUsed(size_t size, size_t used)
{
    return size + 2 * used;
}

// All that a line tells; what it does not tell stays.
void fTakeCounters(_ST_COMPUTE_IO& counters, const ST_DISK_LINE& line)
{
    fgSetDiskPath(counters.l_strDEVname, line.l_strName);
    counters.l_ulRead_B = line.l_ulReadSectors;
    counters.l_ulWrite_B = line.l_ulWriteSectors;
    counters.l_ulRead_N = counters.l_uiRead_ios = line.l_uiReads;
    counters.l_ulWrite_N = counters.l_uiWrite_ios = line.l_uiWrites;
    counters.l_uiRead_ticks = line.l_uiReadTicks;
    counters.l_uiWrite_ticks = line.l_uiWriteTicks;
    counters.l_lTick = line.l_ulTicks;
}

void fKeep(_ST_DISK_OLD_LIST& previous, const _ST_COMPUTE_IO& current)
{
    previous.l_ulRead_B = current.l_ulRead_B;
    previous.l_ulWrite_B = current.l_ulWrite_B;
    previous.l_ulRead_N = current.l_ulRead_N;
    previous.l_ulWrite_N = current.l_ulWrite_N;
    previous.l_lTick = current.l_lTick;
}

template <class T> DISK_COLUMNS fColumns(const T& disk)
{
    return {disk.l_dRead_N, disk.l_dWrite_N, disk.l_dRead_B, disk.l_dWrite_B, disk.l_dBusy};
}

// The sum over the disks, of which the busiest is the first; for BUSY its share. -1, which says that a rate
// is not known, does not take from a sum.
DISK_COLUMNS fSummary(const ST_DISKALL_LIST* begin, const ST_DISKALL_LIST* end)
{
    DISK_COLUMNS sums = {};
    for (const ST_DISKALL_LIST* disk = begin; disk != end; disk++) {
        const DISK_COLUMNS columns = fColumns(*disk);
        for (size_t i = 0; i < sums.size(); i++)
            sums[i] += std::max(columns[i], 0.0);
    }
    sums.back() = begin == end ? 0 : begin->l_dBusy;
    return sums;
}

// The values of the four lines of a kernel 2.2's /proc/stat, a value for each drive in their order:
// "disk_rio 5112 17 0 0" (fs/proc/array.c).
class CStatDisks
{
public:
    // false when one of the lines is missing.
    bool fFind(const char* stat)
    {
        for (size_t i = 0; i < std::size(LINES); i++) {
            const char* line = strstr(stat, LINES[i].l_strKey);
            if (line == nullptr) return false;
            line += strlen(LINES[i].l_strKey);
            m_clValues[i].assign(line, strcspn(line, "\n"));
            m_clScans[i] = CNumberScan(m_clValues[i].c_str());
        }
        return true;
    }
    // Takes the values of the next drive; 0 where a line has no more.
    void fNext(_ST_COMPUTE_IO& counters)
    {
        for (size_t i = 0; i < std::size(LINES); i++) {
            unsigned long value = 0;
            m_clScans[i].fUnsigned(value);
            counters.*LINES[i].l_ulValue = value;
        }
    }

private:
    struct ST_LINE
    {
        const char* l_strKey;
        unsigned long _ST_COMPUTE_IO::*l_ulValue;
    };
    static constexpr ST_LINE LINES[] = {{"disk_rio ", &_ST_COMPUTE_IO::l_ulRead_N},
                                        {"disk_wio ", &_ST_COMPUTE_IO::l_ulWrite_N},
                                        {"disk_rblk ", &_ST_COMPUTE_IO::l_ulRead_B},
                                        {"disk_wblk ", &_ST_COMPUTE_IO::l_ulWrite_B}};
    std::string m_clValues[std::size(LINES)];
    CNumberScan m_clScans[std::size(LINES)] = {CNumberScan(""), CNumberScan(""), CNumberScan(""),
                                               CNumberScan("")};
};
} // namespace

struct CMM_IO_Info::ST_PASS
{
    double l_dElapsed; // seconds
    int l_nMode;
    bool l_bRows;                             // text output
    bool l_bPush;                             // its push form
    std::optional<CTextTable> l_clTable = {}; // from fBeginRows on, in text output
    bool l_bDelivers = false;                 // false: the counters are stored, and that is all
    int l_nCollected = 0;                     // disks of a push pass
    _ST_COMPUTE_IO l_stCurrent = {};          // counters of the disk at hand
};

CMM_IO_Info::CMM_IO_Info()
    : m_pclList(new CSSList), m_pclList_Old(new CSSList), m_pclINVList(new CSSList), m_pclUtil(new CSSUtil),
      m_pstNextNode(nullptr), m_pstIO(new _ST_DISKIO{}), m_pstDevName(nullptr), m_nDevNameCount(0),
      m_nNDev(0), m_nNDevINV(0), m_nInsertFirst(0), m_stOldIoTime{}, m_dElapsedTime(0),
      m_stAllDiskList(nullptr), m_nAllDiskCnt(0), m_nDiskTAQCnt(0), m_pStrDiskTAQ(fgNewTableBuffer()),
      m_nDiskTAQSize(TABLE_START_SIZE), m_nDiskINVCnt(0), m_pStrDiskINV(fgNewTableBuffer()),
      m_nDiskINVSize(TABLE_START_SIZE), m_pstrDiskName(fgNewTableBuffer()),
      m_nDiskNameSize(TABLE_START_SIZE), m_strDataPath{}, m_strLogMsg{}, m_clOld(fCMPDeviceName),
      m_nDiskINVRoom(TABLE_START_SIZE), m_nDiskNameRoom(TABLE_START_SIZE)
{
    fgSetSeparators(m_strSplit, m_strPushSplit);
    fgCopyText(m_strDataPath, "../aproc/shell/DiskINVStrInfo.dat");
}

CMM_IO_Info::~CMM_IO_Info()
{
    for (CSSList* list : {m_pclList, m_pclList_Old, m_pclINVList}) {
        list->fSlDeleteAll();
        delete list;
    }
    delete m_pclUtil;
    delete m_pstIO;
    for (void* block : {static_cast<void*>(m_pstDevName), static_cast<void*>(m_stAllDiskList),
                        static_cast<void*>(m_pStrDiskTAQ), static_cast<void*>(m_pStrDiskINV),
                        static_cast<void*>(m_pstrDiskName)})
        free(block);
}

CSSList* CMM_IO_Info::fMGetIoStat(int mode, int push)
{
    fSetElapsedTime();
    return fMGetIoStat(m_dElapsedTime, mode, push);
}

CSSList* CMM_IO_Info::fMGetIoStat(double elapsed, int mode, int push)
{
    static constexpr bool (CMM_IO_Info::*SAMPLERS[])(ST_PASS&) = {
        nullptr, &CMM_IO_Info::fSampleStat, &CMM_IO_Info::fSamplePartitions, &CMM_IO_Info::fSampleDiskstats};
    ST_PASS pass{elapsed, mode, g_nDiskStrType == 1, g_nDiskStrType == 1 && push >= 1};
    if (mode == 0 && !pass.l_bRows) return fListInventory();
    const auto sampler = SAMPLERS[fgDiskSource(fMLinux_Major(), fMLinux_Minor())];
    m_nNDev = 0;
    fEmptyList(m_pclList);
    if (sampler == nullptr || !(this->*sampler)(pass)) return nullptr;
    return fFinish(pass);
}

_ST_DISKIO* CMM_IO_Info::fMGetIoStatNext()
{
    if (m_pstNextNode == nullptr || m_pstNextNode->m_pstNext == nullptr) return nullptr;
    m_pstNextNode = m_pstNextNode->m_pstNext;
    return fgNodeElement<_ST_DISKIO>(m_pstNextNode);
}

void CMM_IO_Info::fSetElapsedTime()
{
    timeval now = {};
    gettimeofday(&now, nullptr);
    m_dElapsedTime = fgElapsedSeconds(m_stOldIoTime, now);
    m_stOldIoTime = now;
}

CSSList* CMM_IO_Info::fListInventory()
{
    fEmptyList(m_pclINVList);
    m_nNDevINV = 0;
    return fListDevices(0) ? m_pclINVList : nullptr;
}

// Also puts the cursor in front of the list, so that it never stands on a node that is gone.
void CMM_IO_Info::fEmptyList(CSSList* list)
{
    list->fSlDeleteAll();
    m_pstNextNode = list->fSlGetHeadNode();
}

// Brings the table up to date. From here on m_nNDev counts the disks of the pass.
bool CMM_IO_Info::fReadTable()
{
    if (!fListDevices(1)) return false;
    m_nNDev = 0;
    return true;
}

// Drives have no names in /proc/stat: the first values are taken for the first disk of the table, and so on.
bool CMM_IO_Info::fSampleStat(ST_PASS& pass)
{
    CStatDisks values;
    if (!fReadTable() || !m_clText.fRead("/proc/stat") || !values.fFind(m_clText.fGet())) return false;
    fBeginOld(pass);
    bool more = true;
    for (int i = 0; more && i < m_nDevNameCount; i++) {
        fgReplaceText(pass.l_stCurrent.l_strDEVname, m_pstDevName[i].m_pstrName);
        values.fNext(pass.l_stCurrent);
        more = fSampleOld(pass, i);
    }
    return true;
}

bool CMM_IO_Info::fSamplePartitions(ST_PASS& pass)
{
    if (!fReadTable() || !m_clText.fRead("/proc/partitions")) return false;
    fBeginOld(pass);
    bool more = true;
    while (const char* text = more ? m_clText.fNextLine() : nullptr) {
        ST_DISK_LINE line;
        if (fgParsePartitions(text, line) != DISK_LINE_VALUES) continue;
        fTakeCounters(pass.l_stCurrent, line);
        const auto entry = m_clTableIndex.find(pass.l_stCurrent.l_strDEVname);
        if (entry != m_clTableIndex.end()) more = fSampleOld(pass, entry->second);
    }
    return true;
}

bool CMM_IO_Info::fSampleDiskstats(ST_PASS& pass)
{
    if (!m_clText.fRead("/proc/diskstats")) return false;
    fBeginRows(pass);
    if (!pass.l_bRows) m_clOld.fBegin(*m_pclList_Old);
    pass.l_bDelivers = !pass.l_bRows || m_nInsertFirst != 0; // rows need samples to measure against
    while (const char* line = m_clText.fNextLine())
        if (!fSampleLine(pass, line)) break;
    m_nInsertFirst = 1;
    return true;
}

// One line of /proc/diskstats. false ends the pass.
bool CMM_IO_Info::fSampleLine(ST_PASS& pass, const char* text)
{
    ST_DISK_LINE line;
    const int values = fgParseDiskstats(text, line, true);
    if (!fgPassesDiskFilter(line, values)) return true;
    if (values == DISK_LINE_VALUES) {
        fTakeCounters(pass.l_stCurrent, line);
        if (fCompute26(pass) && !fDeliver(pass)) return false;
    }
    return fCountDisk(pass); // also the short lines of early 2.6 kernels, which give no record, on purpose
}

void CMM_IO_Info::fBeginOld(ST_PASS& pass)
{
    fBeginRows(pass);
    m_clOld.fBegin(*m_pclList_Old);
    pass.l_bDelivers = pass.l_nMode == 1;
}

// One disk of a kernel 2.2 or 2.4, of that entry of the table. false ends the pass; g_nDiskMaxGatherCnt does
// not, on purpose: the table bounds these passes.
bool CMM_IO_Info::fSampleOld(ST_PASS& pass, int entry)
{
    pass.l_stCurrent.l_nTotSize = m_pstDevName[entry].m_lTotalSize / 1000;
    if (pass.l_bDelivers) fMComputeIo(&pass.l_stCurrent, pass.l_dElapsed);
    fMSetOldCompIo(&pass.l_stCurrent);
    if (pass.l_bDelivers && !fDeliver(pass)) return false;
    m_nNDev++;
    return true;
}

// Rates into m_pstIO. false when there is nothing to deliver yet.
bool CMM_IO_Info::fCompute26(const ST_PASS& pass)
{
    if (pass.l_bRows) return fComputeText(pass);
    fMComputeIo26(&pass.l_stCurrent, pass.l_dElapsed);
    fMSetOldCompIo(&pass.l_stCurrent);
    return true;
}

bool CMM_IO_Info::fComputeText(const ST_PASS& pass)
{
    const _ST_COMPUTE_IO& current = pass.l_stCurrent;
    const int key = static_cast<int>(ELFHash(current.l_strDEVname));
    std::unique_ptr<_ST_DISK_OLD_LIST>& previous = m_DiskMap[key];
    if (previous == nullptr) {
        previous = std::make_unique<_ST_DISK_OLD_LIST>();
        memcpy(previous->l_strDEVname, current.l_strDEVname, sizeof(previous->l_strDEVname));
        fKeep(*previous, current);
    }
    if (!pass.l_bDelivers) return false;
    fMDiskComputeIo(&current, previous.get(), pass.l_dElapsed);
    fKeep(*previous, current);
    return true;
}

// Counts a disk of /proc/diskstats. false when there are enough: the bound is tested behind the disk that
// exceeds it, so a list holds one more than g_nDiskMaxGatherCnt, on purpose.
bool CMM_IO_Info::fCountDisk(const ST_PASS& pass)
{
    m_nNDev++;
    return pass.l_bRows || g_nDiskMaxGatherCnt < 1 || m_nNDev <= g_nDiskMaxGatherCnt;
}

void CMM_IO_Info::fBeginRows(ST_PASS& pass)
{
    if (!pass.l_bRows) return;
    m_nDiskTAQCnt = 0;
    CTextTable& table = pass.l_clTable.emplace(m_pStrDiskTAQ, m_nDiskTAQSize, fGrowByTwiceUsed);
    if (pass.l_bPush)
        table.fAppend(PUSH_START_DISK, g_ptrAgentKey == nullptr ? "" : g_ptrAgentKey, m_strPushSplit[0],
                      PUSH_CODE_DISK, m_strPushSplit[1]);
    fgAppendHeader(table, HEADER_DISK);
}

// Hands m_pstIO over. false when a list cannot take it.
bool CMM_IO_Info::fDeliver(ST_PASS& pass)
{
    fgClampDisk(*m_pstIO);
    if (!pass.l_bRows) return m_pclList->fSlInsert(m_pstIO, sizeof(*m_pstIO), nullptr) != nullptr;
    if (pass.l_bPush) return fCollect(pass);
    if (fgPausesBeforeRow(m_nDiskTAQCnt, g_nDiskWaitFlag)) fgUSleep(DISK_PAUSE_US);
    fAppendRow(pass, m_pstIO->l_strDEVname, fColumns(*m_pstIO));
    return true;
}

void CMM_IO_Info::fAppendRow(ST_PASS& pass, std::string_view name, const DISK_COLUMNS& columns)
{
    char row[DISK_ROW_SIZE];
    const char* end = fgPutDiskRow(row, m_nDiskTAQCnt + 1, name, columns);
    pass.l_clTable->fReserve(name.size() + TABLE_ROOM);
    if (pass.l_clTable->fAppendText({row, static_cast<size_t>(end - row)})) m_nDiskTAQCnt++;
}

// Keeps m_pstIO until the end of a push pass. false when there is no memory.
bool CMM_IO_Info::fCollect(ST_PASS& pass)
{
    if (pass.l_nCollected >= m_nAllDiskCnt) {
        const int disks = pass.l_nCollected + 1;
        const int room = disks < DISK_TABLE_START - 999 ? DISK_TABLE_START : disks + 1000;
        void* grown = realloc(m_stAllDiskList, static_cast<size_t>(room) * sizeof(*m_stAllDiskList));
        if (grown == nullptr) return false;
        m_stAllDiskList = static_cast<ST_DISKALL_LIST*>(grown);
        m_nAllDiskCnt = room;
    }
    ST_DISKALL_LIST& disk = m_stAllDiskList[pass.l_nCollected++];
    memcpy(disk.l_strDEVname, m_pstIO->l_strDEVname, sizeof(disk.l_strDEVname));
    disk.l_dRead_B = m_pstIO->l_dRead_B;
    disk.l_dWrite_B = m_pstIO->l_dWrite_B;
    disk.l_dRead_N = m_pstIO->l_dRead_N;
    disk.l_dWrite_N = m_pstIO->l_dWrite_N;
    disk.l_dBusy = m_pstIO->l_dBusy;
    return true;
}

// The rows of a push pass: the summary, then the busiest disks. Among equals the kernel's order stays.
void CMM_IO_Info::fAppendBusiest(ST_PASS& pass)
{
    ST_DISKALL_LIST* const end = m_stAllDiskList + pass.l_nCollected;
    std::stable_sort(m_stAllDiskList, end, [](const ST_DISKALL_LIST& first, const ST_DISKALL_LIST& second) {
        return compare_alldisk(&first, &second) < 0;
    });
    fAppendRow(pass, DISK_SUMMARY, fSummary(m_stAllDiskList, end));
    for (ST_DISKALL_LIST* disk = m_stAllDiskList; disk != end && disk - m_stAllDiskList < DISK_PUSH_ROWS;
         disk++)
        fAppendRow(pass, disk->l_strDEVname, fColumns(*disk));
}

CSSList* CMM_IO_Info::fFinish(ST_PASS& pass)
{
    m_clOld.fEnd();
    if (pass.l_bPush && pass.l_bDelivers) fAppendBusiest(pass);
    return m_pclList;
}

bool fgPausesBeforeRow(int rows, int waitFlag)
{
    return waitFlag > 99 && rows % waitFlag == 0;
}

char* fgPutDiskRow(char* to, int index, std::string_view name, const DISK_COLUMNS& columns)
{
    CRowWriter row(to);
    row.fOpen();
    row.fInteger(index);
    row.fText(name);
    for (const double value : columns)
        row.fDecimal(value);
    return row.fAt();
}
