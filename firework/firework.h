// The show's data model: a shell (firework_t) bursts into stars (fire_t), a
// star burns through stages (powder_t), a stage fades through colour phases
// (film_t). Plain aggregates; every vector owns its elements.
#pragma once

#include "geometry/geokit.h"

#include <cstdint>

#include <vector>

namespace vexlor {

// One colour phase: a linear fade from `from` to `to` over `duration` seconds.
struct film_t {
    float duration = 0.0f;
    geokit::color3a_t from{};
    geokit::color3a_t to{};
};

// One stage of a star. A delay of 0 is a carrier stage that starts at the
// burst; a positive delay ignites that long after the previous delayed stage.
struct powder_t {
    float delay = 0.0f;
    float size = 0.0f;
    float drag = 0.0f; // velocity retained per second
    std::vector<film_t> films; // empty on a carrier: keep drawing the shell
};

// One star: its burst velocity is speed times direction (not normalised).
// `effect` names the star's effects in its show's table (firework/effect.h),
// 1 for the first; 0, as every scene file's star, is a plain one.
struct fire_t {
    geokit::direction3_t direction{};
    float speed = 0.0f;
    std::vector<powder_t> powders;
    std::uint32_t effect = 0;
};

// One shell, launched at `time` and bursting `fuse` seconds later.
struct firework_t {
    bool launched = false; // launch sound played in this run
    bool exploded = false; // burst sound played in this run
    float time = 0.0f;
    geokit::position3_t position{};
    geokit::direction3_t velocity{};
    float fuse = 0.0f;
    float size = 0.0f;
    float drag = 0.0f;
    geokit::color3a_t color{};
    std::vector<fire_t> fires;
};

} // namespace vexlor
