// The show's voice: blocks numbered as they are queued, each remembering the
// device frame it starts at. The voice counts the frames it has played from
// the buffers it consumed, and a flush drops only buffers not yet begun, so
// that count and the blocks' starts stay one and the same clock.
#include "audio/showvoice.h"

#include "audio/myxaudio2.h"
#include "utils/mmtime.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace sndkit {

namespace {

void nothing(FAudioVoiceCallback*) {}
void nothingbytes(FAudioVoiceCallback*, std::uint32_t) {}
void nothingcontext(FAudioVoiceCallback*, void*) {}
void nothingerror(FAudioVoiceCallback*, void*, std::uint32_t) {}

} // namespace

showvoice_t::callback_t::callback_t(showvoice_t* voice) : FAudioVoiceCallback{}, owner(voice)
{
    OnVoiceProcessingPassStart = nothingbytes;
    OnVoiceProcessingPassEnd = nothing;
    OnStreamEnd = nothing;
    OnBufferStart = nothingcontext;
    OnBufferEnd = &showvoice_t::OnBufferEnd;
    OnLoopEnd = nothingcontext;
    OnVoiceError = nothingerror;
}

// On the engine's thread (or within a flush): only wakes the feeder.
void showvoice_t::OnBufferEnd(FAudioVoiceCallback* self, void*)
{
    static_cast<callback_t*>(self)->owner->m_wake.notify_one();
}

bool showvoice_t::Init(MyXAudio2* engine, const char* path, double offset, double gain, std::string& message)
{
    Destroy();
    // Without a device the track is still checked, so its problem is told.
    const bool device = engine != nullptr && engine->mastervoice != nullptr && MyXAudio2::pXAudio2 != nullptr;
    FAudioVoiceDetails details{};
    if (device)
        FAudioVoice_GetVoiceDetails(engine->mastervoice, &details);
    const int rate = device && details.InputSampleRate != 0 ? static_cast<int>(details.InputSampleRate) : 48000;
    if (!m_stream.open(path, rate, message))
        return false;
    if (!device) {
        m_stream.close();
        return true;
    }
    m_engine = engine;
    m_rate = rate;
    m_offset = std::llround(offset * rate);
    m_gain = static_cast<float>(gain);
    m_format.wFormatTag = FAUDIO_FORMAT_IEEE_FLOAT;
    m_format.nChannels = 2;
    m_format.nSamplesPerSec = static_cast<std::uint32_t>(rate);
    m_format.wBitsPerSample = 32;
    m_format.nBlockAlign = 2 * sizeof(float);
    m_format.nAvgBytesPerSec = m_format.nSamplesPerSec * m_format.nBlockAlign;
    // The voice's rate is the device's and its pitch is fixed: nothing is
    // ever resampled on the way out.
    if (FAudio_CreateSourceVoice(MyXAudio2::pXAudio2, &m_voice, &m_format, FAUDIO_VOICE_NOPITCH, 1.0f, &m_callback,
                                 nullptr, nullptr)
        != 0) {
        m_voice = nullptr;
        m_stream.close();
        message = "the sound device takes no voice for it";
        return false;
    }
    for (std::vector<float>& buffer : m_buffers)
        buffer.assign(2 * k_frames, 0.0f);
    m_holds.fill(k_none);
    m_music.assign(2 * k_frames, 0.0f);
    m_nextbuffer = 0;
    m_nextblock = m_moveblock = 0;
    m_submitted = m_showframe = 0;
    m_playing = false;
    m_clock.reset(rate);
    {
        // Silence from the start, so the device's clock runs before the show does.
        std::lock_guard<std::mutex> hold(m_lock);
        topup();
    }
    FAudioSourceVoice_Start(m_voice, 0, FAUDIO_COMMIT_NOW);
    m_quit = false;
    m_feeder = std::thread(&showvoice_t::feed, this);
    return true;
}

void showvoice_t::Destroy()
{
    if (m_feeder.joinable()) {
        {
            std::lock_guard<std::mutex> hold(m_lock);
            m_quit = true;
        }
        m_wake.notify_one();
        m_feeder.join();
    }
    if (m_voice != nullptr)
        FAudioVoice_DestroyVoice(m_voice);
    m_voice = nullptr;
    m_stream.close();
    m_mix.clear();
    m_engine = nullptr;
    m_rate = 0;
}

void showvoice_t::setsounds(const clip_t* clip, const std::vector<double>& times)
{
    std::vector<timedclip_t> sounds;
    sounds.reserve(times.size());
    for (double time : times)
        sounds.push_back({time, clip});
    setsounds(sounds);
}

void showvoice_t::setsounds(const std::vector<timedclip_t>& sounds)
{
    std::lock_guard<std::mutex> hold(m_lock);
    m_mix.clear();
    if (m_rate == 0)
        return;
    for (const timedclip_t& sound : sounds)
        if (sound.clip != nullptr)
            m_mix.add(*sound.clip, std::llround(sound.time * m_rate));
}

void showvoice_t::topup()
{
    if (m_voice == nullptr)
        return;
    // The engine counts flushed buffers as queued until its next pass; the
    // blocks still to play are those past the frames it has played.
    FAudioVoiceState state{};
    FAudioSourceVoice_GetState(m_voice, &state, 0);
    const auto ahead = std::max<std::int64_t>(0, m_submitted - static_cast<std::int64_t>(state.SamplesPlayed));
    const auto frames = static_cast<std::int64_t>(k_frames);
    const std::uint64_t current = state.pCurrentBufferContext != nullptr
                                      ? static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(state.pCurrentBufferContext)) - 1
                                      : k_none;
    for (auto queued = static_cast<std::size_t>((ahead + frames - 1) / frames); queued < k_queued; ++queued) {
        m_nextbuffer = freebuffer(current);
        m_holds[m_nextbuffer] = m_nextblock;
        std::vector<float>& buffer = m_buffers[m_nextbuffer];
        std::fill(buffer.begin(), buffer.end(), 0.0f);
        block_t& block = m_blocks[m_nextblock % k_blocks];
        block = {m_submitted, m_showframe, m_playing};
        if (m_playing) {
            m_stream.read(m_music.data(), k_frames);
            for (std::size_t i = 0; i < buffer.size(); ++i)
                buffer[i] = m_gain * m_music[i];
            m_mix.mix(m_showframe, k_frames, buffer.data());
        }
        FAudioBuffer submit{};
        submit.AudioBytes = static_cast<std::uint32_t>(buffer.size() * sizeof(float));
        submit.pAudioData = reinterpret_cast<const std::uint8_t*>(buffer.data());
        // Numbered from 1: the context of no buffer is null.
        submit.pContext = reinterpret_cast<void*>(static_cast<std::uintptr_t>(m_nextblock + 1));
        if (FAudioSourceVoice_SubmitSourceBuffer(m_voice, &submit, nullptr) != 0)
            return;
        ++m_nextblock;
        m_submitted += static_cast<std::int64_t>(k_frames);
        if (m_playing)
            m_showframe += static_cast<std::int64_t>(k_frames);
    }
}

// A buffer the voice may still read: the one playing, and those queued since
// the last move. The ones a move dropped are never read again.
std::size_t showvoice_t::freebuffer(std::uint64_t current) const
{
    const auto reading = [&](std::uint64_t block) {
        return block != k_none && (block == current || (block >= m_moveblock && (current == k_none || block >= current)
                                                        && block < m_nextblock));
    };
    for (std::size_t k = 1; k <= m_buffers.size(); ++k) {
        const std::size_t buffer = (m_nextbuffer + k) % m_buffers.size();
        if (!reading(m_holds[buffer]))
            return buffer;
    }
    return (m_nextbuffer + 1) % m_buffers.size(); // cannot be: at most k_queued are read
}

void showvoice_t::observe(std::int64_t now)
{
    FAudioVoiceState state{};
    FAudioSourceVoice_GetState(m_voice, &state, 0);
    m_clock.observe(now, static_cast<std::int64_t>(state.SamplesPlayed));
}

void showvoice_t::feed()
{
    std::unique_lock<std::mutex> hold(m_lock);
    while (!m_quit) {
        topup();
        observe(basekit::monotonicmicros());
        m_wake.wait_for(hold, std::chrono::milliseconds(5));
    }
}

void showvoice_t::move(double showtime, bool playing)
{
    if (m_voice == nullptr)
        return;
    // What is queued but not begun goes; the buffer playing finishes first,
    // and the new ones follow it on the device's count of frames.
    FAudioSourceVoice_FlushSourceBuffers(m_voice);
    FAudioVoiceState state{};
    FAudioSourceVoice_GetState(m_voice, &state, 0);
    if (state.BuffersQueued > 0 && state.pCurrentBufferContext != nullptr) {
        const auto current = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(state.pCurrentBufferContext)) - 1;
        m_submitted = m_blocks[current % k_blocks].device + static_cast<std::int64_t>(k_frames);
    } else {
        m_submitted = static_cast<std::int64_t>(state.SamplesPlayed);
    }
    m_showframe = std::llround(showtime * m_rate);
    m_stream.seek(m_showframe - m_offset);
    m_playing = playing;
    m_moveblock = m_nextblock;
    topup();
}

void showvoice_t::play(double showtime)
{
    std::lock_guard<std::mutex> hold(m_lock);
    move(showtime, true);
}

void showvoice_t::pause(double showtime)
{
    std::lock_guard<std::mutex> hold(m_lock);
    move(showtime, false);
}

bool showvoice_t::clock(std::int64_t now, double& showtime)
{
    if (m_voice == nullptr)
        return false;
    std::lock_guard<std::mutex> hold(m_lock);
    observe(now);
    double frame = 0.0;
    if (!m_clock.frameat(now, frame) || m_moveblock == m_nextblock)
        return false;
    // The newest block since the move that the device has reached.
    const std::uint64_t oldest = std::max(m_moveblock, m_nextblock > k_blocks ? m_nextblock - k_blocks : 0);
    std::uint64_t id = m_nextblock - 1;
    while (id > oldest && static_cast<double>(m_blocks[id % k_blocks].device) > frame)
        --id;
    const block_t& block = m_blocks[id % k_blocks];
    // Not before the block, and not past what has been queued.
    double into = std::max(0.0, frame - static_cast<double>(block.device));
    if (id + 1 == m_nextblock)
        into = std::min(into, static_cast<double>(k_frames));
    showtime = (static_cast<double>(block.show) + (block.playing ? into : 0.0)) / m_rate;
    return true;
}

double showvoice_t::devicerate()
{
    std::lock_guard<std::mutex> hold(m_lock);
    return m_clock.rate();
}

} // namespace sndkit
