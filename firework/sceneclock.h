// The show's clock: where show time 0 lies on a 64-bit microsecond clock,
// pausing, one-second steps, restart and moves to a given time. A plain
// value: the caller reads the clock and hands the reading in, so it runs
// anywhere and its tests step time instead of sleeping.
#pragma once

#include <cmath>
#include <cstdint>

namespace vexlor {

class sceneclock_t {
public:
    static constexpr std::int64_t k_second = 1000000;
    static constexpr std::int64_t k_step = k_second; // what Left and Right move

    // Show time 0 at `now`, not paused.
    void start(std::int64_t now)
    {
        m_paused = false;
        m_origin = m_pausestart = now;
    }

    // Microseconds of show time at reading `now`; frozen while paused.
    std::int64_t micros(std::int64_t now) const { return (m_paused ? m_pausestart : now) - m_origin; }

    // Seconds of show time at reading `now`: the readings are subtracted in
    // 64 bits first, so the float keeps its precision however long the
    // machine has been up.
    float time(std::int64_t now) const { return static_cast<float>(static_cast<double>(micros(now)) / k_second); }

    // Show time 0 at `now`. A pause in force is left alone: on resuming the
    // show starts at minus the time it was paused before the restart.
    void restart(std::int64_t now) { m_origin = now; }

    // Returns true when the clock is now paused.
    bool togglepause(std::int64_t now)
    {
        m_paused = !m_paused;
        if (m_paused)
            m_pausestart = now;
        else
            m_origin += now - m_pausestart;
        return m_paused;
    }

    // Moves the show time by `micros` (the keys step by plus or minus
    // k_step); while paused the frozen time moves and stays frozen.
    void step(std::int64_t micros, std::int64_t now)
    {
        if (!m_paused) {
            m_origin -= micros;
        } else {
            m_pausestart += micros;
            m_origin += now - m_pausestart;
            m_pausestart = now;
        }
    }

    // Show time `seconds` at reading `now`, paused or not.
    void set(double seconds, std::int64_t now)
    {
        const auto micros = static_cast<std::int64_t>(std::llround(seconds * k_second));
        m_origin = (m_paused ? m_pausestart : now) - micros;
    }

    bool paused() const { return m_paused; }
    std::int64_t origin() const { return m_origin; }
    std::int64_t pausestart() const { return m_pausestart; }

private:
    bool m_paused = false;
    std::int64_t m_origin = 0;     // reading at show time 0
    std::int64_t m_pausestart = 0; // reading when the pause began
};

} // namespace vexlor
