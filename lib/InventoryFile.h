#pragma once

#include <string>
#include <string_view>

#include "lib/LogGate.h"

// Inventory files: text that the inventory scripts write below ../aproc/shell and the collectors hand on.

// Says whether a line of an inventory file is its record.
using RECORD_TEST = bool (*)(std::string_view line);
bool fgHasLowerCase(std::string_view line);

// Reads the record of an inventory file: the first line that is not empty and passes the test, without its
// newline. It must hold the key. A last line without a newline is none: who writes it is not done. On failure
// it writes an error line for the source ("fopen failed(%d)", "inv file size zero" or "fgets not contents"),
// leaves the record alone and returns false.
bool fgReadInventory(const char* path, RECORD_TEST test, const char* key, const ST_LOG_SOURCE& source,
                     char (&scratch)[LOG_SCRATCH_SIZE], std::string& record);

// What follows the first "|" of a record; several side by side count as one, as for Nstrtok. Empty when there
// is none.
std::string_view fgInventoryTable(std::string_view record);

// Grows a buffer from malloc that is smaller than room bytes, or null, to that; its text stays and zeros
// follow. false when there is no memory; the buffer is as it was then.
bool fgReserveInventory(char*& buffer, int& size, size_t room);

// What a buffer that is too small for a text grows by, beside the text's length; bytes.
constexpr size_t INVENTORY_EXTRA = 16;

// Makes sure that a buffer from malloc holds a text and a terminator, zeroes it and copies the text. A buffer
// that is too small is replaced by one of size + length + INVENTORY_EXTRA bytes. false when there is no
// memory; the buffer is as it was then.
bool fgStoreInventory(std::string_view text, char*& buffer, int& size);

// Stores the table of a record so. false also when there is none, with the error line "inv not contents"; the
// buffer is empty then.
bool fgStoreInventoryTable(std::string_view record, char*& buffer, int& size, const ST_LOG_SOURCE& source,
                           char (&scratch)[LOG_SCRATCH_SIZE]);

// Hands an inventory command to the process-wide scheduler. The key is rewritten in place in file mode, so it
// is copied. Returns 1; -1 when there is no scheduler (an error line is written) or it refuses the command.
int fgSaveInventoryCommand(const char* key, const char* command, const ST_LOG_SOURCE& source,
                           char (&scratch)[LOG_SCRATCH_SIZE]);
