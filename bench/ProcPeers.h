#pragma once

#include "bench/Contest.h"

// Other readers of the process table that are installed, as contenders whose pieces are processes: libraries
// in this process, psutil in a Python that stays, and whole commands. They live as long as the contenders.
// Says which are missing.
std::vector<ST_CONTENDER> fgProcPeers(FILE* out);
