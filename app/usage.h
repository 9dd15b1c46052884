// The command line beyond the one scene-file argument: --help and --version.
#pragma once

namespace vexlor {

// Answers --help and --version (and refuses unknown options). Returns the
// exit status when the program should end now, -1 when the show should start.
int commandline(int argc, char** argv);

} // namespace vexlor
