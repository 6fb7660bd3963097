#pragma once

#include "inventory/Pci.h"

// The PCI devices of /proc/pci, which kernels 2.2, 2.4 and early 2.6 have. Nothing is logged. One caller
// thread per object.
class CPci_Info
{
public:
    CPci_Info() = default;
    ~CPci_Info();
    CPci_Info(const CPci_Info&) = delete;
    CPci_Info& operator=(const CPci_Info&) = delete;

    // Counts the lines with "Bus" anywhere, so also "SMBus" in a device's name, and stores the count. Returns
    // it; 0 when the file cannot be opened.
    unsigned GetPciNum();

    // Reads class and name of each device, with the rules of CNIC_Info::GetNICInfos: an array of PciNum()
    // devices, blank behind the last, the reader's until the next call; or null.
    CPci* GetPciInfo();

    // The stored count. It is the array's length until GetPciNum is called or the file cannot be opened.
    unsigned PciNum() const { return m_nPciNum; }

    // Keeps a path for the agent, cut to 511 bytes; nothing here uses it. Returns 1.
    int fSetCurrentPath(const char* path);

    unsigned m_nPciNum = 0;
    char m_strCurrentPath[512] = {};
    CPci* m_pclCPci = nullptr; // from new[]
};
