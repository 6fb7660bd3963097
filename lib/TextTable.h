#pragma once

#include <cstdarg>
#include <cstddef>
#include <string_view>

// Text tables: the separators and the one builder that every collector appends its rows with.

// Every separator is three bytes, 0x03 0x1F and a character, which collected text does not normally hold.
// What a process calls itself may: whoever splits rows must count their fields.
constexpr char SEPARATOR_ROW[] = "\x03\x1F|";        // opens a data row; the header row has none
constexpr char SEPARATOR_FIELD[] = "\x03\x1F~";      // follows every column name and every value
constexpr char SEPARATOR_PUSH_ROW[] = "\x03\x1F]";   // parts push rows, ends a record of buffer files
constexpr char SEPARATOR_PUSH_FIELD[] = "\x03\x1F^"; // follows a field of push rows and of buffer files

// Fills a collector's separators: split gets row and field, push gets push row and push field.
void fgSetSeparators(char (&split)[2][4], char (&push)[2][4]);

// How a full buffer grows: from its size and used length to its next size, bytes.
using TEXT_GROWTH = size_t (*)(size_t size, size_t used);
size_t fgGrowDouble(size_t size, size_t used); // twice the size

constexpr size_t TABLE_ROOM = 256;      // free bytes that most tables want before a row
constexpr int TABLE_START_SIZE = 10240; // first size of the collectors' buffers, bytes

// A buffer for a table: zeroed bytes from malloc, freed by the caller with free; null when there is no
// memory.
char* fgNewTableBuffer(int size = TABLE_START_SIZE);

// Builds a table in a buffer that stays a pair of public members of its owner: text, from malloc, and its
// size. The builder keeps the used length, and replaces text and size when it grows the buffer. It lives for
// one pass. Every operation leaves the text terminated; one that cannot have memory changes nothing and
// returns false.
class CTextTable
{
public:
    // Starts an empty table: the whole buffer is zeroed. A null text takes every append as out of memory.
    CTextTable(char*& text, int& size, TEXT_GROWTH growth = fgGrowDouble);

    // Makes sure that room bytes are free, terminator included: grows the buffer, again when once is not
    // enough. Old text is copied over and the rest is zero.
    bool fReserve(size_t room);

    // Appends a formatted text; grows the buffer when it does not fit.
    [[gnu::format(printf, 2, 3)]] bool fAppend(const char* format, ...);
    bool fAppendText(std::string_view text);

    // For rows formatted by hand: after fReserve(n), up to n - 1 bytes may be written from fEnd on; fCommit
    // takes the new end.
    char* fEnd() const { return m_pstrText + m_nUsed; }
    void fCommit(const char* end);

    size_t fRoom() const { return static_cast<size_t>(m_nSize) - m_nUsed; } // free bytes, terminator included

    size_t fUsed() const { return m_nUsed; }

private:
    char*& m_pstrText;
    int& m_nSize;
    TEXT_GROWTH m_fnGrowth;
    size_t m_nUsed = 0;
};

// Appends a header such as "NAME%sUSED%s" with the field separator in place of every "%s". What follows the
// last one is dropped.
void fgAppendHeader(CTextTable& table, std::string_view header);
