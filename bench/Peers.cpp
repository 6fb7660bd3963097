#include "bench/Peers.h"

#include <cctype>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
// Debian's, for which its python3-psutil is made, whatever else is found first.
constexpr char PYTHON[] = "/usr/bin/python3";

// "COUNT EXPRESSION" a line; answers with value, user and system time in microseconds.
constexpr char PYTHON_PROGRAM[] = R"(
import resource, sys, psutil
def used():
    usage = resource.getrusage(resource.RUSAGE_SELF)
    return usage.ru_utime * 1e6, usage.ru_stime * 1e6
for line in sys.stdin:
    times, expression = line.split(' ', 1)
    code = compile(expression.strip(), 'pass', 'eval')
    before = used()
    for _ in range(int(times)):
        value = eval(code)
    after = used()
    print(value if isinstance(value, int) else 1, after[0] - before[0], after[1] - before[1], flush=True)
)";

// An empty ATOPACCT keeps atop from switching on the kernel's process accounting.
constexpr const char* ENVIRONMENT[] = {"PATH=/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL=C", "HOME=/nonexistent",
                                       "ATOPACCT=", nullptr};

struct ST_PIPE
{
    ST_PIPE()
    {
        int fds[2] = {-1, -1};
        if (pipe2(fds, O_CLOEXEC) != 0) return;
        l_clRead.reset(fdopen(fds[0], "r"));
        l_clWrite.reset(fdopen(fds[1], "w"));
    }
    COwnedStream l_clRead;
    COwnedStream l_clWrite;
};

// Starts words[0] with these as standard input and output, /dev/null for null. Returns its pid, -1 when that
// failed.
pid_t fStart(const std::vector<std::string>& words, FILE* in, FILE* out)
{
    std::vector<char*> arguments;
    for (const std::string& word : words)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    FILE* const streams[] = {in, out, nullptr};
    for (int i = STDIN_FILENO; i <= STDERR_FILENO; i++)
        if (streams[i] != nullptr)
            posix_spawn_file_actions_adddup2(&actions, fileno(streams[i]), i);
        else
            posix_spawn_file_actions_addopen(&actions, i, "/dev/null", O_RDWR, 0);
    pid_t pid = -1;
    const int error = posix_spawnp(&pid, arguments[0], &actions, nullptr, arguments.data(),
                                   const_cast<char**>(ENVIRONMENT));
    posix_spawn_file_actions_destroy(&actions);
    return error == 0 ? pid : -1;
}

} // namespace

void fgSayMissing(FILE* out, const std::string& peer)
{
    fprintf(out, "%s is not installed, or fails: no comparison with it\n", peer.c_str());
}

int CCommandPeer::fRun()
{
    ST_PIPE output;
    const pid_t pid = fStart(m_strWords, nullptr, output.l_clWrite.get());
    if (pid < 0) return -1;
    output.l_clWrite.reset();
    int rows = 0;
    char* line = nullptr;
    size_t size = 0;
    while (getline(&line, &size, output.l_clRead.get()) >= 0)
        rows += fIsRow(line) ? 1 : 0;
    free(line);
    int status = 0;
    rusage usage = {};
    wait4(pid, &status, 0, &usage);
    const ST_COST used = fgTime(usage);
    m_stUsed.l_dUser += used.l_dUser;
    m_stUsed.l_dSystem += used.l_dSystem;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? rows : -1;
}

bool CCommandPeer::fIsRow(std::string_view line) const
{
    if (!m_strRowStart.empty()) return line.starts_with(m_strRowStart);
    const size_t first = line.find_first_not_of(' ');
    return first != line.npos && isdigit(static_cast<unsigned char>(line[first])) != 0;
}

CPythonPeer::CPythonPeer()
{
    ST_PIPE to;
    ST_PIPE from;
    m_nPid = fStart({PYTHON, "-I", "-c", PYTHON_PROGRAM}, to.l_clRead.get(), from.l_clWrite.get());
    if (m_nPid < 0) return;
    signal(SIGPIPE, SIG_IGN); // without psutil it ends at once
    m_clTo = std::move(to.l_clWrite);
    m_clFrom = std::move(from.l_clRead);
    from.l_clWrite.reset();
    m_bIsThere = fRun("psutil.cpu_count()", 1) > 0;
}

// Forked children of ours may hold the pipe open, so it is not the end of its input that ends it.
CPythonPeer::~CPythonPeer()
{
    if (m_nPid < 0) return;
    kill(m_nPid, SIGKILL);
    waitpid(m_nPid, nullptr, 0);
}

int CPythonPeer::fRun(const std::string& expression, int times)
{
    fprintf(m_clTo.get(), "%d %s\n", times, expression.c_str());
    fflush(m_clTo.get());
    int value = 0;
    double user = 0;
    double system = 0;
    if (fscanf(m_clFrom.get(), "%d %lf %lf", &value, &user, &system) != 3) return -1;
    m_stUsed.l_dUser += user;
    m_stUsed.l_dSystem += system;
    return value;
}
