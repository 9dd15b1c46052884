// The WAVE reader: the chunk walk, its failure lines, the clip length and
// the choice of decoder, on files written by the tests.

#include <gtest/gtest.h>

#include "audio/adpcm.h"
#include "wavefile.h"

using namespace wavefile;

namespace {

bool adpcm(const sndkit::wave_t& w)
{
    return dynamic_cast<const sndkit::adpcm_t*>(w.decoder.get()) != nullptr;
}

} // namespace

TEST(WaveReader, LengthTagAndDecoder)
{
    tempdir dir;
    plainwave w;
    capture err(std::cerr);
    const struct {
        bytes file;
        std::uint64_t msec, pos;
        std::uint16_t tag;
        bool adpcm;
    } cases[] = {
        // 176400 bytes of 16-bit stereo at 44100 Hz are one second.
        {riff({fmt(1, 2, 44100, 16, 4), chunk("data", bytes(176400))}), 1000, 44, 1, false},
        {riff({fmt(1, 1, 8000, 8, 1), chunk("data", bytes(4000))}), 500, 44, 1, false},
        // 125 float frames at 48000 Hz: 2.6 ms.
        {riff({fmt(3, 2, 48000, 32, 8), chunk("data", bytes(1000))}), 2, 44, 3, false},
        {riff({fmt(65534, 2, 48000, 32, 8, extensible(3)), chunk("data", bytes(8))}), 0, 68, 3, false},
        // Every nibble counts, headers too: 5120 at 22050 Hz are 232.2 ms.
        {riff({fmt(17, 1, 22050, 4, 256, imaextra()), chunk("fact", bytes(4)), chunk("data", bytes(2560))}), 232,
         60, 17, true},
        {riff({fmt(65534, 1, 22050, 4, 256, extensible(17)), chunk("data", bytes(256))}), 23, 68, 17, true},
        // No channels: no length rather than a division by zero.
        {riff({fmt(1, 0, 8000, 16, 2), chunk("data", bytes(8))}), 0, 44, 1, false},
        // A sub-format beyond the end of the file leaves the tag as it is.
        {riff({fmt(65534, 1, 8000, 16, 2), chunk("data", {})}), 0, 44, 65534, false},
    };
    for (const auto& c : cases) {
        ASSERT_TRUE(w.load(dir.write("a.wav", c.file).c_str()));
        EXPECT_EQ(w.msec(), c.msec);
        EXPECT_EQ(w.pos, c.pos);
        EXPECT_EQ(w.formattag(), c.tag);
        EXPECT_EQ(adpcm(w), c.adpcm);
        EXPECT_EQ(w.decoder->bits(), c.adpcm ? 16u : w.fc().bits);
    }
    EXPECT_EQ(err.str(), "");

    ASSERT_TRUE(w.load(dir.write("b.wav", cases[4].file).c_str()));
    EXPECT_EQ(w.samplesperblock(), 505);
    EXPECT_EQ(w.avg_bytes, 22050u * 256);

    // Bytes x 8 is kept in 32 bits: (0x20000000 + 1000) x 8 wraps to 8000
    // bits, 2000 samples, 250 ms at 8000 Hz. Decoders only see real bytes.
    bytes file = riff({fmt(17, 1, 8000, 4, 256, imaextra()), chunk("data", bytes(1000))});
    file[47] = 0x20;
    ASSERT_TRUE(w.load(dir.write("c.wav", file).c_str()));
    EXPECT_EQ(w.msec(), 250u);
    EXPECT_EQ(w.databytes(), 1000u);
}

TEST(WaveReader, OptionalChunksAndOddFormatSizes)
{
    tempdir dir;
    plainwave w;
    ASSERT_TRUE(w.load(dir.write("a.wav", riff({fmt(1, 1, 8000, 16, 2), chunk("PAD ", bytes(6)), chunk("fact", bytes(4)),
                                                chunk("LIST", bytes(10)), chunk("data", bytes(16))})).c_str()));
    EXPECT_EQ(w.at(w.pad), 36);
    EXPECT_EQ(w.at(w.fact), 50);
    EXPECT_EQ(w.at(w.list), 62);
    EXPECT_EQ(w.at(w.data), 80);

    const struct {
        bytes file;
        std::ptrdiff_t data;
    } cases[] = {
        // A LIST after the data is never looked at.
        {riff({fmt(1, 1, 8000, 16, 2), chunk("data", bytes(16)), chunk("LIST", bytes(10))}), 36},
        // 18 bytes of format put the next chunk 2 bytes later; an odd size
        // gets no pad byte.
        {riff({fmt(1, 1, 8000, 16, 2, bytes(2)), chunk("data", bytes(16))}), 38},
        {riff({fmt(1, 1, 8000, 16, 2, bytes(1)), chunk("data", bytes(16))}), 37},
    };
    for (const auto& c : cases) {
        ASSERT_TRUE(w.load(dir.write("b.wav", c.file).c_str()));
        EXPECT_EQ(w.at(w.list), c.data);
        EXPECT_EQ(w.at(w.data), c.data);
        EXPECT_EQ(w.pos, std::uint64_t(c.data) + 8);
    }
}

// path: the four bytes found: what is wrong. A header cut short by the end
// of the file gets the "data" line with the bytes that are there.
TEST(WaveReader, FailureLines)
{
    tempdir dir;
    plainwave w;
    const bytes good = riff({fmt(1, 1, 8000, 16, 2), chunk("LIST", bytes(4)), chunk("data", bytes(16))});
    const auto cut = [&](std::size_t n) { return bytes(good.begin(), good.begin() + n); };
    const auto with = [&](std::size_t at, const char* four) {
        bytes b = good;
        std::copy(four, four + 4, b.begin() + at);
        return b;
    };
    const struct {
        bytes file;
        const char* line;
    } cases[] = {
        {with(0, "RIFX"), "RIFX: not RIFF file."},
        {with(8, "AVI "), "AVI : not WAVE file."},
        {with(12, "junk"), "junk: not FMT chunk."},
        {with(36, "cue "), "cue : not DATA chunk."},
        {riff({fmt(1, 1, 8000, 16, 2), chunk("fact", bytes(4)), chunk("PAD ", bytes(4)), chunk("data", {})}),
         "PAD : not DATA chunk."},
        {cut(0), ": not DATA chunk."},
        {cut(2), "RI: not DATA chunk."},
        {cut(10), "WA: not DATA chunk."},
        {cut(30), "fmt : not DATA chunk."},   // inside the format record
        {cut(38), "LI: not DATA chunk."},
        {cut(42), "LIST: not DATA chunk."},   // LIST without its size
        {cut(52), "data: not DATA chunk."},
        {with(40, "\xff\xff\0\0"), ": not DATA chunk."},  // LIST size beyond the end
    };
    for (const auto& c : cases) {
        const std::string path = dir.write("a.wav", c.file);
        capture err(std::cerr);
        EXPECT_FALSE(w.load(path.c_str()));
        EXPECT_EQ(err.str(), path + ": " + c.line + "\n");
    }

    // A file that cannot be read fails without a line; a header that just
    // fits with no samples after it is a valid file.
    capture err(std::cerr);
    EXPECT_FALSE(w.load((dir.path + "/none.wav").c_str()));
    EXPECT_TRUE(w.load(dir.write("b.wav", cut(56)).c_str()));
    EXPECT_EQ(w.databytes(), 0u);
    EXPECT_EQ(err.str(), "");
    // A null path writes nothing and leaves the stream bad.
    EXPECT_FALSE(w.load(nullptr));
    EXPECT_TRUE(std::cerr.bad());
}

TEST(WaveReader, ReloadAndFlags)
{
    tempdir dir;
    plainwave w;
    // Before any play, stop has nothing to wait for.
    EXPECT_TRUE(w.stopped);
    EXPECT_TRUE(w.play(true));
    EXPECT_TRUE(w.loop && !w.stopped);
    EXPECT_TRUE(w.stop());
    EXPECT_TRUE(w.stopped);

    ASSERT_TRUE(w.load(dir.write("a.wav", riff({fmt(1, 1, 8000, 16, 2), chunk("data", bytes(8))})).c_str()));
    EXPECT_FALSE(adpcm(w));
    ASSERT_TRUE(w.load(dir.write("b.wav", adpcmfile(8000, bytes(256))).c_str()));
    EXPECT_TRUE(adpcm(w));
    EXPECT_EQ(w.image.size(), 48u + 256);
    // A failed load keeps the decoder, not the image.
    const sndkit::decoder_t* decoder = w.decoder.get();
    capture err(std::cerr);
    EXPECT_FALSE(w.load(dir.write("c.wav", {'R', 'I', 'F', 'X'}).c_str()));
    EXPECT_EQ(w.image.size(), 4u);
    EXPECT_FALSE(w.load((dir.path + "/none.wav").c_str()));
    EXPECT_TRUE(w.image.empty());
    EXPECT_EQ(w.decoder.get(), decoder);
    w.free();
    EXPECT_EQ(w.decoder, nullptr);
}
