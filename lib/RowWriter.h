#pragma once

#include <string_view>

#include "lib/NumberText.h"
#include "lib/TextTable.h"

// Writes the values of a row, each followed by the field separator, in a fraction of the time that printf
// takes. The caller provides the room: 4 bytes more than a text is long, than INTEGER_TEXT_SIZE for an
// integer, and than NUMBER_TEXT_SIZE for a decimal.
class CRowWriter
{
public:
    explicit CRowWriter(char* to) : m_pstrAt(to) {}
    void fOpen() { m_pstrAt = fgPutText(m_pstrAt, SEPARATOR_ROW); }
    void fText(std::string_view value) { fEnd(fgPutText(m_pstrAt, value)); }
    template <class T> void fInteger(T value) { fEnd(fgPutInteger(m_pstrAt, value)); }
    void fDecimal(double value) { fEnd(fgPutFixed<2>(m_pstrAt, value)); }
    char* fAt() const { return m_pstrAt; }

private:
    void fEnd(char* end) { m_pstrAt = fgPutText(end, SEPARATOR_FIELD); }
    char* m_pstrAt;
};
