// The colour of a star stage at a time since it ignited: its films play one
// after another, each a linear fade; past the last film the stage is out.
#pragma once

#include "firework/firework.h"

#include <vector>

namespace vexlor {

// False when the films have run out (or there are none): no point then.
// A film is current from the first one whose duration is not less than the
// remaining time, so a boundary belongs to the earlier film.
bool filmcolor(const std::vector<film_t>& films, float s, geokit::color3a_t& color);

} // namespace vexlor
