#include "lib/LogGate.h"

#include <cstdio>

#include "driver/RunConfig.h"
#include "lib/LogMasks.h"
#include "lib/OmniLog.h"

COmniLog* fgLogGate(const ST_LOG_SOURCE& source, int level)
{
    if (g_pclOmniLog == nullptr || level < LOG_DETAIL || level > LOG_ERROR) return nullptr;
    if (source.l_nMasks == LOG_MASKS_NONE) return g_pclOmniLog;
    const ST_LOG_MASKS& masks = fgLogMasks(source.l_nMasks == LOG_MASKS_OF_LINE ? level : source.l_nMasks);
    const bool open =
        (*masks.l_pnGroups & source.l_nGroup) != 0 && (*masks.l_pnModules & source.l_nModule) != 0;
    return open ? g_pclOmniLog : nullptr;
}

void fgLog(const ST_LOG_SOURCE& source, int level, char (&scratch)[LOG_SCRATCH_SIZE], const char* format, ...)
{
    COmniLog* log = fgLogGate(source, level);
    if (log == nullptr) return;
    va_list values;
    va_start(values, format);
    vsnprintf(scratch, sizeof(scratch), format, values);
    va_end(values);
    log->fLogWrite(level, source.l_strModule, scratch);
}

void fgLogLineList(const ST_LOG_SOURCE& source, int level, int line, char (&scratch)[LOG_SCRATCH_SIZE],
                   const char* format, va_list values)
{
    COmniLog* log = fgLogGate(source, level);
    if (log == nullptr) return;
    vsnprintf(scratch, sizeof(scratch), format, values);
    log->fLogWrite(level, line, source.l_strModule, scratch);
}

void fgLogLine(const ST_LOG_SOURCE& source, int level, int line, char (&scratch)[LOG_SCRATCH_SIZE],
               const char* format, ...)
{
    va_list values;
    va_start(values, format);
    fgLogLineList(source, level, line, scratch, format, values);
    va_end(values);
}
