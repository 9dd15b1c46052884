// The sound player on the engine wrapper: format set-up, one voice and one
// decode thread per play, pacing through the shared buffer-end event, and
// reclaiming finished plays.

#include "audio/xaudio2.h"

#include <chrono>
#include <iostream>
#include <thread>

#include "audio/myxaudio2.h"
#include "utils/common.h"

namespace sndkit {

namespace {

// The engine wrapper of the process; it lives until the process ends, since
// the engine's thread may call back into it at any time.
MyXAudio2* s_pxaudio = nullptr;

// Block align / (bits / 8) / channels, 0 where a divisor is 0.
std::uint16_t samplesfield(const fmtchunk_t& f)
{
    const unsigned bytes = f.bits / 8u;
    if (bytes == 0 || f.channels == 0)
        return 0;
    return static_cast<std::uint16_t>(f.blk_size / bytes / f.channels);
}

} // namespace

bool xaudio2_t::buffer_t::send(const void* data, unsigned long long bytes)
{
    FAudioBuffer buffer{};
    buffer.AudioBytes = static_cast<std::uint32_t>(bytes);
    buffer.pAudioData = static_cast<const std::uint8_t*>(data);
    if (!s_pxaudio->send(&voice, buffer))
        return false;
    if (kept) {
        // Buffers end in the order they were queued, so every held block
        // but the last `queued` ones has been played.
        held.push_back(std::move(kept));
        const std::size_t queued = s_pxaudio->queued(voice);
        while (held.size() > queued)
            held.pop_front();
    }
    if (first) {
        first = false;
        return true;
    }
    for (int result; (result = s_pxaudio->wait()) != 0;)
        std::cout << result << ": waiting..." << std::endl;
    return true;
}

void xaudio2_t::buffer_t::keep(std::shared_ptr<const void> block)
{
    kept = std::move(block);
}

xaudio2_t::xaudio2_t(unsigned long long device)
{
    init(device);
}

xaudio2_t::~xaudio2_t()
{
    stop();
    halt();
}

bool xaudio2_t::init(unsigned long long device)
{
    if (s_pxaudio)
        return true;
    s_pxaudio = new MyXAudio2;
    s_pxaudio->begin(device);
    return true;
}

MyXAudio2* xaudio2_t::engine()
{
    return s_pxaudio;
}

bool xaudio2_t::clear()
{
    return true;
}

bool xaudio2_t::listdevices()
{
    return s_pxaudio->listdevices() > 0;
}

bool xaudio2_t::load(const char* path)
{
    if (!s_pxaudio)
        init(0);
    halt();
    // Cleared before the load: after a failed one the old decoder is still
    // there, but the image it read is not, and no voice may be made for it.
    format = {};
    if (!wave_t::load(path))
        return false;

    const fmtchunk_t f = fc();
    FAudioWaveFormatEx& out = format.Format;
    out.nChannels = f.channels;
    out.nSamplesPerSec = f.samples_per_sec;
    out.nAvgBytesPerSec = f.avg_bytes_per_sec;
    out.nBlockAlign = f.blk_size;
    // Never read by the engine (the extra size stays 0); kept as it was.
    format.dwChannelMask = f.channels;

    switch (const std::uint16_t tag = formattag()) {
    case tag_float:
        out.wFormatTag = tag_float;
        if (f.bits != 16 && f.bits != 32) {
            basekit::error();
            std::cerr << "not supported format.(id=" << std::hex << f.tag << std::dec
                      << " && bits=" << f.bits << ")" << std::endl;
            return false;
        }
        out.wBitsPerSample = f.bits;
        format.Samples.wValidBitsPerSample = samplesfield(f);
        return true;
    case tag_imaadpcm:
        if (f.bits != 4) {
            basekit::error();
            std::cerr << f.bits << ": IMA/DVI ADPCM decoder is not supported bits." << std::endl;
            return false;
        }
        // Decoded to 16-bit PCM. The block align is that of one channel, so
        // only mono files play as they should.
        out.wFormatTag = tag_pcm;
        out.wBitsPerSample = static_cast<std::uint16_t>(decoder->bits());
        out.nAvgBytesPerSec = (std::uint32_t(out.wBitsPerSample) * f.channels * f.samples_per_sec) / 8;
        out.nBlockAlign = 2;
        out.cbSize = 0;
        return true;
    case tag_pcm:
        out.wFormatTag = tag;
        out.wBitsPerSample = f.bits;
        format.Samples.wValidBitsPerSample = samplesfield(f);
        return true;
    default:
        // The engine would take some other formats, trusting fields of
        // theirs that nothing here has checked.
        basekit::error();
        std::cerr << (path ? path : "") << ": format tag 0x" << std::hex << tag << std::dec
                  << " is not PCM, IEEE float or IMA ADPCM." << std::endl;
        format = {};
        return false;
    }
}

bool xaudio2_t::play(bool loop_)
{
    reclaim();
    buffer_t& entry = buffers.emplace_back(this);
    if (!s_pxaudio->source(&entry.voice, format.Format))
        return false;
    wave_t::play(loop_);
    entry.started = entry.thread.create(support, &entry) == 0;
    newest = entry.started ? &entry : nullptr;
    newest_decoded = true;
    return true;
}

bool xaudio2_t::stop()
{
    const bool stopping = !stopped.exchange(true);
    if (!buffers.empty()) {
        // Its thread must be gone before its voice is.
        finisholdest();
        if (!s_pxaudio->soundstop(&buffers.front().voice))
            return false;
    }
    if (stopping) {
        if (newest) {
            newest_decoded = finish(*newest);
            newest = nullptr;
        }
        if (!newest_decoded)
            return false;
    }
    if (!buffers.empty())
        buffers.pop_front();
    return true;
}

// Finished plays leave from the front, as long as the oldest has finished:
// its thread has ended and its voice has nothing left to play.
void xaudio2_t::reclaim()
{
    while (!buffers.empty()) {
        buffer_t& oldest = buffers.front();
        if (oldest.started && !oldest.ended.load(std::memory_order_acquire))
            return;
        if (s_pxaudio->queued(oldest.voice) > 0)
            return;
        finisholdest();
        s_pxaudio->destroysource(&oldest.voice);
        buffers.pop_front();
    }
}

// Finishes the oldest play; when it is also the newest, its outcome becomes
// the newest's, which stop() reports.
void xaudio2_t::finisholdest()
{
    buffer_t& oldest = buffers.front();
    const bool decoded = finish(oldest);
    if (&oldest == newest) {
        newest = nullptr;
        newest_decoded = decoded;
    }
}

// Joins a play's thread once and keeps its outcome. The thread has ended or
// `stopped` is set; one waiting for a buffer end is woken until it sees that.
bool xaudio2_t::finish(buffer_t& play)
{
    if (!play.started || play.joined)
        return play.decoded;
    while (!play.ended.load(std::memory_order_acquire)) {
        s_pxaudio->wake();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    void* result = nullptr;
    play.thread.join(&result);
    play.joined = true;
    play.decoded = result == nullptr;
    return play.decoded;
}

void xaudio2_t::halt()
{
    stopped = true;
    for (buffer_t& play : buffers) {
        finish(play);
        s_pxaudio->destroysource(&play.voice);
    }
    buffers.clear();
    newest = nullptr;
}

} // namespace sndkit
