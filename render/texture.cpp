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

gl_program_t texture_t::s_gl_program;
GLint texture_t::s_model_location = -1;
GLint texture_t::s_proj_location = -1;
GLint texture_t::s_tex_location = -1;

void texture_t::Init()
{
    if (m_initialised) return;
    if (s_gl_program.Init(k_quad_vertex_source, k_quad_vertex_length, k_fragment_source,
                          sizeof(k_fragment_source) - 1)) {
        s_model_location = s_gl_program.getUniformLocation("ModelviewMtx");
        s_proj_location = s_gl_program.getUniformLocation("Projection");
        s_tex_location = s_gl_program.getUniformLocation("Tex");
    }
    m_quad.Init();
    m_initialised = true;
}

void texture_t::Draw(GLuint texture)
{
    m_projection = quadprojection();
    m_modelview = geokit::Imtx;
    s_gl_program.Use();
    glUniformMatrix4fv(s_model_location, 1, GL_TRUE, m_modelview.m);
    glUniformMatrix4fv(s_proj_location, 1, GL_TRUE, m_projection.m);
    glUniform1i(s_tex_location, 0);
    glActiveTexture(GL_TEXTURE0);
    glEnable(GL_TEXTURE_2D);
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    m_quad.Draw();
    glDisable(GL_TEXTURE_2D);
    glBindTexture(GL_TEXTURE_2D, 0);
    s_gl_program.Unuse();
}

void texture_t::Destroy()
{
    if (!m_initialised) return;
    if (glload::gl_context_current()) s_gl_program.Destroy();
    m_quad.Destroy();
    m_initialised = false;
}

} // namespace vexlor
