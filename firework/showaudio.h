// What the show runner asks of whoever makes the show's sound, free of any
// audio library: a program hands the runner one of these, or none for a
// silent show. The runner tells it every move of the show's clock and every
// sound a frame asks for; while the show's music plays, the sound side's
// device clock in turn is the show's clock.
#pragma once

#include "firework/evaluate.h"
#include "firework/show.h"
#include "firework/soundcue.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vexlor {

class showaudio_t {
public:
    virtual ~showaudio_t() = default;

    // The show to sound: its music, and every sound's time and clip (in
    // order), for a sound side that mixes them into the music ahead of time.
    // Called when a show is loaded or replaced.
    virtual void load(const music_t& music, const std::vector<soundcue_t>& cues) = 0;

    // The show's clock moved (start, restart, a step, a seek, the end of a
    // pause): sound on from show time `showtime`.
    virtual void play(double showtime) = 0;
    // Paused at `showtime`: silent, ready to play on from there.
    virtual void pause(double showtime) = 0;

    // The show time the sound device has got to at monotonic reading `now`
    // (microseconds, basekit::monotonicmicros), smoothed. False when there is
    // no such clock (no music, or no device): the monotonic clock serves.
    virtual bool clock(std::int64_t now, double& showtime) = 0;

    // A sound that a frame asks for (shell index in the show, what happened
    // and its clip). A sound side that mixed it ahead does nothing here.
    virtual void sound(const soundhit_t& hit) = 0;
};

} // namespace vexlor
