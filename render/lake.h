// The lake's surface at each frame: a few waves moving with the show's time
// tilt the surface under each pixel, and the rippled ray picks what it
// mirrors from the mirrored view (the scenery flat water mirrors, with the
// sparks drawn mirrored over it), weighted by Fresnel's law for water and
// darkened. Worked out at half the frame's resolution, over the rows below
// the far shore only; the last pass adds it.
#pragma once

#include "geometry/geokit.h"
#include "render/fullpass.h"
#include "render/rendertarget.h"
#include "render/showcamera.h"
#include "render/viewrays.h"

#include <epoxy/gl.h>

namespace vexlor {

// How many rows of a frame `height` pixels high, from the bottom, the lake
// may reach: those below the far shore, `far` beyond the eye.
int lakerows(const showcamera_t& camera, const geokit::matrix3w_t& projection, float far, int height);

class lake_t {
public:
    void Init();
    // What the lake mirrors, into `into` (a target of the view's
    // proportions): `mirror` is the mirrored view, `far` the far shore's
    // distance beyond the eye, `time` the show's. Rows above the shore are
    // left as they are.
    void Draw(const rendertarget_t& into, GLuint mirror, const showcamera_t& camera,
              const geokit::matrix3w_t& projection, float far, float time);
    void Destroy();

private:
    bool m_initialised = false;
    fullpass_t m_pass;
    viewrays_t m_rays;
    GLint m_mirror = -1, m_far = -1, m_time = -1;
};

} // namespace vexlor
