#include "driver/Options.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "driver/RunConfig.h"
#include "driver/TestLib.h"
#include "lib/FixedText.h"

namespace
{
constexpr char HOST_ROOT_VARIABLE[] = "HOSTMETRICS_HOST_ROOT"; // read by the scripts of the runtime tree
constexpr char USAGE[] =
    "Usage: hostmetrics [OPTION...] [INTERVAL [X [COUNT]]]\n"
    "Samples this host in two passes, INTERVAL seconds apart (default 1); with COUNT 1 in one pass,\n"
    "which shows no processes: their lines begin with the second.\n"
    "X is ignored. Figures go to standard output, those of nwt and pass markers to standard error.\n"
    "\n"
    "  --home DIR           work in DIR, the folder agent/bin of a runtime tree (default: the current "
    "folder\n"
    "                       when it is one, else that of the installed tree)\n"
    "  --host-root DIR      observe the host whose root is mounted at DIR\n"
    "  --print LIST         what a pass prints, separated by commas: %s (default: proc)\n"
    "  --tables[=FORM]      show each collector's text table after a pass, a line a row, as FORM: text\n"
    "                       (aligned columns, the default), raw (separators as they are), csv, json; "
    "nothing\n"
    "                       else is printed then but what --print asks for\n"
    "  --set NAME=VALUE     set an integer of the run configuration, such as g_nCpuUsedInWIO=1\n"
    "  --help               show this text\n"
    "  --version            show the version\n";

bool fComplain(const char* format, ...) __attribute__((format(printf, 1, 2)));
bool fComplain(const char* format, ...)
{
    char text[512];
    va_list values;
    va_start(values, format);
    vsnprintf(text, sizeof(text), format, values);
    va_end(values);
    fprintf(stderr, "hostmetrics: %s\n", text);
    return false;
}

bool fTakeSetting(const char* text, ST_OPTIONS& options)
{
    const char* equals = strchr(text, '=');
    char* end = nullptr;
    errno = 0;
    const long value = equals == nullptr ? 0 : strtol(equals + 1, &end, 10);
    if (equals == nullptr || equals == text || end == equals + 1 || *end != '\0' || errno != 0)
        return fComplain("--set takes NAME=VALUE with a decimal whole number, not '%s'", text);
    options.l_stSettings.emplace_back(std::string(text, equals), value);
    return true;
}

bool fTakeText(std::string& to, const char* option, const char* text)
{
    to = text;
    return !to.empty() || fComplain("%s takes a value that is not empty", option);
}

bool fTakeTables(const char* text, ST_OPTIONS& options)
{
    options.l_nTables = fgFindTableForm(text);
    return options.l_nTables.has_value() ||
           fComplain("--tables takes one of %s, not '%s'", fgTableFormNames().c_str(), text);
}

struct ST_OPTION
{
    const char* l_strName;
    bool (*l_fnTake)(const char* value, ST_OPTIONS& options);
    const char* l_strDefault = nullptr; // the value where none stands behind "="; null: the next argument
};

const ST_OPTION OPTIONS[] = {
    {"--home", [](const char* value, ST_OPTIONS& o) { return fTakeText(o.l_strHome, "--home", value); }},
    {"--host-root",
     [](const char* value, ST_OPTIONS& o) { return fTakeText(o.l_strHostRoot, "--host-root", value); }},
    {"--print", [](const char* value, ST_OPTIONS& o) { return fTakeText(o.l_strPrint, "--print", value); }},
    {"--set", fTakeSetting},
    {"--tables", fTakeTables, "text"},
};

const ST_OPTION* fFindOption(std::string_view name)
{
    for (const ST_OPTION& option : OPTIONS)
        if (name == option.l_strName) return &option;
    return nullptr;
}

bool fIsOption(const char* argument)
{
    return argument[0] == '-' && argument[1] != '\0' && strchr("0123456789", argument[1]) == nullptr;
}

// Takes one option with its value; at moves behind it.
bool fTakeOption(int argc, const char* const* argv, int& at, ST_OPTIONS& options)
{
    const std::string_view argument = argv[at++];
    const size_t equals = argument.find('=');
    const std::string name(argument.substr(0, equals));
    const ST_OPTION* option = fFindOption(name);
    if (name == "--help" || name == "--version") return fComplain("%s takes no value", name.c_str());
    if (option == nullptr)
        return fComplain("unknown option '%s'; accepted are --home DIR, --host-root DIR, --print LIST, "
                         "--tables[=FORM], --set NAME=VALUE, --help, --version",
                         name.c_str());
    if (equals != std::string_view::npos) return option->l_fnTake(argument.data() + equals + 1, options);
    if (option->l_strDefault != nullptr) return option->l_fnTake(option->l_strDefault, options);
    if (at >= argc) return fComplain("%s takes a value", name.c_str());
    return option->l_fnTake(argv[at++], options);
}

void fTakePositional(int argc, const char* const* argv, int first, ST_OPTIONS& options)
{
    if (first < argc) options.l_nInterval = static_cast<int>(strtol(argv[first], nullptr, 10));
    if (first + 2 < argc) options.l_nPassCount = static_cast<int>(strtol(argv[first + 2], nullptr, 10));
}

bool fApplySetting(const std::string& name, long value)
{
    switch (fgSetRunConfig(name.c_str(), value)) {
    case RUN_CONFIG_STORED:
        return true;
    case RUN_CONFIG_OUT_OF_RANGE:
        return fComplain("--set %s: %ld is out of range (a list's count is 0 to %d, others are 32-bit)",
                         name.c_str(), value, FILESYSTEM_ROWS);
    default:
        return fComplain(
            "--set knows no integer '%s'; accepted are the integers of the run configuration, such as "
            "g_nCpuStrType",
            name.c_str());
    }
}

// The folder to work in when none is named: that of the tree which was installed with the program, wherever
// it is now. Empty when there is no such tree, or when the current folder belongs to a tree already.
std::string fDefaultHome()
{
    constexpr char LAUNCHER[] = "../../utils/ETC/ShCmd"; // every tree has it
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof(path));
    if (access(LAUNCHER, X_OK) == 0 || length <= 0 || length == sizeof(path)) return {};
    const std::string_view program(path, static_cast<size_t>(length));
    std::string home(program.substr(0, program.rfind('/') + 1));
    home.append(HOSTMETRICS_HOME_FROM_PROGRAM);
    return access((home + "/" + LAUNCHER).c_str(), X_OK) == 0 ? home : std::string();
}

// Makes the host root absolute, since the working folder may change after it.
bool fApplyHostRoot(const std::string& option)
{
    const char* source = option.empty() ? HOST_ROOT_VARIABLE : "--host-root";
    const char* inherited = getenv(HOST_ROOT_VARIABLE);
    const std::string root = option.empty() && inherited != nullptr ? inherited : option;
    if (root.empty()) return true;
    struct stat status = {};
    char* path = realpath(root.c_str(), nullptr);
    const bool usable = path != nullptr && stat(path, &status) == 0 && S_ISDIR(status.st_mode) &&
                        strlen(path) < sizeof(g_strHostRoot);
    const std::string host = usable && strcmp(path, "/") != 0 ? path : "";
    fgCopyText(g_strHostRoot, host);
    setenv(HOST_ROOT_VARIABLE, host.c_str(), 1);
    free(path);
    return usable || fComplain("%s takes an existing folder with a path below %zu bytes, not '%s'", source,
                               sizeof(g_strHostRoot), root.c_str());
}

// At most half of the soft limit of open files goes to those that the process collector keeps: raises it to
// what that takes, as far as the hard limit goes.
void fRaiseFileLimit()
{
    if (g_nProcKeepFdMax <= 0) return;
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    const rlim_t wanted = 2 * static_cast<rlim_t>(g_nProcKeepFdMax);
    if (wanted <= limit.rlim_cur) return;
    limit.rlim_cur = std::min(wanted, limit.rlim_max);
    setrlimit(RLIMIT_NOFILE, &limit);
}
} // namespace

OPTIONS_RESULT fgReadOptions(int argc, const char* const* argv, ST_OPTIONS& options)
{
    int at = 1;
    while (at < argc && fIsOption(argv[at])) {
        const std::string_view argument = argv[at];
        if (argument == "--") {
            at++;
            break;
        }
        if (argument == "--help") {
            printf(USAGE, fgPrintNames().c_str());
            return OPTIONS_DONE;
        }
        if (argument == "--version") {
            printf("hostmetrics %s\n", HOSTMETRICS_VERSION);
            return OPTIONS_DONE;
        }
        if (!fTakeOption(argc, argv, at, options)) return OPTIONS_BAD;
    }
    fTakePositional(argc, argv, at, options);
    return OPTIONS_RUN;
}

bool fgApplyOptions(const ST_OPTIONS& options)
{
    for (const auto& [name, value] : options.l_stSettings)
        if (!fApplySetting(name, value)) return false;
    fRaiseFileLimit();
    if (options.l_nTables) fgSelectTables(*options.l_nTables);
    if (!options.l_strPrint.empty() && !fgSelectPrints(options.l_strPrint.c_str()))
        return fComplain("--print takes names separated by commas out of %s, not '%s'",
                         fgPrintNames().c_str(), options.l_strPrint.c_str());
    if (!fApplyHostRoot(options.l_strHostRoot)) return false;
    const std::string home = options.l_strHome.empty() ? fDefaultHome() : options.l_strHome;
    if (!home.empty() && chdir(home.c_str()) != 0)
        return fComplain("--home takes a folder to work in, not '%s': %s", home.c_str(), strerror(errno));
    return true;
}
