// The classic 15-bit rand(): a linear congruential generator whose values run
// from 0 to 32767, the range the built-in random show divides by. One state
// for the whole process, starting from seed 1 like the C library's default.
#pragma once

namespace basekit {

inline constexpr int classicrandmax = 32767;

// The next value, 0 to classicrandmax.
int classicrand();

// Restarts the sequence; seed 1 gives the sequence a fresh process sees.
void classicsrand(unsigned seed);

} // namespace basekit
