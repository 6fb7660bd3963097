#include <cstdint>

#include "fuzz/Fuzz.h"

// The two functions that libFuzzer calls. Each program has one target linked in. Paths on its command line
// have to be absolute: the working folder is another then.

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    static const CFuzzTree tree;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    CFuzzTarget::fFirst()->fTake({reinterpret_cast<const char*>(data), size});
    return 0;
}
