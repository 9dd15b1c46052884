// The auto-reset event and the millisecond clock.

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "utils/event.h"
#include "utils/mmtime.h"

using namespace basekit;
using std::chrono::milliseconds;

TEST(Event, SetBeforeWaitAndAutoReset)
{
    event_t ev;
    EXPECT_EQ(ev.wait_for(0), 1);   // starts not signalled
    ev.set();
    EXPECT_EQ(ev.wait_for(0), 0);
    EXPECT_EQ(ev.wait_for(0), 1);   // reset by the wait that took it

    // Two sets with nobody waiting count as one.
    ev.set();
    ev.set();
    EXPECT_EQ(ev.wait(), 0);
    EXPECT_EQ(ev.wait_for(0), 1);
}

TEST(Event, TimeoutWaitsAtLeastTheTime)
{
    event_t ev;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(ev.wait_for(30), 1);
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(30));
}

TEST(Event, EachSetReleasesOneWaiter)
{
    event_t ev;
    std::mutex m;
    std::condition_variable changed;
    int released = 0;

    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i)
        waiters.emplace_back([&] {
            ev.wait();
            std::lock_guard<std::mutex> lock(m);
            ++released;
            changed.notify_all();
        });

    for (int round = 1; round <= 3; ++round) {
        ev.set();
        std::unique_lock<std::mutex> lock(m);
        ASSERT_TRUE(changed.wait_for(lock, std::chrono::seconds(10), [&] { return released >= round; }));
        // A second waiter released by the same set would show up here.
        EXPECT_FALSE(changed.wait_for(lock, milliseconds(50), [&] { return released > round; }));
    }
    for (std::thread& t : waiters)
        t.join();
    EXPECT_EQ(released, 3);
}

TEST(Event, SetFromAnotherThreadEndsWait)
{
    event_t ev;
    event_t reply;
    std::thread other([&] {
        ev.wait();
        reply.set();
    });
    ev.set();
    EXPECT_EQ(reply.wait_for(10000), 0);
    other.join();
}

TEST(MmTime, MillisecondsGoForward)
{
    const std::uint32_t before = timeGetTime();
    std::this_thread::sleep_for(milliseconds(25));
    const std::uint32_t elapsed = timeGetTime() - before;
    EXPECT_GE(elapsed, 25u);
    EXPECT_LT(elapsed, 10000u);
}
