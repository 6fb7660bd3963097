#include <cstdio>
#include <cstring>
#include <string>

#include "collect/BandwidthDiscovery.h"
#include "collect/NetDevReader.h"
#include "fuzz/Fuzz.h"
#include "lib/ShellText.h"

// Lines about network interfaces.

namespace
{
template <int VERSION> void fNetDev(std::string_view text)
{
    struct interface record;
    fgParseNetDevLine(CFuzzText(text), VERSION, record);
    fgFuzzMust(memchr(record.name, '\0', sizeof(record.name)) != nullptr, "a name is terminated");
}

// The counters behind a name that is sound, against sscanf.
void fCounters(std::string_view input)
{
    const CFuzzText text("eth0: " + std::string(input));
    struct interface is, be = {};
    user_net_device_stats& s = be.stats;
    sscanf(text + 5, "%llu %llu %llu %llu %llu %llu %llu %llu %llu %llu %llu %llu %llu %llu %llu %llu",
           &s.rx_bytes, &s.rx_packets, &s.rx_errors, &s.rx_dropped, &s.rx_fifo_errors, &s.rx_frame_errors,
           &s.rx_compressed, &s.rx_multicast, &s.tx_bytes, &s.tx_packets, &s.tx_errors, &s.tx_dropped,
           &s.tx_fifo_errors, &s.collisions, &s.tx_carrier_errors, &s.tx_compressed);
    fgParseNetDevLine(text, 3, is);
    if (strchr(text + 5, ':') == nullptr) // else it may be an alias
        fgFuzzMust(memcmp(&is.stats, &s, sizeof(s)) == 0, "counters are what sscanf gives");
}

void fColumns(std::string_view text)
{
    const int version = fgNetDevVersion(CFuzzText(text));
    fgFuzzMust(version >= 1 && version <= 3, "a layout is known");
}

void fBandwidthDuplex(std::string_view text)
{
    _ST_BANDWIDTH_LIST found = {};
    fgParseBandwidthDuplex(CFuzzText(text), found);
    CBandwidthList().fAddLinkedList(found.m_strIFName, found.m_lBandwidth, found.m_nDuplex);
}

void fBandwidth(std::string_view input)
{
    const CFuzzText text(input);
    _ST_BANDWIDTH_LIST found = {};
    fgParseBandwidth(text, found);
    fgKilobits(text);
}

void fBond(std::string_view line)
{
    std::string_view slave;
    if (fgParseActiveSlave(line, slave)) fgFuzzMust(line.ends_with(slave), "a slave ends its line");
    const std::string_view bond = fgBondOf(line);
    fgFuzzMust(line.starts_with(bond) && bond.find('.') == bond.npos, "a bond is the front of a name");
}

void fShell(std::string_view text)
{
    const std::string word = fgShellWord(text);
    // Outside quotes stand safe characters and escaped quotes alone.
    bool quoted = false;
    for (size_t at = 0; at < word.size(); at++) {
        if (word[at] == '\'')
            quoted = !quoted;
        else if (!quoted && word[at] == '\\')
            fgFuzzMust(word[++at] == '\'', "only a quote is escaped");
        else if (!quoted)
            fgFuzzMust(fgIsShellSafe(word.substr(at, 1), "/+%,"), "what is not quoted is safe");
    }
    fgFuzzMust(!quoted, "quotes are closed");
}

constexpr FUZZ_READER READERS[] = {fNetDev<1>,       fNetDev<2>, fNetDev<3>, fCounters, fColumns,
                                   fBandwidthDuplex, fBandwidth, fBond,      fShell};
const CFuzzTarget TARGET("network", [](std::string_view input) { fgFuzzDispatch(READERS, input); });
} // namespace
