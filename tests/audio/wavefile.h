// Helpers for the audio tests: WAVE files built byte by byte, a private
// temporary directory, and a capture of a standard stream.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
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
                 std::uint16_t blk, bytes extra = {})
{
    bytes b;
    put(put(put(put(put(put(b, tag, 2), channels, 2), rate, 4), rate * blk, 4), blk, 2), bits, 2);
    b.insert(b.end(), extra.begin(), extra.end());
    return chunk("fmt ", b);
}

// The extensible tail (its size word, then 22 bytes) whose sub-format starts
// with `subtag`; `samples` is the valid bits or the samples per block.
inline bytes extensible(unsigned char subtag, std::uint16_t samples = 0)
{
    bytes b{22, 0, static_cast<unsigned char>(samples), static_cast<unsigned char>(samples >> 8), 3, 0, 0, 0, subtag};
    b.resize(24);
    return b;
}

inline bytes riff(std::initializer_list<bytes> chunks)
{
    bytes body{'W', 'A', 'V', 'E'};
    for (const bytes& c : chunks)
        body.insert(body.end(), c.begin(), c.end());
    return chunk("RIFF", body);
}

// IMA ADPCM in 256-byte blocks (505 samples per channel for mono); the data
// start at byte 48.
inline bytes adpcmfile(std::uint32_t rate, const bytes& data, std::uint16_t channels = 1, std::uint16_t bits = 4)
{
    bytes extra{2, 0};
    put(extra, (256 - 4 * channels) * 2 / channels + 1, 2);
    return riff({fmt(17, channels, rate, bits, 256, extra), chunk("data", data)});
}

struct tempdir {
    char name[24] = "/tmp/sndkit-test-XXXXXX";
    const std::string path = mkdtemp(name) ? name : "/nonexistent";
    ~tempdir() { std::filesystem::remove_all(path); }
    std::string write(const std::string& file, const bytes& b) const
    {
        std::ofstream(path + "/" + file, std::ios::binary).write(reinterpret_cast<const char*>(b.data()), b.size());
        return path + "/" + file;
    }
};

// What is written to a stream while it lives; buffer and state are put back.
struct capture {
    std::ostream& stream;
    std::ostringstream text;
    std::ios::iostate state;
    std::streambuf* old;
    explicit capture(std::ostream& s) : stream(s), state(s.rdstate()), old(s.rdbuf(text.rdbuf())) {}
    ~capture() { stream.rdbuf(old), stream.clear(state); }
};

// The reader without a player.
struct plainwave : sndkit::wave_t {
    bool load(const char* path) override { return wave_t::load(path); }
};

} // namespace wavefile
