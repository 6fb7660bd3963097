#include "lib/BufferFile.h"

#include <algorithm>
#include <cerrno>
#include <compare>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "driver/RunConfig.h"
#include "lib/LogGate.h"
#include "lib/NStringLib.h"
#include "lib/NumberText.h"
#include "lib/Owners.h"
#include "lib/TextTable.h"

namespace
{
constexpr char FOLDER[] = "../buffer";
constexpr long long MEGABYTE = 1048576;

// A file of the family; the fields in the order that tells which is older. Only files of one moment go by
// their step, and by the name at last, which begins with the date.
struct ST_BUFFER_FILE
{
    time_t l_tSeconds = 0; // modification time
    long l_lNanoseconds = 0;
    long l_lStep = 0;
    std::string l_strName;
    std::strong_ordering operator<=>(const ST_BUFFER_FILE&) const = default;
};

// What stands in the folder; files without a name when there is none of the family.
struct ST_BUFFER_SCAN
{
    ST_BUFFER_FILE l_stNewest;
    ST_BUFFER_FILE l_stOldest;
    long long l_llSize = 0; // of all files together, bytes
};

// "20050520-BUF_2.buf": what is in front of the first "_", and the number behind it, 0 when there is none.
struct ST_BUFFER_NAME
{
    std::string l_strBase;
    long l_lStep = 0;
};

ST_BUFFER_NAME fSplitName(std::string name)
{
    char* cursor = nullptr;
    ST_BUFFER_NAME parts{Nstrstrtok(name.data(), "_", &cursor)};
    const char* number = Nstrstrtok(nullptr, ".", &cursor);
    if (number != nullptr) CNumberScan(number).fLong(parts.l_lStep);
    return parts;
}

// Behind the last step comes the first again. When its file is there still, it is gone on with.
std::string fNextName(const std::string& name)
{
    const ST_BUFFER_NAME parts = fSplitName(name);
    const long next = parts.l_lStep >= 0 && parts.l_lStep < BUFFER_STEPS ? parts.l_lStep + 1 : 1;
    return parts.l_strBase + "_" + std::to_string(next) + ".buf";
}

std::string fPath(const std::string& name)
{
    return std::string(FOLDER) + "/" + name;
}

std::string fLocalDay(time_t now)
{
    tm parts = {};
    char day[16] = "";
    localtime_r(&now, &parts);
    strftime(day, sizeof(day), "%Y%m%d", &parts);
    return day;
}

void fTakeFile(ST_BUFFER_SCAN& scan, const char* name, const struct stat& state)
{
    const ST_BUFFER_FILE file{state.st_mtim.tv_sec, state.st_mtim.tv_nsec, fSplitName(name).l_lStep, name};
    if (scan.l_stOldest.l_strName.empty() || file < scan.l_stOldest) scan.l_stOldest = file;
    if (scan.l_stNewest.l_strName.empty() || file > scan.l_stNewest) scan.l_stNewest = file;
    scan.l_llSize += state.st_size;
}

// false when the folder cannot be opened. "." and ".." hold no marker; what is no regular file could be
// neither appended to nor removed.
bool fScanFolder(const char* marker, ST_BUFFER_SCAN& scan)
{
    char scratch[LOG_SCRATCH_SIZE];
    const COwnedDir folder(opendir(FOLDER));
    if (folder == nullptr) {
        fgLog(LOG_FILES, LOG_ERROR, scratch, "buffer dir open fail");
        return false;
    }
    while (const dirent* entry = readdir(folder.get())) {
        if (strstr(entry->d_name, marker) == nullptr) continue;
        struct stat state;
        if (fstatat(dirfd(folder.get()), entry->d_name, &state, AT_SYMLINK_NOFOLLOW) != 0) {
            // Taken away meanwhile, perhaps. The scan ends all the same: what it has seen decides.
            fgLog(LOG_FILES, LOG_ERROR, scratch, "stat failed1");
            break;
        }
        if (S_ISREG(state.st_mode)) fTakeFile(scan, entry->d_name, state);
    }
    return true;
}

void fRemoveOldest(const ST_BUFFER_FAMILY& family, const ST_BUFFER_SCAN& scan)
{
    if (scan.l_stOldest.l_strName.empty()) return;
    char scratch[LOG_SCRATCH_SIZE];
    const std::string path = fPath(scan.l_stOldest.l_strName);
    fgLog(LOG_FILES, LOG_ERROR, scratch, "unlinkfile %s[%s]", family.l_strRemoveWord, path.c_str());
    if (unlink(path.c_str()) != 0)
        fgLog(LOG_FILES, LOG_ERROR, scratch, "unlink fail [%s] : %s", path.c_str(), strerror(errno));
}

// The path of the file that the record goes to. Nothing is removed before a new one begins, so that the limit
// is kept in whole files.
std::string fChooseFile(const ST_BUFFER_FAMILY& family, const std::string& day, const ST_BUFFER_SCAN& scan)
{
    const long long limit = std::max(g_nDataBufferSaveMaxSize, 0) * MEGABYTE;
    std::string name = scan.l_stNewest.l_strName;
    if (name.find(day) == std::string::npos) name = day + "-" + family.l_strMarker + "_1.buf";
    struct stat state;
    if (lstat(fPath(name).c_str(), &state) != 0) {
        char scratch[LOG_SCRATCH_SIZE];
        fgLog(LOG_FILES, LOG_ERROR, scratch, "stat failed2"); // each day's first file says so
    }
    else if (state.st_size > limit / BUFFER_SHARE) {
        name = fNextName(name);
    }
    else {
        return fPath(name);
    }
    if (scan.l_llSize >= limit) fRemoveOldest(family, scan);
    return fPath(name);
}

const char* fText(const char* text)
{
    return text != nullptr ? text : "";
}

std::string fRecord(time_t now, const char* first, const char* second)
{
    std::string record = std::to_string(now);
    for (const char* field : {first, second})
        record.append(SEPARATOR_PUSH_FIELD).append(fText(field));
    return record.append(SEPARATOR_PUSH_FIELD).append(SEPARATOR_PUSH_ROW).append("\n");
}

// Whether the file's last line lacks its newline, as a full disk or the end of the process leaves it.
bool fIsTorn(int file, off_t size)
{
    char last = '\0';
    return size > 0 && !(pread(file, &last, 1, size - 1) == 1 && last == '\n');
}

// One write, in append mode. The rest of a short one is not sent after it: that would be a second write,
// which another process may be ahead of. The disk is full then.
bool fAppendRecord(const std::string& path, std::string record)
{
    char scratch[LOG_SCRATCH_SIZE];
    const CDescriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_NOFOLLOW | O_CLOEXEC, 0644));
    struct stat state;
    if (!file || fstat(file.fGet(), &state) != 0 || !S_ISREG(state.st_mode)) {
        fgLog(LOG_FILES, LOG_ERROR, scratch, "buf file open fail [%s]", path.c_str());
        return false;
    }
    if (fIsTorn(file.fGet(), state.st_size)) record.insert(0, 1, '\n');
    const ssize_t written = write(file.fGet(), record.data(), record.size());
    if (written == static_cast<ssize_t>(record.size())) return true;
    fgLog(LOG_FILES, LOG_ERROR, scratch, "buf file write fail [%s] : %s", path.c_str(),
          strerror(written < 0 ? errno : ENOSPC));
    return false;
}
} // namespace

int fgBufFileWrite(const char*, const char* b, const char* c)
{
    return fgWriteBufferRecord(BUFFER_BUF, time(nullptr), b, c);
}

int fgNBufFileWrite(const char*, const char* b, const char* c)
{
    return fgWriteBufferRecord(BUFFER_BUNF, time(nullptr), b, c);
}

int fgWriteBufferRecord(const ST_BUFFER_FAMILY& family, time_t now, const char* first, const char* second)
{
    ST_BUFFER_SCAN scan;
    if (!fScanFolder(family.l_strMarker, scan)) return 0;
    const std::string path = fChooseFile(family, fLocalDay(now), scan);
    return fAppendRecord(path, fRecord(now, first, second)) ? 1 : -1;
}
