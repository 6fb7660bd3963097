#include "inventory/Disk_Info.h"

#include "inventory/HardwareText.h"

CDisk_Info::~CDisk_Info()
{
    delete[] m_pclCDisk;
    delete[] m_pclCCdrom;
    delete[] m_pclCDat;
}

unsigned CDisk_Info::GetCdromNum()
{
    return m_nCdromNum = fgCountLines(FILE_HARDWARE, "class: CDROM");
}

CCdrom* CDisk_Info::GetCdromInfo()
{
    return fgListDevices("CDROM", m_pclCCdrom, m_nCdromNum, [this] { return GetCdromNum(); });
}

int CDisk_Info::fSetCurrentPath(const char* path)
{
    fgSetItemText(m_strCurrentPath, path);
    return 1;
}
