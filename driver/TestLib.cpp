#include "driver/TestLib.h"

#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <unistd.h>
#include <vector>

#include "collect/MM_CPU_Info.h"
#include "collect/MM_FS_Info.h"
#include "collect/MM_IO_Info.h"
#include "collect/MM_LA_Info.h"
#include "collect/MM_MEM_Info.h"
#include "collect/MM_NWT_Info.h"
#include "collect/MM_PROC_Info.h"
#include "collect/MM_VM_Info.h"
#include "driver/PrintInfo.h"
#include "driver/RunConfig.h"
#include "inventory/Disk_Info.h"
#include "inventory/Memory_Info.h"
#include "inventory/NIC_Info.h"
#include "inventory/Pci_Info.h"
#include "lib/NGFunctions.h"
#include "lib/Owners.h"

namespace
{
using CClock = std::chrono::steady_clock;

// The collectors and the inventory readers, built in the order of their members. No pass asks the readers.
struct ST_COLLECTORS
{
    std::unique_ptr<CMM_CPU_Info> l_pclCpu = std::make_unique<CMM_CPU_Info>();
    std::unique_ptr<CMM_LA_Info> l_pclLa = std::make_unique<CMM_LA_Info>();
    std::unique_ptr<CMM_VM_Info> l_pclVm = std::make_unique<CMM_VM_Info>();
    std::unique_ptr<CNIC_Info> l_pclNicInventory = std::make_unique<CNIC_Info>();
    std::unique_ptr<CDisk_Info> l_pclDiskInventory = std::make_unique<CDisk_Info>();
    std::unique_ptr<CPci_Info> l_pclPciInventory = std::make_unique<CPci_Info>();
    std::unique_ptr<CMemory_Info> l_pclMemoryInventory = std::make_unique<CMemory_Info>();
    std::unique_ptr<CMM_MEM_Info> l_pclMem = std::make_unique<CMM_MEM_Info>();
    std::unique_ptr<CMM_FS_Info> l_pclFs = std::make_unique<CMM_FS_Info>();
    std::unique_ptr<CMM_IO_Info> l_pclIo = std::make_unique<CMM_IO_Info>();
    std::unique_ptr<CMM_NWT_Info> l_pclNwt = std::make_unique<CMM_NWT_Info>();
    std::unique_ptr<CMM_PROC_Info> l_pclProc = std::make_unique<CMM_PROC_Info>();

    // They go in an order of their own.
    ~ST_COLLECTORS()
    {
        l_pclProc.reset();
        l_pclCpu.reset();
        l_pclLa.reset();
        l_pclVm.reset();
        l_pclMem.reset();
        l_pclFs.reset();
        l_pclIo.reset();
        l_pclNwt.reset();
        l_pclMemoryInventory.reset();
        l_pclNicInventory.reset();
        l_pclDiskInventory.reset();
        l_pclPciInventory.reset();
    }
};

int fPrintMemory(CMM_MEM_Info& memory)
{
    const CMM_MEM_Info* sample = memory.fMGetMem();
    return print_mem(sample == nullptr ? nullptr : sample->m_pulMEM);
}

struct ST_PRINT
{
    const char* l_strName;
    int (*l_fnPrint)(ST_COLLECTORS& collectors, double elapsed); // above 0: there was a sample
    const char* l_strSample = nullptr; // the routine that takes the same sample, if there is one before
    const char* fSample() const { return l_strSample == nullptr ? l_strName : l_strSample; }
};

const ST_PRINT PRINTS[] = {
    {"cpu", [](ST_COLLECTORS& c, double) { return print_cpu_v2(c.l_pclCpu.get()); }},
    {"intr", [](ST_COLLECTORS& c, double elapsed) { return print_cpu_intr(c.l_pclCpu.get(), elapsed); }},
    {"la", [](ST_COLLECTORS& c, double) { return print_la(c.l_pclLa->fMGetLoadAvg()); }},
    {"vm", [](ST_COLLECTORS& c, double elapsed) { return print_vm(c.l_pclVm->fMGetVmStat(elapsed)); }},
    {"mem", [](ST_COLLECTORS& c, double) { return fPrintMemory(*c.l_pclMem); }},
    {"swp", [](ST_COLLECTORS& c, double) { return print_swp(c.l_pclMem->fMGetSwap()); }},
    {"memcnt", [](ST_COLLECTORS& c, double) { return prnit_memcnt(c.l_pclMem.get()); }},
    {"fs", [](ST_COLLECTORS& c, double) { return print_fs_v2(c.l_pclFs.get()); }},
    {"io", [](ST_COLLECTORS& c, double elapsed) { return print_io_v2(c.l_pclIo.get(), elapsed); }},
    {"iokb",
     [](ST_COLLECTORS& c, double elapsed) { return print_io(c.l_pclIo->fMGetIoStat(elapsed, 1, -1)); }, "io"},
    {"nwt", [](ST_COLLECTORS& c, double elapsed) { return print_nwt_info(c.l_pclNwt.get(), elapsed); }},
    {"proc", [](ST_COLLECTORS& c, double) { return print_proc_v2(c.l_pclProc.get()); }},
};

const ST_PRINT* fFindPrint(std::string_view name)
{
    for (const ST_PRINT& print : PRINTS)
        if (name == print.l_strName) return &print;
    return nullptr;
}

std::vector<const ST_PRINT*>& fSelected()
{
    static std::vector<const ST_PRINT*> selected{fFindPrint("proc")};
    return selected;
}

struct ST_TABLE
{
    const char* l_strPrint; // the print routine whose sample makes the table as well; empty: none
    bool (*l_fnSample)(ST_COLLECTORS& collectors, double elapsed); // false: no table in this pass
    const char* (*l_fnText)(const ST_COLLECTORS& collectors);
};

const ST_TABLE TABLES[] = {
    {"cpu", [](ST_COLLECTORS& c, double) { return c.l_pclCpu->fMGetCpu() != nullptr; },
     [](const ST_COLLECTORS& c) -> const char* { return c.l_pclCpu->m_pStrCpuTAQ; }},
    {"", [](ST_COLLECTORS& c, double) { return c.l_pclFs->fGetFileSystem() > 0; },
     [](const ST_COLLECTORS& c) -> const char* { return c.l_pclFs->fGetFSInfo(); }},
    {"io", [](ST_COLLECTORS& c, double elapsed) { return c.l_pclIo->fMGetIoStat(elapsed, 1, -1) != nullptr; },
     [](const ST_COLLECTORS& c) -> const char* { return c.l_pclIo->m_pStrDiskTAQ; }},
    {"nwt",
     [](ST_COLLECTORS& c, double elapsed) { return c.l_pclNwt->fMGetNetworkStat(elapsed, -1) != nullptr; },
     [](const ST_COLLECTORS& c) { return c.l_pclNwt->m_pstrNetworkInfo; }},
    {"proc", [](ST_COLLECTORS& c, double) { return c.l_pclProc->fMGetProc(0) != nullptr; },
     [](const ST_COLLECTORS& c) -> const char* { return c.l_pclProc->m_pstrProcessInfo; }},
};

std::optional<TABLE_FORM>& fTableForm()
{
    static std::optional<TABLE_FORM> form;
    return form;
}

// Keeps what is printed on standard output away from it while it lives. The process collector prints a line
// for each process, which whoever reads the tables has not asked for.
class CQuietOutput
{
public:
    CQuietOutput() : m_clKept(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0))
    {
        const CDescriptor nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
        fflush(stdout);
        if (m_clKept && nowhere) dup2(nowhere.fGet(), STDOUT_FILENO);
    }
    ~CQuietOutput()
    {
        fflush(stdout);
        if (m_clKept) dup2(m_clKept.fGet(), STDOUT_FILENO);
    }
    CQuietOutput& operator=(CQuietOutput&&) = delete;

private:
    CDescriptor m_clKept;
};

bool fSampleTable(const ST_TABLE& table, ST_COLLECTORS& collectors, double elapsed)
{
    const CQuietOutput quiet;
    return table.l_fnSample(collectors, elapsed);
}

// sampled: the print routines of this pass, and whether each got a sample.
void fShowTables(ST_COLLECTORS& collectors, double elapsed, const std::map<std::string_view, bool>& sampled)
{
    for (const ST_TABLE& table : TABLES) {
        const auto print = sampled.find(table.l_strPrint);
        const bool made = print == sampled.end() ? fSampleTable(table, collectors, elapsed) : print->second;
        const char* text = table.l_fnText(collectors);
        if (!made || text == nullptr) continue;
        const std::string shown = fgFormatTable(text, *fTableForm());
        fwrite(shown.data(), 1, shown.size(), stdout);
    }
}

// One pass; elapsed is the time since the pass before, or since the collectors were built.
void fRunPass(ST_COLLECTORS& collectors, CClock::time_point& last)
{
    const CClock::time_point now = CClock::now();
    const std::chrono::duration<double> elapsed = now - last;
    last = now;
    std::map<std::string_view, bool> sampled;
    for (const ST_PRINT* print : fSelected())
        sampled[print->fSample()] = print->l_fnPrint(collectors, elapsed.count()) > 0;
    if (fTableForm()) fShowTables(collectors, elapsed.count(), sampled);
    fflush(stdout);
}
} // namespace

void test_lib(int, int intervalSeconds, int passCount)
{
    ST_COLLECTORS collectors;
    const int pause = static_cast<int>(static_cast<unsigned>(intervalSeconds) * 1000000U); // wraps at 32 bits
    CClock::time_point last = CClock::now();
    int passes = 0;
    int sleeps = 0;
    while (passCount == 0 || passes != passCount) {
        fprintf(stderr, "////////////////[ %d ]/////////////////// \n", ++passes);
        fRunPass(collectors, last);
        if (sleeps > 0) break; // two passes whatever the count: the second is the first with rates
        sleeps++;
        fgUSleep(pause);
    }
}

bool fgSelectPrints(const char* list)
{
    std::vector<const ST_PRINT*> selected;
    std::string_view rest(list);
    for (bool more = true; more;) {
        const size_t comma = rest.find(',');
        const ST_PRINT* print = fFindPrint(rest.substr(0, comma));
        if (print == nullptr) return false;
        selected.push_back(print);
        more = comma != std::string_view::npos;
        if (more) rest.remove_prefix(comma + 1);
    }
    fSelected() = selected;
    return true;
}

void fgSelectTables(TABLE_FORM form)
{
    g_nCpuStrType = g_nDiskStrType = g_nInterfaceStrType = 1;
    fTableForm() = form;
    fSelected().clear();
}

std::string fgPrintNames()
{
    std::string names;
    for (const ST_PRINT& print : PRINTS)
        names.append(names.empty() ? "" : ",").append(print.l_strName);
    return names;
}

void prog_exit(const char* text)
{
    perror(text);
}
