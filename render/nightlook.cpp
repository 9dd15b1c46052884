// The night look's passes in order. Light is kept in full floats: Mesa's
// software renderer reads and writes them faster than half floats. Each
// frame starts from a copy of the still scenery, which a software renderer
// makes far faster than it could work the scenery out again.
#include "render/nightlook.h"

#include "glload/grerror.h"

#include <algorithm>
#include <cmath>

namespace vexlor {
namespace {

constexpr GLenum k_format = GL_RGBA32F;

// How much of the light each glow level spreads, out to about 6, 12 and 24
// pixels; the cheaper form's two levels about as bright as all three.
constexpr float k_glow[bloom_t::k_mostlevels] = {0.20f, 0.15f, 0.12f};
constexpr float k_cheapglow[bloom_t::k_mostlevels] = {0.25f, 0.22f, 0.0f};

void copy(const rendertarget_t& from, const rendertarget_t& to)
{
    glBindFramebuffer(GL_READ_FRAMEBUFFER, from.framebuffer());
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, to.framebuffer());
    glBlitFramebuffer(0, 0, from.width(), from.height(), 0, 0, to.width(), to.height(), GL_COLOR_BUFFER_BIT,
                      GL_NEAREST);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
}

int scaled(int size, float scale)
{
    return std::max(1, static_cast<int>(std::lround(size * static_cast<double>(scale))));
}

// The smaller frame scaled up, bilinear: a shader does it faster than a
// scaled blit in Mesa's software renderer.
constexpr char k_scaleup_source[] = R"(#version 330
in vec2 txc;
layout(location = 0) out vec4 FragmentColor;
uniform sampler2D Source;
void main()
{
    FragmentColor = texture(Source, txc);
}
)";

} // namespace

void nightlook_t::Init(const look_t& look, const nightcost_t& cost)
{
    m_look = look;
    m_cost = cost;
    m_scenery = makescenery(look);
    if (m_initialised) return;
    m_sprites.Init();
    m_smoke.Init();
    m_bloom.Init();
    m_backdrop.Init();
    m_lake.Init();
    m_tonemap.Init();
    if (m_scaleup.Init(k_scaleup_source, sizeof(k_scaleup_source) - 1)) m_scaleupsource = m_scaleup.uniform("Source");
    m_initialised = true;
}

bool nightlook_t::Resize(int width, int height, const showcamera_t& camera, const geokit::matrix3w_t& projection)
{
    m_width = width;
    m_height = height;
    const int w = scaled(width, m_cost.scale), h = scaled(height, m_cost.scale);
    bool ok = m_still.Init(w, h, k_format) && m_light.Init(w, h, k_format)
           && m_bloom.Resize(w, h, m_cost.glowlevels);
    if (w != width || h != height)
        ok = m_small.Init(w, h, GL_RGBA8) && ok;
    else
        m_small.Destroy();
    if (m_look.water) {
        ok = m_stillmirror.Init((w + 1) / 2, (h + 1) / 2, k_format) && ok;
        ok = m_mirror.Init(m_stillmirror.width(), m_stillmirror.height(), k_format) && ok;
        ok = m_lakelight.Init(m_stillmirror.width(), m_stillmirror.height(), k_format) && ok;
        m_backdrop.Draw(m_stillmirror, m_scenery, camera, projection, true);
    } else {
        m_stillmirror.Destroy();
        m_mirror.Destroy();
        m_lakelight.Destroy();
    }
    m_backdrop.Draw(m_still, m_scenery, camera, projection, false);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glViewport(0, 0, width, height);
    ClearLight();
    return ok;
}

void nightlook_t::UpdateSmoke(float t, const primitive_t* puffs, std::size_t count)
{
    m_time = t;
    m_smoke.Update(puffs, m_look.smoke ? count : 0);
}

void nightlook_t::ClearLight()
{
    if (m_light.texture() != 0) copy(m_still, m_light);
    if (m_mirror.texture() != 0) copy(m_stillmirror, m_mirror);
}

void nightlook_t::Begin(bool trail)
{
    if (!trail) ClearLight();
}

void nightlook_t::AddLight(const draw_t& points, std::size_t count, const showcamera_t& camera,
                         const geokit::matrix3w_t& projection, float weight, bool trail)
{
    if (count == 0) return;
    glDisable(GL_DEPTH_TEST);
    glDisable(GL_CULL_FACE);
    glEnable(GL_BLEND);
    glBlendEquation(trail ? GL_MAX : GL_FUNC_ADD);
    glBlendFunc(GL_ONE, GL_ONE);
    // Sprites are sized in pixels of the full frame.
    const float scale = static_cast<float>(m_light.width()) / static_cast<float>(m_width);
    m_light.Bind();
    m_sprites.Draw(points, count, camera.modelmtx, projection, weight, k_ground, false, scale);
    if (m_look.water) {
        m_mirror.Bind();
        m_sprites.Draw(points, count, camera.modelmtx, projection, weight, k_ground, true,
                       scale * static_cast<float>(m_mirror.width()) / static_cast<float>(m_light.width()));
    }
    glBlendEquation(GL_FUNC_ADD);
    glDisable(GL_BLEND);
}

void nightlook_t::Finish(const showcamera_t& camera, const geokit::matrix3w_t& projection, GLuint target)
{
    if (m_look.water)
        m_lake.Draw(m_lakelight, m_mirror.texture(), camera, projection, m_scenery.far, m_time);
    const float* weights = m_cost.glowlevels > 2 ? k_glow : k_cheapglow;
    const float gains[bloom_t::k_mostlevels] = {weights[0] * m_look.glow, weights[1] * m_look.glow,
                                                 weights[2] * m_look.glow};
    m_bloom.Draw(m_light.texture(), gains);

    // The smoke over the glow: it hides the light behind it, and the last
    // pass lets the light through by what it leaves.
    const rendertarget_t& glow = m_bloom.glow();
    if (m_smoke.count() > 0) {
        glow.Bind();
        glEnable(GL_BLEND);
        glBlendEquation(GL_FUNC_ADD);
        glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
        m_smoke.Draw(camera.modelmtx, projection, m_scenery.ambient);
        glDisable(GL_BLEND);
    }

    if (m_small.texture() != 0)
        m_small.Bind();
    else {
        glBindFramebuffer(GL_FRAMEBUFFER, target);
        glViewport(0, 0, m_width, m_height);
    }
    lakeinputs_t lake;
    if (m_look.water) lake = {m_lakelight.texture(), m_scenery.far};
    m_tonemap.Draw(m_light.texture(), glow.texture(), lake, camera, projection, m_light.width(), m_light.height());
    if (m_small.texture() != 0) {
        glBindFramebuffer(GL_FRAMEBUFFER, target);
        glViewport(0, 0, m_width, m_height);
        m_scaleup.Use();
        fullpass_t::Sample(m_scaleupsource, 0, m_small.texture());
        m_scaleup.Draw();
        glBindTexture(GL_TEXTURE_2D, 0);
    }
    geokit::grPrintError("night look");
}

void nightlook_t::Destroy()
{
    if (!m_initialised) return;
    m_scaleup.Destroy();
    m_tonemap.Destroy();
    m_lake.Destroy();
    m_backdrop.Destroy();
    m_smoke.Destroy();
    m_sprites.Destroy();
    m_bloom.Destroy();
    m_small.Destroy();
    m_lakelight.Destroy();
    m_mirror.Destroy();
    m_light.Destroy();
    m_stillmirror.Destroy();
    m_still.Destroy();
    m_width = m_height = 0;
    m_initialised = false;
}

} // namespace vexlor
