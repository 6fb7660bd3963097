#pragma once

#include <cstring>
#include <string_view>
#include <unordered_map>

#include "collect/SSList.h"

// Finds a collector's stored samples, records TSample in a CSSList, by their field NAME, a fixed array.
// During a pass it asks an index, since a search of the list for each device would make the pass quadratic;
// at other times it searches, since the list is public and others may change it.
template <class TSample, auto NAME> class CSampleIndex
{
public:
    explicit CSampleIndex(SSLIST_COMPARE match) : m_fnMatch(match) {}

    // A pass begins: the index is made from the list, which only fInsert changes until the pass ends.
    void fBegin(const CSSList& list);
    void fEnd();

    // The sample with the name of the key; null for none. It stays the list's.
    TSample* fFind(const CSSList& list, const TSample& key) const;

    // Appends a copy of the sample, whose name is not there yet. false without memory.
    bool fInsert(CSSList& list, const TSample& sample);

    // The name of a record, which a caller may have filled to the brim.
    static std::string_view fNameOf(const TSample& sample)
    {
        return {sample.*NAME, strnlen(sample.*NAME, sizeof(sample.*NAME) - 1)};
    }

private:
    SSLIST_COMPARE m_fnMatch;
    std::unordered_map<std::string_view, TSample*> m_clIndex; // the names are those in the list
    bool m_bPass = false;
};

template <class TSample, auto NAME> void CSampleIndex<TSample, NAME>::fBegin(const CSSList& list)
{
    m_clIndex.clear();
    ST_SSNODE_T* node = list.fSlGetHeadNode();
    while (node != nullptr && (node = node->m_pstNext) != nullptr) {
        auto* sample = fgNodeElement<TSample>(node);
        m_clIndex.emplace(fNameOf(*sample), sample);
    }
    m_bPass = true;
}

template <class TSample, auto NAME> void CSampleIndex<TSample, NAME>::fEnd()
{
    m_clIndex.clear();
    m_bPass = false;
}

template <class TSample, auto NAME>
TSample* CSampleIndex<TSample, NAME>::fFind(const CSSList& list, const TSample& key) const
{
    if (m_bPass) {
        const auto entry = m_clIndex.find(fNameOf(key));
        return entry == m_clIndex.end() ? nullptr : entry->second;
    }
    ST_SSNODE_T* node = list.fSlSearch(&key, sizeof(key), m_fnMatch);
    return node == nullptr ? nullptr : fgNodeElement<TSample>(node);
}

template <class TSample, auto NAME>
bool CSampleIndex<TSample, NAME>::fInsert(CSSList& list, const TSample& sample)
{
    ST_SSNODE_T* node = list.fSlInsert(&sample, sizeof(sample), nullptr);
    if (node == nullptr) return false;
    auto* stored = fgNodeElement<TSample>(node);
    if (m_bPass) m_clIndex.emplace(fNameOf(*stored), stored);
    return true;
}
