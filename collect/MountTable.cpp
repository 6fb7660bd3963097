#include "collect/MountTable.h"

#include <cstring>

#include "lib/HostFile.h"

namespace
{
// What the table writes for bytes that part its fields, and for its own escape.
struct ST_ESCAPE
{
    std::string_view l_strText;
    char l_chByte;
};
constexpr ST_ESCAPE ESCAPES[] = {
    {"\\040", ' '}, {"\\011", '\t'}, {"\\012", '\n'}, {"\\134", '\\'}, {"\\\\", '\\'}};

// The byte at text, which is behind it then.
char fTakeByte(const char*& text)
{
    if (*text == '\\')
        for (const ST_ESCAPE& escape : ESCAPES)
            if (strncmp(text, escape.l_strText.data(), escape.l_strText.size()) == 0) {
                text += escape.l_strText.size();
                return escape.l_chByte;
            }
    return *text++;
}

char* fSkipBlanks(char* text)
{
    while (*text == ' ' || *text == '\t')
        text++;
    return text;
}

// Cuts a field off the line, which begins with the next one then, and undoes its escapes in place.
char* fTakeField(char*& line)
{
    char* const field = line;
    char* end = field;
    bool hasEscapes = false;
    for (; *end != '\0' && *end != ' ' && *end != '\t'; end++)
        hasEscapes |= *end == '\\';
    line = end;
    if (*end != '\0') {
        *end = '\0';
        line = fSkipBlanks(end + 1);
    }
    if (!hasEscapes) return field;
    char* to = field;
    for (const char* from = field; *from != '\0';)
        *to++ = fTakeByte(from);
    *to = '\0';
    return field;
}
} // namespace

CMountTable::CMountTable(const char* path) : CMountTable(setmntent(CHostPath(path).fGet(), "r")) {}

CMountTable::CMountTable(FILE* file) : m_pclFile(file)
{
    // The stream's own buffer would be a quarter of the page that the kernel gives at once.
    if (m_pclFile != nullptr) setvbuf(m_pclFile, m_strBuffer, _IOFBF, sizeof(m_strBuffer));
}

const mntent* CMountTable::fNext()
{
    while (fReadLine()) {
        char* line = fSkipBlanks(m_pstrLine.get());
        if (*line == '\0' || *line == '#') continue;
        m_stMount.mnt_fsname = fTakeField(line);
        m_stMount.mnt_dir = fTakeField(line);
        m_stMount.mnt_type = fTakeField(line);
        if (strcmp(m_stMount.mnt_type, "autofs") != 0) return &m_stMount;
        m_stMount.mnt_opts = fTakeField(line);
        if (hasmntopt(&m_stMount, "ignore") == nullptr) return &m_stMount; // an automounter may want that
    }
    return nullptr;
}

void CMountTable::fClose()
{
    if (m_pclFile != nullptr) endmntent(m_pclFile);
    m_pclFile = nullptr;
}

// Without its newline and the blanks in front of that.
bool CMountTable::fReadLine()
{
    char* const line = m_pstrLine.get();
    if (fgets_unlocked(line, LINE_SIZE, m_pclFile) == nullptr) return false;
    char* end = strchr(line, '\n');
    if (end == nullptr) {
        for (int byte = 0; byte != '\n' && byte != EOF;)
            byte = getc_unlocked(m_pclFile);
        return true;
    }
    while (end != line && (end[-1] == ' ' || end[-1] == '\t'))
        end--;
    *end = '\0';
    return true;
}
