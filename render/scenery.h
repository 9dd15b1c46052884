// The night look's scenery: a night sky with a few stars, a skyline or hills
// of our own standing on the far shore, and between it and the viewer dark
// land or a lake. It does not move, so it is worked out once per frame size,
// per pixel from the ray through it: the view itself, and over a lake what
// flat water mirrors (the sky and the skyline), which the last pass reads
// along rippled rays.
#pragma once

#include "firework/look.h"
#include "geometry/geokit.h"
#include "render/fullpass.h"
#include "render/rendertarget.h"
#include "render/showcamera.h"
#include "render/viewrays.h"

#include <epoxy/gl.h>

namespace vexlor {

// GLSL after the view rays': vec3 above(vec3 from, vec3 ray, float pixel),
// what a ray from above the ground meets (the skyline or hills, else the sky).
extern const char k_scenery_source[];

// Linear light, as the sparks are added in.
struct scenery_t {
    float zenith[3];
    float horizon[3];
    float glow[3];       // the towns' light low over the horizon
    float stars = 0.0f;  // the brightest star
    float silhouette[3];
    float windows[3];    // lit windows of the skyline
    float land[3];
    float deep[3];       // the lake's own colour under its reflection
    float ambient[3];    // the light unlit smoke scatters
    float far = 0.0f;    // m beyond the viewer: the far shore, where the skyline or hills stand
    int hills = 0;
    int water = 0;
};

scenery_t makescenery(const look_t& look);

class backdrop_t {
public:
    void Init();
    // The view (its lake's pixels marked in alpha) or, `mirrored`, what flat
    // water mirrors, into `into`.
    void Draw(const rendertarget_t& into, const scenery_t& scenery, const showcamera_t& camera,
              const geokit::matrix3w_t& projection, bool mirrored);
    void Destroy();

private:
    bool m_initialised = false;
    fullpass_t m_pass;
    viewrays_t m_rays;
    GLint m_far = -1, m_hills = -1, m_zenith = -1, m_horizon = -1, m_glow = -1, m_stars = -1;
    GLint m_silhouette = -1, m_windows = -1, m_water = -1, m_mirrored = -1, m_land = -1, m_deep = -1;
};

} // namespace vexlor
