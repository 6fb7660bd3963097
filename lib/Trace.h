#pragma once

// Trace breadcrumbs: a library function leaves its progress in g_strDebugDetail, so that a debugger, a core
// file or the watchdog of blocking calls tells where it was last. Every call site has a number of its own.

// Replaces the text of g_strDebugDetail by "(DEBUG NO : number)[file:function:line]\n", cut to the buffer.
// The defaults name the call site; the file is shown without its folders. The text is one for the process and
// is not guarded: call sites of two threads overwrite each other's, only the number is safe to read
// meanwhile.
void fgTrace(int number, const char* file = __builtin_FILE(), const char* function = __builtin_FUNCTION(),
             int line = __builtin_LINE());

// The number of the last breadcrumb, from whatever thread; 0 before the first.
int fgLastTrace();
