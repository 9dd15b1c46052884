// Clips from WAVE files (sndkit decodes, libsamplerate converts the rate), the
// mix with its limiter, and the WAVE writer (libsndfile).
#include "tools/render/soundtrack.h"

#include "audio/wave.h"

#include <samplerate.h>
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vexlor {
namespace {

class wavefile_t : public sndkit::wave_t {
public:
    bool load(const char* path) override { return wave_t::load(path); }
};

// Collects what the decoder sends, in order.
class collect_t : public sndkit::send_t {
public:
    bool send(const void* data, unsigned long long bytes) override
    {
        const auto* p = static_cast<const unsigned char*>(data);
        m_bytes.insert(m_bytes.end(), p, p + bytes);
        return true;
    }
    void keep(std::shared_ptr<const void>) override {}
    const std::vector<unsigned char>& bytes() const { return m_bytes; }

private:
    std::vector<unsigned char> m_bytes;
};

constexpr std::uint16_t k_tag_pcm = 1;
constexpr std::uint16_t k_tag_float = 3;

// Little-endian sample bytes to floats from -1 to 1.
bool tofloat(const std::vector<unsigned char>& bytes, std::uint16_t tag, unsigned bits,
             std::vector<float>& out)
{
    const unsigned size = bits / 8;
    if (size == 0 || bits % 8 != 0) return false;
    const std::size_t count = bytes.size() / size;
    out.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        const unsigned char* p = &bytes[i * size];
        if (tag == k_tag_float && bits == 32) {
            std::uint32_t u = p[0] | p[1] << 8 | p[2] << 16 | std::uint32_t(p[3]) << 24;
            float f;
            std::memcpy(&f, &u, 4);
            out[i] = f;
        } else if (tag == k_tag_float && bits == 64) {
            std::uint64_t u = 0;
            for (int b = 7; b >= 0; --b) u = u << 8 | p[b];
            double d;
            std::memcpy(&d, &u, 8);
            out[i] = static_cast<float>(d);
        } else if (tag != k_tag_float && bits == 8) {
            out[i] = (static_cast<int>(p[0]) - 128) / 128.0f; // 8-bit PCM is unsigned
        } else if (tag != k_tag_float && bits <= 32) {
            std::uint32_t u = 0;
            for (int b = static_cast<int>(size) - 1; b >= 0; --b) u = u << 8 | p[b];
            u <<= 32 - bits; // sign in the top bit
            out[i] = static_cast<float>(static_cast<std::int32_t>(u) / 2147483648.0);
        } else {
            return false;
        }
    }
    return true;
}

} // namespace

bool loadclip(const std::string& path, clip_t& clip, std::string& message)
{
    wavefile_t wave;
    if (!wave.load(path.c_str())) {
        message = path + ": cannot read the sound";
        return false;
    }
    const sndkit::fmtchunk_t format = wave.fc();
    const unsigned channels = format.channels;
    if (channels == 0 || format.samples_per_sec == 0) {
        message = path + ": no channels or no sample rate";
        return false;
    }
    collect_t sink;
    wave.play(false);
    if (!wave.decoder->decoding(&sink)) {
        message = path + ": cannot decode the sound";
        return false;
    }
    std::vector<float> decoded;
    const unsigned bits = wave.decoder->bits();
    const std::uint16_t tag = bits == format.bits ? wave.formattag() : k_tag_pcm;
    if (!tofloat(sink.bytes(), tag, bits, decoded)) {
        message = path + ": sample format not supported";
        return false;
    }
    const std::size_t frames = decoded.size() / channels;
    decoded.resize(frames * channels);

    // To 48 kHz, every channel at once.
    std::vector<float> resampled;
    if (format.samples_per_sec == k_soundrate) {
        resampled = std::move(decoded);
    } else {
        const double ratio = static_cast<double>(k_soundrate) / format.samples_per_sec;
        resampled.resize(static_cast<std::size_t>(std::ceil(frames * ratio)) * channels + channels);
        SRC_DATA data{};
        data.data_in = decoded.data();
        data.input_frames = static_cast<long>(frames);
        data.data_out = resampled.data();
        data.output_frames = static_cast<long>(resampled.size() / channels);
        data.src_ratio = ratio;
        if (const int error = src_simple(&data, SRC_SINC_BEST_QUALITY, static_cast<int>(channels))) {
            message = path + ": " + src_strerror(error);
            return false;
        }
        resampled.resize(static_cast<std::size_t>(data.output_frames_gen) * channels);
    }

    // Stereo: a mono sound goes to both sides, further channels are left out.
    const std::size_t outframes = resampled.size() / channels;
    clip.samples.resize(outframes * 2);
    for (std::size_t i = 0; i < outframes; ++i) {
        clip.samples[2 * i] = resampled[i * channels];
        clip.samples[2 * i + 1] = resampled[i * channels + (channels > 1 ? 1 : 0)];
    }
    return true;
}

void soundtrack_t::add(const clip_t& clip, std::int64_t at, float gain)
{
    const auto length = static_cast<std::int64_t>(clip.frames());
    if (length == 0 || at >= static_cast<std::int64_t>(m_frames) || at + length <= 0) return;
    m_clips.push_back({&clip, at, gain});
    m_longestclip = std::max(m_longestclip, length);
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
    const std::int64_t end = first + static_cast<std::int64_t>(count);
    // Blocks come in order: clips that ended before this one are done with.
    while (m_nextclip < m_clips.size() && m_clips[m_nextclip].at + m_longestclip <= first) ++m_nextclip;
    for (std::size_t k = m_nextclip; k < m_clips.size() && m_clips[k].at < end; ++k) {
        const placed_t& placed = m_clips[k];
        const std::vector<float>& samples = placed.clip->samples;
        const std::int64_t from = std::max(first, placed.at);
        const std::int64_t to = std::min(end, placed.at + static_cast<std::int64_t>(placed.clip->frames()));
        for (std::int64_t frame = from; frame < to; ++frame) {
            const auto out = static_cast<std::size_t>(frame - first) * 2;
            const auto in = static_cast<std::size_t>(frame - placed.at) * 2;
            into[out] += placed.gain * samples[in];
            into[out + 1] += placed.gain * samples[in + 1];
        }
    }
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

    std::stable_sort(m_clips.begin(), m_clips.end(),
                     [](const placed_t& a, const placed_t& b) { return a.at < b.at; });
    m_nextclip = 0;
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
