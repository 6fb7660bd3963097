#include "collect/SSList.h"

#include <cstdlib>
#include <cstring>

namespace
{
const void* fElement(ST_SSNODE_T* node)
{
    return node + 1;
}

ST_SSNODE_T* fNewNode(const void* element, int size)
{
    if (size < 0) return nullptr;
    const auto bytes = static_cast<size_t>(size);
    auto* node = static_cast<ST_SSNODE_T*>(malloc(sizeof(ST_SSNODE_T) + bytes));
    if (node != nullptr && bytes > 0) memcpy(node + 1, element, bytes);
    return node;
}

// Moves the first element found that must come before an earlier one right in front of that one.
bool fMoveOne(ST_SSNODE_T* head, SSLIST_COMPARE compare)
{
    for (ST_SSNODE_T *previous = head, *current; (current = previous->m_pstNext) != nullptr;
         previous = current) {
        for (ST_SSNODE_T *before = current, *later; (later = before->m_pstNext) != nullptr; before = later) {
            if (compare(fElement(current), fElement(later)) <= 0) continue;
            before->m_pstNext = later->m_pstNext;
            later->m_pstNext = current;
            previous->m_pstNext = later;
            return true;
        }
    }
    return false;
}
} // namespace

CSSList::CSSList()
{
    fSlInit();
}

CSSList::~CSSList()
{
    free(m_pstLlHead);
}

int CSSList::fSlInit()
{
    free(m_pstLlHead);
    m_pstLast = nullptr;
    m_pstLlHead = static_cast<ST_SSNODE_T*>(malloc(sizeof(ST_SSNODE_T)));
    if (m_pstLlHead == nullptr) return 0;
    m_pstLlHead->m_pstNext = nullptr;
    m_nLlCount = 0;
    return 0;
}

ST_SSNODE_T* CSSList::fInsertAfter(ST_SSNODE_T* before, const void* element, int size)
{
    ST_SSNODE_T* node = before == nullptr ? nullptr : fNewNode(element, size);
    if (node == nullptr) return nullptr;
    node->m_pstNext = before->m_pstNext;
    before->m_pstNext = node;
    m_nLlCount++;
    return node;
}

ST_SSNODE_T* CSSList::fSlInsert(const void* element, int size, SSLIST_COMPARE compare)
{
    return fSlInsertFifo(element, size, compare);
}

ST_SSNODE_T* CSSList::fSlInsertFifo(const void* element, int size, SSLIST_COMPARE)
{
    return fInsertAfter(fLast(), element, size);
}

// Walks on from where it ended before, so that inserts one after another do not walk the whole list. Whatever
// frees or moves nodes forgets that place; a list emptied or replaced through its public head is noticed
// here.
ST_SSNODE_T* CSSList::fLast()
{
    const bool empty = m_pstLlHead == nullptr || m_pstLlHead->m_pstNext == nullptr;
    if (empty || m_pstLast == nullptr || m_pstLastHead != m_pstLlHead) m_pstLast = m_pstLlHead;
    m_pstLastHead = m_pstLlHead;
    while (m_pstLast != nullptr && m_pstLast->m_pstNext != nullptr)
        m_pstLast = m_pstLast->m_pstNext;
    return m_pstLast;
}

ST_SSNODE_T* CSSList::fSlInsertLifo(const void* element, int size, SSLIST_COMPARE)
{
    return fInsertAfter(m_pstLlHead, element, size);
}

ST_SSNODE_T* CSSList::fSlInsertFcmp(const void* element, int size, SSLIST_COMPARE compare)
{
    ST_SSNODE_T* before = m_pstLlHead;
    while (before != nullptr && before->m_pstNext != nullptr &&
           compare(fElement(before->m_pstNext), element) != 1)
        before = before->m_pstNext;
    return fInsertAfter(before, element, size);
}

void CSSList::fSlSort(const void*, int, SSLIST_COMPARE compare)
{
    if (m_pstLlHead == nullptr) return;
    m_pstLast = nullptr;
    while (fMoveOne(m_pstLlHead, compare)) // starts over after every move
        ;
}

// The node in front of the first match, or null. Without a head there is nothing to match.
ST_SSNODE_T* CSSList::fBeforeMatch(const void* key, SSLIST_COMPARE compare) const
{
    for (ST_SSNODE_T* before = m_pstLlHead; before != nullptr && before->m_pstNext != nullptr;
         before = before->m_pstNext)
        if (compare(fElement(before->m_pstNext), key) == 1) return before;
    return nullptr;
}

ST_SSNODE_T* CSSList::fSlSearch(const void* key, int, SSLIST_COMPARE compare) const
{
    ST_SSNODE_T* before = fBeforeMatch(key, compare);
    return before == nullptr ? nullptr : before->m_pstNext;
}

ST_SSNODE_T* CSSList::fSlDelete(const void* key, int, SSLIST_COMPARE compare)
{
    if (m_pstLlHead == nullptr || m_pstLlHead->m_pstNext == nullptr) {
        // Counts down here and not at a real deletion: owners reset the count by fSlDeleteAll or a rebuild,
        // and would be off by their deletions if this were put right.
        m_nLlCount--;
        return nullptr;
    }
    ST_SSNODE_T* before = fBeforeMatch(key, compare);
    if (before == nullptr) return nullptr;
    ST_SSNODE_T* match = before->m_pstNext;
    before->m_pstNext = match->m_pstNext;
    m_pstLast = nullptr;
    free(match);
    return before;
}

ST_SSNODE_T* CSSList::fSlDelete(const void* key, int size, SSLIST_COMPARE compare, int* deleted)
{
    *deleted = 0;
    ST_SSNODE_T* last = nullptr;
    while (ST_SSNODE_T* before = fSlDelete(key, size, compare)) {
        last = before;
        ++*deleted;
    }
    return last;
}

ST_SSNODE_T** CSSList::fSlDeleteAll()
{
    m_nLlCount = 0;
    m_pstLast = nullptr;
    if (m_pstLlHead == nullptr) return nullptr;
    for (ST_SSNODE_T *node = m_pstLlHead->m_pstNext, *next; node != nullptr; node = next) {
        next = node->m_pstNext;
        free(node);
    }
    m_pstLlHead->m_pstNext = nullptr;
    return &m_pstLlHead->m_pstNext;
}
