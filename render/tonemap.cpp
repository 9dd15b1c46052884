// The last pass's shader: the sum, the curve and the display's gamma (2, the
// square root); with LAKE, the lake's light added first.
#include "render/tonemap.h"

#include "render/lake.h"

#include <GL/gl.h>

#include <string>

namespace vexlor {
namespace {

constexpr char k_main[] = R"(
in vec2 txc;
layout(location = 0) out vec4 FragmentColor;
uniform sampler2D Light;
uniform sampler2D Glow;
uniform sampler2D Lake;
uniform float Exposure;
void main()
{
    vec4 glow = texture(Glow, txc);
    vec3 light = texelFetch(Light, ivec2(gl_FragCoord.xy), 0).rgb;
#ifdef LAKE
    light += texture(Lake, txc).rgb;
#endif
    vec3 c = (light * (1.0 - glow.a) + glow.rgb) * Exposure;
    c /= 1.0 + max(c.r, max(c.g, c.b));
    FragmentColor = vec4(sqrt(c), 1.0);
}
)";

} // namespace

void tonemap_t::build(program_t& program, bool lake)
{
    const std::string source = std::string(lake ? "#version 330\n#define LAKE 1\n" : "#version 330\n") + k_main;
    if (!program.pass.Init(source.c_str(), static_cast<GLint>(source.size()))) return;
    program.light = program.pass.uniform("Light");
    program.glow = program.pass.uniform("Glow");
    program.exposure = program.pass.uniform("Exposure");
    program.lake = program.pass.uniform("Lake");
}

void tonemap_t::Init()
{
    if (m_initialised) return;
    build(m_plain, false);
    build(m_lake, true);
    m_initialised = true;
}

void tonemap_t::use(const program_t& program, GLuint light, GLuint glow) const
{
    program.pass.Use();
    fullpass_t::Sample(program.light, 0, light);
    fullpass_t::Sample(program.glow, 1, glow);
    glUniform1f(program.exposure, k_exposure);
}

void tonemap_t::Draw(GLuint light, GLuint glow, const lakeinputs_t& lake, const showcamera_t& camera,
                     const geokit::matrix3w_t& projection, int width, int height)
{
    glDisable(GL_BLEND);
    const int rows = lake.light != 0 ? lakerows(camera, projection, lake.far, height) : 0;
    glEnable(GL_SCISSOR_TEST);
    if (rows < height) {
        glScissor(0, rows, width, height - rows);
        use(m_plain, light, glow);
        m_plain.pass.Draw();
    }
    if (rows > 0) {
        glScissor(0, 0, width, rows);
        use(m_lake, light, glow);
        fullpass_t::Sample(m_lake.lake, 2, lake.light);
        m_lake.pass.Draw();
    }
    glDisable(GL_SCISSOR_TEST);
    for (int unit = 2; unit >= 0; --unit) {
        glActiveTexture(static_cast<GLenum>(GL_TEXTURE0 + unit));
        glBindTexture(GL_TEXTURE_2D, 0);
    }
}

void tonemap_t::Destroy()
{
    m_plain.pass.Destroy();
    m_lake.pass.Destroy();
    m_initialised = false;
}

} // namespace vexlor
