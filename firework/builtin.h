// The built-in shows by name, as the programs offer them: single, simple
// (white, speed 6.25), random, miniexhibition, blink, susuki.
#pragma once

#include "firework/firework.h"

#include <string>
#include <vector>

namespace vexlor {

// The names in the order they are offered.
const std::vector<std::string>& builtinnames();

// "single, simple, random, miniexhibition, blink or susuki".
std::string builtinchoice();

// Appends the named show to `scene` (an empty one for the shows set by
// index); false for an unknown name.
bool makebuiltin(const std::string& name, std::vector<firework_t>& scene);

} // namespace vexlor
