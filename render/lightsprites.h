// The night look's sparks: the points draw_t holds, drawn as light that adds
// up in a floating-point target. Same sprite sizes and soft disc as the plain
// look; colours are taken as display values and made linear first. Sparks
// below the ground do not show; drawn mirrored in the ground plane they are
// what a lake reflects.
#pragma once

#include "geometry/geokit.h"
#include "render/draw.h"
#include "render/pgmshdr.h"

#include <epoxy/gl.h>

#include <cstddef>

namespace vexlor {

class lightsprites_t {
public:
    lightsprites_t() = default;
    ~lightsprites_t() { Destroy(); }
    lightsprites_t(const lightsprites_t&) = delete;
    lightsprites_t& operator=(const lightsprites_t&) = delete;

    void Init();
    // Draws `count` points of `points` into the bound target, each weighted
    // by `gain`; blending is the caller's (added, or the brightest for
    // trails). `sizescale` scales the sprites for a target smaller than the
    // frame; `mirror` reflects them in the plane z = `ground`.
    void Draw(const draw_t& points, std::size_t count, const geokit::matrix3w_t& modelview,
              const geokit::matrix3w_t& projection, float gain, float ground, bool mirror, float sizescale);
    void Destroy();

private:
    bool m_initialised = false;
    gl_program_t m_program;
    GLint m_model = -1;
    GLint m_proj = -1;
    GLint m_tex = -1;
    GLint m_centre = -1;
    GLint m_gain = -1;
    GLint m_ground = -1;
    GLint m_mirror = -1;
    GLint m_sizescale = -1;
};

} // namespace vexlor
