// The format chunk of a RIFF/WAVE file as the file lays it out, and the
// little-endian readers the audio library uses to take values out of a file
// image without caring how the image is aligned.
#pragma once

#include <cstdint>

namespace sndkit {

// Format tags that the library tells apart.
enum : std::uint16_t {
    tag_pcm = 1,
    tag_float = 3,
    tag_imaadpcm = 17,
    tag_extensible = 65534,
};

inline std::uint16_t le16(const unsigned char* p)
{
    return static_cast<std::uint16_t>(p[0] | p[1] << 8);
}

inline std::uint32_t le32(const unsigned char* p)
{
    return std::uint32_t(p[0]) | std::uint32_t(p[1]) << 8 | std::uint32_t(p[2]) << 16 |
           std::uint32_t(p[3]) << 24;
}

// The "fmt " chunk header and its 16 standard bytes.
struct fmtchunk_t {
    std::uint32_t size = 0;             // chunk size; more than 16 when extra bytes follow
    std::uint16_t tag = 0;              // format tag as written (65534 for extensible)
    std::uint16_t channels = 0;
    std::uint32_t samples_per_sec = 0;
    std::uint32_t avg_bytes_per_sec = 0;
    std::uint16_t blk_size = 0;         // block align
    std::uint16_t bits = 0;             // bits per sample
};

// Reads the record whose "fmt " header starts at `p` (36 bytes must be there).
inline fmtchunk_t readfmt(const unsigned char* p)
{
    fmtchunk_t f;
    f.size = le32(p + 4);
    f.tag = le16(p + 8);
    f.channels = le16(p + 10);
    f.samples_per_sec = le32(p + 12);
    f.avg_bytes_per_sec = le32(p + 16);
    f.blk_size = le16(p + 20);
    f.bits = le16(p + 22);
    return f;
}

} // namespace sndkit
