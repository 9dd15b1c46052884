// Point sprites: the vertex shader turns a size in eye-space units into the
// sprite's size (its projected extent in normalised device units, used as
// pixels); the fragment shader shades the vertex colour by the sprite's disc.
#include "render/draw.h"

#include "glload/glextloader.h"

#include <GL/glu.h>

#include <algorithm>
#include <cstdint>
#include <memory>

namespace vexlor {
namespace {

constexpr char k_vertex_source[] = R"(#version 330
layout(location = 0) in vec3 Position;
layout(location = 1) in float PointSize;
layout(location = 2) in vec4 Color;
uniform mat4 ModelviewMtx;
uniform mat4 Projection;
out vec4 vertexColor;
flat out float spriteSize;
void main()
{
    vec4 eye = vec4(Position, 1.0) * ModelviewMtx;
    vertexColor = Color;
    vec4 clip = eye * Projection;
    vec4 edge = eye;
    edge.x += PointSize;
    edge = edge * Projection;
    edge = edge / edge.w;
    gl_Position = clip / clip.w;
    gl_PointSize = edge.x - gl_Position.x;
    spriteSize = max(gl_PointSize, 1.0); // what the rasteriser makes of it
}
)";

// Under GL_MAX blending alpha is ignored, so the colour itself follows the
// sprite's alpha: a soft round dot. The shape is read from the full-size image
// (a small sprite's mipmap is the disc's average, about half) and taken half a
// pixel diagonal nearer the centre, so the pixel holding the centre keeps the
// full colour at any size, and a one-pixel spark is as bright as its colour.
// "Centre" is the image's alpha there, which counts as full. Alpha follows the
// same shade; nothing shows it.
constexpr char k_fragment_source[] = R"(#version 330
in vec4 vertexColor;
flat in float spriteSize;
layout(location = 0) out vec4 fragmentColor;
uniform sampler2D Tex;
uniform float Centre;
void main()
{
    vec2 d = (gl_PointCoord - 0.5) * spriteSize;
    float r = length(d);
    vec2 at = 0.5 + d * (max(r - 0.70710678, 0.0) / max(r, 1e-6)) / spriteSize;
    float shade = min(textureLod(Tex, at, 0.0).a / Centre, 1.0);
    fragmentColor = vertexColor * shade;
}
)";

constexpr GLsizei k_stride = sizeof(primitive_t);

const void* offset(std::size_t bytes)
{
    return reinterpret_cast<const void*>(static_cast<std::uintptr_t>(bytes));
}

} // namespace

bool draw_t::Init(std::size_t count)
{
    if (m_initialised) return m_gl_program.ok();
    if (m_gl_program.Init(k_vertex_source, sizeof(k_vertex_source) - 1, k_fragment_source,
                          sizeof(k_fragment_source) - 1)) {
        m_model_location = m_gl_program.getUniformLocation("ModelviewMtx");
        m_proj_location = m_gl_program.getUniformLocation("Projection");
        m_tex_location = m_gl_program.getUniformLocation("Tex");
        m_centre_location = m_gl_program.getUniformLocation("Centre");
    }
    glGenVertexArrays(1, &m_vao);
    glGenBuffers(1, &m_vbo);
    glBindBuffer(GL_ARRAY_BUFFER, m_vbo);
    glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(count * sizeof(primitive_t)), nullptr,
                 GL_DYNAMIC_DRAW);
    m_capacity = count;
    glBindBuffer(GL_ARRAY_BUFFER, 0);

    // Only needed while the mipmaps are built.
    const auto image = std::make_unique<sprite_image_t>();
    makesprite(*image);
    // What linear filtering gives at the middle: the mean of the four texels there.
    const auto alpha = [&](std::size_t row, std::size_t column) {
        return (*image)[(row * k_sprite_side + column) * 4 + 3];
    };
    const std::size_t mid = k_sprite_side / 2;
    m_centre = (alpha(mid - 1, mid - 1) + alpha(mid - 1, mid) + alpha(mid, mid - 1) + alpha(mid, mid)) / (4.0f * 255.0f);
    glGenTextures(1, &m_texid);
    glBindTexture(GL_TEXTURE_2D, m_texid);
    gluBuild2DMipmaps(GL_TEXTURE_2D, GL_RGBA, k_sprite_side, k_sprite_side, GL_RGBA,
                      GL_UNSIGNED_BYTE, image->data());
    glBindTexture(GL_TEXTURE_2D, 0);
    m_initialised = true;
    return m_gl_program.ok();
}

void draw_t::Update(const primitive_t* data, std::size_t count)
{
    if (!m_initialised) return;
    // The buffer is bound here, not left bound from Init: other passes bind theirs.
    glBindBuffer(GL_ARRAY_BUFFER, m_vbo);
    if (count > m_capacity) {
        // Grown by half again at least, so a busier frame costs few reallocations.
        m_capacity = std::max(count, m_capacity + m_capacity / 2);
        glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(m_capacity * sizeof(primitive_t)), nullptr,
                     GL_DYNAMIC_DRAW);
    }
    glBufferSubData(GL_ARRAY_BUFFER, 0, static_cast<GLsizeiptr>(count * sizeof(primitive_t)), data);
    if (count != 0) {
        glBindVertexArray(m_vao);
        glVertexAttribPointer(0, 3, GL_FLOAT, GL_FALSE, k_stride, offset(offsetof(primitive_t, position)));
        glVertexAttribPointer(1, 1, GL_FLOAT, GL_TRUE, k_stride, offset(offsetof(primitive_t, pointsize)));
        glVertexAttribPointer(2, 4, GL_FLOAT, GL_TRUE, k_stride, offset(offsetof(primitive_t, color)));
        glEnableVertexAttribArray(0);
        glEnableVertexAttribArray(1);
        glEnableVertexAttribArray(2);
        glBindVertexArray(0);
    }
    glBindBuffer(GL_ARRAY_BUFFER, 0);
}

void draw_t::Draw(std::size_t count, const geokit::matrix3w_t& modelview,
                  const geokit::matrix3w_t& projection)
{
    m_gl_program.Use();
    // Row-major matrices for row vectors: the shader multiplies vector * matrix.
    glUniformMatrix4fv(m_model_location, 1, GL_TRUE, modelview.m);
    glUniformMatrix4fv(m_proj_location, 1, GL_TRUE, projection.m);
    glUniform1i(m_tex_location, 0);
    glUniform1f(m_centre_location, m_centre);
    glBindVertexArray(m_vao);
    glEnable(GL_POINT_SPRITE);
    glEnable(GL_VERTEX_PROGRAM_POINT_SIZE);
    glPointParameterf(GL_POINT_FADE_THRESHOLD_SIZE, 1.0f);
    glPointParameteri(GL_POINT_SPRITE_COORD_ORIGIN, GL_LOWER_LEFT);
    glActiveTexture(GL_TEXTURE0);
    glEnable(GL_TEXTURE_2D);
    glBindTexture(GL_TEXTURE_2D, m_texid);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR_MIPMAP_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glDrawArrays(GL_POINTS, 0, static_cast<GLsizei>(count));
    glDisable(GL_TEXTURE_2D);
    glBindTexture(GL_TEXTURE_2D, 0);
    glBindVertexArray(0);
    m_gl_program.Unuse();
}

void draw_t::Destroy()
{
    if (!m_initialised) return;
    // At process exit the context (and every object in it) may be gone already.
    if (glload::gl_context_current()) {
        m_gl_program.Destroy();
        glDeleteTextures(1, &m_texid);
        glDeleteBuffers(1, &m_vbo);
        glDeleteVertexArrays(1, &m_vao);
    }
    m_texid = m_vbo = m_vao = 0;
    m_initialised = false;
}

} // namespace vexlor
