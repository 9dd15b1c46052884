// Which frames a render holds and which sounds its show asks for: the show is
// evaluated frame by frame, as it will be drawn, before anything is drawn, so
// the sound track and the frame count are known first.
#pragma once

#include "firework/evaluate.h"
#include "firework/firework.h"
#include "firework/show.h"

#include <cstddef>
#include <functional>
#include <vector>

namespace vexlor {

// The scene time of frame k: exactly k / fps seconds after `from`.
inline float frametime(double from, double fps, std::size_t k)
{
    return static_cast<float>(from + static_cast<double>(k) / fps);
}

struct soundevent_t {
    double time = 0.0; // scene seconds: the launch time, or launch time plus fuse
    sound_t what = sound_t::launch;
    std::size_t firework = 0;
};

struct showscan_t {
    std::size_t frames = 0;
    std::size_t largest = 0; // most points in one frame
    bool ends = false;       // the show ran out of points within the span looked at
    std::vector<soundevent_t> sounds;
};

// Plays `scene` from `from` at `fps`. With `to` > `from`: the frames before
// `to`. With `to` < 0: until the first frame without points that follows one
// with points (where the viewer restarts), but at most `limit` seconds.
// Every launch and burst the evaluation asks for is listed with its own time;
// the sound flags are cleared afterwards, as after a restart. `stop`, when
// given, is asked before each frame: true ends the scan where it is.
using stopfunc_t = std::function<bool()>;
showscan_t scanshow(std::vector<firework_t>& scene, double from, double to, double fps,
                    double limit, const stopfunc_t& stop = {});
// The same for a show with shared designs; indices are the expansion's.
showscan_t scanshow(show_t& show, double from, double to, double fps, double limit,
                    const stopfunc_t& stop = {});

} // namespace vexlor
