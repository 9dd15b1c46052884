// A guard in front of load(): reads a scene file in load's line order and
// finds what would make load hang, exhaust memory or run out of lines.
#pragma once

#include <string>

namespace vexlor {

// True when load() can read the file safely. Otherwise `message` holds the
// first problem as one line "PATH:LINE: what is wrong" (or "PATH: what is
// wrong" when the file cannot be read at all), without a line end.
bool check(const char* path, std::string& message);

} // namespace vexlor
