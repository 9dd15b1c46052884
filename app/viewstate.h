// The viewer's process-wide state: the renderers, the sound player, the camera
// and its matrices, the diagnostic polygon-offset pair and the window geometry
// saved for the work-area toggle. Shared by the viewer's frame and key code.
#pragma once

#include "audio/wave.h"
#include "geometry/geokit.h"
#include "render/draw.h"
#include "render/texture.h"

#define GLFW_INCLUDE_NONE
#include <GLFW/glfw3.h>

namespace vexlor::view {

extern draw_t draw;
extern texture_t texture;
extern sndkit::wave_t* wave; // made once, never deleted: it plays until the process ends

extern geokit::rotation3_t m_rot;
extern geokit::rotation3_t m_inv;
extern geokit::position3_t m_pos;
extern geokit::matrix3w_t mtx;
extern geokit::matrix3w_t inv;
extern geokit::matrix3w_t modelmtx;
extern geokit::matrix3w_t projmtx;

extern int polyoffsetfactor;
extern int polyoffsetunit;
extern int width;
extern int height;
extern bool fullscreen;
extern int winwidth;
extern int winheight;
extern int winx;
extern int winy;

// Camera 100 units in front of the launch site, 10 units above the lifted
// launch height, looking along +y (z is up).
void camerasetup();

// Saves the window's size and position, then gives it the primary monitor's
// work-area size at (0, 0): the work area's own origin is ignored on purpose.
void toworkarea(GLFWwindow* window);

// Microseconds on the show's clock: milliseconds times 1000, in 32 bits.
std::uint32_t clockmicros();

} // namespace vexlor::view
