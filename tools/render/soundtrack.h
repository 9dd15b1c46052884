// The render's sound track: stereo 48 kHz, mixed in floating point from
// clips placed on exact samples (the same mix as a show's music playing
// live) and the show's streamed music, kept free of clipping by a limiter,
// and written as a WAVE file a block at a time.
#pragma once

#include "audio/clipmix.h"
#include "audio/musicstream.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vexlor {

constexpr int k_soundrate = 48000;

// The whole track of a render, made a block at a time, so that its memory
// stays the same however long the render.
class soundtrack_t {
public:
    // A silent track of `frames` sample frames.
    explicit soundtrack_t(std::size_t frames) : m_frames(frames) {}

    // Adds `clip` times `gain` from sample frame `at` on; a negative `at`
    // leaves only the clip's tail, one past the end nothing. The clip is
    // read when the track is made and must live until then.
    void add(const sndkit::clip_t& clip, std::int64_t at, float gain = 1.0f);

    // Mixes the music track at `path` in, times `gain`, for a track that
    // starts at `from` seconds of show time: the music's first sample,
    // played at show time `offset`, lands on frame round((offset - from) *
    // 48000). The file is opened now and streamed while the track is made.
    // False with the reason in `message`.
    bool music(const std::string& path, double offset, double gain, double from, std::string& message);

    // Makes the track and hands it over in order, a block of interleaved
    // frames at a time. Every peak is brought to at most `ceiling`, the gain
    // falling just ahead of a peak and recovering after it, so nothing clips
    // and nothing clicks. Made once. False with one line in `message` when
    // the music cannot be read or `out` fails.
    using blockfunc_t = std::function<bool(const float* samples, std::size_t frames)>;
    bool make(const blockfunc_t& out, std::string& message, float ceiling = 0.98f);

    // make() into a WAVE file, 16-bit PCM.
    bool write(const std::string& path, std::string& message, float ceiling = 0.98f);

    // Asked before each block that make() mixes: true stops it, with the
    // message "stopped".
    void stopwhen(std::function<bool()> stop) { m_stop = std::move(stop); }

    std::size_t frames() const { return m_frames; }
    // The smallest gain make() applied (1: the mix was left as it was).
    float smallestgain() const { return m_smallest; }

private:
    // Adds what sounds in frames [first, first + count) to `into`.
    bool mix(std::int64_t first, std::size_t count, float* into);

    std::size_t m_frames = 0;
    sndkit::clipmix_t m_clips;
    std::unique_ptr<sndkit::musicstream_t> m_music;
    std::string m_musicpath;
    float m_musicgain = 1.0f;
    std::vector<float> m_musicblock;
    float m_smallest = 1.0f;
    std::function<bool()> m_stop;
};

} // namespace vexlor
