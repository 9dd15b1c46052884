// Facts about a scene for people designing shows: how much it holds, how long
// it runs before the viewer would restart it, and its busiest frame.
#pragma once

#include "firework/firework.h"
#include "firework/show.h"

#include <cstddef>
#include <vector>

namespace vexlor {

struct scenecounts_t {
    std::size_t fireworks = 0;
    std::size_t fires = 0;
    std::size_t powders = 0;
    std::size_t films = 0;
};

scenecounts_t countscene(const std::vector<firework_t>& scene);

// The counts of the show's expansion.
scenecounts_t countshow(const show_t& show);

struct showrun_t {
    bool ends = false;         // a frame without points came within the limit
    float length = 0.0f;       // scene time of the first empty frame, refined;
                               // 0 when the first frame is empty already
    std::size_t largest = 0;   // most points in one frame
    float largestat = 0.0f;    // scene time of that frame
    std::size_t sounds = 0;    // launches and bursts until the end
};

// Plays the scene as the viewer would, from its first clock tick (1 ms) on at
// `framerate` frames per second, until the first frame without points or the
// `limit` in seconds. The end is then refined between the last two frames.
// The sound flags are cleared afterwards, as after a load or a restart.
showrun_t runshow(std::vector<firework_t>& scene, double framerate = 60.0, double limit = 3600.0);
showrun_t runshow(show_t& show, double framerate = 60.0, double limit = 3600.0);

} // namespace vexlor
