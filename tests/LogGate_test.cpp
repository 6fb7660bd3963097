#include "lib/LogGate.h"

#include "driver/RunConfig.h"
#include "lib/LogMasks.h"
#include "tests/TestSupport.h"

namespace
{
TEST(LogGate, OpensByGroupAndModuleBitAndCutsTheText)
{
    constexpr ST_LOG_SOURCE SOURCE{"m.cpp", 0x10, 0x1};
    CTestLog log;
    char scratch[LOG_SCRATCH_SIZE] = "as it was";
    for (const char* text : {"ERROR:UNI:UNI", "DEBUG:UNI:LIB", "DEBUG:LAB:ALL"}) {
        fgSetLogMasks(text);
        for (int level = LOG_DETAIL - 1; level <= LOG_ERROR + 1; ++level)
            EXPECT_EQ(level == LOG_ERROR && *text == 'E' ? g_pclOmniLog : nullptr, fgLogGate(SOURCE, level));
    }
    fgLog(SOURCE, LOG_ERROR, scratch, "%d", 1);
    EXPECT_STREQ("as it was", scratch); // nothing is composed in vain
    fgSetLogMasks("NORMAL:UNI:UNI");
    fgLog(SOURCE, LOG_ERROR, scratch, "%s", std::string(2000, 'x').c_str());
    fgLogLine(SOURCE, LOG_NORMAL, 5, scratch, "%d", 3);
    fgLogLine(SOURCE, LOG_DETAIL, 5, scratch, "%d", 4);
    EXPECT_EQ((std::vector<std::string>{"[INFO][m.cpp]" + std::string(1023, 'x'), "[INFO][m.cpp][5]3"}),
              log.fLines());
    const CTestSetting<COmniLog*> none(g_pclOmniLog, nullptr);
    EXPECT_EQ(nullptr, fgLogGate(SOURCE, LOG_ERROR));
}
} // namespace
