// Shell sizes after published figures. Where each figure comes from is said
// beside it; what is our own modelling choice is said as such.
#include "firework/calibre.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <iterator>

namespace vexlor {

namespace {

constexpr double k_inch = 25.4;
constexpr double k_g = 9.8;

// Ball shells: the burst heights and diameters of Japanese ball shells as
// the display trade publishes them: a No. 3 (90 mm) about 120 m up and 60 m
// across, a No. 5 (150 mm) 190 m and 150 to 170 m, a No. 10 (300 mm) 330 m
// and 300 to 320 m (the middle of each range is used), and a No. 20 (2 shaku,
// about 600 mm) about 450 m up and 450 m across (Japanese display figures).
struct ballrow_t {
    double calibre, height, diameter;
};
constexpr ballrow_t k_balls[] = {
    {90.0, 120.0, 60.0},
    {150.0, 190.0, 160.0},
    {300.0, 330.0, 310.0},
    {600.0, 450.0, 450.0},
};

// Cylinder shells: the common rule of about 30 m of burst height and 14 m of
// burst diameter per inch of calibre (75 mm: 89 m up, 41 m across).
constexpr double k_cylinderheight = 30.0; // metres an inch
constexpr double k_cylinderwidth = 14.0;

void ballfigures(double calibre, double& height, double& diameter)
{
    const ballrow_t* row = k_balls;
    if (calibre <= row->calibre) {
        // Smaller than the table: in proportion to the smallest row.
        height = row->height * calibre / row->calibre;
        diameter = row->diameter * calibre / row->calibre;
        return;
    }
    for (std::size_t i = 1; i < std::size(k_balls); ++i) {
        const ballrow_t& a = k_balls[i - 1];
        const ballrow_t& b = k_balls[i];
        if (calibre <= b.calibre || i + 1 == std::size(k_balls)) {
            const double w = (calibre - a.calibre) / (b.calibre - a.calibre);
            height = a.height + w * (b.height - a.height);
            diameter = a.diameter + w * (b.diameter - a.diameter);
            return;
        }
    }
}

} // namespace

shellsize_t shellsize(double calibre, style_t style)
{
    shellsize_t size;
    if (style == style_t::ball) {
        ballfigures(calibre, size.height, size.diameter);
    } else {
        size.height = k_cylinderheight * calibre / k_inch;
        size.diameter = k_cylinderwidth * calibre / k_inch;
    }
    // Our own modelling choice: a shell's climb against air takes about 70 %
    // of the time a fall from its burst height would take in a vacuum
    // (75 mm: 3.0 s, 150 mm ball: 4.4 s, 300 mm ball: 5.8 s), in line with
    // the 3 to 6 s time fuses of display shells.
    size.fuse = 0.7 * std::sqrt(2.0 * size.height / k_g);
    // Stars: a peony's stars line the inside of the shell in one layer (the
    // construction shell-making texts show). Star size grows with the shell,
    // from about 13 mm at 75 mm to 22 mm at 300 mm; a layer of such stars
    // inside a wall of an eighth of the calibre holds about 90 at 75 mm,
    // 230 at 150 mm and 480 at 300 mm. A cylinder packs its stars in rows
    // round the burst charge, about a third more for its calibre.
    size.starsize = 10.0 + 0.04 * calibre;
    const double inside = 0.85 * calibre / size.starsize;
    const double layer = 3.6 * inside * inside;
    size.stars = static_cast<std::size_t>(std::lround(style == style_t::ball ? layer : 1.3 * layer));
    // Colour stars burn from the outside in at about 3 mm a second, the rate
    // commonly given for colour compositions: 13 mm stars burn about 2.2 s,
    // 22 mm stars about 3.7 s.
    size.burn = size.starsize / (2.0 * 3.0);
    return size;
}

launch_t launchfor(double height, double fuse)
{
    // z(s) = (v - g s / 2) s D^s. With L = ln D, the top at s = T gives
    // v = g T (1 + T L / 2) / (1 + T L), and z(T) grows from g T^2 / 2 at
    // L = 0 without bound as L falls to -1 / T: halve L until it fits.
    const double T = fuse;
    const auto speed = [&](double L) { return k_g * T * (1.0 + 0.5 * T * L) / (1.0 + T * L); };
    const auto top = [&](double L) { return (speed(L) - 0.5 * k_g * T) * T * std::exp(L * T); };
    launch_t launch;
    if (!(T > 0.0) || height <= 0.5 * k_g * T * T) {
        launch.speed = std::sqrt(2.0 * k_g * std::max(0.0, height));
        return launch;
    }
    double low = -1.0 / T, high = 0.0; // top(low) is infinite, top(high) too low
    for (int i = 0; i < 200; ++i) {
        const double middle = 0.5 * (low + high);
        (top(middle) > height ? low : high) = middle;
    }
    launch.speed = speed(high);
    launch.drag = std::exp(high);
    return launch;
}

bool parsecalibre(const std::string& text, double& millimetres)
{
    const char* begin = text.c_str();
    // Digits and one point only: no sign, exponent, hexadecimal or locale.
    std::size_t i = 0, digits = 0, points = 0;
    while (i < text.size() && (std::isdigit(static_cast<unsigned char>(text[i])) || text[i] == '.')) {
        (text[i] == '.' ? points : digits) += 1;
        ++i;
    }
    if (digits == 0 || points > 1)
        return false;
    double value = 0.0, scale = 0.0;
    for (std::size_t k = 0; k < i; ++k) {
        if (begin[k] == '.') {
            scale = 1.0;
            continue;
        }
        value = value * 10.0 + (begin[k] - '0');
        if (scale > 0.0)
            scale *= 10.0;
    }
    if (scale > 0.0)
        value /= scale;
    std::string unit = text.substr(i);
    if (!unit.empty() && unit.front() == ' ')
        unit.erase(0, 1);
    if (unit == "mm" || unit.empty())
        millimetres = value;
    else if (unit == "in" || unit == "\"")
        millimetres = value * k_inch;
    else if (unit == "cm")
        millimetres = value * 10.0;
    else
        return false;
    return true;
}

} // namespace vexlor
