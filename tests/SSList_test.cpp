#include "collect/SSList.h"

#include <cstdlib>

#include "tests/TestSupport.h"

namespace
{
// Elements are numbers of two digits: by the first they are compared, the second tells equals apart.
template <class T> int fBy(const void* left, const void* right)
{
    return T()(*static_cast<const int*>(left) / 10, *static_cast<const int*>(right) / 10);
}

using ITEMS = std::vector<int>;
constexpr int SIZE = sizeof(int);
constexpr int TWENTY = 20;

class SSList : public testing::Test
{
protected:
    ~SSList() override { m_clList.fSlDeleteAll(); }
    void fFill(const ITEMS& items)
    {
        for (const int& item : items)
            m_clList.fSlInsert(&item, SIZE, nullptr);
    }
    ITEMS fItems()
    {
        ITEMS items;
        for (ST_SSNODE_T* node = fHead()->m_pstNext; node != nullptr; node = node->m_pstNext)
            items.push_back(*fgNodeElement<int>(node));
        return items;
    }
    ST_SSNODE_T* fHead() { return m_clList.fSlGetHeadNode(); }
    CSSList m_clList;
};
} // namespace

TEST_F(SSList, InsertsAtTheTailTheHeadAndInOrder)
{
    fFill({10, 31, 32, 70});
    for (const int& item : {50, 33, 90, 5})
        m_clList.fSlInsertFcmp(&item, SIZE, fBy<std::greater<>>);
    EXPECT_EQ(fItems(), (ITEMS{5, 10, 31, 32, 33, 50, 70, 90})) << "behind its equals";
    EXPECT_EQ(m_clList.fSlInsertLifo(&TWENTY, SIZE, nullptr), fHead()->m_pstNext);
    EXPECT_EQ(m_clList.fSlInsert(&TWENTY, -1, nullptr), nullptr);
    EXPECT_EQ(m_clList.fSlNList(), 9);
}

// The list remembers where its tail was.
TEST_F(SSList, InsertsAtTheTailAfterWhateverMovedIt)
{
    fFill({50, 20, 30}); // 20 was the last when 30 came
    m_clList.fSlDelete(&TWENTY, SIZE, fBy<std::equal_to<>>);
    fFill({10});
    m_clList.fSlSort(nullptr, 0, fBy<std::greater<>>);
    fFill({10});
    EXPECT_EQ(fItems(), (ITEMS{10, 30, 50, 10}));
    while (ST_SSNODE_T* node = fHead()->m_pstNext) {
        fHead()->m_pstNext = node->m_pstNext;
        free(node);
    }
    fFill({10});
    EXPECT_EQ(fItems(), ITEMS{10}) << "emptied by hand";
}

TEST_F(SSList, DeletionsDoNotCountDownButEmptyListsDo)
{
    int deleted = -1;
    fFill({20, 40, 21, 22});
    EXPECT_EQ(m_clList.fSlSearch(&TWENTY, 0, fBy<std::equal_to<>>), fHead()->m_pstNext);
    EXPECT_EQ(m_clList.fSlSearch(&TWENTY, 0, fBy<std::minus<>>), nullptr) << "2 is not 1";
    EXPECT_EQ(m_clList.fSlDelete(&TWENTY, SIZE, fBy<std::equal_to<>>), fHead());
    EXPECT_EQ(m_clList.fSlDelete(&TWENTY, SIZE, fBy<std::equal_to<>>, &deleted), fHead()->m_pstNext);
    EXPECT_EQ(std::pair(deleted, fItems()), std::pair(2, ITEMS{40}));
    EXPECT_EQ(m_clList.fSlNList(), 4);
    m_clList.fSlDeleteAll();
    EXPECT_EQ(m_clList.fSlDelete(&TWENTY, SIZE, fBy<std::equal_to<>>), nullptr);
    EXPECT_EQ(m_clList.fSlNList(), -1);
}

TEST_F(SSList, SortsByAnyPositiveAnswer)
{
    fFill({41, 11, 42, 20, 12});
    m_clList.fSlSort(nullptr, 0, fBy<std::minus<>>);
    EXPECT_EQ(fItems(), (ITEMS{11, 12, 20, 41, 42})) << "equals stay in order";
}
