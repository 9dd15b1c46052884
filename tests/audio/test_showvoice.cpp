// The show's voice through the real engine on SDL's disk driver. The track
// is a float ramp (left (i + 1) / N at frame i, right its negative), so each
// recorded frame tells which track frame was heard, and where a move of the
// show's clock took the music; a burst mixed in adds the same to both sides,
// so left plus right is the bursts alone.

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <thread>

#include "audio/showvoice.h"
#include "utils/mmtime.h"
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
void silence(sndkit::showvoice_t& music, double showtime, unsigned rate)
{
    music.pause(showtime);
    ASSERT_TRUE(reach(frames() + rate / 4));
}

TEST(ShowVoice, PlaysFromTheShowTimesExactSampleUnderItsGain)
{
    const track t;
    sndkit::showvoice_t music;
    std::string message;
    ASSERT_TRUE(music.Init(sndkit::xaudio2_t::engine(), t.path.c_str(), 0.5, 0.5, message)) << message;
    ASSERT_TRUE(music.active());
    EXPECT_EQ(static_cast<unsigned>(music.rate()), t.rate) << "the device's own rate";

    // Show time 1.75 with the track starting at 0.5: track second 1.25.
    const std::uint64_t from = frames();
    music.play(1.75);
    ASSERT_TRUE(reach(from + t.rate / 2));
    const restart heard = findrestart(t, from, 0.5);
    EXPECT_EQ(heard.frame, std::llround(1.25 * t.rate));
    EXPECT_GT(heard.steady, t.rate / 4) << "the track did not play on sample by sample";
    music.Destroy();
}

TEST(ShowVoice, PauseSilencesAndResumePlaysFromTheShowTime)
{
    const track t;
    sndkit::showvoice_t music;
    std::string message;
    ASSERT_TRUE(music.Init(sndkit::xaudio2_t::engine(), t.path.c_str(), 0.0, 1.0, message)) << message;
    music.play(0.0);
    ASSERT_TRUE(reach(frames() + t.rate / 4));
    music.pause(0.4);
    // What was queued before the pause may still be on its way out.
    ASSERT_TRUE(reach(frames() + t.rate / 4));
    const std::uint64_t paused = frames();
    ASSERT_TRUE(reach(paused + t.rate / 4));
    for (float sample : leftfrom(paused))
        ASSERT_EQ(sample, 0.0f) << "music heard while paused";

    // Moves while paused are only remembered; the resume decides.
    music.pause(3.0);
    const std::uint64_t from = frames();
    music.play(2.0);
    ASSERT_TRUE(reach(from + t.rate / 2));
    const restart heard = findrestart(t, from, 1.0);
    EXPECT_EQ(heard.frame, std::llround(2.0 * t.rate));
    EXPECT_GT(heard.steady, t.rate / 4);
}

TEST(ShowVoice, SilentBeforeTheOffsetThenFromTheFirstSampleAndAfterTheEnd)
{
    const track t;
    sndkit::showvoice_t music;
    std::string message;
    ASSERT_TRUE(music.Init(sndkit::xaudio2_t::engine(), t.path.c_str(), 0.25, 1.0, message)) << message;
    silence(music, 0.0, t.rate);
    const std::uint64_t from = frames();
    music.play(0.0);
    ASSERT_TRUE(reach(from + t.rate));
    const restart heard = findrestart(t, from, 1.0);
    EXPECT_EQ(heard.frame, 0) << "the track did not begin with its first sample";
    // A quarter second of silence before it, played by the same voice: the
    // offset is exact in the recording.
    EXPECT_GE(heard.at - static_cast<long long>(from), static_cast<long long>(t.rate / 4));

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

// A burst at show time 1.0 and one at 1.5, with the music's first sample at
// 0.5: in the recording each burst begins on the very frame that carries the
// music's frame (1.0 - 0.5) and (1.5 - 0.5) seconds in.
TEST(ShowVoice, BurstsLandOnTheirExactSamplesOfTheMusic)
{
    const track t;
    sndkit::clip_t click;
    click.samples.assign(2 * 64, 0.125f);
    sndkit::showvoice_t music;
    std::string message;
    ASSERT_TRUE(music.Init(sndkit::xaudio2_t::engine(), t.path.c_str(), 0.5, 1.0, message)) << message;
    music.setsounds(&click, {1.0, 1.5});
    silence(music, 0.75, t.rate);
    const std::uint64_t from = frames();
    music.play(0.75);
    ASSERT_TRUE(reach(from + t.rate));
    std::ifstream in(diskrecording::g_path, std::ios::binary);
    in.seekg(static_cast<std::streamoff>(from * 8));
    std::vector<std::pair<float, float>> recorded;
    float s[2];
    while (in.read(reinterpret_cast<char*>(s), sizeof s))
        recorded.emplace_back(s[0], s[1]);
    std::vector<long long> onsets;
    for (std::size_t i = 0; i < recorded.size(); ++i) {
        const bool loud = std::fabs(recorded[i].first + recorded[i].second) > 0.2f;
        const bool before = i > 0 && std::fabs(recorded[i - 1].first + recorded[i - 1].second) > 0.2f;
        if (loud && !before) {
            // The music under it: left less the click, read as a track frame.
            onsets.push_back(t.frameof(recorded[i].first - 0.125f, 1.0));
        }
    }
    EXPECT_EQ(onsets, (std::vector<long long>{std::llround(0.5 * t.rate), std::llround(1.0 * t.rate)}));
}

// Clips of different sounds (a burst, a deeper break, a crackle) mixed into
// one music stream: each lands on its own exact sample, and it is that clip
// that is heard there, not another.
TEST(ShowVoice, DifferentClipsLandOnTheirOwnSamples)
{
    const track t;
    sndkit::clip_t soft, loud;
    soft.samples.assign(2 * 64, 0.125f);
    loud.samples.assign(2 * 64, 0.375f);
    sndkit::showvoice_t music;
    std::string message;
    ASSERT_TRUE(music.Init(sndkit::xaudio2_t::engine(), t.path.c_str(), 0.5, 1.0, message)) << message;
    music.setsounds({{1.0, &loud}, {1.25, &soft}, {1.5, &loud}});
    silence(music, 0.75, t.rate);
    const std::uint64_t from = frames();
    music.play(0.75);
    ASSERT_TRUE(reach(from + t.rate));
    std::ifstream in(diskrecording::g_path, std::ios::binary);
    in.seekg(static_cast<std::streamoff>(from * 8));
    std::vector<std::pair<float, float>> recorded;
    float s[2];
    while (in.read(reinterpret_cast<char*>(s), sizeof s))
        recorded.emplace_back(s[0], s[1]);
    // The track is a ramp on the left and its negative on the right: their
    // sum is twice the clip's level, and the left less the clip the track's
    // frame.
    std::vector<std::pair<long long, float>> onsets;
    for (std::size_t i = 0; i < recorded.size(); ++i) {
        const bool heard = std::fabs(recorded[i].first + recorded[i].second) > 0.2f;
        const bool before = i > 0 && std::fabs(recorded[i - 1].first + recorded[i - 1].second) > 0.2f;
        if (!heard || before)
            continue;
        const float level = std::round(4.0f * (recorded[i].first + recorded[i].second)) / 8.0f;
        onsets.emplace_back(t.frameof(recorded[i].first - level, 1.0), level);
    }
    const std::vector<std::pair<long long, float>> want = {
        {std::llround(0.5 * t.rate), 0.375f}, {std::llround(0.75 * t.rate), 0.125f}, {std::llround(1.0 * t.rate), 0.375f}};
    EXPECT_EQ(onsets, want);
}

// The clock is the device's: over a few seconds it advances as the recording
// does (the disk driver's own pace, not the wall clock's), never goes back,
// and holds at a move's time until the device reaches it.
TEST(ShowVoice, TheClockRunsWithTheFramesTheDevicePlays)
{
    const track t;
    sndkit::showvoice_t music;
    std::string message;
    ASSERT_TRUE(music.Init(sndkit::xaudio2_t::engine(), t.path.c_str(), 0.0, 1.0, message)) << message;
    music.play(1.0);
    double first = 0.0, last = 0.0, previous = -1.0;
    ASSERT_TRUE(music.clock(basekit::monotonicmicros(), first));
    EXPECT_GE(first, 1.0);
    EXPECT_LT(first, 1.2);
    // Once the fit has a second of reports, against the recording's growth.
    std::this_thread::sleep_for(std::chrono::seconds(1));
    ASSERT_TRUE(music.clock(basekit::monotonicmicros(), first));
    const std::uint64_t start = frames();
    for (int i = 0; i < 400; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        double now = 0.0;
        ASSERT_TRUE(music.clock(basekit::monotonicmicros(), now));
        EXPECT_GE(now, previous) << i;
        previous = now;
    }
    ASSERT_TRUE(music.clock(basekit::monotonicmicros(), last));
    const double recorded = static_cast<double>(frames() - start) / t.rate;
    // Each end is known to a buffer of the driver, some tens of milliseconds.
    EXPECT_NEAR((last - first) / recorded, 1.0, 0.025) << last - first << " s heard, " << recorded << " s recorded";
    std::cerr << "device clock: " << music.devicerate() << " frames a second\n";
}

// The show's clock moved from this thread while the feeder fills the voice
// and the engine plays it: nothing is lost or stuck, and the feeder ends.
TEST(ShowVoice, ManyMovesFromTheShowsThreadLeaveItPlayingInPlace)
{
    const auto threads = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {}); };
    const long before = threads();
    const track t;
    {
        sndkit::showvoice_t music;
        std::string message;
        ASSERT_TRUE(music.Init(sndkit::xaudio2_t::engine(), t.path.c_str(), 0.0, 1.0, message)) << message;
        double showtime = 0.0;
        for (int i = 0; i < 300; ++i) {
            showtime = std::fmod(showtime + 0.37, k_seconds);
            double heard = 0.0;
            switch (i % 4) {
            case 0: music.play(showtime); break;
            case 2: music.pause(showtime); break;
            default: music.clock(basekit::monotonicmicros(), heard); break;
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
