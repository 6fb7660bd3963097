#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "collect/MM_IO_Info.h"
#include "driver/RunConfig.h"
#include "lib/FixedText.h"
#include "lib/Owners.h"
#include "lib/ScriptOutput.h"

// Which block devices are disks: the listing, and the lines of the kernel's counter files.

namespace
{
constexpr size_t LISTING_LINE_SIZE = 1024; // what is longer counts as lines of its own

constexpr char COMMAND_LISTING[] = "../../utils/ETC/ShCmd 5 ./shell/LINUX/partitions.sh > %s 2>&1";
constexpr char FILE_LISTING[] = "../aproc/shell/partitions.dat";

constexpr int DISK_MINORS = 16; // minor numbers of a disk and its partitions, as SCSI disks have them

// Parts of names that no disk is taken to have: device mapper, pseudo-devices of multipath, optical drives,
// software RAID. A disk whose name merely holds one, such as "sdsr", is left out too, which is kept.
constexpr std::string_view NOT_DISKS[] = {"dm-", "sddlma", "sr", "md"};

bool fTakeName(CNumberScan& scan, std::string_view& name)
{
    scan.fSkipBlanks();
    const char* start = scan.fAt();
    if (!scan.fWord()) return false;
    name = {start, static_cast<size_t>(scan.fAt() - start)};
    return true;
}

// Takes the statistics columns (block/genhd.c) until one is none; returns how many values those were.
int fTakeColumns(CNumberScan& scan, ST_DISK_LINE& disk)
{
    int values = 0;
    const auto take = [&scan, &values](auto& field) {
        unsigned long value = 0;
        if (!scan.fUnsigned(value)) return false;
        field = static_cast<std::remove_reference_t<decltype(field)>>(value); // some are cut to 32 bits
        values++;
        return true;
    };
    // What is passed over is the number of operations in progress.
    take(disk.l_uiReads) && take(disk.l_uiReadMerges) && take(disk.l_ulReadSectors) &&
        take(disk.l_uiReadTicks) && take(disk.l_uiWrites) && take(disk.l_uiWriteMerges) &&
        take(disk.l_ulWriteSectors) && take(disk.l_uiWriteTicks) && scan.fSkip(1) && take(disk.l_ulTicks) &&
        take(disk.l_uiWeighted);
    return values;
}

// NVMe disks take their minor numbers as they come. Their partitions count as well, on purpose.
bool fIsWholeDisk(const ST_DISK_LINE& disk)
{
    return disk.l_nMinor % DISK_MINORS == 0 || disk.l_strName.substr(0, 4) == "nvme";
}

int fParseLine(const char* line, ST_DISK_LINE& disk, bool hasBlocks, bool onlyDisks = false)
{
    CNumberScan scan(line);
    long blocks = 0;
    if (!scan.fInt(disk.l_nMajor)) return 0;
    if (!scan.fInt(disk.l_nMinor)) return 1;
    if ((hasBlocks && !scan.fLong(blocks)) || !fTakeName(scan, disk.l_strName)) return 2;
    if (onlyDisks && !fIsWholeDisk(disk)) return 3;
    return 3 + fTakeColumns(scan, disk);
}
} // namespace

int CMM_IO_Info::fMGetDevNames(int mode)
{
    return fListDevices(mode) ? m_nNDev : 0;
}

bool CMM_IO_Info::fListDevices(int mode)
{
    if (mode == 0 && m_nNDevINV == 0) m_pstNextNode = m_pclINVList->fSlGetHeadNode(); // its node may be gone
    fgRunShell(COMMAND_LISTING, FILE_LISTING);
    const COwnedStream file(fopen(FILE_LISTING, "re"));
    if (file == nullptr) {
        fgLog(LOG_DISK, LOG_ERROR, m_strLogMsg, "fMGetDevNames D_FOPEN failed");
        return false;
    }
    char line[LISTING_LINE_SIZE];
    while (fgets(line, sizeof(line), file.get()) != nullptr) {
        ST_LISTED_DISK disk;
        if (!fgParseListedDisk(line, disk)) continue;
        if (mode == 0 && !fAddToInventory(disk)) break;
        if (mode != 0 && !fAddToTable(disk)) return false;
    }
    fgLog(LOG_DISK, LOG_DETAIL, m_strLogMsg, "fMGetDevNames end ");
    m_nNDev = m_nDevNameCount;
    return true;
}

// false when there are enough: the bound is tested behind the insertion, so a list holds one more than
// g_nDiskMaxGatherCnt, on purpose.
bool CMM_IO_Info::fAddToInventory(const ST_LISTED_DISK& disk)
{
    _ST_DISKIO record = {};
    fgSetDiskPath(record.l_strDEVname, disk.l_strName);
    record.l_nTotSize = disk.l_ulBlocks / 1000;
    if (m_pclINVList->fSlInsert(&record, sizeof(record), nullptr) == nullptr) return false;
    m_nNDevINV++;
    return g_nDiskStrType != 0 || g_nDiskMaxGatherCnt < 1 || m_nNDevINV <= g_nDiskMaxGatherCnt;
}

// false when there is no memory.
bool CMM_IO_Info::fAddToTable(const ST_LISTED_DISK& disk)
{
    _ST_DEV_NAME entry = {};
    fgSetDiskPath(entry.m_pstrName, disk.l_strName);
    entry.m_lTotalSize = disk.l_ulBlocks;
    if (m_clTableIndex.count(entry.m_pstrName) != 0) return true;
    void* grown = realloc(m_pstDevName, static_cast<size_t>(m_nDevNameCount + 1) * sizeof(entry));
    if (grown == nullptr) return false;
    m_pstDevName = static_cast<_ST_DEV_NAME*>(grown);
    m_pstDevName[m_nDevNameCount] = entry;
    m_clTableIndex.emplace(entry.m_pstrName, m_nDevNameCount);
    m_nDevNameCount++;
    return true;
}

char* CMM_IO_Info::fMParceDevUnit(const char* src, char* dst, int size)
{
    if (size < 1) return nullptr;
    memset(dst, 0, static_cast<size_t>(size));
    const char* start = m_pclUtil->fSkipWs(src);
    char* end = m_pclUtil->fSkipToken(start);
    if (end - start >= size) return nullptr;
    memcpy(dst, start, static_cast<size_t>(end - start));
    return end;
}

int fCMPDeviceName(const void* first, const void* second)
{
    return strncmp(static_cast<const char*>(first), static_cast<const char*>(second), DISK_PATH_SIZE - 1) == 0
               ? 1
               : 0;
}

DISK_SOURCE fgDiskSource(int kernelMajor, int kernelMinor)
{
    if (kernelMajor == 2 && kernelMinor == 2) return DISK_SOURCE_STAT;
    if (kernelMajor == 2 && kernelMinor == 4) return DISK_SOURCE_PARTITIONS;
    if (kernelMajor > 2 || (kernelMajor == 2 && kernelMinor > 5)) return DISK_SOURCE_DISKSTATS;
    return DISK_SOURCE_NONE;
}

bool fgParseListedDisk(const char* line, ST_LISTED_DISK& disk)
{
    int minor = 0;
    int active = 1; // the sixth column of statistics: merged writes
    // Kernels 2.4 have "rio" in the header alone; their lines of disks are read as plain ones, which is kept.
    const bool extended = strstr(line, "rio") != nullptr;
    const bool whole = extended
                           ? sscanf(line, "%*d %d %lu %63s %*d %*d %*d %*d %*d %d", &minor, &disk.l_ulBlocks,
                                    disk.l_strName, &active) >= 3
                           : sscanf(line, "%*d %d %lu %63s", &minor, &disk.l_ulBlocks, disk.l_strName) == 3;
    if (!whole) return false;
    return disk.l_ulBlocks / 1000 > DISK_SMALL && active != 0 && minor % DISK_MINORS == 0;
}

int fgParseDiskstats(const char* line, ST_DISK_LINE& disk, bool onlyDisks)
{
    return fParseLine(line, disk, false, onlyDisks);
}

int fgParsePartitions(const char* line, ST_DISK_LINE& disk)
{
    const int values = fParseLine(line, disk, true);
    disk.l_ulTicks = static_cast<unsigned int>(disk.l_ulTicks); // 32 bits on these kernels
    return values;
}

bool fgPassesDiskFilter(const ST_DISK_LINE& disk, int values)
{
    if (values == DISK_LINE_VALUES)
        for (const std::string_view part : NOT_DISKS)
            if (disk.l_strName.find(part) != std::string_view::npos) return false;
    return fIsWholeDisk(disk);
}

void fgSetDiskPath(char (&path)[DISK_PATH_SIZE], std::string_view name)
{
    constexpr std::string_view FOLDER = "/dev/";
    memcpy(path, FOLDER.data(), FOLDER.size());
    fgReplaceText(path + FOLDER.size(), sizeof(path) - FOLDER.size(), name);
}
