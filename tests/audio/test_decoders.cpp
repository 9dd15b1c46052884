// The sample decoders, run on this thread (or one of the test's own) with a
// recording sink: PCM pass-through, the IMA ADPCM block rule, SubDecd's
// narrow arithmetic, and a comparison with sox's IMA ADPCM decoder.

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstdio>
#include <future>
#include <memory>
#include <thread>

#include "audio/adpcm.h"
#include "audio/pcmraw.h"
#include "wavefile.h"

using namespace wavefile;

namespace {

// Records what a decoder sends; can set `stopped` at the n-th send.
struct recorder : sndkit::send_t {
    sndkit::wave_t* wave = nullptr;
    int stop_at = 0;
    bool result = true;
    std::vector<const void*> pointers;
    std::vector<std::vector<std::int16_t>> samples;
    std::vector<unsigned long long> sizes;
    std::vector<std::shared_ptr<const void>> kept;
    std::promise<void> first_send;

    bool send(const void* data, unsigned long long bytes) override
    {
        pointers.push_back(data);
        sizes.push_back(bytes);
        const auto* s = static_cast<const std::int16_t*>(data);
        samples.emplace_back(s, s + bytes / 2);
        if (sizes.size() == 1)
            first_send.set_value();
        if (static_cast<int>(sizes.size()) == stop_at)
            wave->stopped = true;
        return result;
    }
    void keep(std::shared_ptr<const void> block) override { kept.push_back(std::move(block)); }
};

std::vector<std::int16_t> repeat(std::int16_t value, std::size_t n)
{
    return std::vector<std::int16_t>(n, value);
}

std::vector<std::int16_t> concat(std::initializer_list<std::vector<std::int16_t>> parts)
{
    std::vector<std::int16_t> all;
    for (const auto& p : parts)
        all.insert(all.end(), p.begin(), p.end());
    return all;
}

} // namespace

TEST(PcmDecoder, SendsWholeBlocksOfTheImageItself)
{
    tempdir dir;
    plainwave w;
    ASSERT_TRUE(w.load(dir.write("a.wav", riff({fmt(1, 2, 8000, 16, 4), chunk("data", bytes(1001, 7))})).c_str()));
    w.loop = false;
    w.stopped = false;

    recorder sink;
    sink.wave = &w;
    {
        capture err(std::cerr);
        EXPECT_TRUE(w.decoder->decoding(&sink));
        EXPECT_EQ(err.str(), "remain % fc()->blk_size: 1\n");
    }
    ASSERT_EQ(sink.sizes.size(), 1u);
    EXPECT_EQ(sink.sizes[0], 1000u);
    EXPECT_EQ(sink.pointers[0], w.image.begin() + 44);

    // Looping: the remainder line comes on every pass, and a stop is seen
    // before the next send.
    w.loop = true;
    recorder looping;
    looping.wave = &w;
    looping.stop_at = 3;
    {
        capture err(std::cerr);
        EXPECT_TRUE(w.decoder->decoding(&looping));
        std::string four;
        for (int i = 0; i < 4; ++i)
            four += "remain % fc()->blk_size: 1\n";
        EXPECT_EQ(err.str(), four);
    }
    EXPECT_EQ(looping.sizes, (std::vector<unsigned long long>{1000, 1000, 1000}));

    // Already stopped: nothing is sent. A failed send ends the decoder.
    recorder none;
    w.stopped = true;
    capture err(std::cerr);
    EXPECT_TRUE(w.decoder->decoding(&none));
    EXPECT_TRUE(none.sizes.empty());
    w.stopped = false;
    recorder failing;
    failing.result = false;
    EXPECT_FALSE(w.decoder->decoding(&failing));
    EXPECT_EQ(failing.sizes.size(), 1u);

    // Whole blocks only: no line.
    ASSERT_TRUE(w.load(dir.write("b.wav", riff({fmt(1, 2, 8000, 16, 4), chunk("data", bytes(1000, 7))})).c_str()));
    const std::size_t before = err.str().size();
    w.loop = false;
    recorder whole;
    EXPECT_TRUE(w.decoder->decoding(&whole));
    EXPECT_EQ(whole.sizes, (std::vector<unsigned long long>{1000}));
    EXPECT_EQ(err.str().size(), before);
}

// The data of these files starts at byte 48 (P). Full blocks are the ones
// with a byte after them in the data; the last block is decoded up to
// D - (its absolute offset), dropping its last P bytes.
TEST(AdpcmDecoder, BlockRuleAndLastBlockBound)
{
    tempdir dir;
    plainwave w;
    w.stopped = false;
    const auto decode = [&](const bytes& data) {
        EXPECT_TRUE(w.load(dir.write("x.wav", adpcmfile(48000, data)).c_str()));
        EXPECT_EQ(w.pos, 48u);
        recorder sink;
        sink.wave = &w;
        EXPECT_TRUE(w.decoder->decoding(&sink));
        EXPECT_EQ(sink.sizes.size(), 1u);
        EXPECT_EQ(sink.kept.size(), 1u);
        return sink.samples.empty() ? std::vector<std::int16_t>{} : sink.samples[0];
    };

    // Three blocks: 1 + 2 x 252 = 505 samples from each full block; the last
    // one ends at 768 - 560 = 208 bytes, 1 + 2 x 204 = 409 samples.
    EXPECT_EQ(decode(flatblocks({1000, 2000, 3000}, 768)),
              concat({repeat(1000, 505), repeat(2000, 505), repeat(3000, 409)}));
    // One block goes straight to the last-block rule: 256 - 48 = 208 bytes.
    EXPECT_EQ(decode(flatblocks({-500}, 256)), repeat(-500, 409));
    // A last block of 40 bytes lies below its bound (296 - 304 < 0): its
    // header only.
    EXPECT_EQ(decode(flatblocks({1000, 2000}, 296)), concat({repeat(1000, 505), repeat(2000, 1)}));
    // A last block shorter than a header is not read.
    EXPECT_EQ(decode(flatblocks({1000, 2000}, 258)), repeat(1000, 505));
    EXPECT_TRUE(decode({}).empty());
    // A stereo file is decoded the same way, one channel per block.
    EXPECT_TRUE(w.load(dir.write("s.wav", adpcmfile(48000, flatblocks({5, 6}, 512), 2)).c_str()));
    recorder stereo;
    EXPECT_TRUE(w.decoder->decoding(&stereo));
    EXPECT_EQ(stereo.samples.at(0), concat({repeat(5, 505), repeat(6, 409)}));
}

TEST(AdpcmDecoder, LoopingAccumulatesAndStopsWithinASleepStep)
{
    tempdir dir;
    plainwave w;
    ASSERT_TRUE(w.load(dir.write("a.wav", adpcmfile(48000, flatblocks({1, 2, 3}, 768))).c_str()));
    ASSERT_EQ(w.msec(), 32u);
    w.loop = true;
    w.stopped = false;

    // Each pass appends the clip again and sends everything from the start.
    const auto clip = concat({repeat(1, 505), repeat(2, 505), repeat(3, 409)});
    recorder sink;
    sink.wave = &w;
    sink.stop_at = 3;
    EXPECT_TRUE(w.decoder->decoding(&sink));
    ASSERT_EQ(sink.samples.size(), 3u);
    EXPECT_EQ(sink.samples[0], clip);
    EXPECT_EQ(sink.samples[1], concat({clip, clip}));
    EXPECT_EQ(sink.samples[2], concat({clip, clip, clip}));
    // What was sent is what the sink was given to keep.
    ASSERT_EQ(sink.kept.size(), 3u);
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(static_cast<const std::vector<std::int16_t>*>(sink.kept[i].get())->data(), sink.pointers[i]);

    // At 307 Hz the clip lasts 5003 ms; the sleep is cut in 1000 ms steps,
    // after each of which a stop is seen.
    ASSERT_TRUE(w.load(dir.write("b.wav", adpcmfile(307, flatblocks({1, 2, 3}, 768))).c_str()));
    ASSERT_EQ(w.msec(), 5003u);
    w.stopped = false;
    recorder slow;
    slow.wave = &w;
    std::future<void> sent = slow.first_send.get_future();
    const auto start = std::chrono::steady_clock::now();
    std::future<bool> done = std::async(std::launch::async, [&] { return w.decoder->decoding(&slow); });
    sent.wait();
    w.stopped = true;
    EXPECT_TRUE(done.get());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(3000));
    EXPECT_EQ(slow.sizes.size(), 1u);
}

// Worked by hand from the step table: step(0) = 7, step(10) = 19,
// step(60) = 2272, step(88) = 32767.
TEST(AdpcmDecoder, SubDecdArithmetic)
{
    struct one {
        std::int16_t predictor;
        std::uint8_t index;
        std::uint8_t code;
        std::int16_t predictor_after;
        std::uint8_t index_after;
    };
    const one cases[] = {
        {0, 0, 0, 0, 0},                // 7 >> 3 = 0; index stays at 0
        {0, 0, 7, 11, 8},               // 0 + 1 + 3 + 7
        {100, 10, 0xc, 79, 12},         // 100 - (2 + 19)
        {32000, 60, 4, 32767, 62},      // 32000 + 284 + 2272, bounded above
        {-32000, 60, 0xc, -32768, 62},  // bounded below
        // 4095 + 8191 + 16383 + 32767 = 61436, read in 16 bits: -4100.
        {0, 88, 7, -4100, 88},
        {0, 88, 0xf, 4100, 88},
        // The bound applies only in the direction of the step: past it, the
        // value wraps in 16 bits.
        {30000, 88, 0xf, -31436, 88},   // 34100
        {-30000, 88, 7, 31436, 88},     // -34100
    };
    for (const one& c : cases) {
        std::int16_t predictor = c.predictor;
        std::uint8_t index = c.index;
        sndkit::SubDecd(predictor, index, c.code);
        EXPECT_EQ(predictor, c.predictor_after) << c.predictor << " " << int(c.index) << " " << int(c.code);
        EXPECT_EQ(index, c.index_after) << c.predictor << " " << int(c.index) << " " << int(c.code);
    }

    // Index steps by the low three bits: -1, -1, -1, -1, +2, +4, +6, +8.
    const int adjust[8] = {-1, -1, -1, -1, 2, 4, 6, 8};
    for (std::uint8_t code = 0; code < 16; ++code) {
        std::int16_t predictor = 0;
        std::uint8_t index = 40;
        sndkit::SubDecd(predictor, index, code);
        EXPECT_EQ(index, 40 + adjust[code & 7]) << int(code);
        std::uint8_t top = 85;
        sndkit::SubDecd(predictor, top, code);
        EXPECT_EQ(top, std::min(85 + adjust[code & 7], 88)) << int(code);
    }
}

// sox encodes and decodes IMA ADPCM on its own: what this decoder makes of
// sox's file must be the start of what sox makes of it.
TEST(AdpcmDecoder, AgreesWithSox)
{
    if (std::system("sox --version >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "sox is not installed";
    tempdir dir;

    // 0.3 s at 8000 Hz: a rising tone, a high one and a little noise.
    const double pi = 3.14159265358979323846;
    std::vector<std::int16_t> signal(2400);
    std::uint32_t seed = 12345;
    for (std::size_t i = 0; i < signal.size(); ++i) {
        const double t = i / 8000.0;
        seed = seed * 1664525u + 1013904223u;
        const double v = 9000 * std::sin(2 * pi * (200 + 1500 * t) * t) + 3000 * std::sin(2 * pi * 3100 * t) +
                         (static_cast<int>(seed >> 20) - 2048);
        signal[i] = static_cast<std::int16_t>(v);
    }
    const std::string in = dir.write("in.wav", riff({fmt(1, 1, 8000, 16, 2), chunk("data", samples16(signal))}));
    const std::string enc = dir.path + "/enc.wav";
    const std::string ref = dir.path + "/ref.wav";
    ASSERT_EQ(std::system(("sox -D " + in + " -e ima-adpcm " + enc).c_str()), 0);
    ASSERT_EQ(std::system(("sox -D " + enc + " -e signed-integer -b 16 " + ref).c_str()), 0);

    plainwave coded;
    ASSERT_TRUE(coded.load(enc.c_str()));
    ASSERT_EQ(coded.formattag(), 17);
    ASSERT_EQ(coded.fc().bits, 4);
    coded.stopped = false;
    recorder sink;
    sink.wave = &coded;
    ASSERT_TRUE(coded.decoder->decoding(&sink));
    const std::vector<std::int16_t>& ours = sink.samples.at(0);

    plainwave decoded;
    ASSERT_TRUE(decoded.load(ref.c_str()));
    const unsigned char* first = decoded.image.begin() + decoded.pos;
    std::vector<std::int16_t> theirs;
    for (std::uint32_t i = 0; i + 1 < decoded.datasize(); i += 2)
        theirs.push_back(static_cast<std::int16_t>(sndkit::le16(first + i)));

    // Every block but the last is whole; the last loses 2 x P samples.
    const std::size_t blocks = (coded.datasize() + coded.fc().blk_size - 1) / coded.fc().blk_size;
    ASSERT_GE(blocks, 3u);
    ASSERT_GE(ours.size(), (blocks - 1) * coded.samplesperblock());
    ASSERT_LE(ours.size(), theirs.size());
    std::size_t differ = 0;
    for (std::size_t i = 0; i < ours.size(); ++i)
        differ += ours[i] != theirs[i];
    EXPECT_EQ(differ, 0u) << "of " << ours.size() << " samples";
}
