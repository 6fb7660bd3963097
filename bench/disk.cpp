// A disk pass against a bare reader of /proc/diskstats on this host, and the cost a disk on hosts of made-up
// disks. Usage: hostmetrics_bench_disk [DISKS...], two different numbers or more

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "bench/Contest.h"
#include "collect/MM_IO_Info.h"
#include "driver/RunConfig.h"
#include "lib/FixedText.h"
#include "lib/Owners.h"

namespace
{
constexpr int ROUNDS = 15;
constexpr int MOST_DISKS = 1000000;
constexpr int LINES_PER_ROUND =
    50000; // lines read by a contender in a round, in as many passes as that takes

// The floor: the file opened, read to its end and closed; its lines are counted once.
class CBareReader
{
public:
    CBareReader() : m_nLines(0)
    {
        std::ifstream file(std::string(g_strHostRoot) + "/proc/diskstats");
        for (std::string line; std::getline(file, line);)
            m_nLines++;
    }
    int fRun()
    {
        char path[HOST_ROOT_SIZE + 32];
        snprintf(path, sizeof(path), "%s/proc/diskstats", g_strHostRoot);
        const CDescriptor file(open(path, O_RDONLY | O_CLOEXEC));
        while (read(file.fGet(), m_strText, sizeof(m_strText)) > 0)
            ;
        return m_nLines;
    }

private:
    int m_nLines;
    char m_strText[0x10000];
};

// A host root with the counters of so many disks; they do not move.
class CMadeUpHost
{
public:
    explicit CMadeUpHost(int disks)
        : m_strRoot(std::filesystem::temp_directory_path() /
                    ("hostmetrics-bench-" + std::to_string(getpid())))
    {
        std::filesystem::create_directories(m_strRoot + "/proc");
        std::ofstream file(m_strRoot + "/proc/diskstats");
        for (int i = 0; i < disks; i++)
            file << "   8  " << i * 16 << " disk" << i
                 << " 138113 17613 7125466 183599 89846 80470 6732352 35991 0 55444 235309 105405 66 5812200 "
                    "14495 18965 1222\n";
        fgCopyText(g_strHostRoot, m_strRoot);
    }
    ~CMadeUpHost()
    {
        g_strHostRoot[0] = '\0';
        std::filesystem::remove_all(m_strRoot);
    }
    CMadeUpHost(const CMadeUpHost&) = delete;
    CMadeUpHost& operator=(const CMadeUpHost&) = delete;

private:
    std::string m_strRoot;
};

// One pass of an output; microseconds are for each line of the file.
ST_CONTENDER fPass(const char* name, CMM_IO_Info& disks, int rows, int push, int lines)
{
    return {name, [&disks, rows, push, lines] {
                g_nDiskStrType = rows;
                disks.fMGetIoStat(1, push);
                return lines;
            }};
}

std::vector<ST_CONTENDER> fRun(const std::string& title)
{
    CBareReader bare;
    CMM_IO_Info text;
    CMM_IO_Info list;
    const int lines = bare.fRun();
    std::vector<ST_CONTENDER> contenders;
    contenders.push_back({"bare reader", [&bare] { return bare.fRun(); }});
    contenders.push_back(fPass("text pass", text, 1, -1, lines));
    contenders.push_back(fPass("push pass", text, 1, 1, lines));
    contenders.push_back(fPass("list pass", list, 0, -1, lines));
    fgRunContest(contenders, ROUNDS, std::max(1, LINES_PER_ROUND / std::max(1, lines)));
    fgPrintContest(stdout, contenders, (title + "; microseconds a line").c_str());
    return contenders;
}

double fCpu(const ST_CONTENDER& contender)
{
    return fgMedianOf(contender, [](const ST_COST& cost) { return cost.fCpu(); });
}
// The sizes to run, smallest first; fewer than two when there is nothing to compare.
std::vector<int> fSizes(int argc, char** argv)
{
    if (argc < 2) return {50, 800};
    std::vector<int> sizes;
    for (int i = 1; i < argc; i++) {
        const long size = strtol(argv[i], nullptr, 10);
        if (size < 1 || size > MOST_DISKS) return {};
        sizes.push_back(static_cast<int>(size));
    }
    std::sort(sizes.begin(), sizes.end());
    sizes.erase(std::unique(sizes.begin(), sizes.end()), sizes.end());
    return sizes;
}
} // namespace

int main(int argc, char** argv)
{
    const std::vector<int> sizes = fSizes(argc, argv);
    if (sizes.size() < 2) {
        fprintf(stderr,
                "hostmetrics_bench_disk: give two different numbers of disks or more, 1 to 1000000\n");
        return 2;
    }
    fgPrintMachine(stdout);
    g_nDiskMaxGatherCnt = 0;

    int missed = 0;
    const std::vector<ST_CONTENDER> live = fRun("this host's /proc/diskstats");
    missed +=
        fgCheckFigure(stdout, "text pass, CPU time to the bare reader's", fgRatio(live[1], live[0]), 1.10)
            ? 0
            : 1;
    std::vector<std::vector<ST_CONTENDER>> made;
    for (const int size : sizes) {
        const CMadeUpHost host(size);
        made.push_back(fRun(std::to_string(size) + " made-up disks"));
    }
    for (size_t i = 1; i < live.size(); i++)
        missed +=
            fgCheckFigure(stdout, (live[i].l_strName + ", CPU time a disk, most disks to fewest").c_str(),
                          fCpu(made.back()[i]) / fCpu(made.front()[i]), 1.50)
                ? 0
                : 1;
    return missed == 0 ? 0 : 1;
}
