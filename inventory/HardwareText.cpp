#include "inventory/HardwareText.h"

#include <cstring>

namespace
{
char* fSkipBlanks(char* text)
{
    return text + strspn(text, " \t");
}

// Cuts a line at its first colon; returns what follows, without leading blanks. null without a colon.
char* fCutKey(char* line)
{
    char* colon = strchr(line, ':');
    if (colon == nullptr) return nullptr;
    *colon = '\0';
    return fSkipBlanks(colon + 1);
}

// Kept: it is the value's first character that goes, also when the quote stands further on. Without quotes
// the newline stays.
char* fBare(char* value)
{
    if (strchr(value, '"') == nullptr) return value;
    value++;
    value[strcspn(value, "\"")] = '\0';
    return value;
}
} // namespace

unsigned fgCountLines(const char* path, const char* marker)
{
    unsigned count = 0;
    fgVisitLines<COUNT_LINE_SIZE>(path, [&](const char* line) { count += strstr(line, marker) != nullptr; });
    return count;
}

char* CHardwareScan::fTake(char* line)
{
    char* value = fCutKey(line);
    if (value == nullptr) return nullptr;
    value = fBare(value);
    const std::string_view key(line);
    if (key.starts_with("class")) m_bWanted = std::string_view(value).starts_with(m_strClass);
    return m_bWanted && key.starts_with("desc") ? value : nullptr;
}

bool CPciScan::fTake(char* line)
{
    line = fSkipBlanks(line);
    if (std::string_view(line).starts_with("Bus")) {
        m_bPending = true;
        return false;
    }
    char* name = m_bPending ? fCutKey(line) : nullptr;
    if (name == nullptr) return false;
    name[strcspn(name, "\n")] = '\0';
    m_pstrType = line;
    m_pstrName = name;
    m_bPending = false;
    return true;
}
