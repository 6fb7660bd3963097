#include <cstdio>
#include <string>

#include "collect/MM_IO_Info.h"
#include "lib/InventoryFile.h"

// The disk inventory: written by a script, handed on and watched for changes here.

namespace
{
constexpr char COMMAND_INVENTORY[] = "./shell/libinvdiskexe.sh 2 %d &";
} // namespace

int CMM_IO_Info::fCommandINV(int number)
{
    char command[64];
    snprintf(command, sizeof(command), COMMAND_INVENTORY, number);
    return fgSaveInventoryCommand("disk_inv_1", command, LOG_DISK, m_strLogMsg);
}

int CMM_IO_Info::fGetDiskINV()
{
    m_nDiskINVCnt = 0;
    std::string record;
    if (!fReadRecord(record)) return -1;
    if (!fTellSize(m_nDiskINVSize, record)) return -1;
    if (!fgStoreInventoryTable(record, m_pStrDiskINV, m_nDiskINVRoom, LOG_DISK, m_strLogMsg)) return -1;
    m_nDiskINVCnt = 1;
    return 1;
}

int CMM_IO_Info::fDiskChangeCheck()
{
    std::string record;
    if (!fReadRecord(record) || m_pstrDiskName == nullptr) return -1;
    const std::string_view seen(m_pstrDiskName);
    const bool first = seen.size() <= 1; // one character is what the agent may put there instead of nothing
    const bool changed = !first && seen != record;
    if (changed) fgLog(LOG_DISK, LOG_ERROR, m_strLogMsg, "disk inv change");
    // The new size goes to the other buffer's member, which is kept: the agent sees it there.
    if (!fTellSize(m_nDiskNameSize, record)) return -1;
    if ((first || changed) && !fgStoreInventory(record, m_pstrDiskName, m_nDiskNameRoom)) return -1;
    return changed ? 1 : 0;
}

int CMM_IO_Info::fINVFileRemove()
{
    return remove(m_strDataPath);
}

int CMM_IO_Info::fCommandExecute()
{
    return 1;
}

// What the agent is told of the inventory buffer once a buffer of that size took the record: as it was,
// unless the record is longer. The buffer is never smaller than that. false when there is no memory.
bool CMM_IO_Info::fTellSize(int size, const std::string& record)
{
    if (record.size() <= static_cast<size_t>(size)) return true;
    const size_t told = static_cast<size_t>(size) + record.size() + INVENTORY_EXTRA;
    if (!fgReserveInventory(m_pStrDiskINV, m_nDiskINVRoom, told)) return false;
    m_nDiskINVSize = static_cast<int>(told);
    return true;
}

bool CMM_IO_Info::fReadRecord(std::string& record)
{
    return fgReadInventory(m_strDataPath, fgHasLowerCase, "VELKDISK", LOG_DISK, m_strLogMsg, record);
}
