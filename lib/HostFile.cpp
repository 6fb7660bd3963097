#include "lib/HostFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace
{
constexpr size_t TEXT_START_SIZE = 0x10000; // bytes; doubled when a file fills it
// Of a file that is kept. It means nothing to a reader, so no other file of procfs has it.
constexpr int MARK = O_APPEND;
} // namespace

CHostPath::CHostPath(const char* path) : m_pstrPath(path)
{
    if (g_strHostRoot[0] == '\0' || path[0] != '/') return;
    const int length = snprintf(m_strJoined, sizeof(m_strJoined), "%s%s", g_strHostRoot, path);
    if (length < 0 || static_cast<size_t>(length) >= sizeof(m_strJoined)) m_strJoined[0] = '\0';
    m_pstrPath = m_strJoined;
}

CDescriptor fgOpenHostFile(const char* path)
{
    return CDescriptor(open(CHostPath(path).fGet(), O_RDONLY | O_CLOEXEC));
}

COwnedStream fgOpenHostStream(const char* path)
{
    return COwnedStream(fopen(CHostPath(path).fGet(), "re"));
}

COwnedDir fgOpenHostDir(const char* path)
{
    return COwnedDir(opendir(CHostPath(path).fGet()));
}

ssize_t fgReadHostFile(const char* path, char* text, size_t size)
{
    return fgReadFile(CHostPath(path).fGet(), text, size);
}

ssize_t fgReadFile(const char* path, char* text, size_t size)
{
    const CDescriptor file(open(path, O_RDONLY | O_CLOEXEC));
    if (!file) return -1;
    const ssize_t length = pread(file.fGet(), text, size - 1, 0);
    if (length >= 0) text[length] = '\0';
    return length;
}

ssize_t CHostFile::fRead(char* text, size_t size)
{
    if (!fOpen()) return -1;
    const ssize_t length = fReadAt(text, size - 1, 0);
    if (length >= 0) text[length] = '\0';
    fClose();
    return length;
}

bool CHostFile::fOpen()
{
    if (m_bKept && g_strHostRoot[0] == '\0' && fIsOurs()) return true;
    fForget();
    m_nFd = open(CHostPath(m_pstrPath).fGet(), O_RDONLY | O_CLOEXEC);
    struct statfs system = {};
    struct stat file = {};
    if (m_nFd < 0 || g_strHostRoot[0] != '\0' || fstatfs(m_nFd, &system) != 0 ||
        system.f_type != PROC_SUPER_MAGIC || fstat(m_nFd, &file) != 0 || fcntl(m_nFd, F_SETFL, MARK) != 0)
        return m_nFd >= 0; // not kept
    m_bKept = true;
    m_ulDevice = file.st_dev;
    m_ulInode = file.st_ino;
    return true;
}

ssize_t CHostFile::fReadAt(char* to, size_t size, size_t offset)
{
    const ssize_t length = pread(m_nFd, to, size, static_cast<off_t>(offset));
    const int error = errno;
    if (length < 0) fForget(); // the next one opens it anew
    errno = error;
    return length;
}

void CHostFile::fClose()
{
    if (!m_bKept) fForget();
}

bool CHostFile::fIsOurs() const
{
    struct stat file = {};
    return (fcntl(m_nFd, F_GETFL) & (O_ACCMODE | MARK)) == (O_RDONLY | MARK) && fstat(m_nFd, &file) == 0 &&
           file.st_dev == m_ulDevice && file.st_ino == m_ulInode;
}

void CHostFile::fForget()
{
    if (m_nFd >= 0 && (!m_bKept || fIsOurs())) close(m_nFd);
    m_nFd = -1;
    m_bKept = false;
}

CHostText::CHostText() : m_clText(TEXT_START_SIZE) {}

bool CHostText::fRead(CHostFile& file)
{
    m_nLength = m_nAt = 0;
    m_clText[0] = '\0';
    if (!file.fOpen()) return false;
    ssize_t taken = 0;
    size_t length = 0;
    while ((taken = file.fReadAt(m_clText.data() + length, m_clText.size() - 1 - length, length)) > 0) {
        length += static_cast<size_t>(taken);
        if (length + 1 == m_clText.size()) m_clText.resize(2 * m_clText.size());
    }
    file.fClose();
    if (taken == 0) m_nLength = length;
    m_clText[m_nLength] = '\0';
    return taken == 0;
}

char* CHostText::fNextLine()
{
    if (m_nAt >= m_nLength) return nullptr;
    char* line = m_clText.data() + m_nAt;
    char* end = static_cast<char*>(memchr(line, '\n', m_nLength - m_nAt));
    if (end == nullptr) end = m_clText.data() + m_nLength;
    *end = '\0';
    m_nAt = static_cast<size_t>(end - m_clText.data()) + 1;
    return line;
}
