#pragma once

#include <cstdarg>

// The log gate: every library call site asks it before it writes, and nobody spells masks. A level is open
// when its group mask has the source's group bit and its module mask has the source's module bit.

class COmniLog;

// Levels of a log line.
constexpr int LOG_DETAIL = 1; // debug lines; <syslog.h> has LOG_DEBUG as a macro
constexpr int LOG_NORMAL = 2;
constexpr int LOG_ERROR = 3;

// Whose masks decide on a line when it is not simply those of the line's level.
constexpr int LOG_MASKS_OF_LINE = 0;
constexpr int LOG_MASKS_NONE = -1; // the line is wanted whenever there is a log

// Who writes: the module shown in the line and the bits that open its lines.
struct ST_LOG_SOURCE
{
    const char* l_strModule;
    int l_nGroup;                     // bit of g_nLogModERROR, g_nLogModNORMAL, g_nLogModDEBUG
    int l_nModule;                    // bit of g_nLoggingERROR2, g_nLoggingNORMAL2, g_nLoggingDEBUG2
    int l_nMasks = LOG_MASKS_OF_LINE; // or a level, whose masks then decide on lines of every level
};

constexpr ST_LOG_SOURCE LOG_CPU{"MM_CPU_Info.cpp", 0x80, 0x80};
constexpr ST_LOG_SOURCE LOG_DISK{"MM_IO_Info.cpp", 0x80, 0x80};
constexpr ST_LOG_SOURCE LOG_NETWORK{"MM_NWT_Info.cpp", 0x80, 0x40};
constexpr ST_LOG_SOURCE LOG_FS{"MM_FS_Info.cpp", 0x80, 0x100};
constexpr ST_LOG_SOURCE LOG_FS_DATASTORES{"MM_FS_Info.cpp", 0x80, 0x1000};
constexpr ST_LOG_SOURCE LOG_PROC{"MM_PROC_Info.cpp", 0x80, 0x80};
constexpr ST_LOG_SOURCE LOG_FILES{"NGFunctions.cpp", 0x10,
                                  0x1}; // files the library writes; log filters go by this name
constexpr ST_LOG_SOURCE LOG_ALLOCATOR{"LIB", 0x10, 0x1}; // its report
constexpr ST_LOG_SOURCE LOG_WATCHDOG{"UNI", 0x10, 0x1};  // of blocking calls
constexpr ST_LOG_SOURCE LOG_SCHEDULER{"NCmdScheduler.cpp", 0x10, 0x1};
constexpr ST_LOG_SOURCE LOG_SCHEDULER_LIST{"NCmdScheduler.cpp", 0x10, 0x1, LOG_ERROR};
constexpr ST_LOG_SOURCE LOG_SCHEDULER_THREAD{"NCmdScheduler.cpp", 0x80, 0x1000, LOG_ERROR};
constexpr ST_LOG_SOURCE LOG_SCHEDULER_QUEUE{"NCmdScheduler.cpp", 0, 0, LOG_MASKS_NONE};

// The log when the source's lines of that level are wanted, else null.
COmniLog* fgLogGate(const ST_LOG_SOURCE& source, int level);

constexpr int LOG_SCRATCH_SIZE = 1024; // bytes of every scratch buffer for log lines

// Composes a line in the caller's scratch buffer (longer text is cut) and writes it, when the gate is open;
// otherwise nothing is composed and the scratch stays as it was. The scratch must not be shared by threads.
[[gnu::format(printf, 4, 5)]] void fgLog(const ST_LOG_SOURCE& source, int level,
                                         char (&scratch)[LOG_SCRATCH_SIZE], const char* format, ...);
// The same with a line number in the line.
[[gnu::format(printf, 5, 6)]] void fgLogLine(const ST_LOG_SOURCE& source, int level, int line,
                                             char (&scratch)[LOG_SCRATCH_SIZE], const char* format, ...);
// The same with the values as a list, for functions that take "..." themselves. The list is used up.
[[gnu::format(printf, 5, 0)]] void fgLogLineList(const ST_LOG_SOURCE& source, int level, int line,
                                                 char (&scratch)[LOG_SCRATCH_SIZE], const char* format,
                                                 va_list values);
