// Two passes over the frame, each one fragment per output texel: the luma
// pass samples one pixel, the chroma pass samples the corner shared by a
// 2 x 2 block with linear filtering, which is exactly the block's mean. The
// texture coordinates are turned over, since GL's rows start at the bottom
// and video's at the top.
#include "tools/render/yuvpass.h"

#include "geometry/geokit.h"
#include "glload/glextloader.h"

#include <cstdint>

namespace vexlor {
namespace {

constexpr char k_luma_source[] = R"(#version 330
in vec2 txc;
layout(location = 0) out vec4 FragmentColor;
uniform sampler2D Tex;
void main()
{
    vec3 rgb = texture(Tex, vec2(txc.x, 1.0 - txc.y)).rgb;
    float y = dot(vec3(0.2126, 0.7152, 0.0722), rgb);
    FragmentColor = vec4((16.0 + 219.0 * y) / 255.0, 0.0, 0.0, 1.0);
}
)";

constexpr char k_chroma_source[] = R"(#version 330
in vec2 txc;
layout(location = 0) out vec4 FragmentColor;
uniform sampler2D Tex;
void main()
{
    vec3 rgb = texture(Tex, vec2(txc.x, 1.0 - txc.y)).rgb;
    float y = dot(vec3(0.2126, 0.7152, 0.0722), rgb);
    float u = (rgb.b - y) / 1.8556;
    float v = (rgb.r - y) / 1.5748;
    FragmentColor = vec4((128.0 + 224.0 * u) / 255.0, (128.0 + 224.0 * v) / 255.0, 0.0, 1.0);
}
)";

void* offset(std::size_t bytes)
{
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(bytes));
}

} // namespace

bool yuvpass_t::initplane(plane_t& plane, const char* source, GLint length, GLint format, int width,
                          int height)
{
    if (plane.program.Init(k_quad_vertex_source, k_quad_vertex_length, source, length)) {
        plane.model = plane.program.getUniformLocation("ModelviewMtx");
        plane.proj = plane.program.getUniformLocation("Projection");
        plane.tex = plane.program.getUniformLocation("Tex");
    }
    glGenTextures(1, &plane.texture);
    glBindTexture(GL_TEXTURE_2D, plane.texture);
    glTexImage2D(GL_TEXTURE_2D, 0, format, width, height, 0, format == GL_R8 ? GL_RED : GL_RG,
                 GL_UNSIGNED_BYTE, nullptr);
    glBindTexture(GL_TEXTURE_2D, 0);
    glGenFramebuffers(1, &plane.framebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, plane.framebuffer);
    glFramebufferTexture(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, plane.texture, 0);
    const bool complete = glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    return complete;
}

bool yuvpass_t::Init(int width, int height)
{
    if (m_initialised) return true;
    if (width % 2 != 0 || height % 2 != 0) return false;
    m_width = width;
    m_height = height;
    m_quad.Init();
    m_initialised = true;
    const bool complete =
        initplane(m_luma, k_luma_source, sizeof(k_luma_source) - 1, GL_R8, width, height) &&
        initplane(m_chroma, k_chroma_source, sizeof(k_chroma_source) - 1, GL_RG8, width / 2, height / 2);
    if (!complete) Destroy();
    return complete;
}

void yuvpass_t::drawplane(plane_t& plane, GLuint source, GLint filter, int width, int height)
{
    static const geokit::matrix3w_t projection = quadprojection();
    glBindFramebuffer(GL_FRAMEBUFFER, plane.framebuffer);
    glViewport(0, 0, width, height);
    plane.program.Use();
    glUniformMatrix4fv(plane.model, 1, GL_TRUE, geokit::Imtx.m);
    glUniformMatrix4fv(plane.proj, 1, GL_TRUE, projection.m);
    glUniform1i(plane.tex, 0);
    glBindTexture(GL_TEXTURE_2D, source);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, filter);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, filter);
    m_quad.Draw();
    plane.program.Unuse();
}

void yuvpass_t::Draw(GLuint source)
{
    glDisable(GL_BLEND);
    glActiveTexture(GL_TEXTURE0);
    drawplane(m_luma, source, GL_NEAREST, m_width, m_height);
    drawplane(m_chroma, source, GL_LINEAR, m_width / 2, m_height / 2);
    glBindTexture(GL_TEXTURE_2D, 0);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glViewport(0, 0, m_width, m_height);
}

void yuvpass_t::Read()
{
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, m_luma.framebuffer);
    glReadPixels(0, 0, m_width, m_height, GL_RED, GL_UNSIGNED_BYTE, nullptr);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, m_chroma.framebuffer);
    glReadPixels(0, 0, m_width / 2, m_height / 2, GL_RG, GL_UNSIGNED_BYTE,
                 offset(static_cast<std::size_t>(m_width) * m_height));
    glBindFramebuffer(GL_READ_FRAMEBUFFER, 0);
}

void yuvpass_t::destroyplane(plane_t& plane)
{
    if (glload::gl_context_current()) {
        plane.program.Destroy();
        if (plane.framebuffer != 0) glDeleteFramebuffers(1, &plane.framebuffer);
        if (plane.texture != 0) glDeleteTextures(1, &plane.texture);
    }
    plane.framebuffer = plane.texture = 0;
}

void yuvpass_t::Destroy()
{
    if (!m_initialised) return;
    destroyplane(m_luma);
    destroyplane(m_chroma);
    m_quad.Destroy();
    m_initialised = false;
}

} // namespace vexlor
