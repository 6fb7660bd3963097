#pragma once

#include "collect/MM_INIT_Info.h"
#include "collect/SSUtil.h"
#include "lib/HostFile.h"

constexpr int LOAD_AVERAGES = 3; // over 1, 5 and 15 minutes, in this order

// The load averages of /proc/loadavg: processes that run or wait, for a CPU or for a disk, averaged by the
// kernel. Nothing is logged. One caller thread per object.
class CMM_LA_Info : public CMM_INIT_Info
{
public:
    CMM_LA_Info();
    ~CMM_LA_Info();

    // Reads the averages. Returns m_pdLoadAvg, the collector's, overwritten by the next read; null when the
    // file cannot be read or is not in the kernel's form, and the averages stay those of the read before.
    double* fMGetLoadAvg();

    // The averages of the last successful read; 0.0 before it. They read nothing.
    double fMGetLoadAvg_1Min();
    double fMGetLoadAvg_5Min();
    double fMGetLoadAvg_15Min();

    CSSUtil* m_pclUtil;
    double m_pdLoadAvg[LOAD_AVERAGES];

private:
    CHostFile m_clLoadavg{"/proc/loadavg"};
};

// Takes the averages of "0.05 0.10 0.15 1/80 1234": six whole numbers, since the kernel always prints two
// decimals (fs/proc/loadavg.c). On false nothing was stored.
bool fgParseLoadAverages(const char* text, double (&averages)[LOAD_AVERAGES]);
