#pragma once

#include "lib/LinkedList.h"

// Further order types: ascending and descending by key. Equal keys keep the order of their insertion.
constexpr int LIST_ORDER_ASCENDING = 3;
constexpr int LIST_ORDER_DESCENDING = 4;
constexpr long OBJECT_LIST_MAX = 1000000000; // most nodes a list says it takes, unless it is told otherwise

struct ST_OBJECTLIST_LNKLST
{
    int m_nIndex;    // the key
    void* m_pvdData; // the caller's; the list never frees it
    ST_OBJECTLIST_LNKLST* m_pstNext;
    ST_OBJECTLIST_LNKLST* m_pstPrev;
};

// A doubly linked list of pairs of a key and a pointer, with a cursor: "fMoveFirst", then "fMoveNext" until
// it returns null. Lookups walk the list: it is meant for tens of nodes. Nothing here locks or logs; one
// thread.
class CObjectList : public CLinkedList<ST_OBJECTLIST_LNKLST>
{
public:
    // order is LIST_ORDER_*; anything else is ascending. max is stored and reported, nothing more. duplicates
    // 0 refuses a key that is there, everything else allows it.
    explicit CObjectList(int order = LIST_ORDER_ASCENDING, long max = OBJECT_LIST_MAX, int duplicates = 1);

    // Adds a copy of the node's key and pointer. The first node gets the cursor; later ones leave it alone.
    // Returns 1; 0 when duplicates are refused and the key is there; -1 with an error for null ("[-1] Add
    // node is NULL") and without memory (the system's error number, "[number] its text").
    int fAddNode(const ST_OBJECTLIST_LNKLST* node);

    // Where a node would go: position is what it goes in front of, null for the end. Returns 1; 0 when it
    // would be refused, and position is the node that has its key then.
    int fSearchInsertPosition(const ST_OBJECTLIST_LNKLST* node, ST_OBJECTLIST_LNKLST*& position) const;

    using CLinkedList::fGetNode;
    // The first node with that key in the order of the list, or null.
    ST_OBJECTLIST_LNKLST* fGetNode(int key) const;

    // Deletes the nodes with that key in one walk: 1 when there was one, else 0. When the head goes, the node
    // behind it, the new head, is passed over and stays, whatever its key. A cursor on a deleted node goes to
    // the one before it, from the head to the one behind it.
    int fDeleteNode(int key);
};
