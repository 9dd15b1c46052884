// Drawing one frame: in the plain look, clear (or keep the trail image),
// blend every point by per-channel maximum, and show the trail image when
// trails are on; in the night look, through its passes.
#include "render/frame.h"

#include "glload/glextloader.h"
#include "glload/grerror.h"

#include <iostream>

namespace vexlor {

void reportglerror()
{
    const GLenum code = glGetError();
    if (code != GL_NO_ERROR) reportglerror(code);
}

void reportglerror(unsigned code)
{
    std::cerr << "error: " << std::hex << code << " " << geokit::glerrortext(code) << std::endl;
}

namespace {

// The sky's grey, which also stays the clear colour between frames.
void clearsky()
{
    glClearColor(0.18f, 0.18f, 0.18f, 0.0f);
}

} // namespace

bool frame_t::Init(std::size_t capacity)
{
    if (m_initialised) return m_built;
    clearsky();
    glDisable(GL_DITHER);
    glDisable(GL_DEPTH_TEST);
    m_camera.setup(m_view);
    polyoffsetunit = polyoffsetfactor = 0;
    const bool points = m_draw.Init(capacity);
    const bool trails = m_texture.Init();
    m_built = points && trails;
    m_count = 0;
    m_initialised = true;
    return m_built;
}

void frame_t::Reshape(int width, int height)
{
    m_width = width;
    m_height = height;
    glViewport(0, 0, width, height);
    m_projmtx = showprojection(m_view, width, height);
    if (m_look.night() && m_night.initialised() && !m_night.Resize(width, height, m_camera, m_projmtx))
        std::cerr << "night look: no framebuffer of " << width << "x" << height << std::endl;
}

void frame_t::SetView(const viewpoint_t& view)
{
    m_view = view;
    m_camera.setup(m_view);
    m_projmtx = showprojection(m_view, m_width, m_height);
    // The night look's sky and lake are laid out for the camera.
    if (m_look.night() && m_night.initialised() && m_width > 0 && m_height > 0 &&
        !m_night.Resize(m_width, m_height, m_camera, m_projmtx))
        std::cerr << "night look: no framebuffer of " << m_width << "x" << m_height << std::endl;
}

void frame_t::SetLook(const look_t& look, const nightcost_t& cost)
{
    m_look = look;
    if (!look.night()) return;
    m_night.Init(look, cost);
    Reshape(m_width, m_height);
}

void frame_t::UpdateSmoke(float t, const primitive_t* puffs, std::size_t count)
{
    if (m_look.night()) m_night.UpdateSmoke(t, puffs, count);
}

void frame_t::Update(const primitive_t* points, std::size_t count)
{
    m_draw.Update(points, count);
    m_count = count;
    reportglerror();
}

void frame_t::Draw(GLuint target)
{
    if (m_look.night()) {
        m_night.Begin(m_trail);
        m_night.AddLight(m_draw, m_count, m_camera, m_projmtx, 1.0f, m_trail);
        m_night.Finish(m_camera, m_projmtx, target);
        return;
    }
    drawplain(target);
}

void frame_t::BeginExposure(int instants)
{
    m_instants = instants < 1 ? 1 : instants;
    if (m_look.night()) {
        m_night.Begin(m_trail);
        return;
    }
    m_exposure.Init();
    if (!m_exposure.Resize(m_width, m_height))
        std::cerr << "motion blur: no framebuffer of " << m_width << "x" << m_height << std::endl;
    m_exposure.Begin();
}

void frame_t::ExposeInstant()
{
    // Trails keep each pixel's brightest, so an instant counts whole there.
    const float weight = m_trail && m_look.night() ? 1.0f : 1.0f / static_cast<float>(m_instants);
    if (m_look.night()) {
        m_night.AddLight(m_draw, m_count, m_camera, m_projmtx, weight, m_trail);
        return;
    }
    drawplain(m_exposure.still());
    m_exposure.Add(weight);
}

void frame_t::FinishExposure(GLuint target)
{
    if (m_look.night())
        m_night.Finish(m_camera, m_projmtx, target);
    else
        m_exposure.Finish(target);
    glViewport(0, 0, m_width, m_height);
}

void frame_t::drawplain(GLuint target)
{
    if (m_trail) {
        geokit::grPrintError("display(6)");
        glBindFramebuffer(GL_FRAMEBUFFER, m_framebuffer);
        geokit::grPrintError("display(7)");
        // Not cleared: frames accumulate.
        glFramebufferTexture(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, m_trailtexture, 0);
        geokit::grPrintError("display(8)");
    } else {
        glBindFramebuffer(GL_FRAMEBUFFER, target);
        glClear(GL_COLOR_BUFFER_BIT);
    }

    glDisable(GL_CULL_FACE);
    glEnable(GL_BLEND);
    // Under GL_MAX the factors have no effect: each channel keeps the brighter.
    glBlendEquation(GL_MAX);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE);
    glDisable(GL_DEPTH_TEST);

    glPolygonOffset(static_cast<float>(polyoffsetfactor), static_cast<float>(polyoffsetunit));
    geokit::grPrintError("display(9)");

    m_draw.Draw(m_count, m_camera.modelmtx, m_projmtx);
    reportglerror();

    if (m_trail) {
        geokit::grPrintError("display(11)");
        glFramebufferTexture(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, 0, 0);
        glBindFramebuffer(GL_FRAMEBUFFER, target);
        glDisable(GL_DEPTH_TEST);
        glDisable(GL_BLEND);
        m_texture.Draw(m_trailtexture);
    }
}

void frame_t::DrawProgress(double fraction, GLuint target)
{
    // Cleared rectangles: three scissored clears draw the frame, the empty
    // track and the filled part, with no geometry to upload.
    constexpr float k_track[3] = {0.10f, 0.10f, 0.10f};
    constexpr float k_fill[3] = {0.95f, 0.75f, 0.30f};
    fraction = fraction < 0.0 ? 0.0 : fraction > 1.0 ? 1.0 : fraction;
    glBindFramebuffer(GL_FRAMEBUFFER, target);
    clearsky();
    glClear(GL_COLOR_BUFFER_BIT);
    const int width = m_width * 3 / 5;
    const int height = m_height / 30 + 4;
    const int x = (m_width - width) / 2;
    const int y = (m_height - height) / 2;
    glEnable(GL_SCISSOR_TEST);
    glScissor(x, y, width, height);
    glClearColor(k_track[0], k_track[1], k_track[2], 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    glScissor(x + 2, y + 2, static_cast<int>((width - 4) * fraction), height - 4);
    glClearColor(k_fill[0], k_fill[1], k_fill[2], 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    glDisable(GL_SCISSOR_TEST);
    clearsky();
    reportglerror();
}

void frame_t::EnterTrail()
{
    if (m_trail) return;
    m_trail = true;
    if (m_look.night()) {
        m_night.ClearLight();
        return;
    }
    glGenFramebuffers(1, &m_framebuffer);
    glGenTextures(1, &m_trailtexture);
    glBindTexture(GL_TEXTURE_2D, m_trailtexture);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, m_width, m_height, 0, GL_RGBA, GL_UNSIGNED_BYTE,
                 nullptr);
    glBindFramebuffer(GL_FRAMEBUFFER, m_framebuffer);
    glFramebufferTexture(GL_DRAW_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, m_trailtexture, 0);
    glClear(GL_COLOR_BUFFER_BIT);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
}

void frame_t::LeaveTrail()
{
    if (!m_trail) return;
    m_trail = false;
    if (glload::gl_context_current()) {
        glDeleteTextures(1, &m_trailtexture);
        glDeleteFramebuffers(1, &m_framebuffer);
    }
    m_trailtexture = m_framebuffer = 0;
}

void frame_t::Destroy()
{
    LeaveTrail();
    m_night.Destroy();
    m_exposure.Destroy();
    if (!m_initialised) return;
    m_texture.Destroy();
    m_draw.Destroy();
    m_count = 0;
    m_initialised = false;
}

} // namespace vexlor
