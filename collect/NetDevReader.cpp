#include "collect/NetDevReader.h"

#include <cctype>
#include <cerrno>
#include <cstring>
#include <new>
#include <span>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

#include "collect/network.h"
#include "lib/FixedText.h"
#include "lib/HostFile.h"
#include "lib/NumberText.h"

namespace
{
constexpr char PATH_NET_DEV[] = "/proc/net/dev";
constexpr char LINK_WORD[] = {'L', 'I', 'N', 'K', 'U', 'P'}; // no terminator: see fNext
constexpr char TRACE_START[] = "---------------networ info start-----------------\n";
constexpr char TRACE_END[] = "---------------networ info end  -----------------\n";

using COUNTER = unsigned long long user_net_device_stats::*;
using STATS = user_net_device_stats;

// The columns of each layout in their order (dev_seq_printf_stats in net/core/net-procfs.c).
constexpr COUNTER COLUMNS_PACKETS[] = {
    &STATS::rx_packets,      &STATS::rx_errors,  &STATS::rx_dropped,       &STATS::rx_fifo_errors,
    &STATS::rx_frame_errors, &STATS::tx_packets, &STATS::tx_errors,        &STATS::tx_dropped,
    &STATS::tx_fifo_errors,  &STATS::collisions, &STATS::tx_carrier_errors};
constexpr COUNTER COLUMNS_BYTES[] = {
    &STATS::rx_bytes,         &STATS::rx_packets,      &STATS::rx_errors,      &STATS::rx_dropped,
    &STATS::rx_fifo_errors,   &STATS::rx_frame_errors, &STATS::tx_bytes,       &STATS::tx_packets,
    &STATS::tx_errors,        &STATS::tx_dropped,      &STATS::tx_fifo_errors, &STATS::collisions,
    &STATS::tx_carrier_errors};
constexpr COUNTER COLUMNS_COMPRESSED[] = {
    &STATS::rx_bytes,       &STATS::rx_packets,      &STATS::rx_errors,         &STATS::rx_dropped,
    &STATS::rx_fifo_errors, &STATS::rx_frame_errors, &STATS::rx_compressed,     &STATS::rx_multicast,
    &STATS::tx_bytes,       &STATS::tx_packets,      &STATS::tx_errors,         &STATS::tx_dropped,
    &STATS::tx_fifo_errors, &STATS::collisions,      &STATS::tx_carrier_errors, &STATS::tx_compressed};

// What a pass delivers of them.
constexpr COUNTER DELIVERED[NET_COUNTERS] = {&STATS::rx_packets, &STATS::tx_packets, &STATS::rx_bytes,
                                             &STATS::tx_bytes,   &STATS::rx_errors,  &STATS::tx_errors,
                                             &STATS::collisions};

// Takes them until one is none. The numbers of the first layout are signed.
template <bool IS_SIGNED> void fScanCounters(const char* text, std::span<const COUNTER> columns, STATS& stats)
{
    CNumberScan scan(text);
    for (const COUNTER column : columns) {
        long number = 0;
        unsigned long count = 0;
        if (IS_SIGNED ? !scan.fLong(number) : !scan.fUnsigned(count)) return;
        stats.*column = IS_SIGNED ? static_cast<unsigned long long>(number) : count;
    }
}

bool fIsBlank(char c)
{
    return isspace(static_cast<unsigned char>(c)) != 0;
}

bool fIsDigit(char c)
{
    return c >= '0' && c <= '9';
}

// Takes the name from "  eth0: 12 ..." and returns where the counters begin. An alias, "eth0:1: 12 ...",
// keeps its number; in "eth0:12 34 ..." the number is a counter that fills its column.
const char* fTakeName(const char* line, struct interface& record)
{
    while (fIsBlank(*line))
        line++;
    const char* end = line;
    while (*end != '\0' && *end != ':' && !fIsBlank(*end))
        end++;
    const char* counters = *end == ':' ? end + 1 : end;
    if (*end == ':') {
        const char* alias = counters;
        while (fIsDigit(*alias))
            alias++;
        if (*alias == ':') {
            end = alias;
            counters = alias + 1;
        }
    }
    fgCopyText(record.name, std::string_view(line, static_cast<size_t>(end - line)));
    return counters;
}
} // namespace

int CNetDevReader::fInit() const
{
    fRelease(); // a pass that was given up leaves its handles
    fWrite_Msg(TRACE_START);
    m_rTable = fgOpenHostStream(PATH_NET_DEV).release();
    if (m_rTable == nullptr) {
        fgTraceNetwork("4.6(NWT) fopen failed [%s]\n", errno);
        return -1;
    }
    setvbuf(m_rTable, m_rBuffer, _IOFBF, sizeof(m_rBuffer)); // its own would be a quarter of a page
    char columns[512] = "";
    for (int line = 0; line < 2; line++)
        if (fgets(columns, sizeof(columns), m_rTable) == nullptr) columns[0] = '\0';
    m_rVersion = fgNetDevVersion(columns);
    m_rRecord = new (std::nothrow) struct interface();
    m_rSocket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    return m_rRecord != nullptr && m_rSocket >= 0 ? 0 : -1;
}

int CNetDevReader::fNext(char* name, char* link, const NET_DELIVERY& counters) const
{
    if (m_rTable == nullptr || m_rRecord == nullptr) {
        fWrite_Msg(m_pstrNotOpen);
        return -1;
    }
    char line[1024];
    if (fgets(line, sizeof(line), m_rTable) == nullptr) return -1;
    fgParseNetDevLine(line, m_rVersion, *m_rRecord);
    memcpy(name, m_rRecord->name, strlen(m_rRecord->name) + 1);
    // Callers zero the link buffer before each call and rely on nothing behind the word being touched.
    memcpy(link, LINK_WORD, sizeof(LINK_WORD));
    for (int i = 0; i < NET_COUNTERS; i++)
        *counters[i] = m_rRecord->stats.*DELIVERED[i];
    return 0;
}

int CNetDevReader::fFin() const
{
    fRelease();
    fWrite_Msg(TRACE_END);
    return 0;
}

void CNetDevReader::fRelease() const
{
    delete m_rRecord;
    m_rRecord = nullptr;
    if (m_rTable != nullptr) fclose(m_rTable);
    m_rTable = nullptr;
    if (m_rSocket >= 0) close(m_rSocket);
    m_rSocket = -1;
}

int fgNetDevVersion(const char* columns)
{
    if (strstr(columns, "compressed") != nullptr) return 3;
    return strstr(columns, "bytes") != nullptr ? 2 : 1;
}

void fgParseNetDevLine(const char* line, int version, struct interface& record)
{
    record = {};
    const char* counters = fTakeName(line, record);
    if (version == 3)
        fScanCounters<false>(counters, COLUMNS_COMPRESSED, record.stats);
    else if (version == 2)
        fScanCounters<false>(counters, COLUMNS_BYTES, record.stats);
    else
        fScanCounters<true>(counters, COLUMNS_PACKETS, record.stats);
}
