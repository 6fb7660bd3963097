// A small agent on the installed library: samples CPUs and filesystems twice, logs what it does and keeps the
// CPU table as a record that waits for delivery. Start it in the folder agent/bin of its own copy of the
// runtime tree.

#include <cstdio>

#include "collect/MM_CPU_Info.h"
#include "collect/MM_FS_Info.h"
#include "driver/RunConfig.h"
#include "lib/BufferFile.h"
#include "lib/LogGate.h"
#include "lib/NGFunctions.h"
#include "lib/OmniLog.h"

int main()
{
    fgInitRunConfig();
    g_nCpuStrType = 1;            // text tables
    g_nDataBufferSaveMaxSize = 1; // megabytes
    COmniLog log(2, "EXAMPLE", 2);
    log.fSetLogPath("../aproc/");
    g_pclOmniLog = &log;
    log.fLogWrite(LOG_NORMAL, __LINE__, "agent.cpp", "started");

    CMM_CPU_Info cpu;
    CMM_FS_Info filesystems;
    cpu.fMGetCpu(); // the first sample primes
    fgUSleep(200000);
    if (cpu.fMGetCpu() == nullptr) {
        log.fLogWrite(LOG_ERROR, __LINE__, "agent.cpp", "no CPU sample");
        return 1;
    }
    printf("processors: %d\n", cpu.fMGetPhyCpuCnt());
    printf("cpu: %.2f %% used\n", cpu.fGetUtilization());
    printf("filesystems: %s\n", filesystems.fMGetFileSys() == nullptr ? "none" : "some");
    return fgBufFileWrite("", "cpu", cpu.m_pStrCpuTAQ) == 1 ? 0 : 1;
}
