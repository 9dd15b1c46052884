// The night look's last pass: for every pixel the light (the scenery with
// the sparks added over it), over a lake what it mirrors, the smoke over it
// all, the glow added, and the sum brought to the screen. The tone map
// scales each pixel's colour as a whole by a curve of its brightest
// channel, so light that adds up far past the screen's white keeps its hue
// instead of clipping to white.
#pragma once

#include "geometry/geokit.h"
#include "render/fullpass.h"
#include "render/showcamera.h"

#include <epoxy/gl.h>

namespace vexlor {

// Linear light times this, then m / (1 + m) of the brightest channel m: a
// spark of full colour shows at 87% of the screen's white, overlapping
// sparks nearer to it, and the night stays dark.
inline constexpr float k_exposure = 3.0f;

// The lake, when there is one: what it mirrors (render/lake.h), and the far
// shore's distance, below which it lies.
struct lakeinputs_t {
    GLuint light = 0;
    float far = 0.0f;
};

class tonemap_t {
public:
    void Init();
    // Into the bound target, whose viewport is the frame: `light` is read
    // texel for texel, `glow` (the glow with the smoke over it,
    // premultiplied) scaled up. The rows below the far shore are drawn by a
    // second program that adds the lake's light; the rest never read it.
    void Draw(GLuint light, GLuint glow, const lakeinputs_t& lake, const showcamera_t& camera,
              const geokit::matrix3w_t& projection, int width, int height);
    void Destroy();

private:
    struct program_t {
        fullpass_t pass;
        GLint light = -1, glow = -1, exposure = -1, lake = -1;
    };
    void build(program_t& program, bool lake);
    void use(const program_t& program, GLuint light, GLuint glow) const;

    bool m_initialised = false;
    program_t m_plain;
    program_t m_lake;
};

} // namespace vexlor
