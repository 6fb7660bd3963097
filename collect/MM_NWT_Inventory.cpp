#include <cstdio>
#include <string>

#include "collect/MM_NWT_Info.h"
#include "driver/RunConfig.h"
#include "lib/InventoryFile.h"
#include "lib/NStringLib.h"

// The interface inventory: written by a script, handed on and watched for changes here; and the extension
// interfaces, which it names.

namespace
{
constexpr char COMMAND_INVENTORY[] = "../../utils/ETC/ShCmd 1200 ./libinvinfo 3 %d &";
constexpr int NAME_COLUMN = 2; // of a row, counted from 1
} // namespace

int CMM_NWT_Info::fCommandINV(int number)
{
    char command[80];
    snprintf(command, sizeof(command), COMMAND_INVENTORY, number);
    return fgSaveInventoryCommand("nic_inv_1", command, LOG_NETWORK, m_strLogMsg);
}

int CMM_NWT_Info::fGetInterfaceINV()
{
    return fReadInventory(m_strDataPath, m_pStrInterfaceINV, m_nInterfaceINVSize);
}

int CMM_NWT_Info::fGetInterfaceNewINV()
{
    return fReadInventory(m_strDataNewPath, m_pStrInterfaceNewINV, m_nInterfaceINVNewSize);
}

int CMM_NWT_Info::fReadInventory(const char* path, char*& buffer, int& size)
{
    m_nInterfaceINVCnt = 0;
    std::string record;
    if (!fReadRecord(path, record)) return -1;
    const size_t room = static_cast<size_t>(size);
    if (room < record.size() && !fgReserveInventory(buffer, size, room + record.size() + INVENTORY_EXTRA))
        return -1;
    if (!fgStoreInventoryTable(record, buffer, size, LOG_NETWORK, m_strLogMsg)) return -1;
    m_nInterfaceINVCnt = 1;
    if (g_nNetworkExtGather == 1) fSetExtNetwork(buffer);
    return 1;
}

int CMM_NWT_Info::fInterfaceChangeCheck()
{
    std::string record;
    if (!fReadRecord(m_strDataPath, record)) return -1;
    const std::string_view seen(m_pstrInterfaceName == nullptr ? "" : m_pstrInterfaceName);
    const bool first = seen.size() <= 1;
    if (!first && seen == record) return 0;
    if (!first) fgLog(LOG_NETWORK, LOG_ERROR, m_strLogMsg, "Interface inv change");
    if (!fgStoreInventory(record, m_pstrInterfaceName, m_nInterfaceNameSize)) return -1;
    return first ? 0 : 1;
}

int CMM_NWT_Info::fINVFileRemove()
{
    remove(m_strDataPath);
    return remove(m_strDataNewPath);
}

int CMM_NWT_Info::fSetExtNetwork(const char* table)
{
    m_pclNetworkExtList->fFreeAll();
    std::string text(table == nullptr ? "" : table); // splitting overwrites it
    char* rows = text.data();
    Nstrstrtok(nullptr, m_strSplit[0], &rows); // the header
    while (char* columns = Nstrstrtok(nullptr, m_strSplit[0], &rows)) {
        const char* name = nullptr;
        for (int column = 0; column < NAME_COLUMN; column++)
            name = Nstrstrtok(nullptr, m_strSplit[1], &columns);
        if (name == nullptr) continue;
        fgLog(LOG_NETWORK, LOG_NORMAL, m_strLogMsg, "fSetExtNetwork[%s]", name);
        m_pclNetworkExtList->fAddLinkedList(name);
    }
    return 0;
}

int CMM_NWT_Info::fMatchNicName(const char* ifname)
{
    _ST_NETWORKEXT_LIST* node = m_pclNetworkExtList->fGetInterfaceNode(ifname);
    if (node != nullptr) node->m_nTAQFlag = 1;
    return 0;
}

int CMM_NWT_Info::fAddExtNicTAQ()
{
    if (!fMakeRowBuffers()) return 0;
    const _ST_NETWORKEXT_LIST* node = m_pclNetworkExtList->fGetHeadNode();
    for (; node != nullptr; node = node->m_pstNext)
        if (node->m_nTAQFlag == 0) fAppendRow(node->m_strIFName, fGetLinkAlive(node->m_strIFName), nullptr);
    return 0;
}

bool CMM_NWT_Info::fReadRecord(const char* path, std::string& record)
{
    return fgReadInventory(path, fgHasLowerCase, "VELKInterface", LOG_NETWORK, m_strLogMsg, record);
}
