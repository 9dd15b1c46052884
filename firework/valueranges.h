// The ranges that the values a user gives must lie in, in the model's units:
// seconds, metres and metres a second. Show files and the renderer's options
// are checked against them, so a value that passes is one the model's float
// holds with room to spare, and the time it spans can be played.
#pragma once

namespace vexlor {

// A show's times: four hours, longer than any display runs. A float there
// still steps in under a millisecond (2^-10 s between 2^13 and 2^14 s).
inline constexpr double maxshowtime = 14400.0;

// Launch points: 10 km from the origin either way, far past the edge of the
// picture. A float there still steps in a millimetre (2^-10 m).
inline constexpr double maxdistance = 10000.0;

// Launch and star speeds: 1000 m/s, several times what a mortar gives the
// largest shells.
inline constexpr double maxspeed = 1000.0;

// A shell's fuse: a minute; real time fuses burn for a few seconds.
inline constexpr double maxfuse = 60.0;

} // namespace vexlor
