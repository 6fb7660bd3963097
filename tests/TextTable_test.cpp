#include "lib/TextTable.h"

#include "lib/Owners.h"
#include "tests/TestSupport.h"

TEST(TextTable, GrowsByItsRuleAndKeepsTheText)
{
    int size = 16;
    char* text = fgNewTableBuffer(size);
    memset(text, 'x', 15); // a table of the pass before
    CTextTable table(text, size, [](size_t, size_t used) { return used * 2; });
    EXPECT_TRUE(text[0] == '\0' && table.fAppend("%s", "0123456789abcde"));
    EXPECT_EQ(size, 16) << "fifteen bytes and the terminator fit";
    EXPECT_TRUE(table.fAppend("%c", 'f'));
    EXPECT_EQ(size, 30) << "2 x 15";
    EXPECT_TRUE(table.fAppendText(std::string(100, 'a'))) << "grows again when once is not enough";
    EXPECT_TRUE(table.fAppend("%d", 42));
    const COwnedText owner(text);
    EXPECT_EQ(std::string(text, table.fUsed()), "0123456789abcdef" + std::string(100, 'a') + "42");
    char* none = nullptr;
    CTextTable without(none, size = 0);
    EXPECT_FALSE(without.fAppend("%d", 1) || without.fReserve(1));
}
