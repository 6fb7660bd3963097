#include "collect/SSList.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <utility>
#include <vector>

namespace
{
// Elements are numbers whose whole part is the key; the fraction tells equals apart.
int fKey(const void* item)
{
    return static_cast<int>(*static_cast<const double*>(item));
}
constexpr auto fDifference = [](const void* left, const void* right) { return fKey(left) - fKey(right); };
constexpr auto fGreater = [](const void* left, const void* right) {
    return fKey(left) > fKey(right) ? 1 : 0;
};
constexpr auto fEqual = [](const void* left, const void* right) { return fKey(left) == fKey(right) ? 1 : 0; };
constexpr auto fTwoWhenEqual = [](const void* left, const void* right) { return 2 * fEqual(left, right); };

using ITEMS = std::vector<double>;
constexpr int SIZE = sizeof(double);
constexpr double TWO = 2;

class SSList : public testing::Test
{
protected:
    ~SSList() override { m_clList.fSlDeleteAll(); }
    void fFill(const ITEMS& items)
    {
        m_clList.fSlDeleteAll();
        for (const double& item : items)
            m_clList.fSlInsert(&item, SIZE, nullptr);
    }
    ITEMS fItems()
    {
        ITEMS items;
        for (ST_SSNODE_T* node = fHead()->m_pstNext; node != nullptr; node = node->m_pstNext)
            items.push_back(*fgNodeElement<double>(node));
        return items;
    }
    ST_SSNODE_T* fHead() { return m_clList.fSlGetHeadNode(); }
    CSSList m_clList;
};
} // namespace

TEST_F(SSList, InsertsAtTheTailTheHeadAndInOrder)
{
    fFill({1, 3.1, 3.2, 7});
    for (const double& item : {5.0, 3.3, 9.0, 0.5})
        m_clList.fSlInsertFcmp(&item, SIZE, fGreater);
    EXPECT_EQ(fItems(), (ITEMS{0.5, 1, 3.1, 3.2, 3.3, 5, 7, 9})) << "behind its equals";
    EXPECT_EQ(m_clList.fSlInsertLifo(&TWO, SIZE, nullptr), fHead()->m_pstNext);
    EXPECT_EQ(m_clList.fSlInsert(&TWO, -1, nullptr), nullptr);
    EXPECT_EQ(m_clList.fSlNList(), 9);
}

// The list remembers where its tail was.
TEST_F(SSList, InsertsAtTheTailAfterWhateverMovedIt)
{
    const double one = 1;
    const auto insert = [&] { m_clList.fSlInsert(&one, SIZE, nullptr); };
    fFill({5, 2, 3}); // 2 was the last when 3 came
    m_clList.fSlDelete(&TWO, SIZE, fEqual);
    insert();
    m_clList.fSlSort(nullptr, 0, fGreater);
    insert();
    EXPECT_EQ(fItems(), (ITEMS{1, 3, 5, 1}));
    while (ST_SSNODE_T* node = fHead()->m_pstNext) {
        fHead()->m_pstNext = node->m_pstNext;
        free(node);
    }
    insert();
    EXPECT_EQ(fItems(), ITEMS{1}) << "emptied by hand";
}

// A comparator that answers anything but 1 for its equals finds nothing.
TEST_F(SSList, DeletionsDoNotCountDownButEmptyListsDo)
{
    int deleted = -1;
    fFill({2, 4, 2.1, 2.2});
    EXPECT_EQ(m_clList.fSlSearch(&TWO, 0, fEqual), fHead()->m_pstNext);
    EXPECT_EQ(m_clList.fSlSearch(&TWO, 0, fTwoWhenEqual), nullptr);
    EXPECT_EQ(m_clList.fSlDelete(&TWO, SIZE, fEqual), fHead());
    EXPECT_EQ(m_clList.fSlDelete(&TWO, SIZE, fEqual, &deleted), fHead()->m_pstNext);
    EXPECT_EQ(std::pair(deleted, fItems()), std::pair(2, ITEMS{4}));
    EXPECT_EQ(m_clList.fSlNList(), 4);
    m_clList.fSlDeleteAll();
    EXPECT_EQ(m_clList.fSlDelete(&TWO, SIZE, fEqual), nullptr);
    EXPECT_EQ(m_clList.fSlNList(), -1);
}

TEST_F(SSList, SortsByAnyPositiveAnswer)
{
    fFill({3.1, 1.1, 3.2, 2, 1.2});
    m_clList.fSlSort(nullptr, 0, fDifference);
    EXPECT_EQ(fItems(), (ITEMS{1.1, 1.2, 2, 3.1, 3.2})) << "equals stay in order";
}
