#include "lib/StatfsLimit.h"

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "lib/DetachedThread.h"

namespace
{
// One call: written by its thread under the lock, and freed by the last of the thread, the table and the
// callers that lets go of it.
struct ST_CALL
{
    std::string l_strPath;
    bool l_bBack = false;
    bool l_bLate = false; // nobody waits for it any more
    int l_nError = 0;
    struct statfs64 l_stFigures = {};
};
using CSharedCall = std::shared_ptr<ST_CALL>;

// The calls that somebody waits for or that are outstanding. Never destroyed: a late one may come back while
// the process ends.
struct ST_CALLS
{
    std::mutex l_clLock;
    std::condition_variable l_clBack;
    std::map<std::string, CSharedCall> l_clByPath;
};

ST_CALLS& fCalls()
{
    static ST_CALLS& calls = *new ST_CALLS;
    return calls;
}

int fAsk(const char* path, struct statfs64& figures)
{
    struct statfs64 answer = {};
    if (statfs64(path, &answer) != 0) return errno;
    figures = answer;
    return 0;
}

void* fCall(void* argument)
{
    sigset_t all; // the program's handlers are none of this thread's business
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
    const std::unique_ptr<CSharedCall> own(static_cast<CSharedCall*>(argument));
    ST_CALL& call = **own;
    struct statfs64 figures = {};
    const int error = fAsk(call.l_strPath.c_str(), figures);
    ST_CALLS& calls = fCalls();
    const std::lock_guard lock(calls.l_clLock);
    call.l_nError = error;
    call.l_stFigures = figures;
    call.l_bBack = true;
    if (call.l_bLate) calls.l_clByPath.erase(call.l_strPath);
    calls.l_clBack.notify_all();
    return nullptr;
}

int fStart(const CSharedCall& call)
{
    auto own = std::make_unique<CSharedCall>(call);
    const int error = fgStartDetached(fCall, own.get());
    if (error == 0) static_cast<void>(own.release()); // the thread's
    return error;
}
} // namespace

int fgStatfs(const char* path, int seconds, struct statfs64& figures)
{
    if (seconds < 1) return fAsk(path, figures);
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    ST_CALLS& calls = fCalls();
    std::unique_lock lock(calls.l_clLock);
    CSharedCall call;
    const auto known = calls.l_clByPath.find(path);
    if (known != calls.l_clByPath.end()) {
        call = known->second;
    }
    else {
        call = std::make_shared<ST_CALL>(ST_CALL{path});
        const int error = fStart(call);
        if (error != 0) return error;
        calls.l_clByPath.emplace(path, call);
    }
    if (call->l_bLate) return STATFS_LATE;
    if (!calls.l_clBack.wait_until(lock, limit, [&call] { return call->l_bBack; })) {
        call->l_bLate = true;
        return STATFS_LATE;
    }
    const auto entry = calls.l_clByPath.find(path);
    if (entry != calls.l_clByPath.end() && entry->second == call) calls.l_clByPath.erase(entry);
    if (call->l_nError == 0) figures = call->l_stFigures;
    return call->l_nError;
}
