// The night look, drawn: the still scenery worked out once per frame size;
// then each frame the sparks' light added up over it in a floating-point
// target (and, over a lake, mirrored over what the lake mirrors), the glow
// spread from it, the smoke drawn over the glow, and the last pass that
// brings it all to the screen. frame_t owns one and hands it the points; a
// frame may be exposed over several instants.
#pragma once

#include "firework/look.h"
#include "firework/primitive.h"
#include "geometry/geokit.h"
#include "render/bloom.h"
#include "render/draw.h"
#include "render/lake.h"
#include "render/lightsprites.h"
#include "render/rendertarget.h"
#include "render/scenery.h"
#include "render/showcamera.h"
#include "render/smokesprites.h"
#include "render/tonemap.h"

#include <epoxy/gl.h>

#include <cstddef>

namespace vexlor {

// How much of the night look a frame draws. Renders draw it in full; the
// viewer and the screensaver, which must keep their frame rate on a
// software renderer, draw fewer glow levels at a lower resolution, scaled up.
struct nightcost_t {
    int glowlevels = 3;  // 2 or 3
    float scale = 1.0f;  // of the frame's size, each way
};

// What the viewer's window and the screensaver draw.
inline constexpr nightcost_t k_windowcost{2, 0.5f};

class nightlook_t {
public:
    nightlook_t() = default;
    ~nightlook_t() { Destroy(); }
    nightlook_t(const nightlook_t&) = delete;
    nightlook_t& operator=(const nightlook_t&) = delete;

    // With the context current.
    void Init(const look_t& look, const nightcost_t& cost);
    // For frames of this size, seen through this camera and projection: the
    // still scenery is worked out here. False when a target cannot be made.
    bool Resize(int width, int height, const showcamera_t& camera, const geokit::matrix3w_t& projection);
    // The show's time, for the lake's ripples, and the smoke at that time.
    void UpdateSmoke(float t, const primitive_t* puffs, std::size_t count);

    // One frame: Begin, AddLight once per instant with that instant's points
    // and weight, Finish into `target` (a framebuffer of the frame's size).
    // In trail mode the light is kept from frame to frame, each pixel the
    // brightest it has been, as the plain look's trails are.
    void Begin(bool trail);
    void AddLight(const draw_t& points, std::size_t count, const showcamera_t& camera,
                const geokit::matrix3w_t& projection, float weight, bool trail);
    void Finish(const showcamera_t& camera, const geokit::matrix3w_t& projection, GLuint target);
    // Forgets the light kept for trails: the scenery alone again.
    void ClearLight();
    void Destroy();

    bool initialised() const { return m_initialised; }

private:
    bool m_initialised = false;
    look_t m_look;
    nightcost_t m_cost;
    scenery_t m_scenery{};
    int m_width = 0;  // the frame's
    int m_height = 0;
    float m_time = 0.0f;
    rendertarget_t m_still;       // the scenery, drawn at the frame's (scaled) size
    rendertarget_t m_stillmirror; // what flat water mirrors, half that size
    rendertarget_t m_light;       // the scenery with the sparks over it
    rendertarget_t m_mirror;      // the mirrored scenery with the mirrored sparks
    rendertarget_t m_lakelight;   // what the rippled lake mirrors, that size too
    rendertarget_t m_small;       // the finished frame before it is scaled up
    bloom_t m_bloom;
    backdrop_t m_backdrop;
    lake_t m_lake;
    lightsprites_t m_sprites;
    smokesprites_t m_smoke;
    tonemap_t m_tonemap;
    fullpass_t m_scaleup;
    GLint m_scaleupsource = -1;
};

} // namespace vexlor
