// Threads and locks: exit values through join, cancelling, mutual exclusion
// and wake-ups, the processor count, the auto-reset event and the clock.

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <sys/sysinfo.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "utils/event.h"
#include "utils/mmtime.h"
#include "utils/multithread.h"

using namespace basekit;
using std::chrono::milliseconds;

namespace {

struct shared_t {
    mutex_t lock;
    cond_t changed;
    long counter = 0;
    bool go = false;
};

// Waits for `go`, then counts up under the lock and reports every step.
void* await_go(void* arg)
{
    auto* s = static_cast<shared_t*>(arg);
    s->lock.enter();
    while (!s->go)
        s->changed.wait(s->lock);
    s->lock.leave();
    for (int i = 0; i < 10000; ++i) {
        s->lock.enter();
        ++s->counter;
        s->changed.signal();
        s->lock.leave();
    }
    return nullptr;
}

} // namespace

TEST(Multithread, CreateJoinCancel)
{
    const auto plus_one = [](void* arg) -> void* { return static_cast<char*>(arg) + 1; };
    char base[4];
    thread_t threads[3];
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(threads[i].create(plus_one, base + i), 0);
    for (int i = 0; i < 3; ++i) {
        void* result = nullptr;
        ASSERT_EQ(threads[i].join(&result), 0);
        EXPECT_EQ(result, base + i + 1);
    }

    thread_t sleeper;
    ASSERT_EQ(sleeper.create([](void*) -> void* { for (;;) pause(); }, nullptr), 0);
    EXPECT_EQ(sleeper.cancel(), 0);
    void* result = nullptr;
    ASSERT_EQ(sleeper.join(&result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_EQ(thread_t::getcorecount(), get_nprocs());
}

TEST(Multithread, MutexAndCondition)
{
    shared_t s;
    ASSERT_EQ(s.lock.create(), 0);
    // One broadcast wakes every waiter, whenever each started waiting; the
    // lock keeps every increment.
    thread_t threads[3];
    for (thread_t& t : threads)
        ASSERT_EQ(t.create(await_go, &s), 0);
    s.lock.enter();
    s.go = true;
    EXPECT_EQ(s.changed.broadcast(), 0);
    while (s.counter < 30000)
        s.changed.wait(s.lock);
    s.lock.leave();
    for (thread_t& t : threads)
        ASSERT_EQ(t.join(nullptr), 0);
    EXPECT_EQ(s.counter, 30000);
    EXPECT_EQ(s.lock.destroy(), 0);
}

TEST(Event, SignalTimeoutAndAutoReset)
{
    event_t ev;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(ev.wait_for(30), 1);   // starts not signalled
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(30));
    ev.set();
    EXPECT_EQ(ev.wait_for(0), 0);
    EXPECT_EQ(ev.wait_for(0), 1);   // reset by the wait that took it
    ev.set();
    ev.set();   // two sets with nobody waiting count as one
    EXPECT_EQ(ev.wait(), 0);
    EXPECT_EQ(ev.wait_for(0), 1);
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
}

TEST(MmTime, MillisecondsGoForward)
{
    const std::uint32_t before = timeGetTime();
    std::this_thread::sleep_for(milliseconds(25));
    const std::uint32_t elapsed = timeGetTime() - before;
    EXPECT_GE(elapsed, 25u);
    EXPECT_LT(elapsed, 10000u);
}
