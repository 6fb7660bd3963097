#include "collect/NetworkExtList.h"

CNetworkExtList::CNetworkExtList() : CNamedList(NETWORK_EXT_NO_MEMORY) {}

int CNetworkExtList::fAddLinkedList(const char* name)
{
    _ST_NETWORKEXT_LIST node;
    return fNewNode(name, node) ? fAddNode(&node) : -1;
}
