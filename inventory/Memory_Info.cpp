#include "inventory/Memory_Info.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "driver/RunConfig.h"
#include "lib/HostFile.h"
#include "lib/Owners.h"
#include "lib/ShellText.h"

namespace
{
constexpr int COUNT_SIZE = 10; // bytes of the output that are looked at: nine digits and the terminator
}

unsigned CMemory_Info::GetMemoryNum()
{
    const std::string path = fgShellWord(CHostPath("/proc/iomem").fGet(), "/");
    const std::string command = "cat " + path + " | grep 'System RAM' | wc -l";
    if (g_nPrint == 1) fprintf(stderr, "Memory popen command : %s\n", command.c_str());
    const COwnedPipe pipe(popen(command.c_str(), "re"));
    char line[COUNT_SIZE];
    if (pipe == nullptr || fgets(line, sizeof(line), pipe.get()) == nullptr) return 0;
    return m_nMemoryNum = static_cast<unsigned>(strtol(line, nullptr, 10));
}
