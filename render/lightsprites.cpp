// Sparks as light. The vertex shader sizes sprites exactly as the plain
// look's does (the projected extent in normalised units, used as pixels),
// so a spark is as large in either look.
#include "render/lightsprites.h"

#include "glload/glextloader.h"

namespace vexlor {
namespace {

constexpr char k_vertex_source[] = R"(#version 330
layout(location = 0) in vec3 Position;
layout(location = 1) in float PointSize;
layout(location = 2) in vec4 Color;
uniform mat4 ModelviewMtx;
uniform mat4 Projection;
uniform float Ground;
uniform float Mirror;
uniform float SizeScale;
out vec4 vertexColor;
flat out float spriteSize;
flat out float below;
void main()
{
    vec3 p = Position;
    if (Mirror > 0.5) p.z = 2.0 * Ground - p.z;
    vec4 eye = vec4(p, 1.0) * ModelviewMtx;
    vertexColor = Color;
    vec4 clip = eye * Projection;
    vec4 edge = eye;
    edge.x += PointSize;
    edge = edge * Projection;
    edge = edge / edge.w;
    gl_Position = clip / clip.w;
    gl_PointSize = (edge.x - gl_Position.x) * SizeScale;
    spriteSize = max(gl_PointSize, 1.0);
    below = Position.z < Ground ? 1.0 : 0.0;
}
)";

// The plain look's soft disc (see draw.cpp), times the colour made linear
// (squared: display values are about gamma 2) and the gain.
constexpr char k_fragment_source[] = R"(#version 330
in vec4 vertexColor;
flat in float spriteSize;
flat in float below;
layout(location = 0) out vec4 fragmentColor;
uniform sampler2D Tex;
uniform float Centre;
uniform float Gain;
void main()
{
    if (below > 0.5) discard;
    vec2 d = (gl_PointCoord - 0.5) * spriteSize;
    float r = length(d);
    vec2 at = 0.5 + d * (max(r - 0.70710678, 0.0) / max(r, 1e-6)) / spriteSize;
    float shade = min(textureLod(Tex, at, 0.0).a / Centre, 1.0);
    vec3 light = vertexColor.rgb * vertexColor.rgb;
    fragmentColor = vec4(light * (shade * Gain), 0.0);
}
)";

} // namespace

void lightsprites_t::Init()
{
    if (m_initialised) return;
    if (m_program.Init(k_vertex_source, sizeof(k_vertex_source) - 1, k_fragment_source,
                       sizeof(k_fragment_source) - 1)) {
        m_model = m_program.getUniformLocation("ModelviewMtx");
        m_proj = m_program.getUniformLocation("Projection");
        m_tex = m_program.getUniformLocation("Tex");
        m_centre = m_program.getUniformLocation("Centre");
        m_gain = m_program.getUniformLocation("Gain");
        m_ground = m_program.getUniformLocation("Ground");
        m_mirror = m_program.getUniformLocation("Mirror");
        m_sizescale = m_program.getUniformLocation("SizeScale");
    }
    m_initialised = true;
}

void lightsprites_t::Draw(const draw_t& points, std::size_t count, const geokit::matrix3w_t& modelview,
                          const geokit::matrix3w_t& projection, float gain, float ground, bool mirror,
                          float sizescale)
{
    if (count == 0) return;
    m_program.Use();
    glUniformMatrix4fv(m_model, 1, GL_TRUE, modelview.m);
    glUniformMatrix4fv(m_proj, 1, GL_TRUE, projection.m);
    glUniform1i(m_tex, 0);
    glUniform1f(m_centre, points.spritecentre());
    glUniform1f(m_gain, gain);
    glUniform1f(m_ground, ground);
    glUniform1f(m_mirror, mirror ? 1.0f : 0.0f);
    glUniform1f(m_sizescale, sizescale);
    glBindVertexArray(points.vertexarray());
    glEnable(GL_POINT_SPRITE);
    glEnable(GL_VERTEX_PROGRAM_POINT_SIZE);
    glPointParameterf(GL_POINT_FADE_THRESHOLD_SIZE, 1.0f);
    glPointParameteri(GL_POINT_SPRITE_COORD_ORIGIN, GL_LOWER_LEFT);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, points.spritetexture());
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR_MIPMAP_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glDrawArrays(GL_POINTS, 0, static_cast<GLsizei>(count));
    glBindTexture(GL_TEXTURE_2D, 0);
    glBindVertexArray(0);
    m_program.Unuse();
}

void lightsprites_t::Destroy()
{
    if (!m_initialised) return;
    if (glload::gl_context_current()) m_program.Destroy();
    m_initialised = false;
}

} // namespace vexlor
