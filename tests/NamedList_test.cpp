#include "collect/NamedList.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "collect/BandwidthList.h"
#include "collect/NetworkExtList.h"

namespace
{
// The names forwards; what the links say backwards and the count have to agree.
template <class TList> std::string fNames(const TList& list)
{
    std::string forwards, backwards;
    long count = 0;
    for (auto* node = list.fGetHeadNode(); node != nullptr; node = node->m_pstNext, count++)
        forwards += std::string(node->m_strIFName) + " ";
    for (auto* node = list.fGetEndNode(); node != nullptr; node = node->m_pstPrev)
        backwards = std::string(node->m_strIFName) + " " + backwards;
    EXPECT_EQ(forwards, backwards);
    EXPECT_EQ(list.fGetNodeCnt(), count);
    return forwards;
}

void fFill(CBandwidthList& list, const std::vector<const char*>& names)
{
    for (const char* name : names)
        list.fAddLinkedList(name, 1, 1);
}

// A node that never gets memory.
struct ST_UNLUCKY : _ST_NETWORKEXT_LIST
{
    ST_UNLUCKY* m_pstNext;
    ST_UNLUCKY* m_pstPrev;
    static void* operator new(size_t, const std::nothrow_t&) noexcept
    {
        errno = ENOMEM;
        return nullptr;
    }
    static void operator delete(void*) {}
};
} // namespace

TEST(NamedList, KeepsTheFirstValueOfAName)
{
    CBandwidthList list;
    EXPECT_EQ(list.fAddLinkedList("eth0", 1000000, 2) + list.fAddLinkedList("ETH0", 3, 1), 2);
    EXPECT_EQ(list.fAddLinkedList("eth0", 5, 1), 0);
    const _ST_BANDWIDTH_LIST* node = list.fGetInterfaceNode("eth0");
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->m_lBandwidth + node->m_nDuplex, 1000002);
    EXPECT_EQ(list.fGetNode(), node) << "the first one gets the cursor";
    for (const char* missing : {"eth", "eth00", "", static_cast<const char*>(nullptr)})
        EXPECT_EQ(list.fGetNode(missing), nullptr);
    EXPECT_EQ(fNames(list), "eth0 ETH0 ");
}

TEST(NamedList, OrderTypesAndDuplicates)
{
    CBandwidthList list;
    list.m_nListOrderType = LIST_ORDER_PREPEND;
    fFill(list, {"a", "b", "c"});
    list.m_nListOrderType = 7;
    fFill(list, {"d", "c"});
    EXPECT_EQ(fNames(list), "c b a d ") << "an unknown order appends";
    list.m_nDupFlag = 1;
    fFill(list, {"a", "c"});
    EXPECT_EQ(fNames(list), "c c b a a d ") << "in front of the one that is there";
    EXPECT_EQ(list.fDeleteNode(list.fGetNode("c")->m_strIFName), 1) << "a name that goes with its node";
    EXPECT_EQ(list.fDelLinkedList("a") * 10 + list.fDelLinkedList("a"), 10);
    EXPECT_EQ(fNames(list), "b d ");
    EXPECT_EQ(list.fFreeAll() * 10 + list.fClearLinkedList(), 20);
    EXPECT_EQ(fNames(list), "");
}

TEST(NamedList, CursorLeavesDeletedNodes)
{
    CBandwidthList list;
    EXPECT_EQ(list.fMoveFirst() + list.fMoveLast(), 0);
    EXPECT_EQ(list.fMovePrev(), nullptr);
    fFill(list, {"a", "b", "c"});
    EXPECT_EQ(list.fMoveLast(), 1);
    EXPECT_STREQ(list.fMovePrev()->m_strIFName, "c");
    EXPECT_EQ(list.fDeleteLinkedList(list.fGetNode("b")), 1);
    EXPECT_STREQ(list.fGetNode()->m_strIFName, "a") << "from the middle to the one before";
    EXPECT_EQ(list.fDeleteNode("a"), 1);
    EXPECT_STREQ(list.fMoveNext()->m_strIFName, "c") << "from the head to the one behind";
    EXPECT_EQ(list.fMoveNext(), nullptr);
    list.fMoveFirst();
    list.fDeleteNode("c");
    EXPECT_EQ(list.fGetNode(), nullptr);
    EXPECT_EQ(fNames(list), "");
}

TEST(NamedList, ErrorsAreKept)
{
    CNetworkExtList list;
    EXPECT_EQ(list.fAddNode(nullptr) + list.fGetErrorCode(), -2);
    EXPECT_STREQ(list.fGetErrorMsg(), "[-1] Add node is NULL");
    testing::internal::CaptureStdout();
    EXPECT_EQ(list.fAddLinkedList(nullptr) + list.fAddLinkedList(""), -2);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "l_pstrIFName is null or length <= 0 l_pstrIFName is null or length <= 0 ");
    const std::pair<const char*, const char*> texts[] = {
        {BANDWIDTH_NO_MEMORY, "new node malloc error [12]"},
        {NETWORK_EXT_NO_MEMORY, "[12] Cannot allocate memory"}};
    for (const auto& [format, text] : texts) {
        CNamedList<ST_UNLUCKY> poor(format);
        const ST_UNLUCKY node = {};
        EXPECT_EQ(poor.fAddNode(&node), -1);
        EXPECT_EQ(poor.fGetErrorCode(), ENOMEM);
        EXPECT_STREQ(poor.fGetErrorMsg(), text);
    }
}

TEST(NamedList, LongNamesAreCutAndFoundAsTheyAre)
{
    CNetworkExtList list;
    const std::string fits(31, 'n');
    const std::string longer(40, 'n');
    EXPECT_EQ(list.fAddLinkedList(longer.c_str()), 1);
    EXPECT_EQ(list.fGetInterfaceNode(longer.c_str()), nullptr);
    EXPECT_EQ(list.fDeleteNode(longer.c_str()) * 10 + list.fDeleteNode(fits.c_str()), 1);
    _ST_NETWORKEXT_LIST open = {};
    memset(open.m_strIFName, 'o', sizeof(open.m_strIFName)); // no terminator
    EXPECT_EQ(list.fAddNode(&open) * 10 + list.fAddNode(&open), 10);
    EXPECT_EQ(fNames(list), std::string(31, 'o') + " ");
}
