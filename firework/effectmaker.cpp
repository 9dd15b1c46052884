// Real shells built from their calibre's figures (firework/calibre.h). The
// breaks' stars fly under air drag, each kind with its own count, speed, burn
// and effects; speeds are chosen so that the measured break is as wide as the
// figures say. Everything is computed in double and stored in float, the
// same for the same entry every time.
#include "firework/effectmaker.h"

#include "firework/namedcolor.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace vexlor {

namespace {

constexpr double k_pi = 3.14159265358979323846;
constexpr double k_degree = k_pi / 180.0;
constexpr double k_g = 9.8;
constexpr double k_goldenangle = 2.39996322972865332; // pi (3 - sqrt 5)

struct kindname_t {
    effectkind_t kind;
    const char* name;
};

const kindname_t k_kinds[] = {
    {effectkind_t::peony, "peony"},   {effectkind_t::chrysanthemum, "chrysanthemum"},
    {effectkind_t::dahlia, "dahlia"}, {effectkind_t::willow, "willow"},
    {effectkind_t::palm, "palm"},     {effectkind_t::ring, "ring"},
    {effectkind_t::crossette, "crossette"}, {effectkind_t::strobe, "strobe"},
    {effectkind_t::crackle, "crackle"}, {effectkind_t::multibreak, "multibreak"},
    {effectkind_t::comet, "comet"},   {effectkind_t::mine, "mine"},
    {effectkind_t::cake, "cake"},
};

geokit::color3a_t named(const char* name)
{
    geokit::color3a_t color{1.0f, 1.0f, 1.0f, 1.0f};
    namedcolor(name, color);
    return color;
}

// Each kind's own colour when none is given.
geokit::color3a_t owncolor(effectkind_t kind)
{
    switch (kind) {
    case effectkind_t::peony: return named("red");
    case effectkind_t::chrysanthemum: return named("green");
    case effectkind_t::dahlia: return named("orange");
    case effectkind_t::ring: return named("blue");
    case effectkind_t::crossette: return named("silver");
    case effectkind_t::strobe: return named("white");
    case effectkind_t::mine: return named("silver");
    default: return named("gold");
    }
}

geokit::color3a_t scaled(const geokit::color3a_t& c, float by)
{
    return {c.r * by, c.g * by, c.b * by, c.a};
}

geokit::direction3_t vec(double x, double y, double z)
{
    return {static_cast<float>(x), static_cast<float>(y), static_cast<float>(z)};
}

// A unit vector tilted `angle` degrees from +z towards `azimuth`.
void tilted(double angle, double azimuth, double& x, double& y, double& z)
{
    const double a = angle * k_degree, b = azimuth * k_degree;
    x = std::sin(a) * std::cos(b);
    y = std::sin(a) * std::sin(b);
    z = std::cos(a);
}

// Direction i of n spread evenly over the sphere (a Fibonacci lattice), or
// over the part of it above height `lowest`.
geokit::direction3_t spread(std::size_t i, std::size_t n, double lowest = -1.0)
{
    const double z = 1.0 - (1.0 - lowest) * (static_cast<double>(i) + 0.5) / static_cast<double>(n);
    const double across = std::sqrt(std::max(0.0, 1.0 - z * z));
    const double turn = k_goldenangle * static_cast<double>(i);
    return vec(across * std::cos(turn), across * std::sin(turn), z);
}

// How far a point thrown at 1 m/s goes under air drag rate k in s seconds.
double reach(double k, double s)
{
    return -std::expm1(-k * s) / k;
}

// The films of a star burning `burn` seconds: one colour, or a change from
// each to the next (a short fade between), dimming over its last part.
std::vector<film_t> starfilms(const std::vector<geokit::color3a_t>& colors, double burn)
{
    std::vector<film_t> films;
    const double share = burn / static_cast<double>(colors.size());
    const double fade = std::min(0.08, 0.25 * share);
    for (std::size_t i = 0; i < colors.size(); ++i) {
        const geokit::color3a_t& c = colors[i];
        if (i + 1 < colors.size()) {
            films.push_back({static_cast<float>(share - fade), c, c});
            films.push_back({static_cast<float>(fade), c, colors[i + 1]});
        } else {
            films.push_back({static_cast<float>(0.8 * share), c, c});
            films.push_back({static_cast<float>(0.2 * share), c, scaled(c, 0.35f)});
        }
    }
    return films;
}

double filmsum(const std::vector<film_t>& films)
{
    double sum = 0.0;
    for (const film_t& film : films)
        sum += film.duration;
    return sum;
}

// A star point's size for a shell of this calibre: about 3 to 4 pixels
// seen from the distance that frames such a break.
double starpoint(double calibre)
{
    return 6.0 * calibre;
}

// Builds one design: fires and their effects.
class designer_t {
public:
    madedesign_t design;

    // A star with one stage (and optionally a crackle after it, or split
    // stages), flying under air drag.
    fire_t& star(const geokit::direction3_t& direction, double speed, float drag, float size,
                 std::vector<film_t> films, const stageeffect_t& effect)
    {
        fire_t fire;
        fire.direction = direction;
        fire.speed = static_cast<float>(speed);
        fire.powders.push_back({0.0f, size, drag, std::move(films)});
        design.fires.push_back(std::move(fire));
        m_stages.push_back({effect});
        return design.fires.back();
    }

    // A stage of the last star that splits off at `at` seconds.
    void split(double at, float size, float drag, std::vector<film_t> films, const stageeffect_t& effect)
    {
        design.fires.back().powders.push_back({static_cast<float>(at), size, drag, std::move(films)});
        m_stages.back().push_back(effect);
    }

    // Every star's effects into the table, in order.
    madedesign_t finish()
    {
        for (std::size_t i = 0; i < design.fires.size(); ++i) {
            design.effects.push_back({m_stages[i]});
            design.fires[i].effect = static_cast<std::uint32_t>(design.effects.size());
        }
        return std::move(design);
    }

private:
    std::vector<std::vector<stageeffect_t>> m_stages;
};

float dragof(double k)
{
    return static_cast<float>(std::exp(-k));
}

stageeffect_t airstage()
{
    stageeffect_t effect;
    effect.motion = motion_t::air;
    return effect;
}

// A crackle that follows a star out: tiny flashes over `window` seconds in a
// cloud a little wider as the shell is larger.
void addcrackle(designer_t& made, double at, double calibre, double radius, float drag)
{
    stageeffect_t crackle = airstage();
    crackle.split = true;
    crackle.crackle = static_cast<std::uint16_t>(std::clamp(8.0 + calibre / 12.0, 8.0, 40.0));
    crackle.flash = 0.05f;
    crackle.spread = static_cast<float>(std::max(1.0, 0.12 * radius));
    const geokit::color3a_t spark = named("white");
    const double window = 0.7;
    made.split(at, static_cast<float>(0.35 * starpoint(calibre)), drag,
               {{static_cast<float>(window), spark, named("gold")}}, crackle);
}

struct breakout_t {
    madedesign_t design;
    float crackle = -1.0f; // when its crackle sounds, after the break
};

// One break in the air, its stars thrown from the burst point.
breakout_t makebreak(const breakspec_t& asked)
{
    const shellsize_t size = shellsize(asked.calibre, asked.style);
    const double radius = 0.5 * size.diameter;
    const std::vector<geokit::color3a_t> colors =
        asked.colors.empty() ? std::vector<geokit::color3a_t>{owncolor(asked.kind)} : asked.colors;
    const double point = starpoint(asked.calibre);
    designer_t made;
    breakout_t out;

    // Per kind: star count, burn, drag rate, width, point size, effects.
    double count = static_cast<double>(size.stars);
    double burn = size.burn;
    double width = 1.0; // the break's width as a share of the figures'
    double pointscale = 1.0;
    stageeffect_t effect = airstage();
    switch (asked.kind) {
    case effectkind_t::chrysanthemum:
        // Stars with a tail of charcoal sparks.
        effect.tail = 10;
        effect.tailgap = 0.05f;
        effect.tailsize = 0.7f;
        effect.tailcolor = named("gold");
        break;
    case effectkind_t::dahlia:
        // Stars the size of a shell of twice the calibre: a quarter as many
        // in the same layer, burning twice as long, flying further (the
        // definition the display trade gives: a 3" peony with 6" stars).
        count /= 4.0;
        burn *= 2.0;
        width = 1.2;
        pointscale = 1.6;
        break;
    case effectkind_t::willow:
        // Long-burning charcoal stars: they slow at once, droop and hang,
        // their tails dense and long.
        burn *= 3.2;
        width = 0.9;
        effect.tail = 24;
        effect.tailgap = 0.12f;
        effect.tailsize = 0.8f;
        break;
    case effectkind_t::palm:
        // A few heavy comet stars with thick tails.
        count = 6.0 + asked.calibre / 40.0;
        burn *= 1.6;
        pointscale = 1.8;
        effect.tail = 16;
        effect.tailgap = 0.06f;
        effect.tailsize = 0.9f;
        break;
    case effectkind_t::ring:
        count = 16.0 + asked.calibre / 3.0;
        break;
    case effectkind_t::crossette:
        count = std::max(8.0, count / 6.0);
        pointscale = 1.3;
        break;
    case effectkind_t::strobe:
        count *= 0.6;
        burn *= 1.5;
        break;
    case effectkind_t::crackle:
        burn *= 0.5; // then the crackle
        break;
    default:
        break;
    }
    if (asked.stars > 0)
        count = static_cast<double>(asked.stars);
    const double rate = asked.strobe > 0.0 ? asked.strobe : asked.kind == effectkind_t::strobe ? 8.0 : 0.0;
    if (rate > 0.0) {
        effect.strobe = static_cast<float>(rate);
        effect.duty = 0.35f;
    }
    // Most of the flight is done by the time the star burns out (a willow's
    // much earlier: it hangs); the speed makes the widest spread the
    // figures' radius.
    const double k = asked.kind == effectkind_t::willow ? 1.8 : 3.5 / burn;
    const float drag = dragof(k);
    const double crossettesplit = asked.split > 0.0 ? asked.split : 0.5 * size.burn;
    double flight = burn; // how long the stars fly outwards
    if (asked.kind == effectkind_t::crossette)
        flight = crossettesplit + 0.6 * size.burn;
    const double speed = width * radius / reach(k, flight);
    const auto n = static_cast<std::size_t>(std::max(1.0, std::round(count)));
    const float starsize = static_cast<float>(point * pointscale);
    const bool crackles = asked.crackle || asked.kind == effectkind_t::crackle;

    // The ring's plane leans back from facing the audience (the x-z plane).
    const double tilt = asked.tilt * k_degree;
    for (std::size_t i = 0; i < n; ++i) {
        geokit::direction3_t direction;
        if (asked.kind == effectkind_t::ring) {
            const double turn = 2.0 * k_pi * static_cast<double>(i) / static_cast<double>(n);
            direction = vec(std::cos(turn), -std::sin(turn) * std::sin(tilt), std::sin(turn) * std::cos(tilt));
        } else if (asked.kind == effectkind_t::palm) {
            direction = spread(i, n, -0.35);
        } else {
            direction = spread(i, n);
        }
        if (asked.kind == effectkind_t::crossette) {
            made.star(direction, speed, drag, starsize, starfilms(colors, crossettesplit), effect);
            // Four pieces across the star's path at the split, a third of its
            // first speed apart (crossette stars break in four: the trade's
            // own definition).
            const geokit::direction3_t W = flightvelocity(motion_t::air, vec(direction.x * speed, direction.y * speed,
                                                                             direction.z * speed),
                                                          static_cast<float>(crossettesplit), drag);
            double wx = W.x, wy = W.y, wz = W.z;
            const double wl = std::sqrt(wx * wx + wy * wy + wz * wz);
            wx /= wl, wy /= wl, wz /= wl;
            // Two directions across it.
            double ax = -wy, ay = wx, az = 0.0;
            if (std::hypot(ax, ay) < 1e-6)
                ax = 1.0, ay = 0.0;
            const double al = std::sqrt(ax * ax + ay * ay + az * az);
            ax /= al, ay /= al, az /= al;
            const double bx = wy * az - wz * ay, by = wz * ax - wx * az, bz = wx * ay - wy * ax;
            const double kick = speed / 3.0;
            const double pieces[4][3] = {{ax, ay, az}, {-ax, -ay, -az}, {bx, by, bz}, {-bx, -by, -bz}};
            for (const auto& p : pieces) {
                stageeffect_t piece = airstage();
                piece.split = true;
                piece.kick = vec(p[0] * kick, p[1] * kick, p[2] * kick);
                made.split(crossettesplit, static_cast<float>(0.75 * starsize), drag,
                           starfilms(colors, 0.6 * size.burn), piece);
            }
            continue;
        }
        const std::vector<film_t> films = starfilms(colors, burn);
        made.star(direction, speed, drag, starsize, films, effect);
        if (crackles)
            addcrackle(made, filmsum(films), asked.calibre, radius, drag);
    }
    if (crackles)
        out.crackle = static_cast<float>(burn); // as the stars go out

    // A pistil: a core of a quarter as many stars, slower and shorter.
    if (asked.pistil) {
        const std::size_t core = std::max<std::size_t>(4, n / 4);
        for (std::size_t i = 0; i < core; ++i)
            made.star(spread(i, core), 0.4 * speed, drag, static_cast<float>(0.9 * point),
                      starfilms({asked.pistilcolor}, 0.8 * size.burn), airstage());
    }
    out.design = made.finish();
    return out;
}

// A shell's header: launched straight up (then tilted), breaking at the top
// of its climb, a dim spark rising.
firework_t shellheader(double calibre, style_t style, double angle, double azimuth, double extrafuse)
{
    const shellsize_t size = shellsize(calibre, style);
    const launch_t launch = launchfor(size.height, size.fuse);
    double x, y, z;
    tilted(angle, azimuth, x, y, z);
    firework_t shell;
    shell.velocity = vec(x * launch.speed, y * launch.speed, z * launch.speed);
    shell.fuse = static_cast<float>(size.fuse + extrafuse);
    shell.drag = static_cast<float>(launch.drag);
    shell.size = static_cast<float>(0.6 * starpoint(calibre));
    shell.color = scaled(named("gold"), 0.7f);
    return shell;
}

// The rising tail that leads a palm up: one star on the shell's own path (its
// law, velocity and drag) that burns until the break, sparks behind it.
madedesign_t risingtail(const firework_t& shell, double calibre)
{
    designer_t made;
    stageeffect_t effect; // the shells' flight law
    effect.tail = 20;
    effect.tailgap = 0.05f;
    effect.tailsize = 0.9f;
    const geokit::color3a_t spark = named("gold");
    // The shell's own velocity times 1, to the bit: the tail's head is the
    // shell's rising point.
    made.star(shell.velocity, 1.0, shell.drag, static_cast<float>(0.8 * starpoint(calibre)),
              {{shell.fuse, spark, scaled(spark, 0.6f)}}, effect);
    return made.finish();
}

// A comet: one bright star fired from the ground, a tail behind it, burning
// out just after the top of its climb, about 70 % as high as a cylinder
// shell of its calibre breaks (our choice).
madedesign_t comet(const breakspec_t& asked, double angle, double azimuth, double calibre)
{
    const double height = 0.7 * shellsize(calibre, style_t::cylinder).height;
    const double k = 1.0;
    const double fall = k_g / k;
    const auto top = [&](double v, double& at) {
        at = std::log1p(v * k / k_g) / k;
        return v * reach(k, at) - fall * (at - reach(k, at));
    };
    double low = 0.0, high = 2000.0, at = 0.0;
    for (int i = 0; i < 100; ++i) {
        const double middle = 0.5 * (low + high);
        (top(middle, at) < height ? low : high) = middle;
    }
    top(high, at);
    double x, y, z;
    tilted(angle, azimuth, x, y, z);
    stageeffect_t effect = airstage();
    effect.tail = 24;
    effect.tailgap = 0.04f;
    effect.tailsize = 0.8f;
    designer_t made;
    const std::vector<geokit::color3a_t> colors =
        asked.colors.empty() ? std::vector<geokit::color3a_t>{owncolor(effectkind_t::comet)} : asked.colors;
    made.star(vec(x, y, z), high, dragof(k), static_cast<float>(1.5 * starpoint(calibre)), starfilms(colors, at + 0.4),
              effect);
    return made.finish();
}

// A mine: a spray of stars thrown from the ground in a cone, each a little
// slower or faster, to about half a cylinder shell's height (our choice).
madedesign_t mine(const breakspec_t& asked, double angle, double azimuth, double cone)
{
    const shellsize_t size = shellsize(asked.calibre, style_t::cylinder);
    const double height = 0.5 * size.height;
    const double k = 1.2;
    const double fall = k_g / k;
    double low = 0.0, high = 2000.0, at = 0.0;
    const auto top = [&](double v) {
        at = std::log1p(v * k / k_g) / k;
        return v * reach(k, at) - fall * (at - reach(k, at));
    };
    for (int i = 0; i < 100; ++i) {
        const double middle = 0.5 * (low + high);
        (top(middle) < height ? low : high) = middle;
    }
    top(high);
    const std::size_t n = asked.stars > 0 ? asked.stars : std::max<std::size_t>(12, size.stars * 6 / 10);
    const std::vector<geokit::color3a_t> colors =
        asked.colors.empty() ? std::vector<geokit::color3a_t>{owncolor(effectkind_t::mine)} : asked.colors;
    stageeffect_t effect = airstage();
    effect.tail = 6;
    effect.tailgap = 0.04f;
    effect.tailsize = 0.7f;
    // The cone's axis, and two directions across it.
    double ax, ay, az;
    tilted(angle, azimuth, ax, ay, az);
    double ux = -ay, uy = ax, uz = 0.0;
    if (std::hypot(ux, uy) < 1e-9)
        ux = 1.0, uy = 0.0;
    const double ul = std::hypot(ux, uy);
    ux /= ul, uy /= ul;
    const double wx = ay * uz - az * uy, wy = az * ux - ax * uz, wz = ax * uy - ay * ux;
    designer_t made;
    const double c = std::cos(cone * k_degree);
    for (std::size_t i = 0; i < n; ++i) {
        // Evenly over the cap of the cone (a Fibonacci lattice on it).
        const double h = 1.0 - (1.0 - c) * (static_cast<double>(i) + 0.5) / static_cast<double>(n);
        const double across = std::sqrt(std::max(0.0, 1.0 - h * h));
        const double turn = k_goldenangle * static_cast<double>(i);
        const double px = across * std::cos(turn), py = across * std::sin(turn);
        const geokit::direction3_t d =
            vec(ax * h + ux * px + wx * py, ay * h + uy * px + wy * py, az * h + uz * px + wz * py);
        const double pace = 0.8 + 0.2 * starnoise(0x6d696e65u, static_cast<std::uint32_t>(i));
        made.star(d, high * pace, dragof(k), static_cast<float>(0.9 * starpoint(asked.calibre)),
                  starfilms(colors, at * 1.1), effect);
    }
    return made.finish();
}

void multibreakshells(const shellspec_t& asked, std::vector<madeshell_t>& shells)
{
    static const double shares[3] = {0.8, 0.65, 0.5};
    const double calibre = asked.shell.calibre;
    const double interval = asked.breakinterval > 0.0 ? asked.breakinterval : 0.25 + 0.004 * calibre;
    std::vector<breakspec_t> breaks = asked.breaks;
    if (breaks.empty()) {
        breakspec_t first = asked.shell, second = asked.shell;
        first.kind = effectkind_t::peony;
        second.kind = effectkind_t::chrysanthemum;
        breaks = {first, second};
    }
    for (std::size_t k = 0; k < breaks.size() && k < 3; ++k) {
        breakspec_t part = breaks[k];
        part.calibre = shares[k] * calibre;
        part.style = asked.shell.style;
        madeshell_t shell;
        // Every stage rides the one shell: the same launch, a later break.
        shell.header = shellheader(calibre, asked.shell.style, asked.angle, asked.azimuth, static_cast<double>(k) * interval);
        breakout_t out = makebreak(part);
        shell.design = std::move(out.design);
        shell.note.part = k == 0 ? part_t::whole : part_t::laterbreak;
        shell.note.index = static_cast<std::uint16_t>(k);
        shell.note.launch = k == 0 ? soundclip_t::burst : soundclip_t::none;
        shell.note.burst = burstclip(part.calibre);
        shell.note.crackle = out.crackle;
        shells.push_back(std::move(shell));
    }
}

// One shell breaking in the air, with a palm's rising tail beside it.
void airshell(const breakspec_t& asked, double angle, double azimuth, std::vector<madeshell_t>& shells, part_t part,
              std::uint16_t index, double time)
{
    madeshell_t shell;
    shell.header = shellheader(asked.calibre, asked.style, angle, azimuth, 0.0);
    shell.header.time = static_cast<float>(time);
    breakout_t out = makebreak(asked);
    shell.design = std::move(out.design);
    shell.note.part = part;
    shell.note.index = index;
    shell.note.burst = burstclip(asked.calibre);
    shell.note.crackle = out.crackle;
    shells.push_back(std::move(shell));
    if (asked.kind == effectkind_t::palm) {
        madeshell_t tail;
        tail.header = shells.back().header;
        tail.header.fuse = 0.0f;
        tail.header.size = 0.0f;
        tail.design = risingtail(shells.back().header, asked.calibre);
        tail.note.part = part_t::risingtail;
        tail.note.index = index;
        tail.note.launch = soundclip_t::none;
        tail.note.burst = soundclip_t::none;
        shells.push_back(std::move(tail));
    }
}

// A shell that goes off at its launch (comet, mine): no fuse, the launch is
// its only report.
madeshell_t groundshell(madedesign_t design, double time, part_t part, std::uint16_t index)
{
    madeshell_t shell;
    shell.header.time = static_cast<float>(time);
    shell.header.drag = 1.0f;
    shell.header.color = {0.0f, 0.0f, 0.0f, 1.0f};
    shell.design = std::move(design);
    shell.note.part = part;
    shell.note.index = index;
    shell.note.launch = soundclip_t::burst;
    shell.note.burst = soundclip_t::none;
    return shell;
}

} // namespace

const char* effectname(effectkind_t kind)
{
    for (const kindname_t& entry : k_kinds)
        if (entry.kind == kind)
            return entry.name;
    return "";
}

bool findeffect(std::string_view name, effectkind_t& kind)
{
    for (const kindname_t& entry : k_kinds)
        if (name == entry.name) {
            kind = entry.kind;
            return true;
        }
    return false;
}

bool isbreak(effectkind_t kind)
{
    return kind != effectkind_t::multibreak && kind != effectkind_t::comet && kind != effectkind_t::mine
        && kind != effectkind_t::cake;
}

double defaultcalibre(effectkind_t kind)
{
    switch (kind) {
    case effectkind_t::comet: return 50.0;
    case effectkind_t::cake: return 30.0;
    default: return 75.0;
    }
}

soundclip_t burstclip(double calibre)
{
    return calibre < 100.0 ? soundclip_t::burst : calibre < 200.0 ? soundclip_t::deepburst : soundclip_t::deeperburst;
}

std::vector<madeshell_t> makeshells(const shellspec_t& asked)
{
    std::vector<madeshell_t> shells;
    const breakspec_t& shell = asked.shell;
    switch (shell.kind) {
    case effectkind_t::multibreak:
        multibreakshells(asked, shells);
        break;
    case effectkind_t::comet:
        shells.push_back(groundshell(comet(shell, asked.angle, asked.azimuth, shell.calibre), 0.0, part_t::whole, 0));
        break;
    case effectkind_t::mine:
        shells.push_back(groundshell(mine(shell, asked.angle, asked.azimuth, asked.cone), 0.0, part_t::whole, 0));
        break;
    case effectkind_t::cake:
        for (std::size_t i = 0; i < asked.shots; ++i) {
            // Across the fan, evenly from one side to the other, in the
            // plane of the azimuth.
            const double across =
                asked.shots > 1 ? -0.5 * asked.fan + asked.fan * static_cast<double>(i) / static_cast<double>(asked.shots - 1)
                               : 0.0;
            const double lean = asked.angle + across;
            const double angle = std::fabs(lean);
            const double azimuth = lean < 0.0 ? asked.azimuth + 180.0 : asked.azimuth;
            const double time = static_cast<double>(i) * asked.shotinterval;
            const auto index = static_cast<std::uint16_t>(i);
            breakspec_t shot = shell;
            shot.kind = asked.shot;
            if (asked.shot == effectkind_t::comet)
                shells.push_back(groundshell(comet(shot, angle, azimuth, shot.calibre), time, part_t::shot, index));
            else
                airshell(shot, angle, azimuth, shells, part_t::shot, index, time);
        }
        break;
    default:
        airshell(shell, asked.angle, asked.azimuth, shells, part_t::whole, 0, 0.0);
        break;
    }
    return shells;
}

} // namespace vexlor
