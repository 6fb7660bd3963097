#include "collect/MM_CPU_Info.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

#include "driver/RunConfig.h"
#include "lib/FixedText.h"
#include "lib/HostFile.h"
#include "lib/InventoryFile.h"
#include "lib/RowWriter.h"
#include "lib/ScriptOutput.h"
#include "lib/TextTable.h"

namespace
{
constexpr int STAT_SIZE = 0x10000; // bytes of /proc/stat that are read; what lies behind is not seen

constexpr char COMMAND_PHYSICAL[] = "../../utils/ETC/ShCmd 5 ./shell/LINUX/cpu_info > %s 2>&1";
constexpr char FILE_PHYSICAL[] = "../aproc/shell/CpuCntPhysical.dat";
constexpr char INVENTORY_KEY[] = "VELKCPU";
constexpr char COMMAND_INVENTORY[] = "../../utils/ETC/ShCmd 1200 ./libinvinfo 1 %d";
constexpr char COMMAND_INVENTORY_LATER[] = "../../utils/ETC/ShCmd 1200 ./libinvinfo 1 %d&";

// Where each column of a line lands. Kernels before 2.5 have no I/O wait: their nice column is reported as
// I/O wait and as nice, which is kept.
struct ST_CPU_LAYOUT
{
    int l_nColumns;
    CPU_VALUE l_anValue[CPU_VALUES];
};
constexpr ST_CPU_LAYOUT LAYOUT_FIVE{5, {CPU_USER, CPU_NICE, CPU_SYSTEM, CPU_IDLE, CPU_WAIT}};
constexpr ST_CPU_LAYOUT LAYOUT_FOUR{4, {CPU_USER, CPU_WAIT, CPU_SYSTEM, CPU_IDLE, CPU_NICE}};

float fPercent(unsigned long long share)
{
    return static_cast<float>(static_cast<double>(share) / 10.0);
}

float fLimitPercent(float value)
{
    if (value < 0) return 0;
    return value > 100 ? -1.0F : value;
}

ST_CPU_ROW fLimitRow(const ST_CPU_ROW& row)
{
    return {fLimitPercent(row.l_fUsed), fLimitPercent(row.l_fUser), fLimitPercent(row.l_fSystem),
            fLimitPercent(row.l_fWait), fLimitPercent(row.l_fIdle)};
}

float fUsed(const ST_CPU_ROW& row, bool waitIsUsed)
{
    return waitIsUsed ? 100 - row.l_fIdle : 100 - row.l_fIdle - row.l_fWait;
}

constexpr size_t CPU_ROW_SIZE = 6 * (NUMBER_TEXT_SIZE + 4); // bytes, at most

// Writes "CPUS", or "CPU" and the number of a slot, and the percentages.
void fAppendRow(CTextTable& table, int slot, const ST_CPU_ROW& row)
{
    char name[INTEGER_TEXT_SIZE + 4];
    char* end = fgPutText(name, "CPU");
    end = slot == 0 ? fgPutText(end, "S") : fgPutInteger(end, slot);
    char text[CPU_ROW_SIZE];
    CRowWriter writer(text);
    writer.fOpen();
    writer.fText({name, static_cast<size_t>(end - name)});
    for (const float percent : {row.l_fUsed, row.l_fUser, row.l_fSystem, row.l_fWait, row.l_fIdle})
        writer.fDecimal(static_cast<double>(percent));
    table.fReserve(TABLE_ROOM);
    table.fAppendText({text, static_cast<size_t>(writer.fAt() - text)});
}

bool fIsRecord(std::string_view line)
{
    return !fgHasLowerCase(line) && line.find(INVENTORY_KEY) != std::string_view::npos;
}
} // namespace

CMM_CPU_Info::CMM_CPU_Info()
    : m_plOldCPU{}, m_pnCPU{}, m_nNCpu(0), m_nCpuIndex(0), m_plIntr(0), m_pdIntr(0),
      m_pclUtil(new CSSUtil), m_strLogMsg{}, m_nCpuTAQCnt(0), m_pStrCpuTAQ(nullptr), m_nCpuTAQSize(0),
      m_nCpuINVCnt(0), m_pStrCpuINV(nullptr), m_nCpuINVSize(0), m_strDataPath{}, m_nTAQSkipChk(0),
      m_pRealTimeStrCpuTAQ(nullptr), m_nCpuTAQRealSize(0), m_tOldTime(0), m_nGatherCount(0),
      m_pnCpus(nullptr), m_fUsed(-1.0F), m_nLogicalCpuCnt(0), m_nPushCpuCnt(0),
      m_pstrStat(fgNewTableBuffer(STAT_SIZE))
{
    fgSetSeparators(m_strSplit, m_strPushSplit);
    if (g_nCpuStrType != 1) return;
    m_nCpuTAQSize = m_nCpuINVSize = m_nCpuTAQRealSize = TABLE_START_SIZE;
    m_pStrCpuTAQ = fgNewTableBuffer();
    m_pStrCpuINV = fgNewTableBuffer();
    m_pRealTimeStrCpuTAQ = fgNewTableBuffer();
    fgCopyText(m_strDataPath, "../aproc/shell/CpuINVStrInfo.dat");
}

CMM_CPU_Info::~CMM_CPU_Info()
{
    delete m_pclUtil;
    free(m_pStrCpuTAQ);
    free(m_pStrCpuINV);
    free(m_pRealTimeStrCpuTAQ);
    free(m_pstrStat);
}

unsigned long long* CMM_CPU_Info::fMGetCpu()
{
    const char* cursor = fSampleTotal();
    if (cursor == nullptr) return nullptr;
    const bool rows = g_nCpuStrType == 1 && m_pStrCpuTAQ != nullptr;
    std::optional<CTextTable> table;
    if (rows) {
        fgAppendHeader(table.emplace(m_pStrCpuTAQ, m_nCpuTAQSize), HEADER_CPU);
        if (!fAppendTotal(*table)) return nullptr;
        m_nCpuTAQCnt++;
    }
    m_nLogicalCpuCnt = 0;

    int slot = 1;
    for (; slot < CPU_SLOTS && (cursor = strstr(cursor, "cpu")) != nullptr; slot++) {
        unsigned long long counters[CPU_VALUES];
        cursor = fgParseCpuLine(cursor, fMLinux_Minor(), counters);
        m_nLogicalCpuCnt++;
        m_nSlotsUsed++;
        m_pclUtil->fGetCpuPct(CPU_VALUES, m_pnCPU[slot], counters, m_plOldCPU[slot]);
        if (rows) fAppendCpu(*table, slot);
    }
    if (rows && m_nTAQSkipChk == 0) {
        m_nTAQSkipChk = 1;
        m_nCpuTAQCnt = 0;
        return nullptr;
    }
    m_nNCpu = slot - 1;
    m_nCpuIndex = 0;
    return m_pnCPU[0];
}

int CMM_CPU_Info::fMGetNCpu()
{
    if (m_nNCpu == 0 && fMGetCpu() == nullptr) return 0;
    return m_nNCpu;
}

unsigned long long* CMM_CPU_Info::fMGetCpuNext()
{
    if (m_nCpuIndex >= m_nNCpu) return nullptr;
    return m_pnCPU[++m_nCpuIndex];
}

unsigned long long CMM_CPU_Info::fMGetCpuSys()
{
    return m_pnCPU[0][CPU_SYSTEM];
}
unsigned long long CMM_CPU_Info::fMGetCpuUser()
{
    return m_pnCPU[0][CPU_USER];
}
unsigned long long CMM_CPU_Info::fMGetCpuIdle()
{
    return m_pnCPU[0][CPU_IDLE];
}
unsigned long long CMM_CPU_Info::fMGetCpuWio()
{
    return m_pnCPU[0][CPU_WAIT];
}
float CMM_CPU_Info::fGetUtilization()
{
    return m_fUsed;
}
float CMM_CPU_Info::fGetLogicalCpuCnt()
{
    return static_cast<float>(m_nLogicalCpuCnt);
}

double* CMM_CPU_Info::fMGetCpuInterrupt(double elapsed)
{
    long count = 0;
    if (!fReadStat() || !fgParseInterrupts(m_pstrStat, count)) return nullptr;
    if (m_plIntr == 0) m_plIntr = count;
    const auto step = static_cast<unsigned long>(count) - static_cast<unsigned long>(m_plIntr);
    m_pdIntr = count < m_plIntr ? 0 : static_cast<double>(step) / elapsed;
    m_plIntr = count;
    return &m_pdIntr;
}

int CMM_CPU_Info::fMGetPhyCpuCnt()
{
    char line[512];
    fgRunShell(COMMAND_PHYSICAL, FILE_PHYSICAL);
    const size_t length = fgReadFirstLine(FILE_PHYSICAL, line);
    return length <= 2 ? static_cast<int>(strtol(line, nullptr, 10)) : 0;
}

unsigned long long* CMM_CPU_Info::fMGetPushCpu()
{
    m_nPushCpuCnt = 0;
    if (m_pRealTimeStrCpuTAQ == nullptr || fSampleTotal() == nullptr) return nullptr;
    CTextTable table(m_pRealTimeStrCpuTAQ, m_nCpuTAQRealSize);
    table.fAppend("%s%s", PUSH_CODE_CPU, m_strPushSplit[1]);
    fgAppendHeader(table, HEADER_CPU);
    if (!fAppendTotal(table)) return nullptr;
    m_nPushCpuCnt = 1;
    return m_pnCPU[0];
}

unsigned long long* CMM_CPU_Info::fMAltGatherCpu()
{
    return fSampleTotal() == nullptr ? nullptr : m_pnCPU[0];
}

int CMM_CPU_Info::fCpuChangeCheck()
{
    return 1;
}

int CMM_CPU_Info::fCommandINV(int mode)
{
    if (mode == 1) {
        fgRunShell(COMMAND_INVENTORY, 1);
        return 1;
    }
    char command[128];
    snprintf(command, sizeof(command), COMMAND_INVENTORY_LATER, mode);
    return fgSaveInventoryCommand("cpu_inv_1", command, LOG_CPU, m_strLogMsg);
}

int CMM_CPU_Info::fGetCpuINV()
{
    m_nCpuINVCnt = 0;
    std::string record;
    if (m_pStrCpuINV == nullptr ||
        !fgReadInventory(m_strDataPath, fIsRecord, INVENTORY_KEY, LOG_CPU, m_strLogMsg, record))
        return -1;
    const std::string_view table = fgInventoryTable(record);
    if (table.empty()) {
        fgLog(LOG_CPU, LOG_ERROR, m_strLogMsg, "inv not contents");
        return -1;
    }
    if (!fgStoreInventory(table, m_pStrCpuINV, m_nCpuINVSize)) return -1;
    m_nCpuINVCnt = 1;
    return 1;
}

int CMM_CPU_Info::fINVFileRemove()
{
    return remove(m_strDataPath);
}

// A sample fills its first slots; the rest is zero already.
void CMM_CPU_Info::fClearSample()
{
    memset(m_pnCPU, 0, static_cast<size_t>(m_nSlotsUsed) * sizeof(m_pnCPU[0]));
    m_nSlotsUsed = 0;
    m_nCpuTAQCnt = 0;
    m_nNCpu = 0;
}

bool CMM_CPU_Info::fReadStat()
{
    return m_pstrStat != nullptr && fgReadHostFile("/proc/stat", m_pstrStat, STAT_SIZE) > 0;
}

// The line of the total in a fresh text of /proc/stat.
const char* CMM_CPU_Info::fReadTotal()
{
    if (!fReadStat()) {
        fgLog(LOG_CPU, LOG_ERROR, m_strLogMsg, "/proc/stat buff read failed");
        return nullptr;
    }
    const char* line = strstr(m_pstrStat, "cpu ");
    if (line == nullptr) fgLog(LOG_CPU, LOG_ERROR, m_strLogMsg, "cpu read failed");
    return line;
}

// Shares of the total into slot 0; returns where its line ends, or null.
const char* CMM_CPU_Info::fSampleTotal()
{
    fClearSample();
    const char* line = fReadTotal();
    if (line == nullptr) return nullptr;
    unsigned long long counters[CPU_VALUES];
    const char* end = fgParseCpuLine(line, fMLinux_Minor(), counters);
    m_pclUtil->fGetCpuPct(CPU_VALUES, m_pnCPU[0], counters, m_plOldCPU[0]);
    m_nSlotsUsed = 1;
    return end;
}

bool CMM_CPU_Info::fAppendTotal(CTextTable& table)
{
    ST_CPU_ROW row = {};
    if (!fgComputeCpuRow(m_pnCPU[0], g_nCpuUsedInWIO == 1, row)) {
        fgLog(LOG_CPU, LOG_ERROR, m_strLogMsg, "total cpu idle value collect failed");
        return false;
    }
    row = fLimitRow(row);
    m_fUsed = row.l_fUsed;
    fAppendRow(table, 0, row);
    return true;
}

void CMM_CPU_Info::fAppendCpu(CTextTable& table, int slot)
{
    ST_CPU_ROW row = {};
    if (!fgComputeCpuRow(m_pnCPU[slot], g_nCpuUsedInWIO == 1, row)) {
        // Unlike the total's, such a row is written, as an idle CPU.
        fgLog(LOG_CPU, LOG_ERROR, m_strLogMsg, "total cpu idle value collect failed");
        row.l_fIdle = 100;
        row.l_fUsed = fUsed(row, g_nCpuUsedInWIO == 1);
    }
    fAppendRow(table, slot, fLimitRow(row));
    m_nCpuTAQCnt++;
}

const char* fgParseCpuLine(const char* line, int kernelMinor, unsigned long long (&counters)[CPU_VALUES])
{
    const ST_CPU_LAYOUT& layout = kernelMinor >= 5 ? LAYOUT_FIVE : LAYOUT_FOUR;
    const char* cursor = line;
    while (*cursor != '\0' && *cursor != ' ' && *cursor != '\n')
        cursor++;
    CNumberScan scan(cursor);
    for (int column = 0; column < layout.l_nColumns; column++) {
        unsigned long value = 0; // also where the line has no more
        scan.fUnsigned(value);
        counters[layout.l_anValue[column]] = value;
    }
    if (layout.l_nColumns < CPU_VALUES) counters[CPU_NICE] = counters[CPU_WAIT];
    return scan.fAt();
}

bool fgParseInterrupts(const char* stat, long& count)
{
    const char* line = strstr(stat, "intr ");
    if (line == nullptr) return false;
    count = strtol(line + strlen("intr "), nullptr, 10);
    return true;
}

bool fgComputeCpuRow(const unsigned long long (&shares)[CPU_VALUES], bool waitIsUsed, ST_CPU_ROW& row)
{
    row.l_fUser = fPercent(shares[CPU_USER]);
    row.l_fSystem = fPercent(shares[CPU_SYSTEM]);
    row.l_fWait = fPercent(shares[CPU_WAIT]);
    row.l_fIdle = fPercent(shares[CPU_IDLE]);
    row.l_fUsed = fUsed(row, waitIsUsed);
    return row.l_fIdle >= 0 && row.l_fIdle <= 100;
}
