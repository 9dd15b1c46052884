// The show's timing from the model against the evaluation itself: the end is
// the last float instant with a point (shows that start late or have gaps
// included), each shell's last instant likewise, and the busiest frame what
// a frame-by-frame count finds.
#include "firework/builtin.h"
#include "firework/evaluate.h"
#include "firework/openshow.h"
#include "firework/showtiming.h"
#include "tests/firework/scenes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using vexlor::fire_t;
using vexlor::firework_t;
using vexlor::powder_t;
using vexlor::show_t;

constexpr float inf = std::numeric_limits<float>::infinity();

show_t builtin(const std::string& name)
{
    std::vector<firework_t> scene;
    EXPECT_TRUE(vexlor::makebuiltin(name, scene)) << name;
    return vexlor::sharescene(std::move(scene));
}

std::size_t pointsat(vexlor::evaluator_t& evaluator, const show_t& show, float t)
{
    std::vector<vexlor::primitive_t> points;
    evaluator.points(show, t, points);
    return points.size();
}

// A star of one carrier glowing `glow` seconds.
fire_t star(float glow)
{
    return fire_t{{0, 0, 1}, 5.0f, {powder_t{0.0f, 10.0f, 1.0f, {{glow, {1, 1, 1, 1}, {1, 0, 0, 1}}}}}};
}

firework_t at(float time, float fuse, std::vector<fire_t> fires)
{
    firework_t shell = scenes::shell(fuse, std::move(fires));
    shell.time = time;
    return shell;
}

// The end is a point's last instant: something shows at it and nothing just
// after it. For the built-in shows, whose shells leave no gap, the first
// frame at 60 a second with nothing to draw is the first frame past the end,
// where the viewer restarted them before.
TEST(ShowTiming, TheEndIsTheLastInstantWithAPointAndTheBuiltinShowsRestartWhereTheyDid)
{
    for (const std::string& name : vexlor::builtinnames()) {
        const show_t show = builtin(name);
        vexlor::showtiming_t timing;
        timing.analyse(show);
        ASSERT_TRUE(timing.ends()) << name;
        vexlor::evaluator_t evaluator;
        const float end = timing.end();
        EXPECT_GT(pointsat(evaluator, show, end), 0u) << name;
        EXPECT_EQ(pointsat(evaluator, show, std::nextafter(end, inf)), 0u) << name;

        long firstempty = -1;
        for (long k = 1; k < 3600 * 60 && firstempty < 0; ++k)
            if (pointsat(evaluator, show, static_cast<float>(k / 60.0)) == 0) firstempty = k;
        ASSERT_GT(firstempty, 0) << name;
        EXPECT_LE(static_cast<float>((firstempty - 1) / 60.0), end) << name;
        EXPECT_GT(static_cast<float>(firstempty / 60.0), end) << name;
    }
    // susuki: the last spark lights 2 + 10 s in and glows a quarter second.
    vexlor::showtiming_t susuki;
    susuki.analyse(builtin("susuki"));
    EXPECT_EQ(susuki.end(), 12.25f);
}

TEST(ShowTiming, AShowThatStartsLateOrPausesEndsWithItsLastSpark)
{
    // One shell at 5 s; then shells at 0 and 30 s with nothing between.
    show_t late = vexlor::sharescene({at(5.0f, 2.0f, {star(1.5f)})});
    show_t gap = vexlor::sharescene({at(0.0f, 2.0f, {star(1.5f)}), at(30.0f, 2.0f, {star(3.0f)})});
    vexlor::showtiming_t timing;
    vexlor::evaluator_t evaluator;

    timing.analyse(late);
    EXPECT_EQ(timing.end(), 8.5f);
    EXPECT_EQ(pointsat(evaluator, late, 4.0f), 0u) << "nothing before the launch";
    EXPECT_GT(pointsat(evaluator, late, 8.5f), 0u);

    timing.analyse(gap);
    EXPECT_EQ(timing.end(), 35.0f);
    EXPECT_EQ(pointsat(evaluator, gap, 20.0f), 0u) << "the gap is dark";
    ASSERT_EQ(timing.shells().size(), 2u);
    EXPECT_EQ(timing.shells()[0].launch, 0.0f);
    EXPECT_EQ(timing.shells()[0].burst, 2.0);
    EXPECT_EQ(timing.shells()[0].out, 3.5f);
    EXPECT_EQ(timing.shells()[1].launch, 30.0f);
    EXPECT_EQ(timing.shells()[1].out, 35.0f);
}

// Times that no float sum hits exactly: each shell's `out` is still the very
// last float instant at which it draws, as the evaluation decides it.
TEST(ShowTiming, EachShellsLastInstantIsExactToTheFloat)
{
    std::vector<firework_t> scene;
    for (int i = 0; i < 40; ++i) {
        fire_t tail{{0, 0, 1}, 4.0f, {powder_t{0.0f, 5.0f, 0.9f, {{0.1f + 0.037f * i, {1, 1, 1, 1}, {0, 0, 0, 1}}}}}};
        for (int k = 0; k < 3 + i % 5; ++k)
            tail.powders.push_back(powder_t{0.013f * (1 + i % 3), 2.0f, 0.8f, {{0.21f, {1, 1, 1, 1}, {0, 0, 0, 1}},
                                                                              {0.0f, {1, 1, 1, 1}, {0, 0, 0, 1}}}});
        scene.push_back(at(0.1f * static_cast<float>(i) + 0.0301f, 0.7f + 0.11f * static_cast<float>(i % 7), {tail}));
    }
    scene.push_back(at(3.3f, 1.234567f, {})); // no stars: the rising shell only
    firework_t early = at(2.0f, -0.5f, {star(0.2f)}); // a negative fuse bursts at once
    scene.push_back(early);
    const show_t show = vexlor::sharescene(std::move(scene));
    vexlor::showtiming_t timing;
    timing.analyse(show);
    for (std::size_t i = 0; i < show.shells.size(); ++i) {
        show_t one;
        one.designs = show.designs;
        one.shells = {show.shells[i]};
        one.design = {show.design[i]};
        vexlor::evaluator_t evaluator;
        const float out = timing.shells()[i].out;
        if (i + 1 == show.shells.size()) {
            // Burst at launch into stars already past their glow: only the
            // launch, whose sound the next frame asks for.
            EXPECT_EQ(out, 2.0f);
            continue;
        }
        EXPECT_GT(pointsat(evaluator, one, out), 0u) << i;
        EXPECT_EQ(pointsat(evaluator, one, std::nextafter(out, inf)), 0u) << i;
    }
}

// Delays that rise and fall: a later stage with a shorter delay ignites while
// an earlier one waits. The float walk decides, and the end follows it.
TEST(ShowTiming, StagesThatOvertakeEachOtherAndStarsThatNeverEnd)
{
    fire_t odd{{1, 0, 0}, 3.0f, {}};
    for (float delay : {2.0f, 0.5f, 0.25f, 3.0f, 0.125f})
        odd.powders.push_back(powder_t{delay, 4.0f, 0.9f, {{0.3f, {1, 1, 1, 1}, {1, 1, 1, 1}}}});
    const show_t show = vexlor::sharescene({at(1.0f, 1.5f, {odd})});
    vexlor::showtiming_t timing;
    timing.analyse(show);
    vexlor::evaluator_t evaluator;
    EXPECT_GT(pointsat(evaluator, show, timing.end()), 0u);
    EXPECT_EQ(pointsat(evaluator, show, std::nextafter(timing.end(), inf)), 0u);
    EXPECT_NEAR(timing.end(), 1.0f + 1.5f + 5.875f + 0.3f, 1e-5f);

    // A carrier without films keeps the shell drawn for ever.
    fire_t keeper{{0, 0, 1}, 1.0f, {powder_t{0.0f, 3.0f, 1.0f, {}}}};
    show_t endless = vexlor::sharescene({at(0.0f, 2.0f, {star(1.0f)}), at(1.0f, 1.0f, {keeper})});
    timing.analyse(endless);
    EXPECT_FALSE(timing.ends());
    EXPECT_EQ(timing.shells()[1].out, inf);
    EXPECT_EQ(timing.busiest(endless).points, 2u) << "counted until its last change";

    // Nothing at all: every frame is past the end.
    timing.analyse(show_t{});
    EXPECT_EQ(timing.end(), -inf);
}

// Against a frame-by-frame count of the evaluation at 60 frames a second.
TEST(ShowTiming, TheBusiestFrameIsTheFrameByFrameCount)
{
    std::vector<show_t> shows;
    for (const char* name : {"susuki", "random", "miniexhibition", "blink"}) shows.push_back(builtin(name));
    for (const char* file : {"/salvo.vexlor.toml", "/mixed.vexlor.toml", "/beat.vexlor.toml"}) {
        std::string message;
        show_t show;
        ASSERT_TRUE(vexlor::openshow(std::string(SHOWS) + file, show, message)) << message;
        shows.push_back(std::move(show));
    }
    for (const show_t& show : shows) {
        vexlor::showtiming_t timing;
        timing.analyse(show);
        const vexlor::busiest_t busiest = timing.busiest(show);
        vexlor::evaluator_t evaluator;
        vexlor::busiest_t counted;
        for (long k = 0; k / 60.0 <= timing.end(); ++k) {
            const std::size_t n = pointsat(evaluator, show, static_cast<float>(k / 60.0));
            if (n > counted.points) counted = {n, k / 60.0};
        }
        EXPECT_EQ(busiest.points, counted.points) << show.shells.size();
        EXPECT_DOUBLE_EQ(busiest.at, counted.at) << show.shells.size();

        // Any span, at any rate: the same count over those frames.
        const vexlor::busiest_t part = timing.busiest(show, 7.0, 1.25, 4.5);
        vexlor::busiest_t some;
        for (long k = 0; 1.25 + k / 7.0 <= 4.5; ++k) {
            const std::size_t n = pointsat(evaluator, show, static_cast<float>(1.25 + k / 7.0));
            if (n > some.points) some = {n, 1.25 + k / 7.0};
        }
        EXPECT_EQ(part.points, some.points) << show.shells.size();
    }
}

// A hundred thousand shells of the busiest built-in design, all at once: the
// count comes from the designs and launch times, without building anything.
TEST(ShowTiming, AHundredThousandShellsAreCountedFromTheirDesign)
{
    show_t show = builtin("susuki");
    show.shells.assign(100000, show.shells[0]);
    show.design.assign(100000, 0);
    vexlor::showtiming_t timing;
    timing.analyse(show);
    EXPECT_EQ(timing.busiest(show).points, 1760u * 100000u);
    for (std::size_t i = 0; i < show.shells.size(); ++i) show.shells[i].time = 0.1f * static_cast<float>(i);
    timing.analyse(show);
    EXPECT_NEAR(timing.end(), show.shells.back().time + 12.25f, 1e-3f);
    // About 123 shells overlap at any time; the evaluation agrees at the
    // frame found.
    const vexlor::busiest_t busiest = timing.busiest(show);
    vexlor::evaluator_t evaluator;
    EXPECT_EQ(pointsat(evaluator, show, static_cast<float>(busiest.at)), busiest.points);
    EXPECT_GT(busiest.points, 1584u * 100u);
}

TEST(ShowTiming, SoundTimesAreEveryLaunchAndBurstInOrder)
{
    const show_t show = vexlor::sharescene({at(3.0f, 2.0f, {}), at(0.5f, 4.0f, {}), at(1.0f, -0.25f, {})});
    std::vector<double> times;
    for (const vexlor::soundcue_t& cue : vexlor::soundcues(show)) {
        times.push_back(cue.time);
        EXPECT_EQ(cue.clip, vexlor::soundclip_t::burst);
    }
    EXPECT_EQ(times, (std::vector<double>{0.5, 0.75, 1.0, 3.0, 4.5, 5.0}));
}

} // namespace
