// Two passes over the frame, four output bytes per fragment (RGBA8 targets a
// quarter of the width: fewer fragments, and the driver's fast read-back
// path): the luma pass fetches four pixels, the chroma pass samples, for two
// chroma pixels, the corner shared by each 2 x 2 block with linear
// filtering, which is exactly the block's mean. Rows are turned over on the
// way, since GL's rows start at the bottom and video's at the top.
#include "tools/render/yuvpass.h"

#include "geometry/geokit.h"
#include "glload/glextloader.h"

#include <cstdint>

namespace vexlor {
namespace {

constexpr char k_luma_source[] = R"(#version 330
layout(location = 0) out vec4 FragmentColor;
uniform sampler2D Tex;
uniform ivec2 Size;
vec4 luma(vec3 a, vec3 b, vec3 c, vec3 d)
{
    const vec3 k = vec3(0.2126, 0.7152, 0.0722);
    return (16.0 + 219.0 * vec4(dot(k, a), dot(k, b), dot(k, c), dot(k, d))) / 255.0;
}
void main()
{
    ivec2 at = ivec2(gl_FragCoord.xy);
    int x = 4 * at.x;
    int y = Size.y - 1 - at.y;
    FragmentColor = luma(texelFetch(Tex, ivec2(x, y), 0).rgb, texelFetch(Tex, ivec2(x + 1, y), 0).rgb,
                         texelFetch(Tex, ivec2(x + 2, y), 0).rgb, texelFetch(Tex, ivec2(x + 3, y), 0).rgb);
}
)";

constexpr char k_chroma_source[] = R"(#version 330
layout(location = 0) out vec4 FragmentColor;
uniform sampler2D Tex;
uniform ivec2 Size;
vec2 chroma(vec2 corner)
{
    vec3 rgb = texture(Tex, corner / vec2(Size)).rgb;
    float y = dot(vec3(0.2126, 0.7152, 0.0722), rgb);
    return (128.0 + 224.0 * vec2((rgb.b - y) / 1.8556, (rgb.r - y) / 1.5748)) / 255.0;
}
void main()
{
    ivec2 at = ivec2(gl_FragCoord.xy);
    float x = float(4 * at.x);
    float y = float(Size.y - 1 - 2 * at.y);
    FragmentColor = vec4(chroma(vec2(x + 1.0, y)), chroma(vec2(x + 3.0, y)));
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
        plane.size = plane.program.getUniformLocation("Size");
    }
    glGenTextures(1, &plane.texture);
    glBindTexture(GL_TEXTURE_2D, plane.texture);
    glTexImage2D(GL_TEXTURE_2D, 0, format, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
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
    if (width % 4 != 0 || height % 2 != 0) return false;
    m_width = width;
    m_height = height;
    m_quad.Init();
    m_initialised = true;
    const bool complete =
        initplane(m_luma, k_luma_source, sizeof(k_luma_source) - 1, GL_RGBA8, width / 4, height) &&
        initplane(m_chroma, k_chroma_source, sizeof(k_chroma_source) - 1, GL_RGBA8, width / 4, height / 2);
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
    glUniform2i(plane.size, m_width, m_height);
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
    drawplane(m_luma, source, GL_NEAREST, m_width / 4, m_height);
    drawplane(m_chroma, source, GL_LINEAR, m_width / 4, m_height / 2);
    glBindTexture(GL_TEXTURE_2D, 0);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glViewport(0, 0, m_width, m_height);
}

void yuvpass_t::Read()
{
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, m_luma.framebuffer);
    glReadPixels(0, 0, m_width / 4, m_height, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, m_chroma.framebuffer);
    glReadPixels(0, 0, m_width / 4, m_height / 2, GL_RGBA, GL_UNSIGNED_BYTE,
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
