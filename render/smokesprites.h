// The night look's smoke: each puff the model gives (firework/smoke.h) drawn
// as a soft disc facing the viewer, its size in metres, premultiplied so that
// it covers what lies behind it by its opacity and adds the light it
// scatters. Quads, not point sprites: a puff near the viewer may be larger
// than a point may be, and must not vanish when its middle leaves the frame.
#pragma once

#include "firework/primitive.h"
#include "geometry/geokit.h"
#include "render/pgmshdr.h"

#include <epoxy/gl.h>

#include <cstddef>

namespace vexlor {

class smokesprites_t {
public:
    smokesprites_t() = default;
    ~smokesprites_t() { Destroy(); }
    smokesprites_t(const smokesprites_t&) = delete;
    smokesprites_t& operator=(const smokesprites_t&) = delete;

    void Init();
    // The puffs of the next frames; the buffer grows when they need more.
    void Update(const primitive_t* puffs, std::size_t count);
    // Into the bound target, over what it holds; `ambient` is the light
    // every puff scatters besides the bursts' (the sky's).
    void Draw(const geokit::matrix3w_t& modelview, const geokit::matrix3w_t& projection, const float ambient[3]);
    void Destroy();

    std::size_t count() const { return m_count; }

private:
    bool m_initialised = false;
    GLuint m_vao = 0;
    GLuint m_corners = 0;
    GLuint m_puffs = 0;
    std::size_t m_capacity = 0;
    std::size_t m_count = 0;
    gl_program_t m_program;
    GLint m_model = -1;
    GLint m_proj = -1;
    GLint m_ambient = -1;
};

} // namespace vexlor
