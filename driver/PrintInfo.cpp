#include "driver/PrintInfo.h"

#include <climits>
#include <cmath>
#include <cstdio>
#include <ctime>

#include "collect/MM_CPU_Info.h"
#include "collect/MM_FS_Info.h"
#include "collect/MM_IO_Info.h"
#include "collect/MM_MEM_Info.h"
#include "collect/MM_NWT_Info.h"
#include "collect/MM_PROC_Info.h"
#include "collect/MM_VM_Info.h"

namespace
{
double fPercent(unsigned long long share)
{
    return static_cast<double>(share) / 10.0;
}

// The whole part; 0 for what is no number, the nearest int for what lies beyond.
int fWhole(double value)
{
    if (std::isnan(value)) return 0;
    if (value >= INT_MAX) return INT_MAX;
    if (value <= INT_MIN) return INT_MIN;
    return static_cast<int>(value);
}

unsigned fNarrow(unsigned long value)
{
    return static_cast<unsigned>(value);
}
} // namespace

int print_cpu_v2(CMM_CPU_Info* cpu)
{
    printf("physical cpu : %d \n", cpu->fMGetPhyCpuCnt());
    const unsigned long long* share = cpu->fMGetCpu();
    if (share == nullptr) return -1;
    printf(" Total cpu : %4.1f%% %4.1f%% %4.1f%% %4.1f%% %4.1f%%\n", fPercent(share[CPU_USER]),
           fPercent(share[CPU_NICE]), fPercent(share[CPU_SYSTEM]), fPercent(share[CPU_WAIT]),
           fPercent(share[CPU_IDLE]));
    for (int number = 0; (share = cpu->fMGetCpuNext()) != nullptr; number++)
        printf(" # %-3d cpu : %4.1f%%(us) %4.1f%%(ni) %4.1f%%(kn) %4.1f%%(wait) %4.1f%%(id)\n", number,
               fPercent(share[CPU_USER]), fPercent(share[CPU_NICE]), fPercent(share[CPU_SYSTEM]),
               fPercent(share[CPU_WAIT]), fPercent(share[CPU_IDLE]));
    return 1;
}

int print_cpu_intr(CMM_CPU_Info* cpu, double elapsed)
{
    const double* rate = cpu->fMGetCpuInterrupt(elapsed);
    if (rate != nullptr) printf(" cpu interrupt : %d\n", fWhole(*rate));
    return 1;
}

int print_la(const double* average)
{
    if (average == nullptr) return 0;
    printf(" la : %4.2f(1m) %4.2f(5m) %4.2f(15m)\n", average[0], average[1], average[2]);
    return 1;
}

int print_vm(const double* stat)
{
    if (stat == nullptr) return 0;
    printf("vm stat : %4.1f(rq) %4.1f(pi) %4.1f(po) %4.1f(si) %4.1f(so) %4.1f(pf) %4.1f(cs) %4.1f(picnt) "
           "%4.1f(pocnt)\n",
           stat[VM_RUN_QUEUE], stat[VM_PAGED_IN_KB], stat[VM_PAGED_OUT_KB], stat[VM_SWAPPED_IN],
           stat[VM_SWAPPED_OUT], stat[VM_FAULTS], stat[VM_SWITCHES], stat[VM_PAGE_INS], stat[VM_PAGE_OUTS]);
    return 1;
}

int print_mem(const unsigned long* mem)
{
    if (mem == nullptr) return 0;
    printf(" mem : %7u (T)KB %7u (U)KB %7u (F)KB  %7u (Buf)KB, %7u (Cache)KB\n", fNarrow(mem[MEM_TOTAL]),
           fNarrow(mem[MEM_USED]), fNarrow(mem[MEM_FREE]), fNarrow(mem[MEM_BUFFERS]),
           fNarrow(mem[MEM_CACHED]));
    return 1;
}

int print_swp(const unsigned long* swap)
{
    if (swap == nullptr) return 0;
    printf(" swp : %7u (T)KB %7u (U)KB %7u (F)KB, %7u(in), %7u(out)\n", fNarrow(swap[SWP_TOTAL]),
           fNarrow(swap[SWP_USED]), fNarrow(swap[SWP_FREE]), fNarrow(swap[SWP_IN]), fNarrow(swap[SWP_OUT]));
    return 1;
}

int prnit_memcnt(CMM_MEM_Info* mem)
{
    const int* sizes = mem->fMGetMemCnt();
    if (sizes == nullptr) return -1;
    for (int i = 0; i < mem->fMGetMemTotCnt(); i++)
        printf("index[%d] memsize [%d]\n", i, sizes[i]);
    return 1;
}

int print_fs_v2(CMM_FS_Info* fs)
{
    if (fs->fMGetFileSys() == nullptr) return -1;
    const _ST_FS* record = nullptr;
    for (int index = 0; (record = fs->fMGetFileSysNext()) != nullptr; index++)
        printf(" Fs  %03d: %7llu(T) %7llu(U) %7llu(F) %5.2f | %llu(T) %llu(U) %llu(F) %llu(A)%5.2f | "
               "%s %s %s\n",
               index, record->l_ulTotDskSize, record->l_ulUsdDskSize, record->l_ulFreDskSize,
               record->l_dDskUsage, record->l_ulTotIndSize, record->l_ulUsdIndSize, record->l_ulFreIndSize,
               record->l_ulAvaIndSize, record->l_dIndUsage, record->l_strFSname, record->l_strFSType,
               record->l_strDEVname);
    return 1;
}

int print_io(CSSList* disks)
{
    if (disks == nullptr || disks->fSlGetHeadNode() == nullptr) return 0;
    ST_SSNODE_T* node = disks->fSlGetHeadNode();
    for (int index = 0; (node = node->m_pstNext) != nullptr; index++) {
        const auto* disk = fgNodeElement<_ST_DISKIO>(node);
        printf(" Io  %03d: %5.2f %5.2f %-15s\n", index, disk->l_dRead_B, disk->l_dWrite_B,
               disk->l_strDEVname);
    }
    return 1;
}

int print_io_v2(CMM_IO_Info* io, double elapsed)
{
    if (io->fMGetIoStat(elapsed, 1, -1) == nullptr) return -1;
    const _ST_DISKIO* disk = nullptr;
    for (int index = 0; (disk = io->fMGetIoStatNext()) != nullptr; index++)
        printf(" Io  %03d: %5.2f([R]cnt/s) %5.2f([W]cnt/s) %5.2f([R]kb/s) %5.2f([W]kb/s) %5.2f(Busy) %-15s\n",
               index, disk->l_dRead_N, disk->l_dWrite_N, disk->l_dRead_B, disk->l_dWrite_B, disk->l_dBusy,
               disk->l_strDEVname);
    return 1;
}

int print_nwt_info(CMM_NWT_Info* network, double elapsed)
{
    if (network->fMGetNetworkStat(elapsed, -1) == nullptr) return -1;
    fputs("InterfaceName|LinkAlive|InPkt|OutPkt|InByte|OutByte|InErr|OutErr|InErrRate|OutErrRate|Collisions|"
          "CollisionRate|PortRate\n",
          stderr);
    const _ST_NETWORK* one = nullptr;
    for (int number = 1; (one = network->fMGetNetworkStatNext()) != nullptr; number++)
        fprintf(stderr,
                "%d|%s|%s|%3.2f|%3.2f|%3.2f|%3.2f|%3.2f|%3.2f|%3.2f|%3.2f|%3.2f|%3.2f|%3.6f|%3.6f|%3.6f\n",
                number, one->l_strIfName, one->l_strLinkAlive, one->l_dInPkt, one->l_dOutPkt, one->l_dInByte,
                one->l_dOutByte, one->l_dInErr, one->l_dOutErr, one->l_dInErrRate, one->l_dOutErrRate,
                one->l_dCollisions, one->l_dCollisionRate, one->l_dPortRate, one->l_dPortRxRate,
                one->l_dPortTxRate);
    return 1;
}

int print_proc_v2(CMM_PROC_Info* proc)
{
    // The clock is read around the pass, as a place to look when a pass takes long.
    [[maybe_unused]] const time_t before = time(nullptr);
    const char* table = proc->fMGetProc(0);
    [[maybe_unused]] const time_t after = time(nullptr);
    return table == nullptr ? -1 : 1;
}
