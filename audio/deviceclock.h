// Where a sound device has got to at any instant. The frames a device reports
// as played grow a mixing period at a time, at the device's own pace (a few
// per cent off its nominal rate, and off the monotonic clock); a straight
// line fitted to the last second of reports tells the frame at any instant,
// moving smoothly and never drifting away from the reports. A plain value,
// fed readings by its owner.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace sndkit {

class deviceclock_t {
public:
    // Forgets every report; `rate` is the device's nominal frames a second,
    // used until the reports say better.
    void reset(double rate);

    // A report: `frames` played by monotonic reading `now` (microseconds).
    void observe(std::int64_t now, std::int64_t frames);

    // The frame being played at `now`, on the fitted line. False before the
    // first report.
    bool frameat(std::int64_t now, double& frame) const;

    // Frames a monotonic second, as fitted (the nominal rate until then).
    double rate() const;

    // Reports kept: at 60 frames and a few dozen buffer ends a second, about
    // a second of them; older ones than k_span are dropped whatever their number.
    static constexpr std::size_t k_reports = 96;
    static constexpr std::int64_t k_span = 2000000;

private:
    struct report_t {
        std::int64_t now;
        std::int64_t frames;
    };
    // The line frame = base + slope * (now - m_origin) through the reports.
    bool fit(double& slope, double& base) const;

    std::array<report_t, k_reports> m_reports{};
    std::size_t m_count = 0;
    std::size_t m_next = 0;
    double m_nominal = 48000.0;
};

} // namespace sndkit
