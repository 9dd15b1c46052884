// Reading a scene file safely in one call: the single place where show files
// and openshow() read scene files (regular files only, strictly).
#pragma once

#include "firework/firework.h"
#include "firework/scenereader.h"

#include <string>
#include <vector>

namespace vexlor {

// Replaces `scene` with the file's shells. False with one line "PATH:LINE:
// what is wrong" (or "PATH: what is wrong") in `message` when the file is
// broken, unreadable or the read was cancelled; `scene` is then left empty.
bool readscenefile(const char* path, std::vector<firework_t>& scene, std::string& message,
                   const readprogress_t& progress = {});

} // namespace vexlor
