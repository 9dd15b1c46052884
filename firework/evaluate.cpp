// Per-frame evaluation of the scene. The shortcuts taken here (burnt-out
// shells and stars skipped, dark stages of one repeated delay passed over in
// one step, the tail cut short, positions computed only for lit stages)
// never change a point or a sound.
#include "firework/evaluate.h"

#include "firework/ballistic.h"
#include "firework/filmcolor.h"

#include <algorithm>
#include <cmath>
#include <limits>

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

// One star after the burst: b seconds since the burst at burst point B.
void evaluatestar(const fire_t& fire, const starlimits_t& limits, const geokit::position3_t& B,
                  const primitive_t& shell, float b, std::vector<primitive_t>& points)
{
    const geokit::direction3_t V{fire.speed * fire.direction.x, fire.speed * fire.direction.y,
                                 fire.speed * fire.direction.z};
    float r = b;    // time left after the delays used so far
    float a = 0.0f; // delays used so far
    float c = 1.0f; // drag of the last carrier
    geokit::color3a_t color;
    const std::size_t count = fire.powders.size();
    const std::size_t head = std::min(count, limits.tailstart);
    std::size_t i = 0;
    for (; i < head; ++i) {
        const powder_t& powder = fire.powders[i];
        if (powder.delay == 0.0f) {
            if (powder.films.empty()) {
                points.push_back(shell);
                return;
            }
            c = powder.drag;
            if (filmcolor(powder.films, b, color))
                points.push_back({ballistic(B, V, b, powder.drag), powder.size, color});
            continue;
        }
        if (powder.delay > r)
            continue;
        a += powder.delay;
        r -= powder.delay;
        if (!filmcolor(powder.films, r, color))
            continue;
        const geokit::position3_t ignition = ballistic(B, V, a, c);
        points.push_back({ballistic(ignition, V, r, powder.drag), powder.size, color});
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
        const geokit::position3_t ignition = ballistic(B, V, a, c);
        points.push_back({ballistic(ignition, V, r, powder.drag), powder.size, color});
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

std::size_t pointcapacity(const std::vector<firework_t>& scene)
{
    std::size_t count = 0;
    for (const firework_t& firework : scene) {
        std::size_t stages = 0;
        for (const fire_t& fire : firework.fires) stages += fire.powders.size();
        count += std::max<std::size_t>(stages, 1);
    }
    return count;
}

void evaluator_t::prepare(const std::vector<firework_t>& scene)
{
    std::size_t stars = 0;
    for (const firework_t& firework : scene)
        stars += firework.fires.size();
    m_shells.clear();
    m_stars.clear();
    m_shells.reserve(scene.size());
    m_stars.reserve(stars);
    for (const firework_t& firework : scene) {
        shelllimits_t shell;
        shell.firststar = m_stars.size();
        shell.stars = firework.fires.size();
        shell.burnout = -std::numeric_limits<double>::infinity();
        for (const fire_t& fire : firework.fires) {
            m_stars.push_back(starlimits(fire));
            shell.burnout = std::max(shell.burnout, m_stars.back().burnout);
        }
        m_shells.push_back(shell);
    }
}

bool evaluator_t::matches(const std::vector<firework_t>& scene) const
{
    if (scene.size() != m_shells.size())
        return false;
    for (std::size_t i = 0; i < scene.size(); ++i) {
        const std::vector<fire_t>& fires = scene[i].fires;
        if (fires.size() != m_shells[i].stars)
            return false;
        const starlimits_t* star = m_stars.data() + m_shells[i].firststar;
        for (std::size_t k = 0; k < fires.size(); ++k)
            if (fires[k].powders.size() != star[k].powders)
                return false;
    }
    return true;
}

void evaluator_t::evaluate(std::vector<firework_t>& scene, float t, std::vector<primitive_t>& points,
                           const soundfunc_t& onsound)
{
    if (!matches(scene))
        prepare(scene);
    points.clear();
    for (std::size_t index = 0; index < scene.size(); ++index) {
        firework_t& firework = scene[index];
        if (firework.time >= t) {
            firework.launched = false;
            continue;
        }
        if (!firework.launched) {
            onsound(index, sound_t::launch);
            firework.launched = true;
        }
        const float d = t - firework.time;
        const primitive_t shell{ballistic(firework.position, firework.velocity, d, firework.drag),
                                firework.size, firework.color};
        if (firework.fuse >= d) {
            firework.exploded = false;
            points.push_back(shell);
            continue;
        }
        if (!firework.exploded) {
            onsound(index, sound_t::burst);
            firework.exploded = true;
        }
        const float b = d - firework.fuse;
        const shelllimits_t& limits = m_shells[index];
        if (static_cast<double>(b) > limits.burnout)
            continue;
        const geokit::position3_t B =
            ballistic(firework.position, firework.velocity, firework.fuse, firework.drag);
        for (std::size_t k = 0; k < firework.fires.size(); ++k) {
            const fire_t& fire = firework.fires[k];
            const starlimits_t& star = m_stars[limits.firststar + k];
            if (static_cast<double>(b) > star.burnout)
                continue;
            evaluatestar(fire, star, B, shell, b, points);
        }
    }
}

} // namespace vexlor
