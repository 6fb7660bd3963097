#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

// Copies a text into a buffer of size bytes, cut to size - 1, and fills the rest with zeros, so that the
// result is always terminated. size is at least 1. Returns the bytes copied.
inline size_t fgCopyText(char* to, size_t size, std::string_view from)
{
    const size_t length = from.copy(to, size - 1);
    memset(to + length, 0, size - length);
    return length;
}

// The same for a fixed array, whose size it learns from the array.
template <size_t N> size_t fgCopyText(char (&to)[N], std::string_view from)
{
    return fgCopyText(to, N, from);
}

// The same for a buffer that already holds a text with zeros behind it, as these functions leave it: only
// what the old text used is cleared. For large fields that change often.
inline size_t fgReplaceText(char* to, size_t size, std::string_view from)
{
    const size_t used = strnlen(to, size);
    const size_t length = from.copy(to, size - 1);
    if (used > length) memset(to + length, 0, used - length);
    to[length] = '\0';
    return length;
}
template <size_t N> size_t fgReplaceText(char (&to)[N], std::string_view from)
{
    return fgReplaceText(to, N, from);
}
