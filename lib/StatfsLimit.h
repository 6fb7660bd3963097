#pragma once

#include <sys/vfs.h>

// statfs64 that gives up. The kernel answers for a mount when its server or its daemon does, and a caller of
// a dead one waits for ever.

constexpr int STATFS_LATE = -1; // no answer within the limit

// Asks for the figures of the filesystem at a path, taken as it is: the host root does not apply. With
// seconds below 1 that is a plain call; else it is made by a thread of its own, for which the caller waits
// that long at most. Returns 0 with the figures; an error number (errno.h), also when the thread cannot be
// started; STATFS_LATE. On failure the figures stay.
//
// A call that is late is left to its thread. Until it comes back the path is not asked again and every caller
// gets STATFS_LATE at once, so that a path never has more than one thread, whoever asks and however often;
// callers who come before it is late wait for it together. What came back late is dropped: the next caller
// asks anew. Any thread may call. Outstanding calls do not keep the process from ending.
int fgStatfs(const char* path, int seconds, struct statfs64& figures);
