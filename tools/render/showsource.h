// Where a render's show comes from: a show file, a scene file or the name of a
// built-in show, opened by firework/openshow.h as the viewer opens them. Here:
// the built-in names, for the usage text.
#pragma once

#include <string>
#include <vector>

namespace vexlor {

// The built-in shows, in the order people are told them.
const std::vector<std::string>& builtinshows();

} // namespace vexlor
