#include "fuzz/Fuzz.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <linux/magic.h>
#include <sys/vfs.h>
#include <unistd.h>

#include "driver/RunConfig.h"
#include "lib/FixedText.h"
#include "lib/Owners.h"
#include "lib/ShellText.h"

namespace fs = std::filesystem;

namespace
{
constexpr char HOST[] = "../../host";
constexpr const char* FOLDERS[] = {"agent/bin",          "agent/aproc/shell", "agent/buffer",
                                   "host/etc/sysconfig", "host/proc/1",       "host/proc/net/bonding",
                                   "host/proc/sys/vm",   "host/srv"};

std::string& fScriptOutput()
{
    static std::string output;
    return output;
}
} // namespace

// The file of the run before goes: each is read at once, and names from an input would fill the folder.
// libFuzzer starts itself this way to merge and to minimise.
extern "C" int system(const char* line)
{
    constexpr std::string_view QUIET = "exec 2>/dev/null; ";
    static std::string file;
    std::string_view words(line);
    if (words.starts_with(QUIET)) words.remove_prefix(QUIET.size());
    if (!words.starts_with("../../utils/"))
        return reinterpret_cast<decltype(&system)>(dlsym(RTLD_NEXT, "system"))(line);
    for (const std::string_view end : {" 2> /dev/null", " 2>&1", "&"})
        if (words.ends_with(end)) words.remove_suffix(end.size());
    fgFuzzMust(fgIsShellSafe(words, " />"), "a command line has words alone");
    unlink(file.c_str());
    file = words.substr(words.rfind(' ') + 1);
    if (file.starts_with("../aproc/")) fgFuzzWrite(file.c_str(), fScriptOutput());
    return 0;
}

extern "C" FILE* popen(const char*, const char*)
{
    fgFuzzWrite("../aproc/pipe", fScriptOutput());
    return fopen("../aproc/pipe", "re");
}

extern "C" int pclose(FILE* stream)
{
    return fclose(stream);
}

// The folder of processes passes for the kernel's, so that their files are kept open where that is wanted.
extern "C" int fstatfs(int, struct statfs* system) noexcept
{
    *system = {};
    system->f_type = PROC_SUPER_MAGIC;
    return 0;
}

void fgFuzzScript(std::string_view output)
{
    fScriptOutput() = output;
}

const CFuzzTarget*& CFuzzTarget::fFirst()
{
    static const CFuzzTarget* first = nullptr;
    return first;
}

void CFuzzTarget::fTake(std::string_view input) const
{
    const auto bytes = std::make_unique<char[]>(input.size());
    std::copy(input.begin(), input.end(), bytes.get());
    m_fnTake({bytes.get(), input.size()});
}

std::string_view fgFuzzPart(std::string_view& input)
{
    const size_t end = input.find('\f');
    const std::string_view part = input.substr(0, end);
    input.remove_prefix(end == input.npos ? input.size() : end + 1);
    return part;
}

CFuzzText::CFuzzText(std::string_view text)
{
    text = text.substr(0, text.find('\0')); // so that the terminator is the last byte
    m_pstrText = std::make_unique<char[]>(text.size() + 1);
    std::copy(text.begin(), text.end(), m_pstrText.get());
}

void fgFuzzMust(bool isSo, const char* what)
{
    if (isSo) return;
    fprintf(stderr, "not so: %s\n", what);
    abort();
}

void fgFuzzWrite(const char* path, std::string_view text)
{
    const CDescriptor file(open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    fgFuzzMust(write(file.fGet(), text.data(), text.size()) == static_cast<ssize_t>(text.size()), path);
}

std::string fgFuzzHost(std::string_view path)
{
    return HOST + std::string(path);
}

CFuzzTree::CFuzzTree()
    : m_strTop((fs::temp_directory_path() / "hostmetrics-fuzz-XXXXXX").string()),
      m_strOldFolder(fs::current_path().string())
{
    fgFuzzMust(mkdtemp(m_strTop.data()) != nullptr, "a folder of its own");
    for (const char* folder : FOLDERS)
        fs::create_directories(fs::path(m_strTop) / folder);
    fs::current_path(fs::path(m_strTop) / "agent/bin");
    fgCopyText(g_strHostRoot, HOST);
}

CFuzzTree::~CFuzzTree()
{
    g_strHostRoot[0] = '\0';
    fs::current_path(m_strOldFolder);
    std::error_code ignored;
    fs::remove_all(m_strTop, ignored);
}
