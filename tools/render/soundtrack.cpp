// The mix with its limiter, and the WAVE writer (libsndfile).
#include "tools/render/soundtrack.h"

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vexlor {

void soundtrack_t::add(const sndkit::clip_t& clip, std::int64_t at, float gain)
{
    const auto length = static_cast<std::int64_t>(clip.frames());
    if (length == 0 || at >= static_cast<std::int64_t>(m_frames) || at + length <= 0) return;
    m_clips.add(clip, at, gain);
}

bool soundtrack_t::music(const std::string& path, double offset, double gain, double from, std::string& message)
{
    auto stream = std::make_unique<sndkit::musicstream_t>();
    if (!stream->open(path.c_str(), k_soundrate, message)) return false;
    // Frame 0 of the track plays the music's frame -first; before its first
    // sample and after its last the stream is silent. However far apart the
    // times, the frame stays where a 64-bit count and its negation hold it.
    constexpr double k_far = 4611686018427387904.0; // 2^62 frames: millions of years
    const auto first = static_cast<std::int64_t>(std::llround(std::clamp((offset - from) * k_soundrate, -k_far, k_far)));
    stream->seek(-first);
    m_music = std::move(stream);
    m_musicpath = path;
    m_musicgain = static_cast<float>(gain);
    return true;
}

bool soundtrack_t::mix(std::int64_t first, std::size_t count, float* into)
{
    m_clips.mix(first, count, into);
    if (!m_music) return true;
    m_musicblock.resize(count * 2);
    if (!m_music->read(m_musicblock.data(), count)) return false;
    for (std::size_t i = 0; i < count * 2; ++i) into[i] += m_musicgain * m_musicblock[i];
    return true;
}

bool soundtrack_t::make(const blockfunc_t& out, std::string& message, float ceiling)
{
    // Handed over a block at a time; the limiter looks this far past a
    // block's end, where its 2 ms attack has long died away.
    constexpr std::size_t k_block = 1 << 15;
    constexpr std::size_t k_ahead = 4096;
    // In double: in float the recovery stalls a hair below 1, where each
    // step is smaller than the number can show.
    const double attack = 1.0 - std::exp(-1.0 / (0.002 * k_soundrate));
    const double release = 1.0 - std::exp(-1.0 / (0.080 * k_soundrate));

    m_smallest = 1.0f;
    std::vector<float> window((k_block + k_ahead) * 2);
    std::vector<double> gain(k_block + k_ahead);
    std::size_t have = 0;     // frames of the window mixed, from frame `start` on
    std::int64_t start = 0;
    double before = 1.0;      // the gain of the frame before the window
    const auto total = static_cast<std::int64_t>(m_frames);
    while (start < total) {
        if (m_stop && m_stop()) {
            message = "stopped";
            return false;
        }
        const auto want = static_cast<std::size_t>(std::min<std::int64_t>(k_block + k_ahead, total - start));
        std::fill(window.begin() + static_cast<std::ptrdiff_t>(have * 2),
                  window.begin() + static_cast<std::ptrdiff_t>(want * 2), 0.0f);
        if (!mix(start + static_cast<std::int64_t>(have), want - have, window.data() + have * 2)) {
            message = m_musicpath + ": cannot read the music";
            return false;
        }
        have = want;
        // All of what is left at the end; else a block, with the look-ahead kept.
        const std::size_t done = start + static_cast<std::int64_t>(have) == total ? have : k_block;

        // The gain each frame needs on its own; then the attack, run
        // backwards, and the release, run forwards: each pass only lowers it.
        for (std::size_t i = 0; i < have; ++i) {
            const float peak = std::max(std::fabs(window[2 * i]), std::fabs(window[2 * i + 1]));
            gain[i] = peak > ceiling ? static_cast<double>(ceiling) / peak : 1.0;
        }
        for (std::size_t i = have - 1; i-- > 0;)
            gain[i] = std::min(gain[i], gain[i + 1] + (1.0 - gain[i + 1]) * attack);
        for (std::size_t i = 0; i < done; ++i) {
            gain[i] = std::min(gain[i], before + (1.0 - before) * release);
            before = gain[i];
            const auto g = static_cast<float>(gain[i]);
            m_smallest = std::min(m_smallest, g);
            window[2 * i] *= g;
            window[2 * i + 1] *= g;
        }
        if (!out(window.data(), done)) {
            message = "cannot write the sound";
            return false;
        }
        std::copy(window.begin() + static_cast<std::ptrdiff_t>(done * 2),
                  window.begin() + static_cast<std::ptrdiff_t>(have * 2), window.begin());
        have -= done;
        start += static_cast<std::int64_t>(done);
    }
    return true;
}

bool soundtrack_t::write(const std::string& path, std::string& message, float ceiling)
{
    SF_INFO info{};
    info.samplerate = k_soundrate;
    info.channels = 2;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!file) {
        message = path + ": " + sf_strerror(nullptr);
        return false;
    }
    sf_command(file, SFC_SET_CLIPPING, nullptr, SF_TRUE);
    bool written = true;
    const bool made = make(
        [file, &written](const float* samples, std::size_t frames) {
            const auto count = static_cast<sf_count_t>(frames);
            written = sf_writef_float(file, samples, count) == count;
            return written;
        },
        message, ceiling);
    // The system's reason (a full disk, say) when a write failed, without
    // libsndfile's "System error : " before it.
    std::string reason = written ? std::string() : std::string(sf_strerror(file));
    if (reason.rfind("System error : ", 0) == 0) reason.erase(0, 15);
    if (!reason.empty() && reason.back() == '.') reason.pop_back();
    if (!reason.empty()) reason = " (" + reason + ")";
    const bool closed = sf_close(file) == 0;
    if (!made && !written) message = path + ": cannot write the sound" + reason;
    if (made && !closed) message = path + ": cannot write the sound";
    return made && closed;
}

} // namespace vexlor
