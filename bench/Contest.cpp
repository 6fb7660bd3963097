#include "bench/Contest.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <sys/resource.h>
#include <sys/utsname.h>

namespace
{
double fMicroseconds(const timeval& time)
{
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_usec);
}

ST_COST fNow()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    const std::chrono::duration<double, std::micro> wall =
        std::chrono::steady_clock::now().time_since_epoch();
    return {fMicroseconds(usage.ru_utime), fMicroseconds(usage.ru_stime), wall.count()};
}

ST_COST fMeasure(ST_CONTENDER& contender, int repeats)
{
    double pieces = 0;
    const ST_COST before = fNow();
    for (int i = 0; i < repeats; i++)
        pieces += contender.l_nPieces = contender.l_fnRun();
    const ST_COST after = fNow();
    return {(after.l_dUser - before.l_dUser) / pieces, (after.l_dSystem - before.l_dSystem) / pieces,
            (after.l_dWall - before.l_dWall) / pieces};
}
} // namespace

void fgRunContest(std::vector<ST_CONTENDER>& contenders, int rounds, int repeats)
{
    for (ST_CONTENDER& contender : contenders)
        contender.l_nPieces = contender.l_fnRun();
    for (int round = 0; round < rounds; round++)
        for (size_t i = 0; i < contenders.size(); i++) {
            // each round starts with another one, so that none always follows the same neighbour
            ST_CONTENDER& contender = contenders[(i + static_cast<size_t>(round)) % contenders.size()];
            contender.l_stRounds.push_back(fMeasure(contender, repeats));
        }
}

double fgMedian(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

double fgMedianOf(const ST_CONTENDER& contender, const std::function<double(const ST_COST&)>& figure)
{
    std::vector<double> values;
    std::transform(contender.l_stRounds.begin(), contender.l_stRounds.end(), std::back_inserter(values),
                   figure);
    return fgMedian(values);
}

double fgRatio(const ST_CONTENDER& contender, const ST_CONTENDER& to, double* low, double* high)
{
    std::vector<double> ratios;
    for (size_t i = 0; i < contender.l_stRounds.size(); i++)
        ratios.push_back(contender.l_stRounds[i].fCpu() / to.l_stRounds[i].fCpu());
    if (low != nullptr) *low = *std::min_element(ratios.begin(), ratios.end());
    if (high != nullptr) *high = *std::max_element(ratios.begin(), ratios.end());
    return fgMedian(ratios);
}

void fgPrintContest(FILE* out, const std::vector<ST_CONTENDER>& contenders, const char* title)
{
    fprintf(out, "\n%s\n%-14s %8s %8s %8s %8s %8s   %s\n", title, "", "pieces", "user us", "sys us", "cpu us",
            "wall us", "ratio of cpu to the first (lowest, highest)");
    for (const ST_CONTENDER& contender : contenders) {
        double low = 0;
        double high = 0;
        const double ratio = fgRatio(contender, contenders.front(), &low, &high);
        fprintf(out, "%-14s %8d %8.2f %8.2f %8.2f %8.2f   %.3f (%.3f, %.3f)\n", contender.l_strName.c_str(),
                contender.l_nPieces, fgMedianOf(contender, [](const ST_COST& c) { return c.l_dUser; }),
                fgMedianOf(contender, [](const ST_COST& c) { return c.l_dSystem; }),
                fgMedianOf(contender, [](const ST_COST& c) { return c.fCpu(); }),
                fgMedianOf(contender, [](const ST_COST& c) { return c.l_dWall; }), ratio, low, high);
    }
}

void fgPrintMachine(FILE* out)
{
    std::ifstream cpus("/proc/cpuinfo");
    std::string model = "unknown processor";
    for (std::string line; std::getline(cpus, line);)
        if (line.starts_with("model name")) {
            model = line.substr(line.find(':') + 2);
            break;
        }
    utsname names = {};
    uname(&names);
    fprintf(out, "%s; Linux %s; compiled by %s\n", model.c_str(), names.release, __VERSION__);
}

bool fgCheckFigure(FILE* out, const char* what, double value, double limit)
{
    const bool holds = value <= limit;
    fprintf(out, "%-72s %7.3f  limit %.3f  %s\n", what, value, limit, holds ? "met" : "NOT MET");
    return holds;
}
