// With no sound device the player stays silent and alive: one line about the
// mastering voice when the engine starts, nothing per play, no crash. SDL is
// pointed at a driver that does not exist before the engine starts.

#include <gtest/gtest.h>

#include <filesystem>

#include "audio/myxaudio2.h"
#include "audio/wavedispatch.h"
#include "audio/xaudio2.h"
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
    capture err(std::cerr), out(std::cout);
    ASSERT_TRUE(wave->load(dir.write("a.wav", riff({fmt(1, 1, 8000, 16, 2), chunk("data", bytes(1600))})).c_str()));
    const auto threads = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {}); };
    const auto before = threads();
    for (int i = 0; i < 200; ++i)
        EXPECT_FALSE(wave->play(false));
    EXPECT_EQ(threads(), before);
    EXPECT_EQ(dynamic_cast<sndkit::xaudio2_t&>(*wave).buffers.size(), 1u);
    EXPECT_FALSE(wave->stop());  // the last play's entry has no voice
    EXPECT_FALSE(wave->listdevices());
    wave.reset();
    EXPECT_EQ(err.str(), "");
    EXPECT_EQ(out.str(), "");

    // The wrapper fails with its own result where FAudio would crash.
    sndkit::MyXAudio2 engine;
    FAudioSourceVoice* voice = nullptr;
    EXPECT_FALSE(engine.source(&voice, FAudioWaveFormatEx{1, 1, 8000, 16000, 2, 16, 0}));
    EXPECT_EQ(engine.hr, 0x88960001u);
    EXPECT_FALSE(engine.soundstop(&voice));
    FAudioBuffer buffer{};
    EXPECT_FALSE(engine.send(&voice, buffer));
    EXPECT_FALSE(engine.begin(1));
    EXPECT_EQ(err.str(), "0x88960001: send() failed.\nmyxa2: master voice failed.\n");
}

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    setenv("SDL_AUDIODRIVER", "vexlor-no-such-driver", 1);
    return RUN_ALL_TESTS();
}
