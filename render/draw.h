// Point-sprite renderer: every spark is one textured point whose size is given
// in eye-space units. The vertex buffer is sized once for the largest spark
// count and overwritten each frame.
#pragma once

#include "firework/primitive.h"
#include "geometry/geokit.h"
#include "render/pgmshdr.h"
#include "render/sprite.h"

#include <epoxy/gl.h>

#include <cstddef>

namespace vexlor {

class draw_t {
public:
    draw_t() = default;
    ~draw_t() { Destroy(); }
    draw_t(const draw_t&) = delete;
    draw_t& operator=(const draw_t&) = delete;

    // `count`: the starting capacity in primitives. False when the shaders
    // did not build (their log is out); nothing could be drawn then.
    bool Init(std::size_t count);
    // A count above the capacity grows the buffer.
    void Update(const primitive_t* data, std::size_t count);
    void Draw(std::size_t count, const geokit::matrix3w_t& modelview,
              const geokit::matrix3w_t& projection);
    void Destroy();

    bool initialised() const { return m_initialised; }
    // For other passes over the same points: the vertex array that holds
    // them, the sprite's texture, and the sprite's alpha at its middle.
    GLuint vertexarray() const { return m_vao; }
    GLuint spritetexture() const { return m_texid; }
    float spritecentre() const { return m_centre; }

private:
    bool m_initialised = false;
    GLuint m_vao = 0;
    GLuint m_vbo = 0;
    std::size_t m_capacity = 0; // primitives the buffer holds
    GLuint m_texid = 0;

    // Each renderer owns its program, so two drawers (two contexts) never share names.
    gl_program_t m_gl_program;
    GLint m_model_location = -1;
    GLint m_proj_location = -1;
    GLint m_tex_location = -1;
    GLint m_centre_location = -1;
    float m_centre = 1.0f; // the sprite's alpha at its middle
};

} // namespace vexlor
