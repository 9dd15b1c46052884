// One frame of the show, drawn the same way wherever it goes: the viewer's
// window or a headless renderer's framebuffer. Holds the GL state a frame
// needs (the renderers, the camera and projection, the trail texture and its
// framebuffer, the night look's passes); whoever draws owns one. Knows
// nothing of windows.
#pragma once

#include "firework/look.h"
#include "firework/primitive.h"
#include "geometry/geokit.h"
#include "render/draw.h"
#include "render/exposure.h"
#include "render/nightlook.h"
#include "render/showcamera.h"
#include "render/texture.h"

#include <epoxy/gl.h>

#include <cstddef>

namespace vexlor {

// "error: " + code in hex + text, when GL has an error pending; the stream is
// left in hexadecimal. Every code has a text (geokit::glerrortext), so a
// report never leaves standard error unusable.
void reportglerror();
// The same line for a given code.
void reportglerror(unsigned code);

class frame_t {
public:
    frame_t() = default;
    ~frame_t() { Destroy(); }
    frame_t(const frame_t&) = delete;
    frame_t& operator=(const frame_t&) = delete;

    // With the context current: the fixed GL state, the camera and the
    // renderers, with room for `capacity` points a frame to start with.
    // Idempotent. False when a shader did not build (its log is out): a
    // frame would draw nothing.
    bool Init(std::size_t capacity);

    // A starting capacity for a show whose true bound is `bound` points: the
    // busiest frame of a large show is a small part of every stage it holds,
    // and the buffers grow if a frame needs more.
    static std::size_t startcapacity(std::size_t bound) { return bound < k_startpoints ? bound : k_startpoints; }
    static constexpr std::size_t k_startpoints = std::size_t{1} << 18;
    // The framebuffer's size: viewport and projection follow it.
    void Reshape(int width, int height);
    // The points of the next frames; more than the capacity grows the buffer.
    void Update(const primitive_t* points, std::size_t count);
    // Draws the points into framebuffer `target` (0: the window's own).
    void Draw(GLuint target = 0);
    // A loading bar instead of the show: the background with a bar across the
    // middle filled to `fraction` (0 to 1). Needs no points and no shaders.
    void DrawProgress(double fraction, GLuint target = 0);
    void Destroy();

    // Trail mode: frames accumulate in a texture of the size of the last
    // Reshape, shown on the target after each frame.
    void EnterTrail();
    void LeaveTrail();
    bool trail() const { return m_trail; }

    // Where the show is seen from: the described camera until told
    // otherwise. Camera and projection follow at once.
    void SetView(const viewpoint_t& view);
    const viewpoint_t& view() const { return m_view; }
    void ResetCamera() { m_camera.setup(m_view); }

    // The look the next frames are drawn in, with the context current; the
    // plain look until set. `cost`: how much of the night look to draw
    // (all of it by default, as renders do).
    void SetLook(const look_t& look, const nightcost_t& cost = {});
    const look_t& look() const { return m_look; }
    // The show's time (the lake's ripples follow it) and its smoke then
    // (firework/smoke.h); the plain look draws neither.
    void UpdateSmoke(float t, const primitive_t* puffs, std::size_t count);

    // A frame exposed over several instants (motion blur): BeginExposure,
    // then for each instant Update its points and ExposeInstant, then
    // FinishExposure draws the frame into `target`. One instant draws what
    // Draw draws.
    void BeginExposure(int instants);
    void ExposeInstant();
    void FinishExposure(GLuint target = 0);

    const showcamera_t& camera() const { return m_camera; }
    const geokit::matrix3w_t& projection() const { return m_projmtx; }
    int width() const { return m_width; }
    int height() const { return m_height; }
    bool initialised() const { return m_initialised; }

    // A diagnostic pair handed to glPolygonOffset; no offset mode is enabled.
    int polyoffsetfactor = 0;
    int polyoffsetunit = 0;

private:
    void drawplain(GLuint target);

    bool m_initialised = false;
    bool m_built = false; // every shader built
    look_t m_look;
    nightlook_t m_night;
    exposure_t m_exposure;
    int m_instants = 1;
    draw_t m_draw;
    texture_t m_texture;
    showcamera_t m_camera;
    viewpoint_t m_view;
    geokit::matrix3w_t m_projmtx{};
    std::size_t m_count = 0;
    int m_width = 0;
    int m_height = 0;
    bool m_trail = false;
    GLuint m_framebuffer = 0;
    GLuint m_trailtexture = 0;
};

} // namespace vexlor
