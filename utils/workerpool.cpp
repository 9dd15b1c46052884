// Workers sleep on one condition between jobs; a job hands out its parts
// through one atomic counter, so fast threads take more of them.
#include "utils/workerpool.h"

namespace basekit {

workerpool_t::~workerpool_t()
{
    Destroy();
}

bool workerpool_t::Init(unsigned workers)
{
    if (workers == m_threads.size())
        return true;
    Destroy();
    m_stop = false;
    // New workers wait for the next job: the jobs counted so far are over.
    const std::size_t generation = m_generation;
    try {
        m_threads.reserve(workers);
        for (unsigned i = 0; i < workers; ++i)
            m_threads.emplace_back([this, generation] { loop(generation); });
    } catch (const std::system_error&) {
        Destroy();
        return false;
    }
    return true;
}

void workerpool_t::Destroy()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
    }
    m_wake.notify_all();
    for (std::thread& thread : m_threads)
        thread.join();
    m_threads.clear();
}

void workerpool_t::drain()
{
    for (std::size_t part = m_next.fetch_add(1); part < m_parts; part = m_next.fetch_add(1))
        m_task(m_context, part);
}

void workerpool_t::loop(std::size_t seen)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (true) {
        m_wake.wait(lock, [&] { return m_stop || m_generation != seen; });
        if (m_stop)
            return;
        seen = m_generation;
        lock.unlock();
        drain();
        lock.lock();
        if (--m_busy == 0)
            m_done.notify_one();
    }
}

void workerpool_t::run(std::size_t parts, task_t task, void* context)
{
    if (m_threads.empty()) {
        for (std::size_t part = 0; part < parts; ++part)
            task(context, part);
        return;
    }
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_task = task;
        m_context = context;
        m_parts = parts;
        m_next.store(0);
        m_busy = m_threads.size();
        ++m_generation;
    }
    m_wake.notify_all();
    drain();
    std::unique_lock<std::mutex> lock(m_mutex);
    m_done.wait(lock, [&] { return m_busy == 0; });
}

} // namespace basekit
