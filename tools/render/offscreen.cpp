// Framebuffer object with an RGBA8 texture; reads alternate between two
// pixel-pack buffers.
#include "tools/render/offscreen.h"

namespace vexlor {

bool offscreen_t::Init(int width, int height, bool yuv, std::string& message)
{
    if (m_framebuffer != 0) return true;
    GLint largest = 0, viewport[2] = {0, 0};
    glGetIntegerv(GL_MAX_RENDERBUFFER_SIZE, &largest);
    glGetIntegerv(GL_MAX_VIEWPORT_DIMS, viewport);
    if (width > largest || height > largest || width > viewport[0] || height > viewport[1]) {
        message = "the size " + std::to_string(width) + "x" + std::to_string(height) +
                  " is beyond what the GL driver draws (at most " +
                  std::to_string(std::min<GLint>(largest, std::min(viewport[0], viewport[1]))) + ")";
        return false;
    }
    m_width = width;
    m_height = height;
    m_yuv = yuv;
    glGenTextures(1, &m_colour);
    glBindTexture(GL_TEXTURE_2D, m_colour);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glBindTexture(GL_TEXTURE_2D, 0);
    glGenFramebuffers(1, &m_framebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, m_framebuffer);
    glFramebufferTexture(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, m_colour, 0);
    const GLenum status = glCheckFramebufferStatus(GL_FRAMEBUFFER);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    if (status != GL_FRAMEBUFFER_COMPLETE || (yuv && !m_planes.Init(width, height))) {
        message = "the framebuffer of " + std::to_string(width) + "x" + std::to_string(height) +
                  " is incomplete (no memory for it?)";
        Destroy();
        return false;
    }
    glGenBuffers(2, m_pack);
    for (GLuint buffer : m_pack) {
        glBindBuffer(GL_PIXEL_PACK_BUFFER, buffer);
        glBufferData(GL_PIXEL_PACK_BUFFER, static_cast<GLsizeiptr>(framebytes()), nullptr, GL_STREAM_READ);
    }
    glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
    m_reads = 0;
    return true;
}

void offscreen_t::Read()
{
    glBindBuffer(GL_PIXEL_PACK_BUFFER, m_pack[m_reads % 2]);
    if (m_yuv) {
        m_planes.Draw(m_colour);
        m_planes.Read();
    } else {
        glBindFramebuffer(GL_READ_FRAMEBUFFER, m_framebuffer);
        glPixelStorei(GL_PACK_ALIGNMENT, 4);
        glReadPixels(0, 0, m_width, m_height, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    }
    glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, 0);
    ++m_reads;
}

const unsigned char* offscreen_t::map(int index)
{
    glBindBuffer(GL_PIXEL_PACK_BUFFER, m_pack[index]);
    const void* pixels = glMapBufferRange(GL_PIXEL_PACK_BUFFER, 0, static_cast<GLsizeiptr>(framebytes()),
                                          GL_MAP_READ_BIT);
    glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
    m_mapped = pixels ? index : -1;
    return static_cast<const unsigned char*>(pixels);
}

const unsigned char* offscreen_t::MapPrevious()
{
    if (m_reads < 2) return nullptr;
    return map((m_reads - 2) % 2);
}

const unsigned char* offscreen_t::MapLatest()
{
    if (m_reads < 1) return nullptr;
    return map((m_reads - 1) % 2);
}

void offscreen_t::Unmap()
{
    if (m_mapped < 0) return;
    glBindBuffer(GL_PIXEL_PACK_BUFFER, m_pack[m_mapped]);
    glUnmapBuffer(GL_PIXEL_PACK_BUFFER);
    glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
    m_mapped = -1;
}

void offscreen_t::Destroy()
{
    if (m_framebuffer == 0 && m_colour == 0) return;
    Unmap();
    if (m_pack[0] != 0) glDeleteBuffers(2, m_pack);
    m_planes.Destroy();
    if (m_framebuffer != 0) glDeleteFramebuffers(1, &m_framebuffer);
    if (m_colour != 0) glDeleteTextures(1, &m_colour);
    m_pack[0] = m_pack[1] = 0;
    m_framebuffer = m_colour = 0;
    m_reads = 0;
}

} // namespace vexlor
