// vexlor-render's command line (CLI11): SHOW, -o OUT and the options, each
// value checked before anything is read or drawn.
#pragma once

#include "tools/render/renderjob.h"

namespace vexlor {

// Fills `options`. Returns -1 to go on and render, otherwise the exit status:
// 0 after --help or --version, 2 for a usage error (one line on standard error).
int parseoptions(int argc, char** argv, renderoptions_t& options);

} // namespace vexlor
