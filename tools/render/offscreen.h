// Where a headless render draws and how its pixels come back: a framebuffer
// object of the requested size and two pixel-pack buffers, so reading one
// frame back overlaps drawing the next instead of stalling it. The pixels
// come as RGBA (bottom row first) or as an NV12 video frame.
#pragma once

#include "tools/render/yuvpass.h"

#include <epoxy/gl.h>

#include <string>

namespace vexlor {

class offscreen_t {
public:
    offscreen_t() = default;
    ~offscreen_t() { Destroy(); }
    offscreen_t(const offscreen_t&) = delete;
    offscreen_t& operator=(const offscreen_t&) = delete;

    // False with one line in `message` when the size is beyond the driver's
    // limits or the framebuffer is incomplete.
    bool Init(int width, int height, bool yuv, std::string& message);
    void Destroy();

    GLuint framebuffer() const { return m_framebuffer; }

    // Starts copying what the framebuffer holds now into the next pack
    // buffer, without waiting for the drawing to end.
    void Read();
    // The pixels of the read before the latest one, or null when there was
    // none; valid until Unmap.
    const unsigned char* MapPrevious();
    // The pixels of the latest read, waiting for it: for the last frame.
    const unsigned char* MapLatest();
    void Unmap();

    std::size_t framebytes() const
    {
        return m_yuv ? m_planes.framebytes()
                     : static_cast<std::size_t>(m_width) * m_height * 4;
    }

private:
    const unsigned char* map(int index);

    int m_width = 0;
    int m_height = 0;
    bool m_yuv = false;
    yuvpass_t m_planes;
    GLuint m_framebuffer = 0;
    GLuint m_colour = 0; // a texture, so the planes can be made from it
    GLuint m_pack[2] = {0, 0};
    int m_reads = 0;   // reads started so far
    int m_mapped = -1; // the buffer mapped now
};

} // namespace vexlor
