#include "collect/NamedList.h"

#include <gtest/gtest.h>

#include "collect/BandwidthList.h"
#include "collect/NetworkExtList.h"

// The links, the cursor and the errors are those of lib/LinkedList.h, which the tests of the object list try.

namespace
{
// The values forwards, which tell nodes of one name apart; each name has to lead to the first that has it.
std::string fValues(const CBandwidthList& list)
{
    std::string text;
    for (const auto* node = list.fGetHeadNode(); node != nullptr; node = node->m_pstNext) {
        const auto* first = list.fGetHeadNode();
        while (strcmp(first->m_strIFName, node->m_strIFName) != 0)
            first = first->m_pstNext;
        EXPECT_EQ(list.fGetInterfaceNode(node->m_strIFName), first);
        text += std::string(node->m_strIFName) + std::to_string(node->m_lBandwidth) + " ";
    }
    return text;
}
} // namespace

TEST(NamedList, OrderTypesAndDuplicates)
{
    CBandwidthList list;
    EXPECT_EQ(list.fAddLinkedList("a", 1, 2) + list.fAddLinkedList("A", 2, 1), 2);
    EXPECT_EQ(list.fAddLinkedList("a", 3, 1), 0);
    EXPECT_EQ(list.fGetNode("a")->m_nDuplex, 2) << "the first value stays";
    list.m_nListOrderType = LIST_ORDER_PREPEND;
    list.fAddLinkedList("b", 4, 1);
    list.m_nListOrderType = 7;
    list.fAddLinkedList("c", 5, 1);
    EXPECT_EQ(fValues(list), "b4 a1 A2 c5 ") << "an unknown order appends";
    list.m_nDupFlag = 1;
    list.fAddLinkedList("a", 6, 1);
    list.fAddLinkedList("a", 7, 1);
    EXPECT_EQ(fValues(list), "b4 a7 a6 a1 A2 c5 ") << "in front of the one that is there";
    EXPECT_EQ(list.fDeleteLinkedList(list.fGetNode("a")) + list.fDeleteLinkedList(nullptr), 1);
    EXPECT_EQ(fValues(list), "b4 a6 a1 A2 c5 ");
    list.fMoveLast();
    EXPECT_EQ(list.fDeleteNode(list.fGetNode("a")->m_strIFName), 1) << "a name that goes with its node";
    EXPECT_EQ(list.fDelLinkedList("a") + list.fDeleteNode("c"), 1);
    EXPECT_STREQ(list.fGetNode()->m_strIFName, "A") << "the cursor left the node";
    EXPECT_EQ(list.fFreeAll() * 10 + list.fClearLinkedList(), 20);
    EXPECT_EQ(list.fGetNode("A"), nullptr);
}

TEST(NamedList, NamesThatAreNoneOrTooLong)
{
    CNetworkExtList list;
    testing::internal::CaptureStdout();
    EXPECT_EQ(list.fAddLinkedList(nullptr) + list.fAddLinkedList(""), -2);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "l_pstrIFName is null or length <= 0 l_pstrIFName is null or length <= 0 ");
    const std::string longer(40, 'n');
    EXPECT_EQ(list.fAddLinkedList(longer.c_str()), 1);
    EXPECT_EQ(list.fDeleteNode(longer.c_str()), 0) << "it was cut";
    list.fFreeAll();
    _ST_NETWORKEXT_LIST open = {};
    memset(open.m_strIFName, 'n', sizeof(open.m_strIFName)); // no terminator
    EXPECT_EQ(list.fAddNode(&open) * 10 + list.fAddNode(&open), 10);
    EXPECT_EQ(list.fGetHeadNode()->m_strIFName, longer.substr(0, 31));
}
