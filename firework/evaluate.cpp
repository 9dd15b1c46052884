// Per-frame evaluation of the scene. The shortcuts taken here (burnt-out
// shells and stars skipped, dark stages of one repeated delay passed over in
// one step, the tail cut short, positions computed only for lit stages)
// never change a point or a sound.
#include "firework/evaluate.h"

#include "firework/ballistic.h"
#include "firework/effect.h"
#include "firework/filmcolor.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <thread>

namespace vexlor {

namespace {

// Passes over tail stages of one repeated delay that are still too far from
// their films to show, in one step. It only does so when every subtraction
// and addition of the plain walk would be exact: r and a are then multiples
// of a power of two that the delay is a multiple of, and stay below 2^24
// of it, so r - k delay and a + k delay are exactly what k steps would give.
// Returns the number of stages passed over.
std::size_t skipdark(const starlimits_t& limits, std::size_t stages, float& r, float& a)
{
    const double step = limits.step;
    if (!(step > 0.0) || !std::isnormal(r) || r < step)
        return 0;
    const double quantum = std::ldexp(1.0, std::ilogb(r) - 23); // r's own spacing
    if (std::fmod(step, quantum) != 0.0 || std::fmod(static_cast<double>(a), limits.stepquantum) != 0.0)
        return 0;
    // Stage k (from 1) is used while r - (k - 1) step >= step, and dark while
    // r - k step > tailwindow; stop a stage short of the first one that might show.
    const double used = std::min(static_cast<double>(stages), std::floor(r / step));
    const double k = std::min(used, std::floor((r - limits.tailwindow) / step) - 1.0);
    if (!(k >= 2.0))
        return 0;
    const double left = r - k * step;
    const double spent = a + k * step;
    if (!(left > limits.tailwindow) || spent >= limits.stepquantum * 16777216.0)
        return 0;
    r = static_cast<float>(left);
    a = static_cast<float>(spent);
    return static_cast<std::size_t>(k);
}

// Where a star's walk puts what it finds: the points themselves, or only how
// many there are (positions are then never computed; the walk is the same).
// A `steady` sink counts a strobe or crackle while it burns, dark or lit
// (every crackle flash at once); tails are left out of one without `tails`.
struct pointsink_t {
    static constexpr bool positions = true;
    static constexpr bool steady = false;
    static constexpr bool tails = true;
    std::vector<primitive_t>& points;
    void add(const primitive_t& point) { points.push_back(point); }
};

struct countsink_t {
    static constexpr bool positions = false; // so no tails either
    static constexpr bool steady = true;
    std::size_t count = 0;
    void add(const primitive_t&) { ++count; }
};

// Where a star's stages reach, for measuring a break.
struct headsink_t {
    static constexpr bool positions = true;
    static constexpr bool steady = true;
    static constexpr bool tails = false;
    std::vector<primitive_t>& points;
    void add(const primitive_t& point) { points.push_back(point); }
};

// The sum of a stage's film durations, as the film walk reaches it.
float filmspan(const std::vector<film_t>& films)
{
    float total = 0.0f;
    for (const film_t& film : films)
        total += film.duration;
    return total;
}

// One stage with effects, started at `from` with velocity W, `s` seconds
// on: its star (or crackle) and its tail, in the colour its films give.
template <typename Sink>
void drawstage(const powder_t& powder, const stageeffect_t& effect, std::uint32_t seed,
               const geokit::position3_t& from, const geokit::direction3_t& W, float s, Sink& out)
{
    geokit::color3a_t color;
    if (!filmcolor(powder.films, s, color))
        return;
    if (!Sink::steady && !strobelit(effect, seed, s))
        return;
    if constexpr (!Sink::positions) {
        out.add({});
        return;
    } else {
        const geokit::position3_t at = flightpoint(effect.motion, from, W, s, powder.drag);
        if (effect.crackle > 0) {
            const float films = filmspan(powder.films);
            for (std::uint32_t j = 0; j < effect.crackle; ++j) {
                const float start = crackletime(effect, seed, j, films);
                if (!Sink::steady && (s < start || s > start + effect.flash))
                    continue;
                const geokit::direction3_t off = crackleoffset(effect, seed, j);
                out.add({{at.x + off.x, at.y + off.y, at.z + off.z}, powder.size, color});
            }
            return;
        }
        out.add({at, powder.size, color});
        if constexpr (!Sink::tails)
            return;
        // The tail: the star's own path a little earlier, dimmer and smaller
        // the further back.
        const geokit::color3a_t& tint = effect.tailcolor.a > 0.0f ? effect.tailcolor : color;
        const float steps = static_cast<float>(effect.tail) + 1.0f;
        for (std::uint16_t k = 1; k <= effect.tail; ++k) {
            const float back = s - static_cast<float>(k) * effect.tailgap;
            if (back < 0.0f)
                break;
            const float fade = 1.0f - static_cast<float>(k) / steps;
            const float size = powder.size * effect.tailsize * (1.0f - 0.5f * static_cast<float>(k) / steps);
            out.add({flightpoint(effect.motion, from, W, back, powder.drag), size,
                     {tint.r * fade, tint.g * fade, tint.b * fade, tint.a}});
        }
    }
}

// A star with effects: few stages, walked in full. Carriers and classic
// delayed stages keep their meaning; a split stage starts from the last
// carrier's state at its own time since the burst.
template <typename Sink>
void evaluateeffects(const fire_t& fire, const stareffect_t& effects, const geokit::position3_t& B,
                     const primitive_t& shell, float b, Sink& out)
{
    static const stageeffect_t plain{};
    const geokit::direction3_t V{fire.speed * fire.direction.x, fire.speed * fire.direction.y,
                                 fire.speed * fire.direction.z};
    float r = b;    // time left after the delays used so far
    float a = 0.0f; // delays used so far
    float c = 1.0f; // drag of the last carrier
    motion_t law = motion_t::classic; // and how it flies
    for (std::size_t i = 0; i < fire.powders.size(); ++i) {
        const powder_t& powder = fire.powders[i];
        const stageeffect_t& effect = i < effects.stages.size() ? effects.stages[i] : plain;
        const std::uint32_t seed = starseed(fire, i);
        if (effect.split) {
            const float s = b - powder.delay;
            if (!(s >= 0.0f))
                continue;
            geokit::direction3_t W = flightvelocity(law, V, powder.delay, c);
            W = {W.x + effect.kick.x, W.y + effect.kick.y, W.z + effect.kick.z};
            drawstage(powder, effect, seed, flightpoint(law, B, V, powder.delay, c), W, s, out);
            continue;
        }
        if (powder.delay == 0.0f) {
            if (powder.films.empty()) {
                out.add(shell);
                return;
            }
            c = powder.drag;
            law = effect.motion;
            drawstage(powder, effect, seed, B, V, b, out);
            continue;
        }
        if (powder.delay > r)
            continue;
        a += powder.delay;
        r -= powder.delay;
        drawstage(powder, effect, seed, flightpoint(law, B, V, a, c), V, r, out);
    }
}

// One star after the burst: b seconds since the burst at burst point B.
template <typename Sink>
void evaluatestar(const fire_t& fire, const starlimits_t& limits, const geokit::position3_t& B,
                  const primitive_t& shell, float b, Sink& out, const effecttable_t* effects)
{
    if (limits.special) {
        if (const stareffect_t* found = effectof(effects, fire.effect)) {
            evaluateeffects(fire, *found, B, shell, b, out);
            return;
        }
    }
    const geokit::direction3_t V{fire.speed * fire.direction.x, fire.speed * fire.direction.y,
                                 fire.speed * fire.direction.z};
    float r = b;    // time left after the delays used so far
    float a = 0.0f; // delays used so far
    float c = 1.0f; // drag of the last carrier
    geokit::color3a_t color;
    const auto lit = [&](const geokit::position3_t& from, float s, const powder_t& powder) {
        if constexpr (Sink::positions)
            out.add({ballistic(from, V, s, powder.drag), powder.size, color});
        else
            out.add({});
    };
    const auto ignition = [&] {
        if constexpr (Sink::positions)
            return ballistic(B, V, a, c);
        else
            return B;
    };
    const std::size_t count = fire.powders.size();
    const std::size_t head = std::min(count, limits.tailstart);
    std::size_t i = 0;
    for (; i < head; ++i) {
        const powder_t& powder = fire.powders[i];
        if (powder.delay == 0.0f) {
            if (powder.films.empty()) {
                out.add(shell);
                return;
            }
            c = powder.drag;
            if (filmcolor(powder.films, b, color))
                lit(B, b, powder);
            continue;
        }
        if (powder.delay > r)
            continue;
        a += powder.delay;
        r -= powder.delay;
        if (!filmcolor(powder.films, r, color))
            continue;
        lit(ignition(), r, powder);
    }

    // The tail: positive delays only, so r only falls. Once it is below every
    // remaining delay the rest is skipped, and above the tail's film window
    // nothing can show.
    i += skipdark(limits, count - i, r, a);
    for (; i < count; ++i) {
        if (r < limits.mindelay)
            return;
        const powder_t& powder = fire.powders[i];
        if (powder.delay > r)
            continue;
        a += powder.delay;
        r -= powder.delay;
        if (static_cast<double>(r) > limits.tailwindow || !filmcolor(powder.films, r, color))
            continue;
        lit(ignition(), r, powder);
    }
}

} // namespace

std::size_t primitivecount(const std::vector<firework_t>& scene)
{
    std::size_t count = 0;
    for (const firework_t& firework : scene)
        for (const fire_t& fire : firework.fires)
            count += fire.powders.size();
    return count;
}

namespace {

// What the evaluation reads of a scene: each firework holds its own stars.
struct scenesource_t {
    std::vector<firework_t>& scene;
    const effecttable_t* effects() const { return nullptr; }
    std::size_t size() const { return scene.size(); }
    firework_t& shell(std::size_t i) const { return scene[i]; }
    const std::vector<fire_t>& fires(std::size_t i) const { return scene[i].fires; }
    std::size_t limits(std::size_t i) const { return i; }
};

// And of a show: the stars are its shell's design.
struct showsource_t {
    show_t& show;
    const effecttable_t* effects() const { return &show.effects; }
    std::size_t size() const { return show.shells.size(); }
    firework_t& shell(std::size_t i) const { return show.shells[i]; }
    const std::vector<fire_t>& fires(std::size_t i) const { return show.designs[show.design[i]]; }
    std::size_t limits(std::size_t i) const { return show.design[i]; }
};

constexpr std::size_t partsperthread = 4;

} // namespace

void evaluator_t::addlimits(const std::vector<fire_t>& fires, const effecttable_t* effects)
{
    shelllimits_t limits;
    limits.firststar = m_stars.size();
    limits.stars = fires.size();
    limits.burnout = -std::numeric_limits<double>::infinity();
    for (const fire_t& fire : fires) {
        m_stars.push_back(starlimits(fire, effectof(effects, fire.effect)));
        limits.burnout = std::max(limits.burnout, m_stars.back().burnout);
    }
    m_limits.push_back(limits);
}

void evaluator_t::prepare(const std::vector<firework_t>& scene)
{
    std::size_t stars = 0;
    for (const firework_t& firework : scene)
        stars += firework.fires.size();
    m_limits.clear();
    m_stars.clear();
    m_limits.reserve(scene.size());
    m_stars.reserve(stars);
    for (const firework_t& firework : scene)
        addlimits(firework.fires, nullptr);
    m_show = false;
    m_effects = 0;
}

void evaluator_t::prepare(const show_t& show)
{
    std::size_t stars = 0;
    for (const std::vector<fire_t>& fires : show.designs)
        stars += fires.size();
    m_limits.clear();
    m_stars.clear();
    m_limits.reserve(show.designs.size());
    m_stars.reserve(stars);
    for (const std::vector<fire_t>& fires : show.designs)
        addlimits(fires, &show.effects);
    m_show = true;
    m_effects = show.effects.size();
}

namespace {

template <typename Limits> bool samecounts(const std::vector<fire_t>& fires, const Limits& limits, const starlimits_t* star)
{
    if (fires.size() != limits.stars)
        return false;
    for (std::size_t k = 0; k < fires.size(); ++k)
        if (fires[k].powders.size() != star[k].powders || fires[k].effect != star[k].effect)
            return false;
    return true;
}

} // namespace

bool evaluator_t::matches(const std::vector<firework_t>& scene) const
{
    if (m_show || scene.size() != m_limits.size())
        return false;
    for (std::size_t i = 0; i < scene.size(); ++i)
        if (!samecounts(scene[i].fires, m_limits[i], m_stars.data() + m_limits[i].firststar))
            return false;
    return true;
}

bool evaluator_t::matches(const show_t& show) const
{
    if (!m_show || show.designs.size() != m_limits.size() || show.effects.size() != m_effects)
        return false;
    for (std::size_t i = 0; i < show.designs.size(); ++i)
        if (!samecounts(show.designs[i], m_limits[i], m_stars.data() + m_limits[i].firststar))
            return false;
    return true;
}

unsigned threadsfor(std::size_t points)
{
    // About a millisecond of evaluation a frame on one core.
    constexpr std::size_t k_parallelpoints = 20000;
    if (points <= k_parallelpoints) return 1;
    return std::max(1u, std::thread::hardware_concurrency());
}

bool evaluator_t::setthreads(unsigned threads)
{
    const unsigned workers = threads > 1 ? threads - 1 : 0;
    const bool started = m_pool.Init(workers);
    m_parts.resize(m_pool.workers() > 0 ? partsperthread * (m_pool.workers() + 1) : 0);
    reserve(m_reserved);
    return started;
}

void evaluator_t::reserve(std::size_t points)
{
    m_reserved = points;
    // Stretches are cut by work, not by points, so each gets room for twice
    // its even share.
    for (part_t& part : m_parts)
        part.points.reserve(2 * points / m_parts.size());
}

// The points of shells begin to end, in order: the sounds and flags are the
// caller's, so this reads the source only and runs on any thread.
template <typename Source>
void evaluator_t::fill(const Source& source, float t, std::size_t begin, std::size_t end,
                       std::vector<primitive_t>& points) const
{
    pointsink_t sink{points};
    for (std::size_t index = begin; index < end; ++index) {
        const firework_t& firework = source.shell(index);
        if (firework.time >= t)
            continue;
        const float d = t - firework.time;
        const primitive_t shell{ballistic(firework.position, firework.velocity, d, firework.drag),
                                firework.size, firework.color};
        if (firework.fuse >= d) {
            points.push_back(shell);
            continue;
        }
        const float b = d - firework.fuse;
        const shelllimits_t& limits = m_limits[source.limits(index)];
        if (static_cast<double>(b) > limits.burnout)
            continue;
        const geokit::position3_t B =
            ballistic(firework.position, firework.velocity, firework.fuse, firework.drag);
        const std::vector<fire_t>& fires = source.fires(index);
        const effecttable_t* effects = source.effects();
        for (std::size_t k = 0; k < fires.size(); ++k) {
            const starlimits_t& star = m_stars[limits.firststar + k];
            if (static_cast<double>(b) > star.burnout)
                continue;
            evaluatestar(fires[k], star, B, shell, b, sink, effects);
        }
    }
}

template <typename Source> void evaluator_t::runpart(void* context, std::size_t part)
{
    auto* self = static_cast<evaluator_t*>(context);
    part_t& mine = self->m_parts[part];
    // The first stretch goes straight into the output, which saves copying it.
    std::vector<primitive_t>& points = part == 0 ? *self->m_output : mine.points;
    points.clear();
    self->fill(*static_cast<const Source*>(self->m_source), self->m_t, mine.begin, mine.end, points);
}

template <typename Source>
void evaluator_t::run(Source& source, float t, std::vector<primitive_t>& points, const soundfunc_t* onsound)
{
    points.clear();
    const std::size_t count = source.size();
    const bool shared = !m_parts.empty();
    if (shared && m_weights.size() < count)
        m_weights.resize(count);
    // Sounds and flags in order on this thread (unless only the points are
    // asked for); meanwhile each shell's share of the work: one point while
    // rising, its stars while any may show.
    std::size_t total = 0;
    for (std::size_t index = 0; index < count; ++index) {
        firework_t& firework = source.shell(index);
        std::size_t weight = 0;
        if (firework.time >= t) {
            if (onsound)
                firework.launched = false;
        } else {
            if (onsound && !firework.launched) {
                (*onsound)(index, sound_t::launch);
                firework.launched = true;
            }
            const float d = t - firework.time;
            if (firework.fuse >= d) {
                if (onsound)
                    firework.exploded = false;
                weight = 1;
            } else {
                if (onsound && !firework.exploded) {
                    (*onsound)(index, sound_t::burst);
                    firework.exploded = true;
                }
                const shelllimits_t& limits = m_limits[source.limits(index)];
                weight = static_cast<double>(d - firework.fuse) > limits.burnout ? 0 : 1 + limits.stars;
            }
        }
        if (shared)
            m_weights[index] = weight;
        total += weight;
    }
    if (!shared) {
        fill(source, t, 0, count, points);
        return;
    }

    // Stretches of about equal work; threads take them as they come free.
    const std::size_t parts = m_parts.size();
    std::size_t index = 0;
    std::size_t done = 0;
    for (std::size_t part = 0; part < parts; ++part) {
        m_parts[part].begin = index;
        const std::size_t goal = total / parts * (part + 1) + total % parts * (part + 1) / parts;
        while (index < count && (done < goal || part + 1 == parts))
            done += m_weights[index++];
        m_parts[part].end = index;
    }
    m_source = &source;
    m_output = &points;
    m_t = t;
    m_pool.run(parts, &evaluator_t::runpart<Source>, this);
    m_source = nullptr;
    m_output = nullptr;
    for (std::size_t part = 1; part < parts; ++part)
        points.insert(points.end(), m_parts[part].points.begin(), m_parts[part].points.end());
}

void evaluator_t::evaluate(std::vector<firework_t>& scene, float t, std::vector<primitive_t>& points,
                           const soundfunc_t& onsound)
{
    if (!matches(scene))
        prepare(scene);
    scenesource_t source{scene};
    run(source, t, points, &onsound);
}

void evaluator_t::evaluate(show_t& show, float t, std::vector<primitive_t>& points, const soundfunc_t& onsound)
{
    if (!matches(show))
        prepare(show);
    showsource_t source{show};
    run(source, t, points, &onsound);
}

void evaluator_t::points(const show_t& show, float t, std::vector<primitive_t>& points)
{
    if (!matches(show))
        prepare(show);
    // Without sounds the run only reads the show.
    showsource_t source{const_cast<show_t&>(show)};
    run(source, t, points, nullptr);
}

bool starshows(const fire_t& fire, const starlimits_t& limits, float b, const effecttable_t* effects)
{
    countsink_t count;
    evaluatestar(fire, limits, {}, primitive_t{}, b, count, effects);
    return count.count > 0;
}

void starpoints(const fire_t& fire, const effecttable_t* effects, const geokit::position3_t& B, float b,
                std::vector<primitive_t>& points, bool heads)
{
    const std::size_t before = points.size();
    // A stage that keeps the shell gives this point, which is then dropped.
    const primitive_t none{{0.0f, 0.0f, 0.0f}, -1.0f, {}};
    const starlimits_t limits = starlimits(fire, effectof(effects, fire.effect));
    if (heads) {
        headsink_t sink{points};
        evaluatestar(fire, limits, B, none, b, sink, effects);
    } else {
        pointsink_t sink{points};
        evaluatestar(fire, limits, B, none, b, sink, effects);
    }
    points.erase(std::remove_if(points.begin() + static_cast<std::ptrdiff_t>(before), points.end(),
                                [](const primitive_t& p) { return p.pointsize == -1.0f; }),
                 points.end());
}

} // namespace vexlor
