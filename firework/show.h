// A show with each kind of shell held once: the distinct star lists (designs)
// and, per shell, a header (a firework_t without fires) naming its design.
// Memory grows with the number of designs, not with the number of shells;
// expanding gives back the plain scene, shell by shell in the same order.
#pragma once

#include "firework/effect.h"
#include "firework/firework.h"
#include "firework/look.h"
#include "firework/soundcue.h"
#include "firework/viewpoint.h"

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <unordered_map>
#include <vector>

namespace vexlor {

// The music a show file names: played from show time `offset` (negative: from
// inside the track) at `gain`. No file: no music. `line` and `column` tell
// where the file was named, for problems found when it is opened. Its beats
// come from a tempo (`bpm`, beat 1 at `firstbeat` seconds into the track) or
// are detected in the track (`detect`, then `beats`); firework/showbeats.h
// reads them.
struct music_t {
    std::string file; // resolved against the show file's folder
    double offset = 0.0;
    double gain = 1.0;
    std::size_t line = 0;
    std::size_t column = 0;
    std::string showfile; // the show file that names it

    double bpm = 0.0;       // beats a minute, given or detected; 0: no beats
    double firstbeat = 0.0; // track seconds of beat 1, with a given bpm
    bool detect = false;    // beats = "detect"
    std::vector<double> beats; // detected: track seconds of every beat, in order
    double seconds = 0.0;   // the track's length once read; 0: not read
    std::string beatproblem; // why the beats are unknown, as one line; empty: known or not asked for
};

// Where a shell was written, for those who point at it: the file, the line
// of its [[shell]] table (0 for a scene file or a built-in show) and its
// kind. Repetitions share one: shell `first` is the first of `count`
// repetitions of `each` shells.
struct shellorigin_t {
    std::string file;
    std::size_t line = 0;
    std::string kind;
    std::size_t first = 0;
    std::size_t each = 1;
    std::size_t count = 1;
};

// The [[shell]] table of a show file that shells were made from, as
// vexlor-scene info and the refusals of expand name it.
struct entrynote_t {
    std::string kind;
    double calibre = 0.0; // millimetres; 0 for the kinds that have none
    std::string style;    // "ball" or "cylinder", or empty
    std::size_t line = 0;
    std::size_t column = 0;
};

// What part of its entry a shell is: the whole of it, a later break of a
// multibreak, the rising tail that leads a palm up, or one shot of a cake.
enum class part_t : std::uint8_t { whole, laterbreak, risingtail, shot };

inline constexpr std::uint32_t noentry = 0xffffffffu;

// Per shell: its entry, and which clips its launch and burst sound (the
// classic burst sound for both unless told otherwise); `crackle`, when not
// negative, is how long after the burst its stars' crackle sounds.
struct shellnote_t {
    std::uint32_t entry = noentry;
    part_t part = part_t::whole;
    std::uint16_t index = 0; // the break or shot, from 0
    soundclip_t launch = soundclip_t::burst;
    soundclip_t burst = soundclip_t::burst;
    float crackle = -1.0f;
};

struct show_t {
    music_t music;
    look_t look; // as the show file asks; the plain look when it does not
    std::vector<std::vector<fire_t>> designs;
    std::vector<firework_t> shells;  // headers: `fires` stays empty
    std::vector<std::size_t> design; // per shell, an index into designs
    std::vector<shellorigin_t> origins;
    std::vector<std::uint32_t> origin; // per shell, an index into origins (may be empty)
    std::vector<std::string> files;    // read for it: the show or scene file, included scene files
    effecttable_t effects;           // what fire_t::effect names
    std::vector<shellnote_t> notes;  // per shell; empty: every shell a classic one
    std::vector<entrynote_t> entries;
    std::string sourcefile;          // the show file the entries are in
    viewpoint_t camera;
    std::vector<std::string> scenefiles; // read for it, as the show file names them (resolved)
};

// The origin of shell `shell`, or null when the show keeps none.
const shellorigin_t* originof(const show_t& show, std::size_t shell);

// The note of shell `i`: the classic one when the show keeps none.
inline shellnote_t noteof(const show_t& show, std::size_t i)
{
    return show.notes.empty() ? shellnote_t{} : show.notes[i];
}

// The height launch sites are lifted to, where the described camera looks.
inline constexpr float launchlift = 1000.0f;

// Finds identical star lists while a show is built, by content (bit for bit,
// so that shared shells draw exactly what their own copies would).
class designindex_t {
public:
    // The index of a design equal to `fires`, added to the show when new.
    std::size_t add(show_t& show, std::vector<fire_t>&& fires);

private:
    std::unordered_multimap<std::uint64_t, std::size_t> m_byhash;
};

// Finds identical star effects as designs are built: the number that names
// one in show.effects (1 for the first), added when new.
class effectindex_t {
public:
    std::uint32_t add(show_t& show, stareffect_t&& effect);

private:
    std::unordered_multimap<std::uint64_t, std::uint32_t> m_byhash;
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

// Every launch site (and a placed camera) lifted to where the drawing camera
// looks: done once, by the show runner that every drawing program uses,
// before the first frame.
void liftlaunchsites(show_t& show);

// Whether shell `shell` can be written to a scene file as it is: false, with
// why in `reason`, for a shell whose stars have effects a scene file cannot
// hold.
bool expandable(const show_t& show, std::size_t shell, std::string& reason);

// Bytes held by the show's vectors (capacities), for measurements.
std::size_t showbytes(const show_t& show);

// Writes the show as a scene file, shell by shell without expanding it in
// memory. False when the file cannot be opened or written; errno tells why.
// Effects a scene file cannot hold are left out: check expandable() first.
bool save(const char* path, const show_t& show);

} // namespace vexlor
