// The screensaver's command line: --root, --window-id ID, the
// XSCREENSAVER_WINDOW a screensaver daemon sets, --show FILE, --delay SECONDS,
// --sound and --look LOOK. Anything else is left to the viewer's own command
// line.
#pragma once

#include "firework/look.h"

#include <string>

namespace vexlor {

struct saveroptions_t {
    bool on = false;           // screensaver mode: draw into a window we did not make
    bool root = false;         // the root window (unless the daemon names its own)
    unsigned long window = 0;  // the window to draw into, when not the root
    std::string show;          // scene file; empty: the built-in show
    double delay = 0.0;        // seconds of empty sky between two runs of the show
    bool sound = false;        // a screensaver is silent unless asked
    lookchoice_t look;         // over the show file's own look
};

// Fills `options` from the arguments and `envwindow` (XSCREENSAVER_WINDOW,
// null when unset). Returns -1 to go on (the viewer's command line when
// `options.on` stays false), or the exit status after one line on standard
// error: 2 for a malformed command line, 1 for a malformed XSCREENSAVER_WINDOW.
int saveroptions(int argc, char** argv, const char* envwindow, saveroptions_t& options);

// An X window id: decimal, or hexadecimal after "0x". False for anything else,
// and for ids beyond 32 bits.
bool parsewindowid(const std::string& text, unsigned long& id);

// Seconds, read in the C locale whatever the user's: a finite number >= 0.
bool parseseconds(const std::string& text, double& seconds);

} // namespace vexlor
