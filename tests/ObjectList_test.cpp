#include "lib/ObjectList.h"

#include <climits>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "lib/ObjectBuffer.h"

namespace
{
// Keys, each with a payload of its own: the place at which it was added.
char g_acPlaces[16];

int fAdd(CObjectList& list, int key, int place)
{
    const ST_OBJECTLIST_LNKLST node = {key, g_acPlaces + place, nullptr, nullptr};
    return list.fAddNode(&node);
}

void fFill(CObjectList& list, const std::vector<int>& keys)
{
    for (size_t i = 0; i < keys.size(); i++)
        fAdd(list, keys[i], static_cast<int>(i));
}

// "key/place" forwards by the cursor; backwards, and the count, have to agree.
std::string fText(CObjectList& list)
{
    std::string forwards, backwards;
    const auto show = [](const ST_OBJECTLIST_LNKLST& node) {
        return std::to_string(node.m_nIndex) + "/" +
               std::to_string(static_cast<char*>(node.m_pvdData) - g_acPlaces) + " ";
    };
    long count = 0;
    list.fMoveFirst();
    for (; const ST_OBJECTLIST_LNKLST* node = list.fMoveNext(); count++)
        forwards += show(*node);
    list.fMoveLast();
    while (const ST_OBJECTLIST_LNKLST* node = list.fMovePrev())
        backwards = show(*node) + backwards;
    EXPECT_EQ(forwards, backwards);
    EXPECT_EQ(list.fGetNodeCnt(), count);
    return forwards;
}

TEST(ObjectList, OrdersAndDuplicates)
{
    const struct
    {
        int l_nOrder;
        int l_nDuplicates;
        const char* l_strList;
    } rows[] = {{1, 1, "5/0 1/1 5/2 3/3 "},  {2, 1, "3/3 5/2 1/1 5/0 "}, {3, 1, "1/1 3/3 5/0 5/2 "},
                {4, -1, "5/0 5/2 3/3 1/1 "}, {0, 7, "1/1 3/3 5/0 5/2 "}, {5, 1, "1/1 3/3 5/0 5/2 "},
                {3, 0, "1/1 3/3 5/0 "},      {2, 0, "3/3 1/1 5/0 "}};
    for (const auto& row : rows) {
        CObjectList list(row.l_nOrder, 7, row.l_nDuplicates);
        fFill(list, {5, 1, 5, 3});
        EXPECT_EQ(5, list.fGetNode()->m_nIndex) << "the first one keeps the cursor";
        EXPECT_EQ(row.l_strList, fText(list)) << row.l_nOrder;
        EXPECT_EQ(7, list.fGetNodeMaxCnt());
        EXPECT_EQ(row.l_nDuplicates == 0 ? 0 : 1, fAdd(list, 5, 9));
    }
    CObjectList list;
    EXPECT_EQ(std::tuple(3, 1000000000L, 1, 0, ""),
              std::tuple(list.m_nListOrderType, list.fGetNodeMaxCnt(), list.m_nDupFlag, list.fGetErrorCode(),
                         std::string(list.fGetErrorMsg())));
    EXPECT_EQ(0, list.fMoveFirst() + list.fMoveLast());
    EXPECT_EQ(-2, list.fAddNode(nullptr) + list.fGetErrorCode());
    EXPECT_STREQ("[-1] Add node is NULL", list.fGetErrorMsg());
}

TEST(ObjectList, DeletingWalksOnceAndPassesTheNewHead)
{
    const struct
    {
        std::vector<int> l_clKeys;
        int l_nCursor; // moves from the head
        const char* l_strLeft;
        int l_nCursorKey; // INT_MIN: none
    } rows[] = {{{2, 7, 3, 7}, 1, "2/0 3/2 ", 2},
                {{7, 7, 3, 7}, 0, "7/1 3/2 ", 7},
                {{7, 7}, 1, "7/1 ", 7},
                {{7, 7, 7, 7}, 2, "7/1 ", 7},
                {{7}, 0, "", INT_MIN},
                {{7, 3}, 0, "3/1 ", 3},
                {{3, 2}, 1, "3/0 2/1 ", 2},
                {{}, 0, "", INT_MIN}};
    for (const auto& row : rows) {
        CObjectList list(LIST_ORDER_APPEND);
        fFill(list, row.l_clKeys);
        const bool isThere = list.fGetNode(7) != nullptr;
        for (int i = 0; i < row.l_nCursor; i++)
            list.fMoveNext();
        EXPECT_EQ(isThere ? 1 : 0, list.fDeleteNode(7));
        EXPECT_EQ(row.l_nCursorKey, list.fGetNode() == nullptr ? INT_MIN : list.fGetNode()->m_nIndex);
        EXPECT_EQ(row.l_strLeft, fText(list));
        const long count = list.fGetNodeCnt();
        EXPECT_EQ(count, list.fFreeAll());
        EXPECT_EQ("", fText(list));
    }
}

TEST(ObjectBuffer, HandsOutTheLowestIndexAndFindsTheFirstOfAName)
{
    CObjectBuffer buffer;
    char* const objects = g_acPlaces;
    std::string name = "/";
    EXPECT_EQ(1, buffer.fObjectPut(name.data(), objects + 1));
    name = "gone"; // it was copied
    EXPECT_EQ(23, buffer.fObjectPut("/home", objects + 2) * 10 + buffer.fObjectPut("/var", objects + 3));
    EXPECT_EQ(4, buffer.fGetPutIndex("/"));
    EXPECT_EQ(10, buffer.fObjectRemove("/home") * 10 + buffer.fObjectRemove("/home"));
    EXPECT_EQ(2, buffer.fObjectPut("/var", objects + 4));
    EXPECT_EQ(objects + 3, buffer.fGetObject("/var")) << "the first put";
    EXPECT_EQ(objects + 5, buffer.fSetObject("/var", objects + 5));
    EXPECT_EQ(objects + 6, buffer.fSetObject(2, objects + 6));
    EXPECT_EQ(objects + 5, buffer.fGetObject(3));
    EXPECT_EQ(objects + 6, buffer.fGetObject(2));
    EXPECT_STREQ("/var", buffer.fGetObjectKey(2));
    for (const char* missing : {"/VAR", "/va", "", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(nullptr, buffer.fGetObject(missing));
        EXPECT_EQ(nullptr, buffer.fSetObject(missing, objects));
        EXPECT_EQ(0, buffer.fObjectRemove(missing));
    }
    for (const int missing : {0, 4, -1}) {
        EXPECT_EQ(nullptr, buffer.fGetObject(missing));
        EXPECT_EQ(nullptr, buffer.fSetObject(missing, objects));
        EXPECT_EQ(nullptr, buffer.fGetObjectKey(missing));
    }
    EXPECT_EQ(0, buffer.fObjectPut(nullptr, objects));
    EXPECT_EQ(3, buffer.fGetSize());
    EXPECT_EQ(1, buffer.fObjectRemove("/var")) << "then the second entry is found";
    EXPECT_EQ(objects + 6, buffer.fGetObject("/var"));
    EXPECT_EQ(1, buffer.fFreeObjects());
    EXPECT_EQ(0, buffer.fGetSize());
    EXPECT_EQ(1, buffer.fObjectPut("/", objects));
}
} // namespace
