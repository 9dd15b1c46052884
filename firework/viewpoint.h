// Where the audience stands: the described camera of the built-in shows and
// scene files, or a camera a show file places (or that frames a show of real
// shells), and whether sounds arrive as late as the distance makes them.
#pragma once

#include "geometry/geokit.h"

namespace vexlor {

// The speed of sound in air at 20 degrees C, metres a second.
inline constexpr double soundspeed = 343.0;

struct viewpoint_t {
    // The described camera: 100 m in front of the launch site, 10 m up,
    // looking along +y with 45 degrees across the diagonal. Otherwise a
    // camera at `position` looking at `target` with `fov` degrees from the
    // bottom of the picture to its top.
    bool placed = false;
    geokit::position3_t position{0.0f, -100.0f, 10.0f};
    geokit::position3_t target{0.0f, 0.0f, 10.0f};
    float fov = 45.0f;
    // Each sound reaches the audience after its distance at soundspeed.
    bool distancesound = false;
};

// The field of view a show file may give, degrees.
inline constexpr double minfov = 5.0;
inline constexpr double maxfov = 120.0;

} // namespace vexlor
