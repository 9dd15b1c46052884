// Usage text and version for people running the program from a terminal.
#include "app/usage.h"

#include <cstring>
#include <iostream>
#include <string>

namespace vexlor {
namespace {

constexpr char k_usage[] = R"(usage: vexlor [--look LOOK] [SHOW]
       vexlor --root | --window-id ID [--show SHOW] [--delay SECONDS] [--sound]
              [--look LOOK]

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
  --look LOOK   plain (sparks over a grey sky) or night (glowing light over
                a night sky, a skyline and smoke), then settings after commas:
                water, wind=X:Y:Z (m/s), sky=night|dusk, horizon=skyline|hills,
                smoke=false, glow=G (0 to 4); e.g. night,water,wind=3.
                Over the show file's [look]
  --help        show this text
  --version     show the version

screensaver (no keys, no mouse, silent unless --sound; SIGTERM ends it):
  --root           draw into the root window
  --window-id ID   draw into the X window ID (decimal or 0x hex); a daemon's
                   XSCREENSAVER_WINDOW is used the same way, also with --root
  --show SHOW      play this show or scene file (or built-in show) instead
  --delay SECONDS  empty sky between the end of the show and its next start
  --sound          play the burst sound, and the music a show file names
  --look LOOK      as for the viewer
)";

} // namespace

bool readlookoption(const std::string& value, lookchoice_t& look)
{
    std::string problem;
    if (parselook(value, look, problem)) return true;
    std::cerr << "vexlor: --look " << value << ": " << problem << " (try --help)" << std::endl;
    return false;
}

int commandline(int argc, char** argv, viewoptions_t& options)
{
    options = viewoptions_t{};
    if (argc < 2) return -1;
    const char* first = argv[1];
    if (std::strcmp(first, "--help") == 0 || std::strcmp(first, "-h") == 0) {
        std::cout << k_usage;
        return 0;
    }
    if (std::strcmp(first, "--version") == 0) {
        std::cout << "vexlor " << VEXLOR_VERSION << std::endl;
        return 0;
    }
    bool hasshow = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--look" || arg.rfind("--look=", 0) == 0) {
            if (arg == "--look" && i + 1 == argc) {
                std::cerr << "vexlor: --look needs a look (" << lookchoices << "; try --help)" << std::endl;
                return 2;
            }
            const std::string value = arg == "--look" ? argv[++i] : arg.substr(7);
            if (!readlookoption(value, options.look)) return 2;
            continue;
        }
        if (arg.size() > 1 && arg[0] == '-') {
            std::cerr << "vexlor: unknown option '" << arg << "' (try --help)" << std::endl;
            return 2;
        }
        if (arg.empty()) {
            std::cerr << "vexlor: the show's file name is empty (try --help)" << std::endl;
            return 2;
        }
        if (hasshow) {
            std::cerr << "vexlor: one show at most, '" << arg << "' is one too many (try --help)" << std::endl;
            return 2;
        }
        options.show = arg;
        hasshow = true;
    }
    return -1;
}

} // namespace vexlor
