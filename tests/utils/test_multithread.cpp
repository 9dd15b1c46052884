// Thread, mutex and condition wrappers: exit values through join, cancelling,
// mutual exclusion and wake-ups, and the processor count.

#include <gtest/gtest.h>

#include <cstdint>
#include <sys/sysinfo.h>
#include <unistd.h>

#include "utils/multithread.h"

using namespace basekit;

namespace {

void* plus_one(void* arg)
{
    return reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(arg) + 1);
}

void* sleep_forever(void*)
{
    for (;;)
        pause();   // a cancellation point
}

struct shared_t {
    mutex_t lock;
    cond_t changed;
    long counter = 0;
    bool go = false;
    int woken = 0;
};

void* count_up(void* arg)
{
    auto* s = static_cast<shared_t*>(arg);
    for (int i = 0; i < 20000; ++i) {
        s->lock.enter();
        ++s->counter;
        s->lock.leave();
    }
    return nullptr;
}

void* await_go(void* arg)
{
    auto* s = static_cast<shared_t*>(arg);
    s->lock.enter();
    while (!s->go)
        s->changed.wait(s->lock);
    ++s->woken;
    s->changed.broadcast();
    s->lock.leave();
    return nullptr;
}

} // namespace

TEST(Multithread, CreateJoinCancel)
{
    thread_t threads[3];
    for (std::uintptr_t i = 0; i < 3; ++i)
        ASSERT_EQ(threads[i].create(plus_one, reinterpret_cast<void*>(i * 10)), 0);
    for (std::uintptr_t i = 0; i < 3; ++i) {
        void* result = nullptr;
        ASSERT_EQ(threads[i].join(&result), 0);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(result), i * 10 + 1);
    }

    thread_t sleeper;
    ASSERT_EQ(sleeper.create(sleep_forever, nullptr), 0);
    EXPECT_EQ(sleeper.cancel(), 0);
    void* result = nullptr;
    ASSERT_EQ(sleeper.join(&result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
}

TEST(Multithread, MutexAndCondition)
{
    shared_t s;
    ASSERT_EQ(s.lock.create(), 0);

    thread_t counters[2];
    for (thread_t& t : counters)
        ASSERT_EQ(t.create(count_up, &s), 0);
    for (thread_t& t : counters)
        ASSERT_EQ(t.join(nullptr), 0);
    EXPECT_EQ(s.counter, 40000);

    // One broadcast wakes every waiter, whenever each started waiting.
    thread_t waiters[3];
    for (thread_t& t : waiters)
        ASSERT_EQ(t.create(await_go, &s), 0);
    s.lock.enter();
    s.go = true;
    EXPECT_EQ(s.changed.broadcast(), 0);
    while (s.woken < 3)
        s.changed.wait(s.lock);
    s.lock.leave();
    for (thread_t& t : waiters)
        ASSERT_EQ(t.join(nullptr), 0);
    EXPECT_EQ(s.woken, 3);

    EXPECT_EQ(s.changed.signal(), 0);
    EXPECT_EQ(s.lock.destroy(), 0);
}

TEST(Multithread, CoreCount)
{
    EXPECT_GE(thread_t::getcorecount(), 1);
    EXPECT_EQ(thread_t::getcorecount(), get_nprocs());
}
