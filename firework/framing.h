// What a show's breaks look like from outside, measured on the model: how far
// each design's stars reach from the burst point, and the camera that frames
// every launch and break of a show of real shells from an audience distance.
#pragma once

#include "firework/show.h"
#include "firework/viewpoint.h"

#include <cstddef>

namespace vexlor {

// The box round every point a design's stars draw (tails left out, a strobe
// counted as lit, every crackle flash), relative to the burst point, over
// the stars' whole burn; all zero for a design that draws nothing.
struct burstbox_t {
    double low[3] = {0.0, 0.0, 0.0};
    double high[3] = {0.0, 0.0, 0.0};
    // The break's width: its widest horizontal extent.
    double diameter() const;
};

burstbox_t designbox(const show_t& show, std::size_t design);

// The camera that frames the show: where an audience at ground level in front
// of the show (towards -y) stands to see every launch site and every break
// whole, with the default field of view.
viewpoint_t frameshow(const show_t& show);

} // namespace vexlor
