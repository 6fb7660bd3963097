#include <string>

#include "collect/MM_CPU_Info.h"
#include "collect/MM_IO_Info.h"
#include "collect/MM_NWT_Info.h"
#include "driver/RunConfig.h"
#include "fuzz/Fuzz.h"
#include "lib/FixedText.h"
#include "lib/InventoryFile.h"

// The records that inventory scripts leave. Two states of a file have a form feed between.

namespace
{
constexpr char FILE_RECORD[] = "../aproc/shell/record.dat";
constexpr int SMALL_SIZE = 16; // bytes that a buffer is said to have, so that short records make it grow

template <class TCheck> void fStates(std::string_view input, TCheck check)
{
    do {
        fgFuzzWrite(FILE_RECORD, fgFuzzPart(input));
        check();
    } while (!input.empty());
}

void fCpu(std::string_view input)
{
    g_nCpuStrType = 1;
    CMM_CPU_Info cpu;
    fgCopyText(cpu.m_strDataPath, FILE_RECORD);
    cpu.m_nCpuINVSize = SMALL_SIZE;
    fStates(input, [&] { fgFuzzMust(cpu.fGetCpuINV() != 0, "there is a result"); });
}

void fDisk(std::string_view input)
{
    g_nDiskStrType = 1;
    CMM_IO_Info disk;
    fgCopyText(disk.m_strDataPath, FILE_RECORD);
    fStates(input, [&] {
        disk.fGetDiskINV();
        disk.fDiskChangeCheck();
        fgFuzzMust(disk.fDiskChangeCheck() != 1, "what was seen has not changed");
    });
}

void fInterface(std::string_view input)
{
    g_nInterfaceStrType = g_nNetworkExtGather = 1;
    CMM_NWT_Info network;
    fgCopyText(network.m_strDataPath, FILE_RECORD);
    network.m_nInterfaceINVSize = network.m_nInterfaceNameSize = SMALL_SIZE;
    fStates(input, [&] {
        network.fGetInterfaceINV();
        network.fMatchNicName("eth0");
        network.fAddExtNicTAQ();
        network.fInterfaceChangeCheck();
        fgFuzzMust(network.fInterfaceChangeCheck() != 1, "what was seen has not changed");
    });
}

void fTable(std::string_view record)
{
    const std::string_view table = fgInventoryTable(record);
    fgFuzzMust(table.empty() || record.ends_with(table), "a table ends its record");
    fgHasLowerCase(record);
}

constexpr FUZZ_READER READERS[] = {fCpu, fDisk, fInterface, fTable};
const CFuzzTarget TARGET("inventory", [](std::string_view input) { fgFuzzDispatch(READERS, input); });
} // namespace
