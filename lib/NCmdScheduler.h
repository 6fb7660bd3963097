#pragma once

#include <cstddef>
#include <ctime>
#include <list>
#include <mutex>
#include <string>

#include "lib/LogGate.h"
#include "lib/Queue.h"

// Runs commands that take too long for a sampling call. Collectors hand them over with fCmdSave; what becomes
// of them depends on m_nCmdSchedulerType, which the owner sets before fCmdSchedulerStart and leaves alone
// from then on:
//   CMD_TYPE_FILE   each command becomes a file shcmd_KEY.cmd in the home folder. A runner, started and
//                   stopped by the scripts of that folder, runs and removes it.
//   CMD_TYPE_LIST   each command joins a list. A thread starts it once, in the background, and forgets
//                   it when the file with its exit status appears in the home folder.
//   CMD_TYPE_QUEUE  each command joins a bounded queue. A thread runs one after another.
// The commands are shell command lines and are taken as they are.

constexpr int CMD_TYPE_FILE = 0; // and every value that is none of the others
constexpr int CMD_TYPE_LIST = 1;
constexpr int CMD_TYPE_QUEUE = 2;

constexpr size_t CMD_KEY_SIZE = 512;   // bytes of a listed key, terminator included
constexpr size_t CMD_HOME_SIZE = 512;  // bytes of the home path, "/" and terminator included
constexpr size_t CMD_QUEUE_LIMIT = 51; // commands that wait in the queue at most

// One command of the list.
struct _CMD_SCHEDULER
{
    _CMD_SCHEDULER(const char* key, const std::string& line, const std::string& resultFile);
    ~_CMD_SCHEDULER();
    _CMD_SCHEDULER(const _CMD_SCHEDULER&) = delete;
    _CMD_SCHEDULER& operator=(const _CMD_SCHEDULER&) = delete;

    int l_nStatus = 0;                 // 0: not yet run, 1: launched
    char l_strCmdReqKey[CMD_KEY_SIZE]; // the key with its time stamp, cut when longer
    char* l_pstrCmdStr;                // the line that is run; from malloc, freed here; null without memory
    char* l_pstrResultFile;            // receives the command's exit status; likewise
};

// One command of the queue.
class MessageQData
{
public:
    MessageQData() = default;
    ~MessageQData();
    MessageQData(const MessageQData&) = delete;
    MessageQData& operator=(const MessageQData&) = delete;

    void fSetCollectData(const char* command, time_t when); // copies; a null command is kept as null
    void fReleaseCollectData();                             // frees the command, which is null then
    const char* fGetCollectData() const { return m_pstrCollectData; }
    time_t fGetCollectTime() const { return m_nCollectTime; }

    char* m_pstrCollectData = nullptr; // from malloc, freed here
    time_t m_nCollectTime = 0;         // when it was queued, seconds since 1970; read by nobody so far
};

// fCmdSave, fCmdPush and fCmdQueuePush may be called by any threads, and the scheduler's own threads log too:
// the log then wants COmniLog::fSetThreadChk(1). Once fCmdSchedulerStart has started a thread (types list and
// queue) the object has to live until the process ends: the threads are never joined.
class CCmdScheduler
{
public:
    CCmdScheduler();  // type file, no home path, nothing pending
    ~CCmdScheduler(); // frees the home path, the list and a queue that no thread serves
    CCmdScheduler(const CCmdScheduler&) = delete;
    CCmdScheduler& operator=(const CCmdScheduler&) = delete;

    // Copies the home folder's path, cut to 510 bytes, and adds "/" when it does not end in one; an empty
    // path stays empty. Call it before the start. An absolute path is the safe choice: list mode's commands
    // write their exit status below it after whatever "cd" they did. Returns 1; 0 for null or without memory.
    int fSetCmdSchedulerHomePath(const char* path);

    // Types list and queue: starts the thread, once; returns 1, also when it could not be started (an error
    // line says so, and the next call tries again). Type file: runs "HOMEcmd_scd_start.sh HOME" and waits for
    // it; returns 1 whatever the script says, 0 without a home path.
    int fCmdSchedulerStart();

    // Type list: empties the list; the thread goes on and finds nothing; returns 1. Any other type, queue
    // included: runs "HOMEcmd_scd_stop.sh HOME" and waits for it; returns 1, 0 without a home path. Commands
    // that run already are not ended by list mode.
    int fCmdSchedulerStop();

    // Hands over a command. Returns 0 when it was taken or skipped, -1 when it was refused or could not be
    // saved, with an error line.
    //   key  names the command. In file mode a command whose key is still pending is skipped, and every
    //        character but ASCII letters and digits is replaced by "_" in the caller's text, which has to be
    //        writable when it holds such characters. Keys of more than about 200 bytes make no file name.
    //        Not used in queue mode.
    //   cmd  the command line. With m_nCmdRunFlag 1 file mode runs it at once and waits for it.
    int fCmdSave(char* key, const char* cmd);

    // List mode's insertion; the command is listed as "CMD;echo $? > RESULT &" without the blanks,
    // newlines and one ";" or "&" that it may end in, where RESULT is the home path and the key, its
    // characters but letters and digits replaced by "_". A line that is listed already is skipped. A command
    // that keeps the shell from the echo, by "exit", "exec", a syntax error, or a comment ("# ...") or a here
    // document at its end, leaves its entry in the list until the stop. Returns 0, -1 when refused.
    int fCmdPush(const char* key, const char* cmd);

    // Queue mode's insertion. Drops the command, with an error line, when CMD_QUEUE_LIMIT wait already. A
    // null command is taken, and reported by the thread. Returns 0; -1 before the start, when there is no
    // queue.
    int fCmdQueuePush(const char* cmd);

    Queue<MessageQData*>* fGetMessageQueue(); // null before a start in queue mode; stays the scheduler's

    // One round of each thread, without the sleep before it.
    void fCmdListCycle();
    int fCmdQueueCycle(); // returns how many commands it found waiting; it has run one of them

    int m_nCmdSaveFlag;                   // 1 after a save or push was handled, 0 after a start of the runner
    int m_nCmdRunFlag;                    // 1: file mode runs commands at once; set by the owner
    std::list<_CMD_SCHEDULER*> m_CmdList; // oldest first
    int m_nSyncFlag;                      // 1 while fCmdSave or fCmdSchedulerStop changes the list
    char* m_pstrCmdSchedulerHome;         // CMD_HOME_SIZE bytes from malloc, or null
    int m_nCmdSchedulerType;
    char m_strLogMsg[LOG_SCRATCH_SIZE]; // scratch for log lines of the callers' threads, under m_LogLock
    int m_nThreadStart;                 // 1 once the thread has been started
    Queue<MessageQData*>* m_pcQueue;
    int m_nSyncSteps; // waits for m_nSyncFlag so far; list thread only

private:
    [[gnu::format(printf, 5, 6)]] void fLog(const ST_LOG_SOURCE& source, int level, int line,
                                            const char* format, ...);
    bool fPresent(const char* text, const char* whenNull, const char* whenEmpty);
    bool fAccepts(const char* key, const char* cmd);
    int fCmdSaveList(const char* key, const char* cmd);
    int fCmdRun(const char* cmd);
    int fCmdSaveFile(char* key, const char* cmd);
    int fCmdWriteFile(const std::string& file, const char* cmd);

    int fListCount();
    bool fListed(const char* line) const;
    void fAwaitSync();
    _CMD_SCHEDULER* fTakeWaiting();
    void fReleaseTaken();
    void fDropFinished();
    void fClearList();

    void fStartThread(void* (*thread)(void*), const char* whenFailed, const char* whenStarted);
    void fRunDaemonScript(const char* script);

    std::mutex m_ListLock;      // guards m_CmdList, the entries' status and m_pstTaken; not held while a
                                // command runs
    _CMD_SCHEDULER* m_pstTaken; // the entry being started: alive, on the list or off it
    std::mutex m_FileLock;      // makes file mode's look for a pending file and the write one step
    std::mutex m_LogLock;
};

// The threads' bodies; the argument is the scheduler.
void* fCmdSchedulerTh(void* scheduler);
void* fCmdQueueSchedulerTh(void* scheduler);
