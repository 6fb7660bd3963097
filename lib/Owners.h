#pragma once

#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <memory>
#include <unistd.h>
#include <utility>

// Owners of what C calls hand out.

struct CFreeDeleter
{
    void operator()(void* block) const { free(block); }
};
struct CStreamCloser
{
    void operator()(FILE* stream) const { fclose(stream); }
};
struct CPipeCloser
{
    void operator()(FILE* pipe) const { pclose(pipe); }
};
struct CDirCloser
{
    void operator()(DIR* dir) const { closedir(dir); }
};

using COwnedText = std::unique_ptr<char, CFreeDeleter>; // text from malloc
using COwnedStream = std::unique_ptr<FILE, CStreamCloser>;
using COwnedPipe = std::unique_ptr<FILE, CPipeCloser>; // from popen; waits for the command
using COwnedDir = std::unique_ptr<DIR, CDirCloser>;

// Owner of a file descriptor; -1 means none.
class CDescriptor
{
public:
    explicit CDescriptor(int fd = -1) : m_nFd(fd) {}
    ~CDescriptor()
    {
        if (m_nFd >= 0) close(m_nFd);
    }
    CDescriptor(CDescriptor&& other) noexcept : m_nFd(std::exchange(other.m_nFd, -1)) {}
    CDescriptor& operator=(CDescriptor&&) = delete;
    explicit operator bool() const { return m_nFd >= 0; }
    int fGet() const { return m_nFd; }

private:
    int m_nFd;
};
