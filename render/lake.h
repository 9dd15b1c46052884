// The lake's surface at each frame: a few waves moving with the show's time
// tilt the surface under each pixel, and the rippled ray picks what it
// mirrors from the mirrored view (the scenery flat water mirrors, with the
// sparks drawn mirrored over it), weighted by Fresnel's law for water and
// darkened. GLSL for the last pass, which runs it over the rows below the
// far shore only.
#pragma once

#include "geometry/geokit.h"
#include "render/showcamera.h"

namespace vexlor {

// After the view rays' GLSL: declares sampler2D MirrorLight, float Time and
// float Far (the far shore's y), and vec3 lake(vec3 ray), what the lake adds
// along a view ray, nothing where the ray does not meet it.
extern const char k_lake_source[];

// How many rows of a frame `height` pixels high, from the bottom, the lake
// may reach: those below the far shore, `far` beyond the eye.
int lakerows(const showcamera_t& camera, const geokit::matrix3w_t& projection, float far, int height);

} // namespace vexlor
