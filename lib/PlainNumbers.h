#pragma once

#include <clocale>
#include <locale.h>

// While it lives, printf, scanf and strtod of this thread have a point in their numbers: an agent may have
// set a locale with a comma, and what reads the rows takes points.
class CPlainNumbers
{
public:
    CPlainNumbers() : m_pBefore(uselocale(fPlain())) {}
    ~CPlainNumbers() { uselocale(m_pBefore); }
    CPlainNumbers(const CPlainNumbers&) = delete;
    CPlainNumbers& operator=(const CPlainNumbers&) = delete;

private:
    static locale_t fPlain()
    {
        static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
        return plain;
    }

    locale_t m_pBefore;
};
