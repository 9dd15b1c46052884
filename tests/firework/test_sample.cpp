// The built-in shows: counts, constants and directions, the latter worked out
// in double precision from the sweep and rotation rules.
#include "firework/sample.h"
#include "tests/firework/scenes.h"
#include "utils/classicrand.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

using namespace vexlor;
using scenes::same;

namespace {

struct vec { double x, y, z; };
double cosd(double a) { return std::cos(a * M_PI / 180.0); }
double sind(double a) { return std::sin(a * M_PI / 180.0); }
vec spherical(double l, double g) { return {cosd(g) * cosd(l), sind(g) * cosd(l), sind(l)}; }
vec aboutx(vec v, double a) { return {v.x, v.y * cosd(a) - v.z * sind(a), v.y * sind(a) + v.z * cosd(a)}; }
vec aboutz(vec v, double a) { return {v.x * cosd(a) - v.y * sind(a), v.x * sind(a) + v.y * cosd(a), v.z}; }

// Direction and speed, and one stage: delay 0, size 125, drag 0.9, one constant 20-second film.
void expectstar(const fire_t& f, vec v, double scale, float speed, geokit::color3a_t c)
{
    EXPECT_NEAR(std::hypot(f.direction.x - v.x * scale, f.direction.y - v.y * scale, f.direction.z - v.z * scale), 0, 1e-6);
    ASSERT_TRUE(f.powders.size() == 1u && f.powders[0].films.size() == 1u);
    const powder_t& p = f.powders[0];
    EXPECT_TRUE(f.speed == speed && p.delay == 0.0f && p.size == 125.0f && p.drag == 0.9f && p.films[0].duration == 20.0f);
    EXPECT_TRUE(same(p.films[0].from, c) && same(p.films[0].to, c));
}

void expectshell(const firework_t& f, float time, float vx, float vz, std::size_t fires)
{
    EXPECT_TRUE(f.time == time && f.velocity.x == vx && f.velocity.y == 0.0f && f.velocity.z == vz && f.fires.size() == fires);
    EXPECT_TRUE(f.fuse == 2.0f && f.size == 250.0f && f.drag == 0.95f && same(f.color, {1, 1, 1, 1}));
}

// Calls visit(latitude, longitude) over the sweep: rows -90 to 80 (open at
// the top), the longitude step |L| + 10, so ceil(360 / (|L| + 10)) stars a row.
template <typename Visit> void sweep(Visit visit)
{
    for (int l = -90; l < 90; l += 10)
        for (int g = -180; g < 180; g += std::abs(l) + 10) visit(l, g);
}

} // namespace

TEST(Sample, EveryShowsCountsAndChosenValues)
{
    std::vector<firework_t> scene;
    makesimple(scene, 6.25f, {0.5f, 1.0f, 0.25f, 1.0f});
    makesingle(scene);
    makeblink(scene);
    makesusuki(scene);
    for (std::size_t i = 0; i < 4; ++i) expectshell(scene.at(i), 0.0f, 0.0f, 20.0f, i == 1 ? 2u * 7u * 8u + 2u * 176u : 176u);
    std::size_t i = 0;
    sweep([&](int l, int g) { expectstar(scene[0].fires.at(i++), spherical(l, g), 1.0, 6.25f, {0.5f, 1.0f, 0.25f, 1.0f}); });
    // Single: caps and rings, 180 repeating -180 on purpose, then inner shells of two thirds and one third length.
    const std::vector<fire_t>& fires = scene[1].fires;
    i = 0;
    for (int offset : {0, 5})
        for (int g = -180; g <= 180; g += 60) {
            const vec s = spherical(offset - 90, g), t = aboutx(s, 60), u = aboutx(s, 120);
            for (vec v : {s, spherical(90 - offset, g), t, aboutz(t, 120), aboutz(t, 240),
                          aboutz(u, 60), aboutz(u, 180), aboutz(u, 300)})
                expectstar(fires.at(i++), v, 1.0, 12.5f, {1, 1, 1, 1});
        }
    sweep([&](int l, int g) {
        expectstar(fires.at(i++), spherical(l, g), 2.0 / 3.0, 12.5f, {1, 0.5f, 0.5f, 1});
        expectstar(fires.at(i++), spherical(l, g), 1.0 / 3.0, 12.5f, {1, 1, 1, 1});
    });
    // Blink: black to warm white and back, sixteen times a second for ten seconds.
    const powder_t& blink = scene[2].fires[100].powders.at(0);
    ASSERT_EQ(blink.films.size(), 320u);
    EXPECT_TRUE(scene[2].fires[100].speed == 25.0f && blink.delay == 0.0f && blink.size == 125.0f && blink.drag == 0.9f);
    const film_t &first = blink.films[0], &last = blink.films[319];
    EXPECT_TRUE(first.duration == 0.03125f && same(first.from, {0, 0, 0, 1}) && same(first.to, {1, 1, 0.75f, 1}));
    EXPECT_TRUE(last.duration == 0.03125f && same(last.from, {1, 1, 0.75f, 1}) && same(last.to, {0, 0, 0, 1}));
    // Susuki: a silver star and 320 sparks.
    for (const fire_t& star : scene[3].fires) ASSERT_EQ(star.powders.size(), 321u);
    const fire_t& star = scene[3].fires[17];
    const powder_t &c = star.powders[0], &s = star.powders[320];
    ASSERT_TRUE(c.films.size() == 1u && s.films.size() == 1u);
    EXPECT_TRUE(star.speed == 25.0f && c.delay == 0.0f && c.size == 25.0f && c.drag == 0.95f && c.films[0].duration == 10.0f);
    EXPECT_TRUE(same(c.films[0].from, {0.82f, 0.82f, 0.82f, 1}) && same(c.films[0].to, {0.75f, 0.75f, 0.75f, 1}));
    EXPECT_TRUE(s.delay == 0.03125f && s.size == 12.5f && s.drag == 0.9f && s.films[0].duration == 0.25f &&
                same(s.films[0].from, {1, 0.75f, 0.5f, 1}) && same(s.films[0].to, {0, 0, 0, 1}));

    // Random and miniexhibition set their shells by index; random's velocities
    // are three draws each of the classic 15-bit rand(), over the full
    // described ranges: x -5 to 5, y -2.5 to 2.5, z 15 to 20.
    scene.clear();
    basekit::classicsrand(1);
    makerandom(scene);
    ASSERT_EQ(scene.size(), 23u);
    // The first draws of seed 1 are 41, 18467 and 6334.
    EXPECT_TRUE(scene[0].velocity.x == float(41 / 32767.0 * 10.0 - 5.0) && scene[0].velocity.y == float(18467 / 32767.0 * 5.0 - 2.5)
                && scene[0].velocity.z == float(6334 / 32767.0 * 5.0 + 15.0));
    float low[3] = {99, 99, 99}, high[3] = {-99, -99, -99};
    for (std::size_t k = 0; k < 20; ++k) {
        EXPECT_FLOAT_EQ(scene[k].time, 0.0675 * static_cast<double>(k));
        const float v[3] = {scene[k].velocity.x, scene[k].velocity.y, scene[k].velocity.z};
        for (int c = 0; c < 3; ++c) low[c] = std::min(low[c], v[c]), high[c] = std::max(high[c], v[c]);
    }
    // Twenty draws spread over most of each range and never beyond it.
    const float from[3] = {-5.0f, -2.5f, 15.0f}, to[3] = {5.0f, 2.5f, 20.0f};
    for (int c = 0; c < 3; ++c) {
        EXPECT_TRUE(low[c] >= from[c] && high[c] <= to[c]) << c;
        EXPECT_GT(high[c] - low[c], 0.6f * (to[c] - from[c])) << c;
    }
    std::vector<firework_t> again;
    basekit::classicsrand(1);
    makerandom(again);
    EXPECT_TRUE(again[19].velocity.x == scene[19].velocity.x && again[19].velocity.z == scene[19].velocity.z);
    expectshell(scene[20], 2.5f, -5.0f, 15.0f, 464u);
    expectshell(scene[21], 2.5f, 5.0f, 15.0f, 464u);
    expectshell(scene[22], 2.75f, 0.0f, 17.5f, 464u);
    scene.clear();
    makeminiexhibition(scene);
    expectshell(scene.at(0), 1.0f, 0.0f, 17.5f, 464u);
    const float simples[4][3] = {{0.0f, -5.0f, 1.0f}, {0.0f, 5.0f, 1.0f}, {0.25f, -2.5f, 0.5f}, {0.25f, 2.5f, 0.5f}};
    for (std::size_t k = 0; k < 4; ++k) { // time, velocity x, red: yellow then green
        expectshell(scene.at(1 + k), simples[k][0], simples[k][1], 15.0f, 176u);
        expectstar(scene[1 + k].fires.at(175), spherical(80, 90), 1.0, 6.25f, {simples[k][2], 1.0f, 0.5f, 1});
    }
}
