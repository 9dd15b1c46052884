// Star effects beyond the plain stages of a scene file: flight under air
// drag, stages that split off from where their star is, tails drawn along
// the star's own path, strobing and crackle. All of it is a function of the
// time since the stage started, so any instant is drawn directly.
#pragma once

#include "firework/firework.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vexlor {

// How a stage flies from its start point and velocity.
enum class motion_t : std::uint8_t {
    classic, // the shells' law (ballistic()): drag scales the fall as well
    air,     // air drag: the velocity relaxes towards a steady fall
};

// What one stage of a star does besides its films. The default is a plain
// stage flying the classic way.
struct stageeffect_t {
    motion_t motion = motion_t::classic;
    // A split stage starts `delay` seconds after the burst (counted from the
    // burst, not from the stage before), where the star's last carrier is
    // then, with that carrier's velocity plus `kick`. It leaves the delays of
    // the other stages alone.
    bool split = false;
    geokit::direction3_t kick{};
    std::uint16_t tail = 0;          // points drawn behind the star along its path
    float tailgap = 0.0f;            // seconds of flight between them
    float tailsize = 1.0f;           // the nearest tail point's size, as a share of the star's
    geokit::color3a_t tailcolor{};   // alpha 0: the star's own colour
    float strobe = 0.0f;             // flashes a second; 0 burns steadily
    float duty = 0.5f;               // the lit share of each flash
    std::uint16_t crackle = 0;       // tiny flashes in place of the star
    float flash = 0.0f;              // how long each of them lasts, seconds
    float spread = 0.0f;             // the radius of their cloud, metres
};

bool sameeffect(const stageeffect_t& a, const stageeffect_t& b);

// A star's effects, one per stage in the order of its powders (a stage past
// the end is plain). fire_t::effect names one in the show's table.
struct stareffect_t {
    std::vector<stageeffect_t> stages;
};

bool sameeffect(const stareffect_t& a, const stareffect_t& b);

// The star effects a show's designs name, and the entry a fire_t's `effect`
// refers to (null for 0, a plain star, or one past the table).
using effecttable_t = std::vector<stareffect_t>;
inline const stareffect_t* effectof(const effecttable_t* table, std::uint32_t effect)
{
    return table != nullptr && effect != 0 && effect <= table->size() ? &(*table)[effect - 1] : nullptr;
}

// Where a stage that started at `from` with velocity `v` is `s` seconds
// later, and how fast it moves then, under its drag (velocity retained per
// second) and gravity.
geokit::position3_t flightpoint(motion_t motion, const geokit::position3_t& from, const geokit::direction3_t& v,
                                float s, float drag);
geokit::direction3_t flightvelocity(motion_t motion, const geokit::direction3_t& v, float s, float drag);

// A number fixed by a star and an index, evenly spread in [0, 1): what makes
// strobes and crackles differ from star to star, the same at every instant.
float starnoise(std::uint32_t seed, std::uint32_t index);

// The seed of a star: its direction's bits, so that stars differ.
std::uint32_t starseed(const fire_t& fire, std::size_t stage);

// Whether a strobing stage is lit `s` seconds after it started.
bool strobelit(const stageeffect_t& effect, std::uint32_t seed, float s);

// Crackle flash `j` of a stage whose films last `films` seconds: when it
// starts (flashes are spread one to each equal slot of the films, so few
// overlap) and where it stands from the stage's own point.
float crackletime(const stageeffect_t& effect, std::uint32_t seed, std::uint32_t j, float films);
geokit::direction3_t crackleoffset(const stageeffect_t& effect, std::uint32_t seed, std::uint32_t j);

// The most crackle flashes lit at once, for sizing frames.
std::size_t cracklebound(const stageeffect_t& effect, float films);

} // namespace vexlor
