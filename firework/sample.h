// The built-in shows, made in code: each maker appends its shells to a scene.
// makerandom and makeminiexhibition set their shells by index from the start
// of the scene, so they are meant for an empty one.
#pragma once

#include "firework/firework.h"

#include <vector>

namespace vexlor {

// One large shell: white polar caps and rings round two inner shells of
// light red and white stars.
void makesingle(std::vector<firework_t>& scene);

// One shell with a sphere of stars of the given speed and colour.
void makesimple(std::vector<firework_t>& scene, float speed, const geokit::color3a_t& color);

// A volley of twenty white shells with random velocities (rand(), unseeded
// here), then three single shells.
void makerandom(std::vector<firework_t>& scene);

// Two yellow, two green and one single shell.
void makeminiexhibition(std::vector<firework_t>& scene);

// One shell whose stars twinkle for ten seconds.
void makeblink(std::vector<firework_t>& scene);

// One shell whose silver stars leave drooping trails of orange sparks.
void makesusuki(std::vector<firework_t>& scene);

} // namespace vexlor
