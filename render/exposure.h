// Motion blur for the plain look: a frame exposed over several instants is
// the mean of the frames each instant gives. Each is drawn into an 8-bit
// still, as the plain look draws, and added with its weight into a float
// sum, which is brought back to 8 bits at the end. Frames that do not move
// come out exactly as they went in.
#pragma once

#include "render/fullpass.h"
#include "render/rendertarget.h"

#include <epoxy/gl.h>

namespace vexlor {

class exposure_t {
public:
    void Init();
    // For frames of this size. False when a target cannot be made.
    bool Resize(int width, int height);
    void Begin();
    // Where one instant's frame is drawn: a framebuffer of the frame's size.
    GLuint still() const { return m_still.framebuffer(); }
    // Adds the still, times `weight`, to the sum.
    void Add(float weight);
    // The sum into `target`, a framebuffer of the frame's size.
    void Finish(GLuint target);
    void Destroy();

private:
    void copy(GLuint texture, float weight);

    bool m_initialised = false;
    fullpass_t m_pass;
    GLint m_source = -1;
    GLint m_weight = -1;
    rendertarget_t m_still;
    rendertarget_t m_sum;
};

} // namespace vexlor
