// Threads and locks: exit values through join, mutual exclusion
// and wake-ups, the processor count, the auto-reset event and the clock.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "utils/event.h"
#include "utils/mmtime.h"
#include "utils/multithread.h"

using namespace basekit;

namespace {

mutex_t lock;
cond_t changed, counted;
long counter = 0;
bool go = false;

// Waits for `go`, then counts up under the lock and reports every step;
// the thread's result is its argument.
void* count_up(void* arg) {
    lock.enter();
    while (!go)
        changed.wait(lock);
    lock.leave();
    for (int i = 0; i < 10000; ++i) {
        lock.enter();
        ++counter;
        counted.signal();
        lock.leave();
    }
    return arg;
}

} // namespace

TEST(Multithread, ThreadsLocksAndConditions) {
    ASSERT_EQ(lock.create(), 0);
    // One broadcast wakes every waiter, whenever each started waiting; the
    // lock keeps every increment, each of them signalled to this thread.
    thread_t threads[3];
    for (thread_t& t : threads)
        ASSERT_EQ(t.create(count_up, &t), 0);
    lock.enter();
    go = true;
    EXPECT_EQ(changed.broadcast(), 0);
    while (counter < 30000)
        counted.wait(lock);
    lock.leave();
    void* result = nullptr;
    for (thread_t& t : threads) {
        ASSERT_EQ(t.join(&result), 0);
        EXPECT_EQ(result, &t);
    }
    EXPECT_EQ(counter, 30000);
    EXPECT_EQ(thread_t::getcorecount(), int(std::thread::hardware_concurrency()));
}

TEST(Event, AutoResetAndOneWaiterPerSet) {
    event_t ev;
    const std::uint32_t before = timeGetTime();
    EXPECT_EQ(ev.wait_for(30), 1); // starts not signalled
    const std::uint32_t waited = timeGetTime() - before;
    EXPECT_TRUE(waited >= 30 && waited < 10000) << waited; // the clock counts milliseconds
    ev.set();
    ev.set(); // two sets with nobody waiting count as one
    EXPECT_EQ(ev.wait(), 0);
    EXPECT_EQ(ev.wait_for(0), 1); // reset by the wait that took it
    ev.set();
    EXPECT_EQ(ev.wait_for(0), 0);

    // Each set releases one waiter; wait and wait_for both report 0 then.
    std::atomic<int> released{0};
    std::thread waiters[3];
    for (int i = 0; i < 3; ++i)
        waiters[i] = std::thread([&, i] { released += 1 + (i ? ev.wait() : ev.wait_for(10000)); });
    for (int round = 1; round <= 3; ++round) {
        ev.set();
        for (int i = 0; i < 1000 && released < round; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        // A second waiter released by the same set would show up meanwhile.
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        ASSERT_EQ(released, round);
    }
    for (std::thread& t : waiters)
        t.join();
}
