// With no sound device the player stays silent and alive: one line about the
// mastering voice when the engine starts, nothing per play, no crash. SDL is
// pointed at a driver that does not exist before the engine starts.

#include <gtest/gtest.h>

#include "audio/wavedispatch.h"
#include "audio/xaudio2.h"
#include "wavefile.h"

using namespace wavefile;

TEST(NoDevice, PlayerStaysSilentAndAlive)
{
    tempdir dir;
    capture err(std::cerr), out(std::cout);
    std::unique_ptr<sndkit::wave_t> wave = sndkit::wave_dispatch(0);
    auto& player = dynamic_cast<sndkit::xaudio2_t&>(*wave);
    const auto load = [&](const bytes& file) { return wave->load(dir.write("a.wav", file).c_str()); };
    // The format set-up needs no device. Float of 24 bits, ADPCM of other
    // than 4 and formats the player does not decode itself are refused;
    // stereo ADPCM becomes 16-bit PCM with one channel's block align.
    EXPECT_FALSE(load(riff({fmt(65534, 2, 48000, 24, 6, extensible(3)), chunk("data", {})})));
    EXPECT_FALSE(load(adpcmfile(22050, bytes(256), 1, 8)));
    EXPECT_FALSE(load(riff({fmt(2, 1, 22050, 4, 256), chunk("data", bytes(256))})));
    ASSERT_TRUE(load(adpcmfile(22050, bytes(512), 2)));
    const FAudioWaveFormatEx& f = player.format.Format;
    // 16 x 2 x 22050 / 8 bytes a second.
    EXPECT_TRUE(f.wFormatTag == 1 && f.wBitsPerSample == 16 && f.nBlockAlign == 2 && f.nAvgBytesPerSec == 88200);

    // Nothing said per play, nothing kept but the last entry, whose missing
    // voice cannot be stopped.
    for (int i = 0; i < 200; ++i)
        EXPECT_FALSE(wave->play(false));
    EXPECT_EQ(player.buffers.size(), 1u);
    EXPECT_FALSE(wave->stop());
    wave.reset();
    EXPECT_EQ(err.text.str(), "myxa2: master voice failed.\nnot supported format.(id=fffe && bits=24)\n"
                              "8: IMA/DVI ADPCM decoder is not supported bits.\n" +
                              dir.path + "/a.wav: format tag 0x2 is not PCM, IEEE float or IMA ADPCM.\n");
    EXPECT_EQ(out.text.str(), "");
}

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    setenv("SDL_AUDIODRIVER", "vexlor-no-such-driver", 1);
    return RUN_ALL_TESTS();
}
