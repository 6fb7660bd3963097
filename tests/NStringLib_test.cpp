#include "lib/NStringLib.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "lib/Owners.h"
#include "lib/Trace.h"
#include "tests/TestSupport.h"

namespace
{
// Converts into a dirty buffer, so that every byte that must be cleared shows, and gives its 128 bytes
// without their zeros at the end.
std::string fToText(unsigned char type, const void* value, int length)
{
    std::string text(VALUE_TEXT_SIZE, '#');
    char* buffer = text.data();
    EXPECT_EQ(NValueVtoA(value, &buffer, type, length), text.data());
    return text.substr(0, text.find_last_not_of('\0') + 1);
}

// The first bytes of the block made from a text.
std::string fFromText(unsigned char type, const char* text, int length, size_t bytes)
{
    void* block = malloc(3);
    const COwnedText value(static_cast<char*>(NValueAtoV(text, &block, type, length)));
    EXPECT_EQ(block, value.get());
    return {value.get(), bytes};
}

// A number as text, from an odd address, and the number that a text becomes.
template <class T> void fCheckNumber(unsigned char type, T value, const char* text, const char* otherText)
{
    alignas(T) char bytes[sizeof(T) + 1];
    memcpy(bytes + 1, &value, sizeof(T));
    EXPECT_EQ(fToText(type, bytes + 1, 0), text);
    const std::string number(bytes + 1, sizeof(T));
    EXPECT_EQ(fFromText(type, text, 0, sizeof(T)), number) << text;
    EXPECT_EQ(fFromText(type, otherText, 0, sizeof(T)), number) << otherText;
    EXPECT_EQ(fFromText(type, "none", 0, sizeof(T)), std::string(sizeof(T), '\0')) << int{type};
}
} // namespace

TEST(NStringLib, TextsAreSplitIntoTokens)
{
    // Why, the function, what separates, the text; its tokens, and what is left of it, a 0 for each NUL.
    for (const auto& row : fgCases("strings/tokens")) {
        std::string text = row.at(3), tokens;
        const auto split = row.at(1) == "Nstrtok" ? Nstrtok : Nstrstrtok;
        char* cursor = text.data();
        while (const char* token = split(nullptr, row.at(2).c_str(), &cursor))
            tokens += "[" + std::string(token) + "]";
        std::ranges::replace(text, '\0', '0');
        EXPECT_EQ(std::pair(tokens, text), std::pair(row.at(4), row.at(5))) << row[0];
    }
    for (auto row : fgCases("strings/quoted"))
        EXPECT_EQ(NCutQmark(row[0].data()), row.at(1));
}

TEST(NStringLib, NumbersAndIdentifiersAreTold)
{
    for (const auto& [text, expected] :
         {std::pair("7", 1), {"-", 1}, {"+12", 1}, {"", 0}, {"1-2", 0}, {"--1", 0}, {" 1", 0}, {"1.5", 0}})
        EXPECT_EQ(Nisdigit(text), expected) << text;
    for (const auto& row : fgCases("strings/identifiers")) { // why, two of them, their order
        const int order = NOidCmp(row.at(1).c_str(), row.at(2).c_str());
        EXPECT_EQ(order, atoi(row.at(3).c_str())) << row[0];
        EXPECT_EQ(NOidCmp(row[2].c_str(), row[1].c_str()), -order) << row[0];
    }
    EXPECT_EQ(NOidCmp(nullptr, "1"), -1);
}

TEST(NStringLib, ValuesBecomeTextAndBackByType)
{
    fCheckNumber<signed char>(VALUE_INT8, -128, "-128", "384"); // the low byte
    fCheckNumber<int>(VALUE_INT32, INT_MIN, "-2147483648", " -2147483648x");
    fCheckNumber<unsigned>(VALUE_GAUGE, UINT_MAX, "4294967295", "-1");
    fCheckNumber<unsigned>(VALUE_TICKS, 4000000001U, "4000000001", "+4000000001");
    fCheckNumber<long long>(VALUE_INT64, LLONG_MIN, "-9223372036854775808", "-9999999999999999999");
    fCheckNumber<float>(VALUE_FLOAT, -150.0F, "-150.000000", "-1.5e2");
    const std::string bytes(200, 'b');
    for (const unsigned char type : {VALUE_OCTETS, VALUE_OID, VALUE_ADDRESS, VALUE_OPAQUE, VALUE_BYTES}) {
        EXPECT_EQ(fToText(type, bytes.data(), 127), bytes.substr(0, 127)) << int{type};
        EXPECT_EQ(fFromText(type, "abcdef", 3, 4), std::string("abc\0", 4)) << int{type};
    }
    EXPECT_EQ(fFromText(VALUE_BYTES, "ab", 5, 6), std::string("ab\0\0\0\0", 6));
    EXPECT_EQ(fFromText(VALUE_NULL, "ignored", 0, 128), std::string(128, '\0'));

    char* own = strdup(bytes.c_str()); // the value lies in the buffer that is replaced
    const COwnedText owner(NValueVtoA(own, &own, VALUE_OCTETS, 128));
    EXPECT_EQ(bytes.substr(0, 128), own);
    EXPECT_EQ(NValueVtoA(nullptr, &own, VALUE_INT32, 4), nullptr);
    EXPECT_EQ(NValueVtoA("7", &own, VALUE_INT32, -1), nullptr);
    EXPECT_EQ(NValueVtoA("7", nullptr, VALUE_OCTETS, 128), nullptr);
    EXPECT_EQ(bytes.substr(0, 128), own) << "unusable values change nothing";
    void* block = malloc(4);
    EXPECT_EQ(NValueAtoV("1", &block, 0x33, 4), nullptr);
    EXPECT_EQ(block, nullptr) << "an unknown code frees the block";
    EXPECT_EQ(NValueAtoV("1", nullptr, VALUE_INT32, 4), nullptr);
    EXPECT_EQ(fToText(0x33, "number", 7), "") << "unknown code";
}

TEST(NStringLib, BreadcrumbsTellTheLastStep)
{
    EXPECT_EQ(fToText(VALUE_OCTETS, "7", 1), "7");
    EXPECT_EQ(fgLastTrace(), 10718);
    fgTrace(2, std::string(2000, 'f').c_str(), "g", 3);
    EXPECT_EQ(strlen(g_strDebugDetail), DEBUG_DETAIL_SIZE - 1);
    fgTrace(4, "a/b/c.cpp", "g", 3);
    EXPECT_STREQ(g_strDebugDetail, "(DEBUG NO : 4)[c.cpp:g:3]\n");
}
