// The full-viewport quad of the texture and compare passes: a 4-vertex
// triangle strip (x, y, z, u, v) with its vertex array, and the vertex shader
// both passes share.
#pragma once

#include "geometry/geokit.h"

#include <epoxy/gl.h>

namespace vexlor {

extern const char k_quad_vertex_source[];
extern const GLint k_quad_vertex_length;

// Box from -1 to 1 on every axis, so the quad covers the viewport exactly.
geokit::matrix3w_t quadprojection();

class quad_t {
public:
    quad_t() = default;
    ~quad_t() { Destroy(); }
    quad_t(const quad_t&) = delete;
    quad_t& operator=(const quad_t&) = delete;

    bool Init(); // nothing in it can fail: true
    void Draw() const; // the strip; program, uniforms and textures are the caller's
    void Destroy();

private:
    bool m_initialised = false;
    GLuint m_vao = 0;
    GLuint m_vbo = 0;
};

} // namespace vexlor
