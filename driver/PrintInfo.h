#pragma once

// The print routines: each asks one collector for a sample and prints it for people on standard output. They
// return 1, or -1 when the collector gives no sample (nothing is printed then, but for the first line of
// print_cpu_v2). print_io, print_la, print_vm, print_mem and print_swp get what a collector returned instead,
// and return 0, with nothing printed, when that is null.

class CMM_CPU_Info;
class CMM_FS_Info;
class CMM_IO_Info;
class CMM_MEM_Info;
class CMM_NWT_Info;
class CMM_PROC_Info;
class CSSList;

// Number of processors, then shares of the machine and of each CPU, in percent.
int print_cpu_v2(CMM_CPU_Info* cpu);

// Interrupts per second over elapsed seconds, as a whole number. Returns 1 also when there is no sample.
int print_cpu_intr(CMM_CPU_Info* cpu, double elapsed);

// A line for each filesystem: KB in all, used and free, percent; inodes in all, used, free and available,
// percent; mount point, type and device.
int print_fs_v2(CMM_FS_Info* fs);

// A line for each disk of a result list, with KB read and written per second. Returns 0 also for a list
// without a head.
int print_io(CSSList* disks);

// A line for each disk, with operations and KB per second and the busy share, over elapsed seconds.
int print_io_v2(CMM_IO_Info* io, double elapsed);

// A line for each network interface, over elapsed seconds, on standard error: number, name, link word;
// packets, bytes and errors in and out per second; error percentages; collisions per second and per packet;
// port use in percent, all, in and out. The header in front names 13 columns where the lines have 16: kept,
// for who reads them.
int print_nwt_info(CMM_NWT_Info* network, double elapsed);

// These print one record that its collector returned.
int print_la(const double* average);      // load averages over 1, 5 and 15 minutes
int print_vm(const double* stat);         // CMM_VM_Info::fMGetVmStat
int print_mem(const unsigned long* mem);  // CMM_MEM_Info::m_pulMEM, kilobytes narrowed to 32 bits
int print_swp(const unsigned long* swap); // CMM_MEM_Info::fMGetSwap, narrowed to 32 bits

// Size of each memory module.
int prnit_memcnt(CMM_MEM_Info* mem);

// Runs a pass of the process table. It prints nothing of its own; the collector prints a line for each
// process from the second pass on.
int print_proc_v2(CMM_PROC_Info* proc);
