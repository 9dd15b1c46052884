// The built-in shows, made in code: each maker appends its shells to a scene.
// makerandom and makeminiexhibition set their shells by index from the start
// of the scene, so they are meant for an empty one.
#pragma once

#include "firework/firework.h"

#include <vector>

namespace vexlor {

// One large shell: white polar caps and rings round two inner shells of
// light red and white stars. The colour, white by default, is the caps' and
// rings'.
void makesingle(std::vector<firework_t>& scene);
void makesingle(std::vector<firework_t>& scene, const geokit::color3a_t& color);

// One shell with a sphere of stars of the given speed and colour.
void makesimple(std::vector<firework_t>& scene, float speed, const geokit::color3a_t& color);

// A volley of twenty white shells with random velocities (the process-wide
// basekit::classicrand(), unseeded here), then three single shells.
void makerandom(std::vector<firework_t>& scene);

// Two yellow, two green and one single shell.
void makeminiexhibition(std::vector<firework_t>& scene);

// One shell whose stars twinkle for ten seconds, from black to a warm white
// (or the colour given) and back.
void makeblink(std::vector<firework_t>& scene);
void makeblink(std::vector<firework_t>& scene, const geokit::color3a_t& color);

// One shell whose silver stars leave drooping trails of orange sparks (or
// sparks of the colour given, dying to black).
void makesusuki(std::vector<firework_t>& scene);
void makesusuki(std::vector<firework_t>& scene, const geokit::color3a_t& sparkcolor);

} // namespace vexlor
