// Per-frame evaluation of the scene. The shortcuts taken here (burnt-out
// shells and stars skipped, the tail of a star's stages cut short, positions
// computed only for lit stages) never change a point or a sound.
#include "firework/evaluate.h"

#include "firework/ballistic.h"
#include "firework/filmcolor.h"

#include <algorithm>
#include <limits>

namespace vexlor {

namespace {

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
    for (std::size_t i = 0; i < count; ++i) {
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
        const bool tail = i >= limits.tailstart;
        // r only falls in the tail, so once below every remaining delay all
        // the rest is skipped.
        if (tail && r < limits.mindelay)
            return;
        if (powder.delay > r)
            continue;
        a += powder.delay;
        r -= powder.delay;
        if (tail && static_cast<double>(r) > limits.tailwindow)
            continue;
        if (!filmcolor(powder.films, r, color))
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
        const starlimits_t* star = &m_stars[m_shells[i].firststar];
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
