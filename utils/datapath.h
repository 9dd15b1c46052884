// Finds a data file of the programs (the burst sound): the working directory
// first, then beside the executable, then the data directory of the installed
// tree the executable is in, then the configured data directory. Shared by
// every program, so it lives with the utilities.
#pragma once

#include <string>

namespace basekit {

// The first of the four places where `name` exists; `name` itself (relative
// to the working directory) when it exists nowhere, so the caller's load
// fails there as it would have.
std::string finddata(const std::string& name, const char* argv0);

} // namespace basekit
