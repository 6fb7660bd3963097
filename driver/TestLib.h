#pragma once

#include <string>

#include "driver/Tables.h"

// The console program's passes.

// Builds every collector, samples in at most two passes with one sleep between them, and destroys the
// collectors. The first argument is not used. passCount 1 gives one pass and one sleep; every other count two
// passes. Pass markers go to standard error, figures to standard output.
void test_lib(int unused, int intervalSeconds, int passCount);

// Chooses what a pass prints: names separated by commas, in their order. false, and no change, when a name is
// unknown or the list is empty. Until it is called a pass prints "proc".
bool fgSelectPrints(const char* list);

// Turns the text output of every collector on, for collectors built later. A pass then shows the table of
// each collector that gave one, behind what fgSelectPrints chose: a call before this one chose nothing any
// more. A print routine's sample is the table's as well, since a second one would have no interval; with text
// output on, disks and network interfaces have no records to print.
void fgSelectTables(TABLE_FORM form);

// The names that fgSelectPrints knows, separated by commas.
std::string fgPrintNames();

// Prints the text and the system's error on standard error.
void prog_exit(const char* text);
