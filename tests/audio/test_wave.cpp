// The WAVE reader on files written by the tests: the chunk walk, the clip
// length, the choice of decoder and the failure lines.

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "audio/adpcm.h"
#include "wavefile.h"

using namespace wavefile;

TEST(WaveReader, WalkLengthDecoderAndFailureLines)
{
    tempdir dir;
    plainwave w;
    capture err(std::cerr);
    const auto with = [](bytes b, std::size_t at, const std::string& text) {
        std::copy(text.begin(), text.end(), b.begin() + at);
        return b;
    };
    const bytes f16 = fmt(1, 1, 8000, 16, 2), d16 = chunk("data", bytes(16));
    const bytes pcm = riff({f16, chunk("LIST", bytes(4)), d16});
    // The file; its length in ms, the offset of its first sample, whether it is ADPCM.
    const std::tuple<bytes, std::uint64_t, std::uint64_t, bool> good[] = {
        // 176400 bytes of 16-bit stereo at 44100 Hz are one second.
        {riff({fmt(1, 2, 44100, 16, 4), chunk("data", bytes(176400))}), 1000, 44, false},
        {riff({fmt(1, 1, 8000, 8, 1), chunk("data", bytes(4000))}), 500, 44, false},
        {riff({fmt(3, 2, 48000, 32, 8), chunk("data", bytes(1000))}), 2, 44, false},  // 125 frames: 2.6 ms
        {riff({fmt(65534, 2, 48000, 32, 8, extensible(3)), chunk("data", bytes(3840))}), 10, 68, false},
        // Every nibble counts, headers too: 5120 at 22050 Hz are 232.2 ms.
        {adpcmfile(22050, bytes(2560)), 232, 48, true},
        {riff({fmt(65534, 1, 22050, 4, 256, extensible(17)), chunk("data", bytes(256))}), 23, 68, true},
        // Bytes x 8 kept in 32 bits: (0x20000000 + 1000) x 8 wraps to 8000 bits.
        {with(adpcmfile(8000, bytes(1000)), 47, "\x20"), 250, 48, true},
        {riff({f16, chunk("PAD ", bytes(6)), chunk("fact", bytes(4)), chunk("LIST", bytes(10)), d16}), 1, 88, false},
        {riff({f16, d16, chunk("LIST", bytes(10))}), 1, 44, false},
        // 18 bytes of format put the data 2 bytes later; an odd size gets no pad byte.
        {riff({fmt(1, 1, 8000, 16, 2, bytes(2)), d16}), 1, 46, false},
        {riff({fmt(1, 1, 8000, 16, 2, bytes(1)), d16}), 1, 45, false},
    };
    for (const auto& [file, msec, pos, adpcm] : good) {
        ASSERT_TRUE(w.load(dir.write("a.wav", file).c_str())) << msec << " ms at " << pos;
        EXPECT_EQ(w.msec(), msec);
        EXPECT_EQ(w.pos, pos) << msec << " ms";
        EXPECT_EQ(dynamic_cast<sndkit::adpcm_t*>(w.decoder.get()) != nullptr, adpcm) << msec << " ms at " << pos;
    }

    // path: the four bytes found (or those left before the end): what is wrong.
    const auto cut = [&](std::size_t n) { return bytes(pcm.begin(), pcm.begin() + n); };
    const std::pair<bytes, const char*> bad[] = {
        {with(pcm, 0, "RIFX"), "RIFX: not RIFF file."},
        {with(pcm, 8, "AVI "), "AVI : not WAVE file."},
        {with(pcm, 12, "junk"), "junk: not FMT chunk."},
        {with(pcm, 36, "cue "), "cue : not DATA chunk."},
        {riff({f16, chunk("fact", bytes(4)), chunk("PAD ", bytes(4)), d16}), "PAD : not DATA chunk."},
        {cut(2), "RI: not DATA chunk."},
        {cut(10), "WA: not DATA chunk."},
        {cut(30), "fmt : not DATA chunk."},
        {cut(42), "LIST: not DATA chunk."},
        {cut(52), "data: not DATA chunk."},
        {with(pcm, 40, "\xff\xff"), ": not DATA chunk."},  // LIST beyond the end
    };
    const sndkit::decoder_t* decoder = w.decoder.get();
    for (const auto& [file, line] : bad) {
        const std::string path = dir.write("b.wav", file);
        capture err(std::cerr);
        EXPECT_FALSE(w.load(path.c_str()));
        EXPECT_EQ(err.text.str(), path + ": " + line + "\n");
    }
    // A failed load keeps the decoder. Nothing else was said, by the good
    // files, an unreadable one or a header without samples (still a file).
    EXPECT_EQ(w.decoder.get(), decoder);
    EXPECT_FALSE(w.load((dir.path + "/none.wav").c_str()));
    EXPECT_TRUE(w.load(dir.write("c.wav", cut(56)).c_str()));
    EXPECT_EQ(err.text.str(), "");
}
