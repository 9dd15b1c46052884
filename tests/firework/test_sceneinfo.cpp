// Scene counts and the silent run of a show: its length and busiest frame
// worked out from the shells' fuses, film lengths and spark delays.
#include "firework/sample.h"
#include "firework/sceneinfo.h"
#include "tests/firework/scenes.h"

#include <gtest/gtest.h>

using namespace vexlor;
using scenes::film;
using scenes::powder;

TEST(SceneInfo, CountsEveryLevel)
{
    std::vector<firework_t> scene;
    makesusuki(scene);
    makeblink(scene);
    const scenecounts_t counts = countscene(scene);
    EXPECT_EQ(counts.fireworks, 2u);
    EXPECT_EQ(counts.fires, 2u * 176u);
    EXPECT_EQ(counts.powders, 176u * 321u + 176u);
    EXPECT_EQ(counts.films, 176u * 321u + 176u * 320u);
}

TEST(SceneInfo, RunFindsTheEndAndTheBusiestFrame)
{
    // A star of one 3 s film on a 1 s fuse, and a shell launched at 3.5 s
    // whose star glows for 2 s after its own 1 s fuse: the show ends at
    // 6.5 s, busiest while the second shell rises beside two stars.
    const auto lit = [](float duration) { return film(duration, scenes::rgba(1, 1, 1, 1), scenes::rgba(1, 1, 1, 1)); };
    const fire_t star{{1, 0, 0}, 1.0f, {powder(0.0f, 1.0f, 1.0f, {lit(3.0f)})}};
    std::vector<firework_t> two{scenes::shell(1.0f, {star, star}), scenes::shell(1.0f, {star})};
    two[1].time = 3.5f;
    two[1].fires[0].powders[0].films[0].duration = 2.0f;
    const showrun_t run = runshow(two);
    EXPECT_TRUE(run.ends);
    EXPECT_NEAR(run.length, 6.5, 1e-5);
    EXPECT_EQ(run.largest, 3u);
    EXPECT_GT(run.largestat, 3.5f);
    EXPECT_EQ(run.sounds, 4u);
    EXPECT_FALSE(two[0].launched || two[0].exploded);

    two[1].time = 4.5f; // a gap: the viewer restarts on the first empty frame
    EXPECT_NEAR(runshow(two).length, 4.0, 1e-5);
    two[0].time = 0.5f; // nothing at the first tick: over before it starts
    EXPECT_EQ(runshow(two).length, 0.0f);

    // A carrier without films keeps its shell flying for ever.
    std::vector<firework_t> endless{scenes::shell(1.0f, {fire_t{{1, 0, 0}, 1.0f, {powder(0.0f, 1, 1, {})}}})};
    const showrun_t forever = runshow(endless, 10.0, 100.0);
    EXPECT_FALSE(forever.ends);
    EXPECT_EQ(forever.largest, 1u);
}
