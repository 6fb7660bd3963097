#include <algorithm>
#include <cmath>
#include <ctime>
#include <fcntl.h>
#include <future>
#include <sys/vfs.h>
#include <unistd.h>

#include "collect/MM_FS_Info.h"
#include "lib/Owners.h"
#include "tests/TestSupport.h"

// The program on whole hosts: what --tables=raw shows of two moments, t0 and what changed until t1, against
// the fixture's file "tables". That one has the separators by their last byte; a value there is the text
// itself or
//   #   any number (what statfs tells of the machine that runs the test, and the place in the folder /proc)
//   =N  N over the interval between the passes
//   @N  the time N seconds before the pass
//   $   the user that runs the test

namespace
{
// The host's folder in the tree, at t0. A pass begins with /proc/loadavg (--print la), a pipe here, so that
// it waits for fLetPass.
class CWholeHost
{
public:
    CWholeHost(const CTestTree& tree, const std::string& fixture) : m_strFolder(tree.fPath("host/"))
    {
        const std::string from = HOSTMETRICS_FIXTURES "/" + fixture;
        fgRunCommand("mkdir -p " + fRoot());
        fShell("cp -r " + from + "/t0 . && cp -r t0 t1 && cp -r " + from + "/t1 . && mkfifo gate");
        fShell("for t in t0 t1; do ln -sf $PWD/gate $t/proc/loadavg; done; cd root && ln -s ../t0/* .");
    }
    std::string fRoot() const { return m_strFolder + "root"; }
    void fMove() const { fShell("ln -s ../t1/proc next && mv -T next root/proc"); }
    bool fLetPass() const
    {
        const std::string gate = m_strFolder + "gate";
        return fgAwait([&] { return bool(CDescriptor(open(gate.c_str(), O_WRONLY | O_NONBLOCK))); });
    }

private:
    void fShell(const std::string& commands) const
    {
        const ST_TEST_RUN run = fgRunCommand("cd " + m_strFolder + " && " + commands);
        EXPECT_EQ(run.l_nStatus, 0) << run.l_strErr;
    }
    std::string m_strFolder;
};

// The values of one run.
class CValues
{
public:
    // Processes have a clock of their own.
    void fNewClock() { m_dStep = 0; }
    bool fMatchLines(const std::string& expected, const std::string& shown)
    {
        const size_t opener = expected[0] == '|' && shown[0] == '|' ? 1 : 0;
        const std::vector<std::string> wanted = fgSplit(expected.substr(opener), "~");
        const std::vector<std::string> found = fgSplit(shown.substr(opener), "~");
        const auto match = [this](const auto& a, const auto& b) { return fMatch(a, b); };
        return std::ranges::equal(wanted, found, match);
    }

private:
    bool fMatch(const std::string& expected, const std::string& shown)
    {
        char* end = nullptr;
        const double value = strtod(shown.c_str(), &end);
        const bool number = !shown.empty() && *end == '\0';
        const char kind = expected.empty() ? '\0' : expected[0];
        const double figure = kind == '\0' ? 0 : strtod(expected.c_str() + 1, nullptr);
        if (expected == "#") return number;
        if (expected == "$") return shown == m_strUser;
        if (kind == '=') return number && fIsRate(figure, value);
        if (kind != '@') return shown == expected;
        return number && value >= static_cast<double>(m_nBegin) - figure &&
               value <= static_cast<double>(time(nullptr)) - figure;
    }

    // The first rate tells the interval, and larger ones tell it better, so that each must fit those before.
    bool fIsRate(double step, double rate)
    {
        constexpr double ROUNDING = 0.00501;
        const bool first = m_dStep == 0;
        const bool fits = first ? step >= rate && step < rate * 60
                                : std::fabs(rate - m_dRate * step / m_dStep) <=
                                      ROUNDING * (1 + step / m_dStep) + rate * 1e-6;
        if (step > m_dStep) {
            m_dStep = step;
            m_dRate = rate;
        }
        return fits;
    }
    const time_t m_nBegin = time(nullptr);
    const std::string m_strUser = fgSplit(fgRunCommand("id -un").l_strOut, "\n")[0];
    double m_dStep = 0; // the largest so far, and its rate
    double m_dRate = 0;
};

// The processes of a table stand in the order of the folder: puts them in that of their pids.
void fSortProcesses(std::vector<std::string>& lines)
{
    const auto pid = [](const std::string& line) { return atol(line.c_str() + line.find('~') + 1); };
    const auto ends = [](const std::string& line) { return !line.starts_with('|'); };
    for (auto at = lines.begin(); at != lines.end(); at++)
        if (at->starts_with("INDEX~PID~"))
            std::ranges::sort(at + 1, std::find_if(at + 1, lines.end(), ends), {}, pid);
}

std::vector<std::string> fReadExpected(const std::string& fixture, const std::string& folder)
{
    struct statfs64 figures = {};
    statfs64(folder.c_str(), &figures);
    const bool small = figures.f_blocks * static_cast<unsigned long>(figures.f_bsize) / 1024 <= FS_SMALL;
    std::vector<std::string> lines;
    bool inFilesystems = false;
    for (const std::string& line : fgSplit(fgFixture(fixture + "/tables"), "\n")) {
        if (line.starts_with("INDEX~FSNAME~")) inFilesystems = true;
        if (line[0] != '#' && !(small && inFilesystems)) lines.push_back(line); // a small one is not reported
        if (line.find(FS_TABLE_END) != std::string::npos) inFilesystems = false;
    }
    return lines;
}
} // namespace

TEST(WholeHost, TablesAreThoseOfTheFormulas)
{
    for (const char* fixture : {"linux-2.4.21", "linux-2.6.32", "linux-6.12", "container"}) {
        SCOPED_TRACE(fixture);
        const CTestTree tree;
        const CWholeHost host(tree, fixture);
        const std::string markers = tree.fPath("markers");
        CValues values;
        auto running = std::async(std::launch::async, fgRunCommand,
                                  "timeout 60 " HOSTMETRICS_PROGRAM " --print la --tables=raw --host-root " +
                                      host.fRoot() + " 1 - 2 2>" + markers);
        EXPECT_TRUE(host.fLetPass());
        EXPECT_TRUE(fgAwait([&] { return fgReadFile(markers).find("[ 2 ]") != std::string::npos; }));
        host.fMove();
        EXPECT_TRUE(host.fLetPass());
        const ST_TEST_RUN run = running.get();
        EXPECT_EQ(run.l_nStatus, 0);

        std::vector<std::string> shown = fgSplit(fgReadable(run.l_strOut), "\n");
        fSortProcesses(shown);
        const std::vector<std::string> expected = fReadExpected(fixture, tree.fTop());
        ASSERT_EQ(shown.size(), expected.size()) << fgReadable(run.l_strOut);
        for (size_t line = 0; line < expected.size(); line++) {
            if (expected[line].starts_with("INDEX~PID~")) values.fNewClock();
            EXPECT_TRUE(values.fMatchLines(expected[line], shown[line])) << shown[line] << "\nis not\n"
                                                                         << expected[line];
        }
    }
}
