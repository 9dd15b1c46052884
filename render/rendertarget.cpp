// Texture and framebuffer pairs for the night look's passes.
#include "render/rendertarget.h"

#include "glload/glextloader.h"

namespace vexlor {

bool rendertarget_t::Init(int width, int height, GLenum format)
{
    if (m_texture != 0 && width == m_width && height == m_height && format == m_format) return true;
    Destroy();
    m_width = width < 1 ? 1 : width;
    m_height = height < 1 ? 1 : height;
    m_format = format;
    glGenTextures(1, &m_texture);
    glBindTexture(GL_TEXTURE_2D, m_texture);
    glTexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(format), m_width, m_height, 0, GL_RGBA, GL_FLOAT, nullptr);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glBindTexture(GL_TEXTURE_2D, 0);
    glGenFramebuffers(1, &m_framebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, m_framebuffer);
    glFramebufferTexture(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, m_texture, 0);
    const bool complete = glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    return complete;
}

void rendertarget_t::Bind() const
{
    glBindFramebuffer(GL_FRAMEBUFFER, m_framebuffer);
    glViewport(0, 0, m_width, m_height);
}

void rendertarget_t::Clear(float r, float g, float b, float a) const
{
    // The plain look clears to its sky's grey: that clear colour stays.
    GLfloat kept[4];
    glGetFloatv(GL_COLOR_CLEAR_VALUE, kept);
    Bind();
    glClearColor(r, g, b, a);
    glClear(GL_COLOR_BUFFER_BIT);
    glClearColor(kept[0], kept[1], kept[2], kept[3]);
}

void rendertarget_t::Destroy()
{
    if (m_texture == 0 && m_framebuffer == 0) return;
    if (glload::gl_context_current()) {
        if (m_framebuffer != 0) glDeleteFramebuffers(1, &m_framebuffer);
        if (m_texture != 0) glDeleteTextures(1, &m_texture);
    }
    m_texture = m_framebuffer = 0;
    m_width = m_height = 0;
    m_format = 0;
}

} // namespace vexlor
