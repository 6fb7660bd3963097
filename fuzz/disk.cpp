#include <algorithm>
#include <cstdio>
#include <cstring>
#include <tuple>

#include "collect/MM_IO_Info.h"
#include "fuzz/Fuzz.h"
#include "lib/TextTable.h"

// Lines about disks, and their row of the table.

namespace
{
auto fNumbers(const ST_DISK_LINE& l)
{
    return std::tie(l.l_nMajor, l.l_nMinor, l.l_uiReads, l.l_uiReadMerges, l.l_ulReadSectors, l.l_uiReadTicks,
                    l.l_uiWrites, l.l_uiWriteMerges, l.l_ulWriteSectors, l.l_uiWriteTicks, l.l_ulTicks,
                    l.l_uiWeighted);
}

template <class TTick>
void fLine(std::string_view input, int (*parse)(const char*, ST_DISK_LINE&), const char* format)
{
    const CFuzzText text(input);
    ST_DISK_LINE is, be;
    const auto name = std::make_unique<char[]>(input.size() + 1);
    TTick ticks = 0;
    const int values = std::max(0, sscanf(text, format, &be.l_nMajor, &be.l_nMinor, name.get(), &be.l_uiReads,
                                          &be.l_uiReadMerges, &be.l_ulReadSectors, &be.l_uiReadTicks,
                                          &be.l_uiWrites, &be.l_uiWriteMerges, &be.l_ulWriteSectors,
                                          &be.l_uiWriteTicks, &ticks, &be.l_uiWeighted));
    be.l_ulTicks = ticks;
    fgFuzzMust(parse(text, is) == values, "a line is taken as sscanf takes it");
    fgFuzzMust(fNumbers(is) == fNumbers(be) && is.l_strName == name.get(), "a line gives what sscanf gives");
    char path[DISK_PATH_SIZE] = {};
    fgSetDiskPath(path, is.l_strName);
    fgPassesDiskFilter(is, values);
}

void fDiskstats(std::string_view input)
{
    const auto whole = [](const char* line, ST_DISK_LINE& disk) { return fgParseDiskstats(line, disk); };
    fLine<unsigned long>(input, whole, FORMAT_DISKSTATS);
    const CFuzzText text(input);
    ST_DISK_LINE all, some;
    const int values = whole(text, all);
    const int taken = fgParseDiskstats(text, some, true);
    fgFuzzMust(taken == values || (taken == 3 && !fgPassesDiskFilter(all, values)),
               "only a line that is refused is taken in part");
}

void fPartitions(std::string_view input)
{
    fLine<unsigned int>(input, fgParsePartitions, FORMAT_PARTITIONS);
}

void fListed(std::string_view text)
{
    ST_LISTED_DISK disk = {};
    if (fgParseListedDisk(CFuzzText(text), disk))
        fgFuzzMust(strlen(disk.l_strName) < DISK_LISTED_SIZE, "a listed name is terminated");
}

void fUnit(std::string_view input)
{
    static CMM_IO_Info collector;
    const CFuzzText text(input);
    char word[8];
    const char* rest = collector.fMParceDevUnit(text, word, sizeof(word));
    fgFuzzMust(rest == nullptr || rest <= text + text.fView().size(),
               "the place behind a word is in the text");
    fgFuzzMust(strlen(word) < sizeof(word), "a word is terminated");
}

// The values by their bytes, then the name.
void fRow(std::string_view input)
{
    DISK_COLUMNS columns = {};
    const std::string_view bytes = input.substr(0, sizeof(columns));
    memcpy(columns.data(), bytes.data(), bytes.size());
    const CFuzzText name(input.substr(bytes.size()).substr(0, DISK_PATH_SIZE - 1));
    const auto row = std::make_unique<char[]>(DISK_ROW_SIZE);
    const auto expected = std::make_unique<char[]>(DISK_ROW_SIZE);
    const char* f = SEPARATOR_FIELD;
    const int length =
        snprintf(expected.get(), DISK_ROW_SIZE, ROW_DISK, SEPARATOR_ROW, 3, f, static_cast<const char*>(name),
                 f, columns[0], f, columns[1], f, columns[2], f, columns[3], f, columns[4], f);
    const char* end = fgPutDiskRow(row.get(), 3, name.fView(), columns);
    fgFuzzMust(std::string_view(row.get(), static_cast<size_t>(end - row.get())) ==
                   std::string_view(expected.get(), static_cast<size_t>(length)),
               "a row is what its format prints");
}

constexpr FUZZ_READER READERS[] = {fDiskstats, fPartitions, fListed, fUnit, fRow};
const CFuzzTarget TARGET("disk", [](std::string_view input) { fgFuzzDispatch(READERS, input); });
} // namespace
