// Full-viewport quad shared by the texture and compare passes.
#include "render/quad.h"

#include "glload/glextloader.h"

#include <cstdint>

namespace vexlor {

const char k_quad_vertex_source[] = R"(#version 330
layout(location = 0) in vec3 Position;
layout(location = 1) in vec2 TexCoord;
uniform mat4 ModelviewMtx;
uniform mat4 Projection;
out vec2 txc;
void main()
{
    txc = TexCoord;
    gl_Position = vec4(Position, 1.0) * ModelviewMtx * Projection;
}
)";
const GLint k_quad_vertex_length = sizeof(k_quad_vertex_source) - 1;

geokit::matrix3w_t quadprojection()
{
    geokit::orthoview_t view{};
    view.setAspectRatio(1.0, 1.0);
    view.near = -1.0;
    view.far = 1.0;
    return geokit::getOrthoMatrix(geokit::getOrtho(view));
}

bool quad_t::Init()
{
    if (m_initialised) return true;
    static const float vertices[] = {
        -1.0f, -1.0f, 0.0f, 0.0f, 0.0f, //
        -1.0f, 1.0f,  0.0f, 0.0f, 1.0f, //
        1.0f,  -1.0f, 0.0f, 1.0f, 0.0f, //
        1.0f,  1.0f,  0.0f, 1.0f, 1.0f,
    };
    constexpr GLsizei stride = 5 * sizeof(float);
    glGenBuffers(1, &m_vbo);
    glGenVertexArrays(1, &m_vao);
    glBindVertexArray(m_vao);
    glBindBuffer(GL_ARRAY_BUFFER, m_vbo);
    glBufferData(GL_ARRAY_BUFFER, sizeof(vertices), vertices, GL_DYNAMIC_DRAW);
    glVertexAttribPointer(0, 3, GL_FLOAT, GL_FALSE, stride, nullptr);
    glVertexAttribPointer(1, 2, GL_FLOAT, GL_TRUE, stride,
                          reinterpret_cast<const void*>(static_cast<std::uintptr_t>(3 * sizeof(float))));
    glEnableVertexAttribArray(0);
    glEnableVertexAttribArray(1);
    glBindVertexArray(0);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    m_initialised = true;
    return true;
}

void quad_t::Draw() const
{
    glBindVertexArray(m_vao);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    glBindVertexArray(0);
}

void quad_t::Destroy()
{
    if (!m_initialised) return;
    if (glload::gl_context_current()) {
        glDeleteBuffers(1, &m_vbo);
        glDeleteVertexArrays(1, &m_vao);
    }
    m_vbo = m_vao = 0;
    m_initialised = false;
}

} // namespace vexlor
