// Reading a scene file safely in one call: the single place where show files
// and openshow() read scene files, so that a faster reader can replace it.
#pragma once

#include "firework/firework.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace vexlor {

// Told how far a read has come; returning false cancels it.
using readprogress_t = std::function<bool(std::uint64_t done, std::uint64_t total)>;

// Replaces `scene` with the file's shells. False with one line "PATH:LINE:
// what is wrong" (or "PATH: what is wrong") in `message` when the file is
// broken, unreadable or the read was cancelled; `scene` is then left empty.
bool readscenefile(const char* path, std::vector<firework_t>& scene, std::string& message,
                   const readprogress_t& progress = {});

} // namespace vexlor
