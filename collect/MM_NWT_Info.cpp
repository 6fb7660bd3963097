#include "collect/MM_NWT_Info.h"

#include <cstdlib>
#include <cstring>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include "collect/BandwidthDiscovery.h"
#include "collect/network.h"
#include "collect/push_network.h"
#include "driver/RunConfig.h"
#include "lib/FixedText.h"
#include "lib/InventoryFile.h"
#include "lib/NGFunctions.h"
#include "lib/Owners.h"
#include "lib/RowWriter.h"
#include "lib/TextTable.h"

namespace
{
constexpr char DATA_PATH[] = "../aproc/shell/InterfaceINVStrInfo.dat";
constexpr char DATA_NEW_PATH[] = "../aproc/shell/InterfaceINVNewStrInfo.dat";
constexpr size_t READ_NAME_SIZE = 256; // bytes for the reader's name
constexpr size_t NETWORK_ROW_SIZE = NETWORK_NAME_SIZE + 16 * (NUMBER_TEXT_SIZE + 4); // bytes, at most

// Seconds since a moment, which becomes now.
double fRestart(timeval& since)
{
    timeval now = {};
    gettimeofday(&now, nullptr);
    const double elapsed = fgElapsedSeconds(since, now);
    since = now;
    return elapsed;
}

// Without a socket, and for an interface that has gone, the request fails, and the link counts as up.
int fLinkAlive(int probe, const char* ifname)
{
    ifreq request = {};
    fgCopyText(request.ifr_name, ifname);
    if (ioctl(probe, SIOCGIFFLAGS, &request) != 0) return 1;
    return (request.ifr_flags & IFF_UP) != 0 ? 1 : 0;
}

std::unique_ptr<_ST_NETWORK_OLD_LIST> fNewSample(const _ST_STATIC_NETWORK& current)
{
    auto sample = std::make_unique<_ST_NETWORK_OLD_LIST>();
    fgCopyText(sample->l_strIfName, current.l_strIfName);
    fgKeepNetworkCounters(*sample, current);
    sample->l_ulBandWidth = current.l_ulBandWidth;
    sample->l_nDuplexFlag = current.l_nDuplexFlag;
    return sample;
}
} // namespace

struct CMM_NWT_Info::ST_PASS
{
    double l_dElapsed;                   // seconds
    bool l_bPush;                        // the push reader and its header
    bool l_bRows;                        // text output
    bool l_bExtRows;                     // with rows of extension interfaces
    int l_nCounted = 0;                  // interfaces with a record or a row
    _ST_STATIC_NETWORK l_stCurrent = {}; // counters of the interface at hand
};

CMM_NWT_Info::CMM_NWT_Info()
    : m_pclList(new CSSList), m_pclList_Old(new CSSList), m_pclUtil(new CSSUtil), m_pstNextNode(nullptr),
      m_pstNetworkInfo(new _ST_NETWORK{}), m_stOldIoTime{}, m_stOldTarnIoTime{}, m_nIfCnt(0), m_nOcet(0),
      m_nFirstFlag(0), m_strLogMsg{}, m_nInterfaceTAQCnt(0), m_pStrInterfaceTAQ(nullptr),
      m_nInterfaceTAQSize(0), m_nInterfaceINVCnt(0), m_pStrInterfaceINV(nullptr),
      m_pStrInterfaceNewINV(nullptr), m_nInterfaceINVSize(0), m_nInterfaceINVNewSize(0),
      m_pstrInterfaceName(nullptr), m_nInterfaceNameSize(0), m_strDataPath{}, m_strDataNewPath{},
      m_nTAQSkipChk(0), m_pstrNetworkInfo(g_stringNetwork.c_str()), m_pstrNetworkReturn(nullptr),
      m_pclBandwidthList(new CBandwidthList), m_pclNetworkExtList(new CNetworkExtList),
      m_pStrRealTimeNICTAQ(nullptr), m_nInterfaceRealTAQSize(0), m_nGatherCount(0), m_dElapsedTime(0),
      m_nInsertFirst(0), m_clOld(fCMPInterfaceName)
{
    fgSetSeparators(m_strSplit, m_strPushSplit);
    if (g_nInterfaceStrType == 1) fMakeRowBuffers();
    if (g_nLinuxBandwidthFlag == 1)
        fGetNewBandwidthDuplex();
    else
        fGetBandwidth();
    fRestart(m_stOldIoTime);
    fSetElapsedTime();
}

CMM_NWT_Info::~CMM_NWT_Info()
{
    for (CSSList* list : {m_pclList, m_pclList_Old}) {
        list->fSlDeleteAll();
        delete list;
    }
    delete m_pclUtil;
    delete m_pstNetworkInfo;
    delete m_pclBandwidthList;
    delete m_pclNetworkExtList;
    for (char* buffer : {m_pStrInterfaceTAQ, m_pStrRealTimeNICTAQ, m_pStrInterfaceINV, m_pStrInterfaceNewINV,
                         m_pstrInterfaceName})
        free(buffer);
}

// What text output stands on. It may be switched on when the collector is there already. false when there is
// no memory.
bool CMM_NWT_Info::fMakeRowBuffers()
{
    const struct
    {
        char*& l_pstrText;
        int& l_nSize;
    } buffers[] = {{m_pStrRealTimeNICTAQ, m_nInterfaceRealTAQSize},
                   {m_pStrInterfaceINV, m_nInterfaceINVSize},
                   {m_pStrInterfaceNewINV, m_nInterfaceINVNewSize},
                   {m_pstrInterfaceName, m_nInterfaceNameSize},
                   {m_pStrInterfaceTAQ, m_nInterfaceTAQSize}}; // the last: with it all are there
    if (m_pStrInterfaceTAQ != nullptr) return true;
    for (const auto& buffer : buffers)
        if (!fgReserveInventory(buffer.l_pstrText, buffer.l_nSize, TABLE_START_SIZE)) return false;
    if (m_pstrInterfaceName[0] == '\0') m_pstrInterfaceName[0] = '1';
    if (m_strDataPath[0] == '\0') fgCopyText(m_strDataPath, DATA_PATH);
    if (m_strDataNewPath[0] == '\0') fgCopyText(m_strDataNewPath, DATA_NEW_PATH);
    return true;
}

CSSList* CMM_NWT_Info::fMGetNetworkStat()
{
    return fMGetNetworkStat(fRestart(m_stOldIoTime), -1);
}

CSSList* CMM_NWT_Info::fMGetTarnisNetworkStat(int push)
{
    fSetElapsedTime();
    return fMGetNetworkStat(m_dElapsedTime, push);
}

int CMM_NWT_Info::fSetElapsedTime()
{
    m_dElapsedTime = fRestart(m_stOldTarnIoTime);
    return 1;
}

CSSList* CMM_NWT_Info::fMGetNetworkStat(double elapsed, int push)
{
    const bool rows = g_nInterfaceStrType == 1;
    ST_PASS pass{elapsed, push >= 1, rows, rows && push == 0 && g_nNetworkExtGather == 1};
    const bool done = fBegin(pass) && fSample(pass);
    m_clOld.fEnd();
    return done ? fFinish(pass) : nullptr;
}

_ST_NETWORK* CMM_NWT_Info::fMGetNetworkStatNext()
{
    if (m_pstNextNode == nullptr || m_pstNextNode->m_pstNext == nullptr) return nullptr;
    m_pstNextNode = m_pstNextNode->m_pstNext;
    return fgNodeElement<_ST_NETWORK>(m_pstNextNode);
}

int CMM_NWT_Info::fGet_next_netinfo(char* name, char* link, unsigned long long* inPkt,
                                    unsigned long long* outPkt, unsigned long long* inByte,
                                    unsigned long long* outByte, unsigned long long* inErr,
                                    unsigned long long* outErr, unsigned long long* collisions,
                                    unsigned long long* spare, int push)
{
    const auto next = push < 1 ? get_next_netinfo : get_push_next_netinfo;
    return next(name, link, inPkt, outPkt, inByte, outByte, inErr, outErr, collisions, spare);
}

bool CMM_NWT_Info::fBegin(ST_PASS& pass)
{
    m_nInterfaceTAQCnt = 0;
    g_stringNetwork.clear();
    const bool ready = !pass.l_bRows || fMakeRowBuffers();
    if (ready && pass.l_bRows) fWriteHeader(pass.l_bPush);
    m_pstrNetworkInfo = g_stringNetwork.c_str();
    if (!ready) return false;
    if ((pass.l_bPush ? init_push_netinfo() : init_netinfo()) != 0) {
        fgLog(LOG_NETWORK, LOG_ERROR, m_strLogMsg, "init_netinfo failed");
        return false;
    }
    if (pass.l_bRows) return true;
    m_pclList->fSlDeleteAll();
    m_pstNextNode = m_pclList->fSlGetHeadNode(); // never on a node that is gone
    m_clOld.fBegin(*m_pclList_Old);
    return true;
}

// false leaves the reader open: its next pass closes what this one left.
bool CMM_NWT_Info::fSample(ST_PASS& pass)
{
    while (fNext(pass)) {
        const std::string_view name(pass.l_stCurrent.l_strIfName);
        if (name.empty() || name == "lo") continue; // an alias such as "lo:0" is reported
        if (pass.l_bRows)
            fTakeRow(pass);
        else if (!fTakeRecord(pass))
            return false;
    }
    return true;
}

bool CMM_NWT_Info::fNext(ST_PASS& pass)
{
    _ST_STATIC_NETWORK& current = pass.l_stCurrent;
    current = {};
    char name[READ_NAME_SIZE];
    unsigned long long spare = 0;
    if (fGet_next_netinfo(name, current.l_strLinkAlive, &current.l_ulInPkt, &current.l_ulOutPkt,
                          &current.l_ulInByte, &current.l_ulOutByte, &current.l_ulInErr, &current.l_ulOutErr,
                          &current.l_ulCollisions, &spare, pass.l_bPush ? 1 : 0) != 0)
        return false;
    fgCopyText(current.l_strIfName, name);
    return true;
}

// false when there is no memory.
bool CMM_NWT_Info::fTakeRecord(ST_PASS& pass)
{
    if (m_nFirstFlag == 0) fAttachBandwidth(pass.l_stCurrent);
    fMComputeNetwork(&pass.l_stCurrent, pass.l_dElapsed);
    fMSetOldCompNetwork(&pass.l_stCurrent);
    if (m_pclList->fSlInsert(m_pstNetworkInfo, sizeof(*m_pstNetworkInfo), nullptr) == nullptr) return false;
    pass.l_nCounted++;
    return true;
}

void CMM_NWT_Info::fTakeRow(ST_PASS& pass)
{
    _ST_STATIC_NETWORK& current = pass.l_stCurrent;
    if (m_nInsertFirst == 0) fAttachBandwidth(current);
    const int key = static_cast<int>(ELFHash(current.l_strIfName));
    std::unique_ptr<_ST_NETWORK_OLD_LIST>& previous = m_NetworkMap[key];
    const bool isNew = previous == nullptr;
    if (isNew) previous = fNewSample(current); // one that comes after the first pass has no bandwidth
    if (isNew || m_nInsertFirst == 0) return;
    fMNetComputeIo(&current, previous.get(), pass.l_dElapsed);
    fgKeepNetworkCounters(*previous, current);
    const NETWORK_COLUMNS columns = fgNetworkColumns(*m_pstNetworkInfo);
    const int link =
        fLinkAlive(pass.l_bPush ? l_nPushskfd : skfd, current.l_strIfName); // the reader's socket
    fAppendRow(current.l_strIfName, link, &columns);
    if (g_nNetworkExtGather == 1) fMatchNicName(current.l_strIfName);
    pass.l_nCounted++;
}

CSSList* CMM_NWT_Info::fFinish(ST_PASS& pass)
{
    pass.l_bPush ? fin_push_netinfo() : fin_netinfo();
    m_nFirstFlag = m_nInsertFirst = 1;
    if (pass.l_bExtRows) fAddExtNicTAQ();
    m_nIfCnt = pass.l_nCounted;
    m_pstNextNode = m_pclList->fSlGetHeadNode();
    if (!pass.l_bRows || m_nTAQSkipChk != 0) return m_pclList;
    m_nTAQSkipChk = 1;
    m_nInterfaceTAQCnt = 0;
    return nullptr;
}

void CMM_NWT_Info::fAttachBandwidth(_ST_STATIC_NETWORK& current)
{
    constexpr unsigned long long BITS_PER_KILOBIT = 1000;
    const char* ifname = current.l_strIfName;
    const _ST_BANDWIDTH_LIST* node = m_pclBandwidthList->fGetInterfaceNode(ifname);
    if (node == nullptr) {
        fgLog(LOG_NETWORK, LOG_NORMAL, m_strLogMsg, "ifname[%s] bw is null", ifname);
        return;
    }
    current.l_ulBandWidth = static_cast<unsigned long long>(node->m_lBandwidth) * BITS_PER_KILOBIT;
    current.l_nDuplexFlag = static_cast<unsigned>(node->m_nDuplex);
    fgLog(LOG_NETWORK, LOG_NORMAL, m_strLogMsg, "ifname[%s] Band(%lu) Duplex(%d)", ifname,
          static_cast<unsigned long>(current.l_ulBandWidth), node->m_nDuplex);
}

void CMM_NWT_Info::fWriteHeader(bool push)
{
    CTextTable table(m_pStrInterfaceTAQ, m_nInterfaceTAQSize);
    if (push) table.fAppend(PUSH_START_NETWORK, fgAgentKey(), m_strPushSplit[0], m_strPushSplit[1]);
    fgAppendHeader(table, HEADER_NETWORK);
    g_stringNetwork.assign(m_pStrInterfaceTAQ, table.fUsed());
}

// A row, of "-" where there are no values.
void CMM_NWT_Info::fAppendRow(std::string_view name, int link, const NETWORK_COLUMNS* columns)
{
    char text[NETWORK_ROW_SIZE];
    CRowWriter row(text);
    row.fOpen();
    row.fInteger(++m_nInterfaceTAQCnt);
    row.fText(name);
    row.fInteger(link);
    for (size_t i = 0; i < std::tuple_size_v<NETWORK_COLUMNS>; i++)
        columns == nullptr ? row.fText("-") : row.fDecimal((*columns)[i]);
    const std::string_view whole(text, static_cast<size_t>(row.fAt() - text));
    fgReplaceText(m_pStrInterfaceTAQ, static_cast<size_t>(m_nInterfaceTAQSize), whole);
    g_stringNetwork.append(whole);
    m_pstrNetworkInfo = g_stringNetwork.c_str(); // it may have moved
}

int CMM_NWT_Info::fGetLinkAlive(const char* ifname)
{
    const CDescriptor probe(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    return fLinkAlive(probe.fGet(), ifname);
}

int CMM_NWT_Info::fGetBandwidth()
{
    fgDiscoverBandwidthEach(*m_pclBandwidthList, m_strLogMsg);
    return 1;
}

int CMM_NWT_Info::fGetNewBandwidthDuplex()
{
    fgDiscoverBandwidthDuplex(*m_pclBandwidthList, m_strLogMsg);
    return 1;
}

int CMM_NWT_Info::fGetNewBandwidth()
{
    fgDiscoverBandwidth(*m_pclBandwidthList, m_strLogMsg);
    return 1;
}

int CMM_NWT_Info::fGetBondInfo(const char* ifname, char* activeSlave)
{
    return fgGetBondInfo(ifname, activeSlave, BOND_SLAVE_SIZE);
}

int CMM_NWT_Info::fReturnBand(const char* ifname, unsigned long* bandwidth, int* duplex)
{
    const _ST_BANDWIDTH_LIST* node = m_pclBandwidthList->fGetInterfaceNode(ifname);
    if (node == nullptr) {
        fgLog(LOG_NETWORK, LOG_NORMAL, m_strLogMsg, "ifname[%s] bw is null", ifname == nullptr ? "" : ifname);
        return 1;
    }
    *bandwidth = static_cast<unsigned long>(node->m_lBandwidth);
    *duplex = node->m_nDuplex;
    fgLog(LOG_NETWORK, LOG_NORMAL, m_strLogMsg, "fReturnBand ifname[%s] Band[%lu], Duplex[%d]", ifname,
          *bandwidth, *duplex);
    return 1;
}
