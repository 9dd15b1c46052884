// Show files: TOML written by hand, a list of [[shell]] tables, each a kind
// of shell, a built-in show or a scene file, placed at a time and a point and
// optionally repeated, an optional [music] table naming a track and an
// optional [look] table. Read into a show_t that holds each design once.
#pragma once

#include "firework/scenefile.h"
#include "firework/show.h"
#include "firework/showbeats.h"

#include <cstddef>
#include <string>
#include <vector>

namespace vexlor {

// The most shells a show may hold once every repetition is counted.
inline constexpr std::size_t maxshells = 100000;

// The largest show file read: a hand-written list is far smaller, and the
// parsed tables of 2 MB take about 50 MB.
inline constexpr std::size_t maxshowbytes = 2u << 20;

// Problems listed for one file; the rest are summed up in one more line.
inline constexpr std::size_t maxproblems = 100;

// The music's offset and gain stay within these: a day's offset, and a gain
// that cannot reach infinity in a mix.
inline constexpr double maxmusicoffset = 86400.0;
inline constexpr double maxmusicgain = 16.0;

// A tempo a show may give: from a slow funeral march's to beyond any drum
// roll's, in beats a minute.
inline constexpr double minbpm = 1.0;
inline constexpr double maxbpm = 1000.0;
// The launch angle from vertical a shot may have, degrees: mortars lean a
// little, never so far that a shell would break near the ground.
inline constexpr double maxangle = 80.0;
// Strobe rates, flashes a second: slower is no strobe, faster a blur.
inline constexpr double minstrobe = 0.5;
inline constexpr double maxstrobe = 30.0;
// Stars of one break, and shots of one cake.
inline constexpr double maxstars = 2000.0;
inline constexpr double maxshots = 100.0;

enum class fileformat_t { scene, show };

// A scene file's first line is its count of fireworks; any other text is
// taken for a show file. False, with one line "PATH: why" in `message`, for
// what is neither: a file that cannot be read, one that is not a regular
// file (refused before it is read: a FIFO could block, a device never end)
// and a binary file.
bool sniffformat(const char* path, fileformat_t& format, std::string& message);

// Reads a show file. Every problem found is appended to `problems` as one line
// "FILE:LINE:COLUMN: what is wrong", quoting at most a short excerpt of what
// the file holds, escaped so that nothing in it acts on a terminal; the show
// is built only when there is none. Shells and scene files are checked before
// anything is built, so a refused file costs no more than its text. Every
// number must lie in its range (firework/valueranges.h); text is UTF-8.
// `tracks` reads the music's length and beats when the show counts beats
// ([music] bpm or beats = "detect"); without it no beat can be placed. A
// track that cannot be read is no problem unless a shell counts its beats:
// its line is then in the show's music.beatproblem.
bool readshowfile(const char* path, show_t& show, std::vector<std::string>& problems,
                  const readprogress_t& progress = {}, const trackreader_t& tracks = {});

// The same for a show file's text already in memory; `path` names it in the
// problems and scene files are found beside it.
bool readshowtext(const std::string& text, const char* path, show_t& show, std::vector<std::string>& problems,
                  const readprogress_t& progress = {}, const trackreader_t& tracks = {});

// A problem with the show's music file as one line:
// "SHOWFILE:LINE:COLUMN: music file: FILE: reason".
std::string musicproblem(const music_t& music, const std::string& reason);

} // namespace vexlor
