#include "lib/NumberText.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <random>

#include "tests/TestSupport.h"

namespace
{
void fCheckFixed(double value)
{
    char* (*const puts[])(char*, double) = {fgPutFixed<0>, fgPutFixed<1>, fgPutFixed<2>, fgPutFixed<3>,
                                            fgPutFixed<4>};
    char text[NUMBER_TEXT_SIZE];
    char expected[NUMBER_TEXT_SIZE];
    for (int decimals = 0; decimals <= 4; decimals++) {
        snprintf(expected, sizeof(expected), "%.*f", decimals, value);
        ASSERT_EQ(std::string(text, puts[decimals](text, value)), expected) << value;
    }
}
} // namespace

TEST(NumberText, FixedDecimalsAreWhatPrintfGives)
{
    for (const double value :
         {0.0,       -0.0,   0.005, 0.015, 0.025, 0.045, 0.125,  0.375,    2.5,       99.995,
          99.994999, -0.001, 1e11,  1e12,  1e18,  1e300, 4e-320, HUGE_VAL, -HUGE_VAL, std::nan("")})
        fCheckFixed(value);
    std::mt19937_64 random(1);
    for (int i = 0; i < 20000; i++) {
        const uint64_t bits = random();
        const double near = static_cast<double>(bits % 2000001) / 200 - 5000; // halves of the last decimal
        for (const double value : {std::bit_cast<double>(bits), near, double{static_cast<float>(near)}})
            fCheckFixed(value);
    }
}

// Each conversion against sscanf's own, on generated and damaged text: taken or refused alike, the same
// value, the same end.
TEST(NumberScan, TakesWhatSscanfTakes)
{
    const auto pieces = fgSplit("0,7,42,-,+, ,\t,\n,0x,0X,x,ff,A,9,18446744073709551615,9223372036854775808,"
                                "99999999999999999999999,.,,2147483648",
                                ",");
    std::mt19937 random(2);
    for (int i = 0; i < 100000; i++) {
        std::string text;
        for (auto n = random() % 5; n > 0; n--)
            text += pieces[random() % pieces.size()];
        const auto check = [&](const char* format, auto expected, auto take) {
            auto value = expected = 77;
            int end = 0;
            const bool taken = sscanf(text.c_str(), format, &expected, &end) == 1;
            CNumberScan scan(text.c_str());
            ASSERT_EQ((scan.*take)(value), taken) << format << " of '" << text << "'";
            ASSERT_EQ(value, expected) << format << " of '" << text << "'";
            ASSERT_EQ(taken ? scan.fAt() - text.c_str() : 0, end) << format << " of '" << text << "'";
        };
        check("%d%n", 0, &CNumberScan::fInt);
        check("%ld%n", 0L, &CNumberScan::fLong);
        check("%lu%n", 0UL, &CNumberScan::fUnsigned);
        check("%LX%n", 0ULL, &CNumberScan::fHex);
        check("%c%n", '\0', &CNumberScan::fChar);
    }
}
