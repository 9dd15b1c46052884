// Screensaver mode: the show drawn into the root window or a window a
// screensaver daemon hands us, looping for ever, silent unless asked, with
// no keys or mouse. It ends on SIGTERM or SIGINT, or when the window goes.
#pragma once

#include "app/saveroptions.h"

namespace vexlor {

// Runs until the window goes (returns 0) or a signal ends it (the process
// then dies of that signal, as a daemon expects). Returns 1 after one line
// on standard error when the show, the sound, the display or the window
// cannot be had.
int runsaver(const saveroptions_t& options, const char* argv0);

} // namespace vexlor
