// A full-viewport pass of the night look: the shared quad and its vertex
// shader, one fragment shader of the pass's own, the matrices that make the
// quad cover the viewport, and the pass's uniforms by name.
#pragma once

#include "render/pgmshdr.h"
#include "render/quad.h"

#include <epoxy/gl.h>

namespace vexlor {

class fullpass_t {
public:
    fullpass_t() = default;
    ~fullpass_t() { Destroy(); }
    fullpass_t(const fullpass_t&) = delete;
    fullpass_t& operator=(const fullpass_t&) = delete;

    // Builds the program (true the first time only, as gl_program_t::Init).
    bool Init(const char* fragment, GLint length);
    // Uses the program with the quad's matrices set; the pass's own
    // uniforms follow, then Draw.
    void Use() const;
    GLint uniform(const char* name) const { return m_program.getUniformLocation(name); }
    // Binds `texture` on unit `unit` for the sampler at `location`.
    static void Sample(GLint location, int unit, GLuint texture);
    void Draw() const;
    void Destroy();

private:
    bool m_initialised = false;
    quad_t m_quad;
    gl_program_t m_program;
    GLint m_model = -1;
    GLint m_proj = -1;
};

} // namespace vexlor
