// The show's camera and projection as plain values: where the eye stands, the
// model-view matrix it gives, and the perspective for a framebuffer size.
// The viewer and the headless renderer both take their matrices from here.
#pragma once

#include "firework/viewpoint.h"
#include "geometry/geokit.h"

namespace vexlor {

// The ground's height: every launch site is lifted to it (liftlaunchsites),
// 10 units below the eye.
inline constexpr float k_ground = 1000.0f;

struct showcamera_t {
    geokit::rotation3_t m_rot{-90.0f, {1.0f, 0.0f, 0.0f}};
    geokit::rotation3_t m_inv{90.0f, {1.0f, 0.0f, 0.0f}};
    geokit::position3_t m_pos{0.0f, -5.0f, -100.0f};
    geokit::matrix3w_t mtx{};
    geokit::matrix3w_t inv{};
    geokit::matrix3w_t modelmtx{};

    // 100 units in front of the launch site, 10 units above the lifted
    // launch height, looking along +y (z is up).
    void setup();
    // The described camera for one not placed, else the eye at the view's
    // position looking at its target, up staying up.
    void setup(const viewpoint_t& view);
};

// 45 degrees across the diagonal for a framebuffer of this size; near 1, far 1000.
geokit::matrix3w_t showprojection(int width, int height);
// For a view: the described projection unless placed, else `fov` degrees
// from bottom to top, reaching far beyond the eye's distance to its target.
geokit::matrix3w_t showprojection(const viewpoint_t& view, int width, int height);

} // namespace vexlor
