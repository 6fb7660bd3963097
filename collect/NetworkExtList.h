#pragma once

#include "collect/NamedList.h"

// An extension interface: one that the interface inventory names.
struct _ST_NETWORKEXT_LIST
{
    char m_strIFName[32]; // cut at 31 characters
    int m_nTAQFlag;       // 1 once a pass over the counters has reported the interface
    _ST_NETWORKEXT_LIST* m_pstNext;
    _ST_NETWORKEXT_LIST* m_pstPrev;
};

// Error message without memory for a node.
constexpr char NETWORK_EXT_NO_MEMORY[] = "[%d] %s";

// The interfaces of the inventory, in its order. Duplicates are refused until m_nDupFlag says otherwise.
class CNetworkExtList : public CNamedList<_ST_NETWORKEXT_LIST>
{
public:
    CNetworkExtList();

    // Adds an interface that no pass has reported yet. Returns 1; 0 when it is there already; -1 without a
    // name, with a word on standard output, and without memory.
    int fAddLinkedList(const char* name);
};
