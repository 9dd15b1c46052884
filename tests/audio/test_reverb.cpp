// The burst sound the build synthesises, read back with the WAVE reader.

#include <gtest/gtest.h>

#include <cmath>

#include "wavefile.h"

using namespace wavefile;

namespace {

// RMS level in dB below full scale of `count` samples from `from`.
double level(const sndkit::wave_t& w, std::size_t from, std::size_t count)
{
    const unsigned char* s = w.image.begin() + w.pos + 2 * from;
    double sum = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const double v = static_cast<std::int16_t>(sndkit::le16(s + 2 * i)) / 32768.0;
        sum += v * v;
    }
    return 10 * std::log10(sum / count + 1e-20);
}

} // namespace

TEST(BurstSound, IsAShortBoomThatDiesAway)
{
    plainwave w;
    capture err(std::cerr);
    ASSERT_TRUE(w.load(REVERB_WAV));
    EXPECT_EQ(err.str(), "");

    const sndkit::fmtchunk_t f = w.fc();
    EXPECT_EQ(w.formattag(), 1);
    EXPECT_EQ(f.bits, 16);
    EXPECT_TRUE(f.channels == 1 || f.channels == 2);
    EXPECT_TRUE(f.samples_per_sec == 44100 || f.samples_per_sec == 48000);
    EXPECT_EQ(f.blk_size, 2 * f.channels);
    EXPECT_GE(w.msec(), 1000u);
    EXPECT_LE(w.msec(), 2000u);
    EXPECT_EQ(w.datasize() % f.blk_size, 0u);
    ASSERT_EQ(w.databytes(), w.datasize());

    // Loud at the start, at least 40 dB quieter over the last tenth of a
    // second, and silent at the very end.
    const std::size_t samples = w.datasize() / 2;
    const std::size_t tenth = f.samples_per_sec / 10 * f.channels;
    const double head = level(w, 0, tenth);
    const double tail = level(w, samples - tenth, tenth);
    EXPECT_GT(head, -20.0);
    EXPECT_LT(tail, head - 40.0);
    EXPECT_EQ(level(w, samples - 1, 1), -200.0);

    // Not clipped: no sample sits at full scale.
    const unsigned char* s = w.image.begin() + w.pos;
    int peak = 0;
    for (std::size_t i = 0; i < samples; ++i)
        peak = std::max(peak, std::abs(int(static_cast<std::int16_t>(sndkit::le16(s + 2 * i)))));
    EXPECT_LT(peak, 32767);
    EXPECT_GT(peak, 16384);
}
