// musicstream_t: a music track read from its file a block at a time
// (libsndfile: WAV, FLAC, Ogg Vorbis and Opus, MP3 where supported), brought
// to the engine's rate by libsamplerate, as stereo floats. Memory stays
// bounded however long the track; positions before and after it read silence.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct sf_private_tag;
struct SRC_STATE_tag;

namespace sndkit {

// What a track holds, as read from its header.
struct musicinfo_t {
    std::string format;    // e.g. "FLAC", "OGG (Opus)"
    int rate = 0;          // the file's sample rate
    int channels = 0;
    std::int64_t frames = 0; // at the file's rate
    double seconds() const { return rate > 0 ? static_cast<double>(frames) / rate : 0.0; }
};

class musicstream_t {
public:
    musicstream_t() = default;
    ~musicstream_t();
    musicstream_t(const musicstream_t&) = delete;
    musicstream_t& operator=(const musicstream_t&) = delete;

    // Opens `path` for output at `rate` frames a second. False with the
    // reason (without the path) in `message`; the stream is then closed.
    bool open(const char* path, int rate, std::string& message);
    void close();
    bool isopen() const { return m_file != nullptr; }

    const musicinfo_t& info() const { return m_info; }
    // The track's length in output frames.
    std::int64_t frames() const { return m_frames; }
    // The output frame the next read starts at.
    std::int64_t position() const { return m_position; }

    // Moves to output frame `frame`; any value, negative too.
    bool seek(std::int64_t frame);
    // Fills `frames` stereo frames (2 floats each) from the position on and
    // advances it. Outside the track the frames are silent. False when the
    // file fails to read; the rest of `out` is then silent.
    bool read(float* out, std::size_t frames);

private:
    static long feed(void* self, float** data);
    bool decode(float* out, std::size_t frames);

    sf_private_tag* m_file = nullptr;
    SRC_STATE_tag* m_src = nullptr;
    musicinfo_t m_info;
    int m_rate = 0;
    double m_ratio = 1.0;
    std::int64_t m_frames = 0;
    std::int64_t m_position = 0;
    bool m_decoded = false;          // the decoder sits at m_position
    std::vector<float> m_in;         // one block at the file's rate, its channels
    std::vector<float> m_out;        // one block at the output rate, its channels
    bool m_failed = false;
};

// Reads a track's header only. False with the reason in `message`.
bool probemusic(const char* path, musicinfo_t& info, std::string& message);

// Opens a track for reading at its own rate, checked as every use of it
// needs (channels, rate, length, seeking); close it with sf_close. Null with
// the reason (without the path) in `message`.
sf_private_tag* opentrack(const char* path, musicinfo_t& info, std::string& message);

} // namespace sndkit
