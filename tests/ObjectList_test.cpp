#include "lib/ObjectList.h"

#include "lib/ObjectBuffer.h"
#include "tests/TestSupport.h"

namespace
{
char g_acObjects[16]; // payloads: each node gets that of the place at which it was added

// Adds nodes of these keys, between which stand blanks.
void fFill(CObjectList& list, const std::string& keys)
{
    int place = 0;
    for (const std::string& key : fgSplit(keys, " ")) {
        const ST_OBJECTLIST_LNKLST node = {std::stoi(key), g_acObjects + place++, nullptr, nullptr};
        list.fAddNode(&node);
    }
}

// "(key/place)" forwards by the cursor; backwards, and the count, have to agree.
std::string fText(CObjectList& list)
{
    std::vector<const ST_OBJECTLIST_LNKLST*> forwards, backwards;
    list.fMoveFirst();
    while (const auto* node = list.fMoveNext())
        forwards.push_back(node);
    list.fMoveLast();
    while (const auto* node = list.fMovePrev())
        backwards.insert(backwards.begin(), node);
    EXPECT_EQ(forwards, backwards);
    EXPECT_EQ(forwards.size(), list.fGetNodeCnt());
    std::string text;
    for (const auto* node : forwards) {
        const auto place = static_cast<char*>(node->m_pvdData) - g_acObjects;
        text += "(" + std::to_string(node->m_nIndex) + "/" + std::to_string(place) + ")";
    }
    return text;
}

TEST(ObjectList, OrdersAndDuplicates)
{
    for (const auto& row : fgCases("lists/orders")) { // why, order, duplicates, keys and their places
        CObjectList list(atoi(row.at(1).c_str()), 1, atoi(row.at(2).c_str()));
        fFill(list, "5 1 5 3");
        EXPECT_EQ(5, list.fGetNode()->m_nIndex) << "the first one keeps the cursor";
        EXPECT_EQ(row.at(3), fText(list)) << row[0];
    }
    CObjectList list;
    EXPECT_EQ(0, list.fMoveFirst() + list.fMoveLast() + list.fGetErrorCode());
    EXPECT_EQ(-2, list.fAddNode(nullptr) + list.fGetErrorCode());
    EXPECT_STREQ("[-1] Add node is NULL", list.fGetErrorMsg());
}

TEST(ObjectList, DeletingWalksOnceAndPassesTheNewHead)
{
    // Why, keys, moves of the cursor from the head, what is left, the key at the cursor then (0: none).
    for (const auto& row : fgCases("lists/deletions")) {
        CObjectList list(LIST_ORDER_APPEND);
        fFill(list, row.at(1));
        const bool isThere = list.fGetNode(7) != nullptr;
        for (int i = 0; i < atoi(row.at(2).c_str()); i++)
            list.fMoveNext();
        EXPECT_EQ(isThere ? 1 : 0, list.fDeleteNode(7)) << row[0];
        EXPECT_EQ(atoi(row.at(4).c_str()), list.fGetNode() == nullptr ? 0 : list.fGetNode()->m_nIndex)
            << row[0];
        EXPECT_EQ(row[3], fText(list)) << row[0];
    }
}

TEST(ObjectBuffer, HandsOutTheLowestIndexAndFindsTheFirstOfAName)
{
    CObjectBuffer buffer;
    char* const objects = g_acObjects;
    int indexes = 0;
    std::string name = "/";
    for (const char* each : {name.c_str(), "/home", "/var"})
        indexes = indexes * 10 + buffer.fObjectPut(each, objects + 1);
    name = "?"; // it was copied
    indexes = indexes * 10 + buffer.fGetPutIndex("/");
    EXPECT_EQ(11, buffer.fObjectRemove("/home") * 10 + buffer.fObjectRemove("/"));
    for (const char* each : {"/var", "/new"})
        indexes = indexes * 10 + buffer.fObjectPut(each, objects + 2);
    EXPECT_EQ(123412, indexes);
    EXPECT_EQ(objects + 1, buffer.fGetObject("/var")) << "the first put";
    EXPECT_EQ(objects + 6, buffer.fSetObject("/var", objects + 6));
    EXPECT_EQ(objects + 7, buffer.fSetObject(1, objects + 7));
    EXPECT_EQ(objects + 6, buffer.fGetObject(3));
    EXPECT_STREQ("/new", buffer.fGetObjectKey(2));
    for (const char* missing : {"/VAR", "/va", "", "/home", static_cast<const char*>(nullptr)})
        EXPECT_TRUE(!buffer.fGetObject(missing) && !buffer.fSetObject(missing, objects) &&
                    !buffer.fObjectRemove(missing));
    for (const int missing : {0, 4})
        EXPECT_TRUE(!buffer.fGetObject(missing) && !buffer.fGetObjectKey(missing));
    EXPECT_EQ(30, buffer.fGetSize() * 10 + buffer.fObjectPut(nullptr, objects));
    EXPECT_EQ(1, buffer.fObjectRemove("/var")) << "then the second entry is found";
    EXPECT_EQ(objects + 7, buffer.fGetObject("/var"));
    EXPECT_EQ(1, buffer.fFreeObjects());
    EXPECT_EQ(1, buffer.fGetSize() + buffer.fObjectPut("/", objects));
}
} // namespace
