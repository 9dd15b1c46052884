// Puffs as instanced quads: four corners shared by every puff, the puff's
// own record (position, diameter, light, opacity) read once per instance.
#include "render/smokesprites.h"

#include "glload/glextloader.h"

#include <algorithm>
#include <cstdint>

namespace vexlor {
namespace {

constexpr char k_vertex_source[] = R"(#version 330
layout(location = 0) in vec3 Position;
layout(location = 1) in float Diameter;
layout(location = 2) in vec4 Color;
layout(location = 3) in vec2 Corner;
uniform mat4 ModelviewMtx;
uniform mat4 Projection;
uniform vec3 Ambient;
out vec2 corner;
out vec4 puff;
void main()
{
    vec4 eye = vec4(Position, 1.0) * ModelviewMtx;
    eye.xy += Corner * (0.5 * Diameter);
    gl_Position = eye * Projection;
    corner = Corner;
    puff = vec4(Color.rgb + Ambient, Color.a);
}
)";

// A Gaussian across the disc, brought to nothing at its rim.
constexpr char k_fragment_source[] = R"(#version 330
in vec2 corner;
in vec4 puff;
layout(location = 0) out vec4 fragmentColor;
void main()
{
    float r2 = dot(corner, corner);
    if (r2 >= 1.0) discard;
    float a = puff.a * (exp(-3.5 * r2) - 0.030197383) / 0.969802617;
    fragmentColor = vec4(puff.rgb * a, a);
}
)";

const void* offset(std::size_t bytes)
{
    return reinterpret_cast<const void*>(static_cast<std::uintptr_t>(bytes));
}

} // namespace

void smokesprites_t::Init()
{
    if (m_initialised) return;
    if (m_program.Init(k_vertex_source, sizeof(k_vertex_source) - 1, k_fragment_source,
                       sizeof(k_fragment_source) - 1)) {
        m_model = m_program.getUniformLocation("ModelviewMtx");
        m_proj = m_program.getUniformLocation("Projection");
        m_ambient = m_program.getUniformLocation("Ambient");
    }
    static const float corners[] = {-1.0f, -1.0f, 1.0f, -1.0f, -1.0f, 1.0f, 1.0f, 1.0f};
    glGenVertexArrays(1, &m_vao);
    glGenBuffers(1, &m_corners);
    glGenBuffers(1, &m_puffs);
    glBindVertexArray(m_vao);
    glBindBuffer(GL_ARRAY_BUFFER, m_corners);
    glBufferData(GL_ARRAY_BUFFER, sizeof corners, corners, GL_STATIC_DRAW);
    glVertexAttribPointer(3, 2, GL_FLOAT, GL_FALSE, 0, nullptr);
    glEnableVertexAttribArray(3);
    glBindBuffer(GL_ARRAY_BUFFER, m_puffs);
    constexpr GLsizei stride = sizeof(primitive_t);
    glVertexAttribPointer(0, 3, GL_FLOAT, GL_FALSE, stride, offset(offsetof(primitive_t, position)));
    glVertexAttribPointer(1, 1, GL_FLOAT, GL_FALSE, stride, offset(offsetof(primitive_t, pointsize)));
    glVertexAttribPointer(2, 4, GL_FLOAT, GL_FALSE, stride, offset(offsetof(primitive_t, color)));
    for (GLuint a = 0; a < 3; ++a) {
        glVertexAttribDivisor(a, 1);
        glEnableVertexAttribArray(a);
    }
    glBindVertexArray(0);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    m_capacity = m_count = 0;
    m_initialised = true;
}

void smokesprites_t::Update(const primitive_t* puffs, std::size_t count)
{
    if (!m_initialised) return;
    glBindBuffer(GL_ARRAY_BUFFER, m_puffs);
    if (count > m_capacity) {
        m_capacity = std::max(count, m_capacity + m_capacity / 2);
        glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(m_capacity * sizeof(primitive_t)), nullptr,
                     GL_DYNAMIC_DRAW);
    }
    if (count != 0)
        glBufferSubData(GL_ARRAY_BUFFER, 0, static_cast<GLsizeiptr>(count * sizeof(primitive_t)), puffs);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    m_count = count;
}

void smokesprites_t::Draw(const geokit::matrix3w_t& modelview, const geokit::matrix3w_t& projection,
                          const float ambient[3])
{
    if (!m_initialised || m_count == 0) return;
    m_program.Use();
    glUniformMatrix4fv(m_model, 1, GL_TRUE, modelview.m);
    glUniformMatrix4fv(m_proj, 1, GL_TRUE, projection.m);
    glUniform3fv(m_ambient, 1, ambient);
    glBindVertexArray(m_vao);
    glDrawArraysInstanced(GL_TRIANGLE_STRIP, 0, 4, static_cast<GLsizei>(m_count));
    glBindVertexArray(0);
    m_program.Unuse();
}

void smokesprites_t::Destroy()
{
    if (!m_initialised) return;
    if (glload::gl_context_current()) {
        m_program.Destroy();
        glDeleteBuffers(1, &m_puffs);
        glDeleteBuffers(1, &m_corners);
        glDeleteVertexArrays(1, &m_vao);
    }
    m_puffs = m_corners = m_vao = 0;
    m_capacity = m_count = 0;
    m_initialised = false;
}

} // namespace vexlor
