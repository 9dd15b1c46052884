// The show's clock on 64-bit microsecond readings, without a display: pause,
// one-second steps either way, restart, moves, and readings far past the
// 32-bit wrap of the old millisecond clock.
#include "firework/sceneclock.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

using vexlor::sceneclock_t;

constexpr std::int64_t k_second = sceneclock_t::k_second;

TEST(SceneClock, RunsFromItsStartAndPauseFreezesIt)
{
    sceneclock_t clock;
    clock.start(5 * k_second);
    EXPECT_FLOAT_EQ(clock.time(7 * k_second), 2.0f);
    EXPECT_EQ(clock.micros(7 * k_second), 2 * k_second);

    EXPECT_TRUE(clock.togglepause(7 * k_second));
    EXPECT_TRUE(clock.paused());
    EXPECT_FLOAT_EQ(clock.time(9 * k_second), 2.0f) << "frozen while paused";
    // Resumed 3 s later, the show goes on from where it stood.
    EXPECT_FALSE(clock.togglepause(10 * k_second));
    EXPECT_FLOAT_EQ(clock.time(10 * k_second), 2.0f);
    EXPECT_FLOAT_EQ(clock.time(11 * k_second), 3.0f);
}

TEST(SceneClock, StepsMoveTheShowRunningOrPaused)
{
    sceneclock_t clock;
    clock.start(100 * k_second);
    clock.step(+sceneclock_t::k_step, 104 * k_second);
    EXPECT_FLOAT_EQ(clock.time(104 * k_second), 5.0f) << "Right: one second on";
    clock.step(-sceneclock_t::k_step, 104 * k_second);
    clock.step(-sceneclock_t::k_step, 104 * k_second);
    EXPECT_FLOAT_EQ(clock.time(104 * k_second), 3.0f) << "Left twice: two seconds back";

    // Paused at show time 3: five steps back show -2 and stay frozen.
    clock.togglepause(104 * k_second);
    for (int i = 0; i < 5; ++i) clock.step(-sceneclock_t::k_step, (105 + i) * k_second);
    EXPECT_TRUE(clock.paused());
    EXPECT_FLOAT_EQ(clock.time(109 * k_second), -2.0f);
    EXPECT_FLOAT_EQ(clock.time(111 * k_second), -2.0f);
    clock.step(+sceneclock_t::k_step, 112 * k_second);
    EXPECT_FLOAT_EQ(clock.time(112 * k_second), -1.0f);
    clock.togglepause(120 * k_second);
    EXPECT_FLOAT_EQ(clock.time(120 * k_second), -1.0f) << "the pause's length is not counted";
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
    EXPECT_FLOAT_EQ(clock.time(20 * k_second), -3.0f);

    clock.restart(30 * k_second);
    EXPECT_FLOAT_EQ(clock.time(30 * k_second), 0.0f);
}

TEST(SceneClock, SetPutsTheShowAtAGivenTimeRunningOrPaused)
{
    sceneclock_t clock;
    clock.start(50 * k_second);
    clock.set(12.25, 60 * k_second);
    EXPECT_FLOAT_EQ(clock.time(61 * k_second), 13.25f);
    clock.togglepause(62 * k_second);
    clock.set(4.5, 70 * k_second);
    EXPECT_FLOAT_EQ(clock.time(80 * k_second), 4.5f);
    clock.togglepause(90 * k_second);
    EXPECT_FLOAT_EQ(clock.time(91 * k_second), 5.5f);
}

// The old clock held microseconds in 32 bits and wrapped every 71.6 minutes;
// the show then went negative and restarted. Across that wrap, and after
// years of uptime, the show's time runs on, in microseconds to the last.
TEST(SceneClock, ReadingsAcrossThe32BitWrapAndAfterYearsOfUptime)
{
    constexpr std::int64_t wrap = std::int64_t{1} << 32; // microseconds
    for (const std::int64_t start : {wrap - k_second, wrap * 1000 - 20 * 60 * k_second,
                                     std::int64_t{10} * 365 * 86400 * k_second}) {
        sceneclock_t clock;
        clock.start(start);
        EXPECT_FLOAT_EQ(clock.time(start + k_second / 2), 0.5f) << start;
        EXPECT_FLOAT_EQ(clock.time(start + 2 * k_second), 2.0f) << start << ": past the wrap";
        EXPECT_EQ(clock.micros(start + 20 * 60 * k_second + 1), 20 * 60 * k_second + 1) << start;
        // A twenty-minute show ends where it should, to the float's precision
        // of the elapsed time alone, however large the readings.
        EXPECT_FLOAT_EQ(clock.time(start + 1200 * k_second + 250000), 1200.25f) << start;
        clock.step(-sceneclock_t::k_step, start);
        EXPECT_FLOAT_EQ(clock.time(start), -1.0f) << start;
    }
}

} // namespace
