// Where a render's show comes from: a show file, a scene file or the name of a
// built-in show, opened as the viewer opens them. The one place that turns the
// SHOW argument into a scene.
#pragma once

#include "firework/firework.h"
#include "firework/show.h"

#include <string>
#include <vector>

namespace vexlor {

// The built-in shows, in the order people are told them.
const std::vector<std::string>& builtinshows();

// Fills `scene` from `arg` as the viewer would load it (before the viewer's
// lift of every launch site). False with one line in `message`
// ("FILE:LINE: what is wrong") when it cannot.
bool openshow(const std::string& arg, std::vector<firework_t>& scene, std::string& message);
// The same, with the music a show file names (none otherwise).
bool openshow(const std::string& arg, std::vector<firework_t>& scene, music_t& music, std::string& message);

} // namespace vexlor
