#pragma once

#include <cstring>
#include <string_view>
#include <unordered_map>

#include "collect/SSList.h"

// Finds a collector's stored samples, records TSample in a CSSList, by their field NAME, a fixed array.
// During a pass it does not search the list, which for each device would make the pass quadratic: it looks
// where the device before was found and behind it, since the kernel lists devices in the order of the pass
// before, and asks an index when that fails. At other times it searches, since the list is public and others
// may change it.
template <class TSample, auto NAME> class CSampleIndex
{
public:
    explicit CSampleIndex(SSLIST_COMPARE match) : m_fnMatch(match) {}

    // A pass begins, in which only fInsert changes the list.
    void fBegin(const CSSList& list);
    void fEnd();

    // The sample with the name of the key; null for none. It stays the list's.
    TSample* fFind(const CSSList& list, const TSample& key);

    // Appends a copy of the sample, whose name is not there yet. false without memory.
    bool fInsert(CSSList& list, const TSample& sample);

    // The name of a record, which a caller may have filled to the brim.
    static std::string_view fNameOf(const TSample& sample)
    {
        return {sample.*NAME, strnlen(sample.*NAME, sizeof(sample.*NAME) - 1)};
    }

private:
    void fAddToIndex(ST_SSNODE_T* node);

    SSLIST_COMPARE m_fnMatch;
    std::unordered_map<std::string_view, ST_SSNODE_T*> m_clIndex; // the names are those in the list
    bool m_bPass = false;
    bool m_bIndexed = false;           // in this pass
    ST_SSNODE_T* m_pstFound = nullptr; // where the device before was found; the head at first
};

template <class TSample, auto NAME> void CSampleIndex<TSample, NAME>::fBegin(const CSSList& list)
{
    fEnd();
    m_pstFound = list.fSlGetHeadNode();
    m_bPass = m_pstFound != nullptr;
}

template <class TSample, auto NAME> void CSampleIndex<TSample, NAME>::fEnd()
{
    m_clIndex.clear();
    m_bPass = m_bIndexed = false;
}

template <class TSample, auto NAME>
TSample* CSampleIndex<TSample, NAME>::fFind(const CSSList& list, const TSample& key)
{
    if (!m_bPass) {
        ST_SSNODE_T* node = list.fSlSearch(&key, sizeof(key), m_fnMatch);
        return node == nullptr ? nullptr : fgNodeElement<TSample>(node);
    }
    const std::string_view name = fNameOf(key);
    for (ST_SSNODE_T* node : {m_pstFound, m_pstFound->m_pstNext})
        if (node != nullptr && node != list.fSlGetHeadNode() &&
            fNameOf(*fgNodeElement<TSample>(node)) == name) {
            m_pstFound = node;
            return fgNodeElement<TSample>(node);
        }
    if (!m_bIndexed)
        for (ST_SSNODE_T* node = list.fSlGetHeadNode()->m_pstNext; node != nullptr; node = node->m_pstNext)
            fAddToIndex(node);
    m_bIndexed = true;
    const auto entry = m_clIndex.find(name);
    if (entry == m_clIndex.end()) return nullptr;
    m_pstFound = entry->second;
    return fgNodeElement<TSample>(m_pstFound);
}

template <class TSample, auto NAME>
bool CSampleIndex<TSample, NAME>::fInsert(CSSList& list, const TSample& sample)
{
    ST_SSNODE_T* node = list.fSlInsert(&sample, sizeof(sample), nullptr);
    if (node == nullptr) return false;
    if (m_bIndexed) fAddToIndex(node);
    return true;
}

template <class TSample, auto NAME> void CSampleIndex<TSample, NAME>::fAddToIndex(ST_SSNODE_T* node)
{
    m_clIndex.emplace(fNameOf(*fgNodeElement<TSample>(node)), node);
}
