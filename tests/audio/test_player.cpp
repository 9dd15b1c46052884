// The sound player through the real engine: FAudio on SDL's disk driver,
// which writes the mixed output (stereo 32-bit float frames) to a file that
// the tests read back. The engine lives for the whole process, so each test
// measures from where the recording stood when it began.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <malloc.h>
#include <thread>

#include "audio/myxaudio2.h"
#include "audio/xaudio2.h"
#include "diskrecording.h"
#include "wavefile.h"

using namespace wavefile;
using diskrecording::frames;
using diskrecording::reach;

namespace {


// The player on the default device (stereo, its rate detected) with a clip
// of 1/`per_second` s of 16-bit stereo: left 8192 (0.25), right -4096 (-0.125).
struct setup {
    tempdir dir;
    sndkit::xaudio2_t player{0};
    unsigned rate = 0;
    explicit setup(std::size_t per_second)
    {
        FAudioDeviceDetails d{};
        FAudio_GetDeviceDetails(sndkit::MyXAudio2::pXAudio2, 0, &d);
        rate = d.OutputFormat.Format.nSamplesPerSec;
        EXPECT_EQ(d.OutputFormat.Format.nChannels, 2);
        bytes data;
        for (std::size_t i = 0; i < rate / per_second; ++i)
            put(put(data, 8192, 2), 0x10000 - 4096, 2);
        EXPECT_TRUE(player.load(dir.write("clip.wav", riff({fmt(1, 2, rate, 16, 4), chunk("data", data)})).c_str()));
    }
};

// From frame `from` of the recording: the sum of the left side, the frames
// that hold the clip twice over, those that hold it neither once nor twice,
// and the first and last frame with sound.
struct census {
    double left = 0;
    std::uint64_t twice = 0, other = 0, first = ~0ull, last = 0;
    explicit census(std::uint64_t from)
    {
        std::ifstream in(diskrecording::g_path, std::ios::binary);
        in.seekg(std::streamoff(from * 8));
        float s[2];
        const auto is = [&](float k) { return std::abs(s[0] - k / 4) < 1e-4f && std::abs(s[1] + k / 8) < 1e-4f; };
        for (std::uint64_t i = 0; in.read(reinterpret_cast<char*>(s), 8); ++i) {
            left += s[0];
            if (s[0] != 0 || s[1] != 0)
                first = std::min(first, i), last = i, twice += is(2), other += !is(1) && !is(2);
        }
    }
};

} // namespace

TEST(Player, OverlappingPlaysAreBothHeardInFull)
{
    setup t(5);
    const std::uint64_t start = frames(), length = t.rate / 5;
    ASSERT_TRUE(t.player.play(false));
    std::this_thread::sleep_for(std::chrono::milliseconds(60));
    ASSERT_TRUE(t.player.play(false));
    EXPECT_EQ(t.player.buffers.size(), 2u);
    ASSERT_TRUE(reach(start + 2 * length + t.rate / 2));

    // Every frame of both plays, and some of them at once.
    const census c(start);
    EXPECT_NEAR(c.left / 0.25, 2.0 * length, 2.0);
    EXPECT_GT(c.twice, 0u);
    EXPECT_LE(c.other, 2u);
}

TEST(Player, LoopSoundsWithoutGapsUntilStop)
{
    setup t(20);
    // Nothing to stop yet: no thread to join, no voice to end.
    EXPECT_TRUE(t.player.stop());
    const std::uint64_t start = frames();
    ASSERT_TRUE(t.player.play(true));
    // On a loaded machine (a sanitizer build, tests in parallel) the voice
    // may start late: a second of sound from its first frame.
    std::uint64_t first = ~0ull;
    for (int i = 0; i < 300 && (first = census(start).first) == ~0ull; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ASSERT_NE(first, ~0ull) << "no sound within 3 s";
    ASSERT_TRUE(reach(start + first + t.rate));
    // Paced by buffer ends: never more than two submissions queued.
    FAudioVoiceState state{};
    FAudioSourceVoice_GetState(t.player.buffers.back().voice, &state, FAUDIO_VOICE_NOSAMPLESPLAYED);
    EXPECT_LE(state.BuffersQueued, 2u);
    EXPECT_TRUE(t.player.stop());
    const std::uint64_t stopped = frames() - start;
    ASSERT_TRUE(reach(start + stopped + t.rate / 2));

    // Clip after clip, never overlapping, never a silent frame between, for
    // many clip lengths; silence soon after the stop.
    const census c(start);
    EXPECT_EQ(c.twice + c.other, 0u);
    EXPECT_NEAR(c.left / 0.25, double(c.last - c.first + 1), 0.5);
    EXPECT_GE(c.last - c.first + 1, 15 * t.rate / 20);
    EXPECT_LT(c.last, stopped + t.rate / 5);
    // Nothing plays after a failed load.
    EXPECT_FALSE(t.player.load((t.dir.path + "/none.wav").c_str()));
    EXPECT_FALSE(t.player.play(false));
}

// Finished plays are reclaimed at the next play. A thread that ended
// unjoined would keep its stack mapped.
TEST(Player, ThousandPlaysKeepThreadsAndMemoryFlat)
{
    setup t(200);
    const auto threads = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {}); };
    const auto vmpages = [] { std::uint64_t n = 0; return std::ifstream("/proc/self/statm") >> n ? n : 0; };
    std::size_t most_plays = 0;
    const auto play = [&](int times) {
        for (int i = 0; i < times; ++i) {
            ASSERT_TRUE(t.player.play(false));
            most_plays = std::max(most_plays, t.player.buffers.size());
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        ASSERT_TRUE(reach(frames() + t.rate / 4));
        ASSERT_TRUE(t.player.play(false));
        EXPECT_EQ(t.player.buffers.size(), 1u);
    };
    play(100);
    const long before = threads();
    const std::uint64_t vm = vmpages();
    play(1000);
    EXPECT_LE(threads(), before + 1);
    EXPECT_LT(most_plays, 100u);
    EXPECT_LT(vmpages(), vm + 64 * 256);  // 64 MB
}

// The driver is chosen before the engine starts; the recording is this
// process's own. One malloc arena: a thread's first allocation may reserve a
// new 64 MB arena, no leak but noise in the virtual size.
int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    mallopt(M_ARENA_MAX, 1);
    const tempdir dir;
    diskrecording::start(dir.path + "/out.raw");
    return RUN_ALL_TESTS();
}
