// The makers of real shells: breaks sized by calibre (peony, chrysanthemum,
// dahlia, willow, palm, ring, crossette, strobe, crackle), shells that break
// in stages, and the ground effects (comet, mine, cake). Each gives shells
// with their designs and star effects, for the show file reader to place.
#pragma once

#include "firework/calibre.h"
#include "firework/effect.h"
#include "firework/firework.h"
#include "firework/show.h"

#include <string>
#include <string_view>
#include <vector>

namespace vexlor {

enum class effectkind_t {
    peony,
    chrysanthemum,
    dahlia,
    willow,
    palm,
    ring,
    crossette,
    strobe,
    crackle,
    multibreak,
    comet,
    mine,
    cake,
};

// The kind's name in show files; false for an unknown name.
const char* effectname(effectkind_t kind);
bool findeffect(std::string_view name, effectkind_t& kind);

// Whether the kind is one break in the air (what a multibreak's stages and a
// cake's shots may be; comet too for a cake).
bool isbreak(effectkind_t kind);

// The calibre a kind has when none is given, millimetres.
double defaultcalibre(effectkind_t kind);

// One break: its kind, size and stars.
struct breakspec_t {
    effectkind_t kind = effectkind_t::peony;
    double calibre = 75.0;
    style_t style = style_t::ball;
    std::vector<geokit::color3a_t> colors; // one, or a change through each; empty: the kind's own
    bool pistil = false;                   // an inner core of `pistilcolor`
    geokit::color3a_t pistilcolor{};
    double strobe = 0.0;   // flashes a second; 0: steady (a strobe shell: its own rate)
    bool crackle = false;  // stars end in a crackle
    std::size_t stars = 0; // 0: as many as the calibre holds
    double tilt = 0.0;     // a ring's lean back from facing the audience, degrees
    double split = 0.0;    // a crossette's split, seconds after the break; 0: the usual
};

// One [[shell]] entry of a real kind.
struct shellspec_t {
    breakspec_t shell;                // the break itself; its calibre and style for every kind
    double angle = 0.0;               // launch angle from vertical, degrees
    double azimuth = 0.0;             // the direction it leans to, degrees from +x towards +y
    std::vector<breakspec_t> breaks;  // a multibreak's stages
    double breakinterval = 0.0;       // seconds between them; 0: the usual for the calibre
    std::size_t shots = 10;           // a cake's shots ...
    double shotinterval = 0.25;       // ... this far apart ...
    double fan = 0.0;                 // ... across this many degrees
    effectkind_t shot = effectkind_t::peony;
    double cone = 20.0;               // a mine's half-angle, degrees
};

// A design as made: fire_t::effect counts from 1 in `effects`.
struct madedesign_t {
    std::vector<fire_t> fires;
    std::vector<stareffect_t> effects;
};

// One shell of an entry: its header (time from the entry's, launched from
// the entry's point), its design, and its note (the entry left unset).
struct madeshell_t {
    firework_t header;
    madedesign_t design;
    shellnote_t note;
};

std::vector<madeshell_t> makeshells(const shellspec_t& asked);

// The clip of a break of this calibre: the classic one below 100 mm, a
// deeper one from 100 mm and deeper still from 200 mm.
soundclip_t burstclip(double calibre);

} // namespace vexlor
