// Small hand-made scenes for the firework tests.
#pragma once

#include "firework/firework.h"

#include <vector>

namespace scenes {

inline geokit::color3a_t rgba(float r, float g, float b, float a)
{
    return {r, g, b, a};
}

inline vexlor::film_t film(float duration, const geokit::color3a_t& from, const geokit::color3a_t& to)
{
    return {duration, from, to};
}

inline vexlor::powder_t powder(float delay, float size, float drag, std::vector<vexlor::film_t> films)
{
    return {delay, size, drag, std::move(films)};
}

// A shell at the origin going straight up at 10 with no drag: it bursts
// after `fuse` seconds at height 10 fuse - 4.9 fuse^2.
inline vexlor::firework_t shell(float fuse, std::vector<vexlor::fire_t> fires = {})
{
    vexlor::firework_t f;
    f.time = 0.0f;
    f.position = {0.0f, 0.0f, 0.0f};
    f.velocity = {0.0f, 0.0f, 10.0f};
    f.fuse = fuse;
    f.size = 9.0f;
    f.drag = 1.0f;
    f.color = rgba(1.0f, 1.0f, 1.0f, 1.0f);
    f.fires = std::move(fires);
    return f;
}

} // namespace scenes
