// The music track's stream: libsndfile reads a block, libsamplerate's
// callback interface pulls blocks as it needs them, and a seek repositions
// the file and clears the converter's history.
#include "audio/musicstream.h"

#include <samplerate.h>
#include <sndfile.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>

#include "utils/regularfile.h"

#include <unistd.h>

namespace sndkit {
namespace {

// Frames decoded at once: small enough for bounded memory, large enough that
// the decoder is called rarely.
constexpr std::size_t k_block = 4096;
// More channels than any music file has; the block size stays bounded.
constexpr int k_maxchannels = 64;

std::string formatname(int format)
{
    SF_FORMAT_INFO major{};
    major.format = format & SF_FORMAT_TYPEMASK;
    SF_FORMAT_INFO sub{};
    sub.format = format & SF_FORMAT_SUBMASK;
    std::string name = sf_command(nullptr, SFC_GET_FORMAT_INFO, &major, sizeof major) == 0 && major.extension
                           ? major.extension : "unknown";
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    if (name == "OGA")
        name = "OGG"; // the container, whatever its extension
    if (sf_command(nullptr, SFC_GET_FORMAT_INFO, &sub, sizeof sub) == 0 && sub.name)
        name += std::string(" (") + sub.name + ")";
    return name;
}

} // namespace

// Opens and checks what every use of a track needs: channels, a rate, a
// length and seeking.
SNDFILE* opentrack(const char* path, musicinfo_t& info, std::string& message)
{
    // A FIFO or a device is refused before a byte of it is read: it could
    // block the open or never end.
    const int fd = basekit::openregular(path, message);
    if (fd < 0)
        return nullptr;
    SF_INFO sf{};
    SNDFILE* file = sf_open_fd(fd, SFM_READ, &sf, SF_TRUE);
    if (file == nullptr) {
        message = std::string("not a sound format that can be played (") + sf_strerror(nullptr) + ")";
        return nullptr;
    }
    const char* problem = nullptr;
    if (sf.channels < 1 || sf.channels > k_maxchannels)
        problem = "unsupported number of channels";
    else if (sf.samplerate < 1000 || sf.samplerate > 768000)
        problem = "unsupported sample rate";
    else if (sf.frames <= 0 || sf.frames == SF_COUNT_MAX)
        problem = "the track holds no samples or does not tell its length";
    else if (!sf.seekable)
        problem = "the track cannot be searched";
    if (problem != nullptr) {
        message = problem;
        sf_close(file);
        return nullptr;
    }
    info.format = formatname(sf.format);
    info.rate = sf.samplerate;
    info.channels = sf.channels;
    info.frames = sf.frames;
    return file;
}

bool probemusic(const char* path, musicinfo_t& info, std::string& message)
{
    SNDFILE* file = opentrack(path, info, message);
    if (file == nullptr)
        return false;
    sf_close(file);
    return true;
}

musicstream_t::~musicstream_t()
{
    close();
}

void musicstream_t::close()
{
    if (m_src != nullptr)
        src_delete(m_src);
    if (m_file != nullptr)
        sf_close(m_file);
    m_src = nullptr;
    m_file = nullptr;
    m_info = {};
    m_frames = 0;
    m_position = 0;
    m_decoded = false;
    m_failed = false;
}

bool musicstream_t::open(const char* path, int rate, std::string& message)
{
    close();
    if (rate < 1000) {
        message = "unsupported output rate";
        return false;
    }
    m_file = opentrack(path, m_info, message);
    if (m_file == nullptr)
        return false;
    m_rate = rate;
    m_ratio = static_cast<double>(rate) / m_info.rate;
    m_frames = static_cast<std::int64_t>(std::llround(static_cast<double>(m_info.frames) * m_ratio));
    m_in.assign(k_block * static_cast<std::size_t>(m_info.channels), 0.0f);
    if (m_info.rate != rate) {
        int error = 0;
        m_src = src_callback_new(&musicstream_t::feed, SRC_SINC_MEDIUM_QUALITY, m_info.channels, &error, this);
        if (m_src == nullptr) {
            message = src_strerror(error);
            close();
            return false;
        }
        m_out.assign(k_block * static_cast<std::size_t>(m_info.channels), 0.0f);
    }
    return true;
}

bool musicstream_t::seek(std::int64_t frame)
{
    if (frame != m_position)
        m_decoded = false;
    m_position = frame;
    return isopen();
}

long musicstream_t::feed(void* self, float** data)
{
    auto* stream = static_cast<musicstream_t*>(self);
    const sf_count_t got = sf_readf_float(stream->m_file, stream->m_in.data(), static_cast<sf_count_t>(k_block));
    *data = stream->m_in.data();
    return got > 0 ? static_cast<long>(got) : 0;
}

bool musicstream_t::decode(float* out, std::size_t frames)
{
    const auto channels = static_cast<std::size_t>(m_info.channels);
    if (!m_decoded) {
        // The input frame at or before the position; the converter starts afresh.
        const auto first = static_cast<sf_count_t>(std::floor(static_cast<double>(m_position) / m_ratio));
        if (sf_seek(m_file, std::min<sf_count_t>(first, m_info.frames), SEEK_SET) < 0) {
            m_failed = true;
            return false;
        }
        if (m_src != nullptr)
            src_reset(m_src);
        m_decoded = true;
    }
    std::size_t done = 0;
    while (done < frames) {
        const std::size_t want = std::min(k_block, frames - done);
        long got = 0;
        const float* from = nullptr;
        if (m_src == nullptr) {
            got = static_cast<long>(sf_readf_float(m_file, m_in.data(), static_cast<sf_count_t>(want)));
            from = m_in.data();
        } else {
            got = src_callback_read(m_src, m_ratio, static_cast<long>(want), m_out.data());
            from = m_out.data();
        }
        if (got <= 0)
            break; // the file ended before its header said
        for (long i = 0; i < got; ++i) {
            const float* frame = from + static_cast<std::size_t>(i) * channels;
            out[2 * (done + i)] = frame[0];
            out[2 * (done + i) + 1] = frame[channels > 1 ? 1 : 0];
        }
        done += static_cast<std::size_t>(got);
    }
    std::fill(out + 2 * done, out + 2 * frames, 0.0f);
    return true;
}

bool musicstream_t::read(float* out, std::size_t frames)
{
    if (!isopen() || m_failed) {
        std::fill(out, out + 2 * frames, 0.0f);
        m_position += static_cast<std::int64_t>(frames);
        return false;
    }
    std::size_t done = 0;
    bool good = true;
    while (done < frames) {
        const std::size_t left = frames - done;
        std::size_t n = left;
        if (m_position < 0 || m_position >= m_frames) {
            if (m_position < 0)
                n = static_cast<std::size_t>(std::min<std::int64_t>(static_cast<std::int64_t>(left), -m_position));
            std::fill(out + 2 * done, out + 2 * (done + n), 0.0f);
            m_decoded = false;
        } else {
            n = static_cast<std::size_t>(std::min<std::int64_t>(static_cast<std::int64_t>(left), m_frames - m_position));
            good = decode(out + 2 * done, n) && good;
            m_position += static_cast<std::int64_t>(n);
            done += n;
            continue;
        }
        // Silence moves the position without the decoder.
        m_position += static_cast<std::int64_t>(n);
        done += n;
    }
    return good;
}

} // namespace sndkit
