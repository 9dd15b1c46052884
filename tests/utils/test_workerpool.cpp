// The worker pool: every part of a job runs exactly once, on several threads,
// job after job without new threads; resizing and running without workers;
// a job is over, every part finished, when run() returns.
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

namespace {

// Each part records that it finished; run() must not return before all have.
struct finished_t {
    std::vector<std::atomic<int>> done;
    explicit finished_t(std::size_t parts) : done(parts) {}
    static void task(void* context, std::size_t part)
    {
        // Some parts take long enough to still be running when a miscounted job would end.
        if (part == 1) std::this_thread::sleep_for(std::chrono::microseconds(200));
        ++static_cast<finished_t*>(context)->done[part];
    }
};

} // namespace

// Workers started by a second Init join the next job, not one that ended
// before they were born: otherwise they count themselves out of a job they
// never ran, and run() returns while other workers are still at their parts.
TEST(WorkerPool, ResizedPoolsFinishEveryPartBeforeReturning)
{
    workerpool_t pool;
    for (unsigned round = 0; round < 1000; ++round) {
        const unsigned workers = 2 + round % 2;
        ASSERT_TRUE(pool.Init(workers));
        ASSERT_EQ(pool.workers(), workers);
        for (int job = 0; job < 2; ++job) {
            finished_t parts(4);
            pool.run(parts.done.size(), &finished_t::task, &parts);
            for (std::size_t i = 0; i < parts.done.size(); ++i)
                ASSERT_EQ(parts.done[i].load(), 1) << "round " << round << ", job " << job << ", part " << i;
        }
    }
}
