#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "driver/Tables.h"

// The console program's command line.
struct ST_OPTIONS
{
    std::string l_strHome;                                  // folder to work in; empty: the default one
    std::string l_strHostRoot;                              // empty: that of the environment, or this host
    std::string l_strPrint;                                 // print routines by name; empty: the default
    std::optional<TABLE_FORM> l_nTables;                    // empty: no tables
    std::vector<std::pair<std::string, long>> l_stSettings; // integer globals of the run configuration
    int l_nInterval = 1;                                    // seconds between two passes
    int l_nPassCount = 0;                                   // 0: no limit of the caller's
};

enum OPTIONS_RESULT
{
    OPTIONS_RUN,  // go on
    OPTIONS_DONE, // help or version was printed: exit status 0
    OPTIONS_BAD   // a line on standard error says what is wrong and what is accepted: exit status 2
};

// Reads the command line: long options, then the positional arguments INTERVAL, one that is ignored, and
// COUNT, each read as strtol does. A negative number is a positional argument.
OPTIONS_RESULT fgReadOptions(int argc, const char* const* argv, ST_OPTIONS& options);

// Puts the options into effect, after fgInitRunConfig: settings, tables, print routines, host root, and the
// folder to work in, by default the current one when it belongs to a runtime tree, else that of the tree
// installed with the program, if any. false after a line on standard error.
bool fgApplyOptions(const ST_OPTIONS& options);
