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
#include <vector>

using namespace vexlor;
using scenes::film;
using scenes::powder;
using scenes::rgba;

namespace {

// Both evaluations on their own copy of the scene, frame by frame.
void expectsame(const std::vector<firework_t>& scene, const std::vector<float>& times)
{
    std::vector<firework_t> mine = scene;
    std::vector<firework_t> theirs = scene;
    evaluator_t evaluator;
    std::vector<primitive_t> points;
    std::vector<primitive_t> expected;
    std::vector<reference::sound_t> sounds;
    std::vector<reference::sound_t> expectedsounds;
    for (float t : times) {
        evaluator.evaluate(mine, t, points, [&](std::size_t i, sound_t what) { sounds.push_back({i, what}); });
        reference::evaluate(theirs, t, expected, expectedsounds);
        ASSERT_EQ(points.size(), expected.size()) << "t = " << t;
        ASSERT_EQ(std::memcmp(points.data(), expected.data(), points.size() * sizeof(primitive_t)), 0)
            << "t = " << t;
        ASSERT_EQ(sounds, expectedsounds) << "t = " << t;
    }
}

// Forward in frames, back in one-second steps, then random times.
std::vector<float> timeline(float end, float step, std::size_t randoms)
{
    std::vector<float> times;
    for (float t = 0.0f; t < end; t += step)
        times.push_back(t);
    for (float t = end; t > 0.0f; t -= 1.0f)
        times.push_back(t);
    std::mt19937 random(12345);
    std::uniform_real_distribution<float> any(-0.5f, end);
    for (std::size_t i = 0; i < randoms; ++i)
        times.push_back(any(random));
    return times;
}

} // namespace

TEST(Shortcuts, SusukiGivesExactlyThePlainPoints)
{
    std::vector<firework_t> scene;
    makesusuki(scene);
    std::vector<float> times = timeline(13.0f, 0.0371f, 200);
    // Exactly at the burst, at spark ignitions and at the very end.
    for (float t : {2.0f, 2.03125f, 2.0625f, 2.28125f, 12.0f, 12.25f, 12.250001f})
        times.push_back(t);
    expectsame(scene, times);
}

TEST(Shortcuts, FinaleGivesExactlyThePlainPoints)
{
    std::vector<firework_t> scene;
    reference::makefinale(scene, 24, 0.5f);
    expectsame(scene, timeline(26.0f, 0.173f, 60));
}

TEST(Shortcuts, OtherShowsGiveExactlyThePlainPoints)
{
    std::vector<firework_t> scene;
    makesingle(scene);
    makeblink(scene);
    makeminiexhibition(scene);
    makesimple(scene, 6.25f, rgba(1, 1, 1, 1));
    scene[1].time = 0.75f;
    expectsame(scene, timeline(24.0f, 0.0917f, 100));
}

TEST(Shortcuts, OddValuesGiveExactlyThePlainPoints)
{
    const auto lit = film(0.5f, rgba(1, 0, 0, 1), rgba(0, 1, 0, 1));
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    std::vector<fire_t> fires{
        // A longer delay skipped, a shorter one after it shown.
        {{1, 0, 0}, 3.0f, {powder(0.0f, 1, 0.9f, {lit}), powder(0.4f, 1, 0.8f, {lit}), powder(2.0f, 1, 0.8f, {lit}),
                           powder(0.1f, 1, 0.7f, {lit}), powder(0.1f, 1, 0.7f, {lit})}},
        // A carrier after delayed stages changes the drag of later ignitions.
        {{0, 1, 0}, 2.0f, {powder(0.3f, 1, 0.8f, {lit}), powder(0.0f, 1, 0.5f, {lit}), powder(0.3f, 1, 0.8f, {lit})}},
        // Negative, not-a-number and infinite delays.
        {{0, 0, 1}, 2.0f, {powder(-0.5f, 1, 0.8f, {lit}), powder(0.25f, 1, 0.8f, {lit})}},
        {{0, 0, 1}, 2.0f, {powder(0.25f, 1, 0.8f, {lit}), powder(nan, 1, 0.8f, {lit}), powder(0.25f, 1, 0.8f, {lit})}},
        {{1, 1, 0}, 2.0f, {powder(inf, 1, 0.8f, {lit}), powder(0.25f, 1, 0.8f, {lit})}},
        // Films that are empty, of zero, negative, infinite or NaN length, or many.
        {{1, 0, 1}, 2.0f, {powder(0.25f, 1, 0.8f, {}), powder(0.25f, 1, 0.8f, {film(0.0f, rgba(1, 1, 1, 1), rgba(0, 0, 0, 0))})}},
        {{0, 1, 1}, 2.0f, {powder(0.0f, 1, 0.8f, {film(-1.0f, rgba(1, 1, 1, 1), rgba(0, 0, 0, 0)), lit})}},
        {{1, 1, 1}, 2.0f, {powder(0.5f, 1, 0.8f, {film(inf, rgba(1, 1, 1, 1), rgba(0, 0, 0, 0))})}},
        {{1, 0, 0}, 2.0f, {powder(0.5f, 1, 0.8f, {film(nan, rgba(1, 1, 1, 1), rgba(0, 0, 0, 0)), lit})}},
        {{0, 1, 0}, 2.0f, {powder(0.0f, 1, 0.8f, std::vector<film_t>(5000, film(0.001f, rgba(1, 1, 1, 1), rgba(0, 0, 0, 1))))}},
        // An empty carrier in the middle: the shell flies on for ever.
        {{0, 0, 1}, 2.0f, {powder(0.5f, 1, 0.8f, {lit}), powder(0.0f, 1, 0.8f, {}), powder(0.5f, 1, 0.8f, {lit})}},
    };
    // More stages than the limits reason about.
    fire_t many{{1, 0, 0}, 1.0f, {}};
    many.powders.assign(5000, powder(0.002f, 1, 0.9f, {lit}));
    fires.push_back(many);

    std::vector<firework_t> scene;
    for (std::size_t i = 0; i < fires.size(); ++i) {
        scene.push_back(scenes::shell(1.0f, {fires[i]}));
        scene.back().time = 0.1f * static_cast<float>(i);
    }
    scene.push_back(scenes::shell(1.0f, fires)); // all of them in one shell
    scene.back().drag = 0.7f;
    expectsame(scene, timeline(16.0f, 0.0537f, 200));
}

TEST(Shortcuts, ChangedSceneShapeIsNoticed)
{
    std::vector<firework_t> scene;
    makesusuki(scene);
    std::vector<firework_t> copy = scene;
    evaluator_t evaluator;
    std::vector<primitive_t> points;
    const auto silent = [](std::size_t, sound_t) {};
    evaluator.evaluate(copy, 12.2f, points, silent);
    EXPECT_FALSE(points.empty());

    // Stars that would have burnt out now carry a long-lived last stage.
    for (fire_t& fire : scene[0].fires)
        fire.powders.push_back(powder(0.03125f, 12.5f, 0.9f, {film(30.0f, rgba(1, 1, 1, 1), rgba(1, 1, 1, 1))}));
    std::vector<primitive_t> expected;
    std::vector<reference::sound_t> sounds;
    for (float t : {14.0f, 20.0f}) {
        std::vector<firework_t> theirs = scene;
        evaluator.evaluate(scene, t, points, silent);
        reference::evaluate(theirs, t, expected, sounds);
        ASSERT_EQ(points.size(), expected.size());
        EXPECT_EQ(points.size(), 176u);
        EXPECT_EQ(std::memcmp(points.data(), expected.data(), points.size() * sizeof(primitive_t)), 0);
    }
}

TEST(Shortcuts, LongTailsOfOneDelayGiveExactlyThePlainPoints)
{
    // Tails of one repeated delay, some of which the walk cannot add up
    // exactly (a delay of 0.1, delays used before a carrier that are no
    // multiple of the tail's delay, times so large that the delay falls
    // below the spacing of floats there).
    const auto lit = film(0.5f, rgba(1, 0.5f, 0, 1), rgba(0, 0, 0, 1));
    const auto tail = [&](std::vector<powder_t> head, float delay, std::size_t count) {
        head.insert(head.end(), count, powder(delay, 2.0f, 0.9f, {lit}));
        return fire_t{{0.6f, 0.0f, 0.8f}, 20.0f, head};
    };
    const powder_t carrier = powder(0.0f, 5.0f, 0.95f, {film(4.0f, rgba(1, 1, 1, 1), rgba(1, 1, 1, 1))});
    std::vector<fire_t> fires{
        tail({carrier}, 0.1f, 300),
        tail({carrier}, 0.375f, 300),
        tail({powder(0.3f, 1, 1, {lit}), carrier}, 0.125f, 300),
        tail({powder(0.25f, 1, 1, {lit}), carrier}, 0.125f, 300),
        tail({}, 0.0078125f, 3000),
        tail({powder(16000.0f, 1, 1, {lit}), carrier}, 0.0009765625f, 4000),
        tail({powder(16000.0f, 1, 1, {lit}), carrier}, 0.00390625f, 4000),
        // Found by search: from this head delay, adding 0.125 step by step
        // rounds differently from adding 246 times 0.125 at once.
        tail({powder(0x1.4045dcp+0f, 1, 1, {lit}), carrier}, 0.125f, 300),
        // A delay finer than the spacing of floats between 16 and 32.
        tail({}, 4097.0f / 1048576.0f, 4096),
        // Delays used so far so large that adding the tail's delay rounds.
        // (A carrier without drag, or the far ignition points would all be 0.)
        tail({powder(20000.0f, 1, 1, {lit}), powder(0.0f, 5.0f, 1.0f, {lit})}, 0.0009765625f, 4000),
    };
    std::vector<firework_t> scene{scenes::shell(1.0f, fires)};
    std::vector<float> times = timeline(40.0f, 0.0773f, 100);
    for (float t = 16000.0f; t < 16020.0f; t += 0.61f)
        times.push_back(t);
    for (float t = 20001.0f; t < 20004.0f; t += 0.25f)
        times.push_back(t);
    for (float t = 100000.0f; t < 100003.0f; t += 0.0731f)
        times.push_back(t);
    expectsame(scene, times);
}
