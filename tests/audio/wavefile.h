// Helpers for the audio tests: WAVE files built byte by byte, a private
// temporary directory, and a capture of a standard stream.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "audio/wave.h"

namespace wavefile {

using bytes = std::vector<unsigned char>;

// Appends `v` little-endian in `width` bytes.
inline bytes& put(bytes& b, std::uint32_t v, int width)
{
    for (int i = 0; i < width; ++i)
        b.push_back(static_cast<unsigned char>(v >> (8 * i)));
    return b;
}

inline bytes chunk(const char* id, const bytes& body)
{
    bytes b(id, id + 4);
    put(b, static_cast<std::uint32_t>(body.size()), 4);
    b.insert(b.end(), body.begin(), body.end());
    return b;
}

// A format chunk; `extra` follows the 16 standard bytes.
inline bytes fmt(std::uint16_t tag, std::uint16_t channels, std::uint32_t rate, std::uint16_t bits,
                 std::uint16_t blk, const bytes& extra = {})
{
    bytes b;
    put(put(put(put(put(put(b, tag, 2), channels, 2), rate, 4), rate * blk, 4), blk, 2), bits, 2);
    b.insert(b.end(), extra.begin(), extra.end());
    return chunk("fmt ", b);
}

// The extensible tail (22 bytes) whose sub-format starts with `subtag`.
inline bytes extensible(std::uint16_t subtag)
{
    bytes b;
    put(put(put(put(b, 22, 2), 0, 2), 3, 4), subtag, 2);
    b.resize(b.size() + 14);
    return b;
}

// The IMA ADPCM tail: extra size 2, 505 samples per 256-byte block.
inline bytes imaextra()
{
    bytes b;
    return put(put(b, 2, 2), 505, 2);
}

inline bytes riff(std::initializer_list<bytes> chunks)
{
    bytes body{'W', 'A', 'V', 'E'};
    for (const bytes& c : chunks)
        body.insert(body.end(), c.begin(), c.end());
    return chunk("RIFF", body);
}

inline bytes pcm16(const std::vector<std::int16_t>& samples)
{
    bytes b;
    for (std::int16_t s : samples)
        put(b, static_cast<std::uint16_t>(s), 2);
    return b;
}

// 256-byte IMA ADPCM blocks whose codes are all 0 at step index 0: each
// decodes to its header sample repeated, so the samples show which bytes
// were decoded. Cut or padded with zeros to `total` bytes.
inline bytes flatblocks(const std::vector<std::int16_t>& headers, std::size_t total)
{
    bytes data;
    for (std::int16_t h : headers)
        put(data, static_cast<std::uint16_t>(h), 2).resize(data.size() + 254);
    data.resize(total);
    return data;
}

// Mono unless told otherwise; the data starts at byte 48.
inline bytes adpcmfile(std::uint32_t rate, const bytes& data, std::uint16_t channels = 1)
{
    return riff({fmt(17, channels, rate, 4, 256, imaextra()), chunk("data", data)});
}

struct tempdir {
    std::string path;
    tempdir()
    {
        char pattern[] = "/tmp/sndkit-test-XXXXXX";
        path = mkdtemp(pattern) ? pattern : "/nonexistent";
    }
    ~tempdir() { std::filesystem::remove_all(path); }
    std::string write(const std::string& name, const bytes& b) const
    {
        std::ofstream(path + "/" + name, std::ios::binary)
            .write(reinterpret_cast<const char*>(b.data()), static_cast<std::streamsize>(b.size()));
        return path + "/" + name;
    }
};

// What is written to a stream while it lives; buffer and state are put back.
struct capture {
    std::ostream& stream;
    std::ostringstream text;
    std::ios::iostate state;
    std::streambuf* old;
    explicit capture(std::ostream& s) : stream(s), state(s.rdstate()), old(s.rdbuf(text.rdbuf())) {}
    ~capture()
    {
        stream.rdbuf(old);
        stream.clear(state);
    }
    std::string str() const { return text.str(); }
};

// The reader without a player.
struct plainwave : sndkit::wave_t {
    bool load(const char* path) override { return wave_t::load(path); }
    std::ptrdiff_t at(const unsigned char* p) const { return p - image.begin(); }
};

} // namespace wavefile
