// The viewer's command line: the one show argument, --look, --help and
// --version.
#pragma once

#include "firework/look.h"

#include <string>

namespace vexlor {

struct viewoptions_t {
    std::string show;   // empty: the built-in susuki show
    lookchoice_t look;  // over the show file's own look
};

// Answers --help and --version (and refuses unknown options and bad looks
// with one line). Returns the exit status when the program should end now,
// -1 when the show should start with `options`.
int commandline(int argc, char** argv, viewoptions_t& options);

// "vexlor: --look VALUE: what is wrong (try --help)" on standard error, or
// nothing when the look is good; the screensaver's options use it too.
bool readlookoption(const std::string& value, lookchoice_t& look);

} // namespace vexlor
