// The per-frame evaluation on small scenes whose points are worked out by
// hand or in double precision from the flight formula.
#include "firework/evaluate.h"
#include "firework/sample.h"
#include "tests/firework/scenes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using namespace vexlor;
using scenes::film;
using scenes::powder;
using scenes::rgba;

namespace {

struct frame_t {
    evaluator_t evaluator;
    std::vector<primitive_t> points;
    std::vector<std::pair<std::size_t, sound_t>> sounds;
    void operator()(std::vector<firework_t>& scene, float t)
    {
        evaluator.evaluate(scene, t, points, [this](std::size_t i, sound_t what) { sounds.emplace_back(i, what); });
    }
};

// Start velocity v, s seconds, drag D: p + v D^s s, gravity added to v.z first.
struct flight {
    double x, y, z;
};
flight fly(flight p, flight v, double s, double drag)
{
    const double f = std::pow(drag, s) * s;
    return {p.x + v.x * f, p.y + v.y * f, p.z + (v.z - 4.9 * s) * f};
}

void expectat(const primitive_t& point, flight p)
{
    EXPECT_NEAR(point.position.x, p.x, 1e-5);
    EXPECT_NEAR(point.position.y, p.y, 1e-5);
    EXPECT_NEAR(point.position.z, p.z, 1e-5);
}

void expectcolour(const primitive_t& point, double r, double g, double b, double a)
{
    EXPECT_NEAR(point.color.r, r, 1e-6);
    EXPECT_NEAR(point.color.g, g, 1e-6);
    EXPECT_NEAR(point.color.b, b, 1e-6);
    EXPECT_NEAR(point.color.a, a, 1e-6);
}

} // namespace

TEST(Evaluate, RisingShellFollowsTheDraggedBallisticPath)
{
    firework_t f;
    f.time = 1.0f;
    f.position = {1.0f, 2.0f, 3.0f};
    f.velocity = {2.0f, -1.0f, 10.0f};
    f.fuse = 3.0f;
    f.size = 7.0f;
    f.drag = 0.5f;
    f.color = rgba(0.1f, 0.2f, 0.3f, 0.4f);
    std::vector<firework_t> scene{f};
    frame_t frame;

    frame(scene, 1.0f); // launch time not passed yet
    EXPECT_TRUE(frame.points.empty());
    EXPECT_FALSE(scene[0].launched);

    // d = 2: 0.5^2 * 2 = 0.5, so (1 + 1, 2 - 0.5, 3 + (10 - 9.8) * 0.5).
    frame(scene, 3.0f);
    ASSERT_EQ(frame.points.size(), 1u);
    EXPECT_FLOAT_EQ(frame.points[0].position.x, 2.0f);
    EXPECT_FLOAT_EQ(frame.points[0].position.y, 1.5f);
    EXPECT_FLOAT_EQ(frame.points[0].position.z, 3.1f);
    EXPECT_EQ(frame.points[0].pointsize, 7.0f);
    expectcolour(frame.points[0], 0.1, 0.2, 0.3, 0.4);

    // d equal to the fuse still rises: 0.5^3 * 3 = 0.375.
    frame(scene, 4.0f);
    ASSERT_EQ(frame.points.size(), 1u);
    EXPECT_FLOAT_EQ(frame.points[0].position.x, 1.75f);
    EXPECT_FLOAT_EQ(frame.points[0].position.z, 3.0f + (10.0f - 14.7f) * 0.375f);
    EXPECT_FALSE(scene[0].exploded);

    frame(scene, 4.001f); // burst, and no stars to show
    EXPECT_TRUE(frame.points.empty());
    EXPECT_TRUE(scene[0].exploded);
}

TEST(Evaluate, SoundsOncePerLaunchAndBurstAndAgainAfterGoingBack)
{
    std::vector<firework_t> scene{scenes::shell(1.0f), scenes::shell(1.0f)};
    scene[1].time = 0.5f;
    frame_t frame;
    using S = std::vector<std::pair<std::size_t, sound_t>>;

    for (float t : {0.25f, 0.3f})
        frame(scene, t);
    EXPECT_EQ(frame.sounds, (S{{0, sound_t::launch}}));
    for (float t : {1.25f, 1.3f, 2.0f})
        frame(scene, t);
    EXPECT_EQ(frame.sounds,
              (S{{0, sound_t::launch}, {0, sound_t::burst}, {1, sound_t::launch}, {1, sound_t::burst}}));

    // Back in time: shell 1 rises again, shell 0 has still burst.
    frame.sounds.clear();
    frame(scene, 1.2f);
    EXPECT_TRUE(frame.sounds.empty());
    EXPECT_FALSE(scene[1].exploded);
    frame(scene, 1.75f);
    EXPECT_EQ(frame.sounds, (S{{1, sound_t::burst}}));

    // Back before every launch clears the launch flags.
    frame.sounds.clear();
    frame(scene, 0.0f);
    EXPECT_FALSE(scene[0].launched);
    EXPECT_FALSE(scene[1].launched);
    // Only a rising frame clears the burst flag: jumping straight past the
    // fuse again launches with a sound but bursts silently.
    frame(scene, 3.0f);
    EXPECT_EQ(frame.sounds, (S{{0, sound_t::launch}, {1, sound_t::launch}}));

    // A default firework bursts at once and shows nothing.
    std::vector<firework_t> plain(1);
    frame.sounds.clear();
    frame(plain, 0.5f);
    EXPECT_TRUE(frame.points.empty());
    EXPECT_EQ(frame.sounds, (S{{0, sound_t::launch}, {0, sound_t::burst}}));
}

TEST(Evaluate, CarrierFliesFromTheBurstPointAndFadesThroughItsFilm)
{
    // Star velocity (4, 0, 0) from a direction of length 2 at speed 2.
    fire_t star{{2.0f, 0.0f, 0.0f}, 2.0f,
                {powder(0.0f, 3.0f, 0.5f, {film(3.0f, rgba(1, 0, 0, 1), rgba(0, 0, 1, 0))})}};
    std::vector<firework_t> scene{scenes::shell(1.0f, {star})};
    frame_t frame;
    const flight burst = fly({0, 0, 0}, {0, 0, 10}, 1.0, 1.0);
    EXPECT_NEAR(burst.z, 5.1, 1e-12);

    frame(scene, 2.0f); // b = 1
    ASSERT_EQ(frame.points.size(), 1u);
    expectat(frame.points[0], fly(burst, {4, 0, 0}, 1.0, 0.5));
    EXPECT_EQ(frame.points[0].pointsize, 3.0f);
    expectcolour(frame.points[0], 2.0 / 3, 0, 1.0 / 3, 2.0 / 3);

    frame(scene, 4.0f); // b = 3: the end of the film, colour `to`
    ASSERT_EQ(frame.points.size(), 1u);
    expectcolour(frame.points[0], 0, 0, 1, 0);
    frame(scene, 4.01f);
    EXPECT_TRUE(frame.points.empty());
}

TEST(Evaluate, DelayedStagesIgniteAlongTheStarAndRestartFromItsBurstVelocity)
{
    const auto lit = film(1.0f, rgba(1, 1, 1, 1), rgba(0, 0, 0, 1));
    fire_t star{{1.0f, 0.0f, 0.0f}, 4.0f,
                {powder(0.0f, 5.0f, 0.5f, {film(10.0f, rgba(1, 1, 1, 1), rgba(1, 1, 1, 1))}),
                 powder(0.5f, 1.0f, 0.9f, {lit}),
                 powder(2.0f, 2.0f, 0.8f, {lit}),   // longer: skipped while less time is left
                 powder(0.25f, 3.0f, 0.7f, {lit})}}; // shorter: still shows
    std::vector<firework_t> scene{scenes::shell(1.0f, {star})};
    frame_t frame;
    const flight burst{0, 0, 5.1};
    const flight V{4, 0, 0};

    frame(scene, 2.0f); // b = 1
    ASSERT_EQ(frame.points.size(), 3u);
    expectat(frame.points[0], fly(burst, V, 1.0, 0.5));
    // Ignition where the carrier (drag 0.5) was after 0.5 s, then 0.5 s of its own.
    expectat(frame.points[1], fly(fly(burst, V, 0.5, 0.5), V, 0.5, 0.9));
    expectcolour(frame.points[1], 0.5, 0.5, 0.5, 1);
    expectat(frame.points[2], fly(fly(burst, V, 0.75, 0.5), V, 0.25, 0.7));
    EXPECT_EQ(frame.points[2].pointsize, 3.0f);
    expectcolour(frame.points[2], 0.75, 0.75, 0.75, 1);

    frame(scene, 4.0f); // b = 3: the first stage is out, the long one has lit
    ASSERT_EQ(frame.points.size(), 3u);
    EXPECT_EQ(frame.points[1].pointsize, 2.0f);
    expectat(frame.points[1], fly(fly(burst, V, 2.5, 0.5), V, 0.5, 0.8));
    expectat(frame.points[2], fly(fly(burst, V, 2.75, 0.5), V, 0.25, 0.7));

    // Without a carrier the ignition point uses no drag; at r = 0 the stage
    // stands exactly where the star reached.
    fire_t bare{{1.0f, 0.0f, 0.0f}, 4.0f, {powder(0.5f, 1.0f, 0.9f, {lit})}};
    std::vector<firework_t> second{scenes::shell(1.0f, {bare})};
    frame(second, 1.5f);
    ASSERT_EQ(frame.points.size(), 1u);
    expectat(frame.points[0], fly(burst, V, 0.5, 1.0));
    expectcolour(frame.points[0], 1, 1, 1, 1);
}

TEST(Evaluate, EmptyCarrierKeepsTheShellFlyingAndEndsTheStar)
{
    const auto lit = film(5.0f, rgba(1, 1, 1, 1), rgba(1, 1, 1, 1));
    fire_t star{{1.0f, 0.0f, 0.0f}, 4.0f,
                {powder(0.25f, 1.0f, 1.0f, {lit}), powder(0.0f, 2.0f, 1.0f, {}), powder(0.0f, 3.0f, 1.0f, {lit})}};
    std::vector<firework_t> scene{scenes::shell(1.0f, {star})};
    scene[0].color = rgba(0.5f, 0.25f, 1.0f, 1.0f);
    frame_t frame;

    frame(scene, 3.0f);
    ASSERT_EQ(frame.points.size(), 2u);
    EXPECT_EQ(frame.points[0].pointsize, 1.0f);
    expectat(frame.points[1], fly({0, 0, 0}, {0, 0, 10}, 3.0, 1.0)); // the shell, not the burst point
    EXPECT_EQ(frame.points[1].pointsize, 9.0f);
    expectcolour(frame.points[1], 0.5, 0.25, 1, 1);
}

TEST(Evaluate, FilmBoundariesBelongToTheEarlierFilm)
{
    fire_t star{{0.0f, 0.0f, 1.0f}, 1.0f,
                {powder(0.0f, 1.0f, 1.0f,
                        {film(1.0f, rgba(1, 0, 0, 1), rgba(0, 1, 0, 1)), film(2.0f, rgba(0, 0, 1, 1), rgba(1, 1, 1, 0))})}};
    std::vector<firework_t> scene{scenes::shell(1.0f, {star})};
    frame_t frame;

    frame(scene, 2.0f); // b = 1: the end of the first film
    ASSERT_EQ(frame.points.size(), 1u);
    expectcolour(frame.points[0], 0, 1, 0, 1);
    frame(scene, 2.5f); // 0.5 s into the second film: w = 0.75
    expectcolour(frame.points[0], 0.25, 0.25, 1, 0.75);
    frame(scene, 4.0f); // b = 3, the sum of the durations: still lit
    ASSERT_EQ(frame.points.size(), 1u);
    expectcolour(frame.points[0], 1, 1, 1, 0);
    frame(scene, 4.0001f);
    EXPECT_TRUE(frame.points.empty());

    // A zero-length film is passed over unless no time at all is left, when
    // its fade divides zero by zero.
    fire_t zero{{0.0f, 0.0f, 1.0f}, 1.0f,
                {powder(0.5f, 1.0f, 1.0f, {film(0.0f, rgba(1, 1, 1, 1), rgba(1, 1, 1, 1)),
                                           film(1.0f, rgba(0, 0, 0, 1), rgba(0, 0, 0, 0))})}};
    std::vector<firework_t> second{scenes::shell(1.0f, {zero})};
    frame(second, 1.5f); // r = 0
    ASSERT_EQ(frame.points.size(), 1u);
    EXPECT_TRUE(std::isnan(frame.points[0].color.r));
    frame(second, 2.0f); // r = 0.5
    ASSERT_EQ(frame.points.size(), 1u);
    expectcolour(frame.points[0], 0, 0, 0, 0.5);
}

TEST(Evaluate, PointListKeepsItsStorageAndCountsAreBounded)
{
    std::vector<firework_t> scene;
    makesusuki(scene);
    EXPECT_EQ(primitivecount(scene), 176u * 321u);
    std::vector<firework_t> small{scenes::shell(1.0f), scenes::shell(1.0f)};
    small[0].fires.resize(2);
    small[0].fires[0].powders.resize(3);
    small[1].fires.resize(1);
    small[1].fires[0].powders.resize(2);
    EXPECT_EQ(primitivecount(small), 5u);

    frame_t frame;
    frame.points.reserve(primitivecount(scene));
    const primitive_t* storage = frame.points.data();
    for (float t = 0.05f; t < 13.0f; t += 0.25f) {
        frame(scene, t);
        EXPECT_LE(frame.points.size(), primitivecount(scene));
    }
    EXPECT_EQ(frame.points.data(), storage);
}

TEST(Evaluate, SceneTimeConvertsEachReadingToFloatBeforeSubtracting)
{
    // 2^24 + 1 is no float: it becomes 2^24, so the difference is one less
    // than the integer difference.
    EXPECT_EQ(elapsedmicros(16777217u, 1u), 16777215.0f);
    EXPECT_EQ(elapsedmicros(3000000u, 1500000u), 1500000.0f);
    EXPECT_EQ(scenetime(1500000.0f), 1.5f);
    EXPECT_EQ(scenetime(elapsedmicros(5000u, 2000u)), 0.003f);
    // After the 32-bit clock wraps the scene time is negative.
    EXPECT_LT(scenetime(elapsedmicros(5u, 4294967295u)), -4000.0f);
}
