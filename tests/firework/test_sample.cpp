// The built-in shows: counts, constants and directions, the latter worked out
// in double precision from the sweep and rotation rules.
#include "firework/evaluate.h"
#include "firework/sample.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

using namespace vexlor;

namespace {

constexpr double degree = 3.14159265358979323846 / 180.0;

struct vec {
    double x, y, z;
};
double cosd(double a) { return std::cos(a * degree); }
double sind(double a) { return std::sin(a * degree); }
vec spherical(double l, double g) { return {cosd(g) * cosd(l), sind(g) * cosd(l), sind(l)}; }
vec aboutx(vec v, double a) { return {v.x, v.y * cosd(a) - v.z * sind(a), v.y * sind(a) + v.z * cosd(a)}; }
vec aboutz(vec v, double a) { return {v.x * cosd(a) - v.y * sind(a), v.x * sind(a) + v.y * cosd(a), v.z}; }

void expectdirection(const fire_t& fire, vec v, double scale = 1.0)
{
    EXPECT_NEAR(fire.direction.x, v.x * scale, 1e-6);
    EXPECT_NEAR(fire.direction.y, v.y * scale, 1e-6);
    EXPECT_NEAR(fire.direction.z, v.z * scale, 1e-6);
}

bool same(const geokit::color3a_t& c, float r, float g, float b, float a)
{
    return c.r == r && c.g == g && c.b == b && c.a == a;
}

// Delay 0, size 125, drag 0.9, one constant 20-second film of the colour.
void expectstandardpowder(const fire_t& fire, float speed, float r, float g, float b)
{
    EXPECT_EQ(fire.speed, speed);
    ASSERT_EQ(fire.powders.size(), 1u);
    const powder_t& p = fire.powders[0];
    EXPECT_TRUE(p.delay == 0.0f && p.size == 125.0f && p.drag == 0.9f);
    ASSERT_EQ(p.films.size(), 1u);
    EXPECT_EQ(p.films[0].duration, 20.0f);
    EXPECT_TRUE(same(p.films[0].from, r, g, b, 1) && same(p.films[0].to, r, g, b, 1));
}

void expectstandardshell(const firework_t& f)
{
    EXPECT_TRUE(!f.launched && !f.exploded && f.position.z == 0.0f && f.fuse == 2.0f && f.size == 250.0f);
    EXPECT_TRUE(f.drag == 0.95f && same(f.color, 1, 1, 1, 1));
}

// Calls visit(latitude, longitude) over the sweep: rows -90 to 80, the
// longitude step |L| + 10, so ceil(360 / (|L| + 10)) stars a row.
template <typename Visit> void sweep(Visit visit)
{
    for (int l = -90; l < 90; l += 10)
        for (int g = -180; g < 180; g += std::abs(l) + 10)
            visit(l, g);
}

std::size_t pointsat(std::vector<firework_t>& scene, float t, std::vector<primitive_t>& points)
{
    evaluator_t().evaluate(scene, t, points, [](std::size_t, sound_t) {});
    return points.size();
}

} // namespace

TEST(Sample, SimpleSweepsASphereOpenAtTheTop)
{
    std::vector<firework_t> scene;
    makesimple(scene, 6.25f, {0.5f, 1.0f, 0.25f, 1.0f});
    ASSERT_EQ(scene.size(), 1u);
    expectstandardshell(scene[0]);
    EXPECT_EQ(scene[0].velocity.z, 20.0f);
    ASSERT_EQ(scene[0].fires.size(), 176u); // rows of 4, 4, 5, 6, 6, 8, 9, 12, 18, 36, 18, ...
    std::size_t i = 0;
    sweep([&](int l, int g) {
        expectdirection(scene[0].fires[i], spherical(l, g));
        expectstandardpowder(scene[0].fires[i++], 6.25f, 0.5f, 1.0f, 0.25f);
    });
    EXPECT_NEAR(scene[0].fires[3].direction.z, -1.0, 1e-7); // the bottom row points down four times
    EXPECT_EQ(scene[0].fires[72].direction.z, 0.0f);        // the equator begins at star 72
    makesimple(scene, 0.0f, {1, 1, 1, 1});
    EXPECT_EQ(scene[1].fires.size(), 176u);
}

TEST(Sample, SingleHasCapsRingsAndTwoInnerShells)
{
    std::vector<firework_t> scene;
    makesingle(scene);
    const std::vector<fire_t>& fires = scene.at(0).fires;
    expectstandardshell(scene[0]);
    ASSERT_EQ(fires.size(), 2u * 7u * 8u + 2u * 176u);
    EXPECT_GE(fires.capacity(), 1000u);
    std::size_t i = 0;
    for (int offset : {0, 5}) {
        for (int g = -180; g <= 180; g += 60) { // 180 repeats -180 on purpose
            const vec south = spherical(offset - 90, g);
            expectdirection(fires[i++], south);
            expectdirection(fires[i++], spherical(90 - offset, g));
            for (int ring : {0, 120, 240})
                expectdirection(fires[i++], aboutz(aboutx(south, 60), ring));
            for (int ring : {60, 180, 300})
                expectdirection(fires[i++], aboutz(aboutx(south, 120), ring));
        }
    }
    for (std::size_t k = 0; k < 112; ++k)
        expectstandardpowder(fires[k], 12.5f, 1, 1, 1);
    sweep([&](int l, int g) { // inner shells of two thirds and one third length
        expectdirection(fires[i], spherical(l, g), 2.0 / 3.0);
        expectstandardpowder(fires[i++], 12.5f, 1, 0.5f, 0.5f);
        expectdirection(fires[i], spherical(l, g), 1.0 / 3.0);
        expectstandardpowder(fires[i++], 12.5f, 1, 1, 1);
    });
}

TEST(Sample, RandomAndMiniExhibitionSetTheirShellsByIndex)
{
    std::srand(7);
    double draws[60];
    for (double& r : draws)
        r = std::rand();
    std::srand(7);
    std::vector<firework_t> scene;
    makerandom(scene);
    ASSERT_EQ(scene.size(), 23u);
    for (std::size_t i = 0; i < 20; ++i) {
        EXPECT_FLOAT_EQ(scene[i].time, 0.0675 * static_cast<double>(i));
        EXPECT_FLOAT_EQ(scene[i].velocity.x, draws[3 * i] / 32767.0 * 10.0 - 5.0);
        EXPECT_FLOAT_EQ(scene[i].velocity.y, draws[3 * i + 1] / 32767.0 * 5.0 - 2.5);
        EXPECT_FLOAT_EQ(scene[i].velocity.z, draws[3 * i + 2] / 32767.0 * 5.0 + 15.0);
        ASSERT_EQ(scene[i].fires.size(), 176u);
        expectstandardpowder(scene[i].fires[0], 6.25f, 1, 1, 1);
    }
    const float singles[3][3] = {{2.5f, -5.0f, 15.0f}, {2.5f, 5.0f, 15.0f}, {2.75f, 0.0f, 17.5f}};
    for (std::size_t i = 0; i < 3; ++i) {
        const firework_t& f = scene[20 + i];
        EXPECT_EQ(f.fires.size(), 464u);
        EXPECT_TRUE(f.time == singles[i][0] && f.velocity.x == singles[i][1] && f.velocity.y == 0.0f && f.velocity.z == singles[i][2]);
    }

    scene.clear();
    makeminiexhibition(scene);
    ASSERT_EQ(scene.size(), 5u);
    EXPECT_TRUE(scene[0].fires.size() == 464u && scene[0].time == 1.0f && scene[0].velocity.z == 17.5f);
    const float simples[4][3] = {{0.0f, -5.0f, 1.0f}, {0.0f, 5.0f, 1.0f}, {0.25f, -2.5f, 0.5f}, {0.25f, 2.5f, 0.5f}};
    for (std::size_t i = 0; i < 4; ++i) { // time, velocity x, red: yellow then green
        const firework_t& f = scene[1 + i];
        ASSERT_EQ(f.fires.size(), 176u);
        EXPECT_TRUE(f.time == simples[i][0] && f.velocity.x == simples[i][1] && f.velocity.z == 15.0f);
        expectstandardpowder(f.fires[5], 6.25f, simples[i][2], 1.0f, 0.5f);
    }
}

TEST(Sample, BlinkTwinklesSixteenTimesASecond)
{
    std::vector<firework_t> scene;
    makeblink(scene);
    ASSERT_EQ(scene.at(0).fires.size(), 176u);
    const fire_t& star = scene[0].fires[100];
    ASSERT_EQ(star.powders.size(), 1u);
    const powder_t& p = star.powders[0];
    EXPECT_TRUE(star.speed == 25.0f && p.delay == 0.0f && p.size == 125.0f && p.drag == 0.9f);
    ASSERT_EQ(p.films.size(), 320u);
    for (std::size_t k = 0; k < 320; ++k) // black to warm white and back
        EXPECT_TRUE(p.films[k].duration == 0.03125f && same(p.films[k].from, k % 2, k % 2, 0.75f * (k % 2), 1) &&
                    same(p.films[k].to, 1 - k % 2, 1 - k % 2, 0.75f * (1 - k % 2), 1));
    // Black at each blink's start and end, warm white at its middle, out after ten seconds.
    std::vector<primitive_t> points;
    for (float b : {0.0625f, 1.0f, 10.0f}) {
        ASSERT_EQ(pointsat(scene, 2.0f + b, points), 176u);
        EXPECT_TRUE(same(points[0].color, 0, 0, 0, 1));
    }
    pointsat(scene, 5.03125f, points);
    EXPECT_TRUE(same(points[0].color, 1, 1, 0.75f, 1));
    EXPECT_EQ(pointsat(scene, 12.001f, points), 0u);
}

TEST(Sample, SusukiTrailsSparksBehindEveryStar)
{
    std::vector<firework_t> scene;
    makesusuki(scene);
    expectstandardshell(scene.at(0));
    ASSERT_EQ(scene[0].fires.size(), 176u);
    for (const fire_t& star : scene[0].fires)
        ASSERT_EQ(star.powders.size(), 321u);
    const fire_t& star = scene[0].fires[17];
    const powder_t& c = star.powders[0];
    const powder_t& s = star.powders[320];
    ASSERT_TRUE(c.films.size() == 1u && s.films.size() == 1u);
    EXPECT_TRUE(star.speed == 25.0f && c.delay == 0.0f && c.size == 25.0f && c.drag == 0.95f);
    EXPECT_TRUE(c.films[0].duration == 10.0f && same(c.films[0].from, 0.82f, 0.82f, 0.82f, 1) &&
                same(c.films[0].to, 0.75f, 0.75f, 0.75f, 1));
    EXPECT_TRUE(s.delay == 0.03125f && s.size == 12.5f && s.drag == 0.9f && s.films[0].duration == 0.25f &&
                same(s.films[0].from, 1, 0.75f, 0.5f, 1) && same(s.films[0].to, 0, 0, 0, 1));
    // Five seconds after the burst sparks 152 to 160 glow (their time left,
    // 5 - k/32, lies within 0 and 0.25), a little later only eight; at the
    // end the star is out and only sparks 319 and 320 glow.
    std::vector<primitive_t> points;
    EXPECT_EQ(pointsat(scene, 7.0f, points), 176u * 10u);
    EXPECT_EQ(pointsat(scene, 7.01f, points), 176u * 9u);
    EXPECT_EQ(pointsat(scene, 12.2f, points), 176u * 2u);
    EXPECT_EQ(pointsat(scene, 12.26f, points), 0u);
}
