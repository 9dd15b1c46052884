// A plain step-by-step evaluation of the scene, written apart from the
// library's, against which the library's shortcuts are held bit for bit.
// Also used by the benchmarks to show what the shortcuts save.
#pragma once

#include "firework/evaluate.h"
#include "firework/sample.h"

#include <cmath>
#include <cstddef>
#include <vector>

namespace reference {

struct sound_t {
    std::size_t firework;
    vexlor::sound_t what;
    bool operator==(const sound_t& o) const { return firework == o.firework && what == o.what; }
};

// Displacement by start velocity v after s seconds under drag.
inline geokit::position3_t fly(const geokit::position3_t& p, const geokit::direction3_t& v, float s, float drag)
{
    const float f = powf(drag, s) * s;
    const float fall = s * 0.5f * -9.8f;
    geokit::position3_t q;
    q.x = p.x + v.x * f;
    q.y = p.y + v.y * f;
    q.z = p.z + (v.z + fall) * f;
    return q;
}

inline bool colour(const std::vector<vexlor::film_t>& films, float s, geokit::color3a_t& c)
{
    std::size_t i = 0;
    while (i < films.size() && films[i].duration < s) {
        s = s - films[i].duration;
        ++i;
    }
    if (i == films.size())
        return false;
    const vexlor::film_t& f = films[i];
    const float w = (f.duration - s) / f.duration;
    c.r = w * f.from.r + (1.0f - w) * f.to.r;
    c.g = w * f.from.g + (1.0f - w) * f.to.g;
    c.b = w * f.from.b + (1.0f - w) * f.to.b;
    c.a = w * f.from.a + (1.0f - w) * f.to.a;
    return true;
}

inline void evaluate(std::vector<vexlor::firework_t>& scene, float t, std::vector<vexlor::primitive_t>& points,
                     std::vector<sound_t>& sounds)
{
    points.clear();
    for (std::size_t n = 0; n < scene.size(); ++n) {
        vexlor::firework_t& F = scene[n];
        if (F.time >= t) {
            F.launched = false;
            continue;
        }
        if (!F.launched) {
            sounds.push_back({n, vexlor::sound_t::launch});
            F.launched = true;
        }
        const float d = t - F.time;
        const geokit::position3_t S = fly(F.position, F.velocity, d, F.drag);
        if (F.fuse >= d) {
            F.exploded = false;
            points.push_back({S, F.size, F.color});
            continue;
        }
        if (!F.exploded) {
            sounds.push_back({n, vexlor::sound_t::burst});
            F.exploded = true;
        }
        const float b = d - F.fuse;
        const geokit::position3_t B = fly(F.position, F.velocity, F.fuse, F.drag);
        for (const vexlor::fire_t& R : F.fires) {
            const geokit::direction3_t V{R.speed * R.direction.x, R.speed * R.direction.y, R.speed * R.direction.z};
            float r = b;
            float a = 0.0f;
            float c = 1.0f;
            for (const vexlor::powder_t& P : R.powders) {
                geokit::color3a_t col;
                if (P.delay == 0.0f) {
                    if (P.films.empty()) {
                        points.push_back({S, F.size, F.color});
                        break;
                    }
                    c = P.drag;
                    const geokit::position3_t at = fly(B, V, b, P.drag);
                    if (colour(P.films, b, col))
                        points.push_back({at, P.size, col});
                    continue;
                }
                if (P.delay > r)
                    continue;
                a = a + P.delay;
                const geokit::position3_t Q = fly(B, V, a, c);
                r = r - P.delay;
                const geokit::position3_t at = fly(Q, V, r, P.drag);
                if (colour(P.films, r, col))
                    points.push_back({at, P.size, col});
            }
        }
    }
}

// A finale: `count` susuki shells, one every `interval` seconds, spread over
// a ten by ten grid of launch points.
inline void makefinale(std::vector<vexlor::firework_t>& scene, std::size_t count, float interval)
{
    for (std::size_t i = 0; i < count; ++i) {
        vexlor::makesusuki(scene);
        vexlor::firework_t& shell = scene.back();
        shell.time = static_cast<float>(i) * interval;
        shell.position = {static_cast<float>(i % 10) * 20.0f - 90.0f, static_cast<float>(i / 10 % 10) * 20.0f, 0.0f};
    }
}

} // namespace reference
