#include "collect/BandwidthList.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <sys/stat.h>

#include "driver/RunConfig.h"
#include "lib/NCmdScheduler.h"
#include "lib/ScriptOutput.h"
#include "lib/ShellText.h"

namespace
{
constexpr char COMMAND_DUPLEX[] = "../../utils/ETC/ShCmd 5 ./shell/LINUX/NICDuplexInfoLinux.sh %s %s %s";
constexpr char KEY_DUPLEX[] = "NWT_NICDuplexInfoLinux_%s_%s_%s";
constexpr char FILE_DUPLEX_WORK[] = "../aproc/shell/DuplexLinuxTmp.dat";
constexpr char FILE_DUPLEX[] = "../aproc/shell/DuplexLinux.dat";
constexpr time_t DUPLEX_FRESH = 301; // seconds

struct ST_DUPLEX_WORD
{
    const char* l_strText;
    const char* l_astrForms[3]; // any of these in the script's first line
};
// Full counts when both are there.
constexpr ST_DUPLEX_WORD DUPLEX_WORDS[] = {{"Full Duplex", {"Full", "full", "FULL"}},
                                           {"Half Duplex", {"Half", "half", "HALF"}}};

bool fIsFresh(const char* path)
{
    struct stat status = {};
    return stat(path, &status) == 0 && time(nullptr) - status.st_mtime < DUPLEX_FRESH;
}

// Has the result file written, now or soon.
void fAskDuplex(const char* ifname)
{
    if (g_pclCCmdScheduler == nullptr) {
        fgRunShell(COMMAND_DUPLEX, ifname, FILE_DUPLEX_WORK, FILE_DUPLEX);
        return;
    }
    char key[128]; // rewritten by the scheduler
    char command[256];
    snprintf(key, sizeof(key), KEY_DUPLEX, ifname, FILE_DUPLEX_WORK, FILE_DUPLEX);
    snprintf(command, sizeof(command), COMMAND_DUPLEX, ifname, FILE_DUPLEX_WORK, FILE_DUPLEX);
    g_pclCCmdScheduler->fCmdSave(key, command);
}
} // namespace

CBandwidthList::CBandwidthList() : CNamedList(BANDWIDTH_NO_MEMORY) {}

int CBandwidthList::fAddLinkedList(const char* name, long bandwidth, int duplex)
{
    _ST_BANDWIDTH_LIST node;
    if (!fNewNode(name, node)) return -1;
    node.m_lBandwidth = bandwidth;
    node.m_nDuplex = duplex;
    return fAddNode(&node);
}

int fGetDuplex(const char* ifname, char* text)
{
    char scratch[LOG_SCRATCH_SIZE];
    if (!fgAcceptForShell(ifname, scratch)) return -1;
    if (!fIsFresh(FILE_DUPLEX)) fAskDuplex(ifname);
    char line[128];
    fgReadFirstLine(FILE_DUPLEX, line);
    for (const ST_DUPLEX_WORD& word : DUPLEX_WORDS)
        for (const char* form : word.l_astrForms)
            if (strstr(line, form) != nullptr) {
                fgCopyText(text, DUPLEX_TEXT_SIZE, word.l_strText);
                return 1;
            }
    return -1;
}

bool fgAcceptForShell(const char* ifname, char (&scratch)[LOG_SCRATCH_SIZE])
{
    if (ifname != nullptr && strlen(ifname) < sizeof(_ST_BANDWIDTH_LIST::m_strIFName) &&
        fgIsShellSafe(ifname))
        return true;
    fgLog(LOG_NETWORK, LOG_ERROR, scratch, "interface name refused[%s]", ifname != nullptr ? ifname : "");
    return false;
}
