#include "inventory/Pci_Info.h"

#include "inventory/HardwareText.h"

CPci_Info::~CPci_Info()
{
    delete[] m_pclCPci;
}

unsigned CPci_Info::GetPciNum()
{
    return m_nPciNum = fgCountLines(FILE_PCI, "Bus");
}

CPci* CPci_Info::GetPciInfo()
{
    CPci* devices = fgRenewItems(m_pclCPci, m_nPciNum, [this] { return GetPciNum(); });
    if (devices == nullptr) return nullptr;
    CPciScan scan;
    unsigned used = 0;
    const bool opened = fgVisitLines<ITEM_LINE_SIZE>(FILE_PCI, [&](char* line) {
        if (!scan.fTake(line) || used == m_nPciNum) return;
        devices[used].ModuleType(scan.fType());
        devices[used++].ModuleName(scan.fName());
    });
    return opened ? devices : nullptr;
}

int CPci_Info::fSetCurrentPath(const char* path)
{
    fgSetItemText(m_strCurrentPath, path);
    return 1;
}
