// The scenery's shader text, colours and pass. Distances are in metres in
// the show's own frame: the viewer's eye 10 m above the ground and 100 m in
// front of the launch site, looking level along +y.
#include "render/scenery.h"

#include <string>

namespace vexlor {

const char k_scenery_source[] = R"(
uniform float Far;      // where the skyline or the hills stand (y)
uniform int Hills;
uniform vec3 SkyZenith;
uniform vec3 SkyHorizon;
uniform vec3 SkyGlow;
uniform float Stars;
uniform vec3 Silhouette;
uniform vec3 Windows;

uint hashu(uint x)
{
    x ^= x >> 16; x *= 0x7feb352du;
    x ^= x >> 15; x *= 0x846ca68bu;
    x ^= x >> 16;
    return x;
}

float hashf(int a, int b)
{
    return float(hashu(hashu(uint(a)) ^ (uint(b) * 0x9e3779b9u))) * (1.0 / 4294967296.0);
}

vec3 sky(vec3 ray)
{
    float e = ray.z / max(length(ray.xy), 1e-6); // tangent of the elevation
    vec3 c = mix(SkyHorizon, SkyZenith, sqrt(clamp(e / 0.35, 0.0, 1.0)))
           + SkyGlow * exp(-max(e, 0.0) / 0.04);
    if (Stars > 0.0 && e > 0.0) {
        // One cell in 16 of 6 mrad holds a star, somewhere inside it.
        const float size = 0.006;
        vec2 angle = vec2(atan(ray.x, ray.y), atan(e));
        vec2 cell = floor(angle / size);
        int cx = int(cell.x), cy = int(cell.y);
        if (hashf(cx, cy) < 0.0625) {
            vec2 at = (cell + vec2(hashf(cx + 7919, cy), hashf(cx, cy + 104729))) * size;
            float d = length(angle - at) / PixelTan;
            c += Stars * (0.25 + 0.75 * hashf(cx + 31, cy + 17)) * exp(-2.5 * d * d)
               * clamp(e / 0.05, 0.0, 1.0) * vec3(0.9, 0.95, 1.0);
        }
    }
    return c;
}

// The skyline: a building of its own width and height in every 16 m block,
// one in seven a tower, low ones between; some windows lit.
float skyline(float x, float z, out float lit)
{
    float block = floor(x / 16.0);
    int b = int(block);
    float width = 9.0 + 7.0 * hashf(b, 1);
    float left = block * 16.0 + (16.0 - width) * hashf(b, 2);
    lit = 0.0;
    if (x < left || x >= left + width) return 5.0 + 4.0 * hashf(b, 3);
    float h = hashf(b, 5) < 0.15 ? 40.0 + 30.0 * hashf(b, 6) : 10.0 + 22.0 * hashf(b, 4);
    vec2 w = vec2((x - left) / 2.6, z / 3.3);
    vec2 pane = fract(w);
    if (z > 2.0 && z < h - 2.0 && pane.x > 0.2 && pane.x < 0.75 && pane.y > 0.3 && pane.y < 0.8
        && hashf(b * 64 + int(w.x), int(w.y) + 977) < 0.12)
        lit = 0.4 + 0.6 * hashf(b * 64 + int(w.x), int(w.y));
    return h;
}

float hills(float x)
{
    return 16.0 + 9.0 * sin(x / 110.0 + 0.3) + 5.0 * sin(x / 41.0 + 1.9) + 2.5 * sin(x / 17.0 + 0.4);
}

// What a ray from `from`, above the ground, meets: the skyline or hills on
// the far shore, else the sky. `pixel` is a pixel's size at distance 1,
// which smooths the silhouette's edge.
vec3 above(vec3 from, vec3 ray, float pixel)
{
    vec3 s = sky(ray);
    if (ray.y <= 0.0) return s;
    float t = (Far - from.y) / ray.y;
    vec3 at = from + ray * t;
    float z = at.z - Ground;
    float lit = 0.0;
    float h = Hills != 0 ? hills(at.x) : skyline(at.x, z, lit);
    float cover = clamp((h - z) / (pixel * t * ray.y) + 0.5, 0.0, 1.0);
    return mix(s, Silhouette + lit * Windows, cover);
}

)";

namespace {

// The direct view: the lake's pixels get its own colour and are marked in
// alpha for the last pass, which adds what they mirror. The mirrored view
// (Mirrored != 0, a ray into the world mirrored in the ground plane): what
// flat water at each point mirrors, read by the last pass along rippled rays.
constexpr char k_main[] = R"(
in vec2 txc;
layout(location = 0) out vec4 FragmentColor;
uniform int Water;
uniform int Mirrored;
uniform vec3 Land;
uniform vec3 Deep;
void main()
{
    vec3 ray = viewray(txc);
    if (ray.z < 0.0) {
        float t = (Ground - Eye.z) / ray.z;
        vec3 hit = Eye + ray * t;
        if (Mirrored != 0) {
            FragmentColor = vec4(hit.y < Far ? above(hit, vec3(ray.xy, -ray.z), PixelTan) : Silhouette, 0.0);
            return;
        }
        if (hit.y < Far) {
            FragmentColor = Water != 0 ? vec4(Deep, 1.0) : vec4(Land, 0.0);
            return;
        }
    }
    FragmentColor = vec4(Mirrored != 0 ? vec3(0.0) : above(Eye, ray, PixelTan), 0.0);
}
)";

void set(float (&to)[3], float r, float g, float b)
{
    to[0] = r;
    to[1] = g;
    to[2] = b;
}

// The skyline stands 500 m away, beyond the back row of the gallery's finale
// (280 m); the hills further still.
constexpr float k_skylinedistance = 500.0f;
constexpr float k_hillsdistance = 900.0f;

} // namespace

scenery_t makescenery(const look_t& look)
{
    scenery_t s{};
    if (look.sky == sky_t::dusk) {
        set(s.zenith, 0.006f, 0.012f, 0.040f);
        set(s.horizon, 0.060f, 0.040f, 0.050f);
        set(s.glow, 0.110f, 0.045f, 0.015f);
        s.stars = 0.015f;
        set(s.ambient, 0.030f, 0.025f, 0.030f);
    } else {
        set(s.zenith, 0.0012f, 0.0020f, 0.0060f);
        set(s.horizon, 0.010f, 0.012f, 0.022f);
        set(s.glow, 0.020f, 0.012f, 0.008f);
        s.stars = 0.05f;
        set(s.ambient, 0.006f, 0.006f, 0.008f);
    }
    set(s.silhouette, 0.0015f, 0.0015f, 0.0020f);
    set(s.windows, 0.090f, 0.055f, 0.022f);
    set(s.land, 0.0025f, 0.0025f, 0.0030f);
    set(s.deep, 0.0010f, 0.0018f, 0.0025f);
    s.hills = look.horizon == horizon_t::hills ? 1 : 0;
    s.far = s.hills ? k_hillsdistance : k_skylinedistance;
    s.water = look.water ? 1 : 0;
    return s;
}

void backdrop_t::Init()
{
    if (m_initialised) return;
    const std::string source = std::string("#version 330\n") + k_viewrays_source + k_scenery_source + k_main;
    if (m_pass.Init(source.c_str(), static_cast<GLint>(source.size()))) {
        m_rays.Find(m_pass);
        m_far = m_pass.uniform("Far");
        m_hills = m_pass.uniform("Hills");
        m_zenith = m_pass.uniform("SkyZenith");
        m_horizon = m_pass.uniform("SkyHorizon");
        m_glow = m_pass.uniform("SkyGlow");
        m_stars = m_pass.uniform("Stars");
        m_silhouette = m_pass.uniform("Silhouette");
        m_windows = m_pass.uniform("Windows");
        m_water = m_pass.uniform("Water");
        m_mirrored = m_pass.uniform("Mirrored");
        m_land = m_pass.uniform("Land");
        m_deep = m_pass.uniform("Deep");
    }
    m_initialised = true;
}

void backdrop_t::Draw(const rendertarget_t& into, const scenery_t& scenery, const showcamera_t& camera,
                      const geokit::matrix3w_t& projection, bool mirrored)
{
    into.Bind();
    glDisable(GL_BLEND);
    m_pass.Use();
    m_rays.Set(camera, projection, into.height());
    glUniform1f(m_far, camera.inv.m[13] + scenery.far);
    glUniform1i(m_hills, scenery.hills);
    glUniform3fv(m_zenith, 1, scenery.zenith);
    glUniform3fv(m_horizon, 1, scenery.horizon);
    glUniform3fv(m_glow, 1, scenery.glow);
    glUniform1f(m_stars, scenery.stars);
    glUniform3fv(m_silhouette, 1, scenery.silhouette);
    glUniform3fv(m_windows, 1, scenery.windows);
    glUniform1i(m_water, scenery.water);
    glUniform1i(m_mirrored, mirrored ? 1 : 0);
    glUniform3fv(m_land, 1, scenery.land);
    glUniform3fv(m_deep, 1, scenery.deep);
    m_pass.Draw();
}

void backdrop_t::Destroy()
{
    m_pass.Destroy();
    m_initialised = false;
}

} // namespace vexlor
