// Real shells by calibre: how high they break, how wide, how many stars they
// throw and how long those burn, after published figures, and the launch
// that puts a shell there under the shells' flight law.
#pragma once

#include <cstddef>
#include <string>

namespace vexlor {

// Ball shells (round, larger breaks) or cylinder shells.
enum class style_t { ball, cylinder };

// The calibres a show file may give, millimetres.
inline constexpr double mincalibre = 25.0;
inline constexpr double maxcalibre = 600.0;

struct shellsize_t {
    double height = 0.0;   // burst height above the launch point, metres
    double diameter = 0.0; // burst diameter, metres
    double fuse = 0.0;     // seconds from launch to burst
    std::size_t stars = 0; // a peony's stars
    double burn = 0.0;     // how long a peony's colour star burns, seconds
    double starsize = 0.0; // a star's diameter, millimetres
};

shellsize_t shellsize(double calibre, style_t style);

// The vertical launch speed and drag (velocity retained per second) that
// carry a shell `height` metres up in `fuse` seconds and break it at the top
// of its climb, under the shells' flight law (ballistic()).
struct launch_t {
    double speed = 0.0;
    double drag = 1.0;
};
launch_t launchfor(double height, double fuse);

// "75mm", "75 mm", "3in", "3 in", "3\"" or a plain number of millimetres, as
// millimetres; false for anything else.
bool parsecalibre(const std::string& text, double& millimetres);

} // namespace vexlor
