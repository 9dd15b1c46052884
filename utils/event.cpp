// Auto-reset event on a mutex and a condition variable. A set() that finds
// waiters hands out one release instead of raising the flag, so two quick
// set() calls with two threads waiting release both, as the event they stand
// in for does.

#include "utils/event.h"

#include <chrono>

namespace basekit {

void event_t::set()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_waiting > m_released) {
            ++m_released;
        } else {
            m_signalled = true;
            return;
        }
    }
    m_cond.notify_one();
}

int event_t::wait()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (m_signalled) {
        m_signalled = false;
        return 0;
    }
    ++m_waiting;
    m_cond.wait(lock, [this] { return m_released > 0; });
    --m_released;
    --m_waiting;
    return 0;
}

int event_t::wait_for(std::uint32_t ms)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (m_signalled) {
        m_signalled = false;
        return 0;
    }
    ++m_waiting;
    const bool got = m_cond.wait_for(lock, std::chrono::milliseconds(ms), [this] { return m_released > 0; });
    --m_waiting;
    if (!got)
        return 1;
    --m_released;
    return 0;
}

} // namespace basekit
