// Helpers for the audio tests: RIFF/WAVE files built byte by byte, a private
// temporary directory, and a capture of what the library writes to
// standard error or standard output.
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

inline void put16(bytes& b, std::uint16_t v)
{
    b.push_back(static_cast<unsigned char>(v & 0xff));
    b.push_back(static_cast<unsigned char>(v >> 8));
}

inline void put32(bytes& b, std::uint32_t v)
{
    put16(b, static_cast<std::uint16_t>(v & 0xffff));
    put16(b, static_cast<std::uint16_t>(v >> 16));
}

inline void puttext(bytes& b, const char* four)
{
    b.insert(b.end(), four, four + 4);
}

// A chunk: identifier, size of `body`, body.
inline bytes chunk(const char* id, const bytes& body)
{
    bytes b;
    puttext(b, id);
    put32(b, static_cast<std::uint32_t>(body.size()));
    b.insert(b.end(), body.begin(), body.end());
    return b;
}

// A format chunk; `extra` follows the 16 standard bytes and counts in its size.
inline bytes fmt(std::uint16_t tag, std::uint16_t channels, std::uint32_t rate, std::uint16_t bits,
                 std::uint16_t blk, const bytes& extra = {})
{
    bytes body;
    put16(body, tag);
    put16(body, channels);
    put32(body, rate);
    put32(body, rate * blk);
    put16(body, blk);
    put16(body, bits);
    body.insert(body.end(), extra.begin(), extra.end());
    return chunk("fmt ", body);
}

// The extensible tail: extra size 22, valid bits, channel mask, and a
// sub-format identifier whose first 16 bits are `subtag`.
inline bytes extensible(std::uint16_t validbits, std::uint16_t subtag)
{
    bytes b;
    put16(b, 22);
    put16(b, validbits);
    put32(b, 3);
    put16(b, subtag);
    const unsigned char rest[14] = {0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x80, 0x00,
                                    0x00, 0xaa, 0x00, 0x38, 0x9b, 0x71};
    b.insert(b.end(), rest, rest + 14);
    return b;
}

// "RIFF", the size of what follows, "WAVE" and the chunks in order.
inline bytes riff(std::initializer_list<bytes> chunks)
{
    bytes body;
    puttext(body, "WAVE");
    for (const bytes& c : chunks)
        body.insert(body.end(), c.begin(), c.end());
    return chunk("RIFF", body);
}

inline bytes samples16(const std::vector<std::int16_t>& s)
{
    bytes b;
    for (std::int16_t v : s)
        put16(b, static_cast<std::uint16_t>(v));
    return b;
}

// IMA ADPCM blocks of 256 bytes whose codes are all 0 at step index 0: each
// block then decodes to its header sample repeated, which shows exactly
// which samples the decoder produced.
inline bytes flatblocks(const std::vector<std::int16_t>& headers, std::size_t total)
{
    bytes data;
    for (std::int16_t h : headers) {
        put16(data, static_cast<std::uint16_t>(h));
        data.push_back(0);
        data.push_back(0);
        data.resize(data.size() + 252, 0);
    }
    data.resize(total, 0);
    return data;
}

inline bytes adpcmfile(std::uint32_t rate, const bytes& data, std::uint16_t channels = 1)
{
    bytes extra;
    put16(extra, 2);
    put16(extra, 505);
    return riff({fmt(17, channels, rate, 4, 256, extra), chunk("data", data)});
}

// A fresh directory for one test, removed with its contents.
struct tempdir {
    std::string path;
    tempdir()
    {
        char pattern[] = "/tmp/sndkit-test-XXXXXX";
        path = mkdtemp(pattern) ? pattern : "/nonexistent";
    }
    ~tempdir() { std::filesystem::remove_all(path); }
    tempdir(const tempdir&) = delete;
    tempdir& operator=(const tempdir&) = delete;

    std::string write(const std::string& name, const bytes& b) const
    {
        const std::string file = path + "/" + name;
        std::ofstream(file, std::ios::binary).write(reinterpret_cast<const char*>(b.data()),
                                                    static_cast<std::streamsize>(b.size()));
        return file;
    }
};

// Collects what is written to `stream` while it lives, and leaves the
// stream's buffer and state as they were.
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
    capture(const capture&) = delete;
    capture& operator=(const capture&) = delete;
    std::string str() const { return text.str(); }
};

// A bare wave_t: the reader without a player.
struct plainwave : sndkit::wave_t {
    bool load(const char* path) override { return wave_t::load(path); }
};

// The offset of a pointer into a wave's image.
inline std::ptrdiff_t offset(const sndkit::wave_t& w, const unsigned char* p)
{
    return p - w.image.begin();
}

} // namespace wavefile
