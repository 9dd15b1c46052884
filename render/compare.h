// Combines two images by their per-channel maximum over the whole viewport.
// Nothing in the viewer calls it; it completes the renderer set.
#pragma once

#include "geometry/geokit.h"
#include "render/pgmshdr.h"
#include "render/quad.h"

#include <epoxy/gl.h>

namespace vexlor {

class compare_t {
public:
    compare_t() = default;
    ~compare_t() { Destroy(); }
    compare_t(const compare_t&) = delete;
    compare_t& operator=(const compare_t&) = delete;

    // False when its shaders did not build (their log is out).
    bool Init();
    void Draw(const geokit::image2d_t& image1, const geokit::image2d_t& image2);
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
    GLint m_tex1_location = -1;
    GLint m_tex2_location = -1;
    GLuint m_tex1id = 0;
    GLuint m_tex2id = 0;
};

} // namespace vexlor
