#include "collect/BandwidthDiscovery.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "lib/FixedText.h"
#include "lib/HostFile.h"
#include "lib/NStringLib.h"
#include "lib/ScriptOutput.h"

namespace
{
constexpr char COMMAND_ONE[] = "../../utils/ETC/ShCmd 5 ./shell/LINUX/BandWidth.sh %s %s 2> /dev/null";
constexpr char FILE_ONE[] = "../aproc/shell/BandWidth_%s.dat";

constexpr size_t LINE_SIZE = 256;
constexpr std::string_view SLAVE_KEY = "Currently Active Slave";
constexpr size_t SLAVE_AT = SLAVE_KEY.size() + 1; // behind its colon

using CScratch = char (&)[LOG_SCRATCH_SIZE];

// A script whose output goes to a file.
struct ST_DISCOVERY
{
    const char* l_strCommand;
    const char* l_strResult;
    const char* l_strTitle; // of its log lines
    bool l_bTellsEnd;
};
constexpr ST_DISCOVERY DISCOVERY_DUPLEX{
    "../../utils/ETC/ShCmd 30 ./shell/LINUX/ifname_bandwidth_duplex.sh > %s 2> /dev/null",
    "../aproc/shell/IFName_bandwidth.dat", "Bandwidth Duplex", true};
constexpr ST_DISCOVERY DISCOVERY_EACH{"../../utils/ETC/ShCmd 10 ./shell/LINUX/IFName.sh > %s 2> /dev/null",
                                      "../aproc/shell/IFName.dat", "Bandwidth GTR", false};
constexpr ST_DISCOVERY DISCOVERY_PLAIN{
    "../../utils/ETC/ShCmd 10 ./shell/LINUX/ifname_bandwidth.sh > %s 2> /dev/null",
    "../aproc/shell/IFName_bandwidth.dat", "Bandwidth GTR", true};

// The next line without its newline; what is longer than the buffer comes as lines of its own.
bool fNextLine(const COwnedStream& file, char (&line)[LINE_SIZE])
{
    if (file == nullptr || fgets(line, sizeof(line), file.get()) == nullptr) return false;
    line[strcspn(line, "\n")] = '\0';
    return true;
}

// Runs a discovery's script and hands over each line of its result.
template <class TTake> void fDiscover(const ST_DISCOVERY& discovery, CScratch scratch, TTake take)
{
    fgLog(LOG_NETWORK, LOG_NORMAL, scratch, "%s START", discovery.l_strTitle);
    fgRunShell(discovery.l_strCommand, discovery.l_strResult);
    const COwnedStream file(fopen(discovery.l_strResult, "re"));
    if (file == nullptr)
        fgLog(LOG_NETWORK, LOG_NORMAL, scratch, "Bandwidth GTR failed(%s not found)", discovery.l_strResult);
    char line[LINE_SIZE];
    while (fNextLine(file, line))
        take(line);
    if (discovery.l_bTellsEnd) fgLog(LOG_NETWORK, LOG_NORMAL, scratch, "%s END", discovery.l_strTitle);
}

// What to measure for an interface: of bonds and their VLANs the slave that is active.
void fChooseDevice(const char* ifname, char (&device)[BOND_SLAVE_SIZE])
{
    fgCopyText(device, strstr(ifname, "bond") == nullptr ? ifname : fgBondOf(ifname));
    char slave[BOND_SLAVE_SIZE];
    if (strstr(ifname, "bond") != nullptr && fgGetBondInfo(device, slave, sizeof(slave)) == 1)
        fgCopyText(device, slave);
}

// The result file is named after the interface, not after the device that stands for it.
void fMeasure(const char* ifname, const char* device, CBandwidthList& list, CScratch scratch)
{
    char path[LINE_SIZE + sizeof(FILE_ONE)];
    snprintf(path, sizeof(path), FILE_ONE, ifname);
    fgRunShell(COMMAND_ONE, device, path);
    const COwnedStream file(fopen(path, "re"));
    if (file == nullptr) {
        fgLog(LOG_NETWORK, LOG_NORMAL, scratch, "Bandwidth failed(%s not found)", path);
        return;
    }
    char line[LINE_SIZE];
    if (!fNextLine(file, line)) return;
    const int kilobits = fgKilobits(line);
    fgLog(LOG_NETWORK, LOG_NORMAL, scratch, "Bandwidth success[%s][%d]KB", ifname, kilobits);
    list.fAddLinkedList(ifname, kilobits, DUPLEX_CODE_FULL);
}
} // namespace

void fgDiscoverBandwidthDuplex(CBandwidthList& list, char (&scratch)[LOG_SCRATCH_SIZE])
{
    fDiscover(DISCOVERY_DUPLEX, scratch, [&](char* line) {
        _ST_BANDWIDTH_LIST found = {};
        if (!fgParseBandwidthDuplex(line, found)) return;
        fgLog(LOG_NETWORK, LOG_NORMAL, scratch, "Bandwidth Duplex-add-set[%s][%d][%d]", found.m_strIFName,
              static_cast<int>(found.m_lBandwidth), found.m_nDuplex);
        list.fAddLinkedList(found.m_strIFName, found.m_lBandwidth, found.m_nDuplex);
    });
}

void fgDiscoverBandwidthEach(CBandwidthList& list, char (&scratch)[LOG_SCRATCH_SIZE])
{
    fDiscover(DISCOVERY_EACH, scratch, [&](const char* ifname) {
        fgLog(LOG_NETWORK, LOG_NORMAL, scratch, "Bandwidth [%s] GTR1", ifname);
        if (!fgAcceptForShell(ifname, scratch)) return;
        char device[BOND_SLAVE_SIZE];
        fChooseDevice(ifname, device);
        if (fgAcceptForShell(device, scratch)) fMeasure(ifname, device, list, scratch);
    });
}

void fgDiscoverBandwidth(CBandwidthList& list, char (&scratch)[LOG_SCRATCH_SIZE])
{
    fDiscover(DISCOVERY_PLAIN, scratch, [&](const char* line) {
        _ST_BANDWIDTH_LIST found = {};
        if (fgParseBandwidth(line, found))
            list.fAddLinkedList(found.m_strIFName, found.m_lBandwidth, found.m_nDuplex);
    });
}

int fgGetBondInfo(const char* ifname, char* activeSlave, size_t size)
{
    char path[PATH_MAX];
    const int length = snprintf(path, sizeof(path), "/proc/net/bonding/%s", ifname);
    if (length < 0 || static_cast<size_t>(length) >= sizeof(path)) return -1;
    const COwnedStream file = fgOpenHostStream(path);
    char line[LINE_SIZE];
    std::string_view slave;
    while (fNextLine(file, line))
        if (fgParseActiveSlave(line, slave)) {
            fgCopyText(activeSlave, size, slave);
            return 1;
        }
    return -1;
}

std::string_view fgBondOf(std::string_view ifname)
{
    return ifname.substr(0, ifname.find('.'));
}

bool fgParseBandwidthDuplex(char* line, _ST_BANDWIDTH_LIST& found)
{
    const char* field[4] = {};
    char* cursor = line;
    for (const char*& value : field)
        if ((value = Nstrstrtok(nullptr, "|", &cursor)) == nullptr) return false;
    if (cursor != nullptr || strcmp(field[0], "VELKSC") != 0) return false;
    fgCopyText(found.m_strIFName, field[1]);
    found.m_lBandwidth = strtol(field[2], nullptr, 10);
    found.m_nDuplex = static_cast<int>(strtol(field[3], nullptr, 10));
    return true;
}

bool fgParseBandwidth(const char* line, _ST_BANDWIDTH_LIST& found)
{
    const char* blank = strchr(line, ' ');
    if (blank == nullptr) return false;
    fgCopyText(found.m_strIFName, std::string_view(line, static_cast<size_t>(blank - line)));
    found.m_lBandwidth = strtol(blank, nullptr, 10);
    found.m_nDuplex = DUPLEX_CODE_FULL;
    return true;
}

bool fgParseActiveSlave(std::string_view line, std::string_view& slave)
{
    if (!line.starts_with(SLAVE_KEY)) return false;
    slave = line.size() > SLAVE_AT ? line.substr(SLAVE_AT) : std::string_view();
    if (slave.starts_with(' ')) slave.remove_prefix(1);
    return true;
}

int fgKilobits(const char* megabits)
{
    return static_cast<int>(static_cast<unsigned>(strtol(megabits, nullptr, 10)) * 1000U);
}
