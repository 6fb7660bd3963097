#include "lib/Trace.h"

#include <cstdio>
#include <cstring>

#include "driver/RunConfig.h"
#include "lib/SharedFlag.h"

namespace
{
int g_nLastTrace;

const char* fBaseName(const char* path)
{
    const char* slash = strrchr(path, '/');
    return slash == nullptr ? path : slash + 1;
}
} // namespace

void fgTrace(int number, const char* file, const char* function, int line)
{
    memset(g_strDebugDetail, 0, sizeof(g_strDebugDetail));
    snprintf(g_strDebugDetail, sizeof(g_strDebugDetail), "(DEBUG NO : %d)[%s:%s:%d]\n", number,
             fBaseName(file), function, line);
    fgStoreFlag(g_nLastTrace, number);
}

int fgLastTrace()
{
    return fgLoadFlag(g_nLastTrace);
}
