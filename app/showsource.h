// The one place that opens the show a user names, for the viewer and the
// screensaver alike: a scene file, checked before it is loaded, a show file
// with its music, or the built-in show when none is named.
#pragma once

#include "firework/firework.h"
#include "firework/show.h"

#include <vector>

namespace vexlor {

// Replaces `scene` with the show in `path`, or with the built-in susuki show
// when `path` is null (an empty name is a file that cannot be read). A file
// that check() refuses gets its one line "PATH:LINE: what is wrong" on
// standard error; false then, and false when the load itself fails.
bool openshow(const char* path, std::vector<firework_t>& scene);

// The same; a show file also names its music (none otherwise).
bool openshow(const char* path, std::vector<firework_t>& scene, music_t& music);

} // namespace vexlor
