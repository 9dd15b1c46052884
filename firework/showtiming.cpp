// Stage timing per design, shifted by each shell's launch and burst. Stars
// whose stages share their delays and film durations light up alike, so a
// design's timing is worked out once per distinct star timing; the exact
// ends come from the evaluation's own walk near the bounds found in real
// arithmetic, so they agree with what a frame draws to the last float.
#include "firework/showtiming.h"

#include "firework/evaluate.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <unordered_map>

namespace vexlor {

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr float finfinity = std::numeric_limits<float>::infinity();

// Floats in order as integers, so that a search can halve the floats
// between two values exactly.
std::int64_t order(float x)
{
    std::int32_t bits;
    std::memcpy(&bits, &x, sizeof bits);
    return bits >= 0 ? bits : -static_cast<std::int64_t>(bits & 0x7fffffff);
}

float unorder(std::int64_t key)
{
    const std::int32_t bits = key >= 0 ? static_cast<std::int32_t>(key)
                                       : static_cast<std::int32_t>(static_cast<std::uint32_t>(-key) | 0x80000000u);
    float x;
    std::memcpy(&x, &bits, sizeof x);
    return x;
}

// The largest float from `lo` to `hi` for which `holds` is true, when it is
// true at `lo`, false at `hi` and changes once in between.
template <typename Predicate> float lastfloat(float lo, float hi, Predicate holds)
{
    std::int64_t low = order(lo), high = order(hi);
    while (high - low > 1) {
        const std::int64_t middle = low + (high - low) / 2;
        (holds(unorder(middle)) ? low : high) = middle;
    }
    return unorder(low);
}

// The time since a stage ignited up to which its films give a colour, in real
// arithmetic: the walk stops at the first film whose running sum reaches the
// time. -infinity without films; +infinity for a film of no duration (NaN),
// which the walk never passes.
double filmreach(const std::vector<film_t>& films)
{
    double reach = -infinity, sum = 0.0;
    for (const film_t& film : films) {
        if (std::isnan(film.duration))
            return infinity;
        sum += film.duration;
        reach = std::max(reach, sum);
    }
    return reach;
}

// The timing of a star: the delays and film durations of its stages, which
// alone decide when each stage shows.
bool sametiming(const fire_t& a, const fire_t& b)
{
    // A star with effects times its stages by them too.
    if (a.powders.size() != b.powders.size() || a.effect != b.effect)
        return false;
    for (std::size_t i = 0; i < a.powders.size(); ++i) {
        const powder_t& p = a.powders[i];
        const powder_t& q = b.powders[i];
        if (std::memcmp(&p.delay, &q.delay, sizeof p.delay) != 0 || p.films.size() != q.films.size())
            return false;
        for (std::size_t k = 0; k < p.films.size(); ++k)
            if (std::memcmp(&p.films[k].duration, &q.films[k].duration, sizeof(float)) != 0)
                return false;
    }
    return true;
}

std::uint64_t hashtiming(const fire_t& fire)
{
    std::uint64_t hash = 0xcbf29ce484222325ull;
    const auto mix = [&hash](const void* data, std::size_t size) {
        const auto* bytes = static_cast<const unsigned char*>(data);
        for (std::size_t i = 0; i < size; ++i)
            hash = (hash ^ bytes[i]) * 0x100000001b3ull;
    };
    const std::size_t stages = fire.powders.size();
    mix(&stages, sizeof stages);
    mix(&fire.effect, sizeof fire.effect);
    for (const powder_t& powder : fire.powders) {
        mix(&powder.delay, sizeof powder.delay);
        const std::size_t films = powder.films.size();
        mix(&films, sizeof films);
        for (const film_t& film : powder.films)
            mix(&film.duration, sizeof film.duration);
    }
    return hash;
}

struct span_t {
    double start;
    double stop;
    std::uint64_t points = 1;
};

std::uint64_t bitsof(double x)
{
    std::uint64_t bits;
    std::memcpy(&bits, &x, sizeof bits);
    return bits;
}

// A stage with effects from `start` seconds after the burst, its films
// reaching `reach` seconds: its star (or the most crackle flashes lit at
// once), and each tail point from when the star has flown far enough to draw
// it.
void effectruns(const powder_t& powder, const stageeffect_t& effect, double start, double reach,
                std::vector<span_t>& runs)
{
    if (!(reach >= 0.0))
        return;
    const double stop = start + reach;
    if (effect.crackle > 0) {
        float films = 0.0f;
        for (const film_t& film : powder.films)
            films += film.duration;
        runs.push_back({start, stop, cracklebound(effect, films)});
        return;
    }
    runs.push_back({start, stop, 1});
    for (std::uint16_t k = 1; k <= effect.tail; ++k) {
        // Drawn once s - k gap is not negative, as the walk works it out.
        const double from = start + static_cast<double>(static_cast<float>(k) * effect.tailgap);
        if (from <= stop)
            runs.push_back({from, stop, 1});
    }
}

// The runs of a star with effects, walked as the evaluation walks it.
void specialruns(const fire_t& fire, const stareffect_t& effects, std::vector<span_t>& runs, bool& endless)
{
    static const stageeffect_t plain{};
    double ignition = 0.0;
    for (std::size_t i = 0; i < fire.powders.size(); ++i) {
        const powder_t& powder = fire.powders[i];
        const stageeffect_t& effect = i < effects.stages.size() ? effects.stages[i] : plain;
        const double reach = filmreach(powder.films);
        if (!std::isfinite(powder.delay) || (powder.delay == 0.0f && !effect.split && powder.films.empty())) {
            endless = true;
            runs.push_back({0.0, infinity});
            return;
        }
        if (effect.split)
            effectruns(powder, effect, std::max(0.0, static_cast<double>(powder.delay)), reach, runs);
        else if (powder.delay == 0.0f)
            effectruns(powder, effect, 0.0, reach, runs);
        else {
            // Stars with effects come from the makers with rising delays;
            // any other order is widened to every time the stage might show.
            ignition += std::fabs(static_cast<double>(powder.delay));
            effectruns(powder, effect, powder.delay > 0.0f ? ignition : 0.0, reach, runs);
        }
    }
}

// When each stage of a star shows, seconds after the burst. Delays that never
// fall (ignoring carriers) ignite their stages in order, each the sum of the
// delays so far after the burst: exact. Otherwise a later stage may ignite
// early while an earlier one waits, and each run is widened to every time
// its stage could show.
void starruns(const fire_t& fire, std::vector<span_t>& runs, bool& endless)
{
    double ignition = 0.0; // the sum of the delays so far, in order
    double positive = 0.0; // of the positive ones
    double negative = 0.0; // of the magnitudes of the negative ones
    double last = 0.0;     // the last delay
    bool ordered = true;
    for (const powder_t& powder : fire.powders) {
        const double reach = filmreach(powder.films);
        if (powder.delay == 0.0f) {
            if (powder.films.empty()) {
                // Keeps drawing the shell, and the stages after it are ignored.
                endless = true;
                runs.push_back({0.0, infinity});
                return;
            }
            if (reach >= 0.0)
                runs.push_back({0.0, reach});
            continue;
        }
        if (std::isnan(powder.delay)) {
            // Used at once, and every time after it is NaN: a point for ever.
            endless = true;
            runs.push_back({0.0, infinity});
            return;
        }
        if (std::isinf(powder.delay)) {
            if (powder.delay > 0.0f)
                continue; // never reached
            return;       // leaves an infinite time: nothing shows after it
        }
        const double delay = powder.delay;
        if (delay < 0.0 || delay < last)
            ordered = false;
        last = delay;
        ignition += delay;
        if (delay > 0.0)
            positive += delay;
        if (reach < 0.0) {
            if (delay < 0.0)
                negative -= delay;
            continue;
        }
        if (ordered)
            runs.push_back({ignition, ignition + reach});
        else
            runs.push_back({std::max(0.0, delay - negative), positive + reach});
        if (delay < 0.0)
            negative -= delay;
    }
}

} // namespace

bool showtiming_t::ends() const
{
    return m_end < finfinity;
}

void showtiming_t::analyse(const show_t& show)
{
    const effecttable_t* effects = &show.effects;
    m_designs.assign(show.designs.size(), design_t{});
    for (std::size_t d = 0; d < show.designs.size(); ++d) {
        const std::vector<fire_t>& fires = show.designs[d];
        design_t& design = m_designs[d];

        // One star per timing, with how many share it.
        std::unordered_multimap<std::uint64_t, std::size_t> byhash;
        std::vector<std::pair<const fire_t*, std::uint64_t>> timings;
        for (const fire_t& fire : fires) {
            const std::uint64_t hash = hashtiming(fire);
            bool found = false;
            const auto range = byhash.equal_range(hash);
            for (auto it = range.first; it != range.second && !found; ++it)
                if (sametiming(*timings[it->second].first, fire)) {
                    ++timings[it->second].second;
                    found = true;
                }
            if (!found) {
                byhash.emplace(hash, timings.size());
                timings.emplace_back(&fire, 1);
            }
        }

        bool endless = false;
        std::size_t longest = 0;
        std::vector<starlimits_t> limits;
        std::vector<span_t> runs;
        std::unordered_map<std::uint64_t, std::size_t> merged; // equal runs added up
        for (const auto& [fire, count] : timings) {
            const stareffect_t* effect = effectof(effects, fire->effect);
            limits.push_back(starlimits(*fire, effect));
            longest = std::max(longest, fire->powders.size());
            runs.clear();
            if (effect != nullptr)
                specialruns(*fire, *effect, runs, endless);
            else
                starruns(*fire, runs, endless);
            for (const span_t& run : runs) {
                const std::uint64_t key = bitsof(run.start) * 0x9e3779b97f4a7c15ull ^ bitsof(run.stop);
                const auto it = merged.find(key);
                if (it != merged.end() && design.runs[it->second].start == run.start
                    && design.runs[it->second].stop == run.stop) {
                    design.runs[it->second].points += count * run.points;
                } else {
                    merged.emplace(key, design.runs.size());
                    design.runs.push_back({run.start, run.stop, count * run.points});
                }
            }
        }
        double realend = -infinity;
        for (const auto& run : design.runs)
            realend = std::max(realend, run.stop);
        design.lastchange = -infinity;
        for (const auto& run : design.runs) {
            design.lastchange = std::max(design.lastchange, run.start);
            if (run.stop < infinity)
                design.lastchange = std::max(design.lastchange, run.stop);
        }
        if (endless || realend == infinity) {
            design.end = finfinity;
            continue;
        }
        if (!(realend > 0.0)) {
            design.end = -finfinity; // nothing after the burst
            continue;
        }

        // The float walk's own end near the real one: a bound above it that
        // covers the walk's rounding, a lit time below it, then halving.
        const auto shows = [&](float b) {
            for (std::size_t k = 0; k < timings.size(); ++k)
                if (static_cast<double>(b) <= limits[k].burnout && starshows(*timings[k].first, limits[k], b, effects))
                    return true;
            return false;
        };
        double margin = realend * std::max(1e-3, static_cast<double>(longest) * std::ldexp(1.0, -22)) + 1e-6;
        float high = std::nextafter(static_cast<float>(realend + margin), finfinity);
        for (int widen = 0; widen < 40 && shows(high); ++widen) {
            margin *= 2.0;
            high = std::nextafter(static_cast<float>(realend + margin), finfinity);
        }
        float low = -finfinity;
        for (float step = std::nextafter(static_cast<float>(realend), finfinity) - static_cast<float>(realend);
             step < high; step *= 2.0f) {
            const float b = std::nextafter(static_cast<float>(realend), finfinity) - step;
            if (b <= 0.0f)
                break;
            if (shows(b)) {
                low = b;
                break;
            }
        }
        design.end = low == -finfinity || shows(high) ? static_cast<float>(realend) : lastfloat(low, high, shows);
    }

    // Each shell: the rising point while the time since launch is within the
    // fuse, the stars after it; the launch itself, whose sound the first
    // frame after it asks for.
    m_shells.resize(show.shells.size());
    m_end = -finfinity;
    m_lastchange = -infinity;
    for (std::size_t i = 0; i < show.shells.size(); ++i) {
        const firework_t& shell = show.shells[i];
        const design_t& design = m_designs[show.design[i]];
        const float T = shell.time, fuse = shell.fuse;
        float out = T;
        if (fuse >= 0.0f) {
            // The last float t with t - T within the fuse.
            const auto rising = [&](float t) { return t - T <= fuse; };
            const double target = static_cast<double>(T) + fuse;
            float high = std::nextafter(static_cast<float>(target), finfinity);
            for (double extra = 1e-6 * std::fabs(target) + 1e-6; rising(high) && high < finfinity; extra *= 2.0)
                high = std::nextafter(static_cast<float>(target + extra), finfinity);
            if (!rising(high)) {
                const float last = lastfloat(T, high, rising);
                if (last > T)
                    out = std::max(out, last);
            }
        }
        if (design.end == finfinity) {
            out = finfinity;
        } else if (design.end > 0.0f) {
            const float bstar = design.end;
            const auto lit = [&](float t) { return (t - T) - fuse <= bstar; };
            const double target = static_cast<double>(T) + fuse + bstar;
            float high = std::nextafter(static_cast<float>(target), finfinity);
            for (double extra = 1e-6 * std::fabs(target) + 1e-6; lit(high) && high < finfinity; extra *= 2.0)
                high = std::nextafter(static_cast<float>(target + extra), finfinity);
            float low = T;
            if (lit(low) && !lit(high))
                out = std::max(out, lastfloat(low, high, lit));
        }
        m_shells[i] = {T, static_cast<double>(T) + fuse, out};
        m_end = std::max(m_end, out);

        const double burst = static_cast<double>(T) + std::max(0.0f, fuse);
        m_lastchange = std::max({m_lastchange, static_cast<double>(T), burst});
        if (design.lastchange > -infinity)
            m_lastchange = std::max(m_lastchange, static_cast<double>(T) + fuse + design.lastchange);
    }
}

busiest_t showtiming_t::busiest(const show_t& show, double fps) const
{
    double from = 0.0;
    for (const firework_t& shell : show.shells)
        from = std::min(from, static_cast<double>(shell.time));
    return busiest(show, fps, from, ends() ? static_cast<double>(m_end) : m_lastchange + 1.0 / fps);
}

busiest_t showtiming_t::busiest(const show_t& show, double fps, double from, double to) const
{
    busiest_t best;
    best.at = from;
    if (!(fps > 0.0) || !(to >= from) || show.shells.empty())
        return best;
    // Frames beyond the last change count the same as the one after it.
    to = std::min(to, std::max(from, m_lastchange) + 1.0 / fps);
    const auto lastframe = static_cast<std::int64_t>(std::floor((to - from) * fps));

    // Shells alike in design, launch and fuse count alike: one group each.
    struct group_t {
        std::size_t design;
        float time;
        float fuse;
        std::uint64_t shells;
        std::int64_t first; // frames this group may light, for the sweep
        std::int64_t last;
    };
    std::vector<group_t> groups;
    {
        std::unordered_map<std::uint64_t, std::vector<std::size_t>> byhash;
        for (std::size_t i = 0; i < show.shells.size(); ++i) {
            const firework_t& shell = show.shells[i];
            std::uint32_t t, f;
            std::memcpy(&t, &shell.time, 4);
            std::memcpy(&f, &shell.fuse, 4);
            const std::uint64_t hash = (static_cast<std::uint64_t>(t) << 32 | f) * 0x9e3779b97f4a7c15ull ^ show.design[i];
            std::vector<std::size_t>& same = byhash[hash];
            bool found = false;
            for (std::size_t g : same)
                if (groups[g].design == show.design[i] && std::memcmp(&groups[g].time, &shell.time, 4) == 0
                    && std::memcmp(&groups[g].fuse, &shell.fuse, 4) == 0) {
                    ++groups[g].shells;
                    found = true;
                    break;
                }
            if (!found) {
                same.push_back(groups.size());
                groups.push_back({show.design[i], shell.time, shell.fuse, 1, 0, 0});
            }
        }
    }

    // Frame k lies at from + k / fps: the first frame at or after x (after x
    // when `open`), and the last at or before y.
    const auto firstframe = [&](double x, bool open) {
        const double k = (x - from) * fps;
        const double first = open ? std::floor(k) + 1.0 : std::ceil(k);
        return first < 0.0 ? std::int64_t{0} : first > static_cast<double>(lastframe + 1) ? lastframe + 1
                                                                                          : static_cast<std::int64_t>(first);
    };
    const auto finalframe = [&](double y) {
        const double k = std::floor((y - from) * fps);
        return k < -1.0 ? std::int64_t{-1} : k > static_cast<double>(lastframe) ? lastframe : static_cast<std::int64_t>(k);
    };
    for (group_t& group : groups) {
        const double launch = group.time;
        const double burst = launch + group.fuse;
        group.first = firstframe(launch, true);
        group.last = finalframe(std::max(burst, burst + m_designs[group.design].lastchange));
        if (m_designs[group.design].end == finfinity)
            group.last = lastframe;
    }
    std::sort(groups.begin(), groups.end(), [](const group_t& a, const group_t& b) { return a.first < b.first; });

    // Window by window of frames: each group adds its runs to a difference
    // array, the running sum is each frame's count.
    constexpr std::int64_t window = std::int64_t{1} << 16;
    std::vector<std::int64_t> change(static_cast<std::size_t>(window) + 1);
    std::vector<std::size_t> active;
    std::size_t next = 0;
    std::int64_t start = groups.empty() ? lastframe + 1 : groups.front().first;
    while (start <= lastframe) {
        const std::int64_t stop = std::min(lastframe + 1, start + window); // frames [start, stop)
        while (next < groups.size() && groups[next].first < stop)
            active.push_back(next++);
        std::fill(change.begin(), change.end(), 0);
        const auto add = [&](std::int64_t a, std::int64_t b, std::uint64_t points) { // frames [a, b]
            a = std::max(a, start);
            b = std::min(b, stop - 1);
            if (a > b)
                return;
            change[static_cast<std::size_t>(a - start)] += static_cast<std::int64_t>(points);
            change[static_cast<std::size_t>(b + 1 - start)] -= static_cast<std::int64_t>(points);
        };
        for (std::size_t g : active) {
            const group_t& group = groups[g];
            const double launch = group.time;
            const double burst = launch + group.fuse;
            if (group.fuse >= 0.0f)
                add(firstframe(launch, true), finalframe(burst), group.shells);
            for (const run_t& run : m_designs[group.design].runs) {
                // Stars show only after the burst.
                const bool open = run.start <= 0.0;
                add(firstframe(burst + std::max(0.0, run.start), open),
                    run.stop == infinity ? lastframe : finalframe(burst + run.stop), run.points * group.shells);
            }
        }
        std::int64_t count = 0;
        for (std::int64_t k = start; k < stop; ++k) {
            count += change[static_cast<std::size_t>(k - start)];
            if (count > static_cast<std::int64_t>(best.points)) {
                best.points = static_cast<std::size_t>(count);
                best.at = from + static_cast<double>(k) / fps;
            }
        }
        active.erase(std::remove_if(active.begin(), active.end(), [&](std::size_t g) { return groups[g].last < stop; }),
                     active.end());
        start = stop;
        if (active.empty() && next < groups.size())
            start = std::max(start, groups[next].first);
        else if (active.empty())
            break;
    }
    return best;
}

bool drawable(const show_t& show, std::string& problem)
{
    showtiming_t timing;
    timing.analyse(show);
    const busiest_t busiest = timing.busiest(show);
    if (busiest.points <= maxframepoints)
        return true;
    char line[160];
    std::snprintf(line, sizeof line, "its busiest frame (at %.3f s) holds %zu points, more than the %zu one frame can draw",
                  busiest.at, busiest.points, maxframepoints);
    problem = line;
    return false;
}

} // namespace vexlor
