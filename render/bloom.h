// The glow: the frame's light spread around where it is brightest, the way a
// lens and the eye spread it. The light is shrunk to a quarter of the frame
// each way, then halved again once or twice, each step a soft average; the
// levels are then added back up, each weighted, into the first. Light spreads
// in proportion to itself, so only the brightest sparks and clusters glow
// visibly. Few passes, each small but the first: a software renderer keeps
// its frame rate.
#pragma once

#include "render/fullpass.h"
#include "render/rendertarget.h"

#include <epoxy/gl.h>

namespace vexlor {

class bloom_t {
public:
    static constexpr int k_mostlevels = 3;

    void Init();
    // For frames of this size, with 2 or 3 levels (the third widens the
    // halo). False when a target cannot be made.
    bool Resize(int width, int height, int levels);
    // Spreads `light` (a texture of the frame's size): the glow is
    // gains[0] times level 0 plus gains[1] times level 1 and so on, each
    // level scaled up to the first.
    void Draw(GLuint light, const float gains[k_mostlevels]);
    void Destroy();

    int levels() const { return m_levels; }
    // The glow, a quarter of the frame's size each way.
    const rendertarget_t& glow() const { return m_level[0]; }

private:
    bool m_initialised = false;
    int m_width = 0;
    int m_height = 0;
    int m_levels = 0;
    fullpass_t m_first; // the frame to level 0
    fullpass_t m_shrink;
    fullpass_t m_grow;
    GLint m_firstsource = -1, m_firststep = -1;
    GLint m_shrinksource = -1, m_shrinkstep = -1;
    GLint m_growsource = -1, m_growstep = -1, m_growgain = -1;
    rendertarget_t m_level[k_mostlevels];
};

} // namespace vexlor
