#include "bench/Contest.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <sys/resource.h>
#include <sys/utsname.h>

namespace
{
constexpr int SLOW_EVERY = 6;       // rounds
constexpr double LEAST_PART = 0.98; // of the first's pieces: what begins and ends meanwhile is less

double fMicroseconds(const timeval& time)
{
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_usec);
}

double fWall()
{
    const std::chrono::duration<double, std::micro> time =
        std::chrono::steady_clock::now().time_since_epoch();
    return time.count();
}

void fRun(ST_CONTENDER& contender)
{
    contender.l_nPieces = contender.l_fnRun();
    contender.l_nFewest = std::min(contender.l_nFewest, contender.l_nPieces);
}

ST_COST fMeasure(ST_CONTENDER& contender, int repeats)
{
    double pieces = 0;
    const ST_COST before = contender.l_fnClock();
    const double start = fWall();
    for (int i = 0; i < repeats; i++) {
        fRun(contender);
        pieces += contender.l_nPieces;
    }
    const double end = fWall();
    const ST_COST after = contender.l_fnClock();
    return {(after.l_dUser - before.l_dUser) / pieces, (after.l_dSystem - before.l_dSystem) / pieces,
            (end - start) / pieces, pieces / repeats};
}

// Of the rounds in which both took part.
std::vector<double> fRatios(const ST_CONTENDER& contender, const ST_CONTENDER& to,
                            const std::function<double(const ST_COST&)>& figure)
{
    std::vector<double> ratios;
    for (const auto& [round, cost] : contender.l_stRounds)
        if (const auto other = to.l_stRounds.find(round); other != to.l_stRounds.end())
            ratios.push_back(figure(cost) / figure(other->second));
    return ratios;
}
} // namespace

ST_COST fgTime(const rusage& usage)
{
    return {fMicroseconds(usage.ru_utime), fMicroseconds(usage.ru_stime), 0};
}

ST_COST fgOwnTime()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return fgTime(usage);
}

void fgRunContest(std::vector<ST_CONTENDER>& contenders, int rounds, int repeats,
                  const std::function<void()>& before)
{
    for (ST_CONTENDER& contender : contenders)
        contender.l_nFewest = contender.l_nPieces = contender.l_fnRun();
    for (int round = 0; round < rounds; round++)
        for (size_t i = 0; i < contenders.size(); i++) {
            // each round starts with another one, so that none always follows the same neighbour
            ST_CONTENDER& contender = contenders[(i + static_cast<size_t>(round)) % contenders.size()];
            if (contender.l_bSlow && round % SLOW_EVERY != 0) continue;
            before();
            contender.l_stRounds[round] = fMeasure(contender, contender.l_bSlow ? 1 : repeats);
        }
}

const ST_CONTENDER* fgContender(const std::vector<ST_CONTENDER>& contenders, std::string_view name)
{
    for (const ST_CONTENDER& contender : contenders)
        if (contender.l_strName == name) return &contender;
    return nullptr;
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
    for (const auto& [round, cost] : contender.l_stRounds)
        values.push_back(figure(cost));
    return fgMedian(values);
}

double fgMeanOf(const ST_CONTENDER& contender, const std::function<double(const ST_COST&)>& figure)
{
    double sum = 0;
    for (const auto& [round, cost] : contender.l_stRounds)
        sum += figure(cost);
    return sum / static_cast<double>(contender.l_stRounds.size());
}

double fgRatio(const ST_CONTENDER& contender, const ST_CONTENDER& to, double* low, double* high)
{
    const std::vector<double> ratios = fRatios(contender, to, [](const ST_COST& c) { return c.fCpu(); });
    if (low != nullptr) *low = *std::min_element(ratios.begin(), ratios.end());
    if (high != nullptr) *high = *std::max_element(ratios.begin(), ratios.end());
    return fgMedian(ratios);
}

void fgPrintContest(FILE* out, const std::vector<ST_CONTENDER>& contenders, const char* title)
{
    fprintf(out, "\n%s\n%-16s %6s %6s %7s %8s %8s %8s %19s %8s   %s\n", title, "", "pieces", "rounds",
            "user us", "sys us", "wall us", "cpu us", "(lowest, highest)", "ratio",
            "(lowest, highest) of cpu to the first");
    for (const ST_CONTENDER& contender : contenders) {
        std::vector<double> costs;
        for (const auto& [round, cost] : contender.l_stRounds)
            costs.push_back(cost.fCpu());
        const auto [least, most] = std::minmax_element(costs.begin(), costs.end());
        double low = 0;
        double high = 0;
        const double ratio = fgRatio(contender, contenders.front(), &low, &high);
        fprintf(out, "%-16s %6d %6zu %7.2f %8.2f %8.2f %8.2f (%8.2f,%8.2f) %8.3f   (%.3f, %.3f)\n",
                contender.l_strName.c_str(), contender.l_nPieces, costs.size(),
                fgMeanOf(contender, [](const ST_COST& c) { return c.l_dUser; }),
                fgMeanOf(contender, [](const ST_COST& c) { return c.l_dSystem; }),
                fgMedianOf(contender, [](const ST_COST& c) { return c.l_dWall; }), fgMedian(costs), *least,
                *most, ratio, low, high);
    }
}

int fgCheckPieces(FILE* out, const std::vector<ST_CONTENDER>& contenders, int least)
{
    int losers = 0;
    for (const ST_CONTENDER& contender : contenders) {
        const double part =
            fgMedian(fRatios(contender, contenders.front(), [](const ST_COST& c) { return c.l_dPieces; }));
        if (contender.l_nFewest >= least && part >= LEAST_PART) continue;
        fprintf(out, "%s LOSES ROWS: as few as %d, mostly %.3f of the first's; %d at least are there\n",
                contender.l_strName.c_str(), contender.l_nFewest, part, least);
        losers++;
    }
    return losers;
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
