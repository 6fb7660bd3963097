#include <algorithm>
#include <cstring>
#include <limits>

#include "collect/MM_NWT_Info.h"
#include "lib/FixedText.h"

// Rates of the network collector: arithmetic, and the samples that it measures against.

namespace
{
constexpr double BYTES_PER_KILOBYTE = 1024;
constexpr double BYTES_PER_BIT = 0.125;
constexpr double PERCENT = 100;
constexpr double NO_LIMIT = std::numeric_limits<double>::infinity();

using COUNT = unsigned long long;

double fRate(COUNT step, double elapsed)
{
    return step == 0 ? 0 : static_cast<double>(step) / elapsed;
}

// The share of a count in a whole, in whole numbers. A sum that wrapped to 0 has none.
double fShare(COUNT count, COUNT whole)
{
    return whole == 0 ? 0 : static_cast<double>(count / whole);
}

double fErrorRate(COUNT errors, COUNT packets)
{
    return errors == 0 || packets == 0 ? 0 : PERCENT * fShare(errors, packets + errors);
}

COUNT fAtLeastOne(COUNT bytes)
{
    return std::max(bytes, COUNT{1});
}

// Bytes that count against the bandwidth: of both directions when they share it, else of the busier one.
COUNT fPortBytes(COUNT in, COUNT out, unsigned int duplex)
{
    return fAtLeastOne(duplex == DUPLEX_CODE_HALF ? in + out : std::max(in, out));
}

void fSetPortRates(_ST_NETWORK& result, COUNT in, COUNT out, const _ST_STATIC_NETWORK& previous,
                   double elapsed)
{
    if (previous.l_ulBandWidth == 0) {
        result.l_dPortRate = result.l_dPortRxRate = result.l_dPortTxRate = -1;
        return;
    }
    const double capacity = static_cast<double>(previous.l_ulBandWidth) * BYTES_PER_BIT;
    const auto use = [capacity, elapsed](COUNT bytes) {
        return static_cast<double>(bytes) / elapsed / capacity * PERCENT;
    };
    result.l_dPortRate = use(fPortBytes(in, out, previous.l_nDuplexFlag));
    result.l_dPortRxRate = use(fAtLeastOne(in));
    result.l_dPortTxRate = use(fAtLeastOne(out));
}

// Columns of a row in their order.
struct ST_COLUMN
{
    double _ST_NETWORK::*l_dValue;
    double l_dUnit;
    double l_dLimit;
};
constexpr ST_COLUMN COLUMNS[] = {
    {&_ST_NETWORK::l_dInPkt, 1, NETWORK_PACKET_LIMIT},
    {&_ST_NETWORK::l_dOutPkt, 1, NETWORK_PACKET_LIMIT},
    {&_ST_NETWORK::l_dInByte, BYTES_PER_KILOBYTE, NETWORK_KILOBYTE_LIMIT},
    {&_ST_NETWORK::l_dOutByte, BYTES_PER_KILOBYTE, NETWORK_KILOBYTE_LIMIT},
    {&_ST_NETWORK::l_dInErr, 1, NO_LIMIT},
    {&_ST_NETWORK::l_dOutErr, 1, NO_LIMIT},
    {&_ST_NETWORK::l_dInErrRate, 1, PERCENT},
    {&_ST_NETWORK::l_dOutErrRate, 1, PERCENT},
    {&_ST_NETWORK::l_dCollisions, 1, NO_LIMIT},
    {&_ST_NETWORK::l_dCollisionRate, 1, PERCENT},
    {&_ST_NETWORK::l_dPortRate, 1, PERCENT},
    {&_ST_NETWORK::l_dPortRxRate, 1, PERCENT},
    {&_ST_NETWORK::l_dPortTxRate, 1, PERCENT},
};
static_assert(std::size(COLUMNS) == NETWORK_COLUMNS().size());

double fShown(double value, double limit)
{
    const double shown = std::max(value, 0.0);
    return shown > limit ? -1 : shown;
}
} // namespace

_ST_NETWORK* CMM_NWT_Info::fMComputeNetwork(const _ST_STATIC_NETWORK* current, double elapsed)
{
    return fCompute(*current, fMGetOldCompNetwork(current), elapsed);
}

_ST_NETWORK* CMM_NWT_Info::fMNetComputeIo(const _ST_STATIC_NETWORK* current,
                                          const _ST_NETWORK_OLD_LIST* previous, double elapsed)
{
    return fCompute(*current, previous, elapsed);
}

_ST_NETWORK* CMM_NWT_Info::fCompute(const _ST_STATIC_NETWORK& current, const _ST_STATIC_NETWORK* previous,
                                    double elapsed)
{
    *m_pstNetworkInfo = {};
    fgCopyText(m_pstNetworkInfo->l_strIfName, m_clOld.fNameOf(current));
    memcpy(m_pstNetworkInfo->l_strLinkAlive, current.l_strLinkAlive, NETWORK_LINK_SIZE - 1);
    if (previous == nullptr) return m_pstNetworkInfo;
    fgComputeNetwork(*m_pstNetworkInfo, current, *previous, elapsed);
    fTraceSteps(current, *previous);
    return m_pstNetworkInfo;
}

void CMM_NWT_Info::fTraceSteps(const _ST_STATIC_NETWORK& current, const _ST_STATIC_NETWORK& previous)
{
    if (fgLogGate(LOG_NETWORK, LOG_NORMAL) == nullptr) return;
    fgLog(LOG_NETWORK, LOG_NORMAL, m_strLogMsg, "OLD_InPkt[%llu]---> New_InPkt[%llu]", previous.l_ulInPkt,
          current.l_ulInPkt);
    fgLog(LOG_NETWORK, LOG_NORMAL, m_strLogMsg, "OLD_OutPkt[%llu]---> New_OutPkt[%llu]", previous.l_ulOutPkt,
          current.l_ulOutPkt);
    fgLog(LOG_NETWORK, LOG_NORMAL, m_strLogMsg, "OLD_InBytes[%llu]---> New_InBytes[%llu]",
          previous.l_ulInByte, current.l_ulInByte);
    fgLog(LOG_NETWORK, LOG_NORMAL, m_strLogMsg, "OLD_OutBytes[%llu]---> New_OutBytes[%llu]",
          previous.l_ulOutByte, current.l_ulOutByte);
    fgLog(LOG_NETWORK, LOG_NORMAL, m_strLogMsg, "fMComputeNetwork end");
}

_ST_STATIC_NETWORK* CMM_NWT_Info::fMGetOldCompNetwork(const _ST_STATIC_NETWORK* current)
{
    return m_clOld.fFind(*m_pclList_Old, *current);
}

int CMM_NWT_Info::fMSetOldCompNetwork(const _ST_STATIC_NETWORK* current)
{
    _ST_STATIC_NETWORK* previous = fMGetOldCompNetwork(current);
    if (previous == nullptr) return m_clOld.fInsert(*m_pclList_Old, *current) ? 1 : 0;
    fgKeepNetworkCounters(*previous, *current);
    return 1;
}

int fCMPInterfaceName(const void* first, const void* second)
{
    const int order =
        strncmp(static_cast<const char*>(first), static_cast<const char*>(second), NETWORK_NAME_SIZE);
    return order == 0 ? 1 : 0;
}

unsigned long long fgTrafficStep(unsigned long long current, unsigned long long previous)
{
    constexpr COUNT WRAP = 4294967296;
    return current >= previous ? current - previous : current - previous + WRAP;
}

void fgKeepNetworkCounters(_ST_STATIC_NETWORK& stored, const _ST_STATIC_NETWORK& current)
{
    stored.l_ulInPkt = current.l_ulInPkt;
    stored.l_ulOutPkt = current.l_ulOutPkt;
    stored.l_ulInByte = current.l_ulInByte;
    stored.l_ulOutByte = current.l_ulOutByte;
    stored.l_ulInErr = current.l_ulInErr;
    stored.l_ulOutErr = current.l_ulOutErr;
    stored.l_ulCollisions = current.l_ulCollisions;
}

void fgComputeNetwork(_ST_NETWORK& result, const _ST_STATIC_NETWORK& current,
                      const _ST_STATIC_NETWORK& previous, double elapsed)
{
    const COUNT in = fgTrafficStep(current.l_ulInByte, previous.l_ulInByte);
    const COUNT out = fgTrafficStep(current.l_ulOutByte, previous.l_ulOutByte);
    result.l_dInPkt = fRate(fgTrafficStep(current.l_ulInPkt, previous.l_ulInPkt), elapsed);
    result.l_dOutPkt = fRate(fgTrafficStep(current.l_ulOutPkt, previous.l_ulOutPkt), elapsed);
    result.l_dInByte = fRate(in, elapsed);
    result.l_dOutByte = fRate(out, elapsed);
    result.l_dInErr = fRate(current.l_ulInErr - previous.l_ulInErr, elapsed);
    result.l_dOutErr = fRate(current.l_ulOutErr - previous.l_ulOutErr, elapsed);
    result.l_dCollisions = fRate(current.l_ulCollisions - previous.l_ulCollisions, elapsed);
    result.l_dInErrRate = fErrorRate(current.l_ulInErr, current.l_ulInPkt);
    result.l_dOutErrRate = fErrorRate(current.l_ulOutErr, current.l_ulOutPkt);
    result.l_dCollisionRate = fShare(current.l_ulCollisions, current.l_ulOutPkt);
    fSetPortRates(result, in, out, previous, elapsed);
}

NETWORK_COLUMNS fgNetworkColumns(const _ST_NETWORK& interface)
{
    NETWORK_COLUMNS values;
    for (size_t i = 0; i < values.size(); i++)
        values[i] = fShown(interface.*COLUMNS[i].l_dValue / COLUMNS[i].l_dUnit, COLUMNS[i].l_dLimit);
    return values;
}
