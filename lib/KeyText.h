#pragma once

#include <cstddef>

// Numbers behind keys in kernel text, such as "Buffers:  11476 kB" of /proc/meminfo or "page 100 200" of
// /proc/stat.

// Takes count numbers behind the first occurrence of key into values, as unsigned (a sign is taken, and
// negates); a number that is not there is 0. base is as for strtoul, 0 detects it. The key is looked for as
// plain text anywhere in a line, so it holds what tells it from longer ones: a colon or a blank at its end.
// Behind it the rest of its word is skipped. false, with values left alone, when the key is not there.
bool fgFindNumbers(const char* text, const char* key, unsigned long* values, size_t count, int base = 10);
template <size_t N>
bool fgFindNumbers(const char* text, const char* key, unsigned long (&values)[N], int base = 10)
{
    return fgFindNumbers(text, key, values, N, base);
}

// The same for one number.
inline bool fgFindNumber(const char* text, const char* key, unsigned long& value)
{
    return fgFindNumbers(text, key, &value, 1);
}
