#include "collect/MM_LA_Info.h"

#include "lib/HostFile.h"
#include "lib/NumberText.h"

namespace
{
constexpr int LOADAVG_SIZE = 4096; // bytes of /proc/loadavg that are read

// Hundredths are put together as a 32-bit integer, which wraps on a load that no kernel reports.
double fAverage(int whole, int hundredths)
{
    const unsigned sum = static_cast<unsigned>(whole) * 100U + static_cast<unsigned>(hundredths);
    return static_cast<int>(sum) / 100.0;
}
} // namespace

CMM_LA_Info::CMM_LA_Info() : m_pclUtil(new CSSUtil), m_pdLoadAvg{} {}

CMM_LA_Info::~CMM_LA_Info()
{
    delete m_pclUtil;
}

double* CMM_LA_Info::fMGetLoadAvg()
{
    char text[LOADAVG_SIZE];
    if (fgReadHostFile("/proc/loadavg", text, sizeof(text)) < 1) return nullptr;
    return fgParseLoadAverages(text, m_pdLoadAvg) ? m_pdLoadAvg : nullptr;
}

double CMM_LA_Info::fMGetLoadAvg_1Min()
{
    return m_pdLoadAvg[0];
}
double CMM_LA_Info::fMGetLoadAvg_5Min()
{
    return m_pdLoadAvg[1];
}
double CMM_LA_Info::fMGetLoadAvg_15Min()
{
    return m_pdLoadAvg[2];
}

bool fgParseLoadAverages(const char* text, double (&averages)[LOAD_AVERAGES])
{
    int whole[LOAD_AVERAGES] = {};
    int hundredths[LOAD_AVERAGES] = {};
    CNumberScan scan(text);
    for (int i = 0; i < LOAD_AVERAGES; i++)
        if (!scan.fPair(whole[i], '.', hundredths[i])) return false;
    for (int i = 0; i < LOAD_AVERAGES; i++)
        averages[i] = fAverage(whole[i], hundredths[i]);
    return true;
}
