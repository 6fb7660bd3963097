#pragma once

#include "inventory/Cdrom.h"
#include "inventory/Disk.h"

// The CD-ROM drives of the installer's hardware list, /etc/sysconfig/hwconf. Disks and tape drives have their
// place here, for an agent that fills it; this reader does not list them. Nothing is logged. One caller
// thread per object.
class CDisk_Info
{
public:
    CDisk_Info() = default;
    ~CDisk_Info();
    CDisk_Info(const CDisk_Info&) = delete;
    CDisk_Info& operator=(const CDisk_Info&) = delete;

    // Counts the lines with "class: CDROM" and stores the count. Returns it; 0 when the list cannot be
    // opened.
    unsigned GetCdromNum();
    unsigned GetDiskNum() { return 0; } // on every host; the stored counts stay as they are
    unsigned GetDatNum() { return 0; }

    // Reads the description of each drive, as CNIC_Info::GetNICInfos does of cards: an array of CdromNum()
    // drives, the reader's until the next call, or null.
    CCdrom* GetCdromInfo();

    // The stored counts. That of CD-ROM drives is the array's length until GetCdromNum is called or the list
    // cannot be opened; the others are the agent's, 0 at first.
    unsigned DiskNum() const { return m_nDiskNum; }
    unsigned CdromNum() const { return m_nCdromNum; }
    unsigned DatNum() const { return m_nDatNum; }

    // Keeps a path for the agent, cut to 511 bytes; nothing here uses it. Returns 1.
    int fSetCurrentPath(const char* path);

    unsigned m_nDiskNum = 0;
    unsigned m_nCdromNum = 0;
    unsigned m_nDatNum = 0;
    char m_strCurrentPath[512] = {};
    // From new[], released by the destructor, also what the agent put there.
    CDisk* m_pclCDisk = nullptr; // the agent's to fill
    CCdrom* m_pclCCdrom = nullptr;
    CDisk* m_pclCDat = nullptr; // the agent's to fill: tape drives, as disks
};
