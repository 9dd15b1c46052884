// Usage text and version for people running the program from a terminal.
#include "app/usage.h"

#include <cstring>
#include <iostream>

namespace vexlor {
namespace {

constexpr char k_usage[] = R"(usage: vexlor [SHOW]
       vexlor --root | --window-id ID [--show SHOW] [--delay SECONDS] [--sound]

Plays the built-in susuki show, or SHOW: a show file, a scene file (told apart
by content) or a built-in show's name (single, simple, random, miniexhibition,
blink, susuki); see vexlor-scene --help to check them. The show loops for ever.
While a file loads only q, Escape and f act.

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
  --show SHOW      play this show or scene file (or built-in show) instead
  --delay SECONDS  empty sky between the end of the show and its next start
  --sound          play the burst sound, and the music a show file names
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
        std::cerr << "vexlor: the show's file name is empty (try --help)" << std::endl;
        return 2;
    }
    if (argc > 2) {
        std::cerr << "vexlor: one show at most, '" << argv[2]
                  << "' is one too many (try --help)" << std::endl;
        return 2;
    }
    return -1;
}

} // namespace vexlor
