// Checking a scene file without keeping its scene: the strict reader's
// verdict, for tools that only report it.
#pragma once

#include <string>

namespace vexlor {

// True when readscene() accepts the file. Otherwise `message` holds the
// first problem as one line "PATH:LINE: what is wrong" (or "PATH: what is
// wrong" when the file cannot be read at all), without a line end.
bool check(const char* path, std::string& message);

} // namespace vexlor
