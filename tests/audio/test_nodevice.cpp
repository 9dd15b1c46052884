// With no sound device the player must stay silent and alive: one line about
// the mastering voice when the engine starts, nothing per play, no crash.
// SDL is pointed at a driver that does not exist before the engine starts.

#include <gtest/gtest.h>

#include <cstdlib>

#include "audio/myxaudio2.h"
#include "audio/wavedispatch.h"
#include "audio/xaudio2.h"
#include "procstat.h"
#include "wavefile.h"

using namespace wavefile;

TEST(NoDevice, PlayerStaysSilentAndAlive)
{
    tempdir dir;
    std::unique_ptr<sndkit::wave_t> wave;
    {
        capture err(std::cerr);
        wave = sndkit::wave_dispatch(0);
        EXPECT_EQ(err.str(), "myxa2: master voice failed.\n");
    }
    auto* player = dynamic_cast<sndkit::xaudio2_t*>(wave.get());
    ASSERT_NE(player, nullptr);

    capture err(std::cerr);
    capture out(std::cout);
    std::vector<std::int16_t> s(800, 1000);
    ASSERT_TRUE(wave->load(dir.write("a.wav", riff({fmt(1, 1, 8000, 16, 2), chunk("data", samples16(s))})).c_str()));
    const std::size_t threads = procstat::threads();
    for (int i = 0; i < 200; ++i)
        EXPECT_FALSE(wave->play(false));
    EXPECT_LE(player->buffers.size(), 1u);
    EXPECT_EQ(procstat::threads(), threads);
    // The last play's entry has no voice to stop.
    EXPECT_FALSE(wave->stop());
    EXPECT_FALSE(wave->listdevices());

    // Another player shares the engine and says nothing more.
    sndkit::xaudio2_t second(0);
    EXPECT_FALSE(second.play(true));
    EXPECT_FALSE(second.stop());
    wave.reset();
    EXPECT_EQ(err.str(), "");
    EXPECT_EQ(out.str(), "");
}

TEST(NoDevice, WrapperRefusesWhatNeedsAVoice)
{
    capture err(std::cerr);
    sndkit::MyXAudio2 engine;
    EXPECT_TRUE(engine.devices.empty());
    EXPECT_EQ(engine.mastervoice, nullptr);

    FAudioSourceVoice* voice = nullptr;
    FAudioWaveFormatEx format{1, 1, 8000, 16000, 2, 16, 0};
    EXPECT_FALSE(engine.source(&voice, format));
    EXPECT_EQ(engine.hr, 0x88960001u);
    EXPECT_EQ(voice, nullptr);
    EXPECT_FALSE(engine.stop(&voice));
    EXPECT_FALSE(engine.soundstop(&voice));
    engine.destroysource(&voice);
    EXPECT_EQ(engine.queued(nullptr), 0u);
    EXPECT_EQ(err.str(), "");

    FAudioBuffer buffer{};
    EXPECT_FALSE(engine.send(&voice, buffer));
    EXPECT_EQ(err.str(), "0x88960001: send() failed.\n");

    // Index 0 asks for the default device; any other must be listed first.
    EXPECT_FALSE(engine.begin(0));
    EXPECT_FALSE(engine.begin(1));
    EXPECT_EQ(err.str(), "0x88960001: send() failed.\nmyxa2: master voice failed.\nmyxa2: master voice failed.\n");

    capture out(std::cout);
    EXPECT_EQ(engine.listdevices(), 0u);
    EXPECT_EQ(out.str(), "");
}

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    setenv("SDL_AUDIODRIVER", "vexlor-no-such-driver", 1);
    return RUN_ALL_TESTS();
}
