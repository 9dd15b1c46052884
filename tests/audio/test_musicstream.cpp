// Music tracks: each format decoded against the samples it was made from, a
// click found at its sample after resampling and seeking, silence outside the
// track, and the files refused with their reason.
#include "audio/showvoice.h"
#include "audio/musicstream.h"

#include <gtest/gtest.h>
#include <sndfile.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr double k_pi = 3.14159265358979323846;
constexpr std::size_t k_click = 12345; // frame of the click, at the file's rate

// A quiet 440 Hz tone on the left, silence on the right, and a full-scale
// click on both at k_click.
std::vector<float> tone(int rate, std::size_t frames)
{
    std::vector<float> samples(frames * 2, 0.0f);
    for (std::size_t i = 0; i < frames; ++i)
        samples[2 * i] = 0.25f * static_cast<float>(std::sin(2.0 * k_pi * 440.0 * i / rate));
    samples[2 * k_click] = 0.9f;
    samples[2 * k_click + 1] = 0.9f;
    return samples;
}

std::string temppath(const char* extension)
{
    return ::testing::TempDir() + "music-" + std::to_string(::getpid()) + extension;
}

bool write(const std::string& path, int format, int rate, const std::vector<float>& samples)
{
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = 2;
    info.format = format;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (file == nullptr)
        return false;
    const auto frames = static_cast<sf_count_t>(samples.size() / 2);
    const bool written = sf_writef_float(file, samples.data(), frames) == frames;
    return sf_close(file) == 0 && written;
}

// The frame of the largest right-channel sample (the tone is on the left).
std::size_t loudest(const std::vector<float>& samples)
{
    std::size_t best = 0;
    for (std::size_t i = 0; i < samples.size() / 2; ++i)
        if (std::fabs(samples[2 * i + 1]) > std::fabs(samples[2 * best + 1]))
            best = i;
    return best;
}

struct format_t {
    const char* extension;
    int format;
    float tolerance; // largest difference from the source, away from the click
    std::size_t shift; // codec delay the format may keep, in frames
};

class DecodeFormat : public ::testing::TestWithParam<format_t> {};

TEST_P(DecodeFormat, SamplesAndClickAtTheirFrames)
{
    const format_t& f = GetParam();
    const int rate = 48000;
    const std::size_t frames = 48000;
    const std::vector<float> source = tone(rate, frames);
    const std::string path = temppath(f.extension);
    ASSERT_TRUE(write(path, f.format, rate, source)) << sf_strerror(nullptr);

    sndkit::musicstream_t stream;
    std::string message;
    ASSERT_TRUE(stream.open(path.c_str(), rate, message)) << message;
    EXPECT_EQ(stream.info().rate, rate);
    EXPECT_EQ(stream.info().channels, 2);
    EXPECT_NEAR(static_cast<double>(stream.frames()), static_cast<double>(frames), 1.0 + f.shift);
    std::vector<float> out(frames * 2);
    ASSERT_TRUE(stream.read(out.data(), frames));
    EXPECT_EQ(stream.position(), static_cast<std::int64_t>(frames));
    const std::size_t click = loudest(out);
    EXPECT_LE(std::labs(static_cast<long>(click) - static_cast<long>(k_click)), static_cast<long>(f.shift)) << click;
    float worst = 0.0f;
    for (std::size_t i = 2000; i < frames - 2000; ++i)
        if (i + 500 < k_click || i > k_click + 500)
            worst = std::max(worst, std::fabs(out[2 * i] - source[2 * i]));
    EXPECT_LE(worst, f.tolerance);
    std::remove(path.c_str());
}

INSTANTIATE_TEST_SUITE_P(Formats, DecodeFormat,
                         ::testing::Values(format_t{".wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1e-4f, 0},
                                           format_t{".flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 1e-4f, 0},
                                           format_t{".ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS, 0.05f, 2},
                                           format_t{".opus", SF_FORMAT_OGG | SF_FORMAT_OPUS, 0.08f, 2},
                                           format_t{".mp3", SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III, 0.08f, 2}),
                         [](const auto& info) { return std::string(info.param.extension + 1); });

// 44.1 kHz to 48 kHz: the click lands at its time, and a seek anywhere gives
// what reading straight through gave.
TEST(MusicStream, ResamplesAndSeeksToTheSameSamples)
{
    const int rate = 44100;
    const std::vector<float> source = tone(rate, 44100);
    const std::string path = temppath(".flac");
    ASSERT_TRUE(write(path, SF_FORMAT_FLAC | SF_FORMAT_PCM_24, rate, source));
    sndkit::musicstream_t stream;
    std::string message;
    ASSERT_TRUE(stream.open(path.c_str(), 48000, message)) << message;
    EXPECT_EQ(stream.frames(), 48000);
    std::vector<float> whole(48000 * 2);
    ASSERT_TRUE(stream.read(whole.data(), 48000));
    const double expected = k_click * 48000.0 / rate;
    EXPECT_NEAR(static_cast<double>(loudest(whole)), expected, 1.0);

    const std::int64_t at = 20000;
    ASSERT_TRUE(stream.seek(at));
    std::vector<float> part(4000 * 2);
    ASSERT_TRUE(stream.read(part.data(), 4000));
    // Away from the restart of the converter's history, the same samples.
    float worst = 0.0f;
    for (std::size_t i = 100; i < 4000; ++i)
        worst = std::max(worst, std::fabs(part[2 * i] - whole[2 * (at + i)]));
    EXPECT_LT(worst, 1e-3f);
    std::remove(path.c_str());
}

// Before the track and after it, silence; a read across the start begins the
// track at its first frame.
TEST(MusicStream, SilentOutsideTheTrack)
{
    const std::vector<float> source = tone(48000, 20000);
    const std::string path = temppath(".wav");
    ASSERT_TRUE(write(path, SF_FORMAT_WAV | SF_FORMAT_FLOAT, 48000, source));
    sndkit::musicstream_t stream;
    std::string message;
    ASSERT_TRUE(stream.open(path.c_str(), 48000, message)) << message;
    ASSERT_TRUE(stream.seek(-1000));
    std::vector<float> out(3000 * 2, 1.0f);
    ASSERT_TRUE(stream.read(out.data(), 3000));
    for (std::size_t i = 0; i < 1000; ++i)
        ASSERT_EQ(out[2 * i], 0.0f) << i;
    for (std::size_t i = 1000; i < 3000; ++i)
        ASSERT_EQ(out[2 * i], source[2 * (i - 1000)]) << i;
    ASSERT_TRUE(stream.seek(19000));
    std::fill(out.begin(), out.end(), 1.0f);
    ASSERT_TRUE(stream.read(out.data(), 3000));
    EXPECT_EQ(out[0], source[2 * 19000]);
    for (std::size_t i = 1000; i < 3000; ++i)
        ASSERT_EQ(out[2 * i], 0.0f) << i;
    EXPECT_EQ(stream.position(), 22000);
}

// A mono track sounds on both sides.
TEST(MusicStream, MonoOnBothSides)
{
    const std::string path = temppath("-mono.wav");
    SF_INFO info{};
    info.samplerate = 48000;
    info.channels = 1;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr);
    const float samples[4] = {0.5f, -0.25f, 0.125f, 0.0f};
    sf_writef_float(file, samples, 4);
    sf_close(file);
    sndkit::musicstream_t stream;
    std::string message;
    ASSERT_TRUE(stream.open(path.c_str(), 48000, message)) << message;
    float out[8];
    ASSERT_TRUE(stream.read(out, 4));
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(out[2 * i], samples[i]);
        EXPECT_EQ(out[2 * i + 1], samples[i]);
    }
    std::remove(path.c_str());
}

TEST(MusicStream, RefusesWhatItCannotPlay)
{
    sndkit::musicstream_t stream;
    std::string message;
    EXPECT_FALSE(stream.open("/nonexistent/track.flac", 48000, message));
    EXPECT_FALSE(message.empty());
    EXPECT_FALSE(stream.isopen());

    const std::string text = temppath(".txt");
    std::ofstream(text) << "these are not samples\n";
    message.clear();
    EXPECT_FALSE(stream.open(text.c_str(), 48000, message));
    EXPECT_FALSE(message.empty());
    sndkit::musicinfo_t info;
    EXPECT_FALSE(sndkit::probemusic(text.c_str(), info, message));

    // A header without samples.
    const std::string empty = temppath("-empty.wav");
    ASSERT_TRUE(write(empty, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 48000, {}));
    message.clear();
    EXPECT_FALSE(stream.open(empty.c_str(), 48000, message));
    EXPECT_NE(message.find("no samples"), std::string::npos) << message;
    // A closed stream reads silence.
    float out[4] = {1, 1, 1, 1};
    EXPECT_FALSE(stream.read(out, 2));
    EXPECT_EQ(out[0], 0.0f);

    // A FIFO or a device is refused unread (a FIFO without a writer would
    // block the open: a hang times the test out); a folder is no track.
    const std::string fifo = temppath(".fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_FALSE(sndkit::probemusic(fifo.c_str(), info, message));
    EXPECT_EQ(message, "not a regular file (a FIFO)");
    EXPECT_FALSE(stream.open("/dev/zero", 48000, message));
    EXPECT_EQ(message, "not a regular file (a character device)");
    EXPECT_FALSE(stream.open(::testing::TempDir().c_str(), 48000, message));
    EXPECT_EQ(message, "cannot read the file (Is a directory)");
    // What was opened and refused is closed again.
    const auto descriptors = [] {
        std::size_t count = 0;
        for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) ++count;
        return count;
    };
    const std::size_t before = descriptors();
    for (int i = 0; i < 50; ++i) {
        EXPECT_FALSE(sndkit::probemusic(text.c_str(), info, message));
        EXPECT_FALSE(sndkit::probemusic(empty.c_str(), info, message));
    }
    EXPECT_EQ(descriptors(), before);
    std::remove(fifo.c_str());
    std::remove(text.c_str());
    std::remove(empty.c_str());
}

// Without a sound device the show's voice still checks the track, so a bad
// one is told, and then stays silent with no clock of its own.
TEST(ShowVoice, WithoutADeviceChecksTheTrackAndStaysSilent)
{
    const std::string path = temppath("-player.wav");
    ASSERT_TRUE(write(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 48000, tone(48000, 20000)));
    sndkit::showvoice_t player;
    std::string message;
    EXPECT_TRUE(player.Init(nullptr, path.c_str(), 0.5, 1.0, message)) << message;
    EXPECT_FALSE(player.active());
    player.play(0.0);
    player.pause(2.0);
    double heard = 0.0;
    EXPECT_FALSE(player.clock(0, heard)) << "the show keeps the monotonic clock";
    EXPECT_FALSE(player.Init(nullptr, "/nonexistent/track.ogg", 0.0, 1.0, message));
    EXPECT_EQ(message, "cannot read the file (No such file or directory)");
    player.Destroy();
    std::remove(path.c_str());
}

} // namespace
