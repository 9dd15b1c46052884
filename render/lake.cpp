// Waves of 0.6 to 3.1 m, a few centimetres high: slopes of up to about a
// tenth each, enough to break a reflection into wavering streaks.
#include "render/lake.h"

#include <GL/gl.h>

#include <algorithm>
#include <cmath>
#include <string>

namespace vexlor {
namespace {

// Follows the view rays' GLSL.
constexpr char k_source[] = R"(
in vec2 txc;
layout(location = 0) out vec4 FragmentColor;
uniform sampler2D MirrorLight;
uniform float Time;
uniform float Far;

// One wave's slope, faded out where a pixel would hold more than a third of
// its length (it would only flicker there).
vec2 wave(vec2 p, vec2 d, float span, float height, float speed, float footprint)
{
    float k = 6.2831853 / span;
    float keep = clamp(span / (3.0 * footprint) - 0.5, 0.0, 1.0);
    return d * (height * k * keep * cos(k * (dot(d, p) - speed * Time)));
}

vec3 ripple(vec2 p, float away)
{
    // How far a pixel reaches along the water at this distance.
    float footprint = away * away * PixelTan / max(Eye.z - Ground, 0.1);
    vec2 g = wave(p, vec2(0.287, 0.958), 3.1, 0.045, 1.3, footprint)
           + wave(p, vec2(-0.514, 0.857), 1.7, 0.025, 0.9, footprint)
           + wave(p, vec2(0.914, 0.406), 1.1, 0.012, 0.7, footprint)
           + wave(p, vec2(-0.196, 0.981), 0.6, 0.006, 0.5, footprint);
    return normalize(vec3(-g, 1.0));
}

vec3 lake(vec3 ray)
{
    float t = (Ground - Eye.z) / ray.z;
    vec3 hit = Eye + ray * t;
    if (ray.z >= 0.0 || hit.y >= Far) return vec3(0.0);
    vec3 d = normalize(ray);
    vec3 n = ripple(hit.xy, t * length(ray));
    vec3 r = reflect(d, n);
    r.z = max(r.z, 0.002);
    // The mirrored view holds the ray r, seen from the eye into the world
    // mirrored in the water, where its image of (r.x, r.y, -r.z) falls.
    vec3 q = vec3(r.xy, -r.z);
    float f = dot(q, Forward);
    vec3 seen = vec3(0.0);
    if (f > 0.0) {
        vec2 at = (vec2(dot(q, Right) / dot(Right, Right), dot(q, Up) / dot(Up, Up)) / f / HalfTan + 1.0) * 0.5;
        if (all(greaterThanEqual(at, vec2(0.0))) && all(lessThanEqual(at, vec2(1.0))))
            seen = texture(MirrorLight, at).rgb;
    }
    // Fresnel (Schlick) for water, 0.02 head on; the lake is darker still.
    float c = 1.0 - max(dot(-d, n), 0.0);
    float c2 = c * c;
    return seen * (0.75 * (0.02 + 0.98 * c2 * c2 * c));
}

void main()
{
    FragmentColor = vec4(lake(viewray(txc)), 0.0);
}
)";

} // namespace

int lakerows(const showcamera_t& camera, const geokit::matrix3w_t& projection, float far, int height)
{
    const float* inv = camera.inv.m;
    float highest = -1.0f;
    for (const float side : {-2000.0f, 0.0f, 2000.0f}) {
        const geokit::vector3w_t shore{inv[12] + side, inv[13] + far, k_ground, 1.0f};
        const geokit::vector3w_t clip = (shore * camera.modelmtx) * projection;
        if (clip.w > 0.0f) highest = std::max(highest, clip.y / clip.w);
    }
    return std::min(height, static_cast<int>(std::ceil((highest + 1.0f) * 0.5f * height)) + 1);
}

void lake_t::Init()
{
    if (m_initialised) return;
    const std::string source = std::string("#version 330\n") + k_viewrays_source + k_source;
    if (m_pass.Init(source.c_str(), static_cast<GLint>(source.size()))) {
        m_rays.Find(m_pass);
        m_mirror = m_pass.uniform("MirrorLight");
        m_far = m_pass.uniform("Far");
        m_time = m_pass.uniform("Time");
    }
    m_initialised = true;
}

void lake_t::Draw(const rendertarget_t& into, GLuint mirror, const showcamera_t& camera,
                  const geokit::matrix3w_t& projection, float far, float time)
{
    const int rows = lakerows(camera, projection, far, into.height());
    if (rows <= 0) return;
    into.Bind();
    glDisable(GL_BLEND);
    glEnable(GL_SCISSOR_TEST);
    glScissor(0, 0, into.width(), rows);
    m_pass.Use();
    m_rays.Set(camera, projection, into.height());
    fullpass_t::Sample(m_mirror, 0, mirror);
    glUniform1f(m_far, camera.inv.m[13] + far);
    glUniform1f(m_time, time);
    m_pass.Draw();
    glDisable(GL_SCISSOR_TEST);
    glBindTexture(GL_TEXTURE_2D, 0);
}

void lake_t::Destroy()
{
    m_pass.Destroy();
    m_initialised = false;
}

} // namespace vexlor
