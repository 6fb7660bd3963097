#pragma once

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <string_view>
#include <unordered_map>

#include "lib/FixedText.h"

// Where a new node goes.
constexpr int LIST_ORDER_APPEND = 1;
constexpr int LIST_ORDER_PREPEND = 2;

// A doubly linked list of records of network interfaces, which keeps them in the order of their insertion and
// has a cursor. A node TNode has a text m_strIFName, a fixed array, the links m_pstNext and m_pstPrev, and
// whatever else it holds. Names are compared byte by byte, letter case included. The nodes belong to the list
// and are found by an index of their names: leave names and links as they are. Nothing here locks or logs.
template <class TNode> class CNamedList
{
public:
    // allocationText is kept: the format of the message when there is no memory for a node. It gets the
    // system's error number, an int, and its text.
    explicit CNamedList(const char* allocationText) : m_pstrAllocationText(allocationText) {}
    ~CNamedList() { fFreeAll(); }
    CNamedList(const CNamedList&) = delete;
    CNamedList& operator=(const CNamedList&) = delete;

    // Adds a copy of the node; its links do not count. The first one gets the cursor. Returns 1; 0 when the
    // name is there and m_nDupFlag is 0; -1 with an error for null and without memory. With duplicates a node
    // of a name that is there goes in front of the first of them, whatever the order type.
    int fAddNode(const TNode* node);

    // Where a node would go: position is what it goes in front of, null for the end. Returns 0 when there is
    // a node of that name, which is position then, else 1.
    int fSearchInsertPosition(const TNode* node, TNode*& position) const;

    // The first node of that name, or null; no name gives null.
    TNode* fGetNode(const char* name) const;
    TNode* fGetInterfaceNode(const char* name) const { return fGetNode(name); }

    // Delete every node of that name: 1 when there was one, else 0. A cursor on a deleted node goes to the
    // one before it, from the head to the one behind it.
    int fDeleteNode(const char* name);
    int fDelLinkedList(const char* name) { return fDeleteNode(name); }
    // Deletes that node, which has to be one of this list; 1, or 0 for null. The cursor moves as above.
    int fDeleteLinkedList(TNode* node);

    // Delete all nodes; the cursor is null then. Return how many there were.
    long fFreeAll();
    long fClearLinkedList() { return fFreeAll(); }

    TNode* fGetNode() const { return m_pstCurPosition; } // null behind either end
    TNode* fGetHeadNode() const { return m_pstHead; }    // null when the list is empty
    TNode* fGetEndNode() const { return m_pstEnd; }

    // Return the node at the cursor, then move the cursor; so the first call after fMoveFirst gives the head.
    TNode* fMoveNext();
    TNode* fMovePrev();
    // Put the cursor on the head or the end: 1, or 0 when the list is empty.
    int fMoveFirst();
    int fMoveLast();

    long fGetNodeCnt() const { return m_lNodeCnt; }
    long fGetLinkedListCnt() const { return m_lNodeCnt; }
    long fGetNodeMaxCnt() const { return m_lNodeMaxCnt; }
    long fNodeCntInc() { return ++m_lNodeCnt; } // change the count alone and return it
    long fNodeCntDec() { return --m_lNodeCnt; }

    // The last error; a success leaves it as it is.
    int fGetErrorCode() const { return m_nErrorCode; }
    const char* fGetErrorMsg() const { return m_strErrorMsg; }

    int m_nErrorCode = 0; // -1 or the system's error number
    char m_strErrorMsg[256] = {};
    TNode* m_pstHead = nullptr;
    TNode* m_pstEnd = nullptr;
    TNode* m_pstCurPosition = nullptr;
    int m_nListOrderType = LIST_ORDER_APPEND;
    long m_lNodeCnt = 0;
    long m_lNodeMaxCnt = 90000; // reported, not enforced
    int m_nDupFlag = 0;         // 0: a second node of a name is refused

protected:
    // A node of that name, all else zero, for fAddNode; false, with a word on standard output, without a
    // name.
    static bool fNewNode(const char* name, TNode& node);

private:
    static std::string_view fNameOf(const TNode& node);
    TNode* fFind(std::string_view name) const;
    void fLinkBefore(TNode* node, TNode* position);
    void fUnlink(TNode* node);
    TNode* fStep(TNode* TNode::*link);

    const char* m_pstrAllocationText;
    std::unordered_map<std::string_view, TNode*> m_clFirst; // of each name, which is that node's
};

template <class TNode> int CNamedList<TNode>::fAddNode(const TNode* node)
{
    if (node == nullptr) {
        m_nErrorCode = -1;
        fgCopyText(m_strErrorMsg, "[-1] Add node is NULL");
        return -1;
    }
    TNode* position = nullptr;
    if (fSearchInsertPosition(node, position) == 0 && m_nDupFlag == 0) return 0;
    TNode* added = new (std::nothrow) TNode(*node);
    if (added == nullptr) {
        m_nErrorCode = errno;
        snprintf(m_strErrorMsg, sizeof(m_strErrorMsg), m_pstrAllocationText, m_nErrorCode,
                 strerror(m_nErrorCode));
        return -1;
    }
    fgCopyText(added->m_strIFName, fNameOf(*node)); // terminated, also when the caller's was not
    if (m_pstHead == nullptr) m_pstCurPosition = added;
    fLinkBefore(added, position);
    return 1;
}

template <class TNode> int CNamedList<TNode>::fSearchInsertPosition(const TNode* node, TNode*& position) const
{
    position = fFind(fNameOf(*node));
    if (position != nullptr) return 0;
    if (m_nListOrderType == LIST_ORDER_PREPEND) position = m_pstHead;
    return 1;
}

template <class TNode> TNode* CNamedList<TNode>::fGetNode(const char* name) const
{
    return name == nullptr ? nullptr : fFind(name);
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
    fUnlink(node);
    delete node;
    return 1;
}

template <class TNode> long CNamedList<TNode>::fFreeAll()
{
    long freed = 0;
    m_clFirst.clear();
    for (TNode* next = nullptr; m_pstHead != nullptr; m_pstHead = next, freed++) {
        next = m_pstHead->m_pstNext;
        delete m_pstHead;
    }
    m_pstEnd = m_pstCurPosition = nullptr;
    m_lNodeCnt = 0;
    return freed;
}

template <class TNode> TNode* CNamedList<TNode>::fMoveNext()
{
    return fStep(&TNode::m_pstNext);
}

template <class TNode> TNode* CNamedList<TNode>::fMovePrev()
{
    return fStep(&TNode::m_pstPrev);
}

template <class TNode> int CNamedList<TNode>::fMoveFirst()
{
    m_pstCurPosition = m_pstHead;
    return m_pstHead != nullptr ? 1 : 0;
}

template <class TNode> int CNamedList<TNode>::fMoveLast()
{
    m_pstCurPosition = m_pstEnd;
    return m_pstEnd != nullptr ? 1 : 0;
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

template <class TNode> TNode* CNamedList<TNode>::fFind(std::string_view name) const
{
    const auto entry = m_clFirst.find(name);
    return entry == m_clFirst.end() ? nullptr : entry->second;
}

// A null position stands for the end. Nodes of one name stand side by side, and a new one is their first.
template <class TNode> void CNamedList<TNode>::fLinkBefore(TNode* node, TNode* position)
{
    TNode*& before = position != nullptr ? position->m_pstPrev : m_pstEnd;
    node->m_pstPrev = before;
    node->m_pstNext = position;
    (before != nullptr ? before->m_pstNext : m_pstHead) = node;
    before = node;
    m_clFirst.erase(fNameOf(*node)); // the key goes with the node that it is in
    m_clFirst.emplace(fNameOf(*node), node);
    m_lNodeCnt++;
}

template <class TNode> void CNamedList<TNode>::fUnlink(TNode* node)
{
    TNode* const before = node->m_pstPrev;
    TNode* const behind = node->m_pstNext;
    if (m_pstCurPosition == node) m_pstCurPosition = before != nullptr ? before : behind;
    if (fFind(fNameOf(*node)) == node) {
        m_clFirst.erase(fNameOf(*node));
        if (behind != nullptr && fNameOf(*behind) == fNameOf(*node))
            m_clFirst.emplace(fNameOf(*behind), behind);
    }
    (before != nullptr ? before->m_pstNext : m_pstHead) = behind;
    (behind != nullptr ? behind->m_pstPrev : m_pstEnd) = before;
    m_lNodeCnt--;
}

template <class TNode> TNode* CNamedList<TNode>::fStep(TNode* TNode::*link)
{
    TNode* const node = m_pstCurPosition;
    if (node != nullptr) m_pstCurPosition = node->*link;
    return node;
}
