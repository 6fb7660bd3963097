#pragma once

#include <cstddef>
#include <cstdio>

// Small file utilities. Paths are the program's own, relative to its folder or absolute; the host root does
// not apply. None of them locks. Files are made with the modes told here less the process's umask, and, but
// for fgND_FOPEN, never through a symbolic link in the last place of their path.

constexpr size_t FILE_NAME_SIZE = 256; // bytes of the longest file name of Linux, terminator included

// Finds the first name of the working folder, in the folder's own order, that a shell pattern matches (*, ?,
// [...]; fnmatch without flags). Names that begin with "." are skipped. out takes the name, terminated and
// cut to size - 1 bytes; what lies behind the terminator stays as it was. Returns 1, or 0 with out untouched
// when nothing matches or the folder cannot be read. The folder's handle stays open until the process ends,
// each time: do not call it from a loop.
int fgFindFileName(const char* pattern, char* out, size_t size = FILE_NAME_SIZE);

// Copies a regular file and removes the source. The target is overwritten when it is there, else made with
// the permissions of the source. Returns 1 when the source is gone; 0 when it is missing, is the target
// itself, either is no regular file, or anything failed: both stay as they are then, a partial target
// included. What another process appends to the source meanwhile is lost.
int fgFileMove(const char* from, const char* to);

// Removes the file and makes it anew, empty, with mode 0444. Returns 1 always; an error line says when it
// could not be made.
int fgTouchFile(const char* path);

// Makes a folder and the parents that it lacks, mode 0770. The path may end in "/". Returns 1 when it is
// there afterwards; -1 when it, or what bears its name, cannot be opened as a folder, or cannot be made: a
// message then goes to standard error for every folder that could not. Opening it being "not permitted"
// (EPERM) counts as 1.
int fgMakeDirectory(const char* path);

// Hooks for counting open files. They do nothing and return 1.
int fgInitFP();
int fgNPrintFP();

// The place where opened and closed files could be counted. fgND_FOPEN opens as fopen does, mode and all,
// with 64-bit offsets on every machine; it returns the stream, the caller's, for fgND_FCLOSE, or null with
// errno set. fgND_FCLOSE returns what fclose does: 0, or EOF with errno set. A null argument is EINVAL.
FILE* fgND_FOPEN(const char* path, const char* mode);
int fgND_FCLOSE(FILE* f);
