// The sample decoders with a recording sink: PCM pass-through, the IMA ADPCM
// block rule and loop passes, SubDecd's narrow arithmetic worked by hand, and
// agreement with sox's own IMA ADPCM decoder.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "audio/adpcm.h"
#include "wavefile.h"

using namespace wavefile;
using samples = std::vector<std::int16_t>;

namespace {

// Records each send; sets the owner's `stopped` at send number `stop_at`.
struct recorder : sndkit::send_t {
    sndkit::wave_t* wave = nullptr;
    std::size_t stop_at = 0;
    bool result = true;
    std::vector<const void*> at;
    std::vector<samples> sent;
    std::vector<std::shared_ptr<const void>> kept;

    bool send(const void* data, unsigned long long bytes) override
    {
        at.push_back(data);
        sent.emplace_back(static_cast<const std::int16_t*>(data), static_cast<const std::int16_t*>(data) + bytes / 2);
        if (sent.size() == stop_at)
            wave->stopped = true;
        return result;
    }
    void keep(std::shared_ptr<const void> block) override { kept.push_back(std::move(block)); }
};

samples flat(std::initializer_list<std::pair<std::int16_t, std::size_t>> runs)
{
    samples s;
    for (const auto& [value, count] : runs)
        s.insert(s.end(), count, value);
    return s;
}

} // namespace

TEST(PcmDecoder, SendsWholeBlocksOfTheImageItself)
{
    tempdir dir;
    plainwave w;
    ASSERT_TRUE(w.load(dir.write("a.wav", riff({fmt(1, 2, 8000, 16, 4), chunk("data", bytes(1001))})).c_str()));
    w.stopped = false;
    const std::string line = "remain % fc()->blk_size: 1\n";

    // 1001 bytes in blocks of 4: 1000 are sent, straight from the image.
    recorder once;
    capture err(std::cerr);
    EXPECT_TRUE(w.decoder->decoding(&once));
    ASSERT_EQ(once.sent.size(), 1u);
    EXPECT_EQ(once.sent[0].size(), 500u);
    EXPECT_EQ(once.at[0], w.image.begin() + 44);
    EXPECT_EQ(err.str(), line);

    // Looping: the line again on every pass; a stop is seen before a send.
    w.loop = true;
    recorder looping;
    looping.wave = &w;
    looping.stop_at = 3;
    EXPECT_TRUE(w.decoder->decoding(&looping));
    EXPECT_EQ(looping.sent.size(), 3u);
    EXPECT_EQ(err.str(), line + line + line + line + line);

    // A failed send ends the decoder with false.
    w.stopped = false;
    recorder failing;
    failing.result = false;
    EXPECT_FALSE(w.decoder->decoding(&failing));
    EXPECT_EQ(failing.sent.size(), 1u);
}

// These files' data start at P = 48. Blocks followed by more data are whole
// (1 + 2 x 252 = 505 samples); the last one ends at D minus its absolute
// offset, losing its last P bytes, and only its header counts when that
// bound is below 4.
TEST(AdpcmDecoder, BlockRule)
{
    tempdir dir;
    plainwave w;
    w.stopped = false;
    const struct {
        bytes data;
        samples expected;
    } cases[] = {
        {flatblocks({1000, 2000, 3000}, 768), flat({{1000, 505}, {2000, 505}, {3000, 409}})},  // 768 - 560 = 208
        {flatblocks({-500}, 256), flat({{-500, 409}})},                                        // one block only
        {flatblocks({1000, 2000}, 296), flat({{1000, 505}, {2000, 1}})},                       // 296 - 304 < 0
        {flatblocks({1000, 2000}, 258), flat({{1000, 505}})},  // 2 bytes cannot hold a header
        {{}, {}},
    };
    for (const auto& c : cases) {
        ASSERT_TRUE(w.load(dir.write("a.wav", adpcmfile(48000, c.data)).c_str()));
        recorder sink;
        EXPECT_TRUE(w.decoder->decoding(&sink));
        ASSERT_EQ(sink.sent.size(), 1u);
        EXPECT_EQ(sink.sent[0], c.expected);
        EXPECT_EQ(sink.kept.size(), 1u);
    }
}

TEST(AdpcmDecoder, LoopPassesAccumulate)
{
    tempdir dir;
    plainwave w;
    ASSERT_TRUE(w.load(dir.write("a.wav", adpcmfile(48000, flatblocks({1, 2, 3}, 768))).c_str()));
    w.loop = true;
    w.stopped = false;
    recorder sink;
    sink.wave = &w;
    sink.stop_at = 3;
    EXPECT_TRUE(w.decoder->decoding(&sink));
    // The n-th pass sends the clip n times, from memory handed to the sink.
    const samples clip = flat({{1, 505}, {2, 505}, {3, 409}});
    samples all;
    for (std::size_t n = 0; n < 3; ++n) {
        all.insert(all.end(), clip.begin(), clip.end());
        EXPECT_EQ(sink.sent.at(n), all);
        EXPECT_EQ(static_cast<const samples*>(sink.kept.at(n).get())->data(), sink.at[n]);
    }

}

// By hand from the step table: step 7 at index 0, 19 at 10, 2272 at 60 and
// 32767 at 88.
TEST(AdpcmDecoder, SubDecdArithmetic)
{
    const struct {
        std::int16_t predictor;
        std::uint8_t index, code;
        std::int16_t predictor_after;
        std::uint8_t index_after;
    } cases[] = {
        {0, 0, 0, 0, 0},                // 7 >> 3 = 0; the index stays at 0
        {0, 0, 7, 11, 8},               // 0 + 1 + 3 + 7
        {100, 10, 0xc, 79, 12},         // 100 - (2 + 19)
        {32000, 60, 4, 32767, 62},      // 32000 + 284 + 2272, bounded
        {0, 88, 7, -4100, 88},          // 4095 + 8191 + 16383 + 32767 = 61436 in 16 bits
        {30000, 88, 0xf, -31436, 88},   // 34100: no upper bound when subtracting
        {-30000, 88, 7, 31436, 88},     // -34100: no lower bound when adding
        {0, 40, 3, 294, 39},            // step 337: 42 + 84 + 168
        {0, 40, 6, 547, 46},            // 42 + 168 + 337
        {0, 85, 7, -19370, 88},         // step 24623: 46166 in 16 bits; index 93 held at 88
    };
    for (const auto& c : cases) {
        std::int16_t predictor = c.predictor;
        std::uint8_t index = c.index;
        sndkit::SubDecd(predictor, index, c.code);
        EXPECT_EQ(predictor, c.predictor_after) << c.predictor << " " << int(c.index) << " " << int(c.code);
        EXPECT_EQ(index, c.index_after) << c.predictor << " " << int(c.index) << " " << int(c.code);
    }
}

// sox encodes and decodes IMA ADPCM on its own; what this decoder makes of
// sox's file must be the start of what sox makes of it.
TEST(AdpcmDecoder, AgreesWithSox)
{
    if (std::system("sox --version >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "sox is not installed";
    tempdir dir;
    samples signal(2400);
    std::uint32_t seed = 12345;
    for (std::size_t i = 0; i < signal.size(); ++i) {
        const double t = i / 8000.0, tau = 6.283185307179586;
        seed = seed * 1664525u + 1013904223u;
        signal[i] = static_cast<std::int16_t>(9000 * std::sin(tau * (200 + 1500 * t) * t) +
                                              3000 * std::sin(tau * 3100 * t) + int(seed >> 20) - 2048);
    }
    const std::string in = dir.write("in.wav", riff({fmt(1, 1, 8000, 16, 2), chunk("data", pcm16(signal))}));
    const std::string enc = dir.path + "/enc.wav", ref = dir.path + "/ref.wav";
    ASSERT_EQ(std::system(("sox -D " + in + " -e ima-adpcm " + enc).c_str()), 0);
    ASSERT_EQ(std::system(("sox -D " + enc + " -e signed-integer -b 16 " + ref).c_str()), 0);

    plainwave coded, decoded;
    ASSERT_TRUE(coded.load(enc.c_str()));
    ASSERT_TRUE(decoded.load(ref.c_str()));
    ASSERT_EQ(coded.formattag(), 17);
    coded.stopped = false;
    recorder sink;
    ASSERT_TRUE(coded.decoder->decoding(&sink));
    const samples& ours = sink.sent.at(0);
    const auto* theirs = decoded.image.begin() + decoded.pos;

    // All blocks but the last are whole.
    const std::size_t blocks = (coded.datasize() + 255) / 256;
    ASSERT_EQ(coded.fc().blk_size, 256);
    ASSERT_GE(ours.size(), (blocks - 1) * 505);
    ASSERT_LE(ours.size() * 2, decoded.datasize());
    std::size_t differ = 0;
    for (std::size_t i = 0; i < ours.size(); ++i)
        differ += ours[i] != static_cast<std::int16_t>(sndkit::le16(theirs + 2 * i));
    EXPECT_EQ(differ, 0u) << "of " << ours.size();
}
