#pragma once

#include <cstdio>
#include <memory>
#include <mntent.h>

// The mount table, in its order.
// "/dev/sda1 /srv/my\040data ext4 rw,relatime 0 0": blanks are octal (fs/proc_namespace.c).
class CMountTable
{
public:
    // Opens a table of the host. An object that is false, with errno set, could not.
    explicit CMountTable(const char* path);
    // Reads a stream from setmntent, which is the object's from now on.
    explicit CMountTable(FILE* file);
    ~CMountTable() { fClose(); }
    CMountTable(const CMountTable&) = delete;
    CMountTable& operator=(const CMountTable&) = delete;
    explicit operator bool() const { return m_pclFile != nullptr; }

    // The device, mount point and type of the next entry, as getmntent gives them; that also scans what else
    // there is, and takes three times as long. Nothing else of the record is for use. It holds until the next
    // is taken; null behind the last.
    const mntent* fNext();
    void fClose();

private:
    // Two paths of 4096 bytes, all of them octal, and what follows them; of a longer line the rest is lost.
    static constexpr size_t LINE_SIZE = 0xC000;
    bool fReadLine();

    FILE* m_pclFile;
    char m_strBuffer[4096]; // of the stream
    mntent m_stMount = {};
    std::unique_ptr<char[]> m_pstrLine = std::make_unique_for_overwrite<char[]>(LINE_SIZE);
};
