// One frame of a render, evaluated and drawn: at its own time, or with
// motion blur from several instants spread evenly over the shutter's
// interval, centred on the frame's time, each weighted alike, so a spark
// leaves a streak as long as its travel while the shutter is open. The
// night look's smoke is taken at the frame's own time.
#pragma once

#include "firework/primitive.h"
#include "firework/showrunner.h"
#include "firework/smoke.h"
#include "render/frame.h"

#include <epoxy/gl.h>

#include <vector>

namespace vexlor {

// The most instants a frame may be drawn from.
inline constexpr int k_mostinstants = 64;

struct shutter_t {
    int instants = 1;  // 1: no motion blur
    double open = 0.0; // seconds the shutter stays open
};

// What the render loop keeps from frame to frame to evaluate the show.
struct framesource_t {
    showrunner_t& runner;             // the show, evaluated at any instant
    smoke_t& smoke;                   // prepared when the look draws smoke
    std::vector<primitive_t>& points;
    std::vector<primitive_t>& puffs;
};

// Evaluates the show for the frame at `t` and draws it into `target`.
// Returns the seconds spent evaluating; the rest was drawing.
double drawshowframe(framesource_t& source, frame_t& frame, float t, const shutter_t& shutter, GLuint target);

} // namespace vexlor
