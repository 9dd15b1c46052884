// The library's evaluation against the plain step-by-step one: the same
// points bit for bit and the same sounds, forwards, backwards and at random
// times, for the built-in shows, a finale and scenes with odd values.
#include "firework/evaluate.h"
#include "firework/sample.h"
#include "tests/firework/reference.h"
#include "tests/firework/scenes.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <random>

using namespace vexlor;
using scenes::film;
using scenes::powder;
using scenes::rgba;

namespace {

// Forward in frames, back in one-second steps, then random times.
std::vector<float> timeline(float end, float step, int randoms)
{
    std::vector<float> times;
    for (float t = 0.0f; t < end; t += step)
        times.push_back(t);
    for (float t = end; t > 0.0f; t -= 1.0f)
        times.push_back(t);
    std::mt19937 random(12345);
    std::uniform_real_distribution<float> any(-0.5f, end);
    for (int i = 0; i < randoms; ++i)
        times.push_back(any(random));
    return times;
}

// Both evaluations on their own copy of the scene, frame by frame.
void expectsame(const std::vector<firework_t>& scene, const std::vector<float>& times)
{
    std::vector<firework_t> mine = scene, theirs = scene;
    evaluator_t evaluator;
    std::vector<primitive_t> points, expected;
    reference::sounds_t sounds, expectedsounds;
    for (float t : times) {
        evaluator.evaluate(mine, t, points, [&](std::size_t i, sound_t what) { sounds.emplace_back(i, what); });
        reference::evaluate(theirs, t, expected, expectedsounds);
        ASSERT_EQ(points.size(), expected.size()) << "t = " << t;
        ASSERT_EQ(std::memcmp(points.data(), expected.data(), points.size() * sizeof(primitive_t)), 0) << "t = " << t;
        ASSERT_EQ(sounds, expectedsounds) << "t = " << t;
    }
}

} // namespace

TEST(Shortcuts, ShowsAndAFinaleGiveExactlyThePlainPoints)
{
    std::vector<firework_t> susuki;
    makesusuki(susuki);
    std::vector<float> times = timeline(13.0f, 0.0371f, 200);
    // At the burst, at spark ignitions and at the very end.
    times.insert(times.end(), {2.0f, 2.03125f, 2.0625f, 2.28125f, 12.0f, 12.25f, 12.250001f});
    expectsame(susuki, times);

    std::vector<firework_t> finale;
    reference::makefinale(finale, 24, 0.5f);
    expectsame(finale, timeline(26.0f, 0.173f, 60));

    std::vector<firework_t> others;
    makesingle(others);
    makeblink(others);
    makeminiexhibition(others);
    others[1].time = 0.75f;
    expectsame(others, timeline(24.0f, 0.0917f, 100));
}

TEST(Shortcuts, OddValuesGiveExactlyThePlainPoints)
{
    const auto lit = film(0.5f, rgba(1, 0, 0, 1), rgba(0, 1, 0, 1));
    const auto white = rgba(1, 1, 1, 1);
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    std::vector<fire_t> fires{
        // A carrier after delayed stages changes the drag of later ignitions.
        {{0, 1, 0}, 2.0f, {powder(0.3f, 1, 0.8f, {lit}), powder(0.0f, 1, 0.5f, {lit}), powder(0.3f, 1, 0.8f, {lit})}},
        // Negative, not-a-number and infinite delays.
        {{0, 0, 1}, 2.0f, {powder(-0.5f, 1, 0.8f, {lit}), powder(0.25f, 1, 0.8f, {lit})}},
        {{0, 0, 1}, 2.0f, {powder(0.25f, 1, 0.8f, {lit}), powder(nan, 1, 0.8f, {lit}), powder(0.25f, 1, 0.8f, {lit})}},
        {{1, 1, 0}, 2.0f, {powder(inf, 1, 0.8f, {lit}), powder(0.25f, 1, 0.8f, {lit})}},
        // Films that are empty, of zero, negative, infinite or NaN length, or many.
        {{1, 0, 1}, 2.0f, {powder(0.25f, 1, 0.8f, {}), powder(0.25f, 1, 0.8f, {film(0.0f, white, white)})}},
        {{0, 1, 1}, 2.0f, {powder(0.0f, 1, 0.8f, {film(-1.0f, white, white), lit})}},
        {{1, 1, 1}, 2.0f, {powder(0.5f, 1, 0.8f, {film(inf, white, white)})}},
        {{1, 0, 0}, 2.0f, {powder(0.5f, 1, 0.8f, {film(nan, white, white), lit})}},
        {{0, 1, 0}, 2.0f, {powder(0.0f, 1, 0.8f, std::vector<film_t>(5000, film(0.001f, white, white)))}},
        // An empty carrier in the middle: the shell flies on for ever.
        {{0, 0, 1}, 2.0f, {powder(0.5f, 1, 0.8f, {lit}), powder(0.0f, 1, 0.8f, {}), powder(0.5f, 1, 0.8f, {lit})}},
        // More stages than the limits reason about.
        {{1, 0, 0}, 1.0f, std::vector<powder_t>(5000, powder(0.002f, 1, 0.9f, {lit}))},
    };
    std::vector<firework_t> scene;
    for (std::size_t i = 0; i < fires.size(); ++i) {
        scene.push_back(scenes::shell(1.0f, {fires[i]}));
        scene.back().time = 0.1f * static_cast<float>(i);
    }
    scene.push_back(scenes::shell(1.0f, fires)); // all of them in one shell
    scene.back().drag = 0.7f;
    expectsame(scene, timeline(16.0f, 0.0537f, 200));
}

TEST(Shortcuts, LongTailsOfOneDelayGiveExactlyThePlainPoints)
{
    // Tails of one repeated delay; some the walk cannot add up exactly.
    const auto lit = film(0.5f, rgba(1, 0.5f, 0, 1), rgba(0, 0, 0, 1));
    const auto tail = [&](std::vector<powder_t> head, float delay, std::size_t count) {
        head.insert(head.end(), count, powder(delay, 2.0f, 0.9f, {lit}));
        return fire_t{{0.6f, 0.0f, 0.8f}, 20.0f, head};
    };
    const powder_t carrier = powder(0.0f, 5.0f, 0.95f, {film(4.0f, rgba(1, 1, 1, 1), rgba(1, 1, 1, 1))});
    std::vector<fire_t> fires{
        tail({carrier}, 0.1f, 300), tail({carrier}, 0.375f, 300), tail({}, 0.0078125f, 3000),
        tail({powder(0.25f, 1, 1, {lit}), carrier}, 0.125f, 300),
        // Found by search: from this head delay, adding 0.125 step by step
        // rounds differently from adding 246 times 0.125 at once.
        tail({powder(0x1.4045dcp+0f, 1, 1, {lit}), carrier}, 0.125f, 300),
        // A delay finer than the spacing of floats between 16 and 32.
        tail({}, 4097.0f / 1048576.0f, 4096),
        // Delays used so far so large that adding the tail's delay rounds
        // (a carrier without drag, or all far ignition points would be 0).
        tail({powder(20000.0f, 1, 1, {lit}), powder(0.0f, 5.0f, 1.0f, {lit})}, 0.0009765625f, 4000),
    };
    std::vector<float> times = timeline(40.0f, 0.0773f, 100);
    for (float t = 20001.0f; t < 20004.0f; t += 0.25f)
        times.push_back(t);
    expectsame({scenes::shell(1.0f, fires)}, times);
}

TEST(Shortcuts, ChangedSceneShapeIsNoticed)
{
    std::vector<firework_t> scene;
    makesusuki(scene);
    evaluator_t evaluator;
    std::vector<primitive_t> points, expected;
    reference::sounds_t sounds;
    evaluator.evaluate(scene, 12.2f, points, [](std::size_t, sound_t) {});
    // Stars that had burnt out now carry a long-lived last stage.
    for (fire_t& fire : scene[0].fires)
        fire.powders.push_back(powder(0.03125f, 12.5f, 0.9f, {film(30.0f, rgba(1, 1, 1, 1), rgba(1, 1, 1, 1))}));
    std::vector<firework_t> theirs = scene;
    evaluator.evaluate(scene, 20.0f, points, [](std::size_t, sound_t) {});
    reference::evaluate(theirs, 20.0f, expected, sounds);
    ASSERT_EQ(points.size(), 176u);
    ASSERT_EQ(expected.size(), 176u);
    EXPECT_EQ(std::memcmp(points.data(), expected.data(), points.size() * sizeof(primitive_t)), 0);
}
