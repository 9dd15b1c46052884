// Fitting a beat grid to onsets: the period and phase that line up the strong
// onsets best (their mean phase on a circle one period round), then each beat
// from a line through the onsets matched to the beats near it.
#include "audio/beatgrid.h"

#include <algorithm>
#include <cmath>
#include <complex>

namespace sndkit {
namespace {

constexpr double k_pi = 3.14159265358979323846;
// Onsets at least this share of the loud ones' strength mark beats; the
// rest are off-beats, fills and noise.
constexpr double k_strong = 0.25;
constexpr double k_loudquantile = 0.9;
// How far the tempo may lie from the tracker's, and how finely it is found.
constexpr double k_tempospan = 0.06;
constexpr int k_coarsesteps = 240;
constexpr int k_finesteps = 200;
// An onset this share of a period from where a beat is due is that beat.
constexpr double k_match = 1.0 / 6.0;
// Beats either side whose onsets set a beat.
constexpr int k_neighbours = 4;
// Onsets on a grid line up at least this well (1: exactly).
constexpr double k_coherent = 0.5;
// A beat due this little before the track's first sample is its first beat;
// any earlier one lies outside the track, whatever the opening sound.
constexpr double k_startslack = 0.010;

// How well `times` line up at `period`: the length of their mean phase
// vector (1: all on one phase), and that phase in seconds.
double coherence(const std::vector<double>& times, double period, double& phase)
{
    std::complex<double> sum = 0.0;
    for (double t : times)
        sum += std::polar(1.0, 2.0 * k_pi * t / period);
    double angle = std::arg(sum);
    if (angle < 0.0)
        angle += 2.0 * k_pi;
    phase = angle / (2.0 * k_pi) * period;
    return std::abs(sum) / static_cast<double>(times.size());
}

// The best period within `span` (a share) of `period`, in `steps` steps.
double bestperiod(const std::vector<double>& times, double period, double span, int steps, double& phase)
{
    double best = -1.0, found = period;
    for (int i = 0; i <= steps; ++i) {
        const double p = period * (1.0 - span + 2.0 * span * i / steps);
        double at = 0.0;
        const double c = coherence(times, p, at);
        if (c > best) {
            best = c;
            found = p;
            phase = at;
        }
    }
    return found;
}

// The strong onset nearest to `t`, or a negative time when there is none.
double nearest(const std::vector<double>& times, double t)
{
    const auto after = std::lower_bound(times.begin(), times.end(), t);
    double best = -1.0;
    if (after != times.end())
        best = *after;
    if (after != times.begin() && (best < 0.0 || t - *(after - 1) < best - t))
        best = *(after - 1);
    return best;
}

} // namespace

bool fitbeats(const std::vector<onset_t>& onsets, double hint, double seconds, beats_t& beats)
{
    beats = {};
    if (!(hint > 0.0) || !std::isfinite(hint) || onsets.size() < 4)
        return false;
    double bpm = hint;
    while (bpm < k_slowesttempo)
        bpm *= 2.0;
    while (bpm >= k_fastesttempo)
        bpm /= 2.0;

    std::vector<double> strengths;
    for (const onset_t& onset : onsets)
        strengths.push_back(onset.strength);
    const auto loud = strengths.begin() + static_cast<std::ptrdiff_t>(k_loudquantile * (strengths.size() - 1));
    std::nth_element(strengths.begin(), loud, strengths.end());
    const double threshold = k_strong * *loud;
    std::vector<double> strong;
    for (const onset_t& onset : onsets)
        if (onset.strength >= threshold && onset.time >= 0.0 && onset.time <= seconds)
            strong.push_back(onset.time);
    std::sort(strong.begin(), strong.end());
    if (strong.size() < 4)
        return false;

    double phase = 0.0;
    double period = bestperiod(strong, 60.0 / bpm, k_tempospan, k_coarsesteps, phase);
    period = bestperiod(strong, period, 2.0 * k_tempospan / k_coarsesteps, k_finesteps, phase);
    // Music faster than the range counted in halves has a strong onset every
    // half period, whose phases cancel: the grid is then found at twice the
    // tempo and every other beat counted.
    double step = period; // the grid's phase repeats every step
    if (coherence(strong, period, phase) < k_coherent) {
        step = bestperiod(strong, period / 2.0, k_tempospan, k_coarsesteps, phase);
        step = bestperiod(strong, step, 2.0 * k_tempospan / k_coarsesteps, k_finesteps, phase);
        period = 2.0 * step;
    }

    // Beat 1 is the grid's beat at the first strong onset; then every
    // period to the end, following the onsets as the tempo drifts.
    const double first = phase + std::round((strong.front() - phase) / step) * step;
    const auto count = static_cast<std::size_t>(std::floor((seconds - first) / period)) + 1;
    if (!(first <= seconds) || count < 2)
        return false;
    std::vector<double> matched(count, -1.0), drift(count, 0.0);
    double offset = 0.0;
    for (std::size_t k = 0; k < count; ++k) {
        const double grid = first + static_cast<double>(k) * period;
        const double onset = nearest(strong, grid + offset);
        if (onset >= 0.0 && std::fabs(onset - (grid + offset)) <= k_match * period) {
            matched[k] = onset;
            offset = onset - grid;
        }
        drift[k] = offset;
    }

    beats.bpm = 60.0 / period;
    beats.times.reserve(count);
    for (std::size_t k = 0; k < count; ++k) {
        // A least-squares line through the matched onsets around beat k.
        double n = 0.0, sx = 0.0, sy = 0.0, sxx = 0.0, sxy = 0.0;
        const std::size_t from = k > k_neighbours ? k - k_neighbours : 0;
        const std::size_t to = std::min(count - 1, k + k_neighbours);
        for (std::size_t j = from; j <= to; ++j) {
            if (matched[j] < 0.0)
                continue;
            const double x = static_cast<double>(j) - static_cast<double>(k);
            n += 1.0;
            sx += x;
            sy += matched[j];
            sxx += x * x;
            sxy += x * matched[j];
        }
        double t = first + static_cast<double>(k) * period + drift[k];
        if (n >= 2.0 && n * sxx - sx * sx > 0.0) {
            const double slope = (n * sxy - sx * sy) / (n * sxx - sx * sx);
            t = (sy - slope * sx) / n;
        } else if (n == 1.0) {
            t = sy - sx * period;
        }
        if (!beats.times.empty())
            t = std::max(t, beats.times.back() + period / 2.0);
        if (t > seconds)
            break;
        beats.times.push_back(std::max(t, 0.0));
    }
    if (beats.times.size() < 2)
        return false;

    // A quiet start (the track's very first onset has no frame before it to
    // rise from, a fade in): earlier beats on the grid count while any onset
    // marks them.
    std::vector<double> all;
    for (const onset_t& onset : onsets)
        all.push_back(onset.time);
    std::sort(all.begin(), all.end());
    std::vector<double> before;
    for (double t = beats.times.front() - period; t >= -k_startslack; t -= period) {
        const double onset = nearest(all, t);
        if (onset < 0.0 || std::fabs(onset - t) > k_match * period)
            break;
        before.push_back(std::max(t, 0.0));
    }
    beats.times.insert(beats.times.begin(), before.rbegin(), before.rend());
    return true;
}

} // namespace sndkit
