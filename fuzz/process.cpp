#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <tuple>

#include "collect/MM_PROC_Info.h"
#include "collect/MM_VM_Info.h"
#include "fuzz/Fuzz.h"
#include "lib/FixedText.h"
#include "lib/TextTable.h"

// The files of a process, and its row of the table.

namespace
{
CMM_PROC_Info& fCollector()
{
    static CMM_PROC_Info collector;
    return collector;
}

void fStat(std::string_view text)
{
    proc_s work = {};
    fCollector().fMStat2Proc(CFuzzText(text), &work);
    fgFuzzMust(memchr(work.cmd, '\0', sizeof(work.cmd)) != nullptr, "a name is terminated");
}

void fStatNumbers(std::string_view input)
{
    const CFuzzText text(input);
    proc_s a = {};
    proc_s b = {};
    const auto hex = [](long long& value) { return reinterpret_cast<unsigned long long*>(&value); };
    const int count =
        sscanf(text, FORMAT_PROC_STAT, &a.state, &a.ppid, &a.pgrp, &a.session, &a.tty, &a.tpgid, &a.flags,
               &a.min_flt, &a.cmin_flt, &a.maj_flt, &a.cmaj_flt, &a.utime, &a.stime, &a.cutime, &a.cstime,
               &a.priority, &a.nice, &a.num_threads, &a.it_real_value, &a.start_time, &a.vsize, &a.rss,
               &a.rss_rlim, &a.start_code, &a.end_code, &a.start_stack, &a.kstk_esp, &a.kstk_eip,
               hex(a.signal), hex(a.blocked), hex(a.sigignore), hex(a.sigcatch), &a.wchan);
    fgFuzzMust(fgParseProcStat(text, b) == (count == 33), "stat is taken as sscanf takes it");
    fgFuzzMust(memcmp(&a, &b, sizeof(a)) == 0, "stat gives what sscanf gives");

    proc_s row = {};
    fgFuzzMust(fgParseProcRowStat(text, row) == (count == 33), "a row takes stat as sscanf takes it");
    const auto shown = [](const proc_s& p) {
        return std::tie(p.state, p.ppid, p.session, p.utime, p.stime, p.priority, p.nice, p.num_threads,
                        p.start_time, p.vsize, p.rss);
    };
    fgFuzzMust(shown(row) == shown(a), "a row gets from stat what sscanf gives");
}

void fStatm(std::string_view input)
{
    const CFuzzText text(input);
    proc_s a = {};
    proc_s b = {};
    const int count = sscanf(text, "%ld %ld %ld %ld %ld %ld %ld", &a.size, &a.resident, &a.share, &a.trs,
                             &a.lrs, &a.drs, &a.dt);
    fgFuzzMust(fCollector().fMStatm2Proc(text, &b) == (count == 7 ? 1 : 0), "statm is taken as by sscanf");
    fgFuzzMust(memcmp(&a, &b, sizeof(a)) == 0, "statm gives what sscanf gives");
}

void fIo(std::string_view text)
{
    proc_s work = {};
    fgParseProcIo(CFuzzText(text), work);
}

void fStatus(std::string_view text)
{
    const auto name = std::make_unique<char[]>(PROC_NAME_SIZE);
    const size_t length = fgPutStatusName(name.get(), text);
    fgFuzzMust(length < PROC_NAME_SIZE && name[length] == '\0', "a bracketed name fits and is terminated");
}

void fCommandLine(std::string_view text)
{
    proc_s work = {};
    fgCopyText(work.cmd, text);
    fCollector().fMCmdline2Proc(CFuzzText(text), &work);
    fgFuzzMust(memchr(work.args, '\0', sizeof(work.args)) != nullptr, "arguments are terminated");
}

void fFaults(std::string_view text)
{
    unsigned long minor = 0;
    unsigned long major = 0;
    fgParseProcFaults(CFuzzText(text), minor, major);
}

// Numbers of the record by their bytes, then texts, written into the room that the writer is promised.
void fRow(std::string_view input)
{
    constexpr size_t TEXTS = offsetof(_ST_PROC, l_nPid);
    const auto process = std::make_unique<_ST_PROC>();
    const std::string_view numbers = input.substr(0, sizeof(_ST_PROC) - TEXTS);
    memcpy(reinterpret_cast<char*>(process.get()) + TEXTS, numbers.data(), numbers.size());
    const std::string_view texts = input.substr(numbers.size());
    fgCopyText(process->l_strPname, texts);
    fgCopyText(process->l_strUname, texts);
    fgCopyText(process->l_strFName, texts);
    // A row has its size when the command line is as long as it can be.
    const size_t room = PROC_ROW_SIZE - PROC_NAME_SIZE + strlen(process->l_strPname) + 1;
    const auto row = std::make_unique<char[]>(room);
    const auto print = [](char* to, size_t size, const _ST_PROC& p) {
        const char* f = SEPARATOR_FIELD;
        return snprintf(to, size, ROW_PROC_EXTENDED, SEPARATOR_ROW, INT_MAX, f, p.l_nPid, f, p.l_strPname, f,
                        static_cast<double>(p.l_dPCPU), f, static_cast<double>(p.l_dPMEM), f,
                        static_cast<int>(p.l_ulVSZ), f, static_cast<int>(p.l_ulRSS), f, p.l_chStatus, f,
                        p.l_nNice, f, p.l_nPPid, f, p.l_strUname, f, p.l_nStart, f, p.l_nCTime / 100, f,
                        p.l_nThreads, f, p.l_uPSid, f, p.l_nPriority, f, p.l_dPUserCpu, f, p.l_dPSysCpu, f,
                        p.l_dIOByteCom, f, p.l_dIOByte, f, p.l_dIOByteRate, f);
    };
    const auto expected = std::make_unique<char[]>(room);
    const auto length = static_cast<size_t>(print(expected.get(), room, *process));
    fgFuzzMust(length < room, "a row fits");
    const char* end = fgPutProcRow(row.get(), PROC_LAYOUT_EXTENDED, INT_MAX, *process);
    fgFuzzMust(std::string_view(row.get(), static_cast<size_t>(end - row.get())) ==
                   std::string_view(expected.get(), length),
               "a row is what its format prints");
    fgPutProcRow(row.get(), PROC_LAYOUT_FILE, INT_MAX, *process);
    fgPutProcConsole(row.get(), *process);
}

constexpr FUZZ_READER READERS[] = {fStat, fStatNumbers, fStatm, fIo, fStatus, fCommandLine, fFaults, fRow};
const CFuzzTarget TARGET("process", [](std::string_view input) { fgFuzzDispatch(READERS, input); });
} // namespace
