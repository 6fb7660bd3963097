#include "lib/ObjectBuffer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

CObjectBuffer::CObjectBuffer()
    : m_pcllData(new CObjectList(LIST_ORDER_APPEND)), m_pcllKeyTable(new CObjectList(LIST_ORDER_APPEND))
{}

CObjectBuffer::~CObjectBuffer()
{
    fFreeObjects();
    delete m_pcllData;
    delete m_pcllKeyTable;
}

int CObjectBuffer::fObjectPut(const char* name, void* object)
{
    if (name == nullptr) return 0;
    const int index = fGetPutIndex(name);
    const ST_OBJECTLIST_LNKLST key = {index, strdup(name), nullptr, nullptr};
    const ST_OBJECTLIST_LNKLST data = {index, object, nullptr, nullptr};
    m_pcllKeyTable->fAddNode(&key);
    m_pcllData->fAddNode(&data);
    return index;
}

int CObjectBuffer::fGetPutIndex(const char*) const
{
    // Of n names one at most stands in the way of each index, so one up to n + 1 is free.
    std::vector<bool> taken(static_cast<size_t>(fGetSize()) + 2);
    taken[0] = true;
    const ST_OBJECTLIST_LNKLST* key = m_pcllKeyTable->fGetHeadNode();
    for (; key != nullptr; key = key->m_pstNext)
        if (static_cast<size_t>(key->m_nIndex) < taken.size())
            taken[static_cast<size_t>(key->m_nIndex)] = true;
    return static_cast<int>(std::find(taken.begin(), taken.end(), false) - taken.begin());
}

int CObjectBuffer::fObjectRemove(const char* name)
{
    ST_OBJECTLIST_LNKLST* key = fFindName(name);
    if (key == nullptr) return 0;
    const int index = key->m_nIndex;
    free(key->m_pvdData);
    key->m_pvdData = nullptr;
    m_pcllKeyTable->fDeleteNode(index);
    m_pcllData->fDeleteNode(index);
    return 1;
}

void* CObjectBuffer::fSetObject(const char* name, void* object)
{
    const ST_OBJECTLIST_LNKLST* key = fFindName(name);
    return key == nullptr ? nullptr : fSetObject(key->m_nIndex, object);
}

void* CObjectBuffer::fSetObject(int index, void* object)
{
    ST_OBJECTLIST_LNKLST* data = m_pcllData->fGetNode(index);
    if (data == nullptr) return nullptr;
    data->m_pvdData = object;
    return object;
}

void* CObjectBuffer::fGetObject(const char* name) const
{
    const ST_OBJECTLIST_LNKLST* key = fFindName(name);
    return key == nullptr ? nullptr : fGetObject(key->m_nIndex);
}

void* CObjectBuffer::fGetObject(int index) const
{
    const ST_OBJECTLIST_LNKLST* data = m_pcllData->fGetNode(index);
    return data == nullptr ? nullptr : data->m_pvdData;
}

char* CObjectBuffer::fGetObjectKey(int index) const
{
    const ST_OBJECTLIST_LNKLST* key = m_pcllKeyTable->fGetNode(index);
    return key == nullptr ? nullptr : static_cast<char*>(key->m_pvdData);
}

int CObjectBuffer::fGetSize() const
{
    return static_cast<int>(m_pcllKeyTable->fGetNodeCnt());
}

int CObjectBuffer::fFreeObjects()
{
    m_pcllKeyTable->fMoveFirst();
    while (const ST_OBJECTLIST_LNKLST* key = m_pcllKeyTable->fMoveNext())
        free(key->m_pvdData);
    m_pcllKeyTable->fFreeAll();
    m_pcllData->fFreeAll();
    return 1;
}

// A name there was no memory for is null, and found by nobody.
ST_OBJECTLIST_LNKLST* CObjectBuffer::fFindName(const char* name) const
{
    if (name == nullptr) return nullptr;
    m_pcllKeyTable->fMoveFirst();
    while (ST_OBJECTLIST_LNKLST* key = m_pcllKeyTable->fMoveNext())
        if (key->m_pvdData != nullptr && strcmp(static_cast<const char*>(key->m_pvdData), name) == 0)
            return key;
    return nullptr;
}
