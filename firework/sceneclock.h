// The scene clock's arithmetic: where scene time 0 lies on a 32-bit
// microsecond clock, pausing, one-second steps and restart. A plain value:
// the caller reads the clock and hands the reading in, so it runs anywhere.
#pragma once

#include "firework/evaluate.h"

#include <cstdint>

namespace vexlor {

class sceneclock_t {
public:
    static constexpr std::int64_t k_step = 1000000; // one second

    // Scene time 0 at `now`, not paused.
    void start(std::uint32_t now)
    {
        m_origin = m_pausestart = m_now = now;
        m_elapsed = 0.0f;
    }

    // The frame at clock reading `now`: returns the scene time in seconds.
    // After a wrap of the clock the elapsed time turns negative, as it does.
    float tick(std::uint32_t now)
    {
        m_now = now;
        m_elapsed = elapsedmicros(m_now, m_origin);
        return scenetime(m_elapsed);
    }

    // Scene time 0 at `now`. A pause in force is left alone: on resuming the
    // scene starts at minus the time it was paused before the restart.
    void restart(std::uint32_t now)
    {
        m_now = now;
        m_origin = now;
    }

    // Returns true when the clock is now paused.
    bool togglepause(std::uint32_t now)
    {
        m_paused = !m_paused;
        m_now = now;
        if (m_paused)
            m_pausestart = now;
        else
            m_origin += m_now - m_pausestart;
        return m_paused;
    }

    // Moves the scene time by `micros` (the key steps by plus or minus
    // k_step); while paused the frozen time moves and stays frozen.
    void step(std::int64_t micros, std::uint32_t now)
    {
        // Clock values are 32-bit microseconds and wrap like the clock itself.
        const auto delta = static_cast<std::uint32_t>(micros);
        m_now = now;
        if (!m_paused) {
            m_origin -= delta;
        } else {
            m_pausestart += delta;
            m_origin += m_now - m_pausestart;
            m_pausestart = m_now;
        }
    }

    bool paused() const { return m_paused; }
    std::uint32_t origin() const { return m_origin; }
    std::uint32_t pausestart() const { return m_pausestart; }
    std::uint32_t now() const { return m_now; }
    float elapsed() const { return m_elapsed; } // microseconds, as of the last tick

private:
    bool m_paused = false;
    std::uint32_t m_origin = 0;     // clock value at scene time 0
    std::uint32_t m_pausestart = 0; // clock value when the pause began
    std::uint32_t m_now = 0;        // clock value of the current frame
    float m_elapsed = 0.0f;         // scene time, microseconds
};

} // namespace vexlor
