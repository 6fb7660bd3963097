#include "lib/LogMasks.h"

#include <array>

#include "tests/TestSupport.h"

namespace
{
using MASKS = std::array<int, 9>;

// Groups, first and modules of debug, normal and error.
MASKS fMasks()
{
    return {g_nLogModDEBUG,    g_nLoggingDEBUG1, g_nLoggingDEBUG2, g_nLogModNORMAL, g_nLoggingNORMAL1,
            g_nLoggingNORMAL2, g_nLogModERROR,   g_nLoggingERROR1, g_nLoggingERROR2};
}

TEST(LogMasks, Texts)
{
    const struct
    {
        const char* text;
        MASKS masks;
        const char* message = "";
    } rows[] = {
        {"ERROR", {0, 0, 0, 0, 0, 0, -1, -1, -1}},
        {"DEBUG", {-1, -1, -1, -1, -1, -1, -1, -1, -1}},
        {"ERROR|DEBUG", {}}, // a bare word that is none
        {"NORMAL:LAB:3,UNI", {0, 0, 0, 0x80, 0, 0x2000010, 0x80, 0, 0x2000010}},
        {"ERROR:UNI,TCP,EVU,LAB:ALL", {0, 0, 0, 0, 0, 0, 0xF0, 0, 0x77FFFFF}},
        {"ERROR:TCP:UNI,LIB,none,1|ERROR:none:UNI", {0, 0, 0, 0, 0, 0, 0x20, 0, 0x4400000}},
        {"ERROR:LAB:1,3,5,7,9,10,14,18,20,22,24", {0, 0, 0, 0, 0, 0, 0x80, 0, 0x155554}},
        {"ERROR:LAB:2,4,6,8,11,12,16,19,21,23,25", {0, 0, 0, 0, 0, 0, 0x80, 0, 0x2AAAA8}},
        // a later entry turns module bits off, and only NOLOG the group bit
        {"DEBUG:UNI:ALL|ERROR:UNI:LIB", {0x10, 0, 0x1, 0x10, 0, 0x1, 0x10, 0, 0x3}},
        {"DEBUG:UNI:ALL|NOLOG:UNI:LIB", {0, 0, 0x1, 0, 0, 0x1, 0, 0, 0x1}},
        {"NORMAL:ALL:x||ERROR:LAB:1|", {0, 0, 0, -1, -1, ~0x4, -1, -1, -1}},
        {"X:UNI:ALL|ERROR:EVU:UNI", {0, 0, 0, 0, 0, 0, 0x40, 0, 0x1000000}, "UNKNOWN LOG MODE : X\n"},
        {"ERROR:|ERROR:UNI:UNI", {}, "UNKNOWN LOG MODULE 1 : NULL\n"},
        {"ERROR:UNI:UNI|NORMAL", {0, 0, 0, 0, 0, 0, 0x10, 0, 1}, "UNKNOWN LOG MODULE 1 : NULL\n"},
        {"ERROR::UNI|ERROR:UNI:LIB", {0, 0, 0, 0, 0, 0, 0x10, 0, 2}}, // an empty list of groups is none
        {"ERROR:UNI:LIB,UNI:1", {0, 0, 0, 0, 0, 0, 0x10, 0, 2}},      // "UNI:1" is no module
        {"X:UNI:|ERROR:UNI:UNI", {}, "UNKNOWN LOG MODULE 2 : NULL\n"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.message, fgTold([&] { EXPECT_EQ(1, fgSetLogMasks(row.text)); })) << row.text;
        EXPECT_EQ(row.masks, fMasks()) << row.text;
    }
    fgSetLogMasks("DEBUG");
    EXPECT_EQ(-1, fgSetLogMasks(nullptr));
    EXPECT_EQ(MASKS{}, fMasks());
}
} // namespace
