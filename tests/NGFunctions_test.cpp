#include "lib/NGFunctions.h"

#include <cmath>
#include <filesystem>
#include <gtest/gtest.h>

#include "tests/TestSupport.h"

TEST(ElfHash, IsTheKeyOfEveryName)
{
    struct
    {
        const char* why;
        const char* text;
        unsigned int hash;
    } const rows[] = {
        {"nothing", "", 0},
        {"one byte", "a", 97},
        {"131 times the byte before", "ab", 12805},
        {"a byte above 0x7F subtracts", "a\xE9", 97 * 131 - 23},
        {"a negative sum loses its sign bit alone", "\xE9", 0x7FFFFFE9},
        {"a name that wraps around 32 bits", "/dev/nvme0n1p3", 920579077},
    };
    for (const auto& row : rows)
        EXPECT_EQ(ELFHash(row.text), row.hash) << row.why;
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
    EXPECT_EQ(fStrOidWrite("net", "a longer text\nof two lines"), 1);
    EXPECT_EQ(fStrOidWrite("net", "short"), 1);
    EXPECT_EQ(fgReadFile("../aproc/inv/net.inv"), "short");
    EXPECT_EQ(fStrOidWrite("none/net", "text"), 1);
    EXPECT_EQ(log.fLines(),
              (std::vector<std::string>{"[INFO][NGFunctions.cpp][net]oid write success",
                                        "[INFO][NGFunctions.cpp][net]oid write success",
                                        "[INFO][NGFunctions.cpp][../aproc/inv/none/net.inv] oid file open "
                                        "failed : No such file or directory"}));
    EXPECT_EQ(fStrOidWrite(std::string(5000, 'n').c_str(), "text"), 1) << "no name of a file";
}
