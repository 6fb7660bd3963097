#pragma once

#include "inventory/ModelName.h"

// A PCI device: its class, such as "Ethernet controller", and its name. Setters cut what does not fit.
class CPci
{
public:
    char* ModuleType() { return m_cpModuleType; } // the item's own
    void ModuleType(const char* text) { fgSetItemText(m_cpModuleType, text); }
    char* ModuleName() { return m_cpModuleName; }
    void ModuleName(const char* text) { fgSetItemText(m_cpModuleName, text); }

    char m_cpModuleType[128] = {};
    char m_cpModuleName[128] = {};
    char m_cpSlot[10] = {}; // for the agent: the reader leaves it and the number alone
    int m_nSlotNum = 0;
};
