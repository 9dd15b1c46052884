// Auto-reset event: set() releases exactly one waiting thread, or, when none
// waits, lets the next wait() through at once. Starts not signalled.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace basekit {

class event_t {
public:
    event_t() = default;
    event_t(const event_t&) = delete;
    event_t& operator=(const event_t&) = delete;

    // Several set() with nobody waiting count as one.
    void set();
    // Blocks until signalled; returns 0.
    int wait();
    // 0 when signalled within `ms` milliseconds, 1 on timeout.
    int wait_for(std::uint32_t ms);

private:
    std::mutex m_mutex;
    std::condition_variable m_cond;
    bool m_signalled = false;   // set while nobody waited
    unsigned m_waiting = 0;     // threads blocked in wait / wait_for
    unsigned m_released = 0;    // releases handed out but not yet taken
};

} // namespace basekit
