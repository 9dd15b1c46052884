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
        {riff({fmt(65534, 1, 22050, 4, 256, extensible(17, 505)), chunk("data", bytes(256))}), 23, 68, true},
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
        {cut(42), "LIST: not DATA chunk."},
        {cut(52), "data: not DATA chunk."},
        {with(pcm, 48, std::string("\x01\x02\n\x7f", 4)), "\\x01\\x02\\x0a\\x7f: not DATA chunk."},
    };
    const sndkit::decoder_t* decoder = w.decoder.get();
    for (const auto& [file, line] : bad) {
        const std::string path = dir.write("b.wav", file);
        capture err(std::cerr);
        EXPECT_FALSE(w.load(path.c_str()));
        EXPECT_EQ(err.text.str(), path + ": " + line + "\n");
    }
    // A failed load keeps the decoder. Nothing was said by the good files.
    EXPECT_EQ(w.decoder.get(), decoder);
    EXPECT_EQ(err.text.str(), "");
    capture missing(std::cerr);
    EXPECT_FALSE(w.load((dir.path + "/none.wav").c_str()));
    EXPECT_EQ(missing.text.str(), dir.path + "/none.wav: cannot read the file: No such file or directory.\n");
}

// Files that claim more than they hold, or whose format cannot be decoded and
// paced: one line each, "path: what is wrong", and a refusal.
TEST(WaveReader, RefusesClaimsBeyondTheFileAndFormatsThatCannotBeDecoded)
{
    tempdir dir;
    plainwave w;
    const auto with32 = [](bytes b, std::size_t at, std::uint32_t v) {
        for (int i = 0; i < 4; ++i)
            b[at + i] = static_cast<unsigned char>(v >> (8 * i));
        return b;
    };
    const bytes f16 = fmt(1, 1, 8000, 16, 2), d16 = chunk("data", bytes(16)), d200 = chunk("data", bytes(200));
    const bytes pcm = riff({f16, d16});
    const bytes spb505{2, 0, 0xf9, 0x01};
    const std::string fmtat = "\"fmt \" chunk at byte 12: ";
    const std::pair<bytes, std::string> bad[] = {
        // The length would be taken from the claim: 268,435,455 ms at 8 kHz.
        {with32(riff({fmt(1, 1, 8000, 8, 1), d200}), 40, 0xfffffff0),
         "\"data\" chunk at byte 36 claims 4294967280 bytes, the file holds 200 after its header."},
        {bytes(pcm.begin(), pcm.end() - 1), "\"data\" chunk at byte 36 claims 16 bytes, the file holds 15 after its header."},
        {with32(pcm, 16, 1000), "\"fmt \" chunk at byte 12 claims 1000 bytes, the file holds 40 after its header."},
        {bytes(pcm.begin(), pcm.begin() + 30), "\"fmt \" chunk at byte 12 claims 16 bytes, the file holds 10 after its header."},
        {riff({f16, chunk("LIST", bytes(4)), d16}) , ""},
        {with32(riff({f16, chunk("LIST", bytes(4)), d16}), 40, 0xffff),
         "\"LIST\" chunk at byte 36 claims 65535 bytes, the file holds 28 after its header."},
        {riff({chunk("fmt ", {}), d16}), fmtat + "0 bytes, fewer than the 16 every format needs."},
        {riff({fmt(1, 0, 8000, 16, 2), d16}), fmtat + "0 channels."},
        {riff({fmt(1, 65, 8000, 8, 65), d16}), fmtat + "65 channels, more than 64."},
        {riff({fmt(1, 1, 0, 16, 2), d16}), fmtat + "sample rate 0, not within 1000 to 200000."},
        {riff({fmt(1, 1, 999, 16, 2), d16}), fmtat + "sample rate 999, not within 1000 to 200000."},
        {riff({fmt(1, 1, 200001, 16, 2), d16}), fmtat + "sample rate 200001, not within 1000 to 200000."},
        {riff({fmt(1, 1, 8000, 0, 2), d16}), fmtat + "0 bits per sample."},
        {riff({fmt(1, 1, 8000, 16, 0), d16}), fmtat + "block align 0."},
        {riff({fmt(1, 2, 8000, 16, 2), d16}), fmtat + "block align 2, not 4 for 2 x 16 bits."},
        {riff({fmt(3, 1, 8000, 32, 8), d16}), fmtat + "block align 8, not 4 for 1 x 32 bits."},
        {riff({fmt(65534, 2, 48000, 32, 8), d16}), fmtat + "16 bytes, fewer than the 40 of an extensible format."},
        {riff({fmt(65534, 1, 8000, 16, 4, extensible(1)), d16}), fmtat + "block align 4, not 2 for 1 x 16 bits."},
        // Found by fuzzing: a header read past the data, and 2.6 GB asked for
        // a 40 KB file.
        {riff({fmt(17, 1, 8000, 4, 1, {2, 0, 1, 0}), d16}), fmtat + "IMA ADPCM block align 1, smaller than its header of 4 bytes."},
        {riff({fmt(17, 1, 8000, 4, 2, {2, 0, 0xff, 0xff}), chunk("data", bytes(40000))}),
         fmtat + "IMA ADPCM block align 2, smaller than its header of 4 bytes."},
        {riff({fmt(17, 2, 8000, 4, 4, {2, 0, 1, 0}), d16}), fmtat + "IMA ADPCM block align 4, smaller than its header of 8 bytes."},
        {riff({fmt(17, 1, 8000, 4, 256, {2, 0, 0xff, 0xff}), d16}), fmtat + "IMA ADPCM 65535 samples per block, block align 256 holds 505."},
        {riff({fmt(17, 2, 8000, 4, 256, spb505), d16}), fmtat + "IMA ADPCM 505 samples per block, block align 256 holds 249."},
        {riff({fmt(17, 1, 8000, 4, 256), d16}), fmtat + "16 bytes, fewer than the 20 of IMA ADPCM."},
        {riff({fmt(65534, 1, 8000, 4, 256, extensible(17)), d16}), fmtat + "IMA ADPCM 0 samples per block, block align 256 holds 505."},
    };
    for (const auto& [file, line] : bad) {
        const std::string path = dir.write("b.wav", file);
        capture err(std::cerr);
        EXPECT_EQ(w.load(path.c_str()), line.empty()) << line;
        EXPECT_EQ(err.text.str(), line.empty() ? "" : path + ": " + line + "\n");
    }

    // Exactly what the file holds, and the smallest IMA ADPCM block (its
    // header alone, one sample), are taken.
    capture err(std::cerr);
    EXPECT_TRUE(w.load(dir.write("c.wav", riff({fmt(17, 1, 8000, 4, 4, {2, 0, 1, 0}), chunk("data", bytes(7))})).c_str()));
    EXPECT_TRUE(w.load(dir.write("c.wav", riff({fmt(17, 2, 8000, 4, 2048, {2, 0, 0xf9, 0x07}), d200})).c_str()));
    EXPECT_EQ(err.text.str(), "");
}
