// The device clock's least-squares line, recomputed from the kept reports on
// each question: a hundred points, far cheaper than the frame that asks.
#include "audio/deviceclock.h"

#include <algorithm>

namespace sndkit {

namespace {

// Fewer reports than this, or spread over less time, fix no slope.
constexpr std::size_t k_fewest = 8;
constexpr std::int64_t k_shortest = 100000;

} // namespace

void deviceclock_t::reset(double rate)
{
    m_count = 0;
    m_next = 0;
    m_nominal = rate;
}

void deviceclock_t::observe(std::int64_t now, std::int64_t frames)
{
    // A report older than the newest kept adds nothing but noise.
    if (m_count > 0) {
        const report_t& newest = m_reports[(m_next + k_reports - 1) % k_reports];
        if (now < newest.now || frames < newest.frames)
            return;
    }
    m_reports[m_next] = {now, frames};
    m_next = (m_next + 1) % k_reports;
    m_count = std::min(m_count + 1, k_reports);
}

bool deviceclock_t::fit(double& slope, double& base) const
{
    const report_t& newest = m_reports[(m_next + k_reports - 1) % k_reports];
    // Relative to the newest report, so the sums stay small.
    double n = 0, st = 0, sf = 0, stt = 0, stf = 0;
    std::int64_t oldest = newest.now;
    for (std::size_t i = 0; i < m_count; ++i) {
        const report_t& r = m_reports[(m_next + k_reports - 1 - i) % k_reports];
        if (newest.now - r.now > k_span)
            break;
        const double t = static_cast<double>(r.now - newest.now) * 1e-6;
        const double f = static_cast<double>(r.frames - newest.frames);
        n += 1;
        st += t;
        sf += f;
        stt += t * t;
        stf += t * f;
        oldest = r.now;
    }
    const double spread = n * stt - st * st;
    if (n < k_fewest || newest.now - oldest < k_shortest || !(spread > 0.0))
        return false;
    slope = (n * stf - st * sf) / spread;
    // A device that stalled or raced for a moment must not fling the picture:
    // a slope far from the nominal rate is not believed.
    if (!(slope > 0.5 * m_nominal && slope < 2.0 * m_nominal))
        return false;
    base = (sf - slope * st) / n;
    return true;
}

bool deviceclock_t::frameat(std::int64_t now, double& frame) const
{
    if (m_count == 0)
        return false;
    const report_t& newest = m_reports[(m_next + k_reports - 1) % k_reports];
    const double since = static_cast<double>(now - newest.now) * 1e-6;
    double slope = 0, base = 0;
    if (!fit(slope, base)) {
        // Too few reports yet: the newest one at the nominal rate.
        frame = static_cast<double>(newest.frames) + m_nominal * since;
        return true;
    }
    frame = static_cast<double>(newest.frames) + base + slope * since;
    return true;
}

double deviceclock_t::rate() const
{
    double slope = 0, base = 0;
    return fit(slope, base) ? slope : m_nominal;
}

} // namespace sndkit
