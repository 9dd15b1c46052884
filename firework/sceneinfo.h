// Facts about a show for people designing shows: how much it holds. Its
// length and busiest frame come from showtiming_t.
#pragma once

#include "firework/firework.h"
#include "firework/show.h"

#include <cstddef>
#include <vector>

namespace vexlor {

struct scenecounts_t {
    std::size_t fireworks = 0;
    std::size_t fires = 0;
    std::size_t powders = 0;
    std::size_t films = 0;
};

scenecounts_t countscene(const std::vector<firework_t>& scene);

// The counts of the show's expansion.
scenecounts_t countshow(const show_t& show);

} // namespace vexlor
