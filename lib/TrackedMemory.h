#pragma once

// An allocator that knows every live block by the debug number of the call site that asked for it, so that an
// agent that runs for months can tell where its memory is. A diagnostic aid for blocks that live long and
// change rarely: each call looks through the whole table, g_stMemUse (driver/RunConfig.h).
//
// The table has no lock, on purpose. Call these from one thread, or under a lock of the caller's own; never
// from the threads of the log or the scheduler.
//
// Warnings and the report go to standard error when g_nPrint is 1, the report to the log as well: module
// "LIB", debug lines that the mask text "DEBUG:UNI:UNI" opens (docs/logging.md).

constexpr int ALLOC_SLOTS = 512; // slots of a new table, and what it grows by when they are used up

// Makes the table, with ALLOC_SLOTS free slots. Returns 1, or 0 without memory, when there still is none.
// A table that is there stays as it is, and the result is 1. It is never shrunk, and lives until the process
// ends.
int fgInitAlloc();

// Allocates size bytes, or count times size bytes of zeros, and records the block under debugNo. Makes the
// table on its first call. Returns the block, the caller's, for fgNfree; null without memory for it or for
// the table, or when a number is negative: nothing is recorded then. The size that fgNcalloc records is that
// of one element. debugNo 0 is never reported.
//
// A new block at a recorded address tells that the former was released behind the table's back: a warning,
// and the record is replaced.
void* fgNmalloc(int size, int debugNo);
void* fgNcalloc(int count, int size, int debugNo);

// Forgets a block and frees it. Returns 1; 0 for one that is not recorded: a warning with debugNo, and it is
// freed all the same, so it has to come from malloc. 0 for null.
int fgNfree(void* p, int debugNo);

// Reports the live blocks, a line for each debug number in the order of their first slots, numbered from 0,
// and a line with the sum of these lines' bytes. New blocks take the highest free slot, so the order is no
// order of time. Always returns 1, also when neither channel is open and nothing is reported.
int fgNPrintAlloc();
