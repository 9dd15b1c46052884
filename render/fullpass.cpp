// Full-viewport passes over the shared quad.
#include "render/fullpass.h"

#include "glload/glextloader.h"

namespace vexlor {

bool fullpass_t::Init(const char* fragment, GLint length)
{
    if (m_initialised) return false;
    const bool built = m_program.Init(k_quad_vertex_source, k_quad_vertex_length, fragment, length);
    if (built) {
        m_model = m_program.getUniformLocation("ModelviewMtx");
        m_proj = m_program.getUniformLocation("Projection");
    }
    m_quad.Init();
    m_initialised = true;
    return built;
}

void fullpass_t::Use() const
{
    static const geokit::matrix3w_t projection = quadprojection();
    m_program.Use();
    glUniformMatrix4fv(m_model, 1, GL_TRUE, geokit::Imtx.m);
    glUniformMatrix4fv(m_proj, 1, GL_TRUE, projection.m);
}

void fullpass_t::Sample(GLint location, int unit, GLuint texture)
{
    glActiveTexture(static_cast<GLenum>(GL_TEXTURE0 + unit));
    glBindTexture(GL_TEXTURE_2D, texture);
    glUniform1i(location, unit);
}

void fullpass_t::Draw() const
{
    m_quad.Draw();
    m_program.Unuse();
}

void fullpass_t::Destroy()
{
    if (!m_initialised) return;
    if (glload::gl_context_current()) m_program.Destroy();
    m_quad.Destroy();
    m_initialised = false;
}

} // namespace vexlor
