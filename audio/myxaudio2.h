// MyXAudio2: the audio engine wrapper on FAudio. The engine is created once
// per process; this object lists the output devices, owns the mastering voice
// and the one buffer-end event that every source voice it creates signals.
#pragma once

#include <FAudio.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "utils/event.h"

namespace sndkit {

// The voice callback shared by every source voice. Only a buffer end acts:
// it signals `event`, which wakes one waiting decode thread, whichever voice
// it was waiting for.
struct VoiceCallback : FAudioVoiceCallback {
    VoiceCallback();
    VoiceCallback(const VoiceCallback&) = delete;
    VoiceCallback& operator=(const VoiceCallback&) = delete;

    static void OnVoiceProcessingPassStart(FAudioVoiceCallback* self, std::uint32_t bytes);
    static void OnVoiceProcessingPassEnd(FAudioVoiceCallback* self);
    static void OnStreamEnd(FAudioVoiceCallback* self);
    static void OnBufferStart(FAudioVoiceCallback* self, void* context);
    static void OnBufferEnd(FAudioVoiceCallback* self, void* context);
    static void OnLoopEnd(FAudioVoiceCallback* self, void* context);
    static void OnVoiceError(FAudioVoiceCallback* self, void* context, std::uint32_t error);

    basekit::event_t event;  // auto-reset, starts not signalled
};

class MyXAudio2 {
public:
    // Starts the engine and lists the devices ("myxa2: init failed." when
    // the engine cannot be created).
    MyXAudio2();
    // Destroys the mastering voice; the engine stays for the process.
    ~MyXAudio2();
    MyXAudio2(const MyXAudio2&) = delete;
    MyXAudio2& operator=(const MyXAudio2&) = delete;

    // Creates the engine unless it exists.
    bool init();
    // Fills `devices`; the device count, 0 on failure.
    unsigned long long getdevicelist();
    // "dev: N: identifier" on standard output per device; the count.
    unsigned long long listdevices();
    // The mastering voice on the default device.
    bool master();
    // The mastering voice on device `index` of `devices`.
    bool master(unsigned long long index);
    // 0 chooses the default device (master()), any other index master(index).
    bool begin(unsigned long long index);

    // Creates and starts a source voice for `format`, with `callback`. With
    // no mastering voice, or a format the engine cannot play, it fails with a
    // result of its own instead of calling the engine.
    bool source(FAudioSourceVoice** voice, const FAudioWaveFormatEx& format);
    bool send(FAudioSourceVoice** voice, FAudioBuffer& buffer);
    // Blocks until some voice's buffer ends; 0 then.
    int wait();
    // Stops the voice and flushes what it has queued.
    bool stop(FAudioSourceVoice** voice);
    void destroysource(FAudioSourceVoice** voice);
    bool soundstop(FAudioSourceVoice** voice);

    // Buffers the voice still has queued, the playing one included.
    std::uint32_t queued(FAudioSourceVoice* voice);
    // Releases one waiter as a buffer end would.
    void wake();

    std::vector<std::wstring> devices;  // identifiers, in the engine's order
    VoiceCallback callback;
    // Result of the last engine call, from whichever thread made it; each
    // operation decides on its own result.
    std::atomic<std::uint32_t> hr{0};
    FAudioMasteringVoice* mastervoice = nullptr;  // null until created

    static FAudio* pXAudio2;  // the engine, shared by every instance
};

} // namespace sndkit
