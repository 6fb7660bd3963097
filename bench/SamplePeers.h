#pragma once

#include <functional>
#include <map>
#include <string>

// The collectors that are compared.
enum SAMPLE
{
    SAMPLE_CPU,
    SAMPLE_LOAD,
    SAMPLE_VM,
    SAMPLE_MEMORY,
    SAMPLE_SWAP,
    SAMPLE_FILESYSTEMS,
    SAMPLE_DISKS,
    SAMPLE_NETWORK
};

struct ST_SAMPLE_CALL
{
    std::function<void()> l_fnRun;
    bool l_bSameFiles = true; // reads those that our sample reads, most of them
};

// What a library in this process does for the same figures, afresh with every call; without an entry where it
// has none. They write no rows. Empty when it is not installed.
using CSampleCalls = std::map<SAMPLE, ST_SAMPLE_CALL>;
CSampleCalls fgProc2Samples();
CSampleCalls fgStatgrabSamples();

// What psutil does, as expressions of Python.
const std::map<SAMPLE, std::string>& fgPsutilSamples();
