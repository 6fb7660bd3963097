#pragma once

// Starts body(argument) in a thread that nobody joins. What it uses has to live as long as it does: the
// process, for a body that never returns. Returns 0, or the error number (errno.h) when it could not be
// started.
int fgStartDetached(void* (*body)(void*), void* argument);
