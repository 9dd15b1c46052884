// A texture to draw into: the texture and its framebuffer object, of one size
// and internal format, filtered linearly and clamped at its edges so that a
// pass can read it at any scale. The night look's passes each own a few.
#pragma once

#include <epoxy/gl.h>

namespace vexlor {

class rendertarget_t {
public:
    rendertarget_t() = default;
    ~rendertarget_t() { Destroy(); }
    rendertarget_t(const rendertarget_t&) = delete;
    rendertarget_t& operator=(const rendertarget_t&) = delete;

    // Makes (or remakes, when the size or format differ) the texture and its
    // framebuffer. False when the framebuffer is incomplete.
    bool Init(int width, int height, GLenum format);
    // Binds the framebuffer and sets the viewport to the whole texture.
    void Bind() const;
    // Clears to the colour given; the context's clear colour is kept.
    void Clear(float r, float g, float b, float a) const;
    void Destroy();

    GLuint texture() const { return m_texture; }
    GLuint framebuffer() const { return m_framebuffer; }
    int width() const { return m_width; }
    int height() const { return m_height; }

private:
    GLuint m_texture = 0;
    GLuint m_framebuffer = 0;
    int m_width = 0;
    int m_height = 0;
    GLenum m_format = 0;
};

} // namespace vexlor
