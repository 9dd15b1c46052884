// Scene counts and the silent run of a show: its length and busiest frame
// worked out from the shells' fuses, film lengths and spark delays.
#include "firework/sample.h"
#include "firework/sceneinfo.h"
#include "tests/firework/scenes.h"

#include <gtest/gtest.h>

#include <vector>

using namespace vexlor;
using scenes::film;
using scenes::powder;
using scenes::rgba;

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
    EXPECT_EQ(countscene({}).fireworks, 0u);
}

TEST(SceneInfo, RunFindsTheEndAndTheBusiestFrame)
{
    // Susuki: burst at 2 s, the last spark lights 10 s later and glows for
    // 0.25 s; ten points per star while nine sparks and the star are lit.
    std::vector<firework_t> scene;
    makesusuki(scene);
    const showrun_t susuki = runshow(scene);
    EXPECT_TRUE(susuki.ends);
    EXPECT_NEAR(susuki.length, 12.25, 1e-5);
    EXPECT_EQ(susuki.largest, 1760u);
    EXPECT_EQ(susuki.sounds, 2u);
    EXPECT_FALSE(scene[0].launched);
    EXPECT_FALSE(scene[0].exploded);

    // A star of one 3 s film on a 1 s fuse, and a shell launched later that
    // keeps both in the air until 4.5 + 1 + 2 s.
    const fire_t star{{1, 0, 0}, 1.0f, {powder(0.0f, 1.0f, 1.0f, {film(3.0f, rgba(1, 1, 1, 1), rgba(1, 1, 1, 1))})}};
    std::vector<firework_t> two{scenes::shell(1.0f, {star, star}), scenes::shell(1.0f, {star})};
    two[1].time = 3.5f;
    two[1].fires[0].powders[0].films[0].duration = 2.0f;
    const showrun_t run = runshow(two);
    EXPECT_NEAR(run.length, 6.5, 1e-5);
    EXPECT_EQ(run.largest, 3u); // two stars of the first and the rising second shell
    EXPECT_GT(run.largestat, 3.5f);
    EXPECT_EQ(run.sounds, 4u);

    // A gap ends the show: the viewer restarts on the first empty frame.
    two[1].time = 4.5f;
    EXPECT_NEAR(runshow(two).length, 4.0, 1e-5);

    // Nothing at the first tick: the show is over before it starts.
    two[0].time = 0.5f;
    const showrun_t late = runshow(two);
    EXPECT_TRUE(late.ends);
    EXPECT_EQ(late.length, 0.0f);
    EXPECT_EQ(late.largest, 0u);

    // A carrier without films keeps its shell flying for ever.
    std::vector<firework_t> endless{scenes::shell(1.0f, {fire_t{{1, 0, 0}, 1.0f, {powder(0.0f, 1, 1, {})}}})};
    const showrun_t forever = runshow(endless, 10.0, 100.0);
    EXPECT_FALSE(forever.ends);
    EXPECT_EQ(forever.largest, 1u);
}
