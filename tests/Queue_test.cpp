#include "lib/Queue.h"

#include <atomic>
#include <thread>
#include <unistd.h>

#include "tests/TestSupport.h"

namespace
{
// Looks at a thread of the live host: one that is woken no longer sleeps when the push that woke it returns.
TEST(Queue, KeepsOrderAndWakesByTheSecondPushOnly)
{
    Queue<int> queue;
    std::atomic<pid_t> id = 0;
    int taken = 0;
    std::thread consumer([&] {
        id = gettid();
        taken = queue.pop();
    });
    const auto sleeps = [&] {
        const std::string stat = fgReadFile("/proc/self/task/" + std::to_string(id) + "/stat");
        return stat.find(") S ") != std::string::npos;
    };
    EXPECT_TRUE(fgAwait(sleeps));
    EXPECT_EQ(0u, queue.pushBelow(1, 1));
    EXPECT_EQ(1u, queue.pushBelow(9, 1)); // not taken
    EXPECT_TRUE(sleeps());
    queue.push(2);
    consumer.join();
    EXPECT_EQ(1, taken);
    EXPECT_EQ(1, queue.getCount());
    EXPECT_EQ(2, queue.pop());
}
} // namespace
