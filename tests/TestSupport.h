#pragma once

#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "driver/RunConfig.h"
#include "lib/OmniLog.h"

namespace fs = std::filesystem;

// What many tests stand on: a throw-away working tree, fixture machines, and a log that is read back. The
// deleted assignments forbid copies as well.

void fgWriteFile(const std::string& path, std::string_view text); // makes the folders above it

// A temporary runtime tree: the staged scripts by link, empty data folders of its own. While it lives the
// program's folder (agent/bin) is the working folder, as the library expects.
class CTestTree
{
public:
    CTestTree();
    ~CTestTree();
    CTestTree& operator=(CTestTree&&) = delete;
    const std::string& fTop() const { return m_strTop; }
    // A path of the tree from its top, such as fPath("agent/aproc/shell/x.dat").
    std::string fPath(std::string_view below) const { return m_strTop + "/" + std::string(below); }
    void fWrite(std::string_view below, std::string_view text) const { fgWriteFile(fPath(below), text); }
    // Replaces the link to one staged script by a script of the test's own, executable; path from the top.
    void fReplaceScript(std::string_view below, std::string_view text) const;
    // The same for one of the collectors' scripts, of which the text needs no first line.
    void fScript(std::string_view name, std::string_view text) const;

private:
    std::string m_strTop;
    std::string m_strOldFolder;
};

// Points the host root at a fixture, such as "linux-6.1/t0", or at any folder given by absolute path; that of
// the scripts, too, when they are to see it.
class CTestHost
{
public:
    explicit CTestHost(std::string_view root, bool scripts = false) : m_bScripts(scripts) { fMove(root); }
    ~CTestHost();
    CTestHost& operator=(CTestHost&&) = delete;
    void fMove(std::string_view root) const; // to the fixture's next moment

private:
    bool m_bScripts;
};

// Sets a global for the life of the object.
template <class T> class CTestSetting
{
public:
    CTestSetting(T& setting, T value) : m_rSetting(setting), m_tOld(setting) { setting = value; }
    ~CTestSetting() { m_rSetting = m_tOld; }
    CTestSetting& operator=(CTestSetting&&) = delete;

private:
    T& m_rSetting;
    T m_tOld;
};

// A log with all gates open in a folder of its own, in place of g_pclOmniLog.
class CTestLog
{
public:
    CTestLog();
    ~CTestLog();
    CTestLog& operator=(CTestLog&&) = delete;
    // The lines so far without their time, such as "[INFO][MM_CPU_Info.cpp]cpu read failed".
    std::vector<std::string> fLines() const;
    int fCount(std::string_view text) const; // lines that hold the text

private:
    std::string m_strFolder;
    COmniLog* m_pclLog;
};

// A test in front of a host of its own, the top of its tree, at first with nothing that collectors look for.
class CHostTest : public testing::Test
{
protected:
    const CTestTree m_clTree;
    const CTestHost m_clHost{m_clTree.fTop(), true};
    const CTestLog m_clLog;
    char m_strKey[6] = "agent";
    const CTestSetting<char*> m_clAgent{g_ptrAgentKey, m_strKey};
};

std::string fgReadFile(const std::string& path); // empty when it cannot be read
std::string fgFixture(std::string_view name);    // the text of a fixture's file
// Cases of a fixture's file, one a line, as their fields, between which stands " | ".
std::vector<std::vector<std::string>> fgCases(std::string_view name);
std::vector<std::string> fgSplit(std::string_view text, std::string_view separator);

// A child process, "sh -c" of the line, with its outputs and status.
struct ST_TEST_RUN
{
    int l_nStatus; // exit status, 128 + signal when a signal ended it
    std::string l_strOut;
    std::string l_strErr;
};
ST_TEST_RUN fgRunCommand(const std::string& line);

// True in namespaces of the test's own, where it may do as it likes. Outside it starts the program there once
// more, for the current test alone, passes on how that went and returns false. options are those of unshare,
// enter is a command of the shell that prepares what is inside; where it fails the test is skipped.
bool fgIsApart(const std::string& options, const std::string& enter);

// Numbers as a text, such as "1 0.25 3"; empty for null.
template <class T> std::string fgNumbers(const T* numbers, size_t count)
{
    std::ostringstream text;
    text.precision(12);
    for (size_t i = 0; numbers != nullptr && i < count; i++)
        text << (i > 0 ? " " : "") << numbers[i];
    return text.str();
}

// A table with its separators shown by their last byte alone: "NAME~USED~|CPUS~30.00~".
std::string fgReadable(std::string_view table);

// Waits until something is so, for at most 20 seconds; false when it never was.
bool fgAwait(const std::function<bool()>& so);

// What the call writes to standard error.
std::string fgTold(const std::function<void()>& call);

// The names in a folder, in order.
std::vector<std::string> fgNames(const std::string& folder);

// Runs the commands of a transcript below tests/fixtures and compares it with what they do. Behind a line
// "$ COMMAND" stands what it prints, errors last, tables without the first bytes of their separators; then
// its status, as in "[1]", unless that is 0. A line "# WHY" says what is shown.
void fgCheckTranscript(const std::string& name);
