// Clips from WAVE files (sndkit decodes, libsamplerate converts the rate)
// and their mix: the clips in order of their frames, those that can reach a
// block found by a binary search.
#include "audio/clipmix.h"

#include "audio/wave.h"

#include <samplerate.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace sndkit {
namespace {

class wavefile_t : public wave_t {
public:
    bool load(const char* path) override { return wave_t::load(path); }
};

// Collects what the decoder sends, in order.
class collect_t : public send_t {
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

// Little-endian sample bytes to floats from -1 to 1.
bool tofloat(const std::vector<unsigned char>& bytes, std::uint16_t tag, unsigned bits, std::vector<float>& out)
{
    const unsigned size = bits / 8;
    if (size == 0 || bits % 8 != 0) return false;
    const std::size_t count = bytes.size() / size;
    out.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        const unsigned char* p = &bytes[i * size];
        if (tag == tag_float && bits == 32) {
            std::uint32_t u = p[0] | p[1] << 8 | p[2] << 16 | std::uint32_t(p[3]) << 24;
            float f;
            std::memcpy(&f, &u, 4);
            out[i] = f;
        } else if (tag == tag_float && bits == 64) {
            std::uint64_t u = 0;
            for (int b = 7; b >= 0; --b) u = u << 8 | p[b];
            double d;
            std::memcpy(&d, &u, 8);
            out[i] = static_cast<float>(d);
        } else if (tag != tag_float && bits == 8) {
            out[i] = (static_cast<int>(p[0]) - 128) / 128.0f; // 8-bit PCM is unsigned
        } else if (tag != tag_float && bits <= 32) {
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

bool loadclip(const std::string& path, int rate, clip_t& clip, std::string& message)
{
    wavefile_t wave;
    if (!wave.load(path.c_str())) {
        message = path + ": cannot read the sound";
        return false;
    }
    const fmtchunk_t format = wave.fc();
    const unsigned channels = format.channels;
    if (channels == 0 || format.samples_per_sec == 0 || rate <= 0) {
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
    const std::uint16_t tag = bits == format.bits ? wave.formattag() : std::uint16_t{tag_pcm};
    if (!tofloat(sink.bytes(), tag, bits, decoded)) {
        message = path + ": sample format not supported";
        return false;
    }
    const std::size_t frames = decoded.size() / channels;
    decoded.resize(frames * channels);

    // To the stream's rate, every channel at once.
    std::vector<float> resampled;
    if (format.samples_per_sec == static_cast<std::uint32_t>(rate)) {
        resampled = std::move(decoded);
    } else {
        const double ratio = static_cast<double>(rate) / format.samples_per_sec;
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

    const std::size_t outframes = resampled.size() / channels;
    clip.samples.resize(outframes * 2);
    for (std::size_t i = 0; i < outframes; ++i) {
        clip.samples[2 * i] = resampled[i * channels];
        clip.samples[2 * i + 1] = resampled[i * channels + (channels > 1 ? 1 : 0)];
    }
    return true;
}

void clipmix_t::add(const clip_t& clip, std::int64_t at, float gain)
{
    const auto length = static_cast<std::int64_t>(clip.frames());
    if (length == 0) return;
    if (!m_clips.empty() && at < m_clips.back().at) m_sorted = false;
    m_clips.push_back({&clip, at, gain});
    m_longest = std::max(m_longest, length);
}

void clipmix_t::clear()
{
    m_clips.clear();
    m_longest = 0;
    m_sorted = true;
}

void clipmix_t::mix(std::int64_t first, std::size_t count, float* into)
{
    if (!m_sorted) {
        std::stable_sort(m_clips.begin(), m_clips.end(), [](const placed_t& a, const placed_t& b) { return a.at < b.at; });
        m_sorted = true;
    }
    const std::int64_t end = first + static_cast<std::int64_t>(count);
    // Clips that began a longest clip ago or more have ended before `first`.
    auto k = std::upper_bound(m_clips.begin(), m_clips.end(), first - m_longest,
                              [](std::int64_t frame, const placed_t& placed) { return frame < placed.at; });
    for (; k != m_clips.end() && k->at < end; ++k) {
        const std::vector<float>& samples = k->clip->samples;
        const std::int64_t from = std::max(first, k->at);
        const std::int64_t to = std::min(end, k->at + static_cast<std::int64_t>(k->clip->frames()));
        for (std::int64_t frame = from; frame < to; ++frame) {
            const auto out = static_cast<std::size_t>(frame - first) * 2;
            const auto in = static_cast<std::size_t>(frame - k->at) * 2;
            into[out] += k->gain * samples[in];
            into[out + 1] += k->gain * samples[in + 1];
        }
    }
}

} // namespace sndkit
