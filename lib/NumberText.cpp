#include "lib/NumberText.h"

#include <bit>
#include <cmath>
#include <cstdio>

namespace
{
constexpr unsigned POWERS_OF_TEN[] = {1, 10, 100, 1000, 10000};
constexpr double EXACT_LIMIT = 1e12; // scaled by 10^4 a number below it stays well inside 64 bits

// value x scale to the nearest integer, ties to even, exactly: a double is a 53-bit integer over a power of
// two, and that integer times 10^4 needs 67 bits. value is above 0 and below EXACT_LIMIT.
unsigned long fScaleExactly(double value, unsigned scale)
{
    constexpr int MANTISSA_BITS = 52;
    constexpr int EXPONENT_BIAS = 1023;
    const auto bits = std::bit_cast<unsigned long>(value);
    const int exponent = static_cast<int>(bits >> MANTISSA_BITS);
    const int shift = MANTISSA_BITS + EXPONENT_BIAS - exponent; // value = mantissa / 2^shift; above 0 here
    if (shift > 100) return 0;                                  // below a half of any last decimal
    const unsigned long mantissa = (bits & ((1UL << MANTISSA_BITS) - 1)) | (1UL << MANTISSA_BITS);
    const unsigned __int128 product = static_cast<unsigned __int128>(mantissa) * scale;
    const auto whole = static_cast<unsigned long>(product >> shift);
    const unsigned __int128 rest = product - (static_cast<unsigned __int128>(whole) << shift);
    const unsigned __int128 half = static_cast<unsigned __int128>(1) << (shift - 1);
    const bool up = rest > half || (rest == half && (whole & 1) != 0);
    return whole + (up ? 1 : 0);
}
} // namespace

template <int DECIMALS> char* fgPutFixed(char* to, double value)
{
    constexpr unsigned SCALE = POWERS_OF_TEN[DECIMALS];
    if (!(std::fabs(value) < EXACT_LIMIT))
        return to + snprintf(to, NUMBER_TEXT_SIZE, "%.*f", DECIMALS, value);
    if (std::signbit(value)) *to++ = '-';
    if (value == 0)
        return fgPutText(to, std::string_view("0.0000").substr(0, DECIMALS == 0 ? 1 : DECIMALS + 2));
    const unsigned long scaled = fScaleExactly(std::fabs(value), SCALE);
    to = fgPutInteger(to, scaled / SCALE);
    if (DECIMALS == 0) return to;
    *to++ = '.';
    unsigned long rest = scaled % SCALE;
    for (int i = DECIMALS - 1; i >= 0; i--) {
        to[i] = static_cast<char>('0' + rest % 10);
        rest /= 10;
    }
    return to + DECIMALS;
}

template char* fgPutFixed<0>(char* to, double value);
template char* fgPutFixed<1>(char* to, double value);
template char* fgPutFixed<2>(char* to, double value);
template char* fgPutFixed<3>(char* to, double value);
template char* fgPutFixed<4>(char* to, double value);

char* fgPadLeft(char* start, char* end, size_t width)
{
    const auto length = static_cast<size_t>(end - start);
    if (length >= width) return end;
    memmove(start + (width - length), start, length);
    memset(start, ' ', width - length);
    return start + width;
}
