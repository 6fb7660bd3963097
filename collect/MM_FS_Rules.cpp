#include <algorithm>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstring>

#include "collect/MM_FS_Info.h"
#include "driver/RunConfig.h"
#include "lib/FixedText.h"
#include "lib/RowWriter.h"

// Which mounts are reported, and their figures.

namespace
{
constexpr float KB_PER_BYTE = 0.0009765625F;
constexpr char DATASTORE_TYPE[] = "ext3"; // what whoever reads the tables takes a datastore for
constexpr int DATASTORE_FIELDS = 6;

bool fContains(std::string_view text, std::string_view part)
{
    return text.find(part) != text.npos;
}

// A row is compared up to its terminator, or whole when an agent left it without one.
bool fIsListed(const char (&rows)[FILESYSTEM_ROWS][FILESYSTEM_ROW_SIZE], int count, std::string_view text)
{
    const size_t length = text.size();
    const char first = text.empty() ? '\0' : text.front();
    const auto* const end = rows + std::clamp(count, 0, FILESYSTEM_ROWS);
    return length <= FILESYSTEM_ROW_SIZE &&
           std::any_of(rows, end, [text, length, first](const char(&row)[FILESYSTEM_ROW_SIZE]) {
               return row[0] == first && memcmp(row, text.data(), length) == 0 &&
                      (length == FILESYSTEM_ROW_SIZE || row[length] == '\0');
           });
}

float fKbPerBlock(const struct statfs64& figures)
{
    return static_cast<float>(figures.f_bsize) * KB_PER_BYTE;
}

// Blocks in KB, in single precision on purpose: what is stored elsewhere was made so. Above 16 GB the last
// digits are those of a float.
unsigned long long fKilobytes(unsigned long long blocks, float kbPerBlock)
{
    constexpr float LIMIT = 18446744073709551616.0F; // 2^64
    const float kb = static_cast<float>(blocks) * kbPerBlock;
    if (!(kb > 0)) return 0; // a block size that is none
    return kb < LIMIT ? static_cast<unsigned long long>(kb) : ULLONG_MAX;
}

// The number that a field begins with; 0 for none and for one that does not fit.
template <class T> T fNumber(std::string_view field)
{
    T value{};
    std::from_chars(field.data(), field.data() + field.size(), value);
    return value;
}

std::string_view fWithoutLineEnd(std::string_view field)
{
    return field.substr(0, field.find_first_of("\r\n"));
}

using FIELD_SETTER = void (*)(_ST_FS& record, std::string_view field);
constexpr FIELD_SETTER DATASTORE_SETTERS[DATASTORE_FIELDS] = {
    [](_ST_FS& record, std::string_view field) { fgCopyText(record.l_strDEVname, fWithoutLineEnd(field)); },
    [](_ST_FS& record, std::string_view field) {
        record.l_ulTotDskSize = fNumber<unsigned long long>(field);
    },
    [](_ST_FS& record, std::string_view field) {
        const unsigned long long used = fNumber<unsigned long long>(field);
        record.l_ulUsdDskSize = used;
        record.l_ulFreDskSize = used > record.l_ulTotDskSize ? 0 : record.l_ulTotDskSize - used;
    },
    [](_ST_FS& record, std::string_view field) {
        record.l_ulAvaDskSize = fNumber<unsigned long long>(field);
    },
    [](_ST_FS& record, std::string_view field) {
        const double usage = fNumber<double>(field);
        record.l_dDskUsage = std::isfinite(usage) ? usage : 0;
    },
    [](_ST_FS& record, std::string_view field) { fgCopyText(record.l_strFSname, fWithoutLineEnd(field)); },
};
} // namespace

bool fgSkipsFsType(std::string_view type)
{
    if (g_nExcludeFilesystemCnt > 0) return fIsListed(g_strExcludeFilesystem, g_nExcludeFilesystemCnt, type);
    return fContains(type, "proc") || fContains(type, "usbdevfs") || fContains(type, "devpts");
}

bool fgSkipsMountPoint(std::string_view mountPoint)
{
    if (g_nIncludeFilesystemCnt > 0 &&
        !fIsListed(g_strIncludeFilesystem, g_nIncludeFilesystemCnt, mountPoint))
        return true;
    return g_nFSTokenCount > 0 && fgPathDepth(mountPoint) > g_nFSTokenCount;
}

bool fgSkipsMedia(std::string_view mountPoint, std::string_view device)
{
    for (const std::string_view media : {"cdrom", "cdrecorder"})
        if (fContains(mountPoint, media) || fContains(device, media)) return true;
    return fContains(device, "sunrpc");
}

bool fgCountsInTotals(std::string_view type)
{
    return !fIsListed(g_strTotExcludeFilesystem, g_nTotExcludeFilesystemCnt, type);
}

int fgPathDepth(std::string_view path)
{
    return static_cast<int>(std::count(path.begin(), path.end(), '/'));
}

unsigned long long fgFsSize(const struct statfs64& figures)
{
    return fKilobytes(figures.f_blocks, fKbPerBlock(figures));
}

void fgSetFsFigures(const struct statfs64& figures, _ST_FS& record)
{
    const float kbPerBlock = fKbPerBlock(figures);
    record.l_ulTotDskSize = fgFsSize(figures);
    record.l_ulFreDskSize = fKilobytes(figures.f_bfree, kbPerBlock);
    record.l_ulAvaDskSize = fKilobytes(figures.f_bavail, kbPerBlock);
    record.l_ulUsdDskSize = record.l_ulTotDskSize - record.l_ulFreDskSize; // wraps when more is free, kept
    record.l_ulTotIndSize = figures.f_files;
    record.l_ulFreIndSize = figures.f_ffree;
    record.l_ulAvaIndSize = figures.f_ffree;
    record.l_ulUsdIndSize = record.l_ulTotIndSize - record.l_ulFreIndSize;
    const auto used = static_cast<double>(record.l_ulUsdDskSize);
    const auto rest =
        static_cast<double>(g_nFsFreeUsedFlag != 0 ? record.l_ulFreDskSize : record.l_ulAvaDskSize);
    // Kept: not a number when nothing is used and nothing available, because all that is free is reserved.
    record.l_dDskUsage = record.l_ulTotDskSize == 0 ? 0 : used / (used + rest) * 100;
    const auto inodes = static_cast<double>(record.l_ulTotIndSize);
    record.l_dIndUsage = inodes == 0 ? 0 : static_cast<double>(record.l_ulUsdIndSize) / inodes * 100;
}

char* fgPutFsRow(char* to, int index, const _ST_FS& record)
{
    CRowWriter row(to);
    row.fOpen();
    row.fInteger(index);
    row.fText(record.l_strFSname);
    row.fText(record.l_strDEVname);
    row.fInteger(record.l_ulTotDskSize);
    row.fInteger(record.l_ulUsdDskSize);
    row.fInteger(record.l_ulFreDskSize);
    row.fDecimal(record.l_dDskUsage);
    row.fInteger(record.l_ulAvaDskSize);
    row.fInteger(record.l_ulTotIndSize);
    row.fInteger(record.l_ulUsdIndSize);
    row.fInteger(record.l_ulFreIndSize);
    row.fDecimal(record.l_dIndUsage);
    row.fInteger(record.l_ulAvaIndSize);
    row.fText(record.l_strFSType);
    return row.fAt();
}

bool CDatastoreLine::fNext(_ST_FS& record)
{
    record = {};
    std::string_view field;
    for (int number = 1; fNextField(field); number++) {
        if (number == 1 && !fContains(field, "vmfs")) {
            number++; // the next one is field 3
            continue;
        }
        DATASTORE_SETTERS[number - 1](record, field);
        if (number < DATASTORE_FIELDS) continue;
        fgCopyText(record.l_strFSType, DATASTORE_TYPE);
        return true;
    }
    return false;
}

bool CDatastoreLine::fNextField(std::string_view& field)
{
    constexpr std::string_view BLANKS = " \t";
    m_strRest.remove_prefix(std::min(m_strRest.find_first_not_of(BLANKS), m_strRest.size()));
    field = m_strRest.substr(0, m_strRest.find_first_of(BLANKS));
    m_strRest.remove_prefix(field.size());
    return !field.empty();
}
