// When the screensaver starts its show again: after the show has drawn
// something and then nothing, the sky stays empty for the delay, then the
// show restarts (at once for no delay). A plain value fed once a frame.
#pragma once

namespace vexlor {

class showloop_t {
public:
    explicit showloop_t(double delay) : m_delay(delay) {}

    // One frame at `now`, in seconds on a steady clock; `empty` when it drew
    // no point. True when the show must restart now. Empty frames before the
    // first launch are not an end: the show has not begun.
    bool restart(bool empty, double now)
    {
        if (!empty) {
            m_shown = true;
            m_waiting = false;
            return false;
        }
        if (!m_shown) return false;
        if (!m_waiting) {
            m_waiting = true;
            m_endedat = now;
        }
        if (now - m_endedat < m_delay) return false;
        m_shown = m_waiting = false;
        return true;
    }

private:
    double m_delay;
    bool m_shown = false;   // the show drew something since it (re)started
    bool m_waiting = false; // nothing drawn since m_endedat
    double m_endedat = 0.0;
};

} // namespace vexlor
