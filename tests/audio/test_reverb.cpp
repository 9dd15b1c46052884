// The burst sound the build synthesises, read back with the WAVE reader.

#include <gtest/gtest.h>

#include <cmath>

#include "wavefile.h"

TEST(BurstSound, IsAShortBoomThatDiesAway)
{
    wavefile::plainwave w;
    ASSERT_TRUE(w.load(REVERB_WAV));
    const sndkit::fmtchunk_t f = w.fc();
    EXPECT_EQ(w.formattag(), 1);
    EXPECT_EQ(f.bits, 16);
    EXPECT_TRUE(f.channels == 1 || f.channels == 2);
    EXPECT_TRUE(f.samples_per_sec == 44100 || f.samples_per_sec == 48000);
    EXPECT_GE(w.msec(), 1000u);
    EXPECT_LE(w.msec(), 2000u);
    ASSERT_EQ(w.databytes(), w.datasize());

    // dB below full scale over `count` samples from `from`.
    const auto level = [&](std::size_t from, std::size_t count) {
        double sum = 1e-20;
        for (std::size_t i = from; i < from + count; ++i)
            sum += std::pow(static_cast<std::int16_t>(sndkit::le16(w.image.begin() + w.pos + 2 * i)) / 32768.0, 2);
        return 10 * std::log10(sum / count);
    };
    // Loud at first, 40 dB quieter over the last tenth of a second, silent
    // at the very end, and never at full scale.
    const std::size_t n = w.datasize() / 2, tenth = f.samples_per_sec / 10 * f.channels;
    EXPECT_GT(level(0, tenth), -20.0);
    EXPECT_LT(level(n - tenth, tenth), level(0, tenth) - 40.0);
    EXPECT_LT(level(n - 1, 1), -150.0);
    double peak = -200;
    for (std::size_t i = 0; i < n; ++i)
        peak = std::max(peak, level(i, 1));
    EXPECT_LT(peak, 20 * std::log10(32767 / 32768.0));
    EXPECT_GT(peak, -6.1);
}
