// Clips from WAVE files (sndkit decodes, libsamplerate converts the rate), the
// mix with its limiter, and the WAVE writer (libsndfile).
#include "tools/render/soundtrack.h"

#include "audio/musicstream.h"
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

void mixer_t::add(const clip_t& clip, std::int64_t at, float gain)
{
    const auto length = static_cast<std::int64_t>(frames());
    const auto clipframes = static_cast<std::int64_t>(clip.frames());
    const std::int64_t first = std::max<std::int64_t>(0, -at);
    const std::int64_t last = std::min(clipframes, length - at);
    for (std::int64_t i = first; i < last; ++i) {
        const std::size_t to = static_cast<std::size_t>(at + i) * 2;
        const std::size_t from = static_cast<std::size_t>(i) * 2;
        m_samples[to] += gain * clip.samples[from];
        m_samples[to + 1] += gain * clip.samples[from + 1];
    }
}

float mixer_t::limit(float ceiling)
{
    const std::size_t n = frames();
    if (n == 0) return 1.0f;
    // The gain each frame needs on its own.
    std::vector<float> gain(n);
    float smallest = 1.0f;
    for (std::size_t i = 0; i < n; ++i) {
        const float peak = std::max(std::fabs(m_samples[2 * i]), std::fabs(m_samples[2 * i + 1]));
        gain[i] = peak > ceiling ? ceiling / peak : 1.0f;
        smallest = std::min(smallest, gain[i]);
    }
    if (smallest == 1.0f) return 1.0f;
    // Attack, looking ahead (run backwards): about 2 ms before a peak.
    // Release after it: about 80 ms. Each pass only lowers the gain.
    const float attack = 1.0f - std::exp(-1.0f / (0.002f * k_soundrate));
    const float release = 1.0f - std::exp(-1.0f / (0.080f * k_soundrate));
    for (std::size_t i = n - 1; i-- > 0;)
        gain[i] = std::min(gain[i], gain[i + 1] + (1.0f - gain[i + 1]) * attack);
    for (std::size_t i = 1; i < n; ++i)
        gain[i] = std::min(gain[i], gain[i - 1] + (1.0f - gain[i - 1]) * release);
    for (std::size_t i = 0; i < n; ++i) {
        m_samples[2 * i] *= gain[i];
        m_samples[2 * i + 1] *= gain[i];
    }
    return smallest;
}

bool mixmusic(mixer_t& mixer, const std::string& path, double offset, double gain, double from,
              std::string& message)
{
    sndkit::musicstream_t stream;
    if (!stream.open(path.c_str(), k_soundrate, message)) return false;
    constexpr std::size_t block = 1 << 16;
    const std::int64_t first = std::llround((offset - from) * k_soundrate);
    // The part of the track that falls within the render.
    const std::int64_t begin = std::max<std::int64_t>(0, first);
    const std::int64_t end = std::min<std::int64_t>(static_cast<std::int64_t>(mixer.frames()), first + stream.frames());
    if (begin >= end) return true;
    stream.seek(begin - first);
    clip_t clip;
    for (std::int64_t at = begin; at < end; at += static_cast<std::int64_t>(block)) {
        const auto n = static_cast<std::size_t>(std::min<std::int64_t>(block, end - at));
        clip.samples.resize(n * 2);
        if (!stream.read(clip.samples.data(), n)) {
            message = "cannot read the track";
            return false;
        }
        mixer.add(clip, at, static_cast<float>(gain));
    }
    return true;
}

bool writewav(const std::string& path, const std::vector<float>& samples, std::string& message)
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
    const auto frames = static_cast<sf_count_t>(samples.size() / 2);
    const bool written = sf_writef_float(file, samples.data(), frames) == frames;
    const bool closed = sf_close(file) == 0;
    if (!written || !closed) {
        message = path + ": cannot write the sound";
        return false;
    }
    return true;
}

} // namespace vexlor
