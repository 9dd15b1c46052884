// IMA ADPCM expansion. A looping play appends the clip again on every pass
// and submits everything decoded so far, so the n-th pass sends n copies.

#include "audio/adpcm.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "audio/wave.h"

namespace sndkit {

const std::uint16_t step_idx[89] = {
    7,     8,     9,     10,    11,    12,    13,    14,    16,    17,    19,    21,    23,
    25,    28,    31,    34,    37,    41,    45,    50,    55,    60,    66,    73,    80,
    88,    97,    107,   118,   130,   143,   157,   173,   190,   209,   230,   253,   279,
    307,   337,   371,   408,   449,   494,   544,   598,   658,   724,   796,   876,   963,
    1060,  1166,  1282,  1411,  1552,  1707,  1878,  2066,  2272,  2499,  2749,  3024,  3327,
    3660,  4026,  4428,  4871,  5358,  5894,  6484,  7132,  7845,  8630,  9493,  10442, 11487,
    12635, 13899, 15289, 16818, 18500, 20350, 22385, 24623, 27086, 29794, 32767,
};

namespace {

constexpr std::uint8_t max_index = 88;
// First sample (2 bytes), step index, one unused byte.
constexpr std::uint64_t block_header = 4;

// The low 16 bits read as a signed value.
std::int16_t signed16(std::uint16_t bits)
{
    return static_cast<std::int16_t>(bits >= 0x8000 ? int(bits) - 0x10000 : int(bits));
}

// Decodes a block from its header to byte `count` - 1, appending to `out`.
void decodeblock(const unsigned char* block, std::uint64_t count, std::vector<std::int16_t>& out)
{
    std::int16_t predictor = signed16(le16(block));
    // A corrupt index would read outside the step table.
    std::uint8_t index = std::min(block[2], max_index);
    out.push_back(predictor);
    for (std::uint64_t i = 4; i < count; ++i) {
        SubDecd(predictor, index, block[i] & 0x0f);
        out.push_back(predictor);
        SubDecd(predictor, index, block[i] >> 4);
        out.push_back(predictor);
    }
}

void sleepms(std::uint64_t ms)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

} // namespace

void SubDecd(std::int16_t& predictor, std::uint8_t& index, std::uint8_t code)
{
    const std::uint16_t step = step_idx[std::min(index, max_index)];
    std::uint16_t sum = step >> 3;
    if (code & 1)
        sum = static_cast<std::uint16_t>(sum + (step >> 2));
    if (code & 2)
        sum = static_cast<std::uint16_t>(sum + (step >> 1));
    if (code & 4)
        sum = static_cast<std::uint16_t>(sum + step);
    const std::int32_t diff = signed16(sum);

    std::int32_t value;
    if (code & 8) {
        value = predictor - diff;
        if (value < -32768)
            value = -32768;
    } else {
        value = predictor + diff;
        if (value > 32767)
            value = 32767;
    }
    predictor = signed16(static_cast<std::uint16_t>(value));

    switch (code & 7) {
    case 4: index += 2; break;
    case 5: index += 4; break;
    case 6: index += 6; break;
    case 7: index += 8; break;
    default:
        if (index > 0)
            --index;
        break;
    }
    if (index > max_index)
        index = max_index;
}

bool adpcm_t::decoding(send_t* sink)
{
    // Every block starts with its header; the reader refuses a block align
    // that cannot hold one, and so does the decoder, which reads it.
    const std::uint64_t blk = wave->fc().blk_size;
    if (blk < block_header)
        return true;
    const std::uint64_t bytes = wave->databytes();
    const std::uint64_t first = wave->pos;
    const std::uint64_t end = first + bytes;
    const unsigned char* const image = wave->image.begin();

    // Shared with the sink, which holds each submitted vector until its voice
    // has played it. At most two samples a byte, whatever the format claims.
    auto pcm = std::make_shared<std::vector<std::int16_t>>();
    pcm->reserve(2 * bytes);
    std::size_t clip = 0;
    for (;;) {
        std::uint64_t block = first;
        while (block + blk < end) {
            decodeblock(image + block, blk, *pcm);
            if (wave->stopped)
                return true;
            block += blk;
        }
        // The last block is bounded by the data size minus its absolute
        // offset, which drops the last `first` bytes of it; kept as it is.
        // Where that bound is below the header, only the header counts, and a
        // header cut short by the end of the data is not read at all.
        if (block + block_header <= end)
            decodeblock(image + block, bytes > block ? bytes - block : 0, *pcm);
        if (clip == 0)
            clip = pcm->size();

        sink->keep(pcm);
        sink->send(pcm->data(), pcm->size() * sizeof(std::int16_t));
        if (wave->stopped)
            return true;

        const std::uint64_t length = wave->msec();
        for (std::uint64_t elapsed = 0;;) {
            const std::uint64_t before = elapsed;
            elapsed += 1000;
            if (elapsed >= length) {
                sleepms(length - before);
                break;
            }
            sleepms(1000);
            if (wave->stopped)
                return true;
        }
        if (wave->stopped || !wave->loop)
            return true;

        // The next pass appends to a copy: the voice may still be reading
        // this vector, so it must not grow in place.
        auto next = std::make_shared<std::vector<std::int16_t>>();
        next->reserve(pcm->size() + clip);
        next->assign(pcm->begin(), pcm->end());
        pcm = std::move(next);
    }
}

} // namespace sndkit
