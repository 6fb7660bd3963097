#pragma once

#include <ctime>

// Buffer files: records that cannot be delivered yet, kept in ../buffer in a family of files that begins anew
// every day and whenever the newest has grown large. docs/buffer-files.md describes names and records. All
// paths are relative to the program's folder; the host root does not apply.

constexpr int BUFFER_STEPS = 99; // files a day; the next begins at step 1 again
constexpr int BUFFER_SHARE = 5;  // a file larger than the family's limit divided by this is full

// Appends a record of b and c to the current file of the family "BUF" or "BUNF". A null text counts as empty;
// a is not used. The texts must hold neither the separators 0x03 0x1F "^" and "]" nor newlines:
// nothing checks that.
//
// The current file is the newest of the family when its name holds today's date and it is not full, else a
// new one. When one is begun and all files of the family together have g_nDataBufferSaveMaxSize megabytes,
// the oldest is removed: one file at a time, so the family may be larger for a while. A limit of 0 begins a
// new file for every record and removes one for it.
//
// Returns 1; 0 when ../buffer cannot be read; -1 when the file cannot be opened or the record could not be
// written whole: it is lost then, and what did get written of it is a torn line, which the next record begins
// a new line behind. Error lines say what failed, with its path.
//
// A record is one write in append mode, so that those of several processes do not mix. The choice of the file
// is not guarded: one thread, and best one process a family.
int fgBufFileWrite(const char* a, const char* b, const char* c);
int fgNBufFileWrite(const char* a, const char* b, const char* c);

// What differs between the families.
struct ST_BUFFER_FAMILY
{
    const char* l_strMarker;     // the files whose names hold it are the family's
    const char* l_strRemoveWord; // in the log line about a file that is removed
};
constexpr ST_BUFFER_FAMILY BUFFER_BUF{"BUF", ""}; // "BUNF" does not hold "BUF": the families are separate
constexpr ST_BUFFER_FAMILY BUFFER_BUNF{"BUNF", "BUNF"};

// The same at a given time, seconds since 1970, for either family.
int fgWriteBufferRecord(const ST_BUFFER_FAMILY& family, time_t now, const char* first, const char* second);
