// The per-frame evaluation on small scenes whose points are worked out by
// hand or in double precision from the flight formula; then the library's
// evaluation against the plain step-by-step one: the same points bit for bit
// and the same sounds, forwards, backwards and at random times, for a finale
// and scenes with odd values.
#include "firework/evaluate.h"
#include "tests/firework/reference.h"
#include "tests/firework/scenes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

using namespace vexlor;

namespace {

using reference::sounds_t;
constexpr sound_t launch = sound_t::launch, burst = sound_t::burst;

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
struct at { double x, y, z; };
at fly(at p, at v, double s, double drag)
{
    const double f = std::pow(drag, s) * s;
    return {p.x + v.x * f, p.y + v.y * f, p.z + (v.z - 4.9 * s) * f};
}

void expectpoint(const primitive_t& p, at q, float size, geokit::color3a_t c)
{
    const float got[] = {p.position.x, p.position.y, p.position.z, p.color.r, p.color.g, p.color.b, p.color.a};
    const double want[] = {q.x, q.y, q.z, c.r, c.g, c.b, c.a};
    for (int i = 0; i < 7; ++i) EXPECT_NEAR(got[i], want[i], 1e-5) << "value " << i;
    EXPECT_EQ(p.pointsize, size);
}

// Forward in frames, then random times.
std::vector<float> timeline(float end, float step, int randoms)
{
    std::vector<float> times;
    for (float t = 0.0f; t < end; t += step) times.push_back(t);
    std::mt19937 random(12345);
    std::uniform_real_distribution<float> any(-0.5f, end);
    for (int i = 0; i < randoms; ++i) times.push_back(any(random));
    return times;
}

// Both evaluations on their own copy of the scene, frame by frame. One
// evaluator for every scene: it has to notice when the scene changes shape.
frame_t optimised;
void expectsame(std::vector<firework_t> mine, const std::vector<float>& times)
{
    std::vector<firework_t> theirs = mine;
    std::vector<primitive_t> expected;
    sounds_t sounds;
    optimised.sounds.clear();
    for (float t : times) {
        reference::evaluate(theirs, t, expected, sounds);
        ASSERT_EQ(optimised(mine, t), expected.size()) << "t = " << t;
        // Empty lists may hold no storage at all, and memcmp takes no null pointer.
        if (!expected.empty()) {
            ASSERT_EQ(std::memcmp(optimised.points.data(), expected.data(), expected.size() * sizeof(primitive_t)), 0) << t;
        }
        ASSERT_EQ(optimised.sounds, sounds) << "t = " << t;
    }
}

// Stages for odd stars: `fire` gives the head stages, then `count` stages of one delay.
const film_t glow{0.5f, {1, 0, 0, 1}, {0, 1, 0, 1}}, white{1.0f, {1, 1, 1, 1}, {1, 1, 1, 1}};
powder_t stage(float delay, std::vector<film_t> films = {glow}) { return {delay, 1, 0.8f, films}; }
fire_t fire(std::vector<powder_t> head, float delay = 0.0f, std::size_t count = 0)
{
    head.insert(head.end(), count, powder_t{delay, 2.0f, 0.9f, {glow}});
    return fire_t{{0.6f, 0.0f, 0.8f}, 20.0f, head};
}

} // namespace

TEST(Evaluate, HandWorkedScenesAndTheirSounds)
{
    firework_t f{false, false, 1.0f, {1, 2, 3}, {2, -1, 10}, 3.0f, 7.0f, 0.5f, {0.1f, 0.2f, 0.3f, 0.4f}, {}};
    std::vector<firework_t> scene{f, scenes::shell(1.0f)};
    scene[1].time = 0.5f;
    frame_t frame;
    frame.points.reserve(4);
    const primitive_t* storage = frame.points.data(); // kept: no allocation per frame
    EXPECT_EQ(frame(scene, 0.5f), 0u);                // no launch time passed yet
    // d = 2: 0.5^2 * 2 = 0.5, so (1 + 1, 2 - 0.5, 3 + (10 - 9.8) * 0.5); the second shell burst starless.
    ASSERT_EQ(frame(scene, 3.0f), 1u);
    expectpoint(frame.points[0], {2.0, 1.5, 3.1}, 7.0f, f.color);
    ASSERT_EQ(frame(scene, 4.0f), 1u); // d equal to the fuse: 0.5^3 * 3 = 0.375
    expectpoint(frame.points[0], {1.75, 1.625, 3.0 + (10.0 - 14.7) * 0.375}, 7.0f, f.color);
    EXPECT_EQ(frame(scene, 4.001f), 0u);
    for (float t : {1.2f, 3.0f, 0.0f, 3.0f}) frame(scene, t);
    // Both rising again at 1.2, so the second bursts again at 3. Back
    // before every launch only the launch flags clear: only a rising frame
    // clears the burst flag, so the jump past the fuse bursts silently.
    EXPECT_EQ(frame.sounds, (sounds_t{{0, launch}, {1, launch}, {1, burst}, {0, burst}, {1, burst}, {0, launch}, {1, launch}}));

    const film_t lit{1.0f, {1, 1, 1, 1}, {0, 0, 0, 1}};
    const auto grey = [](float v) { return geokit::color3a_t{v, v, v, 1}; };
    // Star velocity (4, 0, 0) from a direction of length 2 at speed 2; the
    // carrier fades red to green over 1 s, then blue to clear white over 2 s.
    // The second star: a carrier without films keeps the shell flying and ends the star.
    fire_t star{{2, 0, 0}, 2.0f,
                {{0.0f, 5.0f, 0.5f, {{1.0f, {1, 0, 0, 1}, {0, 1, 0, 1}}, {2.0f, {0, 0, 1, 1}, {1, 1, 1, 0}}}},
                 {0.5f, 1.0f, 0.9f, {{0.0f, {}, {}}, lit}}, // the zero-length film is passed over unless r = 0
                 {2.0f, 2.0f, 0.8f, {lit}},                  // longer: skipped while less time is left
                 {0.25f, 3.0f, 0.7f, {lit}}}};               // shorter: still shows
    const fire_t bare{{1, 0, 0}, 1.0f, {{0.0f, 4.0f, 1.0f, {}}, {0.0f, 5.0f, 1.0f, {lit}}}};
    scene = {scenes::shell(1.0f, {star, bare})};
    const at burst{0, 0, 5.1}, V{4, 0, 0};
    ASSERT_EQ(frame(scene, 2.0f), 4u); // b = 1: a film's end belongs to it
    expectpoint(frame.points[0], fly(burst, V, 1.0, 0.5), 5.0f, {0, 1, 0, 1});
    // Ignition where the carrier (drag 0.5) was after 0.5 s, then 0.5 s of its own.
    expectpoint(frame.points[1], fly(fly(burst, V, 0.5, 0.5), V, 0.5, 0.9), 1.0f, grey(0.5f));
    expectpoint(frame.points[2], fly(fly(burst, V, 0.75, 0.5), V, 0.25, 0.7), 3.0f, grey(0.75f));
    expectpoint(frame.points[3], fly({0, 0, 0}, {0, 0, 10}, 2.0, 1.0), 9.0f, {1, 1, 1, 1});
    ASSERT_EQ(frame(scene, 1.5f), 3u); // b = 0.5: the stage ignites with r = 0, its fade divides zero by zero
    EXPECT_TRUE(std::isnan(frame.points[1].color.r));
    ASSERT_EQ(frame(scene, 4.0f), 4u); // b = 3: the first stage is out, the long one lit
    expectpoint(frame.points[0], fly(burst, V, 3.0, 0.5), 5.0f, {1, 1, 1, 0});
    expectpoint(frame.points[1], fly(fly(burst, V, 2.5, 0.5), V, 0.5, 0.8), 2.0f, grey(0.5f));
    EXPECT_EQ(frame(scene, 4.01f), 3u); // past the carrier's films
    // A shell without stars still draws itself while it rises: the capacity counts it, the stage count does not.
    scene.push_back(scenes::shell(2.0f));
    EXPECT_EQ(primitivecount(scene), 6u);
    EXPECT_EQ(frame.points.data(), storage);
}

TEST(Shortcuts, GiveExactlyThePlainPoints)
{
    std::vector<firework_t> scene;
    reference::makefinale(scene, 24, 0.5f);
    std::vector<float> times = timeline(26.0f, 0.173f, 60);
    // The first shell at its burst, at spark ignitions and at its very end.
    times.insert(times.end(), {2.0f, 2.03125f, 2.0625f, 2.28125f, 12.0f, 12.25f, 12.250001f});
    expectsame(scene, times);

    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    const powder_t carrier{0.0f, 5.0f, 0.95f, {{4.0f, {1, 1, 1, 1}, {1, 1, 1, 1}}}};
    std::vector<fire_t> fires{
        // A carrier after delayed stages changes the drag of later ignitions.
        fire({stage(0.3f), stage(0.0f), stage(0.3f)}),
        // Negative, not-a-number and infinite delays.
        fire({stage(-0.5f), stage(0.25f)}), fire({stage(0.25f), stage(nan), stage(0.25f)}), fire({stage(inf), stage(0.25f)}),
        // Films that are empty, of zero, negative, infinite or NaN length, or many.
        fire({stage(0.25f, {}), stage(0.25f, {film_t{0.0f, {}, {}}})}), fire({stage(0.0f, {film_t{-1.0f, {}, {}}, glow})}),
        fire({stage(0.5f, {film_t{inf, {}, {}}})}), fire({stage(0.5f, {film_t{nan, {}, {}}, glow})}),
        // An empty carrier in the middle: the shell flies on for ever.
        fire({stage(0.5f), stage(0.0f, {}), stage(0.5f)}),
        // Tails of one repeated delay; some the walk cannot add up exactly.
        fire({carrier}, 0.1f, 300), fire({}, 0.0078125f, 3000), fire({stage(0.25f, {white}), carrier}, 0.125f, 300),
        // Found by search: from this head delay, adding 0.125 step by step
        // rounds differently from adding 246 times 0.125 at once.
        fire({stage(0x1.4045dcp+0f, {white}), carrier}, 0.125f, 300),
        // A delay finer than the spacing of floats between 16 and 32.
        fire({}, 4097.0f / 1048576.0f, 4096),
        // Delays used so far so large that adding the tail's delay rounds.
        fire({stage(20000.0f, {white}), powder_t{0.0f, 5.0f, 1.0f, {glow}}}, 0.0009765625f, 4000),
    };
    scene = {scenes::shell(1.0f, fires)}; // all of them in one shell, and each in its own
    for (std::size_t i = 0; i < fires.size(); ++i) scene.push_back(scenes::shell(0.1f * static_cast<float>(i), {fires[i]}));
    times = timeline(40.0f, 0.0773f, 150);
    for (float t = 20001.0f; t < 20004.0f; t += 0.25f) times.push_back(t);
    expectsame(scene, times);

    // Only the number of stages changes: stars that had burnt out get a long-lived last stage.
    for (firework_t& shell : scene)
        for (fire_t& star : shell.fires) star.powders.push_back({0.5f, 1.0f, 1.0f, {{1e6f, {1, 1, 1, 1}, {}}}});
    expectsame(scene, {20003.75f});
}
