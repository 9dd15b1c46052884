// Time bounds derived once from a star's delays and film durations. They let
// the per-frame evaluation pass over stars and stages that cannot give a point
// at the current time without changing a single point it gives.
#pragma once

#include "firework/effect.h"
#include "firework/firework.h"

#include <cstddef>
#include <vector>

namespace vexlor {

struct starlimits_t {
    std::size_t powders = 0;   // the powder count these limits were derived for
    std::size_t tailstart = 0; // from here on every delay is positive and finite
    float mindelay = 0.0f;     // the smallest delay from tailstart on
    double tailwindow = 0.0;   // no stage from tailstart on shows above this local time
    double burnout = 0.0;      // no stage of the star shows above this time since the burst
    float step = 0.0f;         // the one delay of every tail stage, 0 when they differ
    double stepquantum = 0.0;  // the largest power of two that divides step
    std::uint32_t effect = 0;  // the star's effect these limits were derived for
    bool special = false;      // it has effects: walked in full, no shortcut
};

// An upper bound on the local time at which the films still give a colour,
// including the rounding of the film walk: -infinity for no films, +infinity
// when no bound is known (negative or non-finite durations, very long lists).
double filmwindow(const std::vector<film_t>& films);

// `effect` is the star's effects (null for a plain star). A split stage
// counts from the burst, so it bounds the star's burnout by its own delay.
starlimits_t starlimits(const fire_t& fire, const stareffect_t* effect = nullptr);

} // namespace vexlor
