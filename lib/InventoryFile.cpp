#include "lib/InventoryFile.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>

#include "driver/RunConfig.h"
#include "lib/FixedText.h"
#include "lib/NCmdScheduler.h"
#include "lib/Owners.h"

namespace
{
bool fIsLowerCase(char c)
{
    return c >= 'a' && c <= 'z';
}

long fFileSize(FILE* file)
{
    struct stat status = {};
    return fstat(fileno(file), &status) == 0 ? static_cast<long>(status.st_size) : 0;
}

bool fFindRecord(FILE* file, RECORD_TEST test, std::string& record)
{
    char* text = nullptr;
    size_t size = 0;
    bool found = false;
    ssize_t length = 0;
    while (!found && (length = getline(&text, &size, file)) > 0) {
        std::string_view line(text, static_cast<size_t>(length));
        if (line.back() != '\n') break;
        line.remove_suffix(1);
        found = !line.empty() && test(line);
        if (found) record.assign(line.substr(0, line.find('\0')));
    }
    free(text);
    return found;
}
} // namespace

bool fgHasLowerCase(std::string_view line)
{
    return std::any_of(line.begin(), line.end(), fIsLowerCase);
}

bool fgReadInventory(const char* path, RECORD_TEST test, const char* key, const ST_LOG_SOURCE& source,
                     char (&scratch)[LOG_SCRATCH_SIZE], std::string& record)
{
    const COwnedStream file(fopen(path, "re"));
    if (file == nullptr) {
        fgLog(source, LOG_ERROR, scratch, "fopen failed(%d)", errno);
        return false;
    }
    if (fFileSize(file.get()) == 0) {
        fgLog(source, LOG_ERROR, scratch, "inv file size zero");
        return false;
    }
    std::string found;
    if (!fFindRecord(file.get(), test, found) || found.find(key) == std::string::npos) {
        fgLog(source, LOG_ERROR, scratch, "fgets not contents");
        return false;
    }
    record.swap(found);
    return true;
}

std::string_view fgInventoryTable(std::string_view record)
{
    const size_t table = record.find_first_not_of('|', record.find('|'));
    return table == std::string_view::npos ? std::string_view() : record.substr(table);
}

bool fgReserveInventory(char*& buffer, int& size, size_t room)
{
    const size_t used = buffer == nullptr ? 0 : static_cast<size_t>(size);
    if (room <= used) return true;
    void* larger = room > INT_MAX ? nullptr : realloc(buffer, room);
    if (larger == nullptr) return false;
    buffer = static_cast<char*>(larger);
    memset(buffer + used, 0, room - used);
    size = static_cast<int>(room);
    return true;
}

bool fgStoreInventory(std::string_view text, char*& buffer, int& size)
{
    const bool holds = buffer != nullptr && static_cast<size_t>(size) > text.size();
    if (!holds &&
        !fgReserveInventory(buffer, size, static_cast<size_t>(size) + text.size() + INVENTORY_EXTRA))
        return false;
    fgCopyText(buffer, static_cast<size_t>(size), text);
    return true;
}

bool fgStoreInventoryTable(std::string_view record, char*& buffer, int& size, const ST_LOG_SOURCE& source,
                           char (&scratch)[LOG_SCRATCH_SIZE])
{
    const std::string_view table = fgInventoryTable(record);
    if (!fgStoreInventory(table, buffer, size)) return false;
    if (table.empty()) fgLog(source, LOG_ERROR, scratch, "inv not contents");
    return !table.empty();
}

int fgSaveInventoryCommand(const char* key, const char* command, const ST_LOG_SOURCE& source,
                           char (&scratch)[LOG_SCRATCH_SIZE])
{
    if (g_pclCCmdScheduler == nullptr) {
        fgLog(source, LOG_ERROR, scratch, "no command scheduler, not run : %s", command);
        return -1;
    }
    char ownKey[64];
    fgCopyText(ownKey, key);
    return g_pclCCmdScheduler->fCmdSave(ownKey, command) == 0 ? 1 : -1;
}
