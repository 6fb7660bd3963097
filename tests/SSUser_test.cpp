#include "collect/SSUser.h"

#include <climits>
#include <gtest/gtest.h>
#include <pwd.h>
#include <string>
#include <utility>

TEST(SSUser, SlotsAreTheAbsoluteUidModulo128)
{
    CSSUser user;
    for (const auto& [uid, slot] : {std::pair(5, 5), {133, 5}, {-5, 5}, {INT_MAX, 127}, {INT_MIN, 0}}) {
        EXPECT_EQ(user.fAdd2Hash(uid, "name"), slot) << uid;
        EXPECT_EQ(user.m_stHashTable[slot].uid, uid);
    }
}

TEST(SSUser, NamesStayUntilTheirSlotIsTakenAndAreCutInsideIt)
{
    CSSUser user;
    user.fAdd2Hash(1, "next");
    user.fAdd2Hash(0, "cached");
    user.fAdd2Hash(0, "ignored");
    EXPECT_STREQ(user.fUserName(0), "cached");
    user.fAdd2Hash(128, std::string(40, 'n').c_str());
    EXPECT_EQ(std::string(31, 'n'), user.fUserName(128));
    EXPECT_STREQ(user.fUserName(0), getpwuid(0)->pw_name) << "asked again"; // of the live password database
    EXPECT_STREQ(user.fUserName(1), "next");
}

// Numbers that no distribution gives to a user.
TEST(SSUser, UnknownUidsAreNamedByTheirNumber)
{
    CSSUser user;
    EXPECT_STREQ(user.fUserName(12345678), "1234567");
    EXPECT_EQ(user.fGetUser(INT_MIN), 0);
    EXPECT_STREQ(user.m_stHashTable[0].name, "-214748");
}
