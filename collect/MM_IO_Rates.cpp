#include <cstddef>
#include <cstring>

#include "collect/MM_IO_Info.h"
#include "lib/FixedText.h"

// Rates of the disk collector: arithmetic, and the samples that it measures against.

namespace
{
using RATE_RULE = double (*)(unsigned long current, unsigned long previous, double elapsed);

// A counter that fell gives no rate.
double fRateOrNone(unsigned long current, unsigned long previous, double elapsed)
{
    const auto step = static_cast<long>(current - previous);
    return step > 0 ? static_cast<double>(step) / elapsed : 0;
}

// A counter that fell gives an enormous rate, on purpose: counts are clamped to "not known" by it.
double fRateOrHuge(unsigned long current, unsigned long previous, double elapsed)
{
    const unsigned long step = current - previous;
    return step != 0 ? static_cast<double>(step) / elapsed : 0;
}

template <class T> void fSetRates(_ST_DISKIO& io, const _ST_COMPUTE_IO& current, const T& previous,
                                  double elapsed, RATE_RULE rate)
{
    io.l_dRead_B = rate(current.l_ulRead_B, previous.l_ulRead_B, elapsed);
    io.l_dWrite_B = rate(current.l_ulWrite_B, previous.l_ulWrite_B, elapsed);
    io.l_dRead_N = rate(current.l_ulRead_N, previous.l_ulRead_N, elapsed);
    io.l_dWrite_N = rate(current.l_ulWrite_N, previous.l_ulWrite_N, elapsed);
}

void fSectorsToKilobytes(_ST_DISKIO& io)
{
    constexpr double KB_PER_SECTOR = 0.5; // 512 bytes whatever the disk's own sectors are (block/genhd.c)
    io.l_dRead_B *= KB_PER_SECTOR;
    io.l_dWrite_B *= KB_PER_SECTOR;
}

// Milliseconds with I/O in progress as a share of the interval, percent. The ticks pass through single
// precision, so that shares stay comparable with those recorded before.
double fBusy(unsigned long ticks, double elapsed)
{
    return static_cast<double>(static_cast<float>(ticks)) / (elapsed * 1000) * 100;
}

// Milliseconds an operation took. The kernels that have this count tens of milliseconds.
double fAwait(const _ST_COMPUTE_IO& current, const _ST_COMPUTE_IO& previous)
{
    const unsigned int operations =
        (current.l_uiRead_ios - previous.l_uiRead_ios) + (current.l_uiWrite_ios - previous.l_uiWrite_ios);
    const unsigned int ticks = (current.l_uiRead_ticks - previous.l_uiRead_ticks) +
                               (current.l_uiWrite_ticks - previous.l_uiWrite_ticks);
    return operations == 0 ? 0 : static_cast<double>(ticks) / operations * 10.0;
}
} // namespace

_ST_DISKIO* CMM_IO_Info::fMComputeIo(const _ST_COMPUTE_IO* current, double elapsed)
{
    fStartResult(*current);
    const _ST_COMPUTE_IO* previous = fMGetOldCompIo(current);
    if (previous == nullptr) return m_pstIO;
    fSetRates(*m_pstIO, *current, *previous, elapsed, fRateOrNone);
    m_pstIO->l_dAwait = fAwait(*current, *previous);
    return m_pstIO; // l_dBusy stays 0: these kernels' ticks do not tell it
}

_ST_DISKIO* CMM_IO_Info::fMComputeIo26(const _ST_COMPUTE_IO* current, double elapsed)
{
    fStartResult(*current);
    const _ST_COMPUTE_IO* previous = fMGetOldCompIo(current);
    if (previous == nullptr) return m_pstIO;
    fSetRates(*m_pstIO, *current, *previous, elapsed, fRateOrNone);
    fSectorsToKilobytes(*m_pstIO);
    if (current->l_lTick > previous->l_lTick)
        m_pstIO->l_dBusy = fBusy(current->l_lTick - previous->l_lTick, elapsed);
    return m_pstIO;
}

_ST_DISKIO* CMM_IO_Info::fMDiskComputeIo(const _ST_COMPUTE_IO* current, const _ST_DISK_OLD_LIST* previous,
                                         double elapsed)
{
    fStartResult(*current);
    if (previous == nullptr) return m_pstIO;
    fSetRates(*m_pstIO, *current, *previous, elapsed, fRateOrHuge);
    fSectorsToKilobytes(*m_pstIO);
    if (current->l_lTick != previous->l_lTick)
        m_pstIO->l_dBusy = fBusy(current->l_lTick - previous->l_lTick, elapsed);
    return m_pstIO;
}

_ST_COMPUTE_IO* CMM_IO_Info::fMGetOldCompIo(const _ST_COMPUTE_IO* current)
{
    return m_clOld.fFind(*m_pclList_Old, *current);
}

int CMM_IO_Info::fMSetOldCompIo(const _ST_COMPUTE_IO* current)
{
    _ST_COMPUTE_IO* previous = fMGetOldCompIo(current);
    if (previous == nullptr) return m_clOld.fInsert(*m_pclList_Old, *current) ? 1 : 0;
    *previous = *current;
    return 1;
}

void CMM_IO_Info::fStartResult(const _ST_COMPUTE_IO& current)
{
    fgReplaceText(m_pstIO->l_strDEVname, m_clOld.fNameOf(current));
    memset(&m_pstIO->l_uiRead_ios, 0, sizeof(*m_pstIO) - offsetof(_ST_DISKIO, l_uiRead_ios));
    m_pstIO->l_nTotSize = current.l_nTotSize;
}

void fgClampDisk(_ST_DISKIO& disk)
{
    for (double* rate : {&disk.l_dRead_N, &disk.l_dWrite_N, &disk.l_dRead_B, &disk.l_dWrite_B, &disk.l_dBusy})
        if (*rate < 0) *rate = -1.0;
    if (disk.l_dBusy > 100) disk.l_dBusy = 100;
    for (double* count : {&disk.l_dRead_N, &disk.l_dWrite_N})
        if (*count >= DISK_COUNT_LIMIT) *count = -1.0;
}

int compare_alldisk(const void* first, const void* second)
{
    const float left = static_cast<float>(static_cast<const ST_DISKALL_LIST*>(first)->l_dBusy);
    const float right = static_cast<float>(static_cast<const ST_DISKALL_LIST*>(second)->l_dBusy);
    const float difference = right - left;
    if (difference > 0) return 1;
    return difference < 0 ? -1 : 0;
}
