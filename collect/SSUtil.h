#pragma once

#include <sys/time.h>

// The sampling tools; every collector owns one of these. Nothing here locks.
class CSSUtil
{
public:
    CSSUtil();

    // Per-mille shares of n counters over one interval: pct[i] becomes (1000 x step of cur[i]) over the sum
    // of all steps, rounded half up, and cur is copied into old. Steps are unsigned, a falling counter gives
    // a huge one. Returns the sum of the steps narrowed to int; a sum of 0, or n below 1, counts and returns
    // as 1. The arrays have n entries each and do not overlap, here and below.
    int fGetCpuPct(int n, unsigned long long* pct, unsigned long long* cur, unsigned long long* old);

    // The same for signed counters that wrap at 32 bits: a negative step is taken as its low 32 bits, signed.
    // Each step is also stored in diff.
    int fGetCpuPct(int n, int* pct, long* cur, long* old, long* diff);

    // diff[i] = cur[i] - old[i] narrowed to int, old[i] = cur[i]. Returns the sum of the steps narrowed to
    // int; 0 for n below 1. A counter that fell gives a negative step: no wrap is recovered here, on purpose.
    int fGetAddition(int n, int* diff, long* cur, long* old);
    int fGetAddition(int n, int* diff, long* cur, long* old, long* unused);

    unsigned long fPage2k(unsigned long pages);                  // memory pages to kilobytes
    unsigned long fBlock2k(unsigned long blocks, int blockSize); // blocks of blockSize bytes to kilobytes

    // Seconds since the previous call by the wall clock. The first call returns an undefined interval: owners
    // call it once with their first sample and drop the value.
    double fGetElapsedTime();

    // A duration as "00:00:09", "00:12:09", "07:12:09" or "3 days 07:12:09"; below 0 counts as 0. The text is
    // in m_strHtime until the next call.
    char* fFormatTime(int seconds);

    // Local date and time of seconds since the epoch as "2026-05-20 07:12:09", in m_strStime until the next
    // call; empty when the time cannot be broken down.
    char* fGetLocalTime(long when);

    // Reads at most size - 1 bytes of a host file into buf, which is zeroed and terminated. In a file whose
    // path holds "cmdline" every NUL becomes a blank. Returns the bytes read; 0 for an empty file, when it
    // cannot be opened (buf is untouched then) or read.
    int fFile2Buff(const char* path, char* buf, int size);

    // Takes the line at *cursor into line, at most size - 1 bytes, and moves the cursor behind its newline;
    // the rest of line is zero. Returns the bytes taken plus 1. An empty line, or the end of the text,
    // returns 0 and leaves the cursor: it ends every loop over lines, on purpose. A longer line is cut, and
    // the cursor stands on its first byte not taken.
    int fBuff2Line(char** cursor, char* line, int size);

    // Copies src to dst: size bytes are zeroed, then the whole text, or size - 1 bytes of one longer than
    // size. A text of exactly size bytes is copied whole and its terminator lands behind them, on purpose:
    // dst has size + 1 bytes. Returns the bytes copied.
    int fStr2Str(char* dst, const char* src, int size);

    char* fSkipWs(const char* p);    // first byte that is no white space
    char* fSkipToken(const char* p); // behind the white space and the word that follow

    // Sizes for people, in a buffer that all objects share until the next call of any of the four. None at
    // all is "0", and "0 M" of megabytes.
    char* fKbyteToForm(unsigned long kb);        // kilobytes as "1.5 M", by 1024
    char* fMbyteToForm(unsigned long mb);        // megabytes as "1.5 G", by 1024
    char* fMbyteTo1000Form(unsigned long mb);    // megabytes as "1.5 G", by 1000
    char* fMbyteTo1000FormInt(unsigned long mb); // megabytes as "1 G", by 1000, cut

    void fSetEachCpuPct(int n, float* src, float* acc);           // acc[i] += src[i]
    void fSetAvgCpuPct(int n, float* sum, float* avg, int count); // avg[i] = sum[i] / count
    void fTestWhatEver() {}                                       // places for a debugger to stop
    void fStopHere(const char*) {}

    int m_nPGShift; // log2 of the page size less 10: pages to kilobytes by a shift
    char m_strHtime[36];
    char m_strStime[36];
    timeval m_stOldTime; // of the previous fGetElapsedTime
};

// Seconds between two times of the wall clock. The microseconds pass through single precision first, which
// changes the last digits: kept, so that rates stay comparable with those recorded before.
double fgElapsedSeconds(const timeval& from, const timeval& to);
