#include "collect/MM_PROC_Info.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <span>

#include "collect/MM_CPU_Info.h"
#include "driver/RunConfig.h"
#include "lib/FixedText.h"
#include "lib/HostFile.h"
#include "lib/NumberText.h"
#include "lib/PlainNumbers.h"
#include "lib/ScriptOutput.h"
#include "lib/TextTable.h"

namespace
{
constexpr double FIRST_INTERVAL = 1e9; // seconds that the first pass is taken to cover
constexpr long CONSOLE_FLUSH = 4096;   // bytes of lines for people that are handed to stdio at once
constexpr long TICKS_PER_SECOND = 100; // USER_HZ of every Linux that this runs on

constexpr char COMMAND_LIST[] = "../../utils/ETC/ShCmd 5 ./shell/LINUX/PSInfoLIN.sh > %s";
constexpr char FILE_LIST[] = "../aproc/shell/PSInfoLin.dat";
constexpr char COMMAND_TOP[] = "../../utils/ETC/ShCmd 5 ./shell/LINUX/top_info > ../aproc/shell/top_info.dat";
constexpr char COMMAND_SHARE[] = "../../utils/ETC/ShCmd 5 ./shell/LINUX/ProcCpuUseTop.sh %d > %s 2>&1";
constexpr char FILE_SHARE[] = "../aproc/shell/ProcessPCPU.dat";
constexpr char FILE_VIRTUAL[] = "../aproc/shell/vmware_proc.dat";
constexpr char FILE_VIRTUAL_OTHER[] = "../aproc/shell/vmware_proc.dat_";

// Columns of stat behind the name, in their order, as runs of one type (fs/proc/array.c).
constexpr int proc_s::*STAT_IDS[] = {&proc_s::ppid, &proc_s::pgrp, &proc_s::session, &proc_s::tty,
                                     &proc_s::tpgid};
constexpr unsigned long proc_s::*STAT_FAULTS[] = {&proc_s::flags, &proc_s::min_flt, &proc_s::cmin_flt,
                                                  &proc_s::maj_flt, &proc_s::cmaj_flt};
constexpr long proc_s::*STAT_TIMES[] = {&proc_s::utime, &proc_s::stime, &proc_s::cutime, &proc_s::cstime};
constexpr int proc_s::*STAT_PRIORITIES[] = {&proc_s::priority, &proc_s::nice};
constexpr unsigned long proc_s::*STAT_THREADS[] = {&proc_s::num_threads, &proc_s::it_real_value};
constexpr long proc_s::*STAT_START[] = {&proc_s::start_time};
constexpr unsigned long proc_s::*STAT_MEMORY[] = {
    &proc_s::vsize,    &proc_s::rss,         &proc_s::rss_rlim, &proc_s::start_code,
    &proc_s::end_code, &proc_s::start_stack, &proc_s::kstk_esp, &proc_s::kstk_eip};
constexpr long long proc_s::*STAT_SIGNALS[] = {&proc_s::signal, &proc_s::blocked, &proc_s::sigignore,
                                               &proc_s::sigcatch};
constexpr unsigned long proc_s::*STAT_WAIT[] = {&proc_s::wchan};

constexpr long proc_s::*STATM_PAGES[] = {&proc_s::size, &proc_s::resident, &proc_s::share, &proc_s::trs,
                                         &proc_s::lrs,  &proc_s::drs,      &proc_s::dt};

// Takes numbers into fields, one after another, by a method of the scan.
template <auto TAKE, class TValue, class TField, size_t N>
bool fTake(CNumberScan& scan, proc_s& work, TField proc_s::*const (&fields)[N])
{
    for (TField proc_s::*field : fields) {
        TValue value = 0;
        if (!(scan.*TAKE)(value)) return false;
        work.*field = static_cast<TField>(value);
    }
    return true;
}

template <class TField, size_t N>
bool fTakeLongs(CNumberScan& scan, proc_s& work, TField proc_s::*const (&fields)[N])
{
    return fTake<&CNumberScan::fLong, long>(scan, work, fields); // "%ld", and "%d" narrowed
}

template <size_t N>
bool fTakeUnsigned(CNumberScan& scan, proc_s& work, unsigned long proc_s::*const (&fields)[N])
{
    return fTake<&CNumberScan::fUnsigned, unsigned long>(scan, work, fields);
}

// The name of a stat text that ends before its ")", "7 (sh"; null when the text is not of that form. A
// nameless process is refused.
const char* fScanFront(const char* text, int& pid)
{
    CNumberScan scan(text);
    if (!scan.fInt(pid)) return nullptr;
    scan.fSkipBlanks();
    const char* name = scan.fAt();
    return *name == '(' && name[1] != '\0' ? name + 1 : nullptr;
}

// Takes what rows show of stat and statm, for which the name's end is cut off; false for a text that the
// methods for whole records refuse, too.
bool fTakeForRow(ST_PROC_TEXTS& texts, proc_s& work)
{
    char* const close = texts.l_pstrNameEnd;
    if (close == nullptr || close[1] == '\0') return false;
    *close = '\0';
    return fScanFront(texts.l_pstrStat, work.pid) != nullptr && fgParseProcRowStat(close + 2, work) &&
           CNumberScan(texts.l_pstrStatm).fSkip(static_cast<int>(std::size(STATM_PAGES)));
}

// The number that a text begins with, as strtol reads it.
int fNumber(const char* text)
{
    int number = 0;
    CNumberScan(text).fInt(number);
    return number;
}

// Puts the command line as one text, or the bracketed name; returns its length. name has PROC_NAME_SIZE
// bytes.
size_t fCommandText(const ST_PROC_TEXTS& texts, char* name)
{
    if (texts.l_nCommand == 0) return fgPutStatusName(name, texts.l_pstrStatus);
    memcpy(name, texts.l_pstrCommand, texts.l_nCommand);
    for (char& byte : std::span(name, texts.l_nCommand))
        byte = byte == '\0' ? ' ' : byte; // a store for every byte, so that the loop is done in wide steps
    return texts.l_nCommand;
}

// Takes "read_bytes: 4096" of io, or "write_bytes: 4096", from a line whose first "_" stands at mark; a line
// that holds "cancelled_" would land in io_write. Returns the end of the line.
const char* fTakeIoLine(const char* line, const char* mark, proc_s& work)
{
    const char* const end = strchrnul(mark, '\n');
    const std::string_view text(line, static_cast<size_t>(end - line));
    const auto has = [text](std::string_view key) { return text.find(key) != std::string_view::npos; };
    long value = 0;
    unsigned long long* counter = nullptr; // of a line as the kernel writes it
    if (text.starts_with("read_bytes: ")) counter = &work.io_read;
    if (text.starts_with("write_bytes: ")) counter = &work.io_write;
    if (counter != nullptr) {
        CNumberScan number(mark + strlen("_bytes: "));
        if (number.fLong(value) && number.fAt() == end) {
            *counter = static_cast<unsigned long long>(value);
            return end;
        }
    }
    if (text.starts_with("cancelled_") || has("cancelled_")) return end;
    const bool isRead = has("read_bytes");
    if (!isRead && !has("write_bytes:")) return end;
    CNumberScan scan(line);
    if (scan.fWord() && scan.fLong(value) && scan.fAt() <= end)
        (isRead ? work.io_read : work.io_write) = static_cast<unsigned long long>(value);
    return end;
}

// Ends the text before its trailing blanks; returns the new length.
size_t fTrimBlanks(char* text, size_t length)
{
    while (length > 0 && text[length - 1] == ' ')
        text[--length] = '\0';
    return length;
}

// A share of one CPU in percent; a count that fell, as when a pid is used again, counts as a whole.
double fShare(int current, int old, double elapsed)
{
    const int step = static_cast<int>(static_cast<unsigned>(current) - static_cast<unsigned>(old));
    return static_cast<double>(step < 0 ? current : step) / elapsed * 100;
}

template <class T> void fRaiseToZero(T& value)
{
    if (value < 0) value = 0;
}

// Zeroes a record for the next process. Of the command line only the bytes in use are not zero already;
// zeroing all of its 10 KB for each process would cost as much as reading it.
void fClearProcess(_ST_PROC& process, size_t used)
{
    memset(process.l_strPname, 0, used);
    memset(process.l_strUname, 0, sizeof(process) - offsetof(_ST_PROC, l_strUname));
}

// A column of a row, each followed by the field separator. One loop over a table writes them all: it keeps
// the code of a pass small, and its place in the processor's caches is what a pass loses with each call into
// the kernel.
enum COLUMN_KIND
{
    COLUMN_INT,
    COLUMN_SIZE,  // an unsigned long that is printed narrowed to int
    COLUMN_TICKS, // clock ticks that are printed as whole seconds
    COLUMN_CHAR,
    COLUMN_TEXT,
    COLUMN_FLOAT, // percent, two decimals
    COLUMN_DOUBLE
};
struct ST_COLUMN
{
    COLUMN_KIND l_nKind;
    size_t l_nOffset;
};

// Every layout begins with these, behind INDEX.
constexpr ST_COLUMN COLUMNS_BASE[] = {
    {COLUMN_INT, offsetof(_ST_PROC, l_nPid)},      {COLUMN_TEXT, offsetof(_ST_PROC, l_strPname)},
    {COLUMN_FLOAT, offsetof(_ST_PROC, l_dPCPU)},   {COLUMN_FLOAT, offsetof(_ST_PROC, l_dPMEM)},
    {COLUMN_SIZE, offsetof(_ST_PROC, l_ulVSZ)},    {COLUMN_SIZE, offsetof(_ST_PROC, l_ulRSS)},
    {COLUMN_CHAR, offsetof(_ST_PROC, l_chStatus)}, {COLUMN_INT, offsetof(_ST_PROC, l_nNice)},
    {COLUMN_INT, offsetof(_ST_PROC, l_nPPid)},     {COLUMN_TEXT, offsetof(_ST_PROC, l_strUname)},
    {COLUMN_INT, offsetof(_ST_PROC, l_nStart)},    {COLUMN_TICKS, offsetof(_ST_PROC, l_nCTime)},
    {COLUMN_INT, offsetof(_ST_PROC, l_nThreads)},
};
constexpr ST_COLUMN COLUMNS_FILE[] = {{COLUMN_TEXT, offsetof(_ST_PROC, l_strFName)}};
constexpr ST_COLUMN COLUMNS_EXTENDED[] = {
    {COLUMN_INT, offsetof(_ST_PROC, l_uPSid)},          {COLUMN_INT, offsetof(_ST_PROC, l_nPriority)},
    {COLUMN_DOUBLE, offsetof(_ST_PROC, l_dPUserCpu)},   {COLUMN_DOUBLE, offsetof(_ST_PROC, l_dPSysCpu)},
    {COLUMN_DOUBLE, offsetof(_ST_PROC, l_dIOByteCom)},  {COLUMN_DOUBLE, offsetof(_ST_PROC, l_dIOByte)},
    {COLUMN_DOUBLE, offsetof(_ST_PROC, l_dIOByteRate)},
};

struct ST_LAYOUT
{
    const char* l_strHeader;
    std::span<const ST_COLUMN> l_stBase;
    std::span<const ST_COLUMN> l_stMore;
};
constexpr ST_LAYOUT LAYOUTS[] = {
    {"", {}, {}}, // PROC_LAYOUT_NONE
    {HEADER_PROC, COLUMNS_BASE, {}},
    {HEADER_PROC_FILE, COLUMNS_BASE, COLUMNS_FILE},
    {HEADER_PROC_EXTENDED, COLUMNS_BASE, COLUMNS_EXTENDED},
};

template <class T> T fValueAt(const char* from)
{
    T value;
    memcpy(&value, from, sizeof(value));
    return value;
}

char* fPutColumn(char* to, COLUMN_KIND kind, const char* from)
{
    switch (kind) {
    case COLUMN_INT:
        return fgPutInteger(to, fValueAt<int>(from));
    case COLUMN_SIZE:
        return fgPutInteger(to, static_cast<int>(fValueAt<unsigned long>(from)));
    case COLUMN_TICKS:
        return fgPutInteger(to, fValueAt<int>(from) / static_cast<int>(TICKS_PER_SECOND));
    case COLUMN_CHAR:
        *to = *from;
        return to + 1;
    case COLUMN_TEXT:
        return fgPutText(to, from);
    case COLUMN_FLOAT:
        return fgPutFixed<2>(to, fValueAt<float>(from));
    default:
        return fgPutFixed<2>(to, fValueAt<double>(from));
    }
}

char* fPutColumns(char* to, std::span<const ST_COLUMN> columns, const _ST_PROC& process)
{
    const char* record = reinterpret_cast<const char*>(&process);
    for (const ST_COLUMN& column : columns)
        to = fgPutText(fPutColumn(to, column.l_nKind, record + column.l_nOffset), SEPARATOR_FIELD);
    return to;
}
} // namespace

struct CMM_PROC_Info::ST_PASS
{
    ST_PASS(char*& text, int& size) : l_clTable(text, size) {}
    CTextTable l_clTable;
    CProcBatch l_clBatch;
    PROC_LAYOUT l_nLayout = PROC_LAYOUT_NONE;
    double l_dElapsed = 0;             // hundredths of a second
    unsigned long l_ulTotalMemory = 0; // KB
    proc_s l_stWork = {};
    _ST_PROC l_stProcess = {};
    size_t l_nNameUsed = 0;  // bytes of its command line
    bool l_bJava = false;    // the correction of "java" is on
    bool l_bTopDone = false; // the snapshot for it has been taken
    bool l_bConsole = false; // rows are printed for people as well
    int l_nCount = 0;
    CProcMap::iterator l_itNext; // where the next pid's previous sample is tried first
    char l_strRow[PROC_ROW_SIZE];
    char* l_pstrConsole = l_strConsole; // end of the lines that wait for standard output
    char l_strConsole[CONSOLE_FLUSH + PROC_ROW_SIZE];

    void fFlushConsole()
    {
        fwrite(l_strConsole, 1, static_cast<size_t>(l_pstrConsole - l_strConsole), stdout);
        l_pstrConsole = l_strConsole;
    }
};

CMM_PROC_Info::CMM_PROC_Info()
    : m_pclUser(new CSSUser), m_pclUtil(new CSSUtil), m_pstrProcessInfo(fgNewTableBuffer()),
      m_nProcessInfoBufSize(TABLE_START_SIZE), m_nNProc(0), m_nCpuCnt(CMM_CPU_Info().fMGetNCpu()),
      m_nVMFlag(0), m_nIsVMWare(0), m_tTime(0), m_strUpTime{}, m_nInsertFirst(0), m_nNewCount(0),
      m_pstrPollProcInfo(nullptr), m_pstrProcReturn(nullptr), m_stLastTime{}, m_strPushSplit{},
      m_nActiveSize(0), m_strLogMsg{}
{}

CMM_PROC_Info::~CMM_PROC_Info()
{
    delete m_pclUser;
    delete m_pclUtil;
    free(m_pstrProcessInfo);
}

char* CMM_PROC_Info::fMGetProc(int)
{
    const COwnedDir proc = fOpenProc();
    const double elapsed = fMGetTimeDiff();
    const unsigned long totalMemory = fMGetSysTotMem();
    m_tTime = time(nullptr);
    fReadUpTime();
    if (proc == nullptr || m_pstrProcessInfo == nullptr) return nullptr;
    const std::unique_ptr<ST_PASS> pass(new (std::nothrow) ST_PASS(m_pstrProcessInfo, m_nProcessInfoBufSize));
    if (pass == nullptr) return nullptr;
    fgLog(LOG_PROC, LOG_NORMAL, m_strLogMsg, "MinorNum[%d]GtrProcType[%d]GtrJavaProc[%d]", fMLinux_Minor(),
          g_nGetProcessType, g_nGetProcessJAVA);
    pass->l_nLayout = fgProcLayout(g_nExecedFileNameFlag, g_nProcExtendFlag);
    pass->l_dElapsed = elapsed;
    pass->l_ulTotalMemory = totalMemory;
    pass->l_bJava = fMLinux_Minor() == 4 && g_nGetProcessJAVA == 1;
    pass->l_bConsole = pass->l_nLayout == PROC_LAYOUT_EXTENDED && m_nNewCount > 0;
    fgAppendHeader(pass->l_clTable, LAYOUTS[pass->l_nLayout].l_strHeader);

    const bool isListed = fMLinux_Minor() == 4 && g_nGetProcessType == 1;
    const int keepMost = isListed ? 0 : g_nProcKeepFdMax; // a list has any order
    if (keepMost > 0) fProcMapUpdate();
    pass->l_itNext = m_ProcMap.begin();
    m_pitNext = &pass->l_itNext;
    m_clFiles.fBegin(dirfd(proc.get()), keepMost);
    if (isListed)
        fGatherListed(*pass);
    else
        fGatherAll(*pass, proc.get());
    m_clFiles.fEnd();
    m_pitNext = nullptr;
    if (m_clFiles.fRanOut()) fMarkSamples(1); // those of processes that could not be read
    if (keepMost > 0) fProcMapErase();        // and leaves the marks: the caller may erase as well
    pass->fFlushConsole();
    m_nNewCount = 1;
    if (m_nVMFlag == 1 && m_nIsVMWare == 1) fAppendVirtual(*pass);

    m_nNProc = pass->l_nCount;
    if (m_nNProc == 0) return nullptr;
    m_nInsertFirst = 1;
    return m_pstrProcessInfo;
}

// A pass wants one more descriptor, for one file after another. Kept ones make room when there is none left.
COwnedDir CMM_PROC_Info::fOpenProc()
{
    COwnedDir proc = fgOpenHostDir("/proc");
    if (proc != nullptr && CDescriptor(fcntl(dirfd(proc.get()), F_DUPFD_CLOEXEC, 0))) return proc;
    if (fCloseKeptFiles() > 0 && proc == nullptr) proc = fgOpenHostDir("/proc");
    return proc;
}

int CMM_PROC_Info::fMGetNProcs()
{
    return m_nNProc;
}

char* CMM_PROC_Info::fGetProcInfo()
{
    return m_pstrProcessInfo;
}

void CMM_PROC_Info::fSetVMFlag(int vmFlag, int isVMWare)
{
    m_nVMFlag = vmFlag;
    m_nIsVMWare = isVMWare;
}

// Seconds since boot, up to the first "." of /proc/uptime; the last value stays when it cannot be read.
void CMM_PROC_Info::fReadUpTime()
{
    char text[128];
    if (fgReadHostFile("/proc/uptime", text, sizeof(text)) <= 0) return;
    std::string_view line(text);
    line = line.substr(0, line.find('\n'));
    const size_t point = line.find('.');
    if (point != std::string_view::npos) fgCopyText(m_strUpTime, line.substr(0, point));
}

void CMM_PROC_Info::fGatherAll(ST_PASS& pass, DIR* proc)
{
    while (const dirent* entry = readdir(proc))
        if (entry->d_name[0] >= '0' && entry->d_name[0] <= '9') fGatherPid(pass, fNumber(entry->d_name));
    fFinishBatch(pass);
}

void CMM_PROC_Info::fGatherListed(ST_PASS& pass)
{
    fgRunShell(COMMAND_LIST, FILE_LIST);
    const COwnedStream list(fopen(FILE_LIST, "re"));
    char line[64];
    while (list != nullptr && fgets(line, sizeof(line), list.get()) != nullptr)
        fGatherPid(pass, fNumber(line));
    fFinishBatch(pass);
}

void CMM_PROC_Info::fGatherPid(ST_PASS& pass, int pid)
{
    pass.l_clBatch.fRead(m_clFiles, pid);
    if (pass.l_clBatch.fIsFull()) fFinishBatch(pass);
}

void CMM_PROC_Info::fFinishBatch(ST_PASS& pass)
{
    for (ST_PROC_TEXTS& texts : pass.l_clBatch.fTexts())
        fFinishProcess(pass, texts);
    pass.l_clBatch.fClear();
}

void CMM_PROC_Info::fFinishProcess(ST_PASS& pass, ST_PROC_TEXTS& texts)
{
    _ST_PROC& process = pass.l_stProcess;
    fClearProcess(process, pass.l_nNameUsed);
    pass.l_nNameUsed =
        fFillProcess(texts, &pass.l_stWork, &process, pass.l_ulTotalMemory, pass.l_dElapsed, false);
    if (pass.l_nNameUsed == 0) return;
    if (pass.l_bJava && strstr(process.l_strPname, "java") != nullptr) fCorrectJava(pass);
    if (process.l_strUname[0] == '\0') return;
    pass.l_nCount++;
    fAppendProcess(pass);
}

// On 2.4 kernels each thread of a Java machine is a process of its own: its share is taken from a snapshot.
void CMM_PROC_Info::fCorrectJava(ST_PASS& pass)
{
    if (!pass.l_bTopDone) {
        const time_t before = time(nullptr);
        fgRunShell("%s", COMMAND_TOP);
        pass.l_bTopDone = true;
        fgLog(LOG_PROC, LOG_ERROR, m_strLogMsg, "top_info gatherTime[%d]",
              static_cast<int>(time(nullptr) - before));
    }
    fgRunShell(COMMAND_SHARE, pass.l_stProcess.l_nPid, FILE_SHARE);
    char line[64];
    const CPlainNumbers plain;
    if (fgReadFirstLine(FILE_SHARE, line) > 0)
        pass.l_stProcess.l_dPCPU = static_cast<float>(strtod(line, nullptr));
}

void CMM_PROC_Info::fAppendProcess(ST_PASS& pass)
{
    if (pass.l_nLayout == PROC_LAYOUT_NONE) return;
    const _ST_PROC& process = pass.l_stProcess;
    CTextTable& table = pass.l_clTable;
    if (!table.fReserve(pass.l_nNameUsed + TABLE_ROOM)) return;
    if (table.fRoom() > PROC_ROW_SIZE) // the longest row fits
        table.fCommit(fgPutProcRow(table.fEnd(), pass.l_nLayout, pass.l_nCount, process));
    else
        table.fAppendText(
            {pass.l_strRow, fgPutProcRow(pass.l_strRow, pass.l_nLayout, pass.l_nCount, process)});
    if (!pass.l_bConsole) return;
    pass.l_pstrConsole = fgPutProcConsole(pass.l_pstrConsole, process);
    if (pass.l_pstrConsole - pass.l_strConsole > CONSOLE_FLUSH) pass.fFlushConsole();
}

// Rows that another program wrote for the guests of this host, appended as they stand. A last line without a
// newline keeps its last character.
void CMM_PROC_Info::fAppendVirtual(ST_PASS& pass)
{
    COwnedStream rows(fopen(FILE_VIRTUAL, "re"));
    if (rows == nullptr) rows.reset(fopen(FILE_VIRTUAL_OTHER, "re"));
    if (rows == nullptr) {
        fgLog(LOG_PROC, LOG_ERROR, m_strLogMsg, "VMWare PROC Gtr %s file not found", FILE_VIRTUAL);
        return;
    }
    char line[512];
    while (fgets(line, sizeof(line), rows.get()) != nullptr) {
        std::string_view row(line);
        if (row.ends_with('\n')) row.remove_suffix(1);
        pass.l_clTable.fReserve(row.size() + TABLE_ROOM);
        pass.l_clTable.fAppendText(SEPARATOR_ROW);
        pass.l_clTable.fAppendText(row);
        pass.l_nCount++;
    }
}

int CMM_PROC_Info::fMReadProcTable(int pid, proc_s* work, _ST_PROC* out, unsigned long totMemKB,
                                   double elapsed, int)
{
    CProcFiles files;
    CProcBatch batch;
    if (!batch.fRead(files, pid) ||
        fFillProcess(batch.fTexts().front(), work, out, totMemKB, elapsed, true) == 0)
        return 0;
    // No row has these texts: a pass goes without.
    fgCopyText(out->l_strCTime, m_pclUtil->fFormatTime(static_cast<int>(out->l_nCTime / TICKS_PER_SECOND)));
    fgCopyText(out->l_strStart, m_pclUtil->fGetLocalTime(out->l_nStart));
    return 1;
}

// Fills both records from the files of one process, the first one whole or as far as rows need it. Returns
// the length of its command line, 0 when it must be skipped.
size_t CMM_PROC_Info::fFillProcess(ST_PROC_TEXTS& texts, proc_s* work, _ST_PROC* out, unsigned long totMemKB,
                                   double elapsed, bool whole)
{
    if (!(whole ? fMStat2Proc(texts.l_pstrStat, work) != 0 && fMStatm2Proc(texts.l_pstrStatm, work) != 0
                : fTakeForRow(texts, *work)))
        return 0;
    const size_t length = fCommandText(texts, out->l_strPname);
    // A command line that begins with a blank hides its process: kept, such names are made to be hidden.
    if (length == 0 || out->l_strPname[0] == ' ') {
        memset(out->l_strPname, 0, length);
        return 0;
    }
    fgCopyText(out->l_strFName, strchr(texts.l_pstrStat, '(') + 1);
    work->io_read = work->io_write = 0; // stay so where the file is another user's
    fgParseProcIo(texts.l_pstrIo, *work);
    work->uid = texts.l_nUid;
    out->l_nPid = texts.l_nPid;
    fFillRecord(*work, out, totMemKB);
    fgCopyText(out->l_strUname, m_pclUser->fUserName(work->uid));
    out->l_dPCPU = static_cast<float>(static_cast<double>(out->l_nCTime) / elapsed * 100);
    fKeepSample(out, elapsed, texts.l_bReplaced);
    out->l_chStatus = fgProcState(work->state);
    out->l_nIsUpNow = 1;
    return fTrimBlanks(out->l_strPname, length);
}

// Everything that the work record gives without the previous sample.
void CMM_PROC_Info::fFillRecord(const proc_s& work, _ST_PROC* out, unsigned long totMemKB)
{
    out->l_nPPid = work.ppid;
    out->l_uPSid = work.session;
    out->l_nPriority = work.priority;
    out->l_nNice = work.nice;
    out->l_nThreads = static_cast<int>(work.num_threads);
    out->l_dIOByteCom = static_cast<double>(work.io_read + work.io_write) / 1024.0;
    out->l_dIOByte = out->l_dIOByteRate = 0;
    out->l_ulVSZ = (work.vsize + 512) >> 10;
    out->l_ulRSS = m_pclUtil->fPage2k(work.rss);
    out->l_dPMEM =
        static_cast<float>(static_cast<double>(out->l_ulRSS) / static_cast<double>(totMemKB) * 100);
    out->l_nUTime = static_cast<int>(work.utime);
    out->l_nSTime = static_cast<int>(work.stime);
    out->l_nCTime =
        static_cast<int>(static_cast<unsigned long>(work.utime) + static_cast<unsigned long>(work.stime));
    long upTime = 0;
    CNumberScan(m_strUpTime).fLong(upTime);
    const auto boot = static_cast<unsigned long>(m_tTime) - static_cast<unsigned long>(upTime);
    out->l_nStart = static_cast<int>(boot + static_cast<unsigned long>(work.start_time / TICKS_PER_SECOND));
}

// The pid's previous sample, empty for a new pid. A pass lists pids in ascending order, so it tries the entry
// behind the one before first: a search touches a dozen nodes, each a miss of the cache behind the kernel's
// work.
std::unique_ptr<_ST_PROC_OLD_LIST>& CMM_PROC_Info::fEntry(int pid)
{
    auto entry = m_ProcMap.end();
    if (m_pitNext != nullptr) entry = *m_pitNext;
    if (entry == m_ProcMap.end() || entry->first != pid) entry = m_ProcMap.try_emplace(pid).first;
    if (m_pitNext != nullptr) *m_pitNext = std::next(entry);
    return entry->second;
}

// Rates against the previous sample of the pid, if there is one and it is not that of a process before this
// one, and this sample in its place.
void CMM_PROC_Info::fKeepSample(_ST_PROC* out, double elapsed, bool isReplaced)
{
    std::unique_ptr<_ST_PROC_OLD_LIST>& entry = fEntry(out->l_nPid);
    if (isReplaced) entry.reset();
    const bool known = entry != nullptr;
    if (!known) entry = std::make_unique<_ST_PROC_OLD_LIST>();
    entry->m_nDelFlag = 1;
    if (known && m_nInsertFirst == 0) return; // before the first pass, or listed twice in it
    if (known) fMCompute(out, entry.get(), elapsed);
    entry->m_nPid = out->l_nPid;
    entry->m_fOldCpuTime = out->l_nCTime;
    entry->m_fOldUserCpuTime = out->l_nUTime;
    entry->m_fOldSysCpuTime = out->l_nSTime;
    entry->m_dIOByteCom = out->l_dIOByteCom;
}

int CMM_PROC_Info::fMStat2Proc(char* text, proc_s* work)
{
    char* close = strrchr(text, ')');
    if (close == nullptr) return 0;
    const bool more = close[1] != '\0';
    *close = '\0';
    memset(work->cmd, 0, sizeof(work->cmd));
    const char* name = fScanFront(text, work->pid);
    if (name == nullptr) return 0;
    fgCopyText(work->cmd, name);
    if (!more || !fgParseProcStat(close + 2, *work)) return 0;
    // Maps no terminal to -1 and shifts the others, as old device numbers were: kept, nothing prints it.
    if (work->tty == 0)
        work->tty = -1;
    else if (work->tty != -1)
        work->tty = static_cast<int>(static_cast<unsigned>(work->tty) + 1024);
    return 1;
}

int CMM_PROC_Info::fMStatm2Proc(char* text, proc_s* work)
{
    CNumberScan scan(text);
    return fTakeLongs(scan, *work, STATM_PAGES) ? 1 : 0;
}

int CMM_PROC_Info::fMCmdline2Proc(char* text, proc_s* work)
{
    if (*text != '\0')
        fgCopyText(work->args, text);
    else
        snprintf(work->args, sizeof(work->args), "[%s]", work->cmd);
    return 1;
}

int CMM_PROC_Info::fMIo2Proc(const char* path, proc_s* work)
{
    char text[PROC_FILE_SIZE];
    if (fgReadHostFile(path, text, sizeof(text)) < 0) return 0;
    fgParseProcIo(text, *work);
    return 1;
}

int CMM_PROC_Info::fMCompute(_ST_PROC* cur, _ST_PROC_OLD_LIST* old, double elapsed)
{
    cur->l_dPCPU = static_cast<float>(fShare(cur->l_nCTime, old->m_fOldCpuTime, elapsed));
    cur->l_dPUserCpu = fShare(cur->l_nUTime, old->m_fOldUserCpuTime, elapsed);
    cur->l_dPSysCpu = fShare(cur->l_nSTime, old->m_fOldSysCpuTime, elapsed);
    cur->l_dIOByte = cur->l_dIOByteCom - old->m_dIOByteCom;
    // Over hundredths of a second, as the shares, and in single precision: kept.
    cur->l_dIOByteRate = static_cast<double>(static_cast<float>(cur->l_dIOByte / elapsed));
    fRaiseToZero(cur->l_dPCPU);
    fRaiseToZero(cur->l_dPUserCpu);
    fRaiseToZero(cur->l_dPSysCpu);
    fRaiseToZero(cur->l_dIOByte);
    fRaiseToZero(cur->l_dIOByteRate);
    return 1;
}

int CMM_PROC_Info::fMGetPCpu(_ST_PROC* cur, _ST_PROC* prev, double elapsed)
{
    cur->l_dPCPU = static_cast<float>(fShare(cur->l_nCTime, prev == nullptr ? 0 : prev->l_nCTime, elapsed));
    fRaiseToZero(cur->l_dPCPU);
    return 1;
}

double CMM_PROC_Info::fMGetTimeDiff()
{
    timeval now = {};
    gettimeofday(&now, nullptr);
    double seconds = FIRST_INTERVAL;
    if (m_stLastTime.tv_sec != 0 || m_stLastTime.tv_usec != 0)
        seconds = static_cast<double>(now.tv_sec - m_stLastTime.tv_sec) +
                  static_cast<double>(now.tv_usec - m_stLastTime.tv_usec) * 1e-6;
    m_stLastTime = now;
    return seconds * 100;
}

unsigned long CMM_PROC_Info::fMGetSysTotMem()
{
    char text[PROC_FILE_SIZE];
    if (m_pclUtil->fFile2Buff("/proc/meminfo", text, sizeof(text)) == 0) return 0;
    const char* line = strstr(text, "MemTotal:");
    return line == nullptr ? 0 : strtoul(m_pclUtil->fSkipToken(line), nullptr, 10);
}

void CMM_PROC_Info::fProcMapUpdate()
{
    fMarkSamples(0);
}

void CMM_PROC_Info::fProcMapErase()
{
    std::erase_if(m_ProcMap, [](const auto& item) { return item.second->m_nDelFlag == 0; });
}

void CMM_PROC_Info::fMarkSamples(int mark)
{
    for (auto& [pid, entry] : m_ProcMap)
        entry->m_nDelFlag = mark;
}

int fCMPProcName(const void* first, const void* second)
{
    const char* a = static_cast<const _ST_PROC*>(first)->l_strPname;
    const char* b = static_cast<const _ST_PROC*>(second)->l_strPname;
    for (size_t i = 0; i < PROC_NAME_SIZE - 1; i++)
        if (a[i] != b[i]) return static_cast<signed char>(a[i]) > static_cast<signed char>(b[i]) ? 1 : 0;
    return 0;
}

int fCMPProcCpu(const void* first, const void* second)
{
    return static_cast<const _ST_PROC*>(first)->l_dPCPU > static_cast<const _ST_PROC*>(second)->l_dPCPU ? 1
                                                                                                        : 0;
}

int fCMPProcPid(const void* first, const void* second)
{
    return static_cast<const _ST_PROC*>(first)->l_nPid == static_cast<const _ST_PROC*>(second)->l_nPid ? 1
                                                                                                       : 0;
}

int fCMPProcIsUpNow(const void* first, const void* second)
{
    return static_cast<const _ST_PROC*>(first)->l_nIsUpNow == static_cast<const _ST_PROC*>(second)->l_nIsUpNow
               ? 1
               : 0;
}

PROC_LAYOUT fgProcLayout(int fileNameFlag, int extendFlag)
{
    if (fileNameFlag != 0 && fileNameFlag != 1) return PROC_LAYOUT_NONE;
    if (extendFlag == 1) return PROC_LAYOUT_EXTENDED;
    if (extendFlag != 0) return PROC_LAYOUT_NONE;
    return fileNameFlag == 1 ? PROC_LAYOUT_FILE : PROC_LAYOUT_BASE;
}

bool fgParseProcStat(const char* text, proc_s& work)
{
    CNumberScan scan(text);
    return scan.fChar(work.state) && fTakeLongs(scan, work, STAT_IDS) &&
           fTakeUnsigned(scan, work, STAT_FAULTS) && fTakeLongs(scan, work, STAT_TIMES) &&
           fTakeLongs(scan, work, STAT_PRIORITIES) && fTakeUnsigned(scan, work, STAT_THREADS) &&
           fTakeLongs(scan, work, STAT_START) && fTakeUnsigned(scan, work, STAT_MEMORY) &&
           fTake<&CNumberScan::fHex, unsigned long long>(scan, work, STAT_SIGNALS) &&
           fTakeUnsigned(scan, work, STAT_WAIT);
}

bool fgParseProcRowStat(const char* text, proc_s& work)
{
    CNumberScan scan(text);
    return scan.fChar(work.state) && scan.fInt(work.ppid) && scan.fSkip(1) && scan.fInt(work.session) &&
           scan.fSkip(7) && scan.fLong(work.utime) && scan.fLong(work.stime) && scan.fSkip(2) &&
           scan.fInt(work.priority) && scan.fInt(work.nice) && scan.fUnsigned(work.num_threads) &&
           scan.fSkip(1) && scan.fLong(work.start_time) && scan.fUnsigned(work.vsize) &&
           scan.fUnsigned(work.rss) && scan.fSkip(6) && scan.fSkip<16>(4) && scan.fSkip(1);
}

void fgParseProcIo(const char* text, proc_s& work)
{
    while (const char* mark = strchr(text, '_')) { // both keys hold one; the lines of other counters do not
        const char* line = mark;
        while (line > text && line[-1] != '\n')
            line--;
        text = fTakeIoLine(line, mark, work);
    }
}

size_t fgPutStatusName(char* to, std::string_view status)
{
    if (status.find("Name") == std::string_view::npos) return 0;
    std::string_view name = status.substr(0, status.find('\n'));
    const size_t colon = name.find(':');
    if (colon == std::string_view::npos) return 0;
    name.remove_prefix(colon + 1);
    const auto isName = [](char c) { return static_cast<unsigned char>(c) > '\t' && c != ' '; };
    name.remove_prefix(static_cast<size_t>(std::find_if(name.begin(), name.end(), isName) - name.begin()));
    name = name.substr(0, PROC_NAME_SIZE - 3);
    *to = '[';
    char* end = fgPutText(to + 1, name);
    *end++ = ']';
    *end = '\0';
    return static_cast<size_t>(end - to);
}

char fgProcState(char state)
{
    switch (state) {
    case 'D':
    case 'S':
        return 'S';
    case 'R':
    case 'T':
    case 'Z':
        return state;
    default:
        return '?';
    }
}

char* fgPutProcRow(char* to, PROC_LAYOUT layout, int index, const _ST_PROC& process)
{
    to = fgPutInteger(fgPutText(to, SEPARATOR_ROW), index);
    to = fgPutText(to, SEPARATOR_FIELD);
    to = fPutColumns(to, LAYOUTS[layout].l_stBase, process);
    return fPutColumns(to, LAYOUTS[layout].l_stMore, process);
}

char* fgPutProcConsole(char* to, const _ST_PROC& process)
{
    to = fgPutText(to, process.l_strUname);
    to = fgPadLeft(to, fgPutInteger(to, process.l_nPid), 10);
    to = fgPadLeft(to, fgPutFixed<1>(to, process.l_dPCPU), 5);
    to = fgPadLeft(to, fgPutFixed<1>(to, process.l_dPMEM), 5);
    to = fgPadLeft(to, fgPutInteger(to, static_cast<int>(process.l_ulVSZ)), 10);
    to = fgPadLeft(to, fgPutInteger(to, static_cast<int>(process.l_ulRSS)), 10);
    *to++ = ' ';
    to = fgPutText(to, process.l_strPname);
    *to++ = '\n';
    return to;
}
