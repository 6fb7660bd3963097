#include "driver/Options.h"
#include "driver/RunConfig.h"
#include "driver/TestLib.h"

int main(int argc, char** argv)
{
    constexpr int STATUS_BAD_OPTION = 2;
    ST_OPTIONS options;
    const OPTIONS_RESULT result = fgReadOptions(argc, argv, options);
    if (result != OPTIONS_RUN) return result == OPTIONS_DONE ? 0 : STATUS_BAD_OPTION;
    fgInitRunConfig();
    if (!fgApplyOptions(options)) return STATUS_BAD_OPTION;
    test_lib(0, options.l_nInterval, options.l_nPassCount);
    return 0;
}
