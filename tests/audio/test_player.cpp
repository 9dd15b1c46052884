// The sound player through the real engine: FAudio on SDL's disk driver,
// which writes the mixed output to a file that the tests read back. The
// engine lives for the whole process; each test measures from where the
// recording stood when it began.

#include <gtest/gtest.h>

#include <chrono>
#include <malloc.h>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "audio/myxaudio2.h"
#include "audio/wavedispatch.h"
#include "audio/xaudio2.h"
#include "procstat.h"
#include "wavefile.h"

using namespace wavefile;
using sndkit::xaudio2_t;

namespace {

std::string g_recording;
struct sigaction g_sigint {}, g_sigterm {};

// The mixed output as the disk driver writes it: 32-bit float frames of the
// default device's channel count and rate.
struct recording {
    unsigned channels = 0;
    unsigned rate = 0;

    recording()
    {
        FAudioDeviceDetails details{};
        if (sndkit::MyXAudio2::pXAudio2 && FAudio_GetDeviceDetails(sndkit::MyXAudio2::pXAudio2, 0, &details) == 0) {
            channels = details.OutputFormat.Format.nChannels;
            rate = details.OutputFormat.Format.nSamplesPerSec;
        }
    }

    std::uint64_t frames() const
    {
        struct stat st {};
        if (stat(g_recording.c_str(), &st) != 0 || channels == 0)
            return 0;
        return static_cast<std::uint64_t>(st.st_size) / (channels * sizeof(float));
    }

    // Waits until the recording holds `count` frames; false after 30 s.
    bool reach(std::uint64_t count) const
    {
        const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (frames() < count) {
            if (std::chrono::steady_clock::now() > give_up)
                return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return true;
    }

    // Frames [from, to), interleaved.
    std::vector<float> read(std::uint64_t from, std::uint64_t to) const
    {
        std::vector<float> out((to - from) * channels);
        std::FILE* f = std::fopen(g_recording.c_str(), "rb");
        if (!f)
            return {};
        std::fseek(f, static_cast<long>(from * channels * sizeof(float)), SEEK_SET);
        out.resize(std::fread(out.data(), sizeof(float), out.size(), f));
        std::fclose(f);
        return out;
    }
};

// What frames hold, for a clip of a constant left and right value.
struct census {
    std::uint64_t silent = 0, once = 0, twice = 0, other = 0;
    std::uint64_t first = ~0ull, last = 0;  // first and last sounding frame
    double left = 0, right = 0;             // sums

    census(const std::vector<float>& s, unsigned channels, float l, float r)
    {
        const auto near = [](float a, float b) { return std::abs(a - b) < 1e-4f; };
        for (std::uint64_t i = 0; i + channels <= s.size(); i += channels) {
            const float a = s[i], b = s[i + 1];
            left += a;
            right += b;
            if (a == 0 && b == 0) {
                ++silent;
                continue;
            }
            first = std::min(first, i / channels);
            last = i / channels;
            if (near(a, l) && near(b, r))
                ++once;
            else if (near(a, 2 * l) && near(b, 2 * r))
                ++twice;
            else
                ++other;
        }
    }
};

// 16-bit stereo at `rate`: left 8192 (0.25), right -4096 (-0.125).
bytes constantclip(unsigned rate, std::size_t frames)
{
    std::vector<std::int16_t> s;
    for (std::size_t i = 0; i < frames; ++i) {
        s.push_back(8192);
        s.push_back(-4096);
    }
    return riff({fmt(1, 2, rate, 16, 4), chunk("data", samples16(s))});
}

std::string loadlines(xaudio2_t& player, const tempdir& dir, const bytes& file, bool expect)
{
    capture err(std::cerr);
    EXPECT_EQ(player.load(dir.write("f.wav", file).c_str()), expect);
    return err.str();
}

} // namespace

TEST(Player, OverlappingPlaysAreBothHeardInFull)
{
    tempdir dir;
    xaudio2_t player(0);
    const recording rec;
    ASSERT_EQ(rec.channels, 2u) << "these tests expect a stereo device";
    const std::size_t clip = rec.rate / 5;
    ASSERT_TRUE(player.load(dir.write("a.wav", constantclip(rec.rate, clip)).c_str()));

    const std::uint64_t start = rec.frames();
    ASSERT_TRUE(player.play(false));
    std::this_thread::sleep_for(std::chrono::milliseconds(60));
    ASSERT_TRUE(player.play(false));
    EXPECT_EQ(player.buffers.size(), 2u);
    ASSERT_TRUE(rec.reach(start + 2 * clip + rec.rate / 2));

    const census c(rec.read(start, rec.frames()), rec.channels, 0.25f, -0.125f);
    EXPECT_GT(c.once, 0u);
    EXPECT_GT(c.twice, 0u) << "the plays did not overlap";
    EXPECT_LE(c.other, 2u);
    // Every frame of both plays, once each.
    EXPECT_NEAR(c.left / 0.25, 2.0 * clip, 2.0);
    EXPECT_NEAR(c.right / -0.125, 2.0 * clip, 2.0);

    // Both have finished: the next play reclaims them.
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
    const std::size_t clip = rec.rate / 20;
    ASSERT_TRUE(player.load(dir.write("a.wav", constantclip(rec.rate, clip)).c_str()));

    const std::uint64_t start = rec.frames();
    ASSERT_TRUE(player.play(true));
    ASSERT_TRUE(rec.reach(start + rec.rate));
    EXPECT_TRUE(player.stop());
    EXPECT_TRUE(player.buffers.empty());
    const std::uint64_t stopped = rec.frames();
    ASSERT_TRUE(rec.reach(stopped + rec.rate / 2));

    const census c(rec.read(start, rec.frames()), rec.channels, 0.25f, -0.125f);
    ASSERT_NE(c.first, ~0ull);
    // One clip after another with nothing between them and nothing doubled,
    // for many clip lengths, and silence soon after the stop.
    EXPECT_EQ(c.twice, 0u);
    EXPECT_LE(c.other, 2u);
    EXPECT_EQ(c.once + c.other, c.last - c.first + 1);
    EXPECT_GE(c.last - c.first + 1, 15 * clip);
    EXPECT_LT(start + c.last, stopped + rec.rate / 5);

    // A second stop has nothing left to do.
    EXPECT_TRUE(player.stop());
}

TEST(Player, StopWithoutPlayOrTwiceReturnsAtOnce)
{
    tempdir dir;
    std::unique_ptr<sndkit::wave_t> wave = sndkit::wave_dispatch(0);
    auto* player = dynamic_cast<xaudio2_t*>(wave.get());
    ASSERT_NE(player, nullptr);
    EXPECT_TRUE(wave->stop());
    EXPECT_TRUE(wave->stop());

    const recording rec;
    ASSERT_TRUE(wave->load(dir.write("a.wav", constantclip(rec.rate, rec.rate / 100)).c_str()));
    ASSERT_TRUE(wave->play(false));
    EXPECT_TRUE(wave->stop());
    EXPECT_TRUE(player->buffers.empty());
    EXPECT_TRUE(wave->stop());
}

TEST(Player, ThousandPlaysKeepThreadsAndMemoryFlat)
{
    tempdir dir;
    xaudio2_t player(0);
    const recording rec;
    ASSERT_TRUE(player.load(dir.write("a.wav", constantclip(rec.rate, rec.rate / 200)).c_str()));

    std::size_t most_plays = 0, most_threads = 0;
    const auto play = [&](int times) {
        for (int i = 0; i < times; ++i) {
            ASSERT_TRUE(player.play(false));
            most_plays = std::max(most_plays, player.buffers.size());
            most_threads = std::max(most_threads, procstat::threads());
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    };
    const auto drain = [&] {
        ASSERT_TRUE(rec.reach(rec.frames() + rec.rate / 4));
        ASSERT_TRUE(player.play(false));
        EXPECT_EQ(player.buffers.size(), 1u);
    };

    play(100);
    drain();
    const std::size_t threads = procstat::threads();
    const std::uint64_t vm = procstat::virtual_kb(), rss = procstat::resident_kb();
    most_threads = 0;
    play(1000);
    drain();

    // Every decode thread was joined (an unjoined one would keep its stack
    // mapped) and every voice destroyed.
    EXPECT_LE(procstat::threads(), threads + 1);
    EXPECT_LE(most_threads, threads + 8);
    EXPECT_LT(most_plays, 100u);
    EXPECT_LT(procstat::virtual_kb(), vm + 64 * 1024);
    EXPECT_LT(procstat::resident_kb(), rss + 8 * 1024);
}

TEST(Player, AdpcmPlaysItsDecodedSamples)
{
    tempdir dir;
    xaudio2_t player(0);
    const recording rec;
    // Three flat blocks of 8192 (0.25): 505 + 505 + 409 samples, the last
    // block cut at the data size minus its offset (P = 48).
    ASSERT_TRUE(player.load(dir.write("a.wav", adpcmfile(rec.rate, flatblocks({8192, 8192, 8192}, 768))).c_str()));
    EXPECT_EQ(player.format.Format.wFormatTag, 1);
    EXPECT_EQ(player.format.Format.nBlockAlign, 2);

    const std::uint64_t start = rec.frames();
    ASSERT_TRUE(player.play(false));
    ASSERT_TRUE(rec.reach(start + rec.rate / 2));
    EXPECT_TRUE(player.stop());

    // A mono voice reaches both channels of the device unchanged.
    const census c(rec.read(start, rec.frames()), rec.channels, 0.25f, 0.25f);
    EXPECT_EQ(c.other, 0u);
    EXPECT_EQ(c.once, 1419u);
}

TEST(Player, FormatSetUpAndRefusals)
{
    tempdir dir;
    xaudio2_t player(0);
    const auto& f = player.format;

    EXPECT_EQ(loadlines(player, dir, riff({fmt(1, 2, 44100, 16, 4), chunk("data", bytes(8))}), true), "");
    EXPECT_EQ(f.Format.wFormatTag, 1);
    EXPECT_EQ(f.Format.nChannels, 2);
    EXPECT_EQ(f.Format.nSamplesPerSec, 44100u);
    EXPECT_EQ(f.Format.nAvgBytesPerSec, 176400u);
    EXPECT_EQ(f.Format.nBlockAlign, 4);
    EXPECT_EQ(f.Format.wBitsPerSample, 16);
    EXPECT_EQ(f.Format.cbSize, 0);
    EXPECT_EQ(f.Samples.wValidBitsPerSample, 1);  // 4 / 2 / 2
    EXPECT_EQ(f.dwChannelMask, 2u);

    EXPECT_EQ(loadlines(player, dir, riff({fmt(3, 1, 48000, 32, 4), chunk("data", bytes(8))}), true), "");
    EXPECT_EQ(f.Format.wFormatTag, 3);
    EXPECT_EQ(f.Format.wBitsPerSample, 32);
    EXPECT_EQ(f.Samples.wValidBitsPerSample, 1);

    // Extensible: the sub-format's tag is given to the engine.
    EXPECT_EQ(loadlines(player, dir, riff({fmt(65534, 2, 48000, 24, 6, extensible(24, 1)), chunk("data", bytes(6))}), true), "");
    EXPECT_EQ(f.Format.wFormatTag, 1);
    EXPECT_EQ(f.Format.wBitsPerSample, 24);
    EXPECT_EQ(f.Samples.wValidBitsPerSample, 1);

    EXPECT_EQ(loadlines(player, dir, riff({fmt(3, 2, 48000, 24, 6), chunk("data", bytes(6))}), false),
              "not supported format.(id=3 && bits=24)\n");
    EXPECT_EQ(loadlines(player, dir, riff({fmt(65534, 2, 48000, 24, 6, extensible(24, 3)), chunk("data", bytes(6))}), false),
              "not supported format.(id=fffe && bits=24)\n");
    EXPECT_EQ(loadlines(player, dir, adpcmfile(22050, bytes(256)), true), "");
    bytes eightbit = adpcmfile(22050, bytes(256));
    eightbit[34] = 8;
    EXPECT_EQ(loadlines(player, dir, eightbit, false), "8: IMA/DVI ADPCM decoder is not supported bits.\n");

    // Stereo ADPCM loads as 16-bit PCM with the block align of one channel;
    // the engine cannot play that, and neither can an unknown tag.
    EXPECT_EQ(loadlines(player, dir, adpcmfile(22050, bytes(512), 2), true), "");
    EXPECT_EQ(f.Format.wFormatTag, 1);
    EXPECT_EQ(f.Format.nChannels, 2);
    EXPECT_EQ(f.Format.wBitsPerSample, 16);
    EXPECT_EQ(f.Format.nBlockAlign, 2);
    EXPECT_EQ(f.Format.nAvgBytesPerSec, 16u * 2 * 22050 / 8);
    EXPECT_EQ(f.Format.cbSize, 0);
    EXPECT_EQ(f.dwChannelMask, 2u);
    {
        capture err(std::cerr);
        EXPECT_FALSE(player.play(false));
        EXPECT_EQ(err.str(), "hr: 0x88890008\n");
    }
    EXPECT_EQ(loadlines(player, dir, riff({fmt(0x55, 1, 22050, 0, 1), chunk("data", bytes(8))}), true), "");
    capture err(std::cerr);
    EXPECT_FALSE(player.play(false));
    EXPECT_EQ(err.str(), "hr: 0x88890008\n");
    // The failed plays stay queued without a voice until the next play.
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
    ASSERT_GT(count, 0u);
    std::string expected;
    for (std::uint32_t i = 0; i < count; ++i) {
        FAudioDeviceDetails details{};
        ASSERT_EQ(FAudio_GetDeviceDetails(sndkit::MyXAudio2::pXAudio2, i, &details), 0u);
        expected += "dev: " + std::to_string(i) + ": ";
        for (std::size_t k = 0; details.DeviceID[k] != 0; ++k)
            expected += static_cast<char>(details.DeviceID[k]);
        expected += "\n";
    }
    capture out(std::cout);
    EXPECT_TRUE(player.listdevices());
    EXPECT_EQ(out.str(), expected);
}

// The driver is chosen before the engine starts, and the recording goes to a
// file of this process's own. One malloc arena: a thread's first allocation
// may otherwise reserve a new 64 MB arena, which is no leak but would blur the
// virtual size that shows unjoined threads.
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
