#include "lib/NCmdScheduler.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <pthread.h>
#include <string_view>
#include <unistd.h>

#include "driver/RunConfig.h"
#include "lib/DetachedThread.h"
#include "lib/FixedText.h"
#include "lib/NGFunctions.h"
#include "lib/Owners.h"
#include "lib/ScriptOutput.h"
#include "lib/SharedFlag.h"
#include "lib/ShellText.h"

namespace
{
// Microseconds.
constexpr int LIST_SLEEP = 10000000;
constexpr int LIST_PACE = 100000; // after each command that the list thread starts
constexpr int QUEUE_SLEEP_IDLE = 100000;
constexpr int QUEUE_SLEEP_BUSY = 10000;
constexpr int SYNC_STEP = 500000;
constexpr int SCRIPT_STEP = 1000000;

constexpr int SYNC_STEPS = 5;

constexpr char START_SCRIPT[] = "cmd_scd_start.sh";
constexpr char STOP_SCRIPT[] = "cmd_scd_stop.sh";

bool fIsLetterOrDigit(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// Only characters that change are written: callers pass literals that need none.
void fCleanKey(char* key)
{
    for (; *key != '\0'; ++key)
        if (!fIsLetterOrDigit(*key) && *key != '_') *key = '_';
}

// The command without the ";", "&" or newline it may end in, each of which would be a syntax error in front
// of the ";" that follows. What is escaped is left alone.
std::string_view fWithoutEnd(std::string_view cmd)
{
    const size_t last = cmd.find_last_not_of(" \t\n");
    if (last == std::string_view::npos) return cmd;
    const bool ended = cmd[last] == ';' || cmd[last] == '&';
    const std::string_view kept = cmd.substr(0, ended ? last : last + 1);
    const size_t backslashes = kept.size() - (kept.find_last_not_of('\\') + 1);
    return backslashes % 2 == 1 ? cmd : kept; // two of them are one backslash and escape nothing
}

// The "&" of a listed line covers its echo only, so the shell would wait for the command itself.
void fStartShell(const char* line)
{
    const std::string inBackground = std::string("( ") + line + "\n) &";
    fgRunShellLine(inBackground.c_str());
}

bool fWriteText(int fd, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = write(fd, text.data(), text.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        text.remove_prefix(static_cast<size_t>(written));
    }
    return true;
}
} // namespace

_CMD_SCHEDULER::_CMD_SCHEDULER(const char* key, const std::string& line, const std::string& resultFile)
    : l_pstrCmdStr(strdup(line.c_str())), l_pstrResultFile(strdup(resultFile.c_str()))
{
    fgCopyText(l_strCmdReqKey, key);
}

_CMD_SCHEDULER::~_CMD_SCHEDULER()
{
    free(l_pstrCmdStr);
    free(l_pstrResultFile);
}

MessageQData::~MessageQData()
{
    fReleaseCollectData();
}

void MessageQData::fSetCollectData(const char* command, time_t when)
{
    fReleaseCollectData();
    m_pstrCollectData = command == nullptr ? nullptr : strdup(command);
    m_nCollectTime = when;
}

void MessageQData::fReleaseCollectData()
{
    free(m_pstrCollectData);
    m_pstrCollectData = nullptr;
}

CCmdScheduler::CCmdScheduler()
    : m_nCmdSaveFlag(0), m_nCmdRunFlag(0), m_nSyncFlag(0), m_pstrCmdSchedulerHome(nullptr),
      m_nCmdSchedulerType(CMD_TYPE_FILE), m_strLogMsg(), m_nThreadStart(0), m_pcQueue(nullptr),
      m_nSyncSteps(0), m_pstTaken(nullptr)
{}

CCmdScheduler::~CCmdScheduler()
{
    fClearList();
    free(m_pstrCmdSchedulerHome);
    if (m_pcQueue == nullptr || fgLoadFlag(m_nThreadStart) == 1) return;
    while (m_pcQueue->getCount() > 0)
        delete m_pcQueue->pop();
    delete m_pcQueue;
}

// The threads do not come here but use a scratch of their own: one of them can be cancelled at any point, and
// would take the lock with it.
void CCmdScheduler::fLog(const ST_LOG_SOURCE& source, int level, int line, const char* format, ...)
{
    const std::lock_guard<std::mutex> lock(m_LogLock);
    va_list values;
    va_start(values, format);
    fgLogLineList(source, level, line, m_strLogMsg, format, values);
    va_end(values);
}

int CCmdScheduler::fSetCmdSchedulerHomePath(const char* path)
{
    if (path == nullptr) return 0;
    if (m_pstrCmdSchedulerHome == nullptr) m_pstrCmdSchedulerHome = static_cast<char*>(malloc(CMD_HOME_SIZE));
    if (m_pstrCmdSchedulerHome == nullptr) return 0;

    const size_t length = fgCopyText(m_pstrCmdSchedulerHome, CMD_HOME_SIZE - 1, path);
    m_pstrCmdSchedulerHome[length + 1] = '\0';
    if (length > 0 && m_pstrCmdSchedulerHome[length - 1] != '/') m_pstrCmdSchedulerHome[length] = '/';
    fLog(LOG_SCHEDULER, LOG_NORMAL, __LINE__, "command schedule daemon home path set : %s",
         m_pstrCmdSchedulerHome);
    return 1;
}

bool CCmdScheduler::fPresent(const char* text, const char* whenNull, const char* whenEmpty)
{
    if (text != nullptr && *text != '\0') return true;
    fLog(LOG_SCHEDULER, LOG_ERROR, __LINE__, "%s", text == nullptr ? whenNull : whenEmpty);
    return false;
}

bool CCmdScheduler::fAccepts(const char* key, const char* cmd)
{
    return fPresent(m_pstrCmdSchedulerHome, "command save failed : home path strlen is null",
                    "command save failed : home path strlen is zero") &&
           fPresent(key, "command save key is null", "command save key is strlen zero") &&
           fPresent(cmd, "command save string is null", "command save string is strlen zero");
}

int CCmdScheduler::fCmdSave(char* key, const char* cmd)
{
    if (m_nCmdSchedulerType == CMD_TYPE_LIST) return fCmdSaveList(key, cmd);
    if (m_nCmdSchedulerType == CMD_TYPE_QUEUE) return fCmdQueuePush(cmd);
    if (m_nCmdRunFlag == 1) return fCmdRun(cmd);
    return fCmdSaveFile(key, cmd);
}

// The time stamp lets a command be listed again while an earlier one runs; only a repeat within the same
// second is taken for the same. The caller's key is checked here because the stamped one is never empty.
int CCmdScheduler::fCmdSaveList(const char* key, const char* cmd)
{
    if (!fAccepts(key, cmd)) return -1;
    const std::string stamped = std::string(key) + "_" + std::to_string(static_cast<int>(time(nullptr)));
    fgStoreFlag(m_nSyncFlag, 1);
    const int result = fCmdPush(stamped.c_str(), cmd);
    fgStoreFlag(m_nSyncFlag, 0);
    return result;
}

int CCmdScheduler::fCmdRun(const char* cmd)
{
    if (cmd == nullptr) {
        fLog(LOG_SCHEDULER, LOG_ERROR, __LINE__, "command save string is null");
        return -1;
    }
    fLog(LOG_SCHEDULER, LOG_NORMAL, __LINE__, "command now running(mode=1) : %s", cmd);
    fgRunShellLine(cmd);
    return 0;
}

int CCmdScheduler::fCmdSaveFile(char* key, const char* cmd)
{
    if (!fAccepts(key, cmd)) return -1;
    fCleanKey(key);
    const std::string file = std::string(m_pstrCmdSchedulerHome) + "shcmd_" + key + ".cmd";
    const std::lock_guard<std::mutex> lock(m_FileLock);
    if (access(file.c_str(), F_OK) != 0) return fCmdWriteFile(file, cmd);
    fLog(LOG_SCHEDULER, LOG_NORMAL, __LINE__, "command already save [%s]-skip : %s", file.c_str(), cmd);
    fgStoreFlag(m_nCmdSaveFlag, 1);
    return 0;
}

// Written under a name that the runner does not look for and renamed, so that the runner never reads half of
// it. The file is new, never a link, and only its owner can read or write it (mode 0600).
int CCmdScheduler::fCmdWriteFile(const std::string& file, const char* cmd)
{
    std::string draft = std::string(m_pstrCmdSchedulerHome) + ".shcmd_XXXXXX";
    const CDescriptor fd(mkostemp(draft.data(), O_CLOEXEC));
    const bool written = fd && fWriteText(fd.fGet(), cmd);
    if (written && rename(draft.c_str(), file.c_str()) == 0) {
        fLog(LOG_SCHEDULER, LOG_NORMAL, __LINE__, "command save success[%s] : %s", file.c_str(), cmd);
        fgStoreFlag(m_nCmdSaveFlag, 1);
        return 0;
    }
    if (fd && !written)
        fLog(LOG_SCHEDULER, LOG_ERROR, __LINE__, "command save failed[%s] : %s", file.c_str(), cmd);
    else // also where the key is too long for a file's name
        fLog(LOG_SCHEDULER, LOG_ERROR, __LINE__, "command save file(%s) open failed : %s", file.c_str(),
             strerror(errno));
    if (fd) unlink(draft.c_str());
    return -1;
}

int CCmdScheduler::fCmdPush(const char* key, const char* cmd)
{
    if (!fAccepts(key, cmd)) return -1;
    std::string name = key;
    fCleanKey(name.data());
    const std::string resultFile = m_pstrCmdSchedulerHome + name;
    const std::string line = std::string(fWithoutEnd(cmd)) + ";echo $? > " + fgShellWord(resultFile) + " &";
    auto entry = std::make_unique<_CMD_SCHEDULER>(key, line, resultFile);
    if (entry->l_pstrCmdStr == nullptr || entry->l_pstrResultFile == nullptr) return -1;

    fLog(LOG_SCHEDULER_LIST, LOG_NORMAL, __LINE__, "command_key[%s]", key);
    std::unique_lock<std::mutex> lock(m_ListLock);
    const bool listed = fListed(line.c_str());
    if (!listed) m_CmdList.push_back(entry.release());
    lock.unlock();
    if (listed)
        fLog(LOG_SCHEDULER_LIST, LOG_NORMAL, __LINE__, "exists command in linked-list[%s]", line.c_str());
    fgStoreFlag(m_nCmdSaveFlag, 1);
    return 0;
}

bool CCmdScheduler::fListed(const char* line) const
{
    return std::any_of(m_CmdList.begin(), m_CmdList.end(), [line](const _CMD_SCHEDULER* entry) {
        return strcmp(entry->l_pstrCmdStr, line) == 0;
    });
}

int CCmdScheduler::fCmdQueuePush(const char* cmd)
{
    if (m_pcQueue == nullptr) {
        fLog(LOG_SCHEDULER, LOG_ERROR, __LINE__, "cmdQueue push failed : scheduler is not started");
        return -1;
    }
    auto message = std::make_unique<MessageQData>();
    message->fSetCollectData(cmd, time(nullptr));
    const size_t count = m_pcQueue->pushBelow(message.get(), CMD_QUEUE_LIMIT);
    if (count < CMD_QUEUE_LIMIT)
        (void)message.release(); // the queue's now
    else
        fLog(LOG_SCHEDULER, LOG_ERROR, __LINE__, "cmdQueue count overflow-skip [%d]",
             static_cast<int>(count));
    return 0;
}

Queue<MessageQData*>* CCmdScheduler::fGetMessageQueue()
{
    return m_pcQueue;
}

int CCmdScheduler::fListCount()
{
    const std::lock_guard<std::mutex> lock(m_ListLock);
    return static_cast<int>(m_CmdList.size());
}

// The steps add up over the rounds: after the fifth the thread goes on regardless, and counts anew.
void CCmdScheduler::fAwaitSync()
{
    while (fgLoadFlag(m_nSyncFlag) == 1) {
        fgUSleep(SYNC_STEP);
        if (++m_nSyncSteps < SYNC_STEPS) continue;
        m_nSyncSteps = 0;
        return;
    }
}

// The next entry that has not been run. It stays alive until fReleaseTaken, also when a stop clears the list.
_CMD_SCHEDULER* CCmdScheduler::fTakeWaiting()
{
    const std::lock_guard<std::mutex> lock(m_ListLock);
    const auto waiting = std::find_if(m_CmdList.begin(), m_CmdList.end(),
                                      [](const _CMD_SCHEDULER* entry) { return entry->l_nStatus == 0; });
    m_pstTaken = waiting == m_CmdList.end() ? nullptr : *waiting;
    return m_pstTaken;
}

void CCmdScheduler::fReleaseTaken()
{
    const std::lock_guard<std::mutex> lock(m_ListLock);
    m_pstTaken->l_nStatus = 1;
    if (std::find(m_CmdList.begin(), m_CmdList.end(), m_pstTaken) == m_CmdList.end()) delete m_pstTaken;
    m_pstTaken = nullptr;
}

void CCmdScheduler::fDropFinished()
{
    const std::lock_guard<std::mutex> lock(m_ListLock);
    m_CmdList.remove_if([](const _CMD_SCHEDULER* entry) {
        if (access(entry->l_pstrResultFile, F_OK) != 0) return false;
        unlink(entry->l_pstrResultFile);
        delete entry;
        return true;
    });
}

void CCmdScheduler::fClearList()
{
    const std::lock_guard<std::mutex> lock(m_ListLock);
    for (const _CMD_SCHEDULER* entry : m_CmdList)
        if (entry != m_pstTaken) delete entry;
    m_CmdList.clear();
}

void CCmdScheduler::fCmdListCycle()
{
    if (fListCount() == 0) return;
    fAwaitSync();
    char scratch[LOG_SCRATCH_SIZE];
    fgLogLine(LOG_SCHEDULER_THREAD, LOG_NORMAL, __LINE__, scratch, "CmdScheduler Thread Start[%d]",
              fListCount());
    while (const _CMD_SCHEDULER* entry = fTakeWaiting()) {
        fStartShell(entry->l_pstrCmdStr);
        fReleaseTaken();
        fgUSleep(LIST_PACE);
    }
    fDropFinished();
    fgLogLine(LOG_SCHEDULER_THREAD, LOG_NORMAL, __LINE__, scratch, "CmdScheduler Thread end[%d]",
              fListCount());
}

int CCmdScheduler::fCmdQueueCycle()
{
    const int count = m_pcQueue->getCount();
    if (count == 0) return 0;
    const std::unique_ptr<MessageQData> message(m_pcQueue->pop());
    char scratch[LOG_SCRATCH_SIZE];
    if (message == nullptr)
        fgLogLine(LOG_SCHEDULER_QUEUE, LOG_NORMAL, __LINE__, scratch, "l_pclMsgQData===NULL");
    else if (message->fGetCollectData() == nullptr)
        fgLogLine(LOG_SCHEDULER_QUEUE, LOG_NORMAL, __LINE__, scratch, "l_pstrCollectData == NULL");
    else {
        fgLogLine(LOG_SCHEDULER_QUEUE, LOG_NORMAL, __LINE__, scratch, "CmdSchedulercmd[%s]",
                  message->fGetCollectData());
        fgRunShellLine(message->fGetCollectData());
    }
    return count;
}

void* fCmdSchedulerTh(void* scheduler)
{
    char scratch[LOG_SCRATCH_SIZE];
    fgLogLine(LOG_SCHEDULER_THREAD, LOG_NORMAL, __LINE__, scratch, "fCmdSchedulerTh init");
    for (;;) {
        fgUSleep(LIST_SLEEP);
        static_cast<CCmdScheduler*>(scheduler)->fCmdListCycle();
    }
}

// Cancellable at any point, also while a command runs: kept for owners that cancel it on their way out.
// Nothing here cancels it, and no queue is usable afterwards.
void* fCmdQueueSchedulerTh(void* scheduler)
{
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
    pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, nullptr);
    for (int count = 0;;) {
        fgUSleep(count == 0 ? QUEUE_SLEEP_IDLE : QUEUE_SLEEP_BUSY);
        count = static_cast<CCmdScheduler*>(scheduler)->fCmdQueueCycle();
    }
}

void CCmdScheduler::fStartThread(void* (*thread)(void*), const char* whenFailed, const char* whenStarted)
{
    const int error = fgStartDetached(thread, this);
    if (error == 0) {
        fLog(LOG_SCHEDULER, LOG_NORMAL, __LINE__, "%s", whenStarted);
        return;
    }
    fgStoreFlag(m_nThreadStart, 0);
    fLog(LOG_SCHEDULER, LOG_ERROR, __LINE__, "%s[%s]", whenFailed, strerror(error));
}

int CCmdScheduler::fCmdSchedulerStart()
{
    if (m_nCmdSchedulerType == CMD_TYPE_LIST) {
        if (fgClaimFlag(m_nThreadStart, 0, 1))
            fStartThread(fCmdSchedulerTh, "pthread_create scheduler failed.",
                         "pthread_create scheduler success");
        return 1;
    }
    if (m_nCmdSchedulerType == CMD_TYPE_QUEUE) {
        if (!fgClaimFlag(m_nThreadStart, 0, 1)) return 1;
        if (m_pcQueue == nullptr) m_pcQueue = new Queue<MessageQData*>;
        fStartThread(fCmdQueueSchedulerTh, "pthread_create queue_scheduler failed.",
                     "pthread_create queue_scheduler success");
        return 1;
    }
    if (!fPresent(m_pstrCmdSchedulerHome, "command schedule daemon start failed : home path is null",
                  "command schedule daemon start failed : home path strlen is zero"))
        return 0;
    fRunDaemonScript(START_SCRIPT);
    fgStoreFlag(m_nCmdSaveFlag, 0);
    return 1;
}

int CCmdScheduler::fCmdSchedulerStop()
{
    if (m_nCmdSchedulerType == CMD_TYPE_LIST) {
        fgStoreFlag(m_nSyncFlag, 1);
        fClearList();
        fgStoreFlag(m_nSyncFlag, 0);
        return 1;
    }
    if (!fPresent(m_pstrCmdSchedulerHome, "command schedule daemon stop failed : home path is null",
                  "command schedule daemon stop failed : home path strlen is zero"))
        return 0;
    fRunDaemonScript(STOP_SCRIPT);
    return 1;
}

// A start and a stop never overlap, whichever scheduler objects of the process they come from.
void CCmdScheduler::fRunDaemonScript(const char* script)
{
    const std::string home = m_pstrCmdSchedulerHome;
    const std::string command = fgShellWord(home + script) + " " + fgShellWord(home);
    while (!fgClaimFlag(g_nCmdSync, 0, 1)) {
        fLog(LOG_SCHEDULER, LOG_NORMAL, __LINE__, "system command(%s) execute waiting.....", command.c_str());
        fgUSleep(SCRIPT_STEP);
    }
    fgRunShellLine(command.c_str());
    fgStoreFlag(g_nCmdSync, 0);
    fLog(LOG_SCHEDULER, LOG_NORMAL, __LINE__, "system command(%s) exec end", command.c_str());
}
