// Everything the viewer holds, in one struct that main owns and hands to the
// window: the burst sound and the show's sound, the show's loader and its
// runner, the frame that draws it, the window geometry kept for the
// work-area toggle, and the status the program ends with.
#pragma once

#include "app/showloader.h"
#include "app/showsound.h"
#include "app/usage.h"
#include "audio/wave.h"
#include "firework/showrunner.h"
#include "firework/smoke.h"
#include "render/frame.h"

#include <memory>
#include <vector>

#define GLFW_INCLUDE_NONE
#include <GLFW/glfw3.h>

namespace vexlor {

struct viewstate_t {
    viewoptions_t options;                // the show and the look asked for
    std::unique_ptr<sndkit::wave_t> wave; // the burst sound
    showsound_t sound;                    // what the runner sounds through
    showloader_t loader;
    bool loaded = false;
    int shownpercent = -1; // the percentage last put in the title while loading
    showrunner_t runner;
    frame_t frame; // drawn by the same code as headless renders
    smoke_t smoke; // the night look's, evaluated with each frame
    std::vector<primitive_t> puffs;

    // The work-area toggle: on at start, and the window's own size and
    // place, kept while it covers the work area.
    bool fullscreen = true;
    int winwidth = 0;
    int winheight = 0;
    int winx = 0;
    int winy = 0;

    int status = 0; // the exit status once the main loop has ended
};

// Saves the window's size and position into `state`, then gives it the
// primary monitor's work-area size at (0, 0): the work area's own origin is
// ignored on purpose.
void toworkarea(GLFWwindow* window, viewstate_t& state);

} // namespace vexlor
