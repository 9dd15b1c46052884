// Full-viewport texture pass, nearest filtering: one texel per pixel when the
// texture has the framebuffer's size.
#include "render/texture.h"

#include "glload/glextloader.h"

namespace vexlor {
namespace {

constexpr char k_fragment_source[] = R"(#version 330
in vec2 txc;
layout(location = 0) out vec4 FragmentColor;
uniform sampler2D Tex;
void main()
{
    FragmentColor = texture(Tex, txc);
}
)";

} // namespace

bool texture_t::Init()
{
    if (m_initialised) return m_gl_program.ok();
    if (m_gl_program.Init(k_quad_vertex_source, k_quad_vertex_length, k_fragment_source,
                          sizeof(k_fragment_source) - 1)) {
        m_model_location = m_gl_program.getUniformLocation("ModelviewMtx");
        m_proj_location = m_gl_program.getUniformLocation("Projection");
        m_tex_location = m_gl_program.getUniformLocation("Tex");
    }
    m_quad.Init();
    m_initialised = true;
    return m_gl_program.ok();
}

void texture_t::Draw(GLuint texture)
{
    m_projection = quadprojection();
    m_modelview = geokit::Imtx;
    m_gl_program.Use();
    glUniformMatrix4fv(m_model_location, 1, GL_TRUE, m_modelview.m);
    glUniformMatrix4fv(m_proj_location, 1, GL_TRUE, m_projection.m);
    glUniform1i(m_tex_location, 0);
    glActiveTexture(GL_TEXTURE0);
    glEnable(GL_TEXTURE_2D);
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    m_quad.Draw();
    glDisable(GL_TEXTURE_2D);
    glBindTexture(GL_TEXTURE_2D, 0);
    m_gl_program.Unuse();
}

void texture_t::Destroy()
{
    if (!m_initialised) return;
    if (glload::gl_context_current()) m_gl_program.Destroy();
    m_quad.Destroy();
    m_initialised = false;
}

} // namespace vexlor
