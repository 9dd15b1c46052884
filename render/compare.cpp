// Image compare pass: each channel of each texel takes the larger of the two
// images' values.
#include "render/compare.h"

#include "glload/glextloader.h"

namespace vexlor {
namespace {

constexpr char k_fragment_source[] = R"(#version 330
in vec2 txc;
layout(location = 0) out vec4 FragmentColor;
uniform sampler2D Tex1;
uniform sampler2D Tex2;
vec4 compare_greater(vec4 a, vec4 b)
{
    return vec4(a.x > b.x ? a.x : b.x, a.y > b.y ? a.y : b.y,
                a.z > b.z ? a.z : b.z, a.w > b.w ? a.w : b.w);
}
void main()
{
    vec4 color1 = texture(Tex1, txc);
    vec4 color2 = texture(Tex2, txc);
    FragmentColor = compare_greater(color1, color2);
}
)";

void upload(GLenum unit, GLuint texture, const geokit::image2d_t& image)
{
    glActiveTexture(unit);
    glEnable(GL_TEXTURE_2D);
    glBindTexture(GL_TEXTURE_2D, texture);
    // RGB rows are packed without padding.
    GLint alignment = 4;
    glGetIntegerv(GL_UNPACK_ALIGNMENT, &alignment);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, image.width, static_cast<GLsizei>(image.height), 0,
                 GL_RGB, GL_UNSIGNED_BYTE, image.pixels.begin());
    glPixelStorei(GL_UNPACK_ALIGNMENT, alignment);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
}

void release(GLenum unit)
{
    glActiveTexture(unit);
    glBindTexture(GL_TEXTURE_2D, 0);
    glDisable(GL_TEXTURE_2D);
}

} // namespace

bool compare_t::Init()
{
    if (m_initialised) return m_gl_program.ok();
    if (m_gl_program.Init(k_quad_vertex_source, k_quad_vertex_length, k_fragment_source,
                          sizeof(k_fragment_source) - 1)) {
        m_model_location = m_gl_program.getUniformLocation("ModelviewMtx");
        m_proj_location = m_gl_program.getUniformLocation("Projection");
        m_tex1_location = m_gl_program.getUniformLocation("Tex1");
        m_tex2_location = m_gl_program.getUniformLocation("Tex2");
    }
    m_quad.Init();
    glGenTextures(1, &m_tex1id);
    glGenTextures(1, &m_tex2id);
    m_initialised = true;
    return m_gl_program.ok();
}

void compare_t::Draw(const geokit::image2d_t& image1, const geokit::image2d_t& image2)
{
    m_projection = quadprojection();
    m_modelview = geokit::Imtx;
    m_gl_program.Use();
    glUniformMatrix4fv(m_model_location, 1, GL_TRUE, m_modelview.m);
    glUniformMatrix4fv(m_proj_location, 1, GL_TRUE, m_projection.m);
    glUniform1i(m_tex1_location, 0);
    glUniform1i(m_tex2_location, 1);
    upload(GL_TEXTURE0, m_tex1id, image1);
    upload(GL_TEXTURE1, m_tex2id, image2);
    m_quad.Draw();
    release(GL_TEXTURE1);
    release(GL_TEXTURE0);
    m_gl_program.Unuse();
}

void compare_t::Destroy()
{
    if (!m_initialised) return;
    if (glload::gl_context_current()) {
        m_gl_program.Destroy();
        glDeleteTextures(1, &m_tex1id);
        glDeleteTextures(1, &m_tex2id);
    }
    m_tex1id = m_tex2id = 0;
    m_quad.Destroy();
    m_initialised = false;
}

} // namespace vexlor
