// The sample decoders with a recording sink: PCM pass-through, the IMA ADPCM
// block rule and loop passes, SubDecd worked by hand, and agreement with
// sox's own IMA ADPCM decoder.

#include <gtest/gtest.h>

#include <memory>

#include "audio/adpcm.h"
#include "wavefile.h"

using namespace wavefile;
using samples = std::vector<std::int16_t>;

namespace {

// Records each send; sets the owner's `stopped` at send number `stop_at`.
struct recorder : sndkit::send_t {
    recorder(sndkit::wave_t& w, std::size_t stop = 0, bool ok = true) : wave(w), stop_at(stop), result(ok) {}
    // Plays the owner once or looping and decodes it here.
    bool decode(bool loop) { return wave.play(loop) && wave.decoder->decoding(this); }
    sndkit::wave_t& wave;
    std::size_t stop_at;
    bool result;
    std::vector<const void*> at;
    std::vector<samples> sent;
    std::vector<std::shared_ptr<const void>> kept;

    bool send(const void* data, unsigned long long bytes) override
    {
        at.push_back(data);
        sent.emplace_back(static_cast<const std::int16_t*>(data), static_cast<const std::int16_t*>(data) + bytes / 2);
        if (sent.size() == stop_at)
            wave.stopped = true;
        return result;
    }
    void keep(std::shared_ptr<const void> block) override { kept.push_back(std::move(block)); }
};

} // namespace

TEST(PcmDecoder, SendsWholeBlocksOfTheImageItself)
{
    tempdir dir;
    plainwave w;
    ASSERT_TRUE(w.load(dir.write("a.wav", riff({fmt(1, 2, 8000, 16, 4), chunk("data", bytes(1003))})).c_str()));
    capture err(std::cerr);
    // 1003 bytes in blocks of 4: 1000 are sent, straight from the image, on
    // every pass of a loop, which sees a stop before its next send and ends.
    recorder looping(w, 3), failing(w, 0, false);
    EXPECT_TRUE(looping.decode(true));
    ASSERT_EQ(looping.sent.size(), 3u);
    EXPECT_EQ(looping.sent[2].size(), 500u);
    EXPECT_EQ(looping.at[2], w.image.begin() + 44);
    // A failed send ends the decoder with false.
    EXPECT_FALSE(failing.decode(true));
    EXPECT_EQ(failing.sent.size(), 1u);
    // The remainder is told on every pass.
    const std::string line = "remain % fc()->blk_size: 3\n";
    EXPECT_EQ(err.text.str(), line + line + line + line + line);
}

// These files' data start at P = 48. Blocks followed by more data are whole
// (1 + 2 x 252 = 505 samples); the last one ends at D minus its absolute
// offset, losing its last P bytes, and only its header counts when that
// bound is below 4.
TEST(AdpcmDecoder, BlockRule)
{
    tempdir dir;
    plainwave w;
    const std::size_t cases[][2] = {
        {768, 505 + 505 + 409},  // 768 - 560 = 208
        {256, 409},              // one block only
        {296, 505 + 1},          // 296 - 304 < 0
        {258, 505},              // 2 bytes hold no header
        {0, 0},
    };
    for (const auto& c : cases) {
        ASSERT_TRUE(w.load(dir.write("a.wav", adpcmfile(48000, bytes(c[0]))).c_str()));
        recorder sink(w);
        EXPECT_TRUE(sink.decode(false));
        ASSERT_EQ(sink.sent.size(), 1u);
        EXPECT_EQ(sink.sent[0].size(), c[1]) << c[0];
    }
}

// The smallest blocks (their header alone) with the data running to the end
// of the file: no header is read past it (under the address sanitizer a read
// there is a fault), and a block cut short adds nothing.
TEST(AdpcmDecoder, NoHeaderReadPastTheData)
{
    tempdir dir;
    plainwave w;
    const std::size_t cases[][2] = {{3, 0}, {4, 1}, {7, 1}, {8, 2}, {9, 2}};
    for (const auto& c : cases) {
        const bytes file = riff({fmt(17, 1, 8000, 4, 4, {2, 0, 1, 0}), chunk("data", bytes(c[0], 0x11))});
        ASSERT_TRUE(w.load(dir.write("a.wav", file).c_str())) << c[0];
        ASSERT_EQ(w.image.size(), w.pos + c[0]);
        recorder sink(w, 1);
        EXPECT_TRUE(sink.decode(false));
        ASSERT_EQ(sink.sent.size(), 1u);
        EXPECT_EQ(sink.sent[0].size(), c[1]) << c[0];
    }
}

// By hand from the step table (7 at index 0, 19 at 10, 337 at 40, 2272 at 60,
// 24623 at 85, 32767 at 88): the bounds, the 16-bit sum and the index limits.
// Predictor, index, code; then the predictor and index after.
TEST(AdpcmDecoder, SubDecdArithmetic)
{
    const int cases[][5] = {
        {0, 0, 0, 0, 0},               // 7 >> 3 = 0; the index stays at 0
        {100, 10, 0xc, 79, 12},        // 100 - (2 + 19)
        {32000, 60, 4, 32767, 62},     // 32000 + 284 + 2272, bounded
        {-32000, 60, 0xc, -32768, 62}, // -32000 - 2556, bounded
        {0, 88, 7, -4100, 88},         // 4095 + 8191 + 16383 + 32767 = 61436 in 16 bits
        {30000, 88, 0xf, -31436, 88},  // 34100: no upper bound when subtracting
        {-30000, 88, 7, 31436, 88},    // -34100: no lower bound when adding
        {0, 40, 3, 294, 39},           // 42 + 84 + 168
        {0, 85, 7, -19370, 88},        // 46166 in 16 bits; index 93 held at 88
    };
    for (const auto& c : cases) {
        std::int16_t predictor = std::int16_t(c[0]);
        std::uint8_t index = std::uint8_t(c[1]);
        sndkit::SubDecd(predictor, index, std::uint8_t(c[2]));
        EXPECT_EQ(predictor, c[3]) << &c - cases;
        EXPECT_EQ(index, c[4]) << &c - cases;
    }
}

// sox encodes and decodes IMA ADPCM on its own. Its decoding of its own file
// must begin with ours, which by the block rule holds 505 samples per block
// but the last, and of that one only what lies before D minus its offset. A
// looping play sends the clip again on each pass, after the earlier ones.
TEST(AdpcmDecoder, AgreesWithSoxAndLoopPassesAccumulate)
{
    if (std::system("sox --version >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "sox is not installed";
    tempdir dir;
    const std::string in = dir.path + "/in.wav", enc = dir.path + "/enc.wav", ref = dir.path + "/ref.wav";
    const std::string make = "sox -n -r 8000 -c 1 -b 16 " + in + " synth 0.3 sine 100-3900 synth 0.3 whitenoise mix";
    ASSERT_EQ(std::system((make + " gain -n && sox -D " + in + " -e ima-adpcm " + enc + " && sox -D " + enc +
                           " -e signed-integer -b 16 " + ref).c_str()), 0);
    plainwave coded, decoded;
    ASSERT_TRUE(coded.load(enc.c_str()) && decoded.load(ref.c_str()));
    ASSERT_TRUE(coded.formattag() == 17 && coded.fc().blk_size == 256 && coded.datasize() % 256 == 0);
    recorder sink(coded, 2);
    ASSERT_TRUE(sink.decode(true));
    const samples& ours = sink.sent.at(0);
    const std::size_t blocks = coded.datasize() / 256, last = coded.pos + (blocks - 1) * 256;
    EXPECT_EQ(ours.size(), (blocks - 1) * 505 + 1 + 2 * (coded.datasize() - last - 4));
    ASSERT_LE(ours.size() * 2, decoded.datasize());
    std::size_t differ = 0;
    for (std::size_t i = 0; i < ours.size(); ++i)
        differ += ours[i] != std::int16_t(sndkit::le16(decoded.image.begin() + decoded.pos + 2 * i));
    EXPECT_EQ(differ, 0u) << "of " << ours.size();

    samples twice = ours;
    twice.insert(twice.end(), ours.begin(), ours.end());
    EXPECT_EQ(sink.sent.at(1), twice);
    // From memory the sink keeps alive for the voice.
    EXPECT_EQ(static_cast<const samples*>(sink.kept.at(1).get())->data(), sink.at[1]);
}
