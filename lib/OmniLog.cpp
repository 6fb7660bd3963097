#include "lib/OmniLog.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

#include "driver/RunConfig.h"
#include "lib/DetachedThread.h"
#include "lib/FixedText.h"
#include "lib/LogMasks.h"
#include "lib/NGFunctions.h"
#include "lib/Owners.h"
#include "lib/ScriptOutput.h"
#include "lib/SharedFlag.h"
#include "lib/ShellText.h"

pthread_mutex_t l_gstLogMutexLock = PTHREAD_MUTEX_INITIALIZER;

namespace
{
constexpr char NO_DATE[] = "EMPTY";
constexpr char RESUME_RESULT[] = "../aproc/shell/recentlogfile.dat";
constexpr int DEFAULT_DAYS = 2;
constexpr unsigned long DEFAULT_LIMIT = 10240;
constexpr time_t SECONDS_A_DAY = 86400;
constexpr size_t DAY_SIZE = 9;     // bytes of YYYYMMDD, terminator included
constexpr size_t PATH_SPARE = 256; // room for a file name behind the folder
constexpr size_t LINE_SPARE = 256; // room for what a line adds to module and message
constexpr int IDLE_WAIT = 100000;  // microseconds between two looks at an empty queue
constexpr int BUSY_WAIT = 5000;    // microseconds between two messages

// In this order: compress is taken before gzip wherever both exist.
constexpr const char* COMPRESSORS[] = {
    "/usr/sbin/compress", "/usr/bin/compress", "/bin/compress", "/sbin/compress",
    "/usr/sbin/gzip",     "/usr/bin/gzip",     "/bin/gzip",     "/sbin/gzip",
};

struct ST_TIME_FORM
{
    const char* l_strFormat;
    size_t l_nSize; // bytes of the text, terminator included
};
constexpr ST_TIME_FORM TIME_FORMS[] = {{"%Y%m%d", DAY_SIZE}, {"%H%M%S", 7}, {"%Y%m%d-%H%M%S", LOG_TIME_SIZE}};

// Holds the log mutex while it lives, when the log wants it.
class CLogLock
{
public:
    explicit CLogLock(bool wanted) : m_bHeld(wanted)
    {
        if (m_bHeld) pthread_mutex_lock(&l_gstLogMutexLock);
    }
    ~CLogLock()
    {
        if (m_bHeld) pthread_mutex_unlock(&l_gstLogMutexLock);
    }
    CLogLock(const CLogLock&) = delete;
    CLogLock& operator=(const CLogLock&) = delete;

private:
    const bool m_bHeld;
};

const char* fText(const char* text)
{
    return text != nullptr ? text : "";
}

time_t fTimeOrNow(int t)
{
    return t >= 1 ? t : time(nullptr);
}

void fFormatTime(const tm& parts, char* out, int form)
{
    if (form < 1 || form > static_cast<int>(std::size(TIME_FORMS))) return;
    const ST_TIME_FORM& wanted = TIME_FORMS[form - 1];
    if (strftime(out, wanted.l_nSize, wanted.l_strFormat, &parts) == 0) out[0] = '\0';
}

// The writer thread runs beside callers that may ask for the local time themselves.
int fLogTime(COmniLog& log, char* out, int form)
{
    return log.m_nThreadMode == 1 ? log.fGetThreadDayTime(0, out, form) : log.fGetDayTime(0, out, form);
}

// A text from malloc: folder and name, with room for a name of PATH_SPARE characters. Null without memory.
char* fNewPath(const char* folder, const char* name)
{
    const size_t size = strlen(folder) + PATH_SPARE + 1;
    char* path = static_cast<char*>(malloc(size));
    if (path != nullptr) snprintf(path, size, "%s%s", folder, name);
    return path;
}

// The word for a line of that level; null for a line that is not shown.
const char* fLevelWord(int level, int logMode)
{
    if (level == LOG_DETAIL) return logMode == 1 ? "DEBUG" : nullptr;
    return level == LOG_NORMAL || level == LOG_ERROR ? "INFO" : nullptr; // errors are INFO lines too
}

// Composes a line, without a line number when line is null. Returns its length, 0 for one that is not shown.
size_t fFormatLine(COmniLog& log, char* text, size_t size, int level, const int* line, const char* module,
                   const char* msg)
{
    text[0] = '\0';
    const char* word = fLevelWord(level, log.m_nLogMode);
    if (word == nullptr) return 0;
    char now[LOG_TIME_SIZE] = ""; // the day is in the file's name
    fLogTime(log, now, 2);
    const int length = line == nullptr
                           ? snprintf(text, size, "[%s][%s][%s]%s\n", now, word, module, msg)
                           : snprintf(text, size, "[%s][%s][%s][%d]%s\n", now, word, module, *line, msg);
    return length > 0 ? static_cast<size_t>(length) : 0;
}

// A line that meets a missing file or makes the file rotate is dropped. Kept on purpose: a new file begins
// with the next line, and with a size limit of 0 every file stays empty.
int fWriteLine(COmniLog& log, int level, const int* line, const char* module, const char* msg)
{
    const size_t size = strlen(module) + strlen(msg) + LINE_SPARE;
    const COwnedText text(static_cast<char*>(malloc(size)));
    if (text == nullptr) return 0;
    const size_t length = fFormatLine(log, text.get(), size, level, line, module, msg);
    if (g_nPrint == 1) fputs(text.get(), stderr);
    log.fDateChangeChk();
    if (log.fLogSizeChk() != 1 || log.m_nFileFd == 0) return 0;
    if (length == 0) return 1; // hidden, and counted as written
    // One call, in append mode: lines of several processes do not cut each other.
    return write(log.m_nFileFd, text.get(), length) > 0 ? 1 : 0;
}

// The level is not queued: whatever it was, the writer thread writes an INFO line with a line number.
void fQueueLine(Queue<MessageQWriteLog*>& queue, int line, const char* module, const char* msg)
{
    if (static_cast<size_t>(queue.getCount()) >= LOG_QUEUE_LIMIT) return; // the push decides; this is cheaper
    auto message = std::make_unique<MessageQWriteLog>();
    message->fSetCollectWriteData(msg, line, module);
    if (queue.pushBelow(message.get(), LOG_QUEUE_LIMIT) < LOG_QUEUE_LIMIT) (void)message.release();
}

// Without a thread the queue fills up and further messages are dropped, as with one that does not keep pace.
void fStartWriter(COmniLog& log)
{
    log.m_pcQueue = new Queue<MessageQWriteLog*>;
    const int error = fgStartDetached(fLogThreadQ, &log);
    if (error != 0) fprintf(stderr, "log thread start failed : %s\n", strerror(error));
}

// Another process that writes this log may have packed the file and begun it anew: what went to the old one
// would be lost.
bool fIsAnother(int file, const struct stat& state)
{
    struct stat opened;
    return file != 0 && fstat(file, &opened) == 0 &&
           (opened.st_ino != state.st_ino || opened.st_dev != state.st_dev);
}

// Deliberately loose in the middle: ".log.gz" is found by ".log" seven characters from the end, whatever
// follows it.
bool fIsLogName(std::string_view name)
{
    constexpr size_t SHORTEST = 11;
    constexpr size_t PACKED_TAIL = 7;
    return name.size() >= SHORTEST &&
           (name.ends_with(".log") || name.substr(name.size() - PACKED_TAIL, 4) == ".log" ||
            name.ends_with(".log.Z"));
}
} // namespace

void MessageQWriteLog::fSetCollectWriteData(const char* text, int line, const char* fileName)
{
    fgCopyText(m_strCollectData, fText(text));
    m_nLine = line;
    fgCopyText(m_strFileName, fText(fileName));
}

COmniLog::COmniLog(int logMode, const char* name, int validDay) : COmniLog(logMode, name, validDay, 0) {}

COmniLog::COmniLog(int logMode, const char* name, int validDay, int threadMode) : m_nThreadMode(threadMode)
{
    // The thread may run from here on: it looks at nothing but the queue until a first message is in it.
    if (threadMode == 1) fStartWriter(*this);
    fSetLogMode(logMode);
    fSetValidDay(validDay);
    fgCopyText(m_strMCName, fText(name));
    fSetLogPath("./");
    m_ulLogSize = DEFAULT_LIMIT;
    fgCopyText(m_strCurrentDate, NO_DATE);
    const bool agent = strstr(fText(name), "AGENT") != nullptr || strstr(fText(name), "agent") != nullptr;
    m_nLivInvLogFlag = agent ? 0 : 1;
    const auto* found = std::find_if(std::begin(COMPRESSORS), std::end(COMPRESSORS),
                                     [](const char* path) { return access(path, F_OK) == 0; });
    if (found == std::end(COMPRESSORS)) return;
    fgCopyText(m_strCompressPath, *found);
    m_nCompressChk = 1;
}

COmniLog::~COmniLog()
{
    free(m_pstrLogPath);
    fCloseLogFile();
    free(m_pstrLogFile);
}

int COmniLog::fSetLogPath(const char* path)
{
    char* folder = fNewPath(fText(path), "");
    if (folder == nullptr) return 0;
    free(m_pstrLogPath);
    m_pstrLogPath = folder;
    return 1;
}

int COmniLog::fSetValidDay(int days)
{
    m_nValidDay = days < 0 ? DEFAULT_DAYS : days;
    return days < 0 ? 0 : 1;
}

int COmniLog::fSetLogMode(int mode)
{
    const bool known = mode >= 1 && mode <= 3;
    m_nLogMode = known ? mode : 2;
    return known ? 1 : 0;
}

int COmniLog::fGetLogMode()
{
    return m_nLogMode;
}

int COmniLog::fSetLogSize(int n, int unit)
{
    m_ulLogSize = DEFAULT_LIMIT;
    if (n < 0) return 0;
    m_ulLogSize = static_cast<unsigned long>(n) * (unit == 1 ? 1048576 : unit == 2 ? 1024 : 0);
    return 1;
}

int COmniLog::fSetLogCompress(int on)
{
    m_nLogCompress = on >= 1 ? 1 : 0;
    return m_nLogCompress;
}

// The mutex is not initialised here: it always is, and another caller may hold it.
int COmniLog::fSetThreadChk(int on)
{
    fgStoreFlag(m_nThreadChk, on >= 1 ? 1 : 0);
    return on >= 1 ? 1 : 0;
}

int COmniLog::fSetLogModeBit(const char* text)
{
    return fgSetLogMasks(text);
}

int COmniLog::fLogWrite(int level, const char* module, const char* msg)
{
    const CLogLock lock(fgLoadFlag(m_nThreadChk) == 1);
    if (m_nThreadMode == 1)
        fQueueLine(*m_pcQueue, 0, "src", msg); // in place of the module; kept
    else
        fWrite(level, module, msg);
    return 0;
}

int COmniLog::fLogWrite(int level, int line, const char* module, const char* msg)
{
    const CLogLock lock(fgLoadFlag(m_nThreadChk) == 1);
    if (m_nThreadMode == 1)
        fQueueLine(*m_pcQueue, line, module, msg);
    else
        fWrite(level, line, module, msg);
    return 0;
}

int COmniLog::fWrite(int level, const char* module, const char* msg)
{
    return fWriteLine(*this, level, nullptr, fText(module), fText(msg));
}

int COmniLog::fWrite(int level, int line, const char* module, const char* msg)
{
    return fWriteLine(*this, level, &line, fText(module), fText(msg));
}

int COmniLog::fGetDayTime(int t, char* out, int form)
{
    const time_t seconds = fTimeOrNow(t);
    const tm* parts = localtime(&seconds);
    if (parts == nullptr) parts = localtime(&seconds);
    if (parts != nullptr) fFormatTime(*parts, out, form);
    return static_cast<int>(seconds);
}

int COmniLog::fGetThreadDayTime(int t, char* out, int form)
{
    const time_t seconds = fTimeOrNow(t);
    tm parts;
    if (localtime_r(&seconds, &parts) == nullptr) return 0;
    fFormatTime(parts, out, form);
    return static_cast<int>(seconds);
}

int COmniLog::fOpenLogFile()
{
    fCloseLogFile();
    const char* path = fText(m_pstrLogFile);
    errno = 0;
    const int fd = open(path, O_RDWR | O_CREAT | O_APPEND | O_NOFOLLOW | O_CLOEXEC, 0644);
    // Descriptor 0 means "no file", so a log that is given it (standard input is closed) has failed to open.
    // It stays taken, and the next file gets another.
    if (fd <= 0) fprintf(stderr, "%s log file open failed : %s\n", path, strerror(errno));
    m_nFileFd = fd <= 0 ? 0 : fd;
    // After a failure too, where it keeps standard input from what the process starts later; kept so.
    fcntl(m_nFileFd, F_SETFD, FD_CLOEXEC);
    return m_nFileFd != 0 ? 1 : 0;
}

int COmniLog::fCloseLogFile()
{
    if (m_nFileFd == 0) return 0;
    close(m_nFileFd);
    m_nFileFd = 0;
    return 1;
}

int COmniLog::fDateChangeChk()
{
    char today[LOG_TIME_SIZE] = "";
    fLogTime(*this, today, 1);
    if (strcmp(today, m_strCurrentDate) == 0) return 0;
    fCloseLogFile();
    if (m_nLogCompress == 1 && strcmp(m_strCurrentDate, NO_DATE) != 0) fLogCompress();
    m_nLogCnt = 0;
    fLogNameChange(1); // before the date is stored: it still tells the first write after a start
    fgCopyText(m_strCurrentDate, today);
    return fOpenLogFile();
}

int COmniLog::fLogSizeChk()
{
    struct stat state;
    if (m_pstrLogFile == nullptr || lstat(m_pstrLogFile, &state) != 0) {
        fOpenLogFile();
        return 0;
    }
    if (fIsAnother(m_nFileFd, state)) fOpenLogFile();
    if (static_cast<unsigned long>(state.st_size) < m_ulLogSize) return 1;
    fLogCompress(); // whatever m_nLogCompress says: it is about the day change only
    fCloseLogFile();
    fLogNameChange(0);
    fOpenLogFile();
    return 0;
}

int COmniLog::fLogNameChange(int dayChange)
{
    char today[LOG_TIME_SIZE] = "";
    const int now = fLogTime(*this, today, 1);
    if (dayChange == 1) fOldLogFileCheck(now);
    free(m_pstrLogFile);
    m_pstrLogFile = nullptr;
    int result = 0;
    // A resumed file may bear a number; the counter stays at 0 all the same.
    if (m_nLivInvLogFlag == 0 && strcmp(m_strCurrentDate, NO_DATE) == 0) result = fGetRecentLogFile(today);
    if (result == 1) return 0;
    char name[PATH_SPARE];
    if (dayChange == 1)
        snprintf(name, sizeof(name), "%s_%s.log", today, m_strMCName);
    else
        snprintf(name, sizeof(name), "%s_%s_%d.log", today, m_strMCName, ++m_nLogCnt);
    m_pstrLogFile = fNewPath(fText(m_pstrLogPath), name);
    return result;
}

int COmniLog::fOldLogFileCheck(int now)
{
    const COwnedDir folder(opendir(fText(m_pstrLogPath)));
    if (folder == nullptr) return 0;
    // Not before 1970: a time below 1 would mean now, and every file would be old.
    const time_t kept = std::max<time_t>(fTimeOrNow(now) - m_nValidDay * SECONDS_A_DAY, 1);
    char cutOff[LOG_TIME_SIZE] = "";
    tm parts;
    if (localtime_r(&kept, &parts) != nullptr) fFormatTime(parts, cutOff, 1);
    int removed = 0;
    while (const dirent* entry = readdir(folder.get())) {
        const std::string_view name(entry->d_name);
        if (!fIsLogName(name) || name.substr(0, DAY_SIZE - 1) >= cutOff) continue;
        // Folders are refused, links are not followed. The path is composed as that of a log file is: without
        // a "/" at the end of the prefix it leads beside the folder, where the log's own files are.
        const std::string path = std::string(m_pstrLogPath).append(name);
        removed += unlink(path.c_str()) == 0 ? 1 : 0;
    }
    return removed;
}

int COmniLog::fLogCompress()
{
    if (m_pstrLogFile == nullptr || m_nCompressChk != 1) return 0;
    const std::string command = std::string("../../utils/ETC/ShCmd 60 ") + m_strCompressPath + " " +
                                fgShellWord(m_pstrLogFile) + " &";
    fgRunShellLine(command.c_str());
    return 0;
}

// The script's answer is one line. The length gates only the cut: a bare date is a name as any other.
int COmniLog::fGetRecentLogFile(const char* date)
{
    if (!fgIsShellSafe(fText(date))) return -1;
    fgRunShell("../../utils/INSTALL/recentlogfile.sh %s", date);
    char name[PATH_SPARE];
    const size_t length = fgReadFirstLine(RESUME_RESULT, name);
    if (length >= DAY_SIZE && name[length - 1] == '\n') name[length - 1] = '\0';
    if (strstr(name, date) == nullptr || strstr(name, "../") != nullptr)
        return -1; // never outside the folder
    free(m_pstrLogFile);
    m_pstrLogFile = fNewPath(fText(m_pstrLogPath), name);
    return m_pstrLogFile != nullptr ? 1 : -1;
}

Queue<MessageQWriteLog*>* COmniLog::fGetMessageQueue()
{
    return m_pcQueue;
}

void* fLogThreadQ(void* log)
{
    // Nothing in the library cancels it; whoever embeds the log may.
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
    pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, nullptr);
    COmniLog& owner = *static_cast<COmniLog*>(log);
    for (int count = 0;;) {
        fgUSleep(count < 1 ? IDLE_WAIT : BUSY_WAIT);
        count = owner.m_pcQueue->getCount();
        if (count == 0) continue;
        const std::unique_ptr<MessageQWriteLog> message(owner.m_pcQueue->pop());
        if (message == nullptr)
            fputs("l_pclMsgQData===NULL", stderr);
        else
            owner.fWrite(LOG_NORMAL, message->m_nLine, message->m_strFileName, message->m_strCollectData);
    }
}
