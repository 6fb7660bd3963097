#include <cstdio>
#include <cstdlib>

#include "collect/MM_CPU_Info.h"
#include "collect/MM_INIT_Info.h"
#include "collect/MM_LA_Info.h"
#include "collect/MM_MEM_Info.h"
#include "collect/MM_VM_Info.h"
#include "fuzz/Fuzz.h"

// Texts of the kernel about the whole machine. Readers of two texts get them with a form feed between.

namespace
{
constexpr CPU_VALUE COLUMNS_FOUR[] = {CPU_USER, CPU_WAIT, CPU_SYSTEM, CPU_IDLE};
constexpr CPU_VALUE COLUMNS_FIVE[] = {CPU_USER, CPU_NICE, CPU_SYSTEM, CPU_IDLE, CPU_WAIT};

template <int KERNEL_MINOR, const auto& COLUMNS> void fCpuLine(std::string_view input)
{
    const CFuzzText text(input);
    unsigned long long counters[CPU_VALUES];
    const char* end = fgParseCpuLine(text, KERNEL_MINOR, counters);
    char* at = CSSUtil().fSkipToken(text);
    for (const CPU_VALUE column : COLUMNS)
        fgFuzzMust(counters[column] == strtoull(at, &at, 10), "counters are what strtoull gives");
    fgFuzzMust(end == at, "a line of a CPU ends behind its last counter");
    unsigned long long shares[CPU_VALUES];
    unsigned long long previous[CPU_VALUES] = {1, 2, 3, 4, 5};
    CSSUtil().fGetCpuPct(CPU_VALUES, shares, counters, previous);
    ST_CPU_ROW row;
    fgComputeCpuRow(shares, true, row);
}

void fInterrupts(std::string_view text)
{
    long count = 0;
    fgParseInterrupts(CFuzzText(text), count);
}

void fMemory(std::string_view text)
{
    ST_MEM_TEXT mem;
    if (!fgParseMemInfo(CFuzzText(text), mem)) return;
    fgEstimateAvailable(*mem.l_ulFree, *mem.l_ulBuffers, *mem.l_ulCached, mem.l_ulReclaimable.value_or(0));
}

template <bool (*PARSE)(const char*, const char*, unsigned long (&)[SWP_VALUES])>
void fSwap(std::string_view input)
{
    const CFuzzText meminfo(fgFuzzPart(input));
    unsigned long swap[SWP_VALUES];
    PARSE(meminfo, CFuzzText(input), swap);
}

void fVmOld(std::string_view text)
{
    long raw[VM_VALUES] = {};
    fgParseVmOldStat(CFuzzText(text), raw);
}

void fVm(std::string_view input)
{
    const CFuzzText vmstat(fgFuzzPart(input));
    long raw[VM_VALUES] = {};
    fgParseVmStat(vmstat, CFuzzText(input), 4096, raw);
}

void fLoad(std::string_view input)
{
    const CFuzzText text(input);
    int w[LOAD_AVERAGES];
    int h[LOAD_AVERAGES];
    int running = 0;
    int all = 0;
    const int values =
        sscanf(text, "%d.%d %d.%d %d.%d %d/%d", &w[0], &h[0], &w[1], &h[1], &w[2], &h[2], &running, &all);
    int queue = 0;
    fgFuzzMust(fgParseRunQueue(text, queue) == (values == 8), "a run queue is taken as by sscanf");
    fgFuzzMust(queue >= 0, "a run queue is not below 0");
    double averages[LOAD_AVERAGES];
    fgFuzzMust(fgParseLoadAverages(text, averages) == (values >= 6), "averages are taken as by sscanf");
}

void fRelease(std::string_view text)
{
    ST_OS_VERSION version;
    fgParseRelease(CFuzzText(text), version);
    for (const int number : {version.l_nMajorNum, version.l_nMinorNum, version.l_nExtraNum})
        fgFuzzMust(number >= 0, "a number of a release is not below 0");
}

constexpr FUZZ_READER READERS[] = {fCpuLine<4, COLUMNS_FOUR>,
                                   fCpuLine<6, COLUMNS_FIVE>,
                                   fInterrupts,
                                   fMemory,
                                   fSwap<fgParseOldSwap>,
                                   fSwap<fgParseSwap>,
                                   fVmOld,
                                   fVm,
                                   fLoad,
                                   fRelease};
const CFuzzTarget TARGET("kernel", [](std::string_view input) { fgFuzzDispatch(READERS, input); });
} // namespace
