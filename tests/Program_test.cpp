#include <numeric>

#include "collect/MM_INIT_Info.h"
#include "collect/MM_IO_Info.h"
#include "collect/MM_VM_Info.h"
#include "driver/PrintInfo.h"
#include "tests/TestSupport.h"

// As a process of its own. Touches the live host.
TEST(Program, PrintsWhatIsAskedFor)
{
    const CTestTree tree;
    const std::string folder = fs::path(HOSTMETRICS_PROGRAM).parent_path();
    fs::copy(HOSTMETRICS_FIXTURES "/program", tree.fPath("program"), fs::copy_options::recursive);
    setenv("PATH", (folder + ":" + getenv("PATH")).c_str(), 1);
    setenv("HOST", tree.fPath("program/host").c_str(), 1);
    setenv("FIXTURES", HOSTMETRICS_FIXTURES, 1);
    fgCheckTranscript("program/transcript");
}

TEST(Program, PrintsRates)
{
    const CTestTree tree;
    CTestHost host("linux-6.1/t0");
    CMM_IO_Info io;
    CMM_INIT_Info::m_pstOsVersion->l_nMajorNum = 3;
    ASSERT_NE(io.fMGetIoStat(2.0, 1, -1), nullptr);
    host.fMove("linux-6.1/t1");
    double rates[VM_VALUES];
    std::iota(std::begin(rates), std::end(rates), 0);
    testing::internal::CaptureStdout();
    EXPECT_EQ(print_io_v2(&io, 2.0) + print_io(io.m_pclList) + print_vm(rates), 3);
    const std::string text = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(text.starts_with(" Io  000: 100.00([R]cnt/s) 10.00([W]cnt/s) 2000.00([R]kb/s) "
                                 "500.00([W]kb/s) 25.00(Busy) /dev/sda       \n"));
    EXPECT_NE(text.find("\n Io  000: 2000.00 500.00 /dev/sda       \n"), std::string::npos);
    EXPECT_TRUE(text.ends_with("\nvm stat :  0.0(rq)  2.0(pi)  3.0(po)  4.0(si)  5.0(so)  7.0(pf)  9.0(cs) "
                               "12.0(picnt) 13.0(pocnt)\n"));
}
