#include "driver/RunConfig.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <variant>

#include "lib/FixedText.h"
#include "lib/NStringLib.h"

char g_strHostRoot[HOST_ROOT_SIZE];

COmniLog* g_pclOmniLog;
CCmdScheduler* g_pclCCmdScheduler;
char* g_ptrAgentKey;

char g_strExcludeFilesystem[FILESYSTEM_ROWS][FILESYSTEM_ROW_SIZE];
int g_nExcludeFilesystemCnt;
char g_strTotExcludeFilesystem[FILESYSTEM_ROWS][FILESYSTEM_ROW_SIZE];
int g_nTotExcludeFilesystemCnt;
char g_strIncludeFilesystem[FILESYSTEM_ROWS][FILESYSTEM_ROW_SIZE];
int g_nIncludeFilesystemCnt;
int g_nFsFreeUsedFlag;
int g_nNfsStatusCheckFlag;
int g_nVAGENT_type;
int g_nFSTokenCount;
int g_nFsStatTimeoutSec;
int g_nIPv6Flag;

int g_nProcKeepFdMax;
int g_nGetProcessType;
int g_nGetProcessJAVA;
int g_nExecedFileNameFlag;
int g_nProcExtendFlag;

int g_nCpuStrType;
int g_nCpuUsedInWIO;
int g_nDiskStrType;
int g_nDiskMaxGatherCnt;
int g_nDiskWaitFlag;
int g_nInterfaceStrType;
int g_nLinuxBandwidthFlag;
int g_nNetworkExtGather;
int g_nTmpRealTimeGather;
int g_lBandWidthSet;
int g_nDuplexSet;

int g_nDataBufferSaveMaxSize;

int g_nPrint;
int g_nLogModERROR, g_nLogModNORMAL, g_nLogModDEBUG;
int g_nLoggingERROR1, g_nLoggingERROR2;
int g_nLoggingNORMAL1, g_nLoggingNORMAL2;
int g_nLoggingDEBUG1, g_nLoggingDEBUG2;
char g_strDebugDetail[DEBUG_DETAIL_SIZE];

int g_nAlarmThStatus, g_nAlarmSec, g_nBlockChkFlag, g_nBlockTimeOut, g_nSignalPid;
time_t g_nBlockChkSec;

ST_MEM_USE_ST g_stMemUse;
int g_nCmdSync;

namespace
{
constexpr char AGENT_KEY[] = "agent_key";
constexpr char DEFAULT_EXCLUDES[] =
    "cdrfs,vxodm,procfs,cdfs,ignore,odm,usbdevfs,proc,devpts,none,sysfs,tmpfs,autofs,rpc_piperfs,iso9660,"
    "lustre_lite,subfs,lofs,devfs,mntfs,ctfs,objfs,fd";
constexpr int EXCLUDE_LIST_SIZE = 1024; // work buffer of the split, terminator included

struct ST_CONFIG_ROW
{
    const char* l_strName;
    std::variant<int*, time_t*> l_pValue;
    bool l_bRowCount = false; // counts rows of a list: a larger value would be read past its end
};

const ST_CONFIG_ROW CONFIG_ROWS[] = {
    {"g_nExcludeFilesystemCnt", &g_nExcludeFilesystemCnt, true},
    {"g_nTotExcludeFilesystemCnt", &g_nTotExcludeFilesystemCnt, true},
    {"g_nIncludeFilesystemCnt", &g_nIncludeFilesystemCnt, true},
    {"g_nProcKeepFdMax", &g_nProcKeepFdMax},
    {"g_nGetProcessType", &g_nGetProcessType},
    {"g_nGetProcessJAVA", &g_nGetProcessJAVA},
    {"g_nExecedFileNameFlag", &g_nExecedFileNameFlag},
    {"g_nPrint", &g_nPrint},
    {"g_nIPv6Flag", &g_nIPv6Flag},
    {"g_nFsFreeUsedFlag", &g_nFsFreeUsedFlag},
    {"g_nLinuxBandwidthFlag", &g_nLinuxBandwidthFlag},
    {"g_nNfsStatusCheckFlag", &g_nNfsStatusCheckFlag},
    {"g_nProcExtendFlag", &g_nProcExtendFlag},
    {"g_nDiskMaxGatherCnt", &g_nDiskMaxGatherCnt},
    {"g_nDiskStrType", &g_nDiskStrType},
    {"g_nInterfaceStrType", &g_nInterfaceStrType},
    {"g_nCpuStrType", &g_nCpuStrType},
    {"g_nCpuUsedInWIO", &g_nCpuUsedInWIO},
    {"g_nTmpRealTimeGather", &g_nTmpRealTimeGather},
    {"g_lBandWidthSet", &g_lBandWidthSet},
    {"g_nDuplexSet", &g_nDuplexSet},
    {"g_nDataBufferSaveMaxSize", &g_nDataBufferSaveMaxSize},
    {"g_nDiskWaitFlag", &g_nDiskWaitFlag},
    {"g_nNetworkExtGather", &g_nNetworkExtGather},
    {"g_nVAGENT_type", &g_nVAGENT_type},
    {"g_nFSTokenCount", &g_nFSTokenCount},
    {"g_nFsStatTimeoutSec", &g_nFsStatTimeoutSec},
    {"g_nLogModERROR", &g_nLogModERROR},
    {"g_nLogModNORMAL", &g_nLogModNORMAL},
    {"g_nLogModDEBUG", &g_nLogModDEBUG},
    {"g_nLoggingERROR1", &g_nLoggingERROR1},
    {"g_nLoggingERROR2", &g_nLoggingERROR2},
    {"g_nLoggingNORMAL1", &g_nLoggingNORMAL1},
    {"g_nLoggingNORMAL2", &g_nLoggingNORMAL2},
    {"g_nLoggingDEBUG1", &g_nLoggingDEBUG1},
    {"g_nLoggingDEBUG2", &g_nLoggingDEBUG2},
    {"g_nAlarmThStatus", &g_nAlarmThStatus},
    {"g_nAlarmSec", &g_nAlarmSec},
    {"g_nBlockChkSec", &g_nBlockChkSec},
    {"g_nBlockChkFlag", &g_nBlockChkFlag},
    {"g_nBlockTimeOut", &g_nBlockTimeOut},
    {"g_nSignalPid", &g_nSignalPid},
    {"g_nCmdSync", &g_nCmdSync},
};

void fInitAgentKey()
{
    g_ptrAgentKey = static_cast<char*>(calloc(1, AGENT_KEY_SIZE));
    if (g_ptrAgentKey != nullptr) fgCopyText(g_ptrAgentKey, AGENT_KEY_SIZE, AGENT_KEY);
}
} // namespace

void fgInitRunConfig()
{
    g_nNfsStatusCheckFlag = 0;
    g_nDiskMaxGatherCnt = 50;
    g_nTotExcludeFilesystemCnt = 0;
    g_nTmpRealTimeGather = 0;
    g_lBandWidthSet = 0;
    g_nDuplexSet = 0;
    g_nDiskWaitFlag = 0;
    g_nNetworkExtGather = 0;
    g_nVAGENT_type = 0;
    g_nFSTokenCount = 0;
    fInitAgentKey();
    g_nExcludeFilesystemCnt = fgSetExcludeFilesystem(DEFAULT_EXCLUDES);
    g_nExecedFileNameFlag = 0;
    g_nFsFreeUsedFlag = 0;
    g_nLinuxBandwidthFlag = 1;
    g_nProcExtendFlag = 1;
}

int fgSetExcludeFilesystem(const char* list)
{
    memset(g_strExcludeFilesystem, 0, sizeof(g_strExcludeFilesystem));
    if (list == nullptr || *list == '\0') return 0;
    char work[EXCLUDE_LIST_SIZE];
    fgCopyText(work, list);
    int count = 0;
    char* cursor = nullptr;
    for (char* name = Nstrtok(work, ",", &cursor); name != nullptr; name = Nstrtok(nullptr, ",", &cursor)) {
        fgCopyText(g_strExcludeFilesystem[count], name);
        if (++count > FILESYSTEM_ROWS - 1) {
            fprintf(stderr, "filesystem type list count > 100\n");
            break;
        }
    }
    return count;
}

const char* fgAgentKey()
{
    return g_ptrAgentKey == nullptr ? "" : g_ptrAgentKey;
}

RUN_CONFIG_RESULT fgSetRunConfig(const char* name, long value)
{
    for (const ST_CONFIG_ROW& row : CONFIG_ROWS) {
        if (strcmp(row.l_strName, name) != 0) continue;
        if (row.l_bRowCount && (value < 0 || value > FILESYSTEM_ROWS)) return RUN_CONFIG_OUT_OF_RANGE;
        if (time_t* const* seconds = std::get_if<time_t*>(&row.l_pValue)) {
            **seconds = value;
            return RUN_CONFIG_STORED;
        }
        if (value < INT_MIN || value > INT_MAX) return RUN_CONFIG_OUT_OF_RANGE;
        *std::get<int*>(row.l_pValue) = static_cast<int>(value);
        return RUN_CONFIG_STORED;
    }
    return RUN_CONFIG_UNKNOWN;
}
