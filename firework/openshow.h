// Opens what a user names: a show file, a scene file or a built-in show,
// told apart by content. The viewer and the tools share it.
#pragma once

#include "firework/scenefile.h"
#include "firework/show.h"
#include "firework/showbeats.h"

#include <string>

namespace vexlor {

// A readable file is read as a scene or show file by its content; any other
// name must be a built-in show (single, simple, random, miniexhibition, blink,
// susuki). False with the first problem as one line in `message`, and
// `show` untouched. `tracks` reads the music's beats of show files that count
// them (firework/showfile.h).
bool openshow(const std::string& arg, show_t& show, std::string& message, const readprogress_t& progress = {},
              const trackreader_t& tracks = {});

} // namespace vexlor
