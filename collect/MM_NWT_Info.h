#pragma once

#include <array>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <sys/time.h>

#include "collect/BandwidthList.h"
#include "collect/MM_INIT_Info.h"
#include "collect/NetworkExtList.h"
#include "collect/SSList.h"
#include "collect/SSUtil.h"
#include "collect/SampleIndex.h"
#include "lib/LogGate.h"

constexpr size_t NETWORK_NAME_SIZE = 128; // bytes of an interface's name in a record, terminator included
constexpr size_t NETWORK_LINK_SIZE = 16;  // bytes of the link word, terminator included
// What exceeds these shows as -1 in a row. The second is 12 Gbit/s, kept for faster interfaces as well.
constexpr double NETWORK_PACKET_LIMIT = 1e9;       // packets per second
constexpr double NETWORK_KILOBYTE_LIMIT = 1500000; // KB per second

// Text output. A row has the same columns behind the row separator, each followed by the field separator:
// numbers with two decimals, "-" where the counters are not there.
constexpr char HEADER_NETWORK[] = "INDEX%sNAME%sLINK%sINPKT%sOUTPKT%sINBYTE%sOUTBYTE%sINERR%sOUTERR%s"
                                  "INERRRATE%sOUTERRRATE%sCOLLISION%sCOLLISIONRATE%sRATE%sRXRATE%sTXRATE%s";
constexpr char PUSH_START_NETWORK[] = "%s%s4.6.7.0%s"; // agent key, push row, push field; the header follows

using NETWORK_COLUMNS = std::array<double, 13>; // the values of a row, INPKT to TXRATE

// One interface's counters as the kernel gives them, since the interface was made.
struct _ST_STATIC_NETWORK
{
    char l_strIfName[NETWORK_NAME_SIZE];
    char l_strLinkAlive[NETWORK_LINK_SIZE]; // the reader's word, "LINKUP" whatever the link's state
    unsigned long long l_ulInPkt, l_ulOutPkt;
    unsigned long long l_ulInByte, l_ulOutByte;
    unsigned long long l_ulInErr, l_ulOutErr;
    unsigned long long l_ulCollisions;
    unsigned long long l_ulBandWidth; // bits per second; 0: not known
    unsigned int l_nDuplexFlag;       // DUPLEX_CODE_HALF: both directions share the bandwidth
};

// Previous sample of one interface in text output.
struct _ST_NETWORK_OLD_LIST : _ST_STATIC_NETWORK
{};

// One interface's result.
struct _ST_NETWORK
{
    char l_strIfName[NETWORK_NAME_SIZE];
    char l_strLinkAlive[NETWORK_LINK_SIZE];
    double l_dInPkt, l_dOutPkt;         // packets per second
    double l_dInByte, l_dOutByte;       // bytes per second
    double l_dInErr, l_dOutErr;         // errors per second
    double l_dInErrRate, l_dOutErrRate; // percent; 0 in practice: see fgComputeNetwork
    double l_dCollisions;               // per second
    double l_dCollisionRate;            // collisions a packet; 0 in practice
    // Percent of the bandwidth: the busier direction (of half duplex both together), in, out. -1: the
    // bandwidth is not known.
    double l_dPortRate, l_dPortRxRate, l_dPortTxRate;
};

// Packets, bytes, errors and port use per second of each network interface but "lo"; their bandwidth; the
// interface inventory. With g_nInterfaceStrType 1 a pass builds a text table, else a list of records. One
// caller thread per object, and of all objects together one thread for passes of the regular reader and one
// for those of the push reader: see collect/network.h, also for the network namespace that is seen.
class CMM_NWT_Info : public CMM_INIT_Info
{
public:
    // Finds the bandwidth of the interfaces, for which scripts run: fGetNewBandwidthDuplex with
    // g_nLinuxBandwidthFlag 1, else fGetBandwidth.
    CMM_NWT_Info();
    ~CMM_NWT_Info();

    // A pass of the regular reader over the time since the call before, or since the collector was made.
    CSSList* fMGetNetworkStat();
    // A pass over the time between calls of this function and fSetElapsedTime; push as below.
    CSSList* fMGetTarnisNetworkStat(int push);
    // One pass over the kernel's interface counters. Rates are over elapsed seconds, which are taken as they
    // are, also 0 and below. push of 1 or more takes the push reader.
    // - List output: a record of each interface in m_pclList, all rates 0 for an interface seen first.
    //   fMGetNetworkStatNext walks the list.
    // - Text output: the table m_pstrNetworkInfo of m_nInterfaceTAQCnt rows. The list is left as it was,
    //   empty unless records were asked for before. An interface has a row from the second pass that sees it
    //   on. push of 1 or more gives the push form's header. push of exactly 0, with g_nNetworkExtGather 1,
    //   adds rows for the interfaces of the inventory that no pass has reported; -1, which
    //   fMGetNetworkStat() passes, never does, on purpose.
    // Null: the first pass of text output, whose counts stay 0; the counters cannot be opened (an error line
    // is written; the text is the header alone, the list and m_nIfCnt are those of the pass before); no
    // memory. The list stays the collector's, until the next pass.
    CSSList* fMGetNetworkStat(double elapsed, int push);

    // The next record of m_pclList, whose cursor every pass that returns it puts in front of the first; null
    // behind the last, also when asked again.
    _ST_NETWORK* fMGetNetworkStatNext();

    // m_dElapsedTime: seconds since the call before, or since the collector was made. 1.
    int fSetElapsedTime();

    // The next interface of the open reader, the push reader for push of 1 or more: get_next_netinfo. name
    // has 16 bytes or more, link NETWORK_LINK_SIZE, zeroed. 0, or -1 at the end.
    int fGet_next_netinfo(char* name, char* link, unsigned long long* inPkt, unsigned long long* outPkt,
                          unsigned long long* inByte, unsigned long long* outByte, unsigned long long* inErr,
                          unsigned long long* outErr, unsigned long long* collisions,
                          unsigned long long* spare, int push);

    // Rates of the counters over elapsed seconds in m_pstNetworkInfo, which is returned: against the stored
    // sample of that name in m_pclList_Old, or against the one given (null: none). See fgComputeNetwork.
    _ST_NETWORK* fMComputeNetwork(const _ST_STATIC_NETWORK* current, double elapsed);
    _ST_NETWORK* fMNetComputeIo(const _ST_STATIC_NETWORK* current, const _ST_NETWORK_OLD_LIST* previous,
                                double elapsed);

    // The stored sample of that name in m_pclList_Old; null for none. It stays the collector's.
    _ST_STATIC_NETWORK* fMGetOldCompNetwork(const _ST_STATIC_NETWORK* current);
    // Stores the seven counters in the stored sample of that name, whose bandwidth and duplex stay; without
    // one, a copy of the whole. 1; 0 when there is no memory.
    int fMSetOldCompNetwork(const _ST_STATIC_NETWORK* current);

    // 1 when the interface is up, and when that cannot be found out; 0 when it is down. Up is what "ip link
    // set up" makes of it (IFF_UP), not that a cable is in. The name is cut at 15 characters.
    int fGetLinkAlive(const char* ifname);

    // Find the bandwidth of the interfaces by scripts and add them to m_pclBandwidthList: see
    // collect/BandwidthDiscovery.h for each. 1.
    int fGetBandwidth();
    int fGetNewBandwidthDuplex();
    int fGetNewBandwidth();
    // Writes the name of a bond's active slave into activeSlave, of BOND_SLAVE_SIZE bytes: fgGetBondInfo. 1,
    // or -1.
    int fGetBondInfo(const char* ifname, char* activeSlave);
    // Stores an interface's bandwidth in kilobits per second and its duplex code; leaves both as they are
    // when they are not known. 1.
    int fReturnBand(const char* ifname, unsigned long* bandwidth, int* duplex);

    // Has the interface inventory written by the command scheduler; the number is handed to the command. 1,
    // or -1 when the scheduler is missing or refuses.
    int fCommandINV(int number);
    // Read the inventory file m_strDataPath or m_strDataNewPath into m_pStrInterfaceINV or
    // m_pStrInterfaceNewINV: what follows the first "|" of its record, the first line with a lower-case
    // letter. With g_nNetworkExtGather 1 that also makes the extension interfaces. 1; -1 when there is no
    // inventory (an error line says why).
    int fGetInterfaceINV();
    int fGetInterfaceNewINV();
    // Compares the record of the file m_strDataPath with the one it was called with before, and keeps it. 1
    // when it differs; 0 when not, and for the first one; -1 when there is none or no memory.
    int fInterfaceChangeCheck();
    // Removes both inventory files; the result of removing the second: 0, or -1 with errno set.
    int fINVFileRemove();

    // Makes the extension interfaces anew from an inventory's table: the second column of each row. 0.
    int fSetExtNetwork(const char* table);
    // Notes that the counters have reported an interface, which then has no extension row any more until
    // the inventory is read again, on purpose. 0.
    int fMatchNicName(const char* ifname);
    // Appends a row with the link state for each extension interface not noted. 0.
    int fAddExtNicTAQ();

    CSSList* m_pclList;     // records of the last pass
    CSSList* m_pclList_Old; // previous samples, list output
    CSSUtil* m_pclUtil;
    ST_SSNODE_T* m_pstNextNode;    // cursor of fMGetNetworkStatNext
    _ST_NETWORK* m_pstNetworkInfo; // result of the last computation
    timeval m_stOldIoTime;         // of the previous fMGetNetworkStat()
    timeval m_stOldTarnIoTime;     // of the previous fSetElapsedTime
    int m_nIfCnt;                  // interfaces with a record or a row of their counters in the last pass
    int m_nOcet;                   // kept for the agent
    int m_nFirstFlag;              // 0 until the first pass has ended
    char m_strLogMsg[LOG_SCRATCH_SIZE];
    char m_strSplit[2][4];
    char m_strPushSplit[2][4];
    int m_nInterfaceTAQCnt;   // rows of the last pass; 0, and no table, after one for records
    char* m_pStrInterfaceTAQ; // the header or row written last
    int m_nInterfaceTAQSize;
    int m_nInterfaceINVCnt;   // 1 when the last read took an inventory
    char* m_pStrInterfaceINV; // the inventories, from malloc
    char* m_pStrInterfaceNewINV;
    int m_nInterfaceINVSize;
    int m_nInterfaceINVNewSize;
    char* m_pstrInterfaceName; // the inventory record seen last; "1" before
    int m_nInterfaceNameSize;
    // Empty until there is text output, which leaves alone what the caller has set.
    char m_strDataPath[512];
    char m_strDataNewPath[512];
    int m_nTAQSkipChk;             // 0 until the first text pass has returned
    std::string g_stringNetwork;   // the table
    const char* m_pstrNetworkInfo; // its text; never null, valid until the next pass
    char* m_pstrNetworkReturn;     // kept for the agent, null
    CBandwidthList* m_pclBandwidthList;
    CNetworkExtList* m_pclNetworkExtList;
    char* m_pStrRealTimeNICTAQ; // kept for the agent
    int m_nInterfaceRealTAQSize;
    int m_nGatherCount;    // kept for the agent
    double m_dElapsedTime; // seconds, of the last fSetElapsedTime; since the epoch before the first
    // Previous samples, text output, by ELFHash of the name.
    std::map<int, std::unique_ptr<_ST_NETWORK_OLD_LIST>> m_NetworkMap;
    int m_nInsertFirst; // 0 until the first pass has ended

private:
    struct ST_PASS;
    bool fMakeRowBuffers();
    bool fBegin(ST_PASS& pass);
    bool fSample(ST_PASS& pass);
    bool fNext(ST_PASS& pass);
    bool fTakeRecord(ST_PASS& pass);
    void fTakeRow(ST_PASS& pass);
    CSSList* fFinish(ST_PASS& pass);
    void fAttachBandwidth(_ST_STATIC_NETWORK& current);
    void fWriteHeader(bool push);
    void fAppendRow(std::string_view name, int link, const NETWORK_COLUMNS* columns);
    _ST_NETWORK* fCompute(const _ST_STATIC_NETWORK& current, const _ST_STATIC_NETWORK* previous,
                          double elapsed);
    void fTraceSteps(const _ST_STATIC_NETWORK& current, const _ST_STATIC_NETWORK& previous);
    bool fReadRecord(const char* path, std::string& record);
    int fReadInventory(const char* path, char*& buffer, int& size);

    CSampleIndex<_ST_STATIC_NETWORK, &_ST_STATIC_NETWORK::l_strIfName> m_clOld; // of m_pclList_Old
};

// Match of two records that begin with an interface's name, for CSSList: 1 when the names are equal, else 0.
int fCMPInterfaceName(const void* first, const void* second);

// Step of a packet or byte counter. One that fell is taken to have wrapped at 32 bits, on purpose also where
// the kernel counts in 64: an interface that was made anew then gives a step, and a rate, far too large.
unsigned long long fgTrafficStep(unsigned long long current, unsigned long long previous);

// The thirteen values of result from the step between two samples. Names are left alone.
// - Errors and collisions that fell give an enormous rate.
// - Error and collision rates are of the counters since the interface was made, in whole numbers, so 0 in
//   practice; kept.
// - The port rates reckon with the bandwidth and duplex of the previous sample. A direction without traffic
//   counts as one byte there, so a link that idles shows a tiny rate and not 0.
void fgComputeNetwork(_ST_NETWORK& result, const _ST_STATIC_NETWORK& current,
                      const _ST_STATIC_NETWORK& previous, double elapsed);

// Takes the seven counters of a sample over into a stored one.
void fgKeepNetworkCounters(_ST_STATIC_NETWORK& stored, const _ST_STATIC_NETWORK& current);

// The values of a row: bytes as KB of 1024 bytes, what is below 0 as 0, and -1 for what exceeds its limit
// (packets, KB, percent). What is not known in the record, -1, so shows as 0.
NETWORK_COLUMNS fgNetworkColumns(const _ST_NETWORK& interface);
