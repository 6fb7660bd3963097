#include "bench/ProcPeers.h"

#include <algorithm>
#include <memory>

#ifdef HOSTMETRICS_WITH_LIBPROC2
#include <libproc2/pids.h>
#endif
#ifdef HOSTMETRICS_WITH_LIBSTATGRAB
#include <statgrab.h>
#endif

#include "bench/Peers.h"
#include "collect/MM_PROC_Info.h"
#include "lib/FixedText.h"
#include "lib/TextTable.h"

namespace
{
struct ST_COMMAND
{
    std::vector<std::string> l_strWords;
    std::string l_strRowStart;
};

// All processes, once, with what they have of our columns.
const ST_COMMAND COMMANDS[] = {
    {{"ps", "--no-headers", "-eo", "pid,ppid,sid,user,s,ni,pri,nlwp,vsz,rss,pcpu,pmem,time,lstart,args"}, ""},
    {{"top", "-b", "-n", "1", "-c", "-w", "512"}, ""},
    {{"pidstat", "-h", "-H", "-u", "-r", "-d", "-U", "-l", "-p", "ALL"}, ""},
    {{"atop", "-a", "-P", "PRG,PRC,PRM,PRD", "1", "1"}, "PRG "},
};

constexpr char PSUTIL_PASS[] =
    "sum(1 for _ in psutil.process_iter(['pid', 'ppid', 'name', 'cmdline', 'username', 'status', 'nice', "
    "'cpu_times', 'memory_info', 'num_threads', 'create_time', 'io_counters']))";

// The text table of what a library delivered, without rates, by the fastest writer at hand.
class CRows
{
public:
    CRows() = default;
    CRows(const CRows&) = delete;
    CRows& operator=(const CRows&) = delete;
    ~CRows() { free(m_pstrText); }

    void fBegin()
    {
        m_pclTable = std::make_unique<CTextTable>(m_pstrText, m_nSize);
        m_nCount = 0;
    }
    // The command line is put into the record here.
    void fAppend(_ST_PROC& process, std::string_view command)
    {
        *std::copy_n(command.begin(), std::min(command.size(), PROC_NAME_SIZE - 1), process.l_strPname) =
            '\0';
        m_pclTable->fReserve(command.size() + TABLE_ROOM);
        const char* end = fgPutProcRow(m_strRow.get(), PROC_LAYOUT_EXTENDED, ++m_nCount, process);
        m_pclTable->fAppendText({m_strRow.get(), end});
    }
    int fCount() const { return m_nCount; }

private:
    char* m_pstrText = fgNewTableBuffer();
    int m_nSize = TABLE_START_SIZE;
    int m_nCount = 0;
    std::unique_ptr<CTextTable> m_pclTable;
    std::unique_ptr<char[]> m_strRow = std::make_unique<char[]>(PROC_ROW_SIZE);
};

#ifdef HOSTMETRICS_WITH_LIBPROC2
// Fetches the files that our pass reads.
class CProc2Reader
{
public:
    CProc2Reader() { procps_pids_new(&m_pstInfo, ITEMS, std::size(ITEMS)); }
    ~CProc2Reader() { procps_pids_unref(&m_pstInfo); }
    CProc2Reader(const CProc2Reader&) = delete;
    CProc2Reader& operator=(const CProc2Reader&) = delete;

    int fRun()
    {
        m_clRows.fBegin();
        const pids_fetch* fetched = procps_pids_reap(m_pstInfo, PIDS_FETCH_TASKS_ONLY);
        for (int i = 0; i < fetched->counts->total; i++)
            fAppend(fetched->stacks[i]->head);
        return m_clRows.fCount();
    }

private:
    static inline pids_item ITEMS[] = {
        PIDS_ID_PID,        PIDS_ID_PPID,       PIDS_ID_SESSION, PIDS_CMD,         PIDS_CMDLINE,
        PIDS_ID_EUSER,      PIDS_STATE,         PIDS_NICE,       PIDS_PRIORITY,    PIDS_NLWP,
        PIDS_MEM_VIRT,      PIDS_MEM_RES,       PIDS_TICS_USER,  PIDS_TICS_SYSTEM, PIDS_TICS_BEGAN,
        PIDS_IO_READ_BYTES, PIDS_IO_WRITE_BYTES};

    void fAppend(const pids_result* value)
    {
        _ST_PROC& p = *m_pstProcess;
        p.l_nPid = value[0].result.s_int;
        p.l_nPPid = value[1].result.s_int;
        p.l_uPSid = value[2].result.s_int;
        fgCopyText(p.l_strUname, value[5].result.str);
        p.l_chStatus = value[6].result.s_ch;
        p.l_nNice = value[7].result.s_int;
        p.l_nPriority = value[8].result.s_int;
        p.l_nThreads = value[9].result.s_int;
        p.l_ulVSZ = value[10].result.ul_int;
        p.l_ulRSS = value[11].result.ul_int;
        p.l_nCTime = static_cast<int>(value[12].result.ull_int + value[13].result.ull_int);
        p.l_nStart = static_cast<int>(value[14].result.ull_int);
        p.l_dIOByteCom = static_cast<double>(value[15].result.ul_int + value[16].result.ul_int) / 1024.0;
        m_clRows.fAppend(p, value[4].result.str);
    }

    pids_info* m_pstInfo = nullptr;
    CRows m_clRows;
    std::unique_ptr<_ST_PROC> m_pstProcess = std::make_unique<_ST_PROC>();
};
#endif

#ifdef HOSTMETRICS_WITH_LIBSTATGRAB
// It reads comm, stat, status and cmdline of each process; it knows no threads, priority, and I/O.
class CStatgrabReader
{
public:
    CStatgrabReader() { sg_init(1); }
    ~CStatgrabReader() { sg_shutdown(); }
    CStatgrabReader(const CStatgrabReader&) = delete;
    CStatgrabReader& operator=(const CStatgrabReader&) = delete;

    int fRun()
    {
        m_clRows.fBegin();
        size_t count = 0;
        const sg_process_stats* processes = sg_get_process_stats(&count);
        for (size_t i = 0; i < count; i++)
            fAppend(processes[i]);
        return m_clRows.fCount();
    }

private:
    void fAppend(const sg_process_stats& process)
    {
        _ST_PROC& p = *m_pstProcess;
        p.l_nPid = process.pid;
        p.l_nPPid = process.parent;
        p.l_uPSid = process.sessid;
        fgCopyText(p.l_strUname, m_clUsers.fUserName(static_cast<int>(process.uid)));
        p.l_chStatus = "RSTZ?"[process.state];
        p.l_nNice = process.nice;
        p.l_ulVSZ = process.proc_size / 1024;
        p.l_ulRSS = process.proc_resident / 1024;
        p.l_nCTime = static_cast<int>(process.time_spent);
        p.l_nStart = static_cast<int>(process.start_time);
        m_clRows.fAppend(p, process.proctitle != nullptr ? process.proctitle : process.process_name);
    }

    CRows m_clRows;
    CSSUser m_clUsers;
    std::unique_ptr<_ST_PROC> m_pstProcess = std::make_unique<_ST_PROC>();
};
#endif

template <class TReader> ST_CONTENDER fLibrary(const char* name)
{
    return {name, [reader = std::make_shared<TReader>()] { return reader->fRun(); }};
}
} // namespace

std::vector<ST_CONTENDER> fgProcPeers(FILE* out)
{
    std::vector<ST_CONTENDER> peers;
#ifdef HOSTMETRICS_WITH_LIBPROC2
    peers.push_back(fLibrary<CProc2Reader>("libproc2"));
#else
    fgSayMissing(out, "libproc2");
#endif
#ifdef HOSTMETRICS_WITH_LIBSTATGRAB
    peers.push_back(fLibrary<CStatgrabReader>("libstatgrab"));
#else
    fgSayMissing(out, "libstatgrab");
#endif
    const auto python = std::make_shared<CPythonPeer>();
    if (python->fIsThere())
        peers.push_back({"psutil", [python] { return python->fRun(PSUTIL_PASS, 1); },
                         [python] { return python->fUsed(); }, true});
    else
        fgSayMissing(out, "psutil");
    for (const ST_COMMAND& command : COMMANDS) {
        const auto peer = std::make_shared<CCommandPeer>(command.l_strWords, command.l_strRowStart);
        if (peer->fRun() > 0)
            peers.push_back({command.l_strWords[0], [peer] { return peer->fRun(); },
                             [peer] { return peer->fUsed(); }, true});
        else
            fgSayMissing(out, command.l_strWords[0]);
    }
    return peers;
}
