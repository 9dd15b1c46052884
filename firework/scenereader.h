// The strict scene reader: checks a scene file and builds the scene in the
// same single pass. Every line must be exactly one well-formed value in its
// place; the first that is not is reported as "PATH:LINE: what is wrong".
#pragma once

#include "firework/firework.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vexlor {

// Called now and then while reading: bytes read so far and the file's size.
// Returning false cancels the read (the reader then returns false, message "PATH: cancelled").
using readprogress_t = std::function<bool(std::uint64_t done, std::uint64_t total)>;

// Reads, checks and builds the scene in one pass. On failure `scene` is left empty and
// `message` is one line "PATH:LINE: what is wrong" (or "PATH: what is wrong").
// No input makes it hang or allocate much beyond what the file's size allows.
bool readscene(const char* path, std::vector<firework_t>& scene, std::string& message,
               const readprogress_t& progress = {});

// The same for a scene file's text held in memory; `name` stands for the path
// in messages.
bool readscenetext(const std::string& name, std::string_view text, std::vector<firework_t>& scene,
                   std::string& message, const readprogress_t& progress = {});

} // namespace vexlor
