// The device clock's fit to reports that grow a mixing period at a time, and
// clips mixed on exact frames in blocks of any order: both headless.
#include "audio/clipmix.h"
#include "audio/deviceclock.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>

namespace {

// A device 2.4 % slow (the disk driver on one machine: 46,868 frames a wall
// second for 48,000), mixing 1024 frames at once, asked about every 16.7 ms
// by a show whose frames come late by up to 8 ms.
struct device_t {
    double rate = 46868.0;
    std::int64_t period = 1024;
    std::int64_t played(std::int64_t now) const // frames reported by reading `now`
    {
        const auto exact = static_cast<std::int64_t>(static_cast<double>(now) * 1e-6 * rate);
        return exact / period * period;
    }
};

TEST(DeviceClock, FollowsTheDevicesPaceSmoothlyAndWithoutDrift)
{
    const device_t device;
    sndkit::deviceclock_t clock;
    clock.reset(48000.0);
    double frame = 0.0;
    EXPECT_FALSE(clock.frameat(0, frame)) << "no report yet";
    std::mt19937 random(7);
    std::uniform_int_distribution<std::int64_t> late(0, 8000);
    double previous = -1.0, worststep = 0.0, worstdrift = 0.0;
    for (int k = 0; k < 60 * 60; ++k) { // a minute of frames
        const std::int64_t now = 1000000 + k * 16667 + late(random);
        clock.observe(now, device.played(now));
        ASSERT_TRUE(clock.frameat(now, frame));
        if (k > 120) {
            // Never back, and each frame's step close to the true one.
            EXPECT_GE(frame, previous) << k;
            worststep = std::max(worststep, std::fabs(frame - previous - device.rate * 0.016667));
            // Within a mixing period of the device's true position.
            worstdrift = std::max(worstdrift, std::fabs(frame - static_cast<double>(now) * 1e-6 * device.rate));
        }
        previous = frame;
    }
    EXPECT_NEAR(clock.rate(), device.rate, device.rate * 0.002);
    EXPECT_LT(worstdrift, static_cast<double>(device.period));
    // A period's stair would be 1024 frames; the fit moves by far less than
    // the jitter of the frames between two frames.
    EXPECT_LT(worststep, 400.0) << "the picture would jerk";
}

TEST(DeviceClock, ANewerReportIsNeededAndAStallIsNotBelievedAsARate)
{
    sndkit::deviceclock_t clock;
    clock.reset(48000.0);
    clock.observe(1000000, 48000);
    double frame = 0.0;
    ASSERT_TRUE(clock.frameat(1500000, frame));
    EXPECT_DOUBLE_EQ(frame, 72000.0) << "one report: the nominal rate from it";
    clock.observe(900000, 0); // older than the newest: ignored
    ASSERT_TRUE(clock.frameat(1000000, frame));
    EXPECT_DOUBLE_EQ(frame, 48000.0);
    // A device that stopped: the reports stand still, the slope is not believed.
    for (int k = 1; k <= 20; ++k) clock.observe(1000000 + k * 20000, 48000);
    EXPECT_DOUBLE_EQ(clock.rate(), 48000.0);
}

TEST(ClipMix, ClipsLandOnTheirFramesInBlocksOfAnyOrder)
{
    sndkit::clip_t clip;
    clip.samples = {0.5f, -0.5f, 0.25f, -0.25f, 0.125f, -0.125f};
    sndkit::clipmix_t mix;
    mix.add(clip, 100);
    mix.add(clip, 10, 2.0f); // added out of order
    mix.add(clip, 101);
    mix.add(clip, -2);       // only its last frame, at 0
    const auto block = [&](std::int64_t first, std::size_t count) {
        std::vector<float> out(2 * count, 0.0f);
        mix.mix(first, count, out.data());
        return out;
    };
    // A later block first, then an earlier one, then one across two clips.
    std::vector<float> b = block(99, 4);
    EXPECT_EQ(b, (std::vector<float>{0, 0, 0.5f, -0.5f, 0.75f, -0.75f, 0.375f, -0.375f}));
    b = block(0, 12);
    EXPECT_EQ(b[0], 0.125f);
    EXPECT_EQ(b[20], 1.0f) << "gain 2 at frame 10";
    EXPECT_EQ(b[23], -0.5f);
    b = block(12, 1);
    EXPECT_EQ(b[0], 0.25f);
    EXPECT_EQ(block(104, 5), std::vector<float>(10, 0.0f)) << "over";
    mix.clear();
    EXPECT_TRUE(mix.empty());
}

} // namespace
