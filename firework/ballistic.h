// The closed-form flight of shells and stars: where a start velocity carries a
// point after s seconds under drag and gravity, in single precision.
#pragma once

#include "geometry/geokit.h"

#include <cmath>

namespace vexlor {

inline constexpr float gravity = -9.8f;

// Gravity joins the vertical velocity first and the drag-weighted time then
// scales the whole velocity, so drag damps the fall as well. The grouping is
// part of the result: points must come out bit for bit the same everywhere.
inline geokit::position3_t ballistic(const geokit::position3_t& from, const geokit::direction3_t& v,
                                     float s, float drag)
{
    const float f = std::pow(drag, s) * s;
    return {from.x + v.x * f, from.y + v.y * f, from.z + (v.z + s * 0.5f * gravity) * f};
}

} // namespace vexlor
