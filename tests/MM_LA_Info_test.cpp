#include "collect/MM_LA_Info.h"

#include "tests/TestSupport.h"

TEST(LoadAverages, AreTakenWholeOrNotAtAll)
{
    const CTestTree tree;
    const CTestHost host(tree.fTop());
    CMM_LA_Info load;
    EXPECT_EQ(load.fMGetLoadAvg(), nullptr) << "no file";
    fgWriteFile(tree.fPath("proc/loadavg"), "120.05 6.10 0.95 3/80 1234\n");
    EXPECT_EQ(load.fMGetLoadAvg(), load.m_pdLoadAvg);
    for (const char* text : {"", "1.00 2.00 3", "1.00 2.00 x.00 3/80 1234\n", "1 2 3 3/80 1234\n"}) {
        fgWriteFile(tree.fPath("proc/loadavg"), text);
        EXPECT_EQ(load.fMGetLoadAvg(), nullptr) << text;
    }
    EXPECT_EQ(load.fMGetLoadAvg_1Min(), 120.05);
    EXPECT_EQ(load.fMGetLoadAvg_5Min(), 6.1);
    EXPECT_EQ(load.fMGetLoadAvg_15Min(), 0.95);
}
