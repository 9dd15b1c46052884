// The scene makers. Counts, constants and the odd choices (a sphere open at
// the top, one cap direction built twice, inner shells of non-unit
// directions) are what the shows are tuned to; keep them.
#include "firework/sample.h"

#include "utils/classicrand.h"

#include <cmath>
#include <cstdlib>

namespace vexlor {

namespace {

constexpr geokit::color3a_t white{1.0f, 1.0f, 1.0f, 1.0f};
constexpr geokit::color3a_t black{0.0f, 0.0f, 0.0f, 1.0f};

float radians(int degrees)
{
    return static_cast<float>(static_cast<double>(degrees) * geokit::degree_factor);
}

geokit::direction3_t spherical(int latitude, int longitude)
{
    const float l = radians(latitude);
    const float g = radians(longitude);
    const float cosl = std::cos(l);
    return {std::cos(g) * cosl, std::sin(g) * cosl, std::sin(l)};
}

// Latitude rows from -90 up to 80; the longitude step widens towards the
// poles (absolute latitude plus 10 degrees).
template <typename Visit> void sweep(Visit visit)
{
    for (int latitude = -90; latitude < 90; latitude += 10)
        for (int longitude = -180; longitude < 180; longitude += std::abs(latitude) + 10)
            visit(latitude, longitude);
}

firework_t standardshell()
{
    firework_t shell;
    shell.time = 0.0f;
    shell.position = {0.0f, 0.0f, 0.0f};
    shell.velocity = {0.0f, 0.0f, 20.0f};
    shell.fuse = 2.0f;
    shell.size = 250.0f;
    shell.drag = 0.95f;
    shell.color = white;
    return shell;
}

powder_t standardpowder(const geokit::color3a_t& color)
{
    return powder_t{0.0f, 125.0f, 0.9f, {film_t{20.0f, color, color}}};
}

geokit::direction3_t scaled(float factor, const geokit::direction3_t& d)
{
    return {factor * d.x, factor * d.y, factor * d.z};
}

// Row vector times matrix, the matrix's last row added as a translation.
geokit::direction3_t turned(const geokit::direction3_t& d, const geokit::matrix3w_t& first,
                            const geokit::matrix3w_t& second)
{
    const geokit::vector3w_t v = (geokit::vector3w_t{d.x, d.y, d.z, 1.0f} * first) * second;
    return {v.x, v.y, v.z};
}

geokit::matrix3w_t turn(float degrees, const geokit::direction3_t& axis)
{
    return geokit::getRotateMatrix(geokit::rotation3_t{degrees, axis});
}

} // namespace

void makesimple(std::vector<firework_t>& scene, float speed, const geokit::color3a_t& color)
{
    const powder_t powder = standardpowder(color);
    firework_t shell = standardshell();
    sweep([&](int latitude, int longitude) {
        shell.fires.push_back(fire_t{spherical(latitude, longitude), speed, {powder}});
    });
    scene.push_back(std::move(shell));
}

void makesingle(std::vector<firework_t>& scene)
{
    makesingle(scene, white);
}

void makesingle(std::vector<firework_t>& scene, const geokit::color3a_t& color)
{
    const powder_t outer = standardpowder(color);
    const powder_t red = standardpowder({1.0f, 0.5f, 0.5f, 1.0f});
    const powder_t inner = standardpowder(white);
    constexpr float speed = 12.5f;
    constexpr geokit::direction3_t xaxis{1.0f, 0.0f, 0.0f};
    constexpr geokit::direction3_t zaxis{0.0f, 0.0f, 1.0f};
    const geokit::matrix3w_t tilt60 = turn(60.0f, xaxis);
    const geokit::matrix3w_t tilt120 = turn(120.0f, xaxis);

    firework_t shell = standardshell();
    std::vector<fire_t>& fires = shell.fires;
    fires.reserve(1000);
    for (int offset : {0, 5}) {
        for (int longitude = -180; longitude <= 180; longitude += 60) {
            const geokit::direction3_t south = spherical(offset - 90, longitude);
            fires.push_back(fire_t{south, speed, {outer}});
            fires.push_back(fire_t{spherical(90 - offset, longitude), speed, {outer}});
            for (int ring : {0, 120, 240})
                fires.push_back(fire_t{turned(south, tilt60, turn(static_cast<float>(ring), zaxis)), speed, {outer}});
            for (int ring : {60, 180, 300})
                fires.push_back(fire_t{turned(south, tilt120, turn(static_cast<float>(ring), zaxis)), speed, {outer}});
        }
    }
    sweep([&](int latitude, int longitude) {
        const geokit::direction3_t d = spherical(latitude, longitude);
        fires.push_back(fire_t{scaled(0.6666667f, d), speed, {red}});
        fires.push_back(fire_t{scaled(0.33333334f, d), speed, {inner}});
    });
    scene.push_back(std::move(shell));
}

void makerandom(std::vector<firework_t>& scene)
{
    scene.reserve(25);
    for (int i = 0; i < 20; ++i) {
        makesimple(scene, 6.25f, white);
        const int r1 = basekit::classicrand();
        const int r2 = basekit::classicrand();
        const int r3 = basekit::classicrand();
        firework_t& shell = scene[static_cast<std::size_t>(i)];
        shell.time = static_cast<float>(i) * 0.0675f;
        shell.velocity = {static_cast<float>(r1 / 32767.0 * 10.0 - 5.0),
                          static_cast<float>(r2 / 32767.0 * 5.0 - 2.5),
                          static_cast<float>(r3 / 32767.0 * 5.0 + 15.0)};
    }
    makesingle(scene);
    scene[20].time = 2.5f;
    scene[20].velocity = {-5.0f, 0.0f, 15.0f};
    makesingle(scene);
    scene[21].time = 2.5f;
    scene[21].velocity = {5.0f, 0.0f, 15.0f};
    makesingle(scene);
    scene[22].time = 2.75f;
    scene[22].velocity = {0.0f, 0.0f, 17.5f};
}

void makeminiexhibition(std::vector<firework_t>& scene)
{
    constexpr geokit::color3a_t yellow{1.0f, 1.0f, 0.5f, 1.0f};
    constexpr geokit::color3a_t green{0.5f, 1.0f, 0.5f, 1.0f};
    scene.reserve(5);
    makesingle(scene);
    scene[0].time = 1.0f;
    scene[0].velocity = {0.0f, 0.0f, 17.5f};
    makesimple(scene, 6.25f, yellow);
    scene[1].velocity = {-5.0f, 0.0f, 15.0f};
    makesimple(scene, 6.25f, yellow);
    scene[2].velocity = {5.0f, 0.0f, 15.0f};
    makesimple(scene, 6.25f, green);
    scene[3].time = 0.25f;
    scene[3].velocity = {-2.5f, 0.0f, 15.0f};
    makesimple(scene, 6.25f, green);
    scene[4].time = 0.25f;
    scene[4].velocity = {2.5f, 0.0f, 15.0f};
}

void makeblink(std::vector<firework_t>& scene)
{
    makeblink(scene, {1.0f, 1.0f, 0.75f, 1.0f});
}

void makeblink(std::vector<firework_t>& scene, const geokit::color3a_t& warm)
{
    powder_t blink{0.0f, 125.0f, 0.9f, {}};
    blink.films.reserve(320);
    for (int k = 0; k < 160; ++k) {
        blink.films.push_back(film_t{0.03125f, black, warm});
        blink.films.push_back(film_t{0.03125f, warm, black});
    }
    firework_t shell = standardshell();
    sweep([&](int latitude, int longitude) {
        shell.fires.push_back(fire_t{spherical(latitude, longitude), 25.0f, {blink}});
    });
    scene.push_back(std::move(shell));
}

void makesusuki(std::vector<firework_t>& scene)
{
    makesusuki(scene, {1.0f, 0.75f, 0.5f, 1.0f});
}

void makesusuki(std::vector<firework_t>& scene, const geokit::color3a_t& sparkcolor)
{
    const film_t star{10.0f, {0.82f, 0.82f, 0.82f, 1.0f}, {0.75f, 0.75f, 0.75f, 1.0f}};
    const film_t spark{0.25f, sparkcolor, black};
    const powder_t carrier{0.0f, 25.0f, 0.95f, {star}};
    const powder_t sparks{0.03125f, 12.5f, 0.9f, {spark}};
    const auto copies = static_cast<std::size_t>(10.0 / sparks.delay);

    std::vector<powder_t> trail;
    trail.reserve(1 + copies);
    trail.push_back(carrier);
    trail.insert(trail.end(), copies, sparks);
    firework_t shell = standardshell();
    sweep([&](int latitude, int longitude) {
        shell.fires.push_back(fire_t{spherical(latitude, longitude), 25.0f, trail});
    });
    scene.push_back(std::move(shell));
}

} // namespace vexlor
