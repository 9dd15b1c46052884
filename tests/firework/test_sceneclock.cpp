// The scene clock's arithmetic on a 32-bit microsecond clock, without a
// display: pause, one-second steps either way, restart, and the wrap.
#include "firework/sceneclock.h"

#include <gtest/gtest.h>

namespace {

using vexlor::sceneclock_t;

constexpr std::uint32_t k_second = 1000000;

TEST(SceneClock, RunsFromItsStartAndPauseFreezesIt)
{
    sceneclock_t clock;
    clock.start(5 * k_second);
    EXPECT_FLOAT_EQ(clock.tick(7 * k_second), 2.0f);
    EXPECT_FLOAT_EQ(clock.elapsed(), 2.0e6f);

    EXPECT_TRUE(clock.togglepause(7 * k_second));
    EXPECT_TRUE(clock.paused());
    // Resumed 3 s later, the scene goes on from where it stood.
    EXPECT_FALSE(clock.togglepause(10 * k_second));
    EXPECT_FLOAT_EQ(clock.tick(10 * k_second), 2.0f);
    EXPECT_FLOAT_EQ(clock.tick(11 * k_second), 3.0f);
}

TEST(SceneClock, StepsMoveTheSceneRunningOrPaused)
{
    sceneclock_t clock;
    clock.start(100 * k_second);
    clock.step(+sceneclock_t::k_step, 104 * k_second);
    EXPECT_FLOAT_EQ(clock.tick(104 * k_second), 5.0f) << "Right: one second on";
    clock.step(-sceneclock_t::k_step, 104 * k_second);
    clock.step(-sceneclock_t::k_step, 104 * k_second);
    EXPECT_FLOAT_EQ(clock.tick(104 * k_second), 3.0f) << "Left twice: two seconds back";

    // Paused at scene time 3: five steps back show scene time -2 and stay frozen.
    clock.togglepause(104 * k_second);
    for (int i = 0; i < 5; ++i) clock.step(-sceneclock_t::k_step, (105 + i) * k_second);
    EXPECT_TRUE(clock.paused());
    EXPECT_FLOAT_EQ(clock.tick(109 * k_second), -2.0f);
    clock.step(+sceneclock_t::k_step, 112 * k_second);
    EXPECT_FLOAT_EQ(clock.tick(112 * k_second), -1.0f);
    clock.togglepause(120 * k_second);
    EXPECT_FLOAT_EQ(clock.tick(120 * k_second), -1.0f) << "the pause's length is not counted";
}

TEST(SceneClock, RestartWhilePausedCountsThePauseBeforeIt)
{
    sceneclock_t clock;
    clock.start(0);
    clock.togglepause(10 * k_second);
    clock.restart(13 * k_second); // 3 s into the pause
    EXPECT_TRUE(clock.paused()) << "restart leaves the pause alone";
    EXPECT_EQ(clock.pausestart(), 10 * k_second);
    clock.togglepause(20 * k_second);
    EXPECT_FLOAT_EQ(clock.tick(20 * k_second), -3.0f);

    clock.restart(30 * k_second);
    EXPECT_FLOAT_EQ(clock.tick(30 * k_second), 0.0f);
}

TEST(SceneClock, ThirtyTwoBitMicrosecondsWrapAndGoNegative)
{
    sceneclock_t clock;
    const std::uint32_t late = 0xFFFFFFFFu - k_second; // a second before the wrap
    clock.start(late);
    EXPECT_NEAR(clock.tick(late + k_second / 2), 0.5f, 1e-3f);
    // Past the wrap the reading is small again: the elapsed time turns
    // negative, so nothing launches until the restart that follows.
    EXPECT_LT(clock.tick(late + 2 * k_second), -4000.0f);

    // A step back from an origin near 0 wraps the origin the same way.
    clock.start(0);
    clock.step(-sceneclock_t::k_step, 0);
    EXPECT_EQ(clock.origin(), k_second);
    clock.step(+sceneclock_t::k_step, 0);
    clock.step(+sceneclock_t::k_step, 0);
    EXPECT_EQ(clock.origin(), 0xFFFFFFFFu - k_second + 1);
    EXPECT_LT(clock.tick(0), -4000.0f) << "floats of both readings, then subtracted";
}

} // namespace
