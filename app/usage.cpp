// Usage text and version for people running the program from a terminal.
#include "app/usage.h"

#include <cstring>
#include <iostream>

namespace vexlor {
namespace {

constexpr char k_usage[] = R"(usage: vexlor [SCENE-FILE]
       vexlor --root | --window-id ID [--show FILE] [--delay SECONDS] [--sound]

Plays the built-in show, or the scene file given (see vexlor-scene --help to
make and check scene files). The show loops for ever.

keys:
  Enter         restart the show
  space         pause / resume
  Left, Right   one second back / forward (also while paused)
  Shift (held)  leave trails while held
  f             toggle between the work-area size and the window's own size
  * /           polygon-offset factor up / down (printed)
  + -           polygon-offset units up / down (printed)
  q, Escape     quit

options:
  --help        show this text
  --version     show the version

screensaver (no keys, no mouse, silent unless --sound; SIGTERM ends it):
  --root           draw into the root window
  --window-id ID   draw into the X window ID (decimal or 0x hex); a daemon's
                   XSCREENSAVER_WINDOW is used the same way, also with --root
  --show FILE      play this scene file instead of the built-in show
  --delay SECONDS  empty sky between the end of the show and its next start
  --sound          play the burst sound
)";

} // namespace

int commandline(int argc, char** argv)
{
    if (argc < 2) return -1;
    const char* arg = argv[1];
    if (std::strcmp(arg, "--help") == 0 || std::strcmp(arg, "-h") == 0) {
        std::cout << k_usage;
        return 0;
    }
    if (std::strcmp(arg, "--version") == 0) {
        std::cout << "vexlor " << VEXLOR_VERSION << std::endl;
        return 0;
    }
    if (arg[0] == '-' && arg[1] != '\0') {
        std::cerr << "vexlor: unknown option '" << arg << "' (try --help)" << std::endl;
        return 2;
    }
    if (arg[0] == '\0') {
        std::cerr << "vexlor: the scene file name is empty (try --help)" << std::endl;
        return 2;
    }
    if (argc > 2) {
        std::cerr << "vexlor: one scene file at most, '" << argv[2]
                  << "' is one too many (try --help)" << std::endl;
        return 2;
    }
    return -1;
}

} // namespace vexlor
