#pragma once

// A singly linked list of value copies behind a dummy head node. For lists such as those of disks and
// interfaces: search, ordered insertion and deletion walk the list, and the sort is quadratic or worse.

struct _node
{
    _node* m_pstNext; // null at the end; the element's bytes follow in the same allocation
};
using ST_SSNODE_T = _node;

// The element of a node, as the record it was inserted as. Not for the head node, which has none.
template <class T> T* fgNodeElement(ST_SSNODE_T* node)
{
    return reinterpret_cast<T*>(node + 1);
}

// Gets two elements. Search and delete take exactly 1 as a match, ordered insertion takes exactly 1 for "the
// first must come after the second", sorting takes any value above 0 for that.
using SSLIST_COMPARE = int (*)(const void*, const void*);

// Elements are given as a pointer to the caller's record and its size in bytes; the list copies them. The
// nodes belong to the list and their links are for reading: unlink only through the list. The head is null
// when there was no memory for it: inserts then fail and searches find nothing. Nothing here locks or logs.
class CSSList
{
public:
    CSSList();
    // Frees the head alone: the owner calls fSlDeleteAll first.
    ~CSSList();
    CSSList(const CSSList&) = delete;
    CSSList& operator=(const CSSList&) = delete;

    // Makes a new head and with it an empty list; elements of a list that was in use leak, so delete them
    // first. Returns 0, also without memory; the head is null then and the count stays.
    int fSlInit();
    int fSlCheckHead() const { return m_pstLlHead != nullptr ? 1 : 0; }
    int fSlNList() const { return m_nLlCount; }
    ST_SSNODE_T* fSlGetHeadNode() const { return m_pstLlHead; } // the first element's node is its m_pstNext

    // Insert a copy: at the tail (twice), at the head, or before the first element that compare puts behind
    // it, so after its equals. Only the last uses compare. Each returns the new node, or null without memory
    // or for a negative size; the list is unchanged then.
    ST_SSNODE_T* fSlInsert(const void* element, int size, SSLIST_COMPARE compare);
    ST_SSNODE_T* fSlInsertFifo(const void* element, int size, SSLIST_COMPARE compare);
    ST_SSNODE_T* fSlInsertLifo(const void* element, int size, SSLIST_COMPARE compare);
    ST_SSNODE_T* fSlInsertFcmp(const void* element, int size, SSLIST_COMPARE compare);

    // Sorts in place and keeps the order of equal elements. The first two arguments are not used. compare
    // must not put two elements behind each other, or the sort does not end.
    void fSlSort(const void* unused, int unusedSize, SSLIST_COMPARE compare);

    // The first node whose element matches, or null. compare gets the element, then the key; size is not
    // used.
    ST_SSNODE_T* fSlSearch(const void* key, int size, SSLIST_COMPARE compare) const;

    // Deletes the first match. Returns the node in front of it (maybe the head), or null when nothing
    // matches. On an empty list it counts fSlNList down; a deletion does not.
    ST_SSNODE_T* fSlDelete(const void* key, int size, SSLIST_COMPARE compare);
    // Deletes every match and stores their number. Returns the node in front of the last one deleted, or null
    // when nothing matches. The key must not lie in the list.
    ST_SSNODE_T* fSlDelete(const void* key, int size, SSLIST_COMPARE compare, int* deleted);
    // Deletes every element and sets fSlNList to 0. Returns the address of the head's link, null without a
    // head.
    ST_SSNODE_T** fSlDeleteAll();

    ST_SSNODE_T* m_pstLlHead = nullptr;
    int m_nLlCount = 0; // inserts since the last reset: see fSlDelete

private:
    ST_SSNODE_T* fInsertAfter(ST_SSNODE_T* before, const void* element, int size);
    ST_SSNODE_T* fBeforeMatch(const void* key, SSLIST_COMPARE compare) const;
    ST_SSNODE_T* fLast();

    ST_SSNODE_T* m_pstLast = nullptr;     // a node at or near the tail, null when none is known
    ST_SSNODE_T* m_pstLastHead = nullptr; // head of the list in which that was
};
