#pragma once

#include <cstddef>
#include <pthread.h>

#include "lib/LogGate.h"
#include "lib/Queue.h"

// The process-wide log: a text file a day, which is closed and continued under the next number when it
// reaches a size, compressed in the background when wanted and removed after some days. There is one log,
// reached through g_pclOmniLog (driver/RunConfig.h); library code writes through the gate of lib/LogGate.h.
// docs/logging.md describes the files, the lines and the masks.

constexpr size_t LOG_MESSAGE_SIZE = 2048; // characters of a queued message; longer ones are cut
constexpr size_t LOG_FILE_NAME_SIZE = 64; // bytes of a queued module name, terminator included
constexpr size_t LOG_QUEUE_LIMIT = 501;   // messages queued at most; further ones are dropped in silence
constexpr size_t LOG_TIME_SIZE = 16;      // bytes of the longest time text, terminator included

// Serialises the callers of COmniLog::fLogWrite once fSetThreadChk is on. One for the whole process, ready
// from its start to its end.
extern pthread_mutex_t l_gstLogMutexLock;

// One message on its way to the writer thread. The caller of fLogWrite makes it, the thread deletes it.
class MessageQWriteLog
{
public:
    // Stores copies of both texts, cut at LOG_MESSAGE_SIZE and LOG_FILE_NAME_SIZE - 1 characters.
    void fSetCollectWriteData(const char* text, int line, const char* fileName);
    const char* fGetCollectWriteData() const { return m_strCollectData; } // lives as long as the message
    int fGetCollectWriteLine() const { return m_nLine; }

    char m_strCollectData[LOG_MESSAGE_SIZE + 1] = {};
    int m_nLine = 0;                             // given by the caller, 0 for none
    char m_strFileName[LOG_FILE_NAME_SIZE] = {}; // module shown in the line
};

// Texts given to the log stay the caller's and are only read; a null text counts as an empty one where
// nothing else is said. All settings are meant to be made before the first line is written.
//
// Threads: in direct mode one thread at a time may write, or several once fSetThreadChk is on. In thread mode
// any thread may write at any time, and only the writer thread touches the file.
class COmniLog
{
public:
    // A log that writes directly. logMode: 1 shows debug lines, 2 (also for a value outside 1 to 3) and 3
    // hide them. name is the middle part of the file names, cut at 15 characters; one that holds "AGENT" or
    // "agent", before the cut, makes this the agent's own log, which resumes its last file after a restart.
    // validDay: days to keep old files, 2 for a negative one. Nothing is opened before the first write.
    COmniLog(int logMode, const char* name, int validDay);
    // The same; with a threadMode of 1 fLogWrite queues its messages, and a detached thread that is started
    // here writes them. Such a log has to live until the process ends: nothing stops the thread, which uses
    // it.
    COmniLog(int logMode, const char* name, int validDay, int threadMode);
    // Closes the file. Never destroy a log in thread mode. l_gstLogMutexLock is left alone: another caller
    // may hold it.
    ~COmniLog();
    COmniLog(const COmniLog&) = delete;
    COmniLog& operator=(const COmniLog&) = delete;

    // Sets the folder of the log files, "./" at first. It is a prefix of the file names and so has to end in
    // "/", which is not added. The file that is open stays in use until the next rotation. Returns 1, or 0
    // without memory, when the folder stays as it was.
    int fSetLogPath(const char* path);
    // Sets the days to keep old files. Returns 1; for a negative number it sets 2 and returns 0.
    int fSetValidDay(int days);
    // Sets the log mode, 1 to 3. Returns 1; for another value it sets 2 and returns 0.
    int fSetLogMode(int mode);
    int fGetLogMode(); // the mode set, 1 to 3
    // Sets the size at which a file is closed: n megabytes (unit 1, 1048576 bytes) or kilobytes (unit 2, 1024
    // bytes). Any other unit sets 0, which makes every write rotate. Returns 1; for a negative n it sets
    // 10240 bytes, as at first, and returns 0.
    int fSetLogSize(int n, int unit);
    // Compress the file of the day before at the day change when on is 1 or more; off at first. Returns the
    // setting, 1 or 0. A file that reached its size is compressed in any case.
    int fSetLogCompress(int on);
    // Serialise the callers of fLogWrite when on is 1 or more; off at first. Returns the setting, 1 or 0.
    int fSetThreadChk(int on);
    // Sets the nine mask globals from a text (lib/LogMasks.h, docs/logging.md). Returns 1; for a null text
    // all are 0 and it returns -1.
    int fSetLogModeBit(const char* text);

    // Write a line, or queue it in thread mode. level: LOG_DETAIL (shown in log mode 1 only), LOG_NORMAL or
    // LOG_ERROR; any other writes nothing. module is the source file shown in the line. Always return 0; no
    // loss is reported. A queued message loses its level: it becomes an INFO line with a line number, and
    // without a line number given, its module is "src" and its number 0.
    int fLogWrite(int level, const char* module, const char* msg);
    int fLogWrite(int level, int line, const char* module, const char* msg);

    // Compose a line and write it now, whatever the thread mode: echo to standard error when g_nPrint is 1,
    // day check, size check, one write call. Return 1 when the line was written or is one that the mode
    // hides, 0 when it was dropped: no file is open, the file was missing, this call rotated it, or the disk
    // had no room at all. A line that was cut for want of room counts as written.
    int fWrite(int level, const char* module, const char* msg);
    int fWrite(int level, int line, const char* module, const char* msg);

    // Write the local time as text: t seconds since 1970, or now when t is below 1. form 1: YYYYMMDD (9 bytes
    // with the terminator), 2: HHMMSS (7 bytes), 3: YYYYMMDD-HHMMSS (16 bytes); any other form writes
    // nothing. Return that time in seconds. The first uses a buffer shared by the process and belongs to the
    // direct mode; the second may run beside other threads, and returns 0 when the time cannot be converted.
    int fGetDayTime(int t, char* out, int form);
    int fGetThreadDayTime(int t, char* out, int form);

    // The steps of a write.

    // Opens m_pstrLogFile for appending, mode 0644, created when missing, close-on-exec; a symbolic link is
    // not followed. A file that is open is closed first. Returns 1; on failure 0, with one message on
    // standard error.
    int fOpenLogFile();
    // Returns 1 when a file was open, else 0.
    int fCloseLogFile();
    // Goes to the file of today when the open one is of another day. Returns 1 when it opened that file, 0
    // when it failed or there was nothing to do.
    int fDateChangeChk();
    // Returns 1 when the file may take another line, opened anew where another file has its name by now.
    // Otherwise 0: a missing file has been created anew, a full one has been compressed and left for the
    // next.
    int fLogSizeChk();
    // Sets m_pstrLogFile: for a dayChange of 1 to the first file of today (old files are removed), else to
    // the next number of the day. The agent's own log resumes its last file when it has no date yet. Returns
    // 0, or -1 when there was no file to resume and the plain name was taken.
    int fLogNameChange(int dayChange);
    // Removes entries of the log folder, but no folders, named as log files and beginning with a date more
    // than m_nValidDay days before now (seconds since 1970; the current time when below 1). What is removed
    // is m_pstrLogPath and the name. Returns how many there were.
    int fOldLogFileCheck(int now);
    // Starts the compressor on m_pstrLogFile, in the background. Does nothing without a file or a compressor.
    // Always returns 0.
    int fLogCompress();
    // Asks the script recentlogfile.sh for the newest file of date (YYYYMMDD) and makes it m_pstrLogFile.
    // Returns 1, or -1 when there is none.
    int fGetRecentLogFile(const char* date);
    // The queue, owned by the log; null unless in thread mode.
    Queue<MessageQWriteLog*>* fGetMessageQueue();

    Queue<MessageQWriteLog*>* m_pcQueue = nullptr; // never freed: the writer thread uses it to the end
    int m_nThreadMode = 0;                         // 1: queued writes; anything else: direct writes
    char* m_pstrLogFile = nullptr;   // path of the current file, from malloc; null before the first write
    char* m_pstrLogPath = nullptr;   // folder, a prefix of file names, from malloc
    char m_strMCName[16] = {};       // log name
    char m_strCurrentDate[10] = {};  // day of the open file as YYYYMMDD; "EMPTY" before the first write
    char m_strCompressPath[64] = {}; // compressor found at construction
    int m_nCompressChk = 0;          // 1: there is one
    int m_nValidDay = 0;             // days to keep old files
    int m_nLogMode = 0;              // 1: debug lines are shown
    int m_nFileFd = 0;               // descriptor of the open file; 0: none is open
    int m_nThreadChk = 0;            // 1: fLogWrite takes l_gstLogMutexLock
    int m_nLogCnt = 0;               // size rotations of the day
    int m_nLogCompress = 0;          // 1: compress at the day change
    unsigned long m_ulLogSize = 0;   // size limit, bytes
    int m_nLivInvLogFlag = 0;        // 0: the agent's own log
};

// The writer thread of a log in thread mode (a COmniLog*); it never returns.
void* fLogThreadQ(void* log);
