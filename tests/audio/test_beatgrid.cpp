// Beats found in generated tracks of known tempo: a drum on every beat with
// quieter off-beats under a held chord, at several tempos, rates and first
// beats; every beat must be found within 10 ms of where it was written. A
// track with no beat, and one that cannot be read, say so.
#include "audio/beatgrid.h"
#include "audio/trackscan.h"
#include "wavefile.h"

#include <gtest/gtest.h>
#include <sndfile.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr double k_pi = 3.14159265358979323846;

struct clicktrack_t {
    double bpm;
    double first;   // seconds of beat 1
    int rate;
    int channels;
    double seconds;
};

// A low thump on every beat, a click half way between, a quiet chord and a
// little noise throughout: what a dance track's beat looks like to a detector.
std::vector<float> drums(const clicktrack_t& t)
{
    const auto frames = static_cast<std::size_t>(t.seconds * t.rate);
    const double period = 60.0 / t.bpm;
    std::vector<float> out(frames * static_cast<std::size_t>(t.channels));
    std::mt19937 noise(7);
    std::uniform_real_distribution<float> hiss(-0.01f, 0.01f);
    for (std::size_t i = 0; i < frames; ++i) {
        const double s = static_cast<double>(i) / t.rate;
        double v = 0.05 * (std::sin(2 * k_pi * 220 * s) + std::sin(2 * k_pi * 277 * s));
        if (s >= t.first) {
            const double beat = std::fmod(s - t.first, period);
            if (beat < 0.15)
                v += 0.7 * std::exp(-beat * 25) * std::sin(2 * k_pi * (55 + 80 * std::exp(-beat * 40)) * beat);
            const double off = std::fmod(s - t.first + period / 2, period);
            if (off < 0.03)
                v += 0.2 * std::exp(-off * 150) * std::sin(2 * k_pi * 3000 * off);
        }
        for (int c = 0; c < t.channels; ++c)
            out[i * static_cast<std::size_t>(t.channels) + static_cast<std::size_t>(c)] =
                static_cast<float>(v) + hiss(noise);
    }
    return out;
}

std::string writetrack(const wavefile::tempdir& dir, const std::string& name, const clicktrack_t& t,
                       const std::vector<float>& samples)
{
    const std::string path = dir.path + "/" + name;
    SF_INFO info{};
    info.samplerate = t.rate;
    info.channels = t.channels;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (file == nullptr) return {};
    sf_writef_float(file, samples.data(), static_cast<sf_count_t>(samples.size() / t.channels));
    sf_close(file);
    return path;
}

} // namespace

TEST(BeatGrid, EveryBeatOfAGeneratedTrackWithinTenMilliseconds)
{
    wavefile::tempdir dir;
    const clicktrack_t tracks[] = {
        {120.0, 0.48, 44100, 2, 20.0},
        {97.0, 1.13, 48000, 1, 24.0},
        {142.0, 0.05, 22050, 2, 15.0},
        {174.0, 0.3, 44100, 1, 12.0}, // read as 87, whose beats are every other one
    };
    for (const clicktrack_t& t : tracks) {
        const std::string name = std::to_string(static_cast<int>(t.bpm)) + ".wav";
        const std::string path = writetrack(dir, name, t, drums(t));
        ASSERT_FALSE(path.empty());
        sndkit::trackscan_t scan;
        sndkit::scanwant_t want;
        want.beats = true;
        std::string message;
        ASSERT_TRUE(sndkit::scantrack(path.c_str(), want, scan, message)) << name << ": " << message;

        const double bpm = t.bpm >= sndkit::k_fastesttempo ? t.bpm / 2 : t.bpm;
        const double period = 60.0 / bpm;
        EXPECT_NEAR(scan.beats.bpm, bpm, 0.2) << name;
        const auto expected = static_cast<std::size_t>(std::floor((t.seconds - t.first) / period)) + 1;
        ASSERT_EQ(scan.beats.times.size(), expected) << name;
        for (std::size_t k = 0; k < expected; ++k)
            EXPECT_NEAR(scan.beats.times[k], t.first + static_cast<double>(k) * period, 0.010) << name << " beat " << k + 1;
    }
}

TEST(BeatGrid, TracksWithoutABeatOrUnreadableAreRefusedWithTheirReason)
{
    wavefile::tempdir dir;
    // A held chord: no onsets to count.
    clicktrack_t held{120.0, 100.0, 44100, 1, 8.0};
    const std::string chord = writetrack(dir, "chord.wav", held, drums(held));
    sndkit::trackscan_t scan;
    sndkit::scanwant_t want;
    want.beats = true;
    std::string message;
    EXPECT_FALSE(sndkit::scantrack(chord.c_str(), want, scan, message));
    EXPECT_EQ(message, "no steady beat found in it");

    const std::string text = dir.write("text.wav", wavefile::bytes{'n', 'o', 't', ' ', 's', 'o', 'u', 'n', 'd'});
    message.clear();
    EXPECT_FALSE(sndkit::scantrack(text.c_str(), want, scan, message));
    EXPECT_FALSE(message.empty());

    // Its waveform alone needs no beat: the loudest sample of each stretch.
    want.beats = false;
    want.stretch = 0.5;
    ASSERT_TRUE(sndkit::scantrack(chord.c_str(), want, scan, message)) << message;
    ASSERT_EQ(scan.peaks.size(), 16u);
    for (float peak : scan.peaks) EXPECT_NEAR(peak, 0.1f, 0.012f);
}

// The grid fitted to onsets alone: a tracker's half-tempo hint is read in
// the octave that counts, a lost beat is set on the grid between its
// neighbours, and too few onsets give no grid.
TEST(BeatGrid, OnsetsFitTheGridThroughGapsAndOctaves)
{
    std::vector<sndkit::onset_t> onsets;
    for (int k = 0; k < 40; ++k)
        if (k != 17) onsets.push_back({0.2 + 0.6 * k + (k % 2 ? 0.002 : -0.002), 1.0});
    sndkit::beats_t beats;
    ASSERT_TRUE(sndkit::fitbeats(onsets, 50.0, 25.0, beats));
    EXPECT_NEAR(beats.bpm, 100.0, 0.2);
    ASSERT_EQ(beats.times.size(), 42u) << "on the grid to the track's end at 25 s";
    EXPECT_NEAR(beats.times[17], 0.2 + 0.6 * 17, 0.005);
    EXPECT_FALSE(sndkit::fitbeats(std::vector<sndkit::onset_t>(onsets.begin(), onsets.begin() + 3), 100.0, 25.0, beats));
    EXPECT_FALSE(sndkit::fitbeats(onsets, 0.0, 25.0, beats));
}
