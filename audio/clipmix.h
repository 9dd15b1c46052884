// Sound clips placed on exact frames of a stereo stream and mixed into it a
// block at a time: the burst sounds of a render's track and of a show's
// music as it plays. Blocks may come in any order, so a playing stream can
// move; each clip is added in the order of its frame.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace sndkit {

// A sound at the stream's rate, two channels interleaved.
struct clip_t {
    std::vector<float> samples;
    std::size_t frames() const { return samples.size() / 2; }
};

// Reads a WAVE file with the project's reader and decoders and brings it to
// `rate` frames a second, stereo (a mono sound on both sides, channels past
// the second left out). False with one line "PATH: what is wrong" in `message`.
bool loadclip(const std::string& path, int rate, clip_t& clip, std::string& message);

class clipmix_t {
public:
    // Places `clip` times `gain` from frame `at` on; a negative `at` leaves
    // only the clip's tail. The clip must live as long as the mix.
    void add(const clip_t& clip, std::int64_t at, float gain = 1.0f);
    void clear();
    bool empty() const { return m_clips.empty(); }

    // Adds what the clips sound in frames [first, first + count) to `into`
    // (interleaved stereo).
    void mix(std::int64_t first, std::size_t count, float* into);

private:
    struct placed_t {
        const clip_t* clip;
        std::int64_t at;
        float gain;
    };
    std::vector<placed_t> m_clips;
    std::int64_t m_longest = 0;
    bool m_sorted = true;
};

} // namespace sndkit
