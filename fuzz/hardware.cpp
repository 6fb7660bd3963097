#include <algorithm>
#include <cstring>

#include "fuzz/Fuzz.h"
#include "inventory/Disk_Info.h"
#include "inventory/HardwareText.h"
#include "inventory/NIC_Info.h"
#include "inventory/Pci_Info.h"

// The lists of hardware of old hosts.

namespace
{
template <class TItem> void fCheckModels(TItem* items, unsigned count)
{
    for (unsigned i = 0; items != nullptr && i < count; i++)
        fgFuzzMust(strlen(items[i].ModelName()) < sizeof(items[i].m_cpModelName), "a model is terminated");
}

void fList(std::string_view text)
{
    fgFuzzWrite(fgFuzzHost(FILE_HARDWARE).c_str(), text);
    CNIC_Info cards;
    fCheckModels(cards.GetNICInfos(), cards.NICNum());
    cards.m_nNICNum = 1; // a stored count that is not the list's
    fCheckModels(cards.GetNICInfos(), cards.NICNum());
    CDisk_Info drives;
    fCheckModels(drives.GetCdromInfo(), drives.CdromNum());
}

void fPci(std::string_view text)
{
    fgFuzzWrite(fgFuzzHost(FILE_PCI).c_str(), text);
    CPci_Info devices;
    if (devices.GetPciInfo() == nullptr) return;
    fgFuzzMust(devices.PciNum() <= text.size() / 3, "a device has a line");
    for (unsigned i = 0; i < devices.PciNum(); i++)
        fgFuzzMust(strlen(devices.m_pclCPci[i].ModuleName()) <= ITEM_LINE_SIZE, "a name is terminated");
}

constexpr FUZZ_READER READERS[] = {fList, fPci};
const CFuzzTarget TARGET("hardware", [](std::string_view input) { fgFuzzDispatch(READERS, input); });
} // namespace
