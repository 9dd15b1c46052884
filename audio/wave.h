// wave_t: one RIFF/WAVE sound file held whole in memory, with pointers to its
// chunks, the decoder that fits its format and the clip's length. It is also
// the interface of the sound player (xaudio2_t), which overrides load, play,
// stop and listdevices.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "audio/decoder.h"
#include "audio/wavestruct.h"
#include "utils/alloc_new.h"
#include "utils/ofsvector.h"

namespace sndkit {

// The formats the reader takes: rates an output voice can play, and as many
// channels as one can carry. A rate far below them would also make a small
// file pace its decode thread for hours.
constexpr std::uint32_t min_rate = 1000;
constexpr std::uint32_t max_rate = 200000;
constexpr std::uint16_t max_channels = 64;

class wave_t {
public:
    wave_t() = default;
    wave_t(const wave_t&) = delete;
    wave_t& operator=(const wave_t&) = delete;

    // Reads the file and walks its chunks; one line on standard error and
    // false when it is not a WAVE file this reader can walk: a chunk that
    // claims more bytes than the file holds, or a format without channels,
    // bits, block align or a playable rate, or whose block align disagrees
    // with its channels and bits (IMA ADPCM: with its samples per block).
    virtual bool load(const char* path) = 0;
    // Stores `loop` and clears `stopped`; starts nothing itself.
    virtual bool play(bool loop);
    // Sets `stopped`. A bare wave_t starts no thread, so nothing is joined.
    virtual bool stop();
    virtual bool listdevices();
    virtual ~wave_t();

    // Length of the clip in milliseconds, counted from the data chunk's
    // declared size (every nibble of a 4-bit file, block headers included);
    // 0 for a format with no channels, bits or rate.
    std::uint64_t msec() const;
    // Destroys the decoder.
    void free();

    fmtchunk_t fc() const { return readfmt(fmt); }
    // The format tag, or the sub-format's first 16 bits for an extensible file.
    std::uint16_t formattag() const;
    // Samples per block of an IMA ADPCM file (the second word after the
    // standard format bytes); 0 when the file ends before it.
    std::uint16_t samplesperblock() const;
    // The data chunk's size as declared.
    std::uint32_t datasize() const { return le32(data + 4); }
    // The declared size, cut to the bytes the image really holds after `pos`.
    std::uint64_t databytes() const;

    // Positions inside `image`, valid after a load got as far as each.
    const unsigned char* riff = nullptr;
    const unsigned char* wave = nullptr;
    const unsigned char* fmt = nullptr;
    const unsigned char* fmtx = nullptr;      // the bytes after the 16 standard format bytes
    const unsigned char* fmtx_ext = nullptr;  // the same bytes, read as the extensible tail
    const unsigned char* pad = nullptr;
    const unsigned char* fact = nullptr;
    const unsigned char* list = nullptr;
    const unsigned char* data = nullptr;      // the "data" chunk header

    basekit::ofsvector<unsigned char, basekit::alloc_new> image;
    std::uint64_t pos = 0;  // after a load: offset of the first sample byte
    // Written by the main thread, read by decode threads.
    std::atomic<bool> loop{false};
    // Set until the first play, so that stop has nothing to wait for.
    std::atomic<bool> stopped{true};
    std::uint32_t avg_bytes = 0;
    std::unique_ptr<decoder_t> decoder;

private:
    bool fail(const char* path, const char* message);
    bool refuse(const char* path, const std::string& message);
    std::string checkformat() const;
    bool holds(const unsigned char* p, std::uint64_t bytes) const;
};

} // namespace sndkit
