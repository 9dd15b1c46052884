// The colours a show file may name, after the chemistry that makes them in a
// real star, each as a colour that reads right on screen.
#pragma once

#include "geometry/geokit.h"

#include <string>
#include <string_view>

namespace vexlor {

// False for a name not in the table.
bool namedcolor(std::string_view name, geokit::color3a_t& color);

// "red, orange, yellow, green, blue, purple, gold, silver or white".
std::string colorchoice();

} // namespace vexlor
