#include "collect/ProcFiles.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include "lib/HostFile.h"

namespace
{
constexpr std::string_view NAMES[PROC_FILE_COUNT] = {"/stat", "", "/statm", "/io", "/cmdline", "/status"};
constexpr unsigned long KERNEL_THREAD = 0x200000; // of the flags in stat (PF_KTHREAD)
constexpr int KERNEL_PARENT = 2;                  // kthreadd, which starts all kernel threads but itself

// The device of a folder of the kernel's process files, 0 of any other: what is kept of a plain file would
// not notice that another one has its name.
unsigned long fProcDevice(int proc)
{
    struct statfs system = {};
    struct stat folder = {};
    if (fstatfs(proc, &system) != 0 || system.f_type != PROC_SUPER_MAGIC || fstat(proc, &folder) != 0)
        return 0;
    return folder.st_dev;
}

// Descriptors that may be kept when most are wanted.
int fBudget(int most)
{
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return 0;
    return static_cast<int>(std::min(static_cast<rlim_t>(most), limit.rlim_cur / 2));
}

// The name of a kernel thread, of its stat text, in which close is the end of the name; empty for every other
// process, and for a name that status would show in another way.
std::string_view fKernelThread(const char* stat, const char* close, const char* end, int pid)
{
    if (close == nullptr || close + 4 > end) return {};
    CNumberScan scan(close + 3); // behind ") S"
    int parent = 0;
    if (!scan.fInt(parent) || (parent != KERNEL_PARENT && pid != KERNEL_PARENT)) return {};
    unsigned long flags = 0;
    if (!scan.fSkip(4) || !scan.fUnsigned(flags) || (flags & KERNEL_THREAD) == 0) return {};
    const auto* open = static_cast<const char*>(memchr(stat, '(', static_cast<size_t>(close - stat)));
    if (open == nullptr) return {};
    const std::string_view name(open + 1, static_cast<size_t>(close - open - 1));
    return name.find_first_of("\n\\") == std::string_view::npos ? name : std::string_view();
}
} // namespace

void CProcFiles::fBegin(int proc, int most)
{
    m_nProc = proc;
    m_bRanOut = false;
    m_nMost = most > 0 ? fBudget(most) : 0;
    const unsigned long device = m_nMost > 0 ? fProcDevice(proc) : 0;
    if (device == 0) m_nMost = 0;
    if (device != m_ulDevice || m_nHeld > m_nMost) fCloseAll();
    m_ulDevice = device;
    m_clBefore.swap(m_clNow);
    m_clNow.clear();
    m_nNext = 0;
    m_pstSelected = nullptr;
}

void CProcFiles::fEnd()
{
    for (; m_nNext < m_clBefore.size(); m_nNext++)
        fClose(m_clBefore[m_nNext]);
    m_clBefore.clear();
    m_pstSelected = nullptr;
    m_nProc = -1;
}

void CProcFiles::fSelect(int pid)
{
    char* start = m_nProc < 0 ? fgPutText(m_strPath, CHostPath("/proc/").fGet()) : m_strPath;
    m_pstrName = fgPutInteger(start, pid);
    m_pstSelected = nullptr;
    while (m_nNext < m_clBefore.size() && m_clBefore[m_nNext].l_nPid < pid)
        fClose(m_clBefore[m_nNext++]);
    if (!m_clNow.empty() && m_clNow.back().l_nPid >= pid) return;
    if (m_nNext < m_clBefore.size() && m_clBefore[m_nNext].l_nPid == pid)
        m_clNow.push_back(m_clBefore[m_nNext++]);
    else if (m_nHeld < m_nMost)
        m_clNow.push_back({pid, {-1, -1, -1, -1, -1}});
    else
        return;
    m_pstSelected = &m_clNow.back();
}

size_t CProcFiles::fRead(PROC_FILE file, char* text, size_t size)
{
    int fd = fKept(file);
    const bool isKept = fd >= 0;
    ssize_t length = -1;
    if (isKept || (fd = fOpen(file)) >= 0) length = pread(fd, text, size - 1, 0);
    if (fd >= 0 && !isKept && (length < 0 || !fKeep(file, fd))) close(fd);
    text[length > 0 ? length : 0] = '\0';
    return length > 0 ? static_cast<size_t>(length) : 0;
}

bool CProcFiles::fOwner(int& uid)
{
    int fd = fKept(PROC_FILE_FOLDER);
    const bool mayKeep = m_pstSelected != nullptr && m_nHeld < m_nMost;
    if (fd < 0 && mayKeep && (fd = fOpen(PROC_FILE_FOLDER)) >= 0 && !fKeep(PROC_FILE_FOLDER, fd)) {
        close(fd);
        fd = -1;
    }
    struct stat folder;
    const int folderOf = m_nProc < 0 ? AT_FDCWD : m_nProc;
    if ((fd >= 0 ? fstat(fd, &folder) : fstatat(folderOf, fPath(""), &folder, 0)) != 0) return false;
    uid = static_cast<int>(folder.st_uid);
    return true;
}

bool CProcFiles::fForget()
{
    return m_pstSelected != nullptr && fClose(*m_pstSelected) > 0;
}

int CProcFiles::fCloseAll()
{
    int closed = 0;
    for (size_t i = m_nNext; i < m_clBefore.size(); i++)
        closed += fClose(m_clBefore[i]);
    for (ST_KEPT& kept : m_clNow)
        closed += fClose(kept);
    m_clBefore.clear();
    m_clNow.clear();
    m_nNext = 0;
    m_pstSelected = nullptr;
    return closed;
}

int CProcFiles::fKept(PROC_FILE file) const
{
    return m_pstSelected != nullptr && file < PROC_FILE_STATUS ? m_pstSelected->l_nFds[file] : -1;
}

bool CProcFiles::fKeep(PROC_FILE file, int fd)
{
    if (m_pstSelected == nullptr || file >= PROC_FILE_STATUS || m_nHeld >= m_nMost) return false;
    m_pstSelected->l_nFds[file] = fd;
    m_nHeld++;
    return true;
}

// Opens a file of the selected process. When there are no descriptors left it gives all of its own back, and
// keeps none in this pass.
int CProcFiles::fOpen(PROC_FILE file)
{
    const int folder = m_nProc < 0 ? AT_FDCWD : m_nProc;
    const int flags = O_CLOEXEC | (file == PROC_FILE_FOLDER ? O_PATH | O_DIRECTORY : O_RDONLY);
    const int fd = openat(folder, fPath(NAMES[file]), flags);
    if (fd >= 0 || (errno != EMFILE && errno != ENFILE)) return fd;
    m_nMost = 0;
    const int again = fCloseAll() > 0 ? openat(folder, m_strPath, flags) : -1;
    if (again < 0) m_bRanOut = true;
    return again;
}

int CProcFiles::fClose(ST_KEPT& kept)
{
    int closed = 0;
    for (int& fd : kept.l_nFds) {
        if (fd < 0) continue;
        close(fd);
        fd = -1;
        closed++;
    }
    m_nHeld -= closed;
    return closed;
}

const char* CProcFiles::fPath(std::string_view name)
{
    *fgPutText(m_pstrName, name) = '\0';
    return m_strPath;
}

bool CProcBatch::fRead(CProcFiles& files, int pid)
{
    ST_PROC_TEXTS& texts = m_stTexts[m_nCount];
    char* const start = m_pstrAt;
    texts.l_nPid = pid;
    files.fSelect(pid);
    if (fReadTexts(files, texts)) {
        m_nCount++;
        return true;
    }
    m_pstrAt = start;
    return false;
}

void CProcBatch::fClear()
{
    m_nCount = 0;
    m_pstrAt = m_strTexts;
}

bool CProcBatch::fReadTexts(CProcFiles& files, ST_PROC_TEXTS& texts)
{
    size_t length = fTake(files, PROC_FILE_STAT, PROC_FILE_SIZE, texts.l_pstrStat);
    texts.l_bReplaced = length == 0 && files.fForget();
    if (texts.l_bReplaced) length = fTake(files, PROC_FILE_STAT, PROC_FILE_SIZE, texts.l_pstrStat);
    if (length == 0 || !files.fOwner(texts.l_nUid)) return false;
    // A kernel thread has neither memory nor a command line, and its name is known: for speed it is not
    // asked.
    const char* const end = texts.l_pstrStat + length;
    texts.l_pstrNameEnd = static_cast<char*>(memrchr(texts.l_pstrStat, ')', length));
    std::string_view thread;
    if (files.fKeeps()) thread = fKernelThread(texts.l_pstrStat, texts.l_pstrNameEnd, end, texts.l_nPid);
    if (!thread.empty())
        texts.l_pstrStatm = fPut("0 0 0 0 0 0 0", "");
    else if (fTake(files, PROC_FILE_STATM, STATM_SIZE, texts.l_pstrStatm) == 0)
        return false;
    fTake(files, PROC_FILE_IO, IO_SIZE, texts.l_pstrIo);
    texts.l_nCommand = 0;
    if (thread.empty())
        texts.l_nCommand = fTake(files, PROC_FILE_COMMAND, PROC_NAME_SIZE, texts.l_pstrCommand);
    else
        texts.l_pstrStatus = fPut("Name:\t", thread);
    return texts.l_nCommand > 0 || !thread.empty() ||
           fTake(files, PROC_FILE_STATUS, PROC_FILE_SIZE, texts.l_pstrStatus) > 0;
}

// Reads one file behind the others; returns its length, 0 also when it cannot be read.
size_t CProcBatch::fTake(CProcFiles& files, PROC_FILE file, size_t size, char*& text)
{
    text = m_pstrAt;
    const size_t length = files.fRead(file, text, size);
    m_pstrAt += length + 1;
    return length;
}

char* CProcBatch::fPut(std::string_view first, std::string_view second)
{
    char* const text = m_pstrAt;
    m_pstrAt = fgPutText(fgPutText(m_pstrAt, first), second);
    *m_pstrAt++ = '\0';
    return text;
}
