#include "driver/RunConfig.h"

#include <climits>

#include "lib/Owners.h"
#include "tests/TestSupport.h"

TEST(RunConfig, StoresTheProgramsDefaults)
{
    g_nDiskMaxGatherCnt = g_nFSTokenCount = g_nVAGENT_type = g_nExecedFileNameFlag = -7;
    fgInitRunConfig();
    const COwnedText key(std::exchange(g_ptrAgentKey, nullptr));
    EXPECT_EQ(std::string(key.get(), AGENT_KEY_SIZE), std::string("agent_key\0\0\0\0\0\0\0", AGENT_KEY_SIZE));
    EXPECT_EQ(std::tuple(g_nDiskMaxGatherCnt, g_nFSTokenCount, g_nVAGENT_type, g_nLinuxBandwidthFlag,
                         g_nProcExtendFlag, g_nExecedFileNameFlag, g_nExcludeFilesystemCnt),
              std::tuple(50, 0, 0, 1, 1, 0, 23));
    for (const auto& [row, name] : {std::pair(0, "cdrfs"), {15, "lustre_lite"}, {22, "fd"}, {23, ""}})
        EXPECT_STREQ(g_strExcludeFilesystem[row], name);
}

TEST(RunConfig, BoundsTheExclusionList)
{
    EXPECT_EQ(fgSetExcludeFilesystem(nullptr), 0);
    EXPECT_STREQ(g_strExcludeFilesystem[0], "") << "rows of an earlier list are cleared";
    std::string names = std::string(40, 'x');
    for (int i = 1; i < 150; i++)
        names += ",t" + std::to_string(i);
    EXPECT_EQ(fgTold([&] { EXPECT_EQ(fgSetExcludeFilesystem(names.c_str()), 100); }),
              "filesystem type list count > 100\n");
    EXPECT_EQ(g_strExcludeFilesystem[0], std::string(31, 'x'));
    EXPECT_STREQ(g_strExcludeFilesystem[99], "t99");
    EXPECT_EQ(fgSetExcludeFilesystem(std::string(5000, 'y').c_str()), 1);
}

TEST(RunConfig, SetsIntegersByName)
{
    const CTestSetting wait(g_nCpuUsedInWIO, 0);
    const CTestSetting seconds(g_nBlockChkSec, time_t{0});
    const std::tuple<const char*, long, RUN_CONFIG_RESULT> rows[] = {
        {"g_nCpuUsedInWIO", -3, RUN_CONFIG_STORED},
        {"g_nBlockChkSec", 5000000000, RUN_CONFIG_STORED},
        {"g_nCpuUsedInWIO", INT_MAX + 1L, RUN_CONFIG_OUT_OF_RANGE},
        {"g_nExcludeFilesystemCnt", 101, RUN_CONFIG_OUT_OF_RANGE}};
    for (const auto& [name, value, result] : rows)
        EXPECT_EQ(fgSetRunConfig(name, value), result) << name;
    EXPECT_EQ(std::pair(g_nCpuUsedInWIO, g_nBlockChkSec), std::pair(-3, time_t{5000000000}));
}
