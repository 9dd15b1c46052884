// The WAVE reader: the chunk walk, its failure lines, the clip length and
// the choice of decoder, on files the tests write themselves.

#include <gtest/gtest.h>

#include "audio/adpcm.h"
#include "audio/pcmraw.h"
#include "wavefile.h"

using namespace wavefile;

namespace {

bytes zeros(std::size_t n)
{
    return bytes(n, 0);
}

bool is_adpcm(const sndkit::wave_t& w)
{
    return dynamic_cast<const sndkit::adpcm_t*>(w.decoder.get()) != nullptr;
}

bool is_pcmraw(const sndkit::wave_t& w)
{
    return dynamic_cast<const sndkit::pcmraw_t*>(w.decoder.get()) != nullptr;
}

// Loads `b` as "name" and returns what the reader wrote to standard error.
std::string loadfails(plainwave& w, const tempdir& dir, const std::string& name, const bytes& b)
{
    const std::string path = dir.write(name, b);
    capture err(std::cerr);
    EXPECT_FALSE(w.load(path.c_str()));
    return err.str();
}

} // namespace

TEST(WaveReader, PcmAndFloatFormatsGiveTheirLengthAndPassThrough)
{
    tempdir dir;
    plainwave w;

    // 16-bit stereo 44100 Hz: 176400 bytes are one second.
    capture err(std::cerr);
    ASSERT_TRUE(w.load(dir.write("a.wav", riff({fmt(1, 2, 44100, 16, 4), chunk("data", zeros(176400))})).c_str()));
    EXPECT_EQ(w.msec(), 1000u);
    EXPECT_EQ(w.pos, 44u);
    EXPECT_EQ(offset(w, w.data), 36);
    EXPECT_EQ(w.datasize(), 176400u);
    EXPECT_EQ(w.avg_bytes, 176400u);
    EXPECT_EQ(w.fc().channels, 2);
    EXPECT_EQ(w.fc().samples_per_sec, 44100u);
    EXPECT_EQ(w.fc().blk_size, 4);
    EXPECT_EQ(w.fc().bits, 16);
    EXPECT_EQ(w.formattag(), 1);
    EXPECT_TRUE(is_pcmraw(w));
    EXPECT_EQ(w.decoder->bits(), 16u);
    EXPECT_EQ(w.decoder->wave, &w);

    // 8-bit mono 8000 Hz, 4000 bytes: 500 ms.
    ASSERT_TRUE(w.load(dir.write("b.wav", riff({fmt(1, 1, 8000, 8, 1), chunk("data", zeros(4000))})).c_str()));
    EXPECT_EQ(w.msec(), 500u);
    EXPECT_EQ(w.decoder->bits(), 8u);

    // 32-bit float stereo 48000 Hz: 384000 bytes per second; 1000 bytes are
    // 125 frames, 2.604 ms, truncated to 2.
    ASSERT_TRUE(w.load(dir.write("c.wav", riff({fmt(3, 2, 48000, 32, 8), chunk("data", zeros(1000))})).c_str()));
    EXPECT_EQ(w.msec(), 2u);
    EXPECT_EQ(w.formattag(), 3);
    EXPECT_TRUE(is_pcmraw(w));

    // Extensible: the sub-format's first 16 bits decide.
    ASSERT_TRUE(w.load(dir.write("d.wav", riff({fmt(65534, 2, 48000, 32, 8, extensible(32, 3)),
                                                chunk("data", zeros(8))})).c_str()));
    EXPECT_EQ(w.fc().tag, 65534);
    EXPECT_EQ(w.formattag(), 3);
    EXPECT_EQ(w.pos, 12u + 8 + 40 + 8);
    EXPECT_TRUE(is_pcmraw(w));
    EXPECT_EQ(err.str(), "");
}

TEST(WaveReader, AdpcmFilesCountEveryNibbleAndGetTheAdpcmDecoder)
{
    tempdir dir;
    plainwave w;
    bytes extra;
    put16(extra, 2);
    put16(extra, 505);
    bytes factbody;
    put32(factbody, 5050);

    // 10 blocks of 256 bytes: 5120 nibbles at 22050 Hz are 232.19 ms.
    ASSERT_TRUE(w.load(dir.write("a.wav", riff({fmt(17, 1, 22050, 4, 256, extra), chunk("fact", factbody),
                                                chunk("data", zeros(2560))})).c_str()));
    EXPECT_EQ(w.msec(), 232u);
    EXPECT_EQ(w.samplesperblock(), 505);
    EXPECT_EQ(offset(w, w.fact), 40);
    EXPECT_EQ(w.pos, 12u + 8 + 20 + 12 + 8);
    EXPECT_TRUE(is_adpcm(w));
    EXPECT_EQ(w.decoder->bits(), 16u);

    // The same inside an extensible format chunk.
    ASSERT_TRUE(w.load(dir.write("b.wav", riff({fmt(65534, 1, 22050, 4, 256, extensible(505, 17)),
                                                chunk("data", zeros(256))})).c_str()));
    EXPECT_EQ(w.formattag(), 17);
    EXPECT_TRUE(is_adpcm(w));

    // A data size whose count of bits does not fit 32 bits wraps there:
    // 0x20000000 + 1000 bytes give (8000 bits) / 4 = 2000 samples, 250 ms at
    // 8000 Hz. The decoders only see the bytes the file really has.
    bytes file = riff({fmt(17, 1, 8000, 4, 256, extra), chunk("data", zeros(1000))});
    const std::uint32_t declared = 0x20000000u + 1000;
    for (int i = 0; i < 4; ++i)
        file[44 + i] = static_cast<unsigned char>(declared >> (8 * i));
    ASSERT_TRUE(w.load(dir.write("c.wav", file).c_str()));
    EXPECT_EQ(w.datasize(), declared);
    EXPECT_EQ(w.msec(), 250u);
    EXPECT_EQ(w.databytes(), 1000u);
}

TEST(WaveReader, WalksOptionalChunksInTheirFixedOrder)
{
    tempdir dir;
    plainwave w;

    // PAD, fact and LIST before data, each skipped by its size.
    ASSERT_TRUE(w.load(dir.write("a.wav", riff({fmt(1, 1, 8000, 16, 2), chunk("PAD ", zeros(6)),
                                                chunk("fact", zeros(4)), chunk("LIST", zeros(10)),
                                                chunk("data", zeros(16))})).c_str()));
    EXPECT_EQ(offset(w, w.pad), 36);
    EXPECT_EQ(offset(w, w.fact), 50);
    EXPECT_EQ(offset(w, w.list), 62);
    EXPECT_EQ(offset(w, w.data), 80);
    EXPECT_EQ(w.pos, 88u);

    // Missing optional chunks leave their pointers where they were looked
    // for; a LIST after data is never looked at.
    ASSERT_TRUE(w.load(dir.write("b.wav", riff({fmt(1, 1, 8000, 16, 2), chunk("data", zeros(16)),
                                                chunk("LIST", zeros(10))})).c_str()));
    EXPECT_EQ(offset(w, w.pad), 36);
    EXPECT_EQ(offset(w, w.fact), 36);
    EXPECT_EQ(offset(w, w.list), 36);
    EXPECT_EQ(w.pos, 44u);

    // An 18-byte format chunk puts the next chunk 2 bytes later.
    ASSERT_TRUE(w.load(dir.write("c.wav", riff({fmt(1, 1, 8000, 16, 2, zeros(2)), chunk("data", zeros(16))})).c_str()));
    EXPECT_EQ(offset(w, w.fmtx), 36);
    EXPECT_EQ(offset(w, w.data), 38);
    EXPECT_EQ(w.pos, 46u);

    // An odd size gets no pad byte: data follows at once.
    ASSERT_TRUE(w.load(dir.write("d.wav", riff({fmt(1, 1, 8000, 16, 2, zeros(1)), chunk("data", zeros(16))})).c_str()));
    EXPECT_EQ(offset(w, w.data), 37);
    EXPECT_EQ(w.pos, 45u);
}

TEST(WaveReader, FailuresSayPathBytesFoundAndWhat)
{
    tempdir dir;
    plainwave w;
    const bytes good = riff({fmt(1, 1, 8000, 16, 2), chunk("data", zeros(16))});

    bytes b = good;
    b[3] = 'X';
    EXPECT_EQ(loadfails(w, dir, "a.wav", b), dir.path + "/a.wav: RIFX: not RIFF file.\n");
    b = good;
    b[8] = 'A', b[9] = 'V', b[10] = 'I', b[11] = ' ';
    EXPECT_EQ(loadfails(w, dir, "b.wav", b), dir.path + "/b.wav: AVI : not WAVE file.\n");
    b = good;
    b[12] = 'j', b[13] = 'u', b[14] = 'n', b[15] = 'k';
    EXPECT_EQ(loadfails(w, dir, "c.wav", b), dir.path + "/c.wav: junk: not FMT chunk.\n");

    // Any other chunk before data ends the walk; so does fact before PAD.
    EXPECT_EQ(loadfails(w, dir, "d.wav", riff({fmt(1, 1, 8000, 16, 2), chunk("cue ", zeros(4)), chunk("data", zeros(4))})),
              dir.path + "/d.wav: cue : not DATA chunk.\n");
    EXPECT_EQ(loadfails(w, dir, "e.wav", riff({fmt(1, 1, 8000, 16, 2), chunk("fact", zeros(4)), chunk("PAD ", zeros(4)),
                                                chunk("data", zeros(4))})),
              dir.path + "/e.wav: PAD : not DATA chunk.\n");

    // A missing file fails without a line of the reader's own.
    capture err(std::cerr);
    EXPECT_FALSE(w.load((dir.path + "/none.wav").c_str()));
    EXPECT_EQ(err.str(), "");
}

TEST(WaveReader, HeadersCutShortFailWithTheDataLine)
{
    tempdir dir;
    plainwave w;
    const bytes good = riff({fmt(1, 1, 8000, 16, 2), chunk("LIST", zeros(4)), chunk("data", zeros(16))});
    const auto cut = [&](std::size_t n) { return bytes(good.begin(), good.begin() + n); };

    EXPECT_EQ(loadfails(w, dir, "a.wav", {}), dir.path + "/a.wav: : not DATA chunk.\n");
    EXPECT_EQ(loadfails(w, dir, "b.wav", cut(2)), dir.path + "/b.wav: RI: not DATA chunk.\n");
    EXPECT_EQ(loadfails(w, dir, "c.wav", cut(10)), dir.path + "/c.wav: WA: not DATA chunk.\n");
    // Inside the 16 standard format bytes.
    EXPECT_EQ(loadfails(w, dir, "d.wav", cut(30)), dir.path + "/d.wav: fmt : not DATA chunk.\n");
    // Inside the LIST header: its identifier is there, its size is not.
    EXPECT_EQ(loadfails(w, dir, "e.wav", cut(38)), dir.path + "/e.wav: LI: not DATA chunk.\n");
    EXPECT_EQ(loadfails(w, dir, "f.wav", cut(42)), dir.path + "/f.wav: LIST: not DATA chunk.\n");
    // Inside the data header.
    EXPECT_EQ(loadfails(w, dir, "g.wav", cut(52)), dir.path + "/g.wav: data: not DATA chunk.\n");

    // A chunk size that points past the end of the file.
    bytes b = good;
    b[40] = 0xff, b[41] = 0xff;
    EXPECT_EQ(loadfails(w, dir, "h.wav", b), dir.path + "/h.wav: : not DATA chunk.\n");

    // A header that just fits, with no samples after it, is a valid file.
    capture err(std::cerr);
    EXPECT_TRUE(w.load(dir.write("i.wav", cut(56)).c_str()));
    EXPECT_EQ(w.databytes(), 0u);
    EXPECT_EQ(err.str(), "");
}

TEST(WaveReader, ReloadReplacesImageAndDecoderUnlessItFails)
{
    tempdir dir;
    plainwave w;
    ASSERT_TRUE(w.load(dir.write("a.wav", riff({fmt(1, 1, 8000, 16, 2), chunk("data", zeros(8))})).c_str()));
    EXPECT_TRUE(is_pcmraw(w));

    bytes extra;
    put16(extra, 2);
    put16(extra, 505);
    ASSERT_TRUE(w.load(dir.write("b.wav", riff({fmt(17, 1, 8000, 4, 256, extra), chunk("data", zeros(256))})).c_str()));
    EXPECT_TRUE(is_adpcm(w));
    EXPECT_EQ(w.image.size(), 12u + 28 + 8 + 256);
    const sndkit::decoder_t* decoder = w.decoder.get();

    // A failed load keeps the decoder but not the image.
    const bytes notriff = {'R', 'I', 'F', 'X', 0, 0, 0, 0};
    loadfails(w, dir, "c.wav", notriff);
    EXPECT_EQ(w.decoder.get(), decoder);
    EXPECT_EQ(w.image.size(), notriff.size());
    // A file that cannot be read leaves no image at all.
    capture err(std::cerr);
    EXPECT_FALSE(w.load((dir.path + "/none.wav").c_str()));
    EXPECT_TRUE(w.image.empty());
    EXPECT_EQ(w.decoder.get(), decoder);

    w.free();
    EXPECT_EQ(w.decoder, nullptr);
}

TEST(WaveReader, NullPathWritesNoPathAndLeavesTheStreamBad)
{
    plainwave w;
    capture err(std::cerr);
    EXPECT_FALSE(w.load(nullptr));
    EXPECT_TRUE(std::cerr.bad());
    EXPECT_EQ(err.str(), "");
}

TEST(WaveReader, BaseInterfaceAndDegenerateFormats)
{
    tempdir dir;
    plainwave w;
    // Before any play, stop has nothing to wait for.
    EXPECT_TRUE(w.stopped);
    EXPECT_TRUE(w.stop());
    EXPECT_TRUE(w.play(true));
    EXPECT_TRUE(w.loop);
    EXPECT_FALSE(w.stopped);
    EXPECT_TRUE(w.stop());
    EXPECT_TRUE(w.stopped);
    EXPECT_TRUE(w.listdevices());

    // No channels: no length rather than a division by zero.
    ASSERT_TRUE(w.load(dir.write("a.wav", riff({fmt(1, 0, 8000, 16, 2), chunk("data", zeros(8))})).c_str()));
    EXPECT_EQ(w.msec(), 0u);
    // An extensible tag whose sub-format lies beyond the file stays as it is.
    ASSERT_TRUE(w.load(dir.write("b.wav", riff({fmt(65534, 1, 8000, 16, 2), chunk("data", {})})).c_str()));
    EXPECT_EQ(w.formattag(), 65534);
    EXPECT_TRUE(is_pcmraw(w));
}
