// The ray through each pixel of the show's view, for passes that work out
// what a pixel sees (the scenery, the lake): GLSL that turns a texture
// coordinate into a world direction, and the uniforms it needs, set from the
// camera and the projection.
#pragma once

#include "geometry/geokit.h"
#include "render/fullpass.h"
#include "render/showcamera.h"

#include <epoxy/gl.h>

namespace vexlor {

// Declares the uniforms and vec3 viewray(vec2 txc): the world direction
// through a point of the view (unnormalised, one unit along Forward).
extern const char k_viewrays_source[];

class viewrays_t {
public:
    // Fetches the uniforms' locations from a pass built with the source above.
    void Find(const fullpass_t& pass);
    // For a view of `height` pixels (which sets how large a pixel is).
    void Set(const showcamera_t& camera, const geokit::matrix3w_t& projection, int height) const;

private:
    GLint m_eye = -1, m_forward = -1, m_right = -1, m_up = -1, m_halftan = -1, m_pixeltan = -1, m_ground = -1;
};

} // namespace vexlor
