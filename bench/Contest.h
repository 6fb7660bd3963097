#pragma once

#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <vector>

// Contests between ways to do the same work: they run in turn, round after round, so that what the machine
// does meanwhile hits all of them alike. Costs are medians over the rounds; ratios are medians of the rounds'
// own ratios to the first contender.

// Cost of one piece of work, microseconds.
struct ST_COST
{
    double l_dUser;
    double l_dSystem;
    double l_dWall;
    double l_dPieces = 0; // that a run had, not of a clock
    double fCpu() const { return l_dUser + l_dSystem; }
};

ST_COST fgTime(const rusage& usage);
ST_COST fgOwnTime(); // that this process has used so far

struct ST_CONTENDER
{
    std::string l_strName;
    std::function<int()> l_fnRun; // does the work once and returns how many pieces it was
    // Of a contender in another process its CPU time so far; the wall time is taken here.
    std::function<ST_COST()> l_fnClock = fgOwnTime;
    bool l_bSlow = false; // takes part in every sixth round only, with one run
    std::map<int, ST_COST> l_stRounds = {};
    int l_nPieces = 0; // of the last run
    int l_nFewest = 0; // of all runs
};

// Runs every contender once unmeasured, then rounds times repeats times each. What is called before each of
// these is not measured.
void fgRunContest(
    std::vector<ST_CONTENDER>& contenders, int rounds, int repeats,
    const std::function<void()>& before = [] {});

// The contender of that name, null when it is not there.
const ST_CONTENDER* fgContender(const std::vector<ST_CONTENDER>& contenders, std::string_view name);

double fgMedian(std::vector<double> values);

// Median over the rounds of a figure of each.
double fgMedianOf(const ST_CONTENDER& contender, const std::function<double(const ST_COST&)>& figure);

// Mean over the rounds: for user and system time apart, which the kernel counts in clock ticks. A round has
// few.
double fgMeanOf(const ST_CONTENDER& contender, const std::function<double(const ST_COST&)>& figure);

// Median, over the rounds in which both took part, of the ratios of CPU time to another contender; low and
// high, when given, get the range.
double fgRatio(const ST_CONTENDER& contender, const ST_CONTENDER& to, double* low = nullptr,
               double* high = nullptr);

// The table of a contest, a line a contender.
void fgPrintContest(FILE* out, const std::vector<ST_CONTENDER>& contenders, const char* title);

// How many contenders lost pieces: had fewer than that in some run, or mostly less than 98 % of the first's.
// Prints a line for each.
int fgCheckPieces(FILE* out, const std::vector<ST_CONTENDER>& contenders, int least);

// What was measured on: processor, kernel, compiler.
void fgPrintMachine(FILE* out);

// A check of a figure against its limit; prints a line and returns whether it holds.
bool fgCheckFigure(FILE* out, const char* what, double value, double limit);
