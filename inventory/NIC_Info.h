#pragma once

#include "inventory/NIC.h"

// The network cards of the installer's hardware list, /etc/sysconfig/hwconf. Nothing is logged. One caller
// thread per object.
class CNIC_Info
{
public:
    CNIC_Info() = default;
    ~CNIC_Info();
    CNIC_Info(const CNIC_Info&) = delete;
    CNIC_Info& operator=(const CNIC_Info&) = delete;

    // Counts the lines with "class: NETWORK" and stores the count. Returns it; 0 when the list cannot be
    // opened.
    unsigned GetNICNum();

    // Reads the description of each card. Releases the array of the call before, whatever becomes of this
    // one, and counts anew then; before the first array a stored count is used as it is. Returns an array of
    // NICNum() cards, in the list's order and blank where it has no description; null when there are none,
    // the list cannot be opened or there is no memory. The array is the reader's, until the next call.
    CNIC* GetNICInfos();

    // The stored count. It is the array's length until GetNICNum is called or the list cannot be opened.
    unsigned NICNum() const { return m_nNICNum; }

    // Keeps a path for the agent, cut to 511 bytes; nothing here uses it. Returns 1.
    int fSetCurrentPath(const char* path);

    unsigned m_nNICNum = 0;
    char m_strCurrentPath[512] = {};
    CNIC* m_pclCNIC = nullptr; // from new[]
};
