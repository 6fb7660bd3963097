#include "tests/TestSupport.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "lib/FixedText.h"

namespace
{
std::string fMakeFolder()
{
    std::string name = (fs::temp_directory_path() / "hostmetrics-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) abort();
    return name;
}

constexpr char HOST_ROOT[] = "HOSTMETRICS_HOST_ROOT";
constexpr char APART[] = "HOSTMETRICS_TEST_APART";

void fRunApart(const std::string& enter)
{
    const ST_TEST_RUN may = fgRunCommand(enter + "true");
    if (may.l_nStatus != 0) GTEST_SKIP() << "no namespaces here: " << may.l_strErr;
    const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info();
    const ST_TEST_RUN run =
        fgRunCommand(std::string(APART) + "=1 " + enter + fs::read_symlink("/proc/self/exe").string() +
                     " --gtest_filter=" + test->test_suite_name() + "." + test->name());
    EXPECT_EQ(run.l_nStatus, 0) << run.l_strOut << run.l_strErr;
    const size_t skipped = run.l_strOut.find("Skipped\n");
    if (skipped != std::string::npos)
        GTEST_SKIP() << run.l_strOut.substr(skipped + 8, run.l_strOut.find('\n', skipped + 8) - skipped - 8);
}
} // namespace

// Folders of the tree are real, its files are links: a test may replace one without touching the staged tree.
CTestTree::CTestTree() : m_strTop(fMakeFolder()), m_strOldFolder(fs::current_path().string())
{
    const fs::path staged(HOSTMETRICS_RUNTIME);
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(staged)) {
        const fs::path target = m_strTop / entry.path().lexically_relative(staged);
        if (entry.is_directory())
            fs::create_directories(target);
        else if (access(entry.path().c_str(), X_OK) == 0) // a script, nothing that a program left there
            fs::create_symlink(entry.path(), target);
    }
    fs::current_path(fPath("agent/bin"));
}

CTestTree::~CTestTree()
{
    fs::current_path(m_strOldFolder);
    std::error_code ignored;
    fs::remove_all(m_strTop, ignored);
}

void CTestTree::fReplaceScript(std::string_view below, std::string_view text) const
{
    const std::string path = fPath(below);
    fs::remove(path);
    fgWriteFile(path, text);
    fs::permissions(path, fs::perms::owner_all);
}

void CTestTree::fScript(std::string_view name, std::string_view text) const
{
    fReplaceScript("agent/bin/shell/LINUX/" + std::string(name), "#!/bin/sh\n" + std::string(text) + "\n");
}

CTestHost::~CTestHost()
{
    g_strHostRoot[0] = '\0';
    unsetenv(HOST_ROOT);
}

void CTestHost::fMove(std::string_view root) const
{
    fgCopyText(g_strHostRoot, (fs::path(HOSTMETRICS_FIXTURES) / root).string());
    if (m_bScripts) setenv(HOST_ROOT, g_strHostRoot, 1);
}

CTestLog::CTestLog() : m_strFolder(fMakeFolder() + "/"), m_pclLog(new COmniLog(LOG_DETAIL, "TEST", 2))
{
    m_pclLog->fSetLogPath(m_strFolder.c_str());
    m_pclLog->fSetLogSize(64, 1);
    m_pclLog->fSetLogModeBit("DEBUG");
    g_pclOmniLog = m_pclLog;
}

CTestLog::~CTestLog()
{
    m_pclLog->fSetLogModeBit("NOLOG");
    g_pclOmniLog = nullptr;
    delete m_pclLog;
    fs::remove_all(m_strFolder);
}

std::vector<std::string> CTestLog::fLines() const
{
    std::vector<std::string> lines;
    for (const std::string& name : fgNames(m_strFolder))
        for (const std::string& line : fgSplit(fgReadFile(m_strFolder + name), "\n"))
            if (!line.empty()) lines.push_back(line.substr(line.find(']') + 1));
    return lines;
}

int CTestLog::fCount(std::string_view text) const
{
    const auto holds = [text](const std::string& line) { return line.find(text) != std::string::npos; };
    return static_cast<int>(std::ranges::count_if(fLines(), holds));
}

void fgWriteFile(const std::string& path, std::string_view text)
{
    fs::create_directories(fs::absolute(path).parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

std::string fgReadFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string fgFixture(std::string_view name)
{
    return fgReadFile((fs::path(HOSTMETRICS_FIXTURES) / name).string());
}

std::vector<std::vector<std::string>> fgCases(std::string_view name)
{
    std::vector<std::vector<std::string>> cases;
    for (const std::string& line : fgSplit(fgFixture(name), "\n"))
        if (!line.empty()) cases.push_back(fgSplit(line, " | "));
    EXPECT_FALSE(cases.empty()) << name;
    return cases;
}

std::vector<std::string> fgSplit(std::string_view text, std::string_view separator)
{
    std::vector<std::string> parts;
    for (size_t end; (end = text.find(separator)) != text.npos; text.remove_prefix(end + separator.size()))
        parts.emplace_back(text.substr(0, end));
    parts.emplace_back(text);
    return parts;
}

ST_TEST_RUN fgRunCommand(const std::string& line)
{
    const std::string folder = fMakeFolder();
    const std::string command = "( " + line + " ) >" + folder + "/out 2>" + folder + "/err </dev/null";
    const int status = system(command.c_str());
    ST_TEST_RUN run{WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
                    fgReadFile(folder + "/out"), fgReadFile(folder + "/err")};
    fs::remove_all(folder);
    return run;
}

bool fgIsApart(const std::string& options, const std::string& enter)
{
    if (getenv(APART) != nullptr) return true;
    fRunApart("unshare " + options + (geteuid() == 0 ? "" : " --map-root-user") + " sh -c '" + enter +
              R"( && exec "$0" "$@"' )");
    return false;
}

std::string fgReadable(std::string_view table)
{
    std::string text;
    for (const std::string& part : fgSplit(table, "\x03\x1F"))
        text += part;
    return text;
}

bool fgAwait(const std::function<bool()>& so)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!so()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

std::string fgTold(const std::function<void()>& call)
{
    testing::internal::CaptureStderr();
    call();
    return testing::internal::GetCapturedStderr();
}

std::vector<std::string> fgNames(const std::string& folder)
{
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder))
        names.push_back(entry.path().filename());
    std::ranges::sort(names);
    return names;
}

void fgCheckTranscript(const std::string& name)
{
    const std::string expected = fgFixture(name);
    std::string text;
    for (const std::string& line : fgSplit(expected, "\n")) {
        if (!line.starts_with("$ ") && !line.starts_with("# ")) continue;
        text += line + "\n";
        if (line[0] == '#') continue;
        const ST_TEST_RUN run = fgRunCommand(line.substr(2));
        text += fgReadable(run.l_strOut);
        if (!text.ends_with('\n')) text += "[no newline]\n";
        text += run.l_strErr;
        if (run.l_nStatus != 0) text += "[" + std::to_string(run.l_nStatus) + "]\n";
    }
    EXPECT_EQ(expected, text) << name;
}
