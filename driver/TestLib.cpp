#include "driver/TestLib.h"

#include <chrono>
#include <cstdio>
#include <memory>
#include <string_view>
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
#include "inventory/Disk_Info.h"
#include "inventory/Memory_Info.h"
#include "inventory/NIC_Info.h"
#include "inventory/Pci_Info.h"
#include "lib/NGFunctions.h"

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

void fPrintMemory(CMM_MEM_Info& memory)
{
    const CMM_MEM_Info* sample = memory.fMGetMem();
    print_mem(sample == nullptr ? nullptr : sample->m_pulMEM);
}

struct ST_PRINT
{
    const char* l_strName;
    void (*l_fnPrint)(ST_COLLECTORS& collectors, double elapsed);
};

const ST_PRINT PRINTS[] = {
    {"cpu", [](ST_COLLECTORS& c, double) { print_cpu_v2(c.l_pclCpu.get()); }},
    {"intr", [](ST_COLLECTORS& c, double elapsed) { print_cpu_intr(c.l_pclCpu.get(), elapsed); }},
    {"la", [](ST_COLLECTORS& c, double) { print_la(c.l_pclLa->fMGetLoadAvg()); }},
    {"vm", [](ST_COLLECTORS& c, double elapsed) { print_vm(c.l_pclVm->fMGetVmStat(elapsed)); }},
    {"mem", [](ST_COLLECTORS& c, double) { fPrintMemory(*c.l_pclMem); }},
    {"swp", [](ST_COLLECTORS& c, double) { print_swp(c.l_pclMem->fMGetSwap()); }},
    {"memcnt", [](ST_COLLECTORS& c, double) { prnit_memcnt(c.l_pclMem.get()); }},
    {"fs", [](ST_COLLECTORS& c, double) { print_fs_v2(c.l_pclFs.get()); }},
    {"io", [](ST_COLLECTORS& c, double elapsed) { print_io_v2(c.l_pclIo.get(), elapsed); }},
    {"nwt", [](ST_COLLECTORS& c, double elapsed) { print_nwt_info(c.l_pclNwt.get(), elapsed); }},
    {"proc", [](ST_COLLECTORS& c, double) { print_proc_v2(c.l_pclProc.get()); }},
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

// One pass; elapsed is the time since the pass before, or since the collectors were built.
void fRunPass(ST_COLLECTORS& collectors, CClock::time_point& last)
{
    const CClock::time_point now = CClock::now();
    const std::chrono::duration<double> elapsed = now - last;
    last = now;
    for (const ST_PRINT* print : fSelected())
        print->l_fnPrint(collectors, elapsed.count());
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
