// The music player: a float stereo voice at the mastering voice's rate, a
// feeder thread that keeps a few buffers queued, and a fresh voice on every
// move of the show's clock so nothing queued from the old place is heard.
#include "audio/musicplayer.h"

#include "audio/myxaudio2.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>

namespace sndkit {

namespace {

// Frames of show time the drift is judged over: a third of a second at 60
// fps, longer than any mixing period.
constexpr int k_window = 20;
// The rate's correction: per second of drift, and per second of drift held
// for a second; at most 10 % either way.
constexpr double k_proportional = 2.0;
constexpr double k_integral = 1.0;
constexpr double k_slew = 0.1;

void nothing(FAudioVoiceCallback*) {}
void nothingbytes(FAudioVoiceCallback*, std::uint32_t) {}
void nothingcontext(FAudioVoiceCallback*, void*) {}
void nothingerror(FAudioVoiceCallback*, void*, std::uint32_t) {}

} // namespace

musicplayer_t::callback_t::callback_t(musicplayer_t* player) : FAudioVoiceCallback{}, owner(player)
{
    OnVoiceProcessingPassStart = nothingbytes;
    OnVoiceProcessingPassEnd = nothing;
    OnStreamEnd = nothing;
    OnBufferStart = nothingcontext;
    OnBufferEnd = &musicplayer_t::OnBufferEnd;
    OnLoopEnd = nothingcontext;
    OnVoiceError = nothingerror;
}

// On the engine's thread: only wakes the feeder.
void musicplayer_t::OnBufferEnd(FAudioVoiceCallback* self, void*)
{
    static_cast<callback_t*>(self)->owner->m_wake.notify_one();
}

musicplayer_t::~musicplayer_t()
{
    Destroy();
}

bool musicplayer_t::Init(MyXAudio2* engine, const char* path, double offset, double gain, std::string& message)
{
    Destroy();
    // Without a device the track is still checked, so its problem is told.
    const bool device = engine != nullptr && engine->mastervoice != nullptr;
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
    m_offset = offset;
    m_gain = static_cast<float>(gain);
    m_voiceformat.wFormatTag = FAUDIO_FORMAT_IEEE_FLOAT;
    m_voiceformat.nChannels = 2;
    m_voiceformat.nSamplesPerSec = static_cast<std::uint32_t>(rate);
    m_voiceformat.wBitsPerSample = 32;
    m_voiceformat.nBlockAlign = 2 * sizeof(float);
    m_voiceformat.nAvgBytesPerSec = m_voiceformat.nSamplesPerSec * m_voiceformat.nBlockAlign;
    for (std::vector<float>& buffer : m_buffers)
        buffer.assign(2 * k_frames, 0.0f);
    m_quit = false;
    m_integral = 0.0;
    m_ratio = 1.0;
    m_feeder = std::thread(&musicplayer_t::feed, this);
    return true;
}

void musicplayer_t::Destroy()
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
    m_playing = false;
    m_voiceformat = {};
    m_stream.close();
    m_engine = nullptr;
}

std::int64_t musicplayer_t::frameat(double showtime) const
{
    return static_cast<std::int64_t>(std::llround((showtime - m_offset) * m_voiceformat.nSamplesPerSec));
}

void musicplayer_t::restart(double showtime, bool start)
{
    // A fresh voice: what the old one had queued is gone with it, and its
    // samples played count from this place.
    if (m_voice != nullptr)
        FAudioVoice_DestroyVoice(m_voice);
    m_voice = nullptr;
    m_playing = false;
    m_startframe = frameat(showtime);
    m_stream.seek(m_startframe);
    m_hasreference = false;
    m_skipped = false;
    m_windowmax = -1e9;
    m_windowframes = 0;
    if (!start)
        return;
    if (FAudio_CreateSourceVoice(MyXAudio2::pXAudio2, &m_voice, &m_voiceformat, 0, FAUDIO_DEFAULT_FREQ_RATIO, &m_callback,
                                 nullptr, nullptr)
        != 0) {
        m_voice = nullptr;
        return;
    }
    FAudioVoice_SetVolume(m_voice, m_gain, FAUDIO_COMMIT_NOW);
    // The device's clock runs as it did: keep the rate learnt so far.
    FAudioSourceVoice_SetFrequencyRatio(m_voice, static_cast<float>(m_ratio), FAUDIO_COMMIT_NOW);
    m_playing = true;
    topup();
    FAudioSourceVoice_Start(m_voice, 0, FAUDIO_COMMIT_NOW);
}

void musicplayer_t::topup()
{
    if (!m_playing || m_voice == nullptr)
        return;
    FAudioVoiceState state{};
    FAudioSourceVoice_GetState(m_voice, &state, FAUDIO_VOICE_NOSAMPLESPLAYED);
    for (std::uint32_t queued = state.BuffersQueued; queued < k_queued; ++queued) {
        std::vector<float>& buffer = m_buffers[m_next];
        m_next = (m_next + 1) % m_buffers.size();
        m_stream.read(buffer.data(), k_frames);
        FAudioBuffer submit{};
        submit.AudioBytes = static_cast<std::uint32_t>(buffer.size() * sizeof(float));
        submit.pAudioData = reinterpret_cast<const std::uint8_t*>(buffer.data());
        if (FAudioSourceVoice_SubmitSourceBuffer(m_voice, &submit, nullptr) != 0)
            return;
    }
}

void musicplayer_t::feed()
{
    std::unique_lock<std::mutex> hold(m_lock);
    while (!m_quit) {
        topup();
        m_wake.wait_for(hold, std::chrono::milliseconds(5));
    }
}

void musicplayer_t::play(double showtime)
{
    if (!active())
        return;
    std::lock_guard<std::mutex> hold(m_lock);
    restart(showtime, true);
}

void musicplayer_t::pause(double showtime)
{
    if (!active())
        return;
    std::lock_guard<std::mutex> hold(m_lock);
    restart(showtime, false);
}

void musicplayer_t::sync(double showtime)
{
    if (!active())
        return;
    std::lock_guard<std::mutex> hold(m_lock);
    if (!m_playing || m_voice == nullptr)
        return;
    FAudioVoiceState state{};
    FAudioSourceVoice_GetState(m_voice, &state, 0);
    const double rate = m_voiceformat.nSamplesPerSec;
    // Where the voice has got to, less where the clock is: the device's
    // latency, less up to one mixing period, plus any drift.
    const double difference = static_cast<double>(m_startframe + static_cast<std::int64_t>(state.SamplesPlayed)) / rate
                            - (showtime - m_offset);
    m_windowmax = std::max(m_windowmax, difference);
    if (++m_windowframes < k_window)
        return;
    const double window = showtime - m_windowstart;
    m_windowstart = showtime;
    if (!m_hasreference) {
        // The first window holds the voice's start, when the device takes
        // in more than it plays; the next one is steady.
        if (m_skipped) {
            m_reference = m_windowmax;
            m_hasreference = true;
        }
        m_skipped = true;
        m_windowmax = -1e9;
        m_windowframes = 0;
        return;
    }
    // The window's largest difference comes just after a mixing pass, so
    // windows compare like with like.
    const double drift = m_windowmax - m_reference;
    m_drift = drift;
    m_windowmax = -1e9;
    m_windowframes = 0;
    if (std::fabs(drift) > k_tolerance) {
        ++m_resyncs;
        restart(showtime, true);
        return;
    }
    // Proportional and integral: the summed part learns the device's steady
    // rate, the proportional part takes up what is left.
    if (window > 0.0 && window < 2.0)
        m_integral += drift * window;
    m_ratio = std::clamp(1.0 - k_proportional * drift - k_integral * m_integral, 1.0 - k_slew, 1.0 + k_slew);
    FAudioSourceVoice_SetFrequencyRatio(m_voice, static_cast<float>(m_ratio), FAUDIO_COMMIT_NOW);
}

} // namespace sndkit
