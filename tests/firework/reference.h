// A plain step-by-step evaluation of the scene, written apart from the
// library's, against which the library's shortcuts are held bit for bit;
// the benchmarks use it to show what the shortcuts save.
#pragma once

#include "firework/evaluate.h"
#include "firework/sample.h"

#include <cmath>
#include <utility>
#include <vector>

namespace reference {

using sounds_t = std::vector<std::pair<std::size_t, vexlor::sound_t>>;

inline geokit::position3_t fly(const geokit::position3_t& p, const geokit::direction3_t& v, float s, float drag)
{
    const float f = powf(drag, s) * s;
    return {p.x + v.x * f, p.y + v.y * f, p.z + (v.z + s * 0.5f * -9.8f) * f};
}

inline bool colour(const std::vector<vexlor::film_t>& films, float s, geokit::color3a_t& c)
{
    for (const vexlor::film_t& f : films) {
        if (f.duration < s) { s = s - f.duration; continue; }
        const float w = (f.duration - s) / f.duration;
        c = {w * f.from.r + (1.0f - w) * f.to.r, w * f.from.g + (1.0f - w) * f.to.g, w * f.from.b + (1.0f - w) * f.to.b,
             w * f.from.a + (1.0f - w) * f.to.a};
        return true;
    }
    return false;
}

inline void evaluate(std::vector<vexlor::firework_t>& scene, float t, std::vector<vexlor::primitive_t>& points,
                     sounds_t& sounds)
{
    points.clear();
    for (std::size_t n = 0; n < scene.size(); ++n) {
        vexlor::firework_t& F = scene[n];
        if (F.time >= t) { F.launched = false; continue; }
        if (!F.launched) sounds.emplace_back(n, vexlor::sound_t::launch);
        F.launched = true;
        const float d = t - F.time;
        const geokit::position3_t S = fly(F.position, F.velocity, d, F.drag);
        if (F.fuse >= d) { F.exploded = false; points.push_back({S, F.size, F.color}); continue; }
        if (!F.exploded) sounds.emplace_back(n, vexlor::sound_t::burst);
        F.exploded = true;
        const float b = d - F.fuse;
        const geokit::position3_t B = fly(F.position, F.velocity, F.fuse, F.drag);
        for (const vexlor::fire_t& R : F.fires) {
            const geokit::direction3_t V{R.speed * R.direction.x, R.speed * R.direction.y, R.speed * R.direction.z};
            float r = b, a = 0.0f, c = 1.0f;
            geokit::color3a_t col;
            for (const vexlor::powder_t& P : R.powders) {
                if (P.delay == 0.0f) {
                    if (P.films.empty()) { points.push_back({S, F.size, F.color}); break; }
                    c = P.drag;
                    const geokit::position3_t at = fly(B, V, b, P.drag);
                    if (colour(P.films, b, col)) points.push_back({at, P.size, col});
                } else if (!(P.delay > r)) { // a NaN delay is used
                    a = a + P.delay;
                    r = r - P.delay;
                    const geokit::position3_t at = fly(fly(B, V, a, c), V, r, P.drag);
                    if (colour(P.films, r, col)) points.push_back({at, P.size, col}); // placed even when dark
                }
            }
        }
    }
}

// A finale: `count` susuki shells, one every `interval` seconds, over a grid.
inline void makefinale(std::vector<vexlor::firework_t>& scene, std::size_t count, float interval)
{
    for (std::size_t i = 0; i < count; ++i) {
        vexlor::makesusuki(scene);
        scene.back().time = static_cast<float>(i) * interval;
        scene.back().position = {static_cast<float>(i % 10) * 20.0f - 90.0f, static_cast<float>(i / 10 % 10) * 20.0f, 0.0f};
    }
}

} // namespace reference
