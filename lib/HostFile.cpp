#include "lib/HostFile.h"

#include <cstdio>
#include <cstring>
#include <fcntl.h>

namespace
{
constexpr size_t TEXT_START_SIZE = 0x10000; // bytes; doubled when a file fills it
}

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

CHostText::CHostText() : m_clText(TEXT_START_SIZE) {}

bool CHostText::fRead(const char* path)
{
    m_nLength = m_nAt = 0;
    m_clText[0] = '\0';
    const CDescriptor file = fgOpenHostFile(path);
    if (!file) return false;
    ssize_t taken = 0;
    size_t length = 0;
    while ((taken = read(file.fGet(), m_clText.data() + length, m_clText.size() - 1 - length)) > 0) {
        length += static_cast<size_t>(taken);
        if (length + 1 == m_clText.size()) m_clText.resize(2 * m_clText.size());
    }
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
