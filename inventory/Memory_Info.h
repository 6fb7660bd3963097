#pragma once

// How many regions of RAM the host has, by /proc/iomem. Nothing is logged. One caller thread per object.
class CMemory_Info
{
public:
    // Counts the lines of /proc/iomem with "System RAM", by a shell command that goes to standard error first
    // when g_nPrint is 1, and stores the count. Returns it; 0, which is stored as well, when the file cannot
    // be read: cat then says so on standard error. When no shell can be started or it has no output, the
    // result is 0 and the stored count stays.
    unsigned GetMemoryNum();

    unsigned MemoryNum() const { return m_nMemoryNum; } // the stored count, 0 at first

    unsigned m_nMemoryNum = 0;
};
