// A show file's [look] table: which look the show is drawn in and its
// settings, each value checked. The show file reader hands the table here.
#pragma once

#include "firework/look.h"
#include "firework/tomlconfig.h"

#include <functional>
#include <string>

namespace vexlor {

// One problem at a place in the file; the reader words the position.
using lookproblem_t = std::function<void(const toml::source_region& where, const std::string& what)>;

// Fills `look` from `node`, which should be the [look] table. Every problem
// found is handed to `problem` with the place of the value at fault, saying
// what is allowed; `look` is then not to be used.
void readlooktable(const toml::node& node, look_t& look, const lookproblem_t& problem);

} // namespace vexlor
