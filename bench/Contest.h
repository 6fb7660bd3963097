#pragma once

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

// Contests between ways to do the same work: they run in turn, round after round, in one process, so that
// what the machine does meanwhile hits all of them alike. Costs are medians over the rounds; ratios are
// medians of the rounds' own ratios to the first contender.

// Cost of one piece of work, microseconds.
struct ST_COST
{
    double l_dUser;
    double l_dSystem;
    double l_dWall;
    double fCpu() const { return l_dUser + l_dSystem; }
};

struct ST_CONTENDER
{
    std::string l_strName;
    std::function<int()> l_fnRun; // does the work once and returns how many pieces it was
    std::vector<ST_COST> l_stRounds = {};
    int l_nPieces = 0; // of the last run
};

// Runs every contender once unmeasured, then rounds times repeats times each.
void fgRunContest(std::vector<ST_CONTENDER>& contenders, int rounds, int repeats);

double fgMedian(std::vector<double> values);

// Median over the rounds of a figure of each.
double fgMedianOf(const ST_CONTENDER& contender, const std::function<double(const ST_COST&)>& figure);

// Median of the rounds' ratios of CPU time to another contender; low and high, when given, get the range.
double fgRatio(const ST_CONTENDER& contender, const ST_CONTENDER& to, double* low = nullptr,
               double* high = nullptr);

// The table of a contest, a line a contender.
void fgPrintContest(FILE* out, const std::vector<ST_CONTENDER>& contenders, const char* title);

// What was measured on: processor, kernel, compiler.
void fgPrintMachine(FILE* out);

// A check of a figure against its limit; prints a line and returns whether it holds.
bool fgCheckFigure(FILE* out, const char* what, double value, double limit);
