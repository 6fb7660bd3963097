#pragma once

#include <atomic>
#include <type_traits>

// Flags and times that two threads touch keep their plain type, which others read by name, and are accessed
// through these.
template <class T> T fgLoadFlag(const T& flag)
{
    return std::atomic_ref<T>(const_cast<T&>(flag)).load();
}
template <class T> void fgStoreFlag(T& flag, std::type_identity_t<T> value)
{
    std::atomic_ref<T>(flag).store(value);
}
// Turns the flag from one value into another; false when it had a third.
inline bool fgClaimFlag(int& flag, int from, int to)
{
    return std::atomic_ref<int>(flag).compare_exchange_strong(from, to);
}
