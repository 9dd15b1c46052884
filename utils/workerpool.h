// A small pool of persistent worker threads that run the parts of one job
// together with the calling thread. Nothing is allocated per job, so a
// per-frame job costs two wake-ups and no thread creation.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <thread>
#include <vector>

namespace basekit {

class workerpool_t {
public:
    using task_t = void (*)(void* context, std::size_t part);

    workerpool_t() = default;
    ~workerpool_t();
    workerpool_t(const workerpool_t&) = delete;
    workerpool_t& operator=(const workerpool_t&) = delete;

    // Starts `workers` threads beside the caller; a second call with another
    // count restarts the pool. 0 runs every job on the calling thread.
    bool Init(unsigned workers);
    void Destroy();
    unsigned workers() const { return static_cast<unsigned>(m_threads.size()); }

    // Runs task(context, i) for every i below `parts`, each exactly once, on
    // the workers and the caller; returns when all have finished.
    void run(std::size_t parts, task_t task, void* context);

private:
    // `seen`: the last job started before the worker was.
    void loop(std::size_t seen);
    void drain();

    std::vector<std::thread> m_threads;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_done;
    std::size_t m_generation = 0;
    std::size_t m_busy = 0; // workers still inside the current job
    bool m_stop = false;
    task_t m_task = nullptr;
    void* m_context = nullptr;
    std::size_t m_parts = 0;
    std::atomic<std::size_t> m_next{0};
};

} // namespace basekit
