// The viewer's process-wide state: the sound player and the window geometry
// saved for the work-area toggle. Shared by the viewer's frame and key code.
#pragma once

#include "audio/wave.h"

#include <cstdint>

#define GLFW_INCLUDE_NONE
#include <GLFW/glfw3.h>

namespace vexlor::view {

extern sndkit::wave_t* wave; // made once, never deleted: it plays until the process ends

extern bool fullscreen;
extern int winwidth;
extern int winheight;
extern int winx;
extern int winy;

// Saves the window's size and position, then gives it the primary monitor's
// work-area size at (0, 0): the work area's own origin is ignored on purpose.
void toworkarea(GLFWwindow* window);

// Microseconds on the show's clock: milliseconds times 1000, in 32 bits.
std::uint32_t clockmicros();

} // namespace vexlor::view
