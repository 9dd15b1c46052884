// Shrinking the frame to the first level reads four bilinear samples, one
// source texel out from the middle each way: the mean of the 4 x 4 texels
// under a texel of the level. Each further level reads nine bilinear samples
// two source texels apart, each the mean of four texels: a tent over 6 x 6
// texels, weights 1-2-1 each way.
// Growing back reads four bilinear samples half a texel of the smaller level
// around each texel, and is blended over the larger level, which is first
// weighted by the blend colour.
#include "render/bloom.h"

#include <GL/gl.h>

namespace vexlor {
namespace {

constexpr char k_shrink_source[] = R"(#version 330
in vec2 txc;
layout(location = 0) out vec4 FragmentColor;
uniform sampler2D Source;
uniform vec2 Step; // one texel of the source
void main()
{
    vec2 d = 2.0 * Step;
    vec3 sum = 4.0 * texture(Source, txc).rgb
             + 2.0 * (texture(Source, txc + vec2(d.x, 0.0)).rgb + texture(Source, txc - vec2(d.x, 0.0)).rgb
                      + texture(Source, txc + vec2(0.0, d.y)).rgb + texture(Source, txc - vec2(0.0, d.y)).rgb)
             + texture(Source, txc + d).rgb + texture(Source, txc - d).rgb
             + texture(Source, txc + vec2(d.x, -d.y)).rgb + texture(Source, txc + vec2(-d.x, d.y)).rgb;
    FragmentColor = vec4(sum / 16.0, 0.0);
}
)";

constexpr char k_first_source[] = R"(#version 330
in vec2 txc;
layout(location = 0) out vec4 FragmentColor;
uniform sampler2D Source;
uniform vec2 Step; // one texel of the source
void main()
{
    vec3 sum = texture(Source, txc + Step).rgb + texture(Source, txc - Step).rgb
             + texture(Source, txc + vec2(Step.x, -Step.y)).rgb + texture(Source, txc + vec2(-Step.x, Step.y)).rgb;
    FragmentColor = vec4(0.25 * sum, 0.0);
}
)";

constexpr char k_grow_source[] = R"(#version 330
in vec2 txc;
layout(location = 0) out vec4 FragmentColor;
uniform sampler2D Source;
uniform vec2 Step; // half a texel of the source
uniform float Gain;
void main()
{
    vec3 sum = texture(Source, txc + Step).rgb + texture(Source, txc - Step).rgb
             + texture(Source, txc + vec2(Step.x, -Step.y)).rgb + texture(Source, txc + vec2(-Step.x, Step.y)).rgb;
    FragmentColor = vec4(0.25 * Gain * sum, 0.0);
}
)";

// Full floats: Mesa's software renderer reads and writes them faster than
// half floats, which it converts texel by texel.
constexpr GLenum k_format = GL_RGBA32F;

} // namespace

void bloom_t::Init()
{
    if (m_initialised) return;
    if (m_first.Init(k_first_source, sizeof(k_first_source) - 1)) {
        m_firstsource = m_first.uniform("Source");
        m_firststep = m_first.uniform("Step");
    }
    if (m_shrink.Init(k_shrink_source, sizeof(k_shrink_source) - 1)) {
        m_shrinksource = m_shrink.uniform("Source");
        m_shrinkstep = m_shrink.uniform("Step");
    }
    if (m_grow.Init(k_grow_source, sizeof(k_grow_source) - 1)) {
        m_growsource = m_grow.uniform("Source");
        m_growstep = m_grow.uniform("Step");
        m_growgain = m_grow.uniform("Gain");
    }
    m_initialised = true;
}

bool bloom_t::Resize(int width, int height, int levels)
{
    levels = levels < 2 ? 2 : levels > k_mostlevels ? k_mostlevels : levels;
    if (width == m_width && height == m_height && levels == m_levels) return true;
    m_width = width;
    m_height = height;
    m_levels = levels;
    bool ok = true;
    int w = (width + 3) / 4, h = (height + 3) / 4;
    for (int k = 0; k < k_mostlevels; ++k) {
        if (k < levels)
            ok = m_level[k].Init(w, h, k_format) && ok;
        else
            m_level[k].Destroy();
        w = (w + 1) / 2;
        h = (h + 1) / 2;
    }
    return ok;
}

void bloom_t::Draw(GLuint light, const float gains[k_mostlevels])
{
    glDisable(GL_BLEND);
    GLuint source = light;
    int width = m_width, height = m_height;
    for (int k = 0; k < m_levels; ++k) {
        // The frame is the one large read: the fewest samples there.
        const fullpass_t& pass = k == 0 ? m_first : m_shrink;
        m_level[k].Bind();
        pass.Use();
        fullpass_t::Sample(k == 0 ? m_firstsource : m_shrinksource, 0, source);
        glUniform2f(k == 0 ? m_firststep : m_shrinkstep, 1.0f / static_cast<float>(width),
                    1.0f / static_cast<float>(height));
        pass.Draw();
        source = m_level[k].texture();
        width = m_level[k].width();
        height = m_level[k].height();
    }
    // Level k becomes gains[k] times itself plus all the smaller levels
    // grown onto it; the smallest brings its own gain into the next.
    glEnable(GL_BLEND);
    glBlendEquation(GL_FUNC_ADD);
    glBlendFunc(GL_ONE, GL_CONSTANT_COLOR);
    for (int k = m_levels - 2; k >= 0; --k) {
        const rendertarget_t& from = m_level[k + 1];
        glBlendColor(gains[k], gains[k], gains[k], 0.0f);
        m_level[k].Bind();
        m_grow.Use();
        fullpass_t::Sample(m_growsource, 0, from.texture());
        glUniform2f(m_growstep, 0.5f / static_cast<float>(from.width()), 0.5f / static_cast<float>(from.height()));
        glUniform1f(m_growgain, k + 1 == m_levels - 1 ? gains[k + 1] : 1.0f);
        m_grow.Draw();
    }
    glDisable(GL_BLEND);
    glBlendColor(0.0f, 0.0f, 0.0f, 0.0f);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, 0);
}

void bloom_t::Destroy()
{
    for (rendertarget_t& level : m_level) level.Destroy();
    m_first.Destroy();
    m_shrink.Destroy();
    m_grow.Destroy();
    m_width = m_height = m_levels = 0;
    m_initialised = false;
}

} // namespace vexlor
