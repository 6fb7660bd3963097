#include "inventory/NIC_Info.h"

#include "inventory/HardwareText.h"

CNIC_Info::~CNIC_Info()
{
    delete[] m_pclCNIC;
}

unsigned CNIC_Info::GetNICNum()
{
    return m_nNICNum = fgCountLines(FILE_HARDWARE, "class: NETWORK");
}

CNIC* CNIC_Info::GetNICInfos()
{
    return fgListDevices("NETWORK", m_pclCNIC, m_nNICNum, [this] { return GetNICNum(); });
}

int CNIC_Info::fSetCurrentPath(const char* path)
{
    fgSetItemText(m_strCurrentPath, path);
    return 1;
}
