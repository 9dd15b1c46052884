// Scene files: one value per line in a fixed depth-first order, each line
// ending in CR LF; numbers with 6 significant digits, geometry values in the
// typed text form, counts before the records they count.
#pragma once

#include "firework/firework.h"

#include <fstream>
#include <ostream>
#include <vector>

namespace vexlor {

// False when the file cannot be opened or written (a full disk, say); errno
// then tells why. A scene of finite numbers gives a file that readscene()
// accepts.
bool save(const char* path, const std::vector<firework_t>& scene);

// Closes a file written by a save and tells whether every byte reached it.
bool closesaved(std::ofstream& os);

// The pieces of save, for writers that keep shells and stars apart: a count
// line, and one firework record with the given fires in place of its own.
void savecount(std::ostream& os, std::size_t count);
void savefirework(std::ostream& os, const firework_t& firework, const std::vector<fire_t>& fires);

// Replaces the scene with the file's content. False when the file cannot be
// opened (scene untouched) or a line was missing (scene as far as it was read).
// Trusts the file: a geometry line the reader cannot finish hangs, and a
// huge count is allocated as it stands; untrusted files go through
// readscene() (firework/scenereader.h), which checks as it reads.
bool load(const char* path, std::vector<firework_t>& scene);

// Opens a scene file for reading in binary. A directory opens here but cannot
// be read, so it fails like an unreadable file.
bool openscene(const char* path, std::ifstream& is);

} // namespace vexlor
