// The sum is kept in full floats, so that a mean of up to 64 frames loses
// nothing an 8-bit frame holds.
#include "render/exposure.h"

#include <GL/gl.h>

namespace vexlor {
namespace {

constexpr char k_fragment_source[] = R"(#version 330
layout(location = 0) out vec4 FragmentColor;
uniform sampler2D Source;
uniform float Weight;
void main()
{
    FragmentColor = Weight * texelFetch(Source, ivec2(gl_FragCoord.xy), 0);
}
)";

} // namespace

void exposure_t::Init()
{
    if (m_initialised) return;
    if (m_pass.Init(k_fragment_source, sizeof(k_fragment_source) - 1)) {
        m_source = m_pass.uniform("Source");
        m_weight = m_pass.uniform("Weight");
    }
    m_initialised = true;
}

bool exposure_t::Resize(int width, int height)
{
    const bool still = m_still.Init(width, height, GL_RGBA8);
    return m_sum.Init(width, height, GL_RGBA32F) && still;
}

void exposure_t::Begin()
{
    m_sum.Clear(0.0f, 0.0f, 0.0f, 0.0f);
}

void exposure_t::copy(GLuint texture, float weight)
{
    m_pass.Use();
    fullpass_t::Sample(m_source, 0, texture);
    glUniform1f(m_weight, weight);
    m_pass.Draw();
    glBindTexture(GL_TEXTURE_2D, 0);
}

void exposure_t::Add(float weight)
{
    m_sum.Bind();
    glEnable(GL_BLEND);
    glBlendEquation(GL_FUNC_ADD);
    glBlendFunc(GL_ONE, GL_ONE);
    copy(m_still.texture(), weight);
    glDisable(GL_BLEND);
}

void exposure_t::Finish(GLuint target)
{
    glBindFramebuffer(GL_FRAMEBUFFER, target);
    glViewport(0, 0, m_sum.width(), m_sum.height());
    glDisable(GL_BLEND);
    copy(m_sum.texture(), 1.0f);
}

void exposure_t::Destroy()
{
    m_still.Destroy();
    m_sum.Destroy();
    m_pass.Destroy();
    m_initialised = false;
}

} // namespace vexlor
