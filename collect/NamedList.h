#pragma once

#include <cstdio>
#include <cstring>
#include <string_view>

#include "lib/FixedText.h"
#include "lib/LinkedList.h"

// A doubly linked list of records of network interfaces, which keeps them in the order of their insertion and
// has a cursor. A node TNode has a text m_strIFName, a fixed array, besides what every list wants. Names are
// compared byte by byte, letter case included. Lookups walk the list: it is meant for hundreds of interfaces.
// The order types are those of lib/LinkedList.h; any other appends.
template <class TNode> class CNamedList : public CLinkedList<TNode>
{
public:
    // allocationText is kept: the format of the message when there is no memory for a node. It gets the
    // system's error number, an int, and its text.
    explicit CNamedList(const char* allocationText)
        : CLinkedList<TNode>(LIST_ORDER_APPEND, 90000, 0), m_pstrAllocationText(allocationText)
    {}

    // Adds a copy of the node; its links do not count. The first one gets the cursor. Returns 1; 0 when the
    // name is there and m_nDupFlag is 0; -1 with an error for null and without memory. With duplicates a node
    // of a name that is there goes in front of the first of them, whatever the order type.
    int fAddNode(const TNode* node);

    // Where a node would go: position is what it goes in front of, null for the end. Returns 0 when there is
    // a node of that name, which is position then, else 1.
    int fSearchInsertPosition(const TNode* node, TNode*& position) const;

    using CLinkedList<TNode>::fGetNode;
    // The first node of that name, or null; no name gives null.
    TNode* fGetNode(const char* name) const;
    TNode* fGetInterfaceNode(const char* name) const { return fGetNode(name); }

    // Delete every node of that name: 1 when there was one, else 0. A cursor on a deleted node goes to the
    // one before it, from the head to the one behind it.
    int fDeleteNode(const char* name);
    int fDelLinkedList(const char* name) { return fDeleteNode(name); }
    // Deletes that node, which has to be one of this list; 1, or 0 for null. The cursor moves as above.
    int fDeleteLinkedList(TNode* node);

    long fClearLinkedList() { return this->fFreeAll(); }
    long fGetLinkedListCnt() const { return this->m_lNodeCnt; }
    long fNodeCntInc() { return ++this->m_lNodeCnt; } // change the count alone and return it
    long fNodeCntDec() { return --this->m_lNodeCnt; }

protected:
    // A node of that name, all else zero, for fAddNode; false, with a word on standard output, without a
    // name.
    static bool fNewNode(const char* name, TNode& node);

private:
    static std::string_view fNameOf(const TNode& node);

    const char* m_pstrAllocationText;
};

template <class TNode> int CNamedList<TNode>::fAddNode(const TNode* node)
{
    if (node == nullptr) return this->fRefuseNull();
    TNode* position = nullptr;
    if (fSearchInsertPosition(node, position) == 0 && this->m_nDupFlag == 0) return 0;
    TNode copy = *node;
    fgCopyText(copy.m_strIFName, fNameOf(*node)); // terminated, also when the caller's was not
    return this->fInsert(copy, position, m_pstrAllocationText);
}

template <class TNode> int CNamedList<TNode>::fSearchInsertPosition(const TNode* node, TNode*& position) const
{
    for (position = this->m_pstHead; position != nullptr; position = position->m_pstNext)
        if (fNameOf(*position) == fNameOf(*node)) return 0;
    if (this->m_nListOrderType == LIST_ORDER_PREPEND) position = this->m_pstHead;
    return 1;
}

template <class TNode> TNode* CNamedList<TNode>::fGetNode(const char* name) const
{
    TNode* node = name == nullptr ? nullptr : this->m_pstHead;
    while (node != nullptr && fNameOf(*node) != name)
        node = node->m_pstNext;
    return node;
}

template <class TNode> int CNamedList<TNode>::fDeleteNode(const char* name)
{
    if (name == nullptr) return 0;
    // The name may be that of a node that goes. The copy holds a byte more than a node's name, so that a
    // longer name stays one that no node has.
    char wanted[sizeof(TNode::m_strIFName) + 1];
    fgCopyText(wanted, name);
    int deleted = 0;
    while (TNode* node = fGetNode(wanted))
        deleted = fDeleteLinkedList(node);
    return deleted;
}

template <class TNode> int CNamedList<TNode>::fDeleteLinkedList(TNode* node)
{
    if (node == nullptr) return 0;
    this->fDelete(node);
    return 1;
}

template <class TNode> bool CNamedList<TNode>::fNewNode(const char* name, TNode& node)
{
    if (name == nullptr || name[0] == '\0') {
        fputs("l_pstrIFName is null or length <= 0 ", stdout);
        return false;
    }
    node = {};
    fgCopyText(node.m_strIFName, name);
    return true;
}

template <class TNode> std::string_view CNamedList<TNode>::fNameOf(const TNode& node)
{
    return {node.m_strIFName, strnlen(node.m_strIFName, sizeof(node.m_strIFName) - 1)};
}
