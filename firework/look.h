// The look a show is drawn in: the plain look (flat grey sky, sparks blended
// by their brightest channel), or the night look (sparks as light that adds up
// and glows, a night sky over a skyline or hills, optionally a lake, smoke
// drifting on the wind). A plain value, filled from a show file's [look] and
// from --look on the command line, which wins.
#pragma once

#include "geometry/geokit.h"

#include <string>
#include <string_view>

namespace vexlor {

enum class lookname_t { plain, night };
enum class sky_t { night, dusk };
enum class horizon_t { skyline, hills };

struct look_t {
    lookname_t name = lookname_t::plain;
    bool water = false;                  // a lake below the horizon
    geokit::direction3_t wind{0, 0, 0};  // m/s: x to the right, y away from the viewer, z up
    sky_t sky = sky_t::night;
    horizon_t horizon = horizon_t::skyline;
    bool smoke = true;
    float glow = 1.0f; // how much light the bloom spreads, 1 as tuned

    bool night() const { return name == lookname_t::night; }
};

// No display is fired in a gale: 20 m/s is the top of Beaufort force 8.
inline constexpr double maxwind = 20.0;
inline constexpr double maxglow = 4.0;

// The settings a choice names, as bits of lookchoice_t::fields.
enum lookfield_t : unsigned {
    look_name = 1u << 0,
    look_water = 1u << 1,
    look_wind = 1u << 2,
    look_sky = 1u << 3,
    look_horizon = 1u << 4,
    look_smoke = 1u << 5,
    look_glow = 1u << 6,
};

// A look chosen on the command line: only the settings it names count.
struct lookchoice_t {
    look_t look;
    unsigned fields = 0;
};

// The words of the look's names and settings, for messages and help texts.
inline constexpr const char* lookchoices = "plain or night";
inline constexpr const char* skychoices = "night or dusk";
inline constexpr const char* horizonchoices = "skyline or hills";
inline constexpr const char* looksettings = "water, wind, sky, horizon, smoke, glow";

bool findlookname(std::string_view word, lookname_t& name);
bool findsky(std::string_view word, sky_t& sky);
bool findhorizon(std::string_view word, horizon_t& horizon);
const char* lookname(lookname_t name);
const char* skyname(sky_t sky);
const char* horizonname(horizon_t horizon);

// Empty when the wind is allowed, else what is wrong with it.
std::string windproblem(double x, double y, double z);
std::string glowproblem(double glow);

// Reads "NAME[,SETTING[=VALUE]]...", for example "night,water,wind=4:0:0":
// water and smoke take true or false (alone: true), wind takes X or X:Y:Z in
// m/s, sky and horizon a word, glow a number. Numbers are read the C way
// whatever the locale. False with one line in `problem` naming the value and
// what is allowed.
bool parselook(std::string_view text, lookchoice_t& choice, std::string& problem);

// The show's own look with the settings the command line names put over it.
look_t chooselook(const look_t& show, const lookchoice_t& choice);

// "night, water, wind 4:0:0 m/s, sky dusk, ..." for summaries.
std::string describelook(const look_t& look);

} // namespace vexlor
