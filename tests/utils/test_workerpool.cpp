// The worker pool: every part of a job runs exactly once, on several threads,
// job after job without new threads; resizing and running without workers.
#include "utils/workerpool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

using namespace basekit;

namespace {

struct job_t {
    std::vector<std::atomic<int>> runs;
    std::mutex lock;
    std::set<std::thread::id> threads;
    explicit job_t(std::size_t parts) : runs(parts) {}
    static void task(void* context, std::size_t part)
    {
        auto* job = static_cast<job_t*>(context);
        ++job->runs[part];
        std::this_thread::sleep_for(std::chrono::microseconds(200)); // give every thread a turn
        std::lock_guard<std::mutex> guard(job->lock);
        job->threads.insert(std::this_thread::get_id());
    }
};

} // namespace

TEST(WorkerPool, EveryPartOnceAcrossThreadsJobAfterJob)
{
    workerpool_t pool;
    ASSERT_TRUE(pool.Init(3));
    EXPECT_EQ(pool.workers(), 3u);
    std::set<std::thread::id> seen;
    for (int round = 0; round < 50; ++round) {
        job_t job(64);
        pool.run(job.runs.size(), &job_t::task, &job);
        for (const std::atomic<int>& runs : job.runs) ASSERT_EQ(runs.load(), 1) << "round " << round;
        seen.insert(job.threads.begin(), job.threads.end());
    }
    EXPECT_EQ(seen.size(), 4u); // the same three workers and the caller throughout
    job_t none(0);
    pool.run(0, &job_t::task, &none);

    ASSERT_TRUE(pool.Init(0)); // no workers: the caller runs everything
    job_t alone(8);
    pool.run(alone.runs.size(), &job_t::task, &alone);
    EXPECT_EQ(alone.threads, std::set<std::thread::id>{std::this_thread::get_id()});
    pool.Destroy();
    pool.Destroy();
}
