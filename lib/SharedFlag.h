#pragma once

#include <atomic>

// Flags that two threads touch keep their plain int, which others read by name, and are accessed through
// these.
inline int fgLoadFlag(const int& flag)
{
    return std::atomic_ref<int>(const_cast<int&>(flag)).load();
}
inline void fgStoreFlag(int& flag, int value)
{
    std::atomic_ref<int>(flag).store(value);
}
// Turns the flag from one value into another; false when it had a third.
inline bool fgClaimFlag(int& flag, int from, int to)
{
    return std::atomic_ref<int>(flag).compare_exchange_strong(from, to);
}
