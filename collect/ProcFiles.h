#pragma once

#include <cstddef>
#include <span>
#include <string_view>
#include <sys/types.h>
#include <vector>

#include "driver/RunConfig.h"
#include "lib/NumberText.h"

// Reading the files of processes: the texts of a batch of processes, and the files that stay open from one
// pass to the next. Opening and closing cost the kernel more than what it writes into them.

constexpr size_t PROC_NAME_SIZE = 10241; // bytes of a command line, terminator included
constexpr size_t PROC_FILE_SIZE = 4096;  // bytes read of stat and status, terminator included

// The files of a process, in the order in which they are opened.
enum PROC_FILE
{
    PROC_FILE_STAT,
    PROC_FILE_FOLDER, // tells the owner; a file of a process that may not be dumped shows root instead
    PROC_FILE_STATM,
    PROC_FILE_IO,
    PROC_FILE_COMMAND,
    PROC_FILE_STATUS, // never kept: it is asked of few
    PROC_FILE_COUNT
};

// Opens the files of one process after another, and keeps up to a number of descriptors, all close-on-exec,
// until the next pass. A kept descriptor belongs to a process and not to its pid: when the process has ended,
// reading through it fails. Texts are read afresh every time.
class CProcFiles
{
public:
    CProcFiles() = default; // of no pass: files are opened from the root, and none is kept
    ~CProcFiles() { fCloseAll(); }
    CProcFiles(const CProcFiles&) = delete;
    CProcFiles& operator=(const CProcFiles&) = delete;

    // A pass begins. proc is the descriptor of its /proc, which stays the caller's; most is how many
    // descriptors may be kept, below 1 for none. It is never more than half of the soft limit of open files
    // (other objects take theirs), and none in a folder that is not the kernel's, or in another one than in
    // the pass before.
    void fBegin(int proc, int most);
    // The pass is over: what was kept of processes that it did not select is closed.
    void fEnd();

    bool fKeeps() const { return m_nMost > 0; } // in this pass
    // Files of this pass could not be opened for want of descriptors: processes that live may be missing.
    bool fRanOut() const { return m_bRanOut; }
    // Turns to a process. Only in ascending order of their pids are they kept.
    void fSelect(int pid);
    // Reads a file of it as far as size - 1 bytes and terminates the text; returns its length, 0 also when it
    // cannot be read.
    size_t fRead(PROC_FILE file, char* text, size_t size);
    // The uid of its owner; false when it has vanished.
    bool fOwner(int& uid);
    // Closes what is kept of it; true when that was some file, and reading it anew may find another process.
    bool fForget();

    // Closes everything; returns how many descriptors that were.
    int fCloseAll();

private:
    struct ST_KEPT
    {
        int l_nPid;
        int l_nFds[PROC_FILE_STATUS]; // -1: not kept
    };
    int fKept(PROC_FILE file) const;
    bool fKeep(PROC_FILE file, int fd);
    int fOpen(PROC_FILE file);
    int fClose(ST_KEPT& kept);
    const char* fPath(std::string_view name);

    int m_nProc = -1;
    unsigned long m_ulDevice = 0; // of the /proc whose files are kept
    int m_nMost = 0;
    int m_nHeld = 0;
    bool m_bRanOut = false;
    std::vector<ST_KEPT> m_clBefore; // of the pass before, by pid
    std::vector<ST_KEPT> m_clNow;    // of this one, by pid
    size_t m_nNext = 0;              // of m_clBefore, which has not been selected
    ST_KEPT* m_pstSelected = nullptr;
    char m_strPath[HOST_ROOT_SIZE + 64];
    char* m_pstrName = m_strPath; // where the names of files go
};

// Texts of one process's files, each terminated.
struct ST_PROC_TEXTS
{
    int l_nPid;
    int l_nUid;
    bool l_bReplaced; // another process had this pid in the pass before
    char* l_pstrStat;
    char* l_pstrNameEnd; // the last ")" of it, null when there is none
    char* l_pstrStatm;
    char* l_pstrIo; // empty where it cannot be read
    char* l_pstrCommand;
    size_t l_nCommand;  // bytes of the command line; 0 for a kernel thread or a zombie
    char* l_pstrStatus; // of those, beginning with the line of the name
};

// Texts of some processes, one behind another. They are read before any is parsed: each call into the kernel
// costs the parsers and the writers of rows their place in the processor's caches, and this way they lose it
// once for a batch.
class CProcBatch
{
public:
    // Reads the files of a process; false when it has vanished. The batch is not full.
    bool fRead(CProcFiles& files, int pid);
    bool fIsFull() const { return m_nCount == MOST || m_pstrAt > m_strTexts + USUAL; }
    std::span<ST_PROC_TEXTS> fTexts() { return {m_stTexts, m_nCount}; }
    void fClear();

private:
    static constexpr size_t MOST = 32;           // processes
    static constexpr size_t USUAL = MOST * 1024; // bytes of their texts; the last one's may go beyond
    static constexpr size_t STATM_SIZE = 256;    // seven numbers of at most 20 digits
    static constexpr size_t IO_SIZE = 512;       // seven lines of at most 44 bytes
    static constexpr size_t LONGEST = 2 * PROC_FILE_SIZE + STATM_SIZE + IO_SIZE + PROC_NAME_SIZE;

    bool fReadTexts(CProcFiles& files, ST_PROC_TEXTS& texts);
    size_t fTake(CProcFiles& files, PROC_FILE file, size_t size, char*& text);
    char* fPut(std::string_view first, std::string_view second);

    size_t m_nCount = 0;
    char* m_pstrAt = m_strTexts; // where the next text goes
    ST_PROC_TEXTS m_stTexts[MOST];
    char m_strTexts[USUAL + LONGEST];
};
