#include "lib/NStringLib.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "lib/FixedText.h"
#include "lib/NumberText.h"
#include "lib/Owners.h"
#include "lib/PlainNumbers.h"
#include "lib/Trace.h"

namespace
{
constexpr size_t OID_SIZE = 16;      // an identifier and its terminator
constexpr size_t OID_PART_SIZE = 10; // one part and its terminator
constexpr size_t NULL_BLOCK_SIZE = 128;

// The token to continue with: the text, or what the cursor holds.
char* fStart(char* text, char* const* cursor)
{
    return text != nullptr ? text : *cursor;
}

// One identifier on its way through NOidCmp: a private copy and the cursor in it.
class COidParts
{
public:
    explicit COidParts(const char* oid)
    {
        if (oid == nullptr) return;
        fgCopyText(m_strCopy, std::string_view(oid, strnlen(oid, OID_SIZE)));
        m_pstrCursor = m_strCopy;
    }
    const char* fNext() { return Nstrtok(nullptr, ".", &m_pstrCursor); }

private:
    char m_strCopy[OID_SIZE] = {};
    char* m_pstrCursor = nullptr;
};

int fOidNumber(const char* part)
{
    char digits[OID_PART_SIZE];
    fgCopyText(digits, part);
    return static_cast<int>(strtol(digits, nullptr, 10));
}

// Values and blocks come at any address, so they are copied byte by byte.
template <class T> T fLoad(const void* value)
{
    T number;
    memcpy(&number, value, sizeof(number));
    return number;
}

template <class T> void fPrintInteger(char* text, const void* value)
{
    std::to_chars(text, text + VALUE_TEXT_SIZE - 1, fLoad<T>(value)); // into zeros, so it is terminated
}

void fPrintFloat(char* text, const void* value)
{
    const CPlainNumbers plain;
    snprintf(text, VALUE_TEXT_SIZE, "%f", static_cast<double>(fLoad<float>(value)));
}

// What "%d" or "%lld" takes, reduced to the block's width; a text that is no number leaves the block as it
// is.
template <class T> void fParseSigned(void* block, const char* text)
{
    long wide = 0;
    if (!CNumberScan(text).fLong(wide)) return;
    const T number = static_cast<T>(wide);
    memcpy(block, &number, sizeof(number));
}

void fParseUnsigned(void* block, const char* text)
{
    unsigned long wide = 0;
    if (!CNumberScan(text).fUnsigned(wide)) return;
    const auto number = static_cast<uint32_t>(wide);
    memcpy(block, &number, sizeof(number));
}

void fParseFloat(void* block, const char* text)
{
    const CPlainNumbers plain;
    float number = 0;
    if (sscanf(text, "%f", &number) == 1) memcpy(block, &number, sizeof(number));
}

// What a type code means. Rows without functions are the byte types.
struct ST_VALUE_TYPE
{
    unsigned char l_nCode;
    int l_nTrace;   // breadcrumb once the number stands in the text
    size_t l_nSize; // bytes of a number
    void (*l_fnPrint)(char* text, const void* value);
    void (*l_fnParse)(void* block, const char* text);
};

constexpr ST_VALUE_TYPE VALUE_TYPES[] = {
    {VALUE_INT8, 10703, 1, fPrintInteger<int8_t>, fParseSigned<int8_t>},
    {VALUE_INT32, 10704, 4, fPrintInteger<int32_t>, fParseSigned<int32_t>},
    {VALUE_GAUGE, 10705, 4, fPrintInteger<uint32_t>, fParseUnsigned},
    {VALUE_TICKS, 10706, 4, fPrintInteger<uint32_t>, fParseUnsigned},
    {VALUE_INT64, 10707, 8, fPrintInteger<int64_t>, fParseSigned<int64_t>},
    {VALUE_FLOAT, 10708, 4, fPrintFloat, fParseFloat},
    {VALUE_OCTETS, 0, 0, nullptr, nullptr},
    {VALUE_OID, 0, 0, nullptr, nullptr},
    {VALUE_ADDRESS, 0, 0, nullptr, nullptr},
    {VALUE_OPAQUE, 0, 0, nullptr, nullptr},
    {VALUE_BYTES, 0, 0, nullptr, nullptr},
};

const ST_VALUE_TYPE* fFindType(unsigned char code)
{
    const ST_VALUE_TYPE* row = std::ranges::find(VALUE_TYPES, code, &ST_VALUE_TYPE::l_nCode);
    return row == std::end(VALUE_TYPES) ? nullptr : row;
}

char* fPrintNumber(const ST_VALUE_TYPE& type, char* text, const void* value)
{
    memset(text, 0, VALUE_TEXT_SIZE);
    fgTrace(10702);
    type.l_fnPrint(text, value);
    fgTrace(type.l_nTrace);
    return text;
}

char* fCopyShort(char* text, std::string_view bytes)
{
    memset(text, 0, VALUE_TEXT_SIZE);
    fgTrace(10709);
    bytes.copy(text, bytes.size());
    fgTrace(10710);
    return text;
}

char* fCopyLong(char*& text, std::string_view bytes)
{
    fgTrace(10711);
    const COwnedText old(
        std::exchange(text, nullptr)); // freed when the copy is made: the bytes may lie in it
    fgTrace(10712);
    text = static_cast<char*>(calloc(bytes.size() + 1, 1));
    if (text == nullptr) {
        fgTrace(10713);
        return nullptr;
    }
    fgTrace(10714);
    bytes.copy(text, bytes.size());
    fgTrace(10715);
    return text;
}

char* fEmptyText(char* text)
{
    memset(text, 0, VALUE_TEXT_SIZE);
    fgTrace(10716);
    return text;
}

// Whether what the conversion is about to use is there.
bool fUsable(const ST_VALUE_TYPE* type, const void* value, const char* text, int length)
{
    const bool bytes = type != nullptr && type->l_fnPrint == nullptr;
    const bool reads = type != nullptr && (!bytes || length > 0);
    const bool replaces = bytes && length >= VALUE_TEXT_SIZE;
    return (value != nullptr || !reads) && (text != nullptr || replaces);
}

char* fConvert(const ST_VALUE_TYPE* type, const void* value, char*& text, int length)
{
    if (type == nullptr) return fEmptyText(text);
    if (type->l_fnPrint != nullptr) return fPrintNumber(*type, text, value);
    const std::string_view bytes(static_cast<const char*>(value), static_cast<size_t>(length));
    return length < VALUE_TEXT_SIZE ? fCopyShort(text, bytes) : fCopyLong(text, bytes);
}

// The value of a known type in a new block, or null.
void* fNewValue(const ST_VALUE_TYPE& type, const char* text, size_t length)
{
    void* block = calloc(type.l_fnParse != nullptr ? type.l_nSize : length + 1, 1);
    if (block == nullptr) return nullptr;
    if (type.l_fnParse != nullptr)
        type.l_fnParse(block, text);
    else
        memcpy(block, text, strnlen(text, length));
    return block;
}
} // namespace

int Nisdigit(const char* text)
{
    if (text == nullptr || *text == '\0') return 0;
    if (*text == '-' || *text == '+') text++;
    return text[strspn(text, "0123456789")] == '\0' ? 1 : 0;
}

char* Nstrtok(char* text, const char* delimiters, char** cursor)
{
    char* token = fStart(text, cursor);
    if (token == nullptr) return nullptr;
    char* end = strpbrk(token, delimiters);
    *cursor = end;
    if (end == nullptr) return token;
    const size_t run = strspn(end, delimiters);
    memset(end, 0, run);
    *cursor = end + run;
    return token;
}

char* Nstrstrtok(char* text, const char* separator, char** cursor)
{
    char* token = fStart(text, cursor);
    if (token == nullptr) return nullptr;
    const size_t width = strlen(separator);
    char* end = width == 0 ? nullptr : strstr(token, separator);
    *cursor = end;
    if (end == nullptr) return token;
    memset(end, 0, width);
    *cursor = end + width;
    return token;
}

int NOidCmp(const char* left, const char* right)
{
    COidParts leftParts(left);
    COidParts rightParts(right);
    for (;;) {
        const char* leftPart = leftParts.fNext();
        const char* rightPart = rightParts.fNext();
        if (leftPart == nullptr) return rightPart == nullptr ? 0 : -1;
        if (rightPart == nullptr) return 1;
        const int leftNumber = fOidNumber(leftPart);
        const int rightNumber = fOidNumber(rightPart);
        if (leftNumber != rightNumber) return leftNumber < rightNumber ? -1 : 1;
    }
}

char* NValueVtoA(const void* value, char** text, unsigned char type, int length)
{
    fgTrace(10700);
    if (length < 0) {
        fgTrace(10701);
        return nullptr;
    }
    const ST_VALUE_TYPE* row = fFindType(type);
    if (text == nullptr || !fUsable(row, value, *text, length)) {
        fgTrace(10717);
        return nullptr;
    }
    char* result = fConvert(row, value, *text, length);
    if (result != nullptr) fgTrace(10718);
    return result;
}

void* NValueAtoV(const char* text, void** block, unsigned char type, int length)
{
    if (length < 0 || block == nullptr || text == nullptr || *text == '\0') return nullptr;
    const std::unique_ptr<void, CFreeDeleter> old(std::exchange(*block, nullptr)); // the text may lie in it
    const ST_VALUE_TYPE* row = fFindType(type);
    if (type == VALUE_NULL)
        *block = calloc(NULL_BLOCK_SIZE, 1);
    else if (row != nullptr)
        *block = fNewValue(*row, text, static_cast<size_t>(length));
    return *block;
}

char* NCutQmark(char* text)
{
    char* quote = text == nullptr ? nullptr : strchr(text, '"');
    if (quote == nullptr) return text;
    char* word = quote + 1;
    char* blank = strchr(word, ' ');
    if (blank != nullptr) *blank = '\0';
    return word;
}
