// Keeps the idle loop at the monitor's refresh rate where vsync does not pace
// (Xvfb, some drivers): a frame that comes early waits for the rest of its
// period. Animation time still comes from the clock, so only CPU use changes.
#pragma once

#include <chrono>

namespace winkit {

class framepacer_t {
public:
    using clock = std::chrono::steady_clock;

    // Refresh rate in Hz; 0 or less means unknown and gives 60.
    void setrate(int hz);
    clock::duration period() const { return m_period; }

    // How long a frame ending at `now` must still wait before the next starts.
    clock::duration next(clock::time_point now);

    // Sleeps for what next() says.
    void pace();

private:
    clock::duration m_period = std::chrono::microseconds(16667);
    clock::time_point m_due{};
};

} // namespace winkit
