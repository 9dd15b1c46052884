// The sound player through the real engine: FAudio on SDL's disk driver,
// which writes the mixed output (32-bit float frames) to a file that the
// tests read back. The engine lives for the whole process, so each test
// measures from where the recording stood when it began.

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <malloc.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "audio/myxaudio2.h"
#include "audio/xaudio2.h"
#include "wavefile.h"

using namespace wavefile;
using sndkit::xaudio2_t;

namespace {

std::string g_recording;
struct sigaction g_sigint {}, g_sigterm {};

// The default device's channels and rate, and the recording in frames.
struct recording {
    unsigned channels = 0, rate = 0;
    recording()
    {
        FAudioDeviceDetails d{};
        if (FAudio_GetDeviceDetails(sndkit::MyXAudio2::pXAudio2, 0, &d) == 0) {
            channels = d.OutputFormat.Format.nChannels;
            rate = d.OutputFormat.Format.nSamplesPerSec;
        }
    }
    std::uint64_t frames() const
    {
        struct stat st {};
        return stat(g_recording.c_str(), &st) == 0 ? std::uint64_t(st.st_size) / (channels * 4) : 0;
    }
    // Waits until the recording holds `count` frames.
    bool reach(std::uint64_t count) const
    {
        for (int i = 0; i < 3000 && frames() < count; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        return frames() >= count;
    }
    std::vector<float> read(std::uint64_t from) const
    {
        std::vector<float> s((frames() - from) * channels);
        std::ifstream(g_recording, std::ios::binary)
            .seekg(std::streamoff(from * channels * 4))
            .read(reinterpret_cast<char*>(s.data()), std::streamsize(s.size() * 4));
        return s;
    }
};

// Left and right sums over the frames, the frames holding a clip of
// (0.25, -0.125) twice over, those holding neither it once nor twice, and
// the first and last frame with sound.
struct census {
    double left = 0, right = 0;
    std::uint64_t twice = 0, other = 0, first = ~0ull, last = 0;
    census(const std::vector<float>& s, float l, float r)
    {
        const auto is = [](float a, float b) { return std::abs(a - b) < 1e-4f; };
        for (std::uint64_t i = 0; i + 1 < s.size(); i += 2) {
            left += s[i], right += s[i + 1];
            if (s[i] == 0 && s[i + 1] == 0)
                continue;
            first = std::min(first, i / 2), last = i / 2;
            twice += is(s[i], 2 * l) && is(s[i + 1], 2 * r);
            other += !(is(s[i], l) && is(s[i + 1], r)) && !(is(s[i], 2 * l) && is(s[i + 1], 2 * r));
        }
    }
};

// 16-bit stereo, left 8192 (0.25) and right -4096 (-0.125) throughout.
std::string clip(const tempdir& dir, unsigned rate, std::size_t frames)
{
    std::vector<std::int16_t> s;
    for (std::size_t i = 0; i < frames; ++i)
        s.insert(s.end(), {8192, -4096});
    return dir.write("clip.wav", riff({fmt(1, 2, rate, 16, 4), chunk("data", pcm16(s))}));
}

std::size_t threads()
{
    std::size_t n = 0;
    for ([[maybe_unused]] const auto& t : std::filesystem::directory_iterator("/proc/self/task"))
        ++n;
    return n;
}

// Virtual size in kB: a thread that ended unjoined keeps its stack mapped.
std::uint64_t virtual_kb()
{
    std::ifstream in("/proc/self/status");
    for (std::string key; in >> key;)
        if (key == "VmSize:" && in >> key)
            return std::stoull(key);
    return 0;
}

} // namespace

TEST(Player, OverlappingPlaysAreBothHeardInFull)
{
    tempdir dir;
    xaudio2_t player(0);
    const recording rec;
    ASSERT_EQ(rec.channels, 2u);
    const std::size_t length = rec.rate / 5;
    ASSERT_TRUE(player.load(clip(dir, rec.rate, length).c_str()));
    const std::uint64_t start = rec.frames();
    ASSERT_TRUE(player.play(false));
    std::this_thread::sleep_for(std::chrono::milliseconds(60));
    ASSERT_TRUE(player.play(false));
    EXPECT_EQ(player.buffers.size(), 2u);
    ASSERT_TRUE(rec.reach(start + 2 * length + rec.rate / 2));

    // Every frame of both plays, and some of them at once.
    const census c(rec.read(start), 0.25f, -0.125f);
    EXPECT_NEAR(c.left / 0.25, 2.0 * length, 2.0);
    EXPECT_NEAR(c.right / -0.125, 2.0 * length, 2.0);
    EXPECT_GT(c.twice, 0u);
    EXPECT_LE(c.other, 2u);
    // Both finished: the next play reclaims them.
    ASSERT_TRUE(player.play(false));
    EXPECT_EQ(player.buffers.size(), 1u);
    EXPECT_TRUE(player.stop());
    EXPECT_TRUE(player.buffers.empty());
}

TEST(Player, LoopSoundsWithoutGapsUntilStop)
{
    tempdir dir;
    xaudio2_t player(0);
    const recording rec;
    const std::size_t length = rec.rate / 20;
    ASSERT_TRUE(player.load(clip(dir, rec.rate, length).c_str()));
    // Nothing to stop yet: no thread to join, no voice to end.
    EXPECT_TRUE(player.stop());
    const std::uint64_t start = rec.frames();
    ASSERT_TRUE(player.play(true));
    ASSERT_TRUE(rec.reach(start + rec.rate));
    EXPECT_TRUE(player.stop());
    const std::uint64_t stopped = rec.frames() - start;
    ASSERT_TRUE(rec.reach(start + stopped + rec.rate / 2));

    // Clip after clip, never overlapping, never a silent frame between, for
    // many clip lengths; silence soon after the stop.
    const census c(rec.read(start), 0.25f, -0.125f);
    ASSERT_NE(c.first, ~0ull);
    EXPECT_EQ(c.twice + c.other, 0u);
    EXPECT_NEAR(c.left / 0.25, double(c.last - c.first + 1), 0.5);
    EXPECT_GE(c.last - c.first + 1, 15 * length);
    EXPECT_LT(c.last, stopped + rec.rate / 5);
    EXPECT_TRUE(player.stop());
}

TEST(Player, ThousandPlaysKeepThreadsAndMemoryFlat)
{
    tempdir dir;
    xaudio2_t player(0);
    const recording rec;
    ASSERT_TRUE(player.load(clip(dir, rec.rate, rec.rate / 200).c_str()));
    std::size_t most_plays = 0, most_threads = 0;
    const auto play = [&](int times) {
        for (int i = 0; i < times; ++i) {
            ASSERT_TRUE(player.play(false));
            most_plays = std::max(most_plays, player.buffers.size());
            most_threads = std::max(most_threads, threads());
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        ASSERT_TRUE(rec.reach(rec.frames() + rec.rate / 4));
        ASSERT_TRUE(player.play(false));
        EXPECT_EQ(player.buffers.size(), 1u);
    };
    play(100);
    const std::size_t before = threads();
    const std::uint64_t vm = virtual_kb();
    most_threads = 0;
    play(1000);
    EXPECT_LE(threads(), before + 1);
    EXPECT_LE(most_threads, before + 8);
    EXPECT_LT(most_plays, 100u);
    EXPECT_LT(virtual_kb(), vm + 64 * 1024);
}

TEST(Player, FormatSetUpAndRefusals)
{
    tempdir dir;
    xaudio2_t player(0);
    const FAudioWaveFormatEx& f = player.format.Format;
    const auto load = [&](const bytes& file, bool ok) {
        capture err(std::cerr);
        EXPECT_EQ(player.load(dir.write("a.wav", file).c_str()), ok);
        return err.str();
    };
    EXPECT_EQ(load(riff({fmt(3, 2, 48000, 24, 6), chunk("data", {})}), false), "not supported format.(id=3 && bits=24)\n");
    EXPECT_EQ(load(riff({fmt(65534, 2, 48000, 24, 6, extensible(3)), chunk("data", {})}), false),
              "not supported format.(id=fffe && bits=24)\n");
    bytes eight = adpcmfile(22050, bytes(256));
    eight[34] = 8;
    EXPECT_EQ(load(eight, false), "8: IMA/DVI ADPCM decoder is not supported bits.\n");

    // Stereo ADPCM becomes 16-bit PCM with one channel's block align, which
    // the engine refuses to play.
    EXPECT_EQ(load(adpcmfile(22050, bytes(512), 2), true), "");
    EXPECT_EQ(f.wFormatTag, 1);
    EXPECT_EQ(f.wBitsPerSample, 16);
    EXPECT_EQ(f.nBlockAlign, 2);
    EXPECT_EQ(f.nAvgBytesPerSec, 88200u);  // 16 x 2 x 22050 / 8
    EXPECT_EQ(player.format.dwChannelMask, 2u);
    capture err(std::cerr);
    EXPECT_FALSE(player.play(false));
    // Nor is anything played after a failed load.
    EXPECT_FALSE(player.load((dir.path + "/none.wav").c_str()));
    EXPECT_FALSE(player.play(false));
    EXPECT_EQ(err.str(), "hr: 0x88890008\nhr: 0x88890008\n");
    EXPECT_EQ(player.buffers.size(), 1u);
    EXPECT_FALSE(player.stop());
}

TEST(Player, EngineListsDevicesAndLeavesSignalsAlone)
{
    xaudio2_t player(0);
    struct sigaction now {};
    sigaction(SIGINT, nullptr, &now);
    EXPECT_EQ(now.sa_handler, g_sigint.sa_handler);
    sigaction(SIGTERM, nullptr, &now);
    EXPECT_EQ(now.sa_handler, g_sigterm.sa_handler);

    std::uint32_t count = 0;
    ASSERT_EQ(FAudio_GetDeviceCount(sndkit::MyXAudio2::pXAudio2, &count), 0u);
    std::string expected;
    for (std::uint32_t i = 0; i < count; ++i) {
        FAudioDeviceDetails d{};
        FAudio_GetDeviceDetails(sndkit::MyXAudio2::pXAudio2, i, &d);
        expected += "dev: " + std::to_string(i) + ": ";
        for (std::size_t k = 0; d.DeviceID[k] != 0; ++k)
            expected += static_cast<char>(d.DeviceID[k]);
        expected += "\n";
    }
    capture out(std::cout);
    EXPECT_EQ(player.listdevices(), count > 0);
    EXPECT_EQ(out.str(), expected);
}

// The driver is chosen before the engine starts; the recording is this
// process's own. One malloc arena: a thread's first allocation may reserve a
// new 64 MB arena, no leak but noise in the virtual size.
int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    mallopt(M_ARENA_MAX, 1);
    g_recording = "/tmp/test_sndkit_player-" + std::to_string(getpid()) + ".raw";
    setenv("SDL_AUDIODRIVER", "disk", 1);
    setenv("SDL_DISKAUDIOFILE", g_recording.c_str(), 1);
    sigaction(SIGINT, nullptr, &g_sigint);
    sigaction(SIGTERM, nullptr, &g_sigterm);
    const int result = RUN_ALL_TESTS();
    std::remove(g_recording.c_str());
    return result;
}
