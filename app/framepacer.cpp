// Frame pacing by sleeping to the next period boundary.
#include "app/framepacer.h"

#include <thread>

namespace winkit {

void framepacer_t::setrate(int hz)
{
    if (hz <= 0) hz = 60;
    m_period = std::chrono::duration_cast<clock::duration>(std::chrono::duration<double>(1.0 / hz));
}

framepacer_t::clock::duration framepacer_t::next(clock::time_point now)
{
    // Start to start at least one period, measured from when the wait ends:
    // no schedule accumulates, so a vsync slightly faster than the nominal
    // rate never builds up into a missed refresh.
    const auto wait = now < m_due ? m_due - now : clock::duration::zero();
    m_due = now + wait + m_period;
    return wait;
}

void framepacer_t::pace()
{
    const auto wait = next(clock::now());
    if (wait > clock::duration::zero()) std::this_thread::sleep_for(wait);
}

} // namespace winkit
