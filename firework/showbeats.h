// The beats of a show's music: what a track tells of itself (its length and
// the beats found in it), read by whoever can decode sound and handed to the
// show file reader, and the show time of a beat or the beat of a show time.
// Beats are counted from 1; beat 1 is the first beat of the track.
#pragma once

#include "firework/show.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace vexlor {

// Reads a music file's length in `seconds`, and when `detect` its tempo in
// `bpm` and every beat found in `beats` (track seconds, from its first
// sample, in order). False with the reason (without the path) in `why`. The
// programs hand the reader the sound library's (sndkit::readtrack); the
// model itself decodes nothing.
using trackreader_t = std::function<bool(const std::string& path, bool detect, double& seconds, double& bpm,
                                         std::vector<double>& beats, std::string& why)>;

// The most beats a show may count to, a bound for the numbers a show file
// gives: four hours at over 4000 beats a minute.
inline constexpr double maxbeat = 1000000.0;

// Whether the music has beats: a tempo given, or beats detected.
bool hasbeats(const music_t& music);

// How many beats the track holds (every beat whose time lies within it).
std::size_t beatcount(const music_t& music);

// The show time of beat `beat` (1 is the first; a fraction lies between two
// beats, pro rata). False when the beat lies past the track's last beat (or
// there are no beats).
bool beattime(const music_t& music, double beat, double& showtime);

// The beat nearest to show time `showtime`, and how far the time lies from
// it in seconds (negative: before it). False when the music has no beats.
struct beatplace_t {
    std::size_t beat = 0;
    double off = 0.0;
};
bool beatat(const music_t& music, double showtime, beatplace_t& place);

} // namespace vexlor
