// One point to draw, in the exact 32-byte layout the point-sprite renderer
// uploads: position, eye-space size, RGBA colour. Free of any GL header.
#pragma once

#include "geometry/geokit.h"

#include <cstddef>

namespace vexlor {

struct primitive_t {
    geokit::position3_t position;
    float pointsize;
    geokit::color3a_t color;
};

static_assert(sizeof(primitive_t) == 32, "primitive_t must be 32 bytes");
static_assert(offsetof(primitive_t, position) == 0, "position at byte 0");
static_assert(offsetof(primitive_t, pointsize) == 12, "pointsize at byte 12");
static_assert(offsetof(primitive_t, color) == 16, "color at byte 16");

} // namespace vexlor
