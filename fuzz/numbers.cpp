#include <algorithm>
#include <cstdio>
#include <cstring>

#include "fuzz/Fuzz.h"
#include "lib/NumberText.h"

// Numbers to text and back, against stdio.

namespace
{
template <class T> T fValue(std::string_view bytes)
{
    T value = 0;
    memcpy(&value, bytes.data(), std::min(bytes.size(), sizeof(value)));
    return value;
}

template <class TPut, class T> void fPrinted(size_t size, TPut put, const char* format, int decimals, T value)
{
    const auto is = std::make_unique<char[]>(size);
    char be[NUMBER_TEXT_SIZE];
    const int length = snprintf(be, sizeof(be), format, decimals, value);
    const char* end = put(is.get(), value);
    fgFuzzMust(std::string_view(is.get(), static_cast<size_t>(end - is.get())) ==
                   std::string_view(be, static_cast<size_t>(length)),
               "a number is what printf writes");
}

template <int DECIMALS> void fFixed(double value)
{
    fPrinted(NUMBER_TEXT_SIZE, fgPutFixed<DECIMALS>, "%.*f", DECIMALS, value);
}

void fPut(std::string_view bytes)
{
    const auto value = fValue<double>(bytes);
    fFixed<0>(value);
    fFixed<1>(value);
    fFixed<2>(value);
    fFixed<3>(value);
    fFixed<4>(value);
    fPrinted(INTEGER_TEXT_SIZE, fgPutInteger<long>, "%.*ld", 1, fValue<long>(bytes));
    fPrinted(INTEGER_TEXT_SIZE, fgPutInteger<unsigned long>, "%.*lu", 1, fValue<unsigned long>(bytes));
    fPrinted(INTEGER_TEXT_SIZE, fgPutInteger<int>, "%.*d", 1, fValue<int>(bytes));
}

template <class T, class TTake> void fScanned(const char* text, const char* format, TTake take)
{
    T is = 77;
    T be = 77;
    int end = 0;
    const bool taken = sscanf(text, format, &be, &end) == 1;
    CNumberScan scan(text);
    fgFuzzMust((scan.*take)(is) == taken && is == be, "a number is what sscanf reads");
    fgFuzzMust(!taken || scan.fAt() - text == end, "a number ends where sscanf ends it");
}

void fTake(std::string_view input)
{
    const CFuzzText text(input);
    fScanned<int>(text, "%d%n", &CNumberScan::fInt);
    fScanned<long>(text, "%ld%n", &CNumberScan::fLong);
    fScanned<unsigned long>(text, "%lu%n", &CNumberScan::fUnsigned);
    fScanned<unsigned long long>(text, "%LX%n", &CNumberScan::fHex);
    fScanned<char>(text, "%c%n", &CNumberScan::fChar);
}

constexpr FUZZ_READER READERS[] = {fPut, fTake};
const CFuzzTarget TARGET("numbers", [](std::string_view input) { fgFuzzDispatch(READERS, input); });
} // namespace
