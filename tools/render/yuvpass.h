// Turns a rendered RGBA frame into an NV12 video frame on the GPU (BT.709,
// limited range, top row first): a Y plane, then U and V interleaved at half
// the size each way. The encoder then gets 1.5 bytes a pixel to read instead
// of 4, and H.264 takes NV12 as it is.
#pragma once

#include "render/pgmshdr.h"
#include "render/quad.h"

#include <epoxy/gl.h>

namespace vexlor {

class yuvpass_t {
public:
    yuvpass_t() = default;
    ~yuvpass_t() { Destroy(); }
    yuvpass_t(const yuvpass_t&) = delete;
    yuvpass_t& operator=(const yuvpass_t&) = delete;

    // For frames whose width is a multiple of 4 and whose height is even.
    bool Init(int width, int height);
    // Converts `source` (a texture of the frame's size) into the two planes.
    void Draw(GLuint source);
    // Reads both planes into the bound pixel-pack buffer: Y at 0, UV after it.
    void Read();
    void Destroy();

    std::size_t framebytes() const { return static_cast<std::size_t>(m_width) * m_height * 3 / 2; }

private:
    struct plane_t {
        gl_program_t program;
        GLint model = -1;
        GLint proj = -1;
        GLint tex = -1;
        GLint size = -1;
        GLuint framebuffer = 0;
        GLuint texture = 0;
    };
    bool initplane(plane_t& plane, const char* source, GLint length, GLint format, int width, int height);
    void drawplane(plane_t& plane, GLuint source, GLint filter, int width, int height);
    void destroyplane(plane_t& plane);

    bool m_initialised = false;
    int m_width = 0;
    int m_height = 0;
    quad_t m_quad;
    plane_t m_luma;
    plane_t m_chroma;
};

} // namespace vexlor
