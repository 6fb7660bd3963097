#include <algorithm>
#include <array>
#include <cstdio>

#include "fuzz/Fuzz.h"
#include "lib/LogGate.h"
#include "lib/LogMasks.h"

// The text that sets the log masks.

namespace
{
using MASKS = std::array<int, 9>;

MASKS fMasks(const char* text)
{
    fgFuzzMust(fgSetLogMasks(text) == 1, "every text is taken");
    MASKS masks;
    auto to = masks.begin();
    for (int level = LOG_DETAIL; level <= LOG_ERROR; level++)
        for (const int* mask :
             {fgLogMasks(level).l_pnGroups, fgLogMasks(level).l_pnFirst, fgLogMasks(level).l_pnModules})
            *to++ = *mask;
    return masks;
}

void fText(std::string_view input)
{
    const CFuzzText text(input);
    fMasks("NOLOG");
    const MASKS first = fMasks(text);
    fMasks("DEBUG");
    fgFuzzMust(first == fMasks(text), "the masks are the text's alone");
    fMasks("NOLOG");
}

const CFuzzTarget TARGET("logmasks", fText);
} // namespace
