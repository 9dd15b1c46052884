// The render's sound track: stereo 48 kHz, mixed in floating point from
// clips placed on exact samples, kept free of clipping by a limiter, and
// written as a WAVE file. The show's music is streamed into the mix. Any number of sources can be added to a mix.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vexlor {

constexpr int k_soundrate = 48000;

// A sound at 48 kHz, two channels interleaved.
struct clip_t {
    std::vector<float> samples;
    std::size_t frames() const { return samples.size() / 2; }
};

// Reads a WAVE file with the project's reader and decoders and brings it to
// 48 kHz stereo. False with one line "PATH: what is wrong" in `message`.
bool loadclip(const std::string& path, clip_t& clip, std::string& message);

class mixer_t {
public:
    // A silent track of `frames` sample frames.
    explicit mixer_t(std::size_t frames) : m_samples(frames * 2, 0.0f) {}

    // Adds `clip` times `gain` from sample frame `at` on; a negative `at`
    // leaves only the clip's tail, one past the end nothing.
    void add(const clip_t& clip, std::int64_t at, float gain = 1.0f);

    // Brings every peak to at most `ceiling`, with the gain falling ahead of
    // a peak and recovering after it, so nothing clips and nothing clicks.
    // Returns the smallest gain applied (1: the track was left as it was).
    float limit(float ceiling = 0.98f);

    const std::vector<float>& samples() const { return m_samples; }
    std::size_t frames() const { return m_samples.size() / 2; }

private:
    std::vector<float> m_samples;
};

// Mixes the music track at `path` in, times `gain`, for a track that starts
// at `from` seconds of show time: the music's first sample, played at show
// time `offset`, lands on frame round((offset - from) * 48000). The track is
// streamed in blocks. False with the reason in `message`.
bool mixmusic(mixer_t& mixer, const std::string& path, double offset, double gain, double from,
              std::string& message);

// 16-bit PCM stereo at 48 kHz. False with one line in `message`.
bool writewav(const std::string& path, const std::vector<float>& samples, std::string& message);

} // namespace vexlor
