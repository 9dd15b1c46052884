// Reading a RIFF/WAVE file: the whole file into one block, then a walk over
// its chunk headers in a fixed order, keeping a pointer to each.

#include "audio/wave.h"

#include <algorithm>
#include <cstring>
#include <iostream>

#include "utils/common.h"

namespace sndkit {

namespace {

const char not_data[] = ": not DATA chunk.";

} // namespace

bool wave_t::play(bool loop_)
{
    loop = loop_;
    stopped = false;
    return true;
}

bool wave_t::stop()
{
    stopped = true;
    return true;
}

bool wave_t::listdevices()
{
    return true;
}

wave_t::~wave_t()
{
    free();
}

void wave_t::free()
{
    decoder.reset();
}

// The walk trusts the sizes written in the file, but it only reads a header
// where the image holds it: a file cut short inside one gets the "data"
// message, since the walk did not reach the samples.
bool wave_t::load(const char* path)
{
    image.clear();
    if (!image.load(0, path))
        return false;
    const unsigned char* const base = image.begin();
    const std::uint64_t size = image.size();
    const auto here = [&] { return base + std::min(pos, size); };
    const auto has = [&](std::uint64_t bytes) { return pos <= size && bytes <= size - pos; };

    pos = 0;
    riff = here();
    if (!has(4))
        return fail(path, not_data);
    if (std::memcmp(riff, "RIFF", 4) != 0)
        return fail(path, ": not RIFF file.");

    pos += 8;
    wave = here();
    if (!has(4))
        return fail(path, not_data);
    if (std::memcmp(wave, "WAVE", 4) != 0)
        return fail(path, ": not WAVE file.");

    pos += 4;
    fmt = here();
    if (!has(4))
        return fail(path, not_data);
    if (std::memcmp(fmt, "fmt ", 4) != 0)
        return fail(path, ": not FMT chunk.");
    if (!has(24))
        return fail(path, not_data);

    // No pad byte after an odd-sized format chunk: the next chunk is looked
    // for right after the declared size.
    const std::uint32_t fmtsize = le32(fmt + 4);
    pos += 24;
    fmtx = here();
    fmtx_ext = here();
    pos = pos + fmtsize - 16;

    // Optional chunks, each at most once and only in this order.
    const struct {
        const char* id;
        const unsigned char** at;
    } optional[] = {{"PAD ", &pad}, {"fact", &fact}, {"LIST", &list}};
    for (const auto& chunk : optional) {
        *chunk.at = here();
        if (has(4) && std::memcmp(*chunk.at, chunk.id, 4) == 0) {
            if (!has(8))
                return fail(path, not_data);
            pos += 8 + std::uint64_t(le32(*chunk.at + 4));
        }
    }

    data = here();
    if (!has(8) || std::memcmp(data, "data", 4) != 0)
        return fail(path, not_data);
    pos += 8;
    avg_bytes = fc().avg_bytes_per_sec;
    free();
    decoder = decoder_dispatch(this);
    return true;
}

// path: four bytes found: message. A null path writes nothing and leaves the
// stream bad, as inserting a null text does.
bool wave_t::fail(const char* path, const char* message)
{
    basekit::error();
    if (path)
        std::cerr << path;
    else
        std::cerr.setstate(std::ios::badbit);
    std::cerr << ": ";
    const std::uint64_t size = image.size();
    if (pos < size)
        std::cerr.write(reinterpret_cast<const char*>(image.begin() + pos),
                        static_cast<std::streamsize>(std::min<std::uint64_t>(4, size - pos)));
    std::cerr << message << std::endl;
    return false;
}

// The format's extra words lie outside the walked headers; a file that ends
// before one reads it as absent.
bool wave_t::holds(const unsigned char* p, std::uint64_t bytes) const
{
    const std::uint64_t at = static_cast<std::uint64_t>(p - image.begin());
    return at <= image.size() && bytes <= image.size() - at;
}

std::uint16_t wave_t::formattag() const
{
    const std::uint16_t tag = fc().tag;
    if (tag != tag_extensible || !holds(fmtx_ext + 8, 2))
        return tag;
    return le16(fmtx_ext + 8);
}

std::uint16_t wave_t::samplesperblock() const
{
    return holds(fmtx + 2, 2) ? le16(fmtx + 2) : 0;
}

std::uint64_t wave_t::databytes() const
{
    const std::uint64_t size = image.size();
    return pos < size ? std::min<std::uint64_t>(datasize(), size - pos) : 0;
}

// Unsigned arithmetic with truncating division, the byte count times 8 kept
// in 32 bits.
std::uint64_t wave_t::msec() const
{
    const fmtchunk_t f = fc();
    const std::uint32_t bytes = datasize();
    const std::uint32_t framebits = std::uint32_t(f.channels) * f.bits;
    if (framebits == 0 || f.samples_per_sec == 0)
        return 0;
    std::uint32_t samples;
    if (f.bits > 7) {
        samples = bytes / (framebits / 8);
    } else {
        samples = std::uint32_t(bytes * 8u) / framebits;
    }
    return std::uint64_t(samples) * 1000 / f.samples_per_sec;
}

} // namespace sndkit
