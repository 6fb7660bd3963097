#pragma once

#include <climits>
#include <cstddef>
#include <sys/types.h>
#include <vector>

#include "driver/RunConfig.h"
#include "lib/Owners.h"

// The one place where g_strHostRoot is put in front of a path of the observed host. Only absolute paths get
// it: the program's own files are named relative to its folder. Callers pass the path as the host has it.

class CHostPath
{
public:
    // path stays the caller's and must outlive the object. A path that does not fit is empty, so that it
    // opens nothing.
    explicit CHostPath(const char* path);
    CHostPath(const CHostPath&) = delete;
    CHostPath& operator=(const CHostPath&) = delete;
    const char* fGet() const { return m_pstrPath; }

private:
    char m_strJoined[HOST_ROOT_SIZE + PATH_MAX];
    const char* m_pstrPath;
};

// Opens a file of the host for reading, close-on-exec. The owner is empty, with errno set, on failure.
CDescriptor fgOpenHostFile(const char* path);
COwnedStream fgOpenHostStream(const char* path);
COwnedDir fgOpenHostDir(const char* path);

// Reads at most size - 1 bytes of a host file in one read and terminates the text; size is at least 1. What
// lies behind the terminator is left as it was. Returns the bytes read, 0 for an empty file, -1 on failure.
ssize_t fgReadHostFile(const char* path, char* text, size_t size);

// The same for a path that CHostPath has already turned into the one to open.
ssize_t fgReadFile(const char* path, char* text, size_t size);

// A file of the host that is read again and again, such as /proc/stat. One of the kernel's own (procfs) stays
// open from one read to the next, since opening and closing it costs as much as what the kernel writes into a
// small one; each read is fresh all the same, but a file that is mounted over it later is not seen. Every
// other file, and all below a host root, are opened for each read: by then another file may have that name.
// The descriptor is close-on-exec. Who closes all descriptors gives its number to another file: that one is
// neither read nor closed.
class CHostFile
{
public:
    explicit CHostFile(const char* path) : m_pstrPath(path) {} // the text outlives the object
    ~CHostFile() { fForget(); }
    CHostFile(const CHostFile&) = delete;
    CHostFile& operator=(const CHostFile&) = delete;

    // As fgReadHostFile.
    ssize_t fRead(char* text, size_t size);

    // For what takes several reads: opens the file, false with errno set; reads at most size bytes from an
    // offset, -1 with errno set on failure, which ends the reading; ends it.
    bool fOpen();
    ssize_t fReadAt(char* to, size_t size, size_t offset);
    void fClose();

private:
    bool fIsOurs() const;
    void fForget();

    const char* m_pstrPath;
    int m_nFd = -1;
    bool m_bKept = false;
    dev_t m_ulDevice = 0; // of what is kept open
    ino_t m_ulInode = 0;
};

// A whole file of the host, whatever its length. The memory is kept from one file to the next.
class CHostText
{
public:
    CHostText();

    // Reads the file to its end; the kernel gives its tables in pieces of a page, whatever is asked for. On
    // false, with errno set, it cannot be opened or read, and the text is empty.
    bool fRead(CHostFile& file);

    // The text, terminated, never null; valid until the next fRead.
    const char* fGet() const { return m_clText.data(); }

    // The next line without its newline, which is overwritten; null behind the last. A line without a newline
    // at the end of the file counts.
    char* fNextLine();

private:
    std::vector<char> m_clText;
    size_t m_nLength = 0;
    size_t m_nAt = 0; // where the next line begins
};
