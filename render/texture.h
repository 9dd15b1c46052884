// Draws a texture over the whole viewport; the viewer shows its trail image
// with it.
#pragma once

#include "geometry/geokit.h"
#include "render/pgmshdr.h"
#include "render/quad.h"

#include <epoxy/gl.h>

namespace vexlor {

class texture_t {
public:
    texture_t() = default;
    ~texture_t() { Destroy(); }
    texture_t(const texture_t&) = delete;
    texture_t& operator=(const texture_t&) = delete;

    // False when its shaders did not build (their log is out).
    bool Init();
    void Draw(GLuint texture);
    void Destroy();

    bool initialised() const { return m_initialised; }

private:
    bool m_initialised = false;
    quad_t m_quad;
    geokit::matrix3w_t m_modelview{};
    geokit::matrix3w_t m_projection{};

    gl_program_t m_gl_program;
    GLint m_model_location = -1;
    GLint m_proj_location = -1;
    GLint m_tex_location = -1;
};

} // namespace vexlor
