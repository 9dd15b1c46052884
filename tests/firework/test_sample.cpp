// The built-in shows: counts, constants and directions, the latter worked out
// in double precision from the sweep and rotation rules.
#include "firework/evaluate.h"
#include "firework/sample.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <vector>

using namespace vexlor;

namespace {

constexpr double degree = 3.14159265358979323846 / 180.0;

struct vec {
    double x, y, z;
};

vec spherical(double latitude, double longitude)
{
    return {std::cos(longitude * degree) * std::cos(latitude * degree),
            std::sin(longitude * degree) * std::cos(latitude * degree), std::sin(latitude * degree)};
}

vec aboutx(vec v, double angle)
{
    const double c = std::cos(angle * degree), s = std::sin(angle * degree);
    return {v.x, v.y * c - v.z * s, v.y * s + v.z * c};
}

vec aboutz(vec v, double angle)
{
    const double c = std::cos(angle * degree), s = std::sin(angle * degree);
    return {v.x * c - v.y * s, v.x * s + v.y * c, v.z};
}

void expectdirection(const fire_t& fire, vec v, double scale = 1.0)
{
    EXPECT_NEAR(fire.direction.x, v.x * scale, 1e-6);
    EXPECT_NEAR(fire.direction.y, v.y * scale, 1e-6);
    EXPECT_NEAR(fire.direction.z, v.z * scale, 1e-6);
}

void expectcolour(const geokit::color3a_t& c, float r, float g, float b, float a)
{
    EXPECT_EQ(c.r, r);
    EXPECT_EQ(c.g, g);
    EXPECT_EQ(c.b, b);
    EXPECT_EQ(c.a, a);
}

void expectstandardshell(const firework_t& f)
{
    EXPECT_FALSE(f.launched);
    EXPECT_FALSE(f.exploded);
    EXPECT_EQ(f.position.x, 0.0f);
    EXPECT_EQ(f.position.z, 0.0f);
    EXPECT_EQ(f.fuse, 2.0f);
    EXPECT_EQ(f.size, 250.0f);
    EXPECT_EQ(f.drag, 0.95f);
    expectcolour(f.color, 1, 1, 1, 1);
}

void expectstandardpowder(const fire_t& fire, float r, float g, float b)
{
    ASSERT_EQ(fire.powders.size(), 1u);
    const powder_t& p = fire.powders[0];
    EXPECT_EQ(p.delay, 0.0f);
    EXPECT_EQ(p.size, 125.0f);
    EXPECT_EQ(p.drag, 0.9f);
    ASSERT_EQ(p.films.size(), 1u);
    EXPECT_EQ(p.films[0].duration, 20.0f);
    expectcolour(p.films[0].from, r, g, b, 1);
    expectcolour(p.films[0].to, r, g, b, 1);
}

// The sweep rows from latitude -90 to 80: ceil(360 / (|L| + 10)) stars each.
const int rowsizes[18] = {4, 4, 5, 6, 6, 8, 9, 12, 18, 36, 18, 12, 9, 8, 6, 6, 5, 4};

std::size_t pointsat(std::vector<firework_t>& scene, float t)
{
    evaluator_t evaluator;
    std::vector<primitive_t> points;
    evaluator.evaluate(scene, t, points, [](std::size_t, sound_t) {});
    return points.size();
}

} // namespace

TEST(Sample, SimpleSweepsAnOpenSphere)
{
    std::vector<firework_t> scene;
    makesimple(scene, 6.25f, {0.5f, 1.0f, 0.25f, 1.0f});
    ASSERT_EQ(scene.size(), 1u);
    const firework_t& f = scene[0];
    expectstandardshell(f);
    EXPECT_EQ(f.velocity.z, 20.0f);
    ASSERT_EQ(f.fires.size(), 176u);

    std::size_t index = 0;
    for (int row = 0; row < 18; ++row) {
        const int latitude = -90 + 10 * row;
        for (int k = 0; k < rowsizes[row]; ++k, ++index) {
            SCOPED_TRACE(index);
            expectdirection(f.fires[index], spherical(latitude, -180 + k * (std::abs(latitude) + 10)));
            EXPECT_EQ(f.fires[index].speed, 6.25f);
            expectstandardpowder(f.fires[index], 0.5f, 1.0f, 0.25f);
        }
    }
    // Equator row: the first star points along -x, the tenth along -y.
    EXPECT_EQ(f.fires[72].direction.z, 0.0f);
    EXPECT_NEAR(f.fires[81].direction.y, -1.0, 1e-7);
    // The bottom row points straight down four times; nothing points straight up.
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_NEAR(f.fires[i].direction.z, -1.0, 1e-7);
    for (const fire_t& fire : f.fires)
        EXPECT_LT(fire.direction.z, 0.985f);

    std::vector<firework_t> still;
    makesimple(still, 0.0f, {1, 1, 1, 1});
    EXPECT_EQ(still[0].fires.size(), 176u);
}

TEST(Sample, SingleHasCapsRingsAndTwoInnerShells)
{
    std::vector<firework_t> scene;
    makesingle(scene);
    ASSERT_EQ(scene.size(), 1u);
    const std::vector<fire_t>& fires = scene[0].fires;
    expectstandardshell(scene[0]);
    ASSERT_EQ(fires.size(), 2u * 7u * 8u + 2u * 176u);
    EXPECT_GE(fires.capacity(), 1000u);

    std::size_t index = 0;
    for (int offset : {0, 5}) {
        for (int longitude = -180; longitude <= 180; longitude += 60) {
            SCOPED_TRACE(index);
            const vec south = spherical(offset - 90, longitude);
            expectdirection(fires[index++], south);
            expectdirection(fires[index++], spherical(90 - offset, longitude));
            for (int ring : {0, 120, 240})
                expectdirection(fires[index++], aboutz(aboutx(south, 60), ring));
            for (int ring : {60, 180, 300})
                expectdirection(fires[index++], aboutz(aboutx(south, 120), ring));
        }
    }
    // -180 and 180 make the same caps and rings twice.
    for (std::size_t first : {0u, 56u})
        for (std::size_t i = 0; i < 8; ++i)
            expectdirection(fires[first + i], {fires[first + 48 + i].direction.x, fires[first + 48 + i].direction.y,
                                               fires[first + 48 + i].direction.z});
    for (std::size_t i = 0; i < 112; ++i)
        expectstandardpowder(fires[i], 1, 1, 1);

    std::size_t row = 0, k = 0;
    for (std::size_t i = 112; i < fires.size(); i += 2) {
        const int latitude = -90 + 10 * static_cast<int>(row);
        const vec d = spherical(latitude, -180 + static_cast<int>(k) * (std::abs(latitude) + 10));
        expectdirection(fires[i], d, 2.0 / 3.0);
        expectdirection(fires[i + 1], d, 1.0 / 3.0);
        expectstandardpowder(fires[i], 1, 0.5f, 0.5f);
        expectstandardpowder(fires[i + 1], 1, 1, 1);
        if (++k == static_cast<std::size_t>(rowsizes[row])) {
            k = 0;
            ++row;
        }
    }
    for (const fire_t& fire : fires)
        EXPECT_EQ(fire.speed, 12.5f);
}

TEST(Sample, RandomVolleyUsesTheRandSequence)
{
    std::srand(7);
    double expected[20][3];
    for (auto& draw : expected)
        for (double& r : draw)
            r = std::rand();
    std::srand(7);
    std::vector<firework_t> scene;
    makerandom(scene);
    ASSERT_EQ(scene.size(), 23u);
    for (std::size_t i = 0; i < 20; ++i) {
        SCOPED_TRACE(i);
        EXPECT_FLOAT_EQ(scene[i].time, 0.0675 * static_cast<double>(i));
        EXPECT_FLOAT_EQ(scene[i].velocity.x, expected[i][0] / 32767.0 * 10.0 - 5.0);
        EXPECT_FLOAT_EQ(scene[i].velocity.y, expected[i][1] / 32767.0 * 5.0 - 2.5);
        EXPECT_FLOAT_EQ(scene[i].velocity.z, expected[i][2] / 32767.0 * 5.0 + 15.0);
        ASSERT_EQ(scene[i].fires.size(), 176u);
        EXPECT_EQ(scene[i].fires[0].speed, 6.25f);
        expectstandardpowder(scene[i].fires[0], 1, 1, 1);
    }
    const float single[3][4] = {{2.5f, -5.0f, 0.0f, 15.0f}, {2.5f, 5.0f, 0.0f, 15.0f}, {2.75f, 0.0f, 0.0f, 17.5f}};
    for (std::size_t i = 0; i < 3; ++i) {
        const firework_t& f = scene[20 + i];
        EXPECT_EQ(f.fires.size(), 464u);
        EXPECT_EQ(f.time, single[i][0]);
        EXPECT_EQ(f.velocity.x, single[i][1]);
        EXPECT_EQ(f.velocity.y, single[i][2]);
        EXPECT_EQ(f.velocity.z, single[i][3]);
    }
}

TEST(Sample, MiniExhibitionHasFiveShells)
{
    std::vector<firework_t> scene;
    makeminiexhibition(scene);
    ASSERT_EQ(scene.size(), 5u);
    EXPECT_EQ(scene[0].fires.size(), 464u);
    EXPECT_EQ(scene[0].time, 1.0f);
    EXPECT_EQ(scene[0].velocity.z, 17.5f);
    const float expected[4][4] = {{0.0f, -5.0f, 1.0f, 1.0f}, {0.0f, 5.0f, 1.0f, 1.0f}, {0.25f, -2.5f, 0.5f, 1.0f},
                                  {0.25f, 2.5f, 0.5f, 1.0f}}; // time, velocity x, red, green
    for (std::size_t i = 0; i < 4; ++i) {
        SCOPED_TRACE(i);
        const firework_t& f = scene[1 + i];
        ASSERT_EQ(f.fires.size(), 176u);
        EXPECT_EQ(f.time, expected[i][0]);
        EXPECT_EQ(f.velocity.x, expected[i][1]);
        EXPECT_EQ(f.velocity.y, 0.0f);
        EXPECT_EQ(f.velocity.z, 15.0f);
        EXPECT_EQ(f.fires[5].speed, 6.25f);
        expectstandardpowder(f.fires[5], expected[i][2], expected[i][3], 0.5f);
    }
}

TEST(Sample, BlinkTwinklesSixteenTimesASecond)
{
    std::vector<firework_t> scene;
    makeblink(scene);
    ASSERT_EQ(scene.size(), 1u);
    ASSERT_EQ(scene[0].fires.size(), 176u);
    const fire_t& star = scene[0].fires[100];
    EXPECT_EQ(star.speed, 25.0f);
    ASSERT_EQ(star.powders.size(), 1u);
    const powder_t& p = star.powders[0];
    EXPECT_EQ(p.delay, 0.0f);
    EXPECT_EQ(p.size, 125.0f);
    EXPECT_EQ(p.drag, 0.9f);
    ASSERT_EQ(p.films.size(), 320u);
    for (std::size_t k = 0; k < 320; k += 2) {
        EXPECT_EQ(p.films[k].duration, 0.03125f);
        expectcolour(p.films[k].from, 0, 0, 0, 1);
        expectcolour(p.films[k].to, 1, 1, 0.75f, 1);
        expectcolour(p.films[k + 1].from, 1, 1, 0.75f, 1);
        expectcolour(p.films[k + 1].to, 0, 0, 0, 1);
    }

    // Black at each blink's start and end, warm white at its middle, out
    // after ten seconds.
    evaluator_t evaluator;
    std::vector<primitive_t> points;
    const auto at = [&](float b) {
        evaluator.evaluate(scene, 2.0f + b, points, [](std::size_t, sound_t) {});
        return points;
    };
    for (float b : {0.0625f, 1.0f, 9.9375f, 10.0f}) {
        ASSERT_EQ(at(b).size(), 176u);
        expectcolour(points[0].color, 0, 0, 0, 1);
    }
    at(3.03125f);
    expectcolour(points[0].color, 1, 1, 0.75f, 1);
    at(3.015625f);
    EXPECT_FLOAT_EQ(points[0].color.b, 0.375f);
    EXPECT_TRUE(at(10.001f).empty());
}

TEST(Sample, SusukiTrailsSparksBehindEveryStar)
{
    std::vector<firework_t> scene;
    makesusuki(scene);
    ASSERT_EQ(scene.size(), 1u);
    expectstandardshell(scene[0]);
    ASSERT_EQ(scene[0].fires.size(), 176u);
    for (const fire_t& star : scene[0].fires) {
        ASSERT_EQ(star.powders.size(), 321u);
        EXPECT_EQ(star.speed, 25.0f);
    }
    const fire_t& star = scene[0].fires[3];
    const powder_t& carrier = star.powders[0];
    EXPECT_EQ(carrier.delay, 0.0f);
    EXPECT_EQ(carrier.size, 25.0f);
    EXPECT_EQ(carrier.drag, 0.95f);
    ASSERT_EQ(carrier.films.size(), 1u);
    EXPECT_EQ(carrier.films[0].duration, 10.0f);
    expectcolour(carrier.films[0].from, 0.82f, 0.82f, 0.82f, 1);
    expectcolour(carrier.films[0].to, 0.75f, 0.75f, 0.75f, 1);
    for (std::size_t i = 1; i < 321; ++i) {
        const powder_t& spark = star.powders[i];
        EXPECT_EQ(spark.delay, 0.03125f);
        EXPECT_EQ(spark.size, 12.5f);
        EXPECT_EQ(spark.drag, 0.9f);
        ASSERT_EQ(spark.films.size(), 1u);
        EXPECT_EQ(spark.films[0].duration, 0.25f);
        expectcolour(spark.films[0].from, 1, 0.75f, 0.5f, 1);
        expectcolour(spark.films[0].to, 0, 0, 0, 1);
    }

    // Five seconds after the burst sparks 152 to 160 glow (their time left,
    // 5 - k/32, lies within 0 and 0.25); a little later only eight.
    EXPECT_EQ(pointsat(scene, 7.0f), 176u * 10u);
    EXPECT_EQ(pointsat(scene, 7.01f), 176u * 9u);
    EXPECT_EQ(pointsat(scene, 1.0f), 1u);
    // The carrier is out; of the last sparks only 319 and 320 still glow.
    EXPECT_EQ(pointsat(scene, 12.2f), 176u * 2u);
    EXPECT_EQ(pointsat(scene, 12.26f), 0u);
}
