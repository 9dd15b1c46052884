// A show with each kind of shell held once: the distinct star lists (designs)
// and, per shell, a header (a firework_t without fires) naming its design.
// Memory grows with the number of designs, not with the number of shells;
// expanding gives back the plain scene, shell by shell in the same order.
#pragma once

#include "firework/firework.h"
#include "firework/look.h"

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <unordered_map>
#include <vector>

namespace vexlor {

// The music a show file names: played from show time `offset` (negative: from
// inside the track) at `gain`. No file: no music. `line` and `column` tell
// where the file was named, for problems found when it is opened.
struct music_t {
    std::string file; // resolved against the show file's folder
    double offset = 0.0;
    double gain = 1.0;
    std::size_t line = 0;
    std::size_t column = 0;
    std::string showfile; // the show file that names it
};

struct show_t {
    music_t music;
    look_t look; // as the show file asks; the plain look when it does not
    std::vector<std::vector<fire_t>> designs;
    std::vector<firework_t> shells;  // headers: `fires` stays empty
    std::vector<std::size_t> design; // per shell, an index into designs
    std::vector<std::string> scenefiles; // read for it, as the show file names them (resolved)
};

// Finds identical star lists while a show is built, by content (bit for bit,
// so that shared shells draw exactly what their own copies would).
class designindex_t {
public:
    // The index of a design equal to `fires`, added to the show when new.
    std::size_t add(show_t& show, std::vector<fire_t>&& fires);

private:
    std::unordered_multimap<std::uint64_t, std::size_t> m_byhash;
};

// Appends one shell: `shell`'s header with the design of its fires.
void addshell(show_t& show, designindex_t& index, firework_t&& shell);

// Shares the identical star lists of a scene; the scene is consumed shell by
// shell, so duplicates are freed as they are found.
show_t sharescene(std::vector<firework_t>&& scene);

// The plain scene: every header with a copy of its design.
std::vector<firework_t> expand(const show_t& show);

// One shell of the expansion.
firework_t expandshell(const show_t& show, std::size_t shell);

// Every launch site lifted to where the drawing camera looks: done once, by
// the show runner that every drawing program uses, before the first frame.
void liftlaunchsites(show_t& show);

// Bytes held by the show's vectors (capacities), for measurements.
std::size_t showbytes(const show_t& show);

// Writes the show as a scene file, shell by shell without expanding it in
// memory. False when the file cannot be opened or written; errno tells why.
bool save(const char* path, const show_t& show);

} // namespace vexlor
