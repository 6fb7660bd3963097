#include "collect/SSUser.h"

#include <climits>
#include <pwd.h>

#include "tests/TestSupport.h"

// Asks the live password database for the first user, and for numbers that no distribution gives to one.
TEST(SSUser, NamesStayUntilTheirSlotIsTakenAndAreCutInsideIt)
{
    CSSUser user;
    for (const auto& [uid, slot] : {std::pair(133, 5), {-5, 5}, {INT_MAX, 127}, {INT_MIN, 0}, {0, 0}, {1, 1}})
        EXPECT_EQ(user.fAdd2Hash(uid, "cached"), slot) << uid;
    user.fAdd2Hash(0, "ignored");
    EXPECT_STREQ(user.fUserName(0), "cached");
    user.fAdd2Hash(128, std::string(40, 'n').c_str());
    EXPECT_EQ(std::string(31, 'n'), user.fUserName(128));
    EXPECT_STREQ(user.fUserName(0), getpwuid(0)->pw_name) << "asked again";
    EXPECT_STREQ(user.fUserName(1), "cached") << "the slot behind";
    EXPECT_STREQ(user.fUserName(12345678), "1234567");
    EXPECT_EQ(user.fGetUser(INT_MIN), 0);
    EXPECT_STREQ(user.m_stHashTable[0].name, "-214748");
}
