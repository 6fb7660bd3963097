// A small agent: samples every few seconds and writes a line "NAME TEXT" for each collector to standard
// output. What cannot be written is kept in buffer files, and inventories are made in the background.
//
//     agent [SECONDS [PASSES]]
//
// Start it in agent/bin of a runtime tree of its own. Without PASSES it runs until SIGTERM or SIGINT. It
// observes the host whose root folder HOSTMETRICS_HOST_ROOT names, as the scripts of the tree do; without it,
// this one.

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

#include "collect/MM_CPU_Info.h"
#include "collect/MM_FS_Info.h"
#include "collect/MM_IO_Info.h"
#include "collect/MM_LA_Info.h"
#include "collect/MM_MEM_Info.h"
#include "collect/MM_NWT_Info.h"
#include "collect/MM_PROC_Info.h"
#include "collect/MM_VM_Info.h"
#include "driver/RunConfig.h"
#include "lib/FixedText.h"
#include "lib/NCmdScheduler.h"
#include "lib/NGFunctions.h"
#include "lib/OmniLog.h"
#include "lib/TextTable.h"

namespace
{
volatile std::sig_atomic_t g_nStop;

void fStop(int)
{
    g_nStop = 1;
}

void fCatch(int signal, void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    sigaction(signal, &action, nullptr);
}

// Before the first collector: each reads its globals when it is built, or at every sample.
void fConfigure()
{
    fgInitRunConfig();
    if (g_ptrAgentKey != nullptr) fgCopyText(g_ptrAgentKey, AGENT_KEY_SIZE, "example");
    g_nCpuStrType = g_nDiskStrType = g_nInterfaceStrType = 1; // text tables
    g_nProcExtendFlag = 0;                                    // no lines for people on standard output
    g_nExecedFileNameFlag = 1;
    g_nFsStatTimeoutSec = 5;
    g_nDataBufferSaveMaxSize = 10; // megabytes
    if (const char* root = getenv("HOSTMETRICS_HOST_ROOT")) fgCopyText(g_strHostRoot, root);
}

// Neither is ever freed: their threads use them until the process ends.
void fStartHelpers()
{
    fgMakeDirectory("../log/");
    auto* log = new COmniLog(2, "example", 7); // with "agent" in it, the name would resume the last file
    log->fSetLogPath("../log/");
    log->fSetLogSize(5, 1);
    log->fSetThreadChk(1); // the scheduler's thread logs too
    log->fSetLogModeBit("ERROR");
    g_pclOmniLog = log;

    auto* scheduler = new CCmdScheduler;
    scheduler->m_nCmdSchedulerType = CMD_TYPE_QUEUE;
    scheduler->fCmdSchedulerStart();
    g_pclCCmdScheduler = scheduler;
}

struct ST_COLLECTORS
{
    CMM_CPU_Info l_clCpu;
    CMM_LA_Info l_clLoad;
    CMM_VM_Info l_clVm;
    CMM_MEM_Info l_clMemory;
    CMM_FS_Info l_clFilesystems;
    CMM_IO_Info l_clDisks;
    CMM_NWT_Info l_clNetwork;
    CMM_PROC_Info l_clProcesses;
};

// A line, and a record of a buffer file, holds neither newlines nor the separators of push rows. A command
// line may hold both.
std::string fOneLine(std::string text)
{
    for (const char* unwanted : {"\n", SEPARATOR_PUSH_ROW, SEPARATOR_PUSH_FIELD})
        for (size_t at = 0; (at = text.find(unwanted, at)) != std::string::npos;)
            text[at] = ' ';
    return text;
}

bool fSend(const std::string& line)
{
    for (size_t at = 0; at < line.size();) {
        const ssize_t written = write(STDOUT_FILENO, line.data() + at, line.size() - at);
        if (written < 1) return false;
        at += static_cast<size_t>(written);
    }
    return true;
}

void fDeliver(const char* name, const char* table)
{
    const std::string line = fOneLine(table);
    if (!fSend(std::string(name) + " " + line + "\n")) fgBufFileWrite("", name, line.c_str());
}

void fSample(ST_COLLECTORS& c)
{
    if (c.l_clCpu.fMGetCpu() != nullptr) fDeliver("cpu", c.l_clCpu.m_pStrCpuTAQ); // not the first time
    if (const double* load = c.l_clLoad.fMGetLoadAvg()) fDeliver("load", std::to_string(load[0]).c_str());
    if (const double* vm = c.l_clVm.fMTarnisGetPage(0))
        fDeliver("faults", std::to_string(vm[VM_FAULTS]).c_str());
    if (c.l_clMemory.fMGetMem() != nullptr)
        fDeliver("memory", std::to_string(c.l_clMemory.m_pulMEM[MEM_AVAILABLE]).c_str());
    if (c.l_clFilesystems.fGetFileSystem() > 0) fDeliver("filesystems", c.l_clFilesystems.fGetFSInfo());
    if (c.l_clDisks.fMGetIoStat(1, 0) != nullptr && c.l_clDisks.m_nDiskTAQCnt > 0)
        fDeliver("disks", c.l_clDisks.m_pStrDiskTAQ);
    if (c.l_clNetwork.fMGetTarnisNetworkStat(0) != nullptr)
        fDeliver("network", c.l_clNetwork.m_pstrNetworkInfo);
    c.l_clProcesses.fProcMapUpdate(); // forgets processes that ended
    if (const char* table = c.l_clProcesses.fMGetProc(0)) {
        fDeliver("processes", table);
        c.l_clProcesses.fProcMapErase();
    }
}

// Hands an inventory on once its file is there.
template <class TCollector> void fTakeInventory(TCollector& collector, int (TCollector::*read)(),
                                                char* TCollector::*text, const char* name)
{
    if (access(collector.m_strDataPath, R_OK) != 0 || (collector.*read)() != 1) return;
    fDeliver(name, collector.*text);
    fStrOidWrite(name, collector.*text); // ../aproc/inv/NAME.inv
    collector.fINVFileRemove();
}
} // namespace

int main(int argc, char** argv)
{
    if (access("../../utils/ETC/ShCmd", X_OK) != 0) {
        fputs("agent: not in agent/bin of a runtime tree\n", stderr);
        return 2;
    }
    const int seconds = argc > 1 ? atoi(argv[1]) : 10;
    const int passes = argc > 2 ? atoi(argv[2]) : 0;
    fCatch(SIGTERM, fStop);
    fCatch(SIGINT, fStop);
    fCatch(SIGPIPE, [](int) {}); // who reads may go away; not ignored, since commands would inherit that

    fConfigure();
    fStartHelpers();
    ST_COLLECTORS collectors;
    collectors.l_clCpu.fCommandINV(0);
    collectors.l_clDisks.fCommandINV(0);
    for (int pass = 1; g_nStop == 0; pass++) {
        fSample(collectors);
        fTakeInventory(collectors.l_clCpu, &CMM_CPU_Info::fGetCpuINV, &CMM_CPU_Info::m_pStrCpuINV,
                       "cpu-inventory");
        fTakeInventory(collectors.l_clDisks, &CMM_IO_Info::fGetDiskINV, &CMM_IO_Info::m_pStrDiskINV,
                       "disk-inventory");
        if (pass == passes) break;
        for (int second = 0; second < seconds && g_nStop == 0; second++)
            fgUSleep(1000000);
    }
    return 0;
}
