// The eye's axes in the world are the rows of the camera's inverse (row
// vectors times matrices), its last row where the eye stands; the eye looks
// along its -z.
#include "render/viewrays.h"

namespace vexlor {

const char k_viewrays_source[] = R"(
uniform vec3 Eye;       // the viewer, world coordinates
uniform vec3 Forward;   // the middle of the view, world direction
uniform vec3 Right;     // one unit of screen tangent to the right
uniform vec3 Up;        // and up
uniform vec2 HalfTan;   // the frustum's half extents at distance 1
uniform float PixelTan; // a pixel's height at distance 1
uniform float Ground;   // the height of the ground and the lake
vec3 viewray(vec2 at)
{
    vec2 s = (at * 2.0 - 1.0) * HalfTan;
    return Forward + s.x * Right + s.y * Up;
}
)";

void viewrays_t::Find(const fullpass_t& pass)
{
    m_eye = pass.uniform("Eye");
    m_forward = pass.uniform("Forward");
    m_right = pass.uniform("Right");
    m_up = pass.uniform("Up");
    m_halftan = pass.uniform("HalfTan");
    m_pixeltan = pass.uniform("PixelTan");
    m_ground = pass.uniform("Ground");
}

void viewrays_t::Set(const showcamera_t& camera, const geokit::matrix3w_t& projection, int height) const
{
    const float* inv = camera.inv.m;
    glUniform3f(m_right, inv[0], inv[1], inv[2]);
    glUniform3f(m_up, inv[4], inv[5], inv[6]);
    glUniform3f(m_forward, -inv[8], -inv[9], -inv[10]);
    glUniform3f(m_eye, inv[12], inv[13], inv[14]);
    const float halfheight = 1.0f / projection.m[5];
    glUniform2f(m_halftan, 1.0f / projection.m[0], halfheight);
    glUniform1f(m_pixeltan, 2.0f * halfheight / static_cast<float>(height > 0 ? height : 1));
    glUniform1f(m_ground, k_ground);
}

} // namespace vexlor
