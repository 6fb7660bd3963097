#pragma once

#include <cstddef>

// Scripts of the runtime tree and the files that their output is redirected into. Both are named relative to
// the program's folder; the host root does not apply to them.

// Runs a command line of any length through the shell and waits for it; with "&" at its end the shell returns
// at once. The status is not examined: what a command is for shows in what it leaves behind.
void fgRunShellLine(const char* line);

// Composes a command line, runs it through the shell and waits for it. A script that fails leaves an
// empty or missing file, and its reader says what that means. A line of 1024 bytes or more is not run. Where
// the line itself says where errors go ("2> /dev/null", "2>&1") the shell keeps quiet, too: it would complain
// of a folder for results that is not there, whatever stands behind that in the line.
[[gnu::format(printf, 1, 2)]] void fgRunShell(const char* format, ...);

// Reads the first line of a file, newline included, at most size - 1 bytes. Returns its length; 0 for a
// missing or empty file.
size_t fgReadFirstLine(const char* path, char* line, size_t size);
template <size_t N> size_t fgReadFirstLine(const char* path, char (&line)[N])
{
    return fgReadFirstLine(path, line, N);
}
