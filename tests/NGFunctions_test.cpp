#include "lib/NGFunctions.h"

#include <cmath>

#include "tests/TestSupport.h"

TEST(ElfHash, IsTheKeyOfEveryName)
{
    const std::tuple<const char*, const char*, unsigned> rows[] = {
        {"nothing", "", 0},
        {"131 times the byte before", "ab", 12805},
        {"a byte above 0x7F subtracts", "a\xE9", 97 * 131 - 23},
        {"a negative sum loses its sign bit alone", "\xE9", 0x7FFFFFE9},
        {"a name that wraps around 32 bits", "/dev/nvme0n1p3", 920579077},
    };
    for (const auto& [why, text, hash] : rows)
        EXPECT_EQ(ELFHash(text), hash) << why;
}

TEST(Clocks, TellTheTimeOfDay)
{
    EXPECT_LE(time(nullptr) - fGetPushCurTarnTime(), 1);
    EXPECT_NEAR(fGetCurTarnTime(), fGetPushCurTarnTime(), 1.5);
    EXPECT_TRUE(fmod(fGetCurTarnTime(), 1) != 0 || fmod(fGetCurTarnTime(), 1) != 0) << "to the microsecond";
}

TEST(OidFile, IsReplacedByEveryWrite)
{
    const CTestTree tree;
    const CTestLog log;
    for (const char* text : {"a longer text\nof two lines", "short"})
        EXPECT_EQ(fStrOidWrite("net", text), 1);
    EXPECT_EQ(fgReadFile("../aproc/inv/net.inv"), "short");
    EXPECT_EQ(fStrOidWrite("none/net", "text") + fStrOidWrite(std::string(5000, 'n').c_str(), "no name"), 2);
    EXPECT_EQ(log.fCount("[INFO][NGFunctions.cpp][net]oid write success"), 2);
    EXPECT_EQ(log.fCount("[../aproc/inv/none/net.inv] oid file open failed : No such file or directory"), 1);
}
