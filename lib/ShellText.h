#pragma once

#include <string>
#include <string_view>

// True when a text may stand in a shell command line as one plain word: it is not empty and holds nothing but
// letters, digits, . _ - : @ and the characters of extra, such as "/" for a path. Names that come from
// outside and fail this are kept out of the shell.
inline bool fgIsShellSafe(std::string_view text, std::string_view extra = "")
{
    constexpr std::string_view PLAIN = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-:@";
    for (const char character : text)
        if (PLAIN.find(character) == std::string_view::npos &&
            extra.find(character) == std::string_view::npos)
            return false;
    return !text.empty();
}

// A path as one word of a shell command line: as it is when it is safe with the characters of extra, quoted
// otherwise.
inline std::string fgShellWord(std::string_view path, std::string_view extra = "/+%,")
{
    if (fgIsShellSafe(path, extra)) return std::string(path);
    std::string word = "'";
    for (const char character : path)
        word += character == '\'' ? std::string("'\\''") : std::string(1, character);
    return word + "'";
}
