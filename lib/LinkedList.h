#pragma once

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include "lib/FixedText.h"

// Where a new node goes.
constexpr int LIST_ORDER_APPEND = 1;
constexpr int LIST_ORDER_PREPEND = 2;

// What the doubly linked lists share: the links, a cursor, the counters and the last error. A node TNode has
// the links m_pstNext and m_pstPrev and whatever else it holds; what tells nodes apart is the matter of the
// list that is made of this. The nodes belong to the list. Nothing here locks or logs.
template <class TNode> class CLinkedList
{
public:
    CLinkedList(const CLinkedList&) = delete;
    CLinkedList& operator=(const CLinkedList&) = delete;

    // Deletes all nodes; the cursor is null then. Returns how many there were.
    long fFreeAll();

    TNode* fGetNode() const { return m_pstCurPosition; } // null behind either end
    TNode* fGetHeadNode() const { return m_pstHead; }    // null when the list is empty
    TNode* fGetEndNode() const { return m_pstEnd; }

    // Return the node at the cursor, then move the cursor; so the first call after fMoveFirst gives the head.
    TNode* fMoveNext() { return fStep(&TNode::m_pstNext); }
    TNode* fMovePrev() { return fStep(&TNode::m_pstPrev); }
    // Put the cursor on the head or the end: 1, or 0 when the list is empty.
    int fMoveFirst() { return fPlace(m_pstHead); }
    int fMoveLast() { return fPlace(m_pstEnd); }

    long fGetNodeCnt() const { return m_lNodeCnt; }
    long fGetNodeMaxCnt() const { return m_lNodeMaxCnt; }

    // The last error; a success leaves it as it is.
    int fGetErrorCode() const { return m_nErrorCode; }
    const char* fGetErrorMsg() const { return m_strErrorMsg; }

    int m_nErrorCode = 0; // -1 or the system's error number
    char m_strErrorMsg[256] = {};
    TNode* m_pstHead = nullptr;
    TNode* m_pstEnd = nullptr;
    TNode* m_pstCurPosition = nullptr;
    int m_nListOrderType;
    long m_lNodeCnt = 0;
    long m_lNodeMaxCnt; // reported, not enforced
    int m_nDupFlag;     // 0: a second node of a name or key is refused

protected:
    CLinkedList(int order, long max, int duplicates)
        : m_nListOrderType(order), m_lNodeMaxCnt(max), m_nDupFlag(duplicates)
    {}
    ~CLinkedList() { fFreeAll(); }

    // There is no node to add: notes the error and returns -1.
    int fRefuseNull();

    // Puts a copy of the node in front of position, null for the end; its links do not count. The first one
    // gets the cursor. Returns 1, or -1 without memory: allocationText is the format of that message, which
    // gets the system's error number, an int, and its text.
    int fInsert(const TNode& node, TNode* position, const char* allocationText);

    // Takes the node out and deletes it. A cursor on it goes to the one before, from the head to the one
    // behind.
    void fDelete(TNode* node);

private:
    TNode* fStep(TNode* TNode::*link);
    int fPlace(TNode* node);
};

template <class TNode> long CLinkedList<TNode>::fFreeAll()
{
    long freed = 0;
    for (TNode* next = nullptr; m_pstHead != nullptr; m_pstHead = next, freed++) {
        next = m_pstHead->m_pstNext;
        delete m_pstHead;
    }
    m_pstEnd = m_pstCurPosition = nullptr;
    m_lNodeCnt = 0;
    return freed;
}

template <class TNode> int CLinkedList<TNode>::fRefuseNull()
{
    m_nErrorCode = -1;
    fgCopyText(m_strErrorMsg, "[-1] Add node is NULL");
    return -1;
}

template <class TNode>
int CLinkedList<TNode>::fInsert(const TNode& node, TNode* position, const char* allocationText)
{
    TNode* added = new (std::nothrow) TNode(node);
    if (added == nullptr) {
        m_nErrorCode = errno;
        snprintf(m_strErrorMsg, sizeof(m_strErrorMsg), allocationText, m_nErrorCode, strerror(m_nErrorCode));
        return -1;
    }
    if (m_pstHead == nullptr) m_pstCurPosition = added;
    TNode*& before = position != nullptr ? position->m_pstPrev : m_pstEnd;
    added->m_pstPrev = before;
    added->m_pstNext = position;
    (before != nullptr ? before->m_pstNext : m_pstHead) = added;
    before = added;
    m_lNodeCnt++;
    return 1;
}

template <class TNode> void CLinkedList<TNode>::fDelete(TNode* node)
{
    TNode* const before = node->m_pstPrev;
    TNode* const behind = node->m_pstNext;
    if (m_pstCurPosition == node) m_pstCurPosition = before != nullptr ? before : behind;
    (before != nullptr ? before->m_pstNext : m_pstHead) = behind;
    (behind != nullptr ? behind->m_pstPrev : m_pstEnd) = before;
    m_lNodeCnt--;
    delete node;
}

template <class TNode> TNode* CLinkedList<TNode>::fStep(TNode* TNode::*link)
{
    TNode* const node = m_pstCurPosition;
    if (node != nullptr) m_pstCurPosition = node->*link;
    return node;
}

template <class TNode> int CLinkedList<TNode>::fPlace(TNode* node)
{
    m_pstCurPosition = node;
    return node != nullptr ? 1 : 0;
}
