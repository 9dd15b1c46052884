// The per-frame evaluation on small scenes whose points are worked out by
// hand or in double precision from the flight formula.
#include "firework/evaluate.h"
#include "firework/sample.h"
#include "tests/firework/scenes.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace vexlor;
using scenes::film;
using scenes::powder;
using scenes::rgba;

namespace {

using sounds_t = std::vector<std::pair<std::size_t, sound_t>>;

struct frame_t {
    evaluator_t evaluator;
    std::vector<primitive_t> points;
    sounds_t sounds;
    std::size_t operator()(std::vector<firework_t>& scene, float t)
    {
        evaluator.evaluate(scene, t, points, [this](std::size_t i, sound_t what) { sounds.emplace_back(i, what); });
        return points.size();
    }
};

// Start velocity v for s seconds under drag D: p + v D^s s, the fall added to v.z first.
struct at {
    double x, y, z;
};
at fly(at p, at v, double s, double drag)
{
    const double f = std::pow(drag, s) * s;
    return {p.x + v.x * f, p.y + v.y * f, p.z + (v.z - 4.9 * s) * f};
}

void expectpoint(const primitive_t& point, at p, float size, geokit::color3a_t c)
{
    EXPECT_NEAR(point.position.x, p.x, 1e-5);
    EXPECT_NEAR(point.position.y, p.y, 1e-5);
    EXPECT_NEAR(point.position.z, p.z, 1e-5);
    EXPECT_EQ(point.pointsize, size);
    EXPECT_NEAR(point.color.r, c.r, 1e-6);
    EXPECT_NEAR(point.color.g, c.g, 1e-6);
    EXPECT_NEAR(point.color.b, c.b, 1e-6);
    EXPECT_NEAR(point.color.a, c.a, 1e-6);
}

} // namespace

TEST(Evaluate, RisingShellFollowsTheDraggedBallisticPathUpToItsFuse)
{
    firework_t f{false, false, 1.0f, {1, 2, 3}, {2, -1, 10}, 3.0f, 7.0f, 0.5f, rgba(0.1f, 0.2f, 0.3f, 0.4f), {}};
    std::vector<firework_t> scene{f};
    frame_t frame;
    EXPECT_EQ(frame(scene, 1.0f), 0u); // launch time not passed yet
    // d = 2: 0.5^2 * 2 = 0.5, so (1 + 1, 2 - 0.5, 3 + (10 - 9.8) * 0.5).
    ASSERT_EQ(frame(scene, 3.0f), 1u);
    expectpoint(frame.points[0], {2.0, 1.5, 3.1}, 7.0f, f.color);
    ASSERT_EQ(frame(scene, 4.0f), 1u); // d equal to the fuse: 0.5^3 * 3 = 0.375
    expectpoint(frame.points[0], {1.75, 1.625, 3.0 + (10.0 - 14.7) * 0.375}, 7.0f, f.color);
    EXPECT_FALSE(scene[0].exploded);
    EXPECT_EQ(frame(scene, 4.001f), 0u); // burst, no stars
    EXPECT_TRUE(scene[0].exploded);
}

TEST(Evaluate, OneSoundPerLaunchAndBurstAndAgainAfterGoingBack)
{
    std::vector<firework_t> scene{scenes::shell(1.0f), scenes::shell(1.0f)};
    scene[1].time = 0.5f;
    frame_t frame;
    for (float t : {0.25f, 0.3f, 1.25f, 1.3f, 2.0f})
        frame(scene, t);
    EXPECT_EQ(frame.sounds,
              (sounds_t{{0, sound_t::launch}, {0, sound_t::burst}, {1, sound_t::launch}, {1, sound_t::burst}}));
    // Back to where shell 1 rises again: it bursts once more.
    frame.sounds.clear();
    frame(scene, 1.2f);
    frame(scene, 1.75f);
    EXPECT_EQ(frame.sounds, (sounds_t{{1, sound_t::burst}}));
    // Back before every launch; only a rising frame clears the burst flag,
    // so jumping straight past the fuse launches with a sound but bursts silently.
    frame.sounds.clear();
    frame(scene, 0.0f);
    EXPECT_FALSE(scene[0].launched || scene[1].launched);
    frame(scene, 3.0f);
    EXPECT_EQ(frame.sounds, (sounds_t{{0, sound_t::launch}, {1, sound_t::launch}}));
    // A default firework bursts at once and shows nothing.
    std::vector<firework_t> plain(1);
    frame.sounds.clear();
    EXPECT_EQ(frame(plain, 0.5f), 0u);
    EXPECT_EQ(frame.sounds, (sounds_t{{0, sound_t::launch}, {0, sound_t::burst}}));
}

TEST(Evaluate, StarStagesFlyFromTheBurstAndIgniteAlongTheStar)
{
    const auto lit = film(1.0f, rgba(1, 1, 1, 1), rgba(0, 0, 0, 1));
    const auto grey = [](double v) { return rgba(float(v), float(v), float(v), 1); };
    // Star velocity (4, 0, 0) from a direction of length 2 at speed 2.
    fire_t star{{2, 0, 0}, 2.0f,
                {powder(0.0f, 5.0f, 0.5f, {film(3.0f, rgba(1, 0, 0, 1), rgba(0, 0, 1, 0))}),
                 powder(0.5f, 1.0f, 0.9f, {lit}),
                 powder(2.0f, 2.0f, 0.8f, {lit}),   // longer: skipped while less time is left
                 powder(0.25f, 3.0f, 0.7f, {lit})}}; // shorter: still shows
    std::vector<firework_t> scene{scenes::shell(1.0f, {star})};
    frame_t frame;
    const at burst{0, 0, 5.1}, V{4, 0, 0};

    ASSERT_EQ(frame(scene, 2.0f), 3u); // b = 1
    expectpoint(frame.points[0], fly(burst, V, 1.0, 0.5), 5.0f, rgba(2.0f / 3, 0, 1.0f / 3, 2.0f / 3));
    // Ignition where the carrier (drag 0.5) was after 0.5 s, then 0.5 s of its own.
    expectpoint(frame.points[1], fly(fly(burst, V, 0.5, 0.5), V, 0.5, 0.9), 1.0f, grey(0.5));
    expectpoint(frame.points[2], fly(fly(burst, V, 0.75, 0.5), V, 0.25, 0.7), 3.0f, grey(0.75));
    ASSERT_EQ(frame(scene, 4.0f), 3u); // b = 3: the first stage is out, the long one lit
    expectpoint(frame.points[0], fly(burst, V, 3.0, 0.5), 5.0f, rgba(0, 0, 1, 0));
    expectpoint(frame.points[1], fly(fly(burst, V, 2.5, 0.5), V, 0.5, 0.8), 2.0f, grey(0.5));
    expectpoint(frame.points[2], fly(fly(burst, V, 2.75, 0.5), V, 0.25, 0.7), 3.0f, grey(0.75));
    EXPECT_EQ(frame(scene, 4.01f), 2u); // the carrier's film has run out

    // No carrier: the ignition point has no drag; at r = 0 the stage stands
    // where the star reached. An empty carrier keeps the shell flying and
    // ends the star.
    fire_t bare{{1, 0, 0}, 4.0f, {powder(0.5f, 1.0f, 0.9f, {lit}), powder(0.0f, 2.0f, 1.0f, {}), powder(0.0f, 3.0f, 1.0f, {lit})}};
    std::vector<firework_t> second{scenes::shell(1.0f, {bare})};
    second[0].color = rgba(0.5f, 0.25f, 1.0f, 1.0f);
    ASSERT_EQ(frame(second, 1.5f), 2u);
    expectpoint(frame.points[0], fly(burst, V, 0.5, 1.0), 1.0f, grey(1));
    expectpoint(frame.points[1], fly({0, 0, 0}, {0, 0, 10}, 1.5, 1.0), 9.0f, second[0].color);
}

TEST(Evaluate, FilmBoundariesBelongToTheEarlierFilm)
{
    fire_t star{{0, 0, 1}, 1.0f,
                {powder(0.0f, 1.0f, 1.0f, {film(1.0f, rgba(1, 0, 0, 1), rgba(0, 1, 0, 1)), film(2.0f, rgba(0, 0, 1, 1), rgba(1, 1, 1, 0))}),
                 // A zero-length film is passed over unless no time at all is
                 // left, when its fade divides zero by zero.
                 powder(0.5f, 2.0f, 1.0f, {film(0.0f, rgba(1, 1, 1, 1), rgba(1, 1, 1, 1)), film(9.0f, rgba(0, 0, 0, 1), rgba(0, 0, 0, 1))})}};
    std::vector<firework_t> scene{scenes::shell(1.0f, {star})};
    frame_t frame;
    const std::vector<std::pair<float, geokit::color3a_t>> colours = {
        {2.0f, rgba(0, 1, 0, 1)}, {2.5f, rgba(0.25f, 0.25f, 1, 0.75f)}, {4.0f, rgba(1, 1, 1, 0)}};
    for (const auto& [t, c] : colours) {
        ASSERT_EQ(frame(scene, t), 2u);
        EXPECT_NEAR(frame.points[0].color.r, c.r, 1e-6);
        EXPECT_NEAR(frame.points[0].color.a, c.a, 1e-6);
        EXPECT_EQ(frame.points[1].color.r, 0.0f);
    }
    EXPECT_EQ(frame(scene, 4.0001f), 1u); // past the sum of the durations
    ASSERT_EQ(frame(scene, 1.5f), 2u);    // r = 0
    EXPECT_TRUE(std::isnan(frame.points[1].color.r));
}

TEST(Evaluate, StorageIsKeptCountsAreBoundedAndTimeConverts)
{
    std::vector<firework_t> scene;
    makesusuki(scene);
    EXPECT_EQ(primitivecount(scene), 176u * 321u);
    frame_t frame;
    frame.points.reserve(primitivecount(scene));
    const primitive_t* storage = frame.points.data();
    for (float t = 0.05f; t < 13.0f; t += 0.25f)
        EXPECT_LE(frame(scene, t), primitivecount(scene));
    EXPECT_EQ(frame.points.data(), storage);

    // A shell without stars still draws itself while it rises: the capacity
    // counts it, the plain stage count does not.
    const powder_t lit = powder(0, 1, 1, {film(9, rgba(1, 1, 1, 1), rgba(1, 1, 1, 1))});
    scene = {scenes::shell(3.0f), scenes::shell(0.5f, {fire_t{{1, 0, 0}, 1.0f, {lit, lit}}})};
    EXPECT_EQ(primitivecount(scene), 2u);
    EXPECT_EQ(pointcapacity(scene), 3u);
    EXPECT_EQ(frame(scene, 1.0f), 3u);

    // 2^24 + 1 is no float: converted first, it loses the 1.
    EXPECT_EQ(elapsedmicros(16777217u, 1u), 16777215.0f);
    EXPECT_EQ(scenetime(elapsedmicros(3000000u, 1500000u)), 1.5f);
    EXPECT_LT(scenetime(elapsedmicros(5u, 4294967295u)), -4000.0f); // after the clock wraps
}
