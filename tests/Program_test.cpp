#include "driver/Options.h"

#include <numeric>
#include <tuple>

#include "collect/MM_INIT_Info.h"
#include "collect/MM_IO_Info.h"
#include "collect/MM_VM_Info.h"
#include "driver/PrintInfo.h"
#include "driver/RunConfig.h"
#include "tests/TestSupport.h"

// The console program, as a process of its own.

namespace
{
ST_TEST_RUN fRunProgram(const std::string& arguments)
{
    return fgRunCommand(HOSTMETRICS_PROGRAM " " + arguments);
}

constexpr char LIVE[] = "--home " HOSTMETRICS_RUNTIME "/agent/bin ";
} // namespace

TEST(Program, PositionalArgumentsKeepTheirPlainReading)
{
    const std::tuple<std::vector<const char*>, int, int> rows[] = {
        {{}, 1, 0},
        {{"7", "9"}, 7, 0},
        {{"-7", "-", "-3"}, -7, -3},
        {{"x", "9", "3y", "4"}, 0, 3},
        {{"--print", "cpu", "--set", "g_nPrint=1", "2", "-", "1"}, 2, 1},
        {{"--home=/tmp", "--", "5"}, 5, 0},
    };
    for (auto [arguments, interval, count] : rows) {
        ST_OPTIONS options;
        arguments.insert(arguments.begin(), "hostmetrics");
        EXPECT_EQ(fgReadOptions(static_cast<int>(arguments.size()), arguments.data(), options), OPTIONS_RUN);
        EXPECT_EQ(std::pair(options.l_nInterval, options.l_nPassCount), std::pair(interval, count));
    }
}

TEST(Program, RefusesBadOptionsWithALineThatHelps)
{
    const std::pair<const char*, const char*> rows[] = {
        {"--nothing", "--print LIST"},
        {"--print", "takes a value"},
        {"--print cpu,disk9", "cpu,intr,la,vm,"},
        {"--set g_nPrint", "NAME=VALUE"},
        {"--set g_nPrint=1x", "NAME=VALUE"},
        {"--set g_nPrint=99999999999999999999", "NAME=VALUE"},
        {"--set g_nPrint=4294967296", "out of range"},
        {"--set g_strHostRoot=1", "no integer"},
        {"--home /nowhere/at/all", "--home takes a folder"},
        {"--tables=xml", "text,raw,csv,json"},
        {"--tables=", "text,raw,csv,json"},
        {"--host-root /nowhere/at/all", "--host-root takes an existing folder"},
    };
    for (const auto& [arguments, helps] : rows) {
        const auto [status, out, err] = fRunProgram(arguments);
        EXPECT_EQ(std::pair(status, out), std::pair(2, std::string())) << arguments;
        EXPECT_NE(err.find(helps), std::string::npos) << arguments << ": " << err;
        EXPECT_EQ(err.find('\n'), err.size() - 1) << "one line: " << err;
    }
    EXPECT_NE(fRunProgram("--help").l_strOut.find("cpu,intr,la,vm,mem,swp,memcnt,fs,io,iokb,nwt,proc"),
              std::string::npos);
    EXPECT_EQ(fRunProgram("--version").l_strOut.find("hostmetrics 0."), 0U);
}

TEST(Program, RunsAtMostTwoPasses)
{
    const std::string first = "////////////////[ 1 ]/////////////////// \n";
    const std::string both = first + "////////////////[ 2 ]/////////////////// \n";
    const std::tuple<const char*, std::string, size_t> rows[] = {
        {"0", both, 6}, {"0 - 5", both, 6}, {"0 - -1", both, 6}, {"0 - 1", first, 1}};
    for (const auto& [counts, marks, lines] : rows) {
        const auto [status, out, err] =
            fRunProgram(LIVE + ("--host-root " HOSTMETRICS_FIXTURES "/linux-6.1/t0 " + std::string(counts)));
        EXPECT_EQ(std::tuple(status, err, fgSplit(out, "\n").size()), std::tuple(0, marks, lines))
            << counts << ": five processes, in the second pass";
    }
}

TEST(Program, PrintsWhatIsAskedFor)
{
    const CTestTree tree;
    const std::string where =
        "--home " + tree.fPath("agent/bin") + " --host-root " + tree.fTop() + " --print ";
    const auto print = [&](const char* what) { return fRunProgram(where + what + " 0 - 1").l_strOut; };
    tree.fReplaceScript("agent/bin/shell/LINUX/cpu_info", "#!/bin/sh\nprintf 2\n");
    fgWriteFile(tree.fPath("proc/stat"), "cpu  10 20 30 40 0\ncpu0 10 20 30 40 0\nintr 70\n");
    // The columns of a kernel whose second number is 5 or more; what runs here decides.
    const bool five = CMM_INIT_Info().fMLinux_Minor() >= 5;
    EXPECT_EQ(print("intr,cpu"),
              std::string(" cpu interrupt : 0\nphysical cpu : 2 \n") +
                  (five ? " Total cpu : 10.0% 20.0% 30.0%  0.0% 40.0%\n"
                          " # 0   cpu : 10.0%(us) 20.0%(ni) 30.0%(kn)  0.0%(wait) 40.0%(id)\n"
                        : " Total cpu :  8.3% 16.7% 25.0% 16.7% 33.3%\n"
                          " # 0   cpu :  8.3%(us) 16.7%(ni) 25.0%(kn) 16.7%(wait) 33.3%(id)\n"));
    fgWriteFile(tree.fPath("proc/stat"), "nothing\n");
    EXPECT_EQ(print("intr,cpu"), "physical cpu : 2 \n");
}

TEST(Program, PrintsDisks)
{
    const CTestTree tree;
    CTestHost host(HOSTMETRICS_FIXTURES "/linux-6.1/t0");
    CMM_IO_Info io;
    CMM_INIT_Info::m_pstOsVersion->l_nMajorNum = 3;
    ASSERT_NE(io.fMGetIoStat(2.0, 1, -1), nullptr);
    testing::internal::CaptureStdout();
    host.fMove("linux-6.1/t1");
    EXPECT_EQ(print_io_v2(&io, 2.0), 1);
    EXPECT_EQ(print_io(io.m_pclList), 1);
    const std::vector<std::string> lines = fgSplit(testing::internal::GetCapturedStdout(), "\n");
    EXPECT_EQ(lines[0],
              " Io  000: 100.00([R]cnt/s) 10.00([W]cnt/s) 2000.00([R]kb/s) 500.00([W]kb/s) 25.00(Busy) "
              "/dev/sda       ");
    EXPECT_EQ(lines[static_cast<size_t>(io.m_nNDev)], " Io  000: 2000.00 500.00 /dev/sda       ");
}

TEST(Program, PrintsLoadMemoryAndSwap)
{
    const CTestTree tree;
    tree.fReplaceScript("agent/bin/shell/LINUX/MemCntInfoLIN.sh",
                        "#!/bin/sh\nprintf '8192\\n0\\n16384\\n' >../aproc/shell/MemCntInfo.dat\n");
    const std::string prints =
        "--home " + tree.fPath("agent/bin") + " --print la,vm,mem,swp,memcnt --host-root ";
    const ST_TEST_RUN run = fRunProgram(prints + HOSTMETRICS_FIXTURES "/linux-6.12/t1 0 - 2");
    const std::string load = " la : 12.34(1m) 5.67(5m) 8.90(15m)\n";
    const std::string pass =
        " mem : 1000000 (T)KB  780000 (U)KB  220000 (F)KB    30000 (Buf)KB,   40000 (Cache)KB\n"
        " swp :   90000 (T)KB   20000 (U)KB   70000 (F)KB,     400(in),     800(out)\n"
        "index[0] memsize [8192]\n"
        "index[1] memsize [16384]\n";
    EXPECT_EQ(run.l_strOut, load + pass + load +
                                "vm stat :  2.0(rq)  0.0(pi)  0.0(po)  0.0(si)  0.0(so)  0.0(pf)  0.0(cs) "
                                " 0.0(picnt)  0.0(pocnt)\n" +
                                pass);
    double rates[VM_VALUES];
    std::iota(std::begin(rates), std::end(rates), 0);
    testing::internal::CaptureStdout();
    EXPECT_EQ(print_vm(rates), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "vm stat :  0.0(rq)  2.0(pi)  3.0(po)  4.0(si)  5.0(so)  7.0(pf)  9.0(cs) 12.0(picnt) "
              "13.0(pocnt)\n");
}

TEST(Program, ShowsTablesBehindPrints)
{
    const auto show = [](const std::string& arguments) {
        return fRunProgram(LIVE + ("--host-root " HOSTMETRICS_FIXTURES "/linux-6.1/t0 " + arguments))
            .l_strOut;
    };
    const std::string disks = "INDEX,DISKNAME,READCNT,WRITECNT,READKB,WRITEKB,BUSY\n\n";
    EXPECT_EQ(show("--print cpu,io --tables=csv 0 - 1").find("physical cpu : 0 \n" + disks + "INDEX,PID,"),
              0U)
        << "one sample a pass: a second one would have shown CPUs and disks";
    EXPECT_EQ(show("--print iokb --tables=csv 0 - 1").find(disks + "INDEX,PID,"), 0U);
    EXPECT_EQ(show("--tables=csv 0 - 2").find(disks + "INDEX,PID,"), 0U);
    EXPECT_EQ(fgSplit(show("--tables=csv 0 - 2"), "/sbin/init --deep").size(), 2U + 1U) << "two tables";
    EXPECT_EQ(fgSplit(show("--tables --print proc 0 - 2"), "/sbin/init --deep").size(), 3U + 1U)
        << "the lines for people as well";
}

// Touches the live host.
TEST(Program, SamplesThisHost)
{
    const ST_TEST_RUN run = fRunProgram(std::string(LIVE) + "1 - 2");
    EXPECT_EQ(run.l_nStatus, 0);
    EXPECT_NE(run.l_strOut.find(HOSTMETRICS_PROGRAM), std::string::npos) << "itself is in the table";
}
