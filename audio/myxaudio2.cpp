// The engine wrapper on FAudio: engine start, device list, mastering voice,
// source voices and the shared buffer-end event.

#include "audio/myxaudio2.h"

#include <csignal>
#include <iostream>

#include "utils/common.h"
#include "utils/strutil.h"

namespace sndkit {

FAudio* MyXAudio2::pXAudio2 = nullptr;

namespace {

bool succeeded(std::uint32_t hr)
{
    return static_cast<std::int32_t>(hr) >= 0;
}

// Device strings come as UTF-16 in 16-bit units.
std::wstring widen(const std::int16_t* text, std::size_t max)
{
    std::wstring out;
    for (std::size_t i = 0; i < max && text[i] != 0; ++i) {
        const std::uint32_t unit = static_cast<std::uint16_t>(text[i]);
        if (unit >= 0xd800 && unit < 0xdc00 && i + 1 < max) {
            const std::uint32_t low = static_cast<std::uint16_t>(text[i + 1]);
            if (low >= 0xdc00 && low < 0xe000) {
                out.push_back(static_cast<wchar_t>(0x10000 + ((unit - 0xd800) << 10) + (low - 0xdc00)));
                ++i;
                continue;
            }
        }
        out.push_back(static_cast<wchar_t>(unit));
    }
    return out;
}

// What the mixer can play. FAudio accepts any format and then crashes in its
// mixer on some (4-bit PCM, a zero block align), so the rest is refused here.
bool playable(const FAudioWaveFormatEx& f)
{
    if (f.nChannels == 0 || f.nChannels > FAUDIO_MAX_AUDIO_CHANNELS)
        return false;
    if (f.nSamplesPerSec < FAUDIO_MIN_SAMPLE_RATE || f.nSamplesPerSec > FAUDIO_MAX_SAMPLE_RATE)
        return false;
    switch (f.wFormatTag) {
    case 1:
        if (f.wBitsPerSample != 8 && f.wBitsPerSample != 16 && f.wBitsPerSample != 24 &&
            f.wBitsPerSample != 32)
            return false;
        break;
    case 3:
        if (f.wBitsPerSample != 32)
            return false;
        break;
    default:
        return false;
    }
    return f.nBlockAlign == f.nChannels * (f.wBitsPerSample / 8);
}

} // namespace

VoiceCallback::VoiceCallback() : FAudioVoiceCallback{}
{
    FAudioVoiceCallback::OnBufferEnd = &VoiceCallback::OnBufferEnd;
    FAudioVoiceCallback::OnBufferStart = &VoiceCallback::OnBufferStart;
    FAudioVoiceCallback::OnLoopEnd = &VoiceCallback::OnLoopEnd;
    FAudioVoiceCallback::OnStreamEnd = &VoiceCallback::OnStreamEnd;
    FAudioVoiceCallback::OnVoiceError = &VoiceCallback::OnVoiceError;
    FAudioVoiceCallback::OnVoiceProcessingPassEnd = &VoiceCallback::OnVoiceProcessingPassEnd;
    FAudioVoiceCallback::OnVoiceProcessingPassStart = &VoiceCallback::OnVoiceProcessingPassStart;
}

void VoiceCallback::OnVoiceProcessingPassStart(FAudioVoiceCallback*, std::uint32_t) {}
void VoiceCallback::OnVoiceProcessingPassEnd(FAudioVoiceCallback*) {}
void VoiceCallback::OnStreamEnd(FAudioVoiceCallback*) {}
void VoiceCallback::OnBufferStart(FAudioVoiceCallback*, void*) {}
void VoiceCallback::OnLoopEnd(FAudioVoiceCallback*, void*) {}
void VoiceCallback::OnVoiceError(FAudioVoiceCallback*, void*, std::uint32_t) {}

void VoiceCallback::OnBufferEnd(FAudioVoiceCallback* self, void*)
{
    static_cast<VoiceCallback*>(self)->event.set();
}

MyXAudio2::MyXAudio2()
{
    if (init()) {
        getdevicelist();
    } else {
        basekit::error();
        std::cerr << "myxa2: init failed." << std::endl;
    }
}

MyXAudio2::~MyXAudio2()
{
    if (mastervoice)
        FAudioVoice_DestroyVoice(mastervoice);
}

bool MyXAudio2::init()
{
    if (pXAudio2)
        return true;
    // SDL, under FAudio, takes over SIGINT and SIGTERM for an event queue
    // that nothing here reads, which would leave the program deaf to both:
    // the process keeps the handlers it had.
    struct sigaction interrupt {}, terminate {};
    sigaction(SIGINT, nullptr, &interrupt);
    sigaction(SIGTERM, nullptr, &terminate);
    const std::uint32_t result = FAudioCreate(&pXAudio2, 0, FAUDIO_DEFAULT_PROCESSOR);
    sigaction(SIGINT, &interrupt, nullptr);
    sigaction(SIGTERM, &terminate, nullptr);
    hr = result;
    if (!succeeded(result))
        pXAudio2 = nullptr;
    return succeeded(result);
}

unsigned long long MyXAudio2::getdevicelist()
{
    std::uint32_t count = 0;
    const std::uint32_t result = FAudio_GetDeviceCount(pXAudio2, &count);
    hr = result;
    if (!succeeded(result)) {
        basekit::error();
        std::cerr << "GetCount() failed." << std::endl;
        return 0;
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        FAudioDeviceDetails details{};
        const std::uint32_t result = FAudio_GetDeviceDetails(pXAudio2, i, &details);
        hr = result;
        if (!succeeded(result)) {
            basekit::error();
            std::cerr << "0x" << std::hex << result << std::dec << ": GetId() failed." << std::endl;
            return 0;
        }
        devices.push_back(widen(details.DeviceID, std::size(details.DeviceID)));
    }
    return count;
}

unsigned long long MyXAudio2::listdevices()
{
    for (std::size_t i = 0; i < devices.size(); ++i)
        std::cout << "dev: " << i << ": " << basekit::wstr2str(devices[i]) << std::endl;
    return devices.size();
}

// FAudio names devices by their index in the list, the default device being
// index 0; it has no stream categories.
bool MyXAudio2::master()
{
    mastervoice = nullptr;
    if (!pXAudio2) {
        hr = FAUDIO_E_INVALID_CALL;
        return false;
    }
    const std::uint32_t result = FAudio_CreateMasteringVoice(pXAudio2, &mastervoice, FAUDIO_DEFAULT_CHANNELS,
                                                             FAUDIO_DEFAULT_SAMPLERATE, 0, 0, nullptr);
    hr = result;
    if (!succeeded(result))
        mastervoice = nullptr;
    return succeeded(result);
}

bool MyXAudio2::master(unsigned long long index)
{
    mastervoice = nullptr;
    if (index >= devices.size())
        return false;
    const std::uint32_t result =
        FAudio_CreateMasteringVoice(pXAudio2, &mastervoice, FAUDIO_DEFAULT_CHANNELS, FAUDIO_DEFAULT_SAMPLERATE,
                                    0, static_cast<std::uint32_t>(index), nullptr);
    hr = result;
    if (!succeeded(result))
        mastervoice = nullptr;
    return succeeded(result);
}

bool MyXAudio2::begin(unsigned long long index)
{
    const bool ok = index == 0 ? master() : master(index);
    if (!ok) {
        basekit::error();
        std::cerr << "myxa2: master voice failed." << std::endl;
    }
    return ok;
}

bool MyXAudio2::source(FAudioSourceVoice** voice, const FAudioWaveFormatEx& format)
{
    // Without a device there is nothing to play into, and FAudio would crash
    // making the voice: the player stays silent instead.
    if (!mastervoice) {
        hr = FAUDIO_E_INVALID_CALL;
        return false;
    }
    std::uint32_t result = FAUDIO_E_UNSUPPORTED_FORMAT;
    if (playable(format))
        result = FAudio_CreateSourceVoice(pXAudio2, voice, &format, 0, FAUDIO_DEFAULT_FREQ_RATIO, &callback,
                                          nullptr, nullptr);
    hr = result;
    if (!succeeded(result)) {
        basekit::error();
        std::cerr << "hr: 0x" << std::hex << result << std::dec << std::endl;
        return false;
    }
    result = FAudioSourceVoice_Start(*voice, 0, FAUDIO_COMMIT_NOW);
    hr = result;
    return succeeded(result);
}

bool MyXAudio2::send(FAudioSourceVoice** voice, FAudioBuffer& buffer)
{
    const std::uint32_t result =
        *voice ? FAudioSourceVoice_SubmitSourceBuffer(*voice, &buffer, nullptr) : FAUDIO_E_INVALID_CALL;
    hr = result;
    if (!succeeded(result)) {
        basekit::error();
        std::cerr << "0x" << std::hex << result << std::dec << ": send() failed." << std::endl;
        return false;
    }
    return true;
}

int MyXAudio2::wait()
{
    return callback.event.wait();
}

bool MyXAudio2::stop(FAudioSourceVoice** voice)
{
    if (!*voice) {
        hr = FAUDIO_E_INVALID_CALL;
        return false;
    }
    const std::uint32_t result = FAudioSourceVoice_Stop(*voice, 0, FAUDIO_COMMIT_NOW);
    hr = result;
    if (!succeeded(result))
        return false;
    hr = FAudioSourceVoice_FlushSourceBuffers(*voice);
    return true;
}

void MyXAudio2::destroysource(FAudioSourceVoice** voice)
{
    if (*voice)
        FAudioVoice_DestroyVoice(*voice);
    *voice = nullptr;
}

bool MyXAudio2::soundstop(FAudioSourceVoice** voice)
{
    if (!stop(voice))
        return false;
    destroysource(voice);
    return true;
}

std::uint32_t MyXAudio2::queued(FAudioSourceVoice* voice)
{
    if (!voice)
        return 0;
    FAudioVoiceState state{};
    FAudioSourceVoice_GetState(voice, &state, FAUDIO_VOICE_NOSAMPLESPLAYED);
    return state.BuffersQueued;
}

void MyXAudio2::wake()
{
    callback.event.set();
}

} // namespace sndkit
