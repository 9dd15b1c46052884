// The music player through the real engine on SDL's disk driver. The track
// is a float ramp (left (i + 1) / N at frame i, right its negative), so each
// recorded frame tells which track frame was heard, and where a move of the
// show's clock took the music.

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <thread>

#include "audio/musicplayer.h"
#include "audio/myxaudio2.h"
#include "audio/xaudio2.h"
#include "diskrecording.h"
#include "wavefile.h"

using namespace wavefile;
using diskrecording::frames;
using diskrecording::reach;

namespace {

constexpr double k_seconds = 6.0;

std::vector<float> leftfrom(std::uint64_t from)
{
    std::ifstream in(diskrecording::g_path, std::ios::binary);
    in.seekg(static_cast<std::streamoff>(from * 8));
    std::vector<float> left;
    float s[2];
    while (in.read(reinterpret_cast<char*>(s), sizeof s))
        left.push_back(s[0]);
    return left;
}

struct track {
    tempdir dir;
    unsigned rate = 0;
    std::uint64_t length = 0;
    std::string path;
    track()
    {
        FAudioVoiceDetails details{};
        FAudioVoice_GetVoiceDetails(sndkit::xaudio2_t::engine()->mastervoice, &details);
        rate = details.InputSampleRate;
        length = static_cast<std::uint64_t>(k_seconds * rate);
        bytes data;
        for (std::uint64_t i = 0; i < length; ++i) {
            const float left = static_cast<float>(i + 1) / static_cast<float>(length), right = -left;
            std::uint32_t word;
            std::memcpy(&word, &left, 4);
            put(data, word, 4);
            std::memcpy(&word, &right, 4);
            put(data, word, 4);
        }
        path = dir.write("ramp.wav", riff({fmt(3, 2, rate, 32, 8), chunk("data", data)}));
    }
    // The track frame a recorded left sample carries, at `gain`.
    long long frameof(float left, double gain) const
    {
        return std::llround(left / gain * static_cast<double>(length)) - 1;
    }
};

// Where the music starts again after a silence that begins at or after
// recording frame `from`: the first sound that follows a silent frame.
struct restart {
    long long at = -1;      // recording frame
    long long frame = -1;   // track frame heard there
    long long steady = 0;   // frames after it that follow one by one
};

restart findrestart(const track& t, std::uint64_t from, double gain)
{
    const std::vector<float> left = leftfrom(from);
    restart found;
    std::size_t i = 0;
    while (i < left.size() && left[i] != 0.0f)
        ++i;
    while (i < left.size() && left[i] == 0.0f)
        ++i;
    if (i == left.size())
        return found;
    found.at = static_cast<long long>(from + i);
    found.frame = t.frameof(left[i], gain);
    for (std::size_t k = i + 1; k < left.size() && t.frameof(left[k], gain) == found.frame + static_cast<long long>(k - i);
         ++k)
        ++found.steady;
    return found;
}

// Pauses and waits until the recording has a stretch of silence, so that a
// following play starts from silence.
void silence(sndkit::musicplayer_t& music, double showtime, unsigned rate)
{
    music.pause(showtime);
    ASSERT_TRUE(reach(frames() + rate / 4));
}

TEST(MusicPlayer, PlaysFromTheShowTimesExactSampleUnderItsGain)
{
    const track t;
    sndkit::musicplayer_t music;
    std::string message;
    ASSERT_TRUE(music.Init(sndkit::xaudio2_t::engine(), t.path.c_str(), 0.5, 0.5, message)) << message;
    ASSERT_TRUE(music.active());

    // Show time 1.75 with the track starting at 0.5: track second 1.25.
    const std::uint64_t from = frames();
    music.play(1.75);
    ASSERT_TRUE(reach(from + t.rate / 2));
    const restart heard = findrestart(t, from, 0.5);
    EXPECT_EQ(heard.frame, std::llround(1.25 * t.rate));
    EXPECT_GT(heard.steady, t.rate / 4) << "the track did not play on sample by sample";
    music.Destroy();
}

TEST(MusicPlayer, PauseSilencesAndResumePlaysFromTheShowTime)
{
    const track t;
    sndkit::musicplayer_t music;
    std::string message;
    ASSERT_TRUE(music.Init(sndkit::xaudio2_t::engine(), t.path.c_str(), 0.0, 1.0, message)) << message;
    music.play(0.0);
    ASSERT_TRUE(reach(frames() + t.rate / 4));
    music.pause(0.4);
    // What was mixed before the pause may still be on its way out.
    ASSERT_TRUE(reach(frames() + t.rate / 4));
    const std::uint64_t paused = frames();
    ASSERT_TRUE(reach(paused + t.rate / 4));
    for (float sample : leftfrom(paused))
        ASSERT_EQ(sample, 0.0f) << "music heard while paused";

    // Seeks while paused are only remembered; the resume decides.
    music.pause(3.0);
    const std::uint64_t from = frames();
    music.play(2.0);
    ASSERT_TRUE(reach(from + t.rate / 2));
    const restart heard = findrestart(t, from, 1.0);
    EXPECT_EQ(heard.frame, std::llround(2.0 * t.rate));
    EXPECT_GT(heard.steady, t.rate / 4);
}

TEST(MusicPlayer, SilentBeforeTheOffsetThenFromTheFirstSampleAndAfterTheEnd)
{
    const track t;
    sndkit::musicplayer_t music;
    std::string message;
    ASSERT_TRUE(music.Init(sndkit::xaudio2_t::engine(), t.path.c_str(), 0.25, 1.0, message)) << message;
    silence(music, 0.0, t.rate);
    const std::uint64_t from = frames();
    music.play(0.0);
    ASSERT_TRUE(reach(from + t.rate));
    const restart heard = findrestart(t, from, 1.0);
    EXPECT_EQ(heard.frame, 0) << "the track did not begin with its first sample";

    // Half a second before the end: the last sample, then silence.
    const std::uint64_t before = frames();
    music.play(0.25 + k_seconds - 0.5);
    ASSERT_TRUE(reach(before + t.rate));
    const std::vector<float> left = leftfrom(before);
    long long last = -1;
    for (std::size_t i = 0; i < left.size(); ++i)
        if (left[i] != 0.0f)
            last = static_cast<long long>(i);
    ASSERT_GE(last, 0);
    EXPECT_EQ(t.frameof(left[last], 1.0), static_cast<long long>(t.length) - 1);
    EXPECT_GT(left.size() - static_cast<std::size_t>(last), t.rate / 4u) << "not silent after the end";
}

// The show's clock moved from this thread while the feeder fills the voice
// and the engine plays it: nothing is lost or stuck, and the feeder ends.
TEST(MusicPlayer, ManyMovesFromTheShowsThreadLeaveItPlayingInPlace)
{
    const auto threads = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {}); };
    const long before = threads();
    const track t;
    {
        sndkit::musicplayer_t music;
        std::string message;
        ASSERT_TRUE(music.Init(sndkit::xaudio2_t::engine(), t.path.c_str(), 0.0, 1.0, message)) << message;
        double showtime = 0.0;
        for (int i = 0; i < 300; ++i) {
            showtime = std::fmod(showtime + 0.37, k_seconds);
            switch (i % 4) {
            case 0: music.play(showtime); break;
            case 1: music.sync(showtime); break;
            case 2: music.pause(showtime); break;
            default: music.sync(showtime); break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        silence(music, 1.0, t.rate);
        const std::uint64_t from = frames();
        music.play(1.0);
        ASSERT_TRUE(reach(from + t.rate / 2));
        const restart heard = findrestart(t, from, 1.0);
        EXPECT_EQ(heard.frame, static_cast<long long>(t.rate));
        EXPECT_GT(heard.steady, t.rate / 4);
    }
    EXPECT_LE(threads(), before);
}

} // namespace

// The driver is chosen before the engine starts; the recording is this
// process's own.
int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    const tempdir dir;
    diskrecording::start(dir.path + "/out.raw");
    if (!sndkit::xaudio2_t::init(0) || sndkit::xaudio2_t::engine() == nullptr
        || sndkit::xaudio2_t::engine()->mastervoice == nullptr) {
        std::cerr << "no engine on the disk driver" << std::endl;
        return 1;
    }
    return RUN_ALL_TESTS();
}
