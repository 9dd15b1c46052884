// Reading a RIFF/WAVE file: the whole file into one block, then a walk over
// its chunk headers in a fixed order, keeping a pointer to each.

#include "audio/wave.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <sstream>
#include <string>

#include "utils/common.h"

namespace sndkit {

namespace {

const char not_data[] = ": not DATA chunk.";

// A chunk identifier as text: printable bytes as they are, others as \xNN,
// so that a line stays one line.
std::string printable(const unsigned char* p, std::uint64_t count = 4)
{
    std::string text;
    for (std::uint64_t i = 0; i < count; ++i) {
        if (p[i] >= 0x20 && p[i] < 0x7f) {
            text += static_cast<char>(p[i]);
        } else {
            const char digits[] = "0123456789abcdef";
            text += {'\\', 'x', digits[p[i] >> 4], digits[p[i] & 15]};
        }
    }
    return text;
}

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

// The walk reads a header only where the image holds it: a file cut short
// inside one gets the "data" message, since the walk did not reach the
// samples. A chunk may not claim more bytes than the file holds, and the
// format must describe samples that can be decoded and paced.
bool wave_t::load(const char* path)
{
    image.clear();
    errno = 0;
    if (!path || !image.load(0, path)) {
        const int why = errno;
        std::string line = "cannot read the file";
        if (why)
            line += std::string(": ") + std::strerror(why);
        return refuse(path, line + ".");
    }
    const unsigned char* const base = image.begin();
    const std::uint64_t size = image.size();
    const auto here = [&] { return base + std::min(pos, size); };
    const auto has = [&](std::uint64_t bytes) { return pos <= size && bytes <= size - pos; };
    // The chunk whose header is at `pos` holds what its size word claims.
    const auto claimed = [&] {
        const std::uint32_t claim = le32(here() + 4);
        if (claim <= size - pos - 8)
            return true;
        std::ostringstream line;
        line << '"' << printable(here()) << "\" chunk at byte " << pos << " claims " << claim
             << " bytes, the file holds " << size - pos - 8 << " after its header.";
        return refuse(path, line.str());
    };

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
    if (!has(8))
        return fail(path, not_data);
    if (!claimed())
        return false;
    if (const std::string wrong = checkformat(); !wrong.empty())
        return refuse(path, "\"fmt \" chunk at byte 12: " + wrong);

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
            if (!claimed())
                return false;
            pos += 8 + std::uint64_t(le32(*chunk.at + 4));
        }
    }

    data = here();
    if (!has(8) || std::memcmp(data, "data", 4) != 0)
        return fail(path, not_data);
    if (!claimed())
        return false;
    pos += 8;
    avg_bytes = fc().avg_bytes_per_sec;
    free();
    decoder = decoder_dispatch(this);
    return true;
}

// What is wrong with the format chunk at `fmt`, whose header and claimed
// size the image holds; empty when nothing is.
std::string wave_t::checkformat() const
{
    const std::uint32_t bytes = le32(fmt + 4);
    std::ostringstream wrong;
    if (bytes < 16) {
        wrong << bytes << " bytes, fewer than the 16 every format needs.";
        return wrong.str();
    }
    const fmtchunk_t f = readfmt(fmt);
    const std::uint16_t tag = f.tag == tag_extensible && bytes >= 40 ? le16(fmt + 32) : f.tag;
    if (f.tag == tag_extensible && bytes < 40)
        wrong << bytes << " bytes, fewer than the 40 of an extensible format.";
    else if (tag == tag_imaadpcm && bytes < 20)
        wrong << bytes << " bytes, fewer than the 20 of IMA ADPCM.";
    else if (f.channels == 0)
        wrong << "0 channels.";
    else if (f.channels > max_channels)
        wrong << f.channels << " channels, more than " << max_channels << ".";
    else if (f.samples_per_sec < min_rate || f.samples_per_sec > max_rate)
        wrong << "sample rate " << f.samples_per_sec << ", not within " << min_rate << " to "
              << max_rate << ".";
    else if (f.bits == 0)
        wrong << "0 bits per sample.";
    else if (f.blk_size == 0)
        wrong << "block align 0.";
    if (!wrong.str().empty())
        return wrong.str();

    if (tag == tag_pcm || tag == tag_float) {
        // One frame: every channel's sample in whole bytes.
        const unsigned frame = f.channels * ((f.bits + 7u) / 8u);
        if (f.blk_size != frame)
            wrong << "block align " << f.blk_size << ", not " << frame << " for " << f.channels
                  << " x " << f.bits << " bits.";
    } else if (tag == tag_imaadpcm) {
        // Each channel's block starts with a 4-byte header (one sample); the
        // rest holds two 4-bit samples a byte, spread over the channels.
        const unsigned header = 4u * f.channels;
        const unsigned samples = le16(fmt + 26);
        if (f.blk_size < header) {
            wrong << "IMA ADPCM block align " << f.blk_size << ", smaller than its header of "
                  << header << " bytes.";
        } else if (const unsigned fits = (f.blk_size - header) * 2u / f.channels + 1u;
                   samples != fits) {
            wrong << "IMA ADPCM " << samples << " samples per block, block align " << f.blk_size
                  << " holds " << fits << ".";
        }
    }
    return wrong.str();
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
        std::cerr << printable(image.begin() + pos, std::min<std::uint64_t>(4, size - pos));
    std::cerr << message << std::endl;
    return false;
}

// path: what is wrong.
bool wave_t::refuse(const char* path, const std::string& message)
{
    basekit::error();
    std::cerr << (path ? path : "(no name)") << ": " << message << std::endl;
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
