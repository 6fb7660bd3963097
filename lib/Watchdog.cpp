#include <csignal>
#include <ctime>
#include <unistd.h>

#include "driver/RunConfig.h"
#include "lib/CheckNfs.h"
#include "lib/LogGate.h"
#include "lib/NGFunctions.h"
#include "lib/SharedFlag.h"
#include "lib/Trace.h"

namespace
{
constexpr int LOOK_PAUSE = 1000000;  // microseconds
constexpr int HEARTBEAT_PASSES = 11; // looks from one at the heartbeat to the next

constexpr char LINE_SENDING[] = "signal alarm sending-%s[pid:%d] time out[%d sec](DEBUG NO : %d)";
constexpr char LINE_SENT[] = "signal alarm send-%s[pid:%d] time out[%d sec](DEBUG NO : %d)";

// Interrupts the process. What made it do so is put back before the second line is written.
template <class T> void fInterrupt(const char* what, int seconds, T& cause, T value)
{
    char scratch[LOG_SCRATCH_SIZE];
    const int pid = fgLoadFlag(g_nSignalPid);
    fgLog(LOG_WATCHDOG, LOG_ERROR, scratch, LINE_SENDING, what, pid, seconds, fgLastTrace());
    kill(pid, SIGALRM);
    fgStoreFlag(cause, value);
    fgLog(LOG_WATCHDOG, LOG_ERROR, scratch, LINE_SENT, what, pid, seconds, fgLastTrace());
}

// passed counts the looks since the watchdog was armed. Nothing but disarming sets it back: one that is armed
// anew with less than has passed never fires.
void fLookAtAlarm(int& passed)
{
    const int armed = fgLoadFlag(g_nAlarmSec);
    if (armed < 1) {
        passed = 0;
        return;
    }
    if (passed == armed) fInterrupt("alarm", armed, g_nAlarmSec, 0);
    passed++;
}

void fLookAtHeartbeat()
{
    const int limit = fgLoadFlag(g_nBlockTimeOut);
    const time_t now = time(nullptr);
    if (fgLoadFlag(g_nBlockChkFlag) != 1 || limit < 1) return;
    if (difftime(now, fgLoadFlag(g_nBlockChkSec)) > limit) fInterrupt("block", limit, g_nBlockChkSec, now);
}
} // namespace

void* fgAlarmTh(int* blockTimeOut)
{
    fgStoreFlag(g_nAlarmThStatus, 1);
    fgStoreFlag(g_nAlarmSec, 0);
    fgStoreFlag(g_nBlockChkSec, time(nullptr));
    if (fgLoadFlag(g_nSignalPid) < 1) fgStoreFlag(g_nSignalPid, getpid());
    fgStoreFlag(g_nBlockTimeOut, blockTimeOut == nullptr || *blockTimeOut < 1 ? 0 : *blockTimeOut);

    int passed = 0;
    int passes = 0;
    for (fgUSleep(LOOK_PAUSE); fgLoadFlag(g_nAlarmThStatus) == 1; fgUSleep(LOOK_PAUSE)) {
        fLookAtAlarm(passed);
        if (++passes % HEARTBEAT_PASSES == 0) fLookAtHeartbeat();
    }
    char scratch[LOG_SCRATCH_SIZE];
    fgLog(LOG_WATCHDOG, LOG_ERROR, scratch, "signal alarm thread exit");
    return nullptr;
}
