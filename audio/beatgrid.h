// The beats of a track from what aubio finds in it: its onsets, each with its
// strength, and a rough tempo. aubio's beat tracker alone lands tens of
// milliseconds off and may read half the tempo; here the tempo is read in
// one octave, the grid is fitted to the strong onsets and each beat is set
// on the onsets around it, so that a beat is heard where it is counted.
#pragma once

#include <cstddef>
#include <vector>

namespace sndkit {

struct onset_t {
    double time = 0.0;     // seconds from the track's first sample
    double strength = 0.0; // the detection function's value at the onset
};

struct beats_t {
    double bpm = 0.0;
    std::vector<double> times; // seconds from the track's first sample, increasing
};

// Tempos are read between these (beats a minute): a hint outside is doubled
// or halved into them, as one counts a march or a ballad.
inline constexpr double k_slowesttempo = 80.0;
inline constexpr double k_fastesttempo = 160.0;

// Beats from the first strong onset to the track's end (`seconds`), `hint`
// the tempo aubio's tracker found (any octave). False when there is no
// tempo or too few strong onsets to fit one to.
bool fitbeats(const std::vector<onset_t>& onsets, double hint, double seconds, beats_t& beats);

} // namespace sndkit
