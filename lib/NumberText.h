#pragma once

#include <charconv>
#include <climits>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <type_traits>

// Numbers to text and back without stdio, byte for byte what printf and sscanf do with them.

constexpr size_t INTEGER_TEXT_SIZE = 20; // bytes of the longest integer: 2^64 - 1, or -2^63 with its sign
constexpr size_t NUMBER_TEXT_SIZE = 352; // bytes of the longest number: 309 digits, sign, point and decimals

// Writes an integer as "%d", "%ld", "%lu" and their like do; returns the end. to has INTEGER_TEXT_SIZE bytes.
template <class T> char* fgPutInteger(char* to, T value)
{
    static_assert(std::is_integral_v<T>);
    if (value >= 0 && value <= 9) // most of what a process table holds
    {
        *to = static_cast<char>('0' + value);
        return to + 1;
    }
    return std::to_chars(to, to + INTEGER_TEXT_SIZE, value).ptr;
}

// Writes a number as "%.*f" with 0 to 4 decimals does, exactly rounded, infinities and not-a-number included;
// returns the end. to has NUMBER_TEXT_SIZE bytes.
template <int DECIMALS> char* fgPutFixed(char* to, double value);

// Writes 0 to 99 in two digits; returns the end.
inline char* fgPutTwoDigits(char* to, unsigned long value)
{
    *to++ = static_cast<char>('0' + value / 10);
    *to++ = static_cast<char>('0' + value % 10);
    return to;
}

inline char* fgPutText(char* to, std::string_view text)
{
    memcpy(to, text.data(), text.size());
    return to + text.size();
}

// Moves the text written from start to end to the right until it is width bytes wide, as "%10d" does; returns
// the new end. There is room for width bytes.
char* fgPadLeft(char* start, char* end, size_t width);

// Takes numbers from a text one after another as sscanf does with the conversion named at each method, blanks
// in front skipped. On false nothing was stored. A number beyond 64 bits saturates. Inline, since a pass over
// the process table takes fifty numbers a process.
class CNumberScan
{
public:
    explicit CNumberScan(const char* text) : m_pstrAt(text) {}
    inline bool fChar(char& value);                           // %c: any byte but the end of the text
    inline bool fWord();                                      // %*s: a run of bytes that are no blanks
    inline bool fInt(int& value);                             // %d
    inline bool fPair(int& first, char between, int& second); // %d, that character, %d
    inline bool fLong(long& value);                           // %ld
    inline bool fUnsigned(unsigned long& value);              // %lu; a sign is taken, and negates
    inline bool fHex(unsigned long long& value);              // %LX; a sign and 0x are taken
    // Pass over numbers, of "%d", "%ld" and "%lu" alike or, with BASE 16, of "%LX"; false when there is none.
    template <unsigned BASE = 10> inline bool fSkip(int count);
    inline void fSkipBlanks();
    const char* fAt() const { return m_pstrAt; }

private:
    // A number without its sign; saturated when it does not fit.
    struct ST_MAGNITUDE
    {
        unsigned long l_ulValue = 0;
        bool l_bNegative = false;
        bool l_bSaturated = false;
    };
    inline bool fPlain(unsigned long& value);
    template <unsigned BASE> bool fMagnitude(ST_MAGNITUDE& number);
    template <unsigned BASE> inline bool fModulo(unsigned long& value);
    static bool fIsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
    template <unsigned BASE> static inline unsigned fDigit(char c); // BASE or more for what is no digit

    const char* m_pstrAt;
};

inline void CNumberScan::fSkipBlanks()
{
    while (fIsBlank(*m_pstrAt))
        m_pstrAt++;
}

inline bool CNumberScan::fChar(char& value)
{
    if (*m_pstrAt == '\0') return false;
    value = *m_pstrAt++;
    return true;
}

inline bool CNumberScan::fWord()
{
    fSkipBlanks();
    const char* start = m_pstrAt;
    while (*m_pstrAt != '\0' && !fIsBlank(*m_pstrAt))
        m_pstrAt++;
    return m_pstrAt != start;
}

template <unsigned BASE> inline unsigned CNumberScan::fDigit(char c)
{
    const unsigned digit = static_cast<unsigned char>(c) - static_cast<unsigned>('0');
    if (BASE == 10 || digit < 10) return digit;
    const unsigned letter = (static_cast<unsigned char>(c) | 0x20U) - static_cast<unsigned>('a');
    return letter < 6 ? letter + 10 : BASE;
}

// Nearly every number of kernel text: blanks, and then digits that fit. Takes nothing else, and leaves the
// text where it stood then.
inline bool CNumberScan::fPlain(unsigned long& value)
{
    constexpr unsigned long TEN_TO_19 = 10000000000000000000U;
    const char* at = m_pstrAt;
    while (*at == ' ')
        at++;
    const char* const start = at;
    unsigned long sum = 0;
    for (unsigned digit = 0; (digit = fDigit<10>(*at)) < 10; at++)
        sum = sum * 10 + digit;
    // 19 digits fit, and of 20 those that begin with 1 and did not wrap to something small.
    const auto length = at - start;
    if (length == 0 || length > 20 || (length == 20 && (*start != '1' || sum < TEN_TO_19))) return false;
    value = sum;
    m_pstrAt = at;
    return true;
}

template <unsigned BASE> bool CNumberScan::fMagnitude(ST_MAGNITUDE& number)
{
    const char* at = m_pstrAt;
    while (fIsBlank(*at))
        at++;
    number.l_bNegative = *at == '-';
    if (*at == '-' || *at == '+') at++;
    unsigned digit = fDigit<BASE>(*at);
    if (digit >= BASE) return false;
    if (BASE == 16 && *at == '0' && (at[1] | 0x20) == 'x')
        digit = fDigit<BASE>(*(at += 2)); // "0x" alone is 0
    constexpr int SAFE_DIGITS = 16;       // of any base here fit 64 bits
    const char* const safe = at + SAFE_DIGITS;
    unsigned long sum = 0;
    for (; digit < BASE && at != safe; digit = fDigit<BASE>(*++at))
        sum = sum * BASE + digit;
    for (; digit < BASE; digit = fDigit<BASE>(*++at))
        number.l_bSaturated |= __builtin_mul_overflow(sum, static_cast<unsigned long>(BASE), &sum) ||
                               __builtin_add_overflow(sum, static_cast<unsigned long>(digit), &sum);
    number.l_ulValue = number.l_bSaturated ? ULONG_MAX : sum;
    m_pstrAt = at;
    return true;
}

inline bool CNumberScan::fLong(long& value)
{
    unsigned long plain = 0;
    if (fPlain(plain)) {
        value = plain > static_cast<unsigned long>(LONG_MAX) ? LONG_MAX : static_cast<long>(plain);
        return true;
    }
    ST_MAGNITUDE number;
    if (!fMagnitude<10>(number)) return false;
    if (number.l_ulValue > static_cast<unsigned long>(LONG_MAX))
        value = number.l_bNegative ? LONG_MIN : LONG_MAX;
    else
        value =
            number.l_bNegative ? -static_cast<long>(number.l_ulValue) : static_cast<long>(number.l_ulValue);
    return true;
}

inline bool CNumberScan::fInt(int& value)
{
    long wide = 0;
    if (!fLong(wide)) return false;
    value = static_cast<int>(wide);
    return true;
}

inline bool CNumberScan::fPair(int& first, char between, int& second)
{
    return fInt(first) && *m_pstrAt == between && (++m_pstrAt, fInt(second));
}

template <unsigned BASE> inline bool CNumberScan::fModulo(unsigned long& value)
{
    ST_MAGNITUDE number;
    if (!fMagnitude<BASE>(number)) return false;
    value = number.l_bNegative && !number.l_bSaturated ? 0UL - number.l_ulValue : number.l_ulValue;
    return true;
}

inline bool CNumberScan::fUnsigned(unsigned long& value)
{
    return fPlain(value) || fModulo<10>(value);
}

inline bool CNumberScan::fHex(unsigned long long& value)
{
    unsigned long same = 0;
    if (!fModulo<16>(same)) return false;
    value = same;
    return true;
}

template <unsigned BASE> inline bool CNumberScan::fSkip(int count)
{
    for (; count > 0; count--) {
        const char* at = m_pstrAt;
        if (*at == ' ') at++;
        if (*at == '-') at++;
        const char* const start = at;
        while (fDigit<10>(*at) < 10)
            at++;
        unsigned long value = 0;
        if (at != start && *at == ' ') // digits alone end where every conversion has them end
            m_pstrAt = at;
        else if (!fModulo<BASE>(value))
            return false;
    }
    return true;
}
