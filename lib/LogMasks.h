#pragma once

// Which lines are wanted: three masks for each level, among them nothing that the log itself reads. Whoever
// writes a line tests them first, through the log gate.
struct ST_LOG_MASKS
{
    int* l_pnGroups;  // one bit a group
    int* l_pnFirst;   // no module has a bit here; all ones or 0
    int* l_pnModules; // one bit a module
};

// The masks of a level, LOG_DETAIL to LOG_ERROR.
const ST_LOG_MASKS& fgLogMasks(int level);

// Sets all nine masks to 0 and then from a text such as "NORMAL" or "ERROR:UNI:ALL|DEBUG:LAB:6,14", which is
// only read. Returns -1 for a null text, else 1. The forms and the tables of groups and modules are described
// in docs/logging.md. What is wrong with a text is reported on standard error:
//   "UNKNOWN LOG MODULE 1 : NULL\n"  an entry that ends with its mode; reading ends there
//   "UNKNOWN LOG MODULE 2 : NULL\n"  an entry without modules; reading ends there
//   "UNKNOWN LOG MODE : %s\n"        an entry of another mode; it is passed over
// Unknown groups and modules, and an empty list of groups, are passed over in silence. What was set before a
// mistake stays set. The masks are plain numbers that every log line reads: set them before threads log.
int fgSetLogMasks(const char* text);
