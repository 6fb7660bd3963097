#include "lib/TextTable.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "lib/FixedText.h"
#include "lib/NumberText.h"

void fgSetSeparators(char (&split)[2][4], char (&push)[2][4])
{
    fgCopyText(split[0], SEPARATOR_ROW);
    fgCopyText(split[1], SEPARATOR_FIELD);
    fgCopyText(push[0], SEPARATOR_PUSH_ROW);
    fgCopyText(push[1], SEPARATOR_PUSH_FIELD);
}

size_t fgGrowDouble(size_t size, size_t)
{
    return size * 2;
}

char* fgNewTableBuffer(int size)
{
    return static_cast<char*>(calloc(1, static_cast<size_t>(size)));
}

CTextTable::CTextTable(char*& text, int& size, TEXT_GROWTH growth)
    : m_pstrText(text), m_nSize(size), m_fnGrowth(growth)
{
    if (text != nullptr) memset(text, 0, static_cast<size_t>(size));
}

bool CTextTable::fReserve(size_t room)
{
    if (m_pstrText == nullptr) return false;
    size_t size = static_cast<size_t>(m_nSize);
    while (size - m_nUsed < room) {
        const size_t next = m_fnGrowth(size, m_nUsed);
        size = next > size ? next : size * 2; // a rule that stands still would never end
        if (size > INT_MAX) return false;
    }
    if (size == static_cast<size_t>(m_nSize)) return true;
    char* grown = static_cast<char*>(calloc(1, size));
    if (grown == nullptr) return false;
    memcpy(grown, m_pstrText, m_nUsed);
    free(m_pstrText);
    m_pstrText = grown;
    m_nSize = static_cast<int>(size);
    return true;
}

bool CTextTable::fAppend(const char* format, ...)
{
    if (m_pstrText == nullptr) return false;
    va_list values;
    va_list again;
    va_start(values, format);
    va_copy(again, values);
    const size_t room = static_cast<size_t>(m_nSize) - m_nUsed;
    const int length = vsnprintf(fEnd(), room, format, values);
    bool done = length >= 0;
    if (done && static_cast<size_t>(length) >= room) {
        *fEnd() = '\0'; // drop the cut text in case there is no memory for the whole
        done = fReserve(static_cast<size_t>(length) + 1);
        if (done) vsnprintf(fEnd(), static_cast<size_t>(length) + 1, format, again);
    }
    va_end(again);
    va_end(values);
    if (done) m_nUsed += static_cast<size_t>(length);
    return done;
}

bool CTextTable::fAppendText(std::string_view text)
{
    if (!fReserve(text.size() + 1)) return false;
    char* end = fEnd();
    memcpy(end, text.data(), text.size());
    fCommit(end + text.size());
    return true;
}

void CTextTable::fCommit(const char* end)
{
    m_nUsed = static_cast<size_t>(end - m_pstrText);
    m_pstrText[m_nUsed] = '\0';
}

void fgAppendHeader(CTextTable& table, std::string_view header)
{
    if (!table.fReserve(2 * header.size() + 1)) return; // a separator is a byte longer than its "%s"
    char* end = table.fEnd();
    for (size_t at = 0; (at = header.find("%s")) != std::string_view::npos; header.remove_prefix(at + 2)) {
        end = fgPutText(end, header.substr(0, at));
        end = fgPutText(end, SEPARATOR_FIELD);
    }
    table.fCommit(end);
}
