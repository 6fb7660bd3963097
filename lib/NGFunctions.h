#pragma once

// Free functions of the library. Who includes this gets those about files and memory with it.

#include "lib/BufferFile.h"
#include "lib/FileTools.h"
#include "lib/TrackedMemory.h"

// Sleeps that many microseconds; a value below 1 means 1000. A signal that is caught ends the sleep early, as
// it ends the timed wait underneath. Returns 1.
int fgUSleep(int us);

// The time since 1970 by the wall clock: in seconds, to the microsecond; and in whole seconds, 32 bits, which
// wrap in 2038. The two agree within a second.
double fGetCurTarnTime();
int fGetPushCurTarnTime();

// Hash of a text, 0 to 0x7FFFFFFF; 0 for an empty or a null one. The key of devices and interfaces by name.
// In spite of its name it is no hash of the ELF format: each byte, taken as signed, is added to 131 times the
// sum before, in 32 bits.
unsigned int ELFHash(const char* s);

// Writes the inventory file ../aproc/inv/NAME.inv, path relative to the program's folder: the text takes the
// place of what the file held before. Returns 1 always; a line of level 3 says how it went, the good case
// included. A null name or text counts as empty.
int fStrOidWrite(const char* name, const char* text);
