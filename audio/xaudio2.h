// xaudio2_t: the sound player. Every play gets a source voice and a decode
// thread of its own, so overlapping bursts each sound in full. A play that
// has finished is reclaimed at a later play, so memory and threads stay flat
// however long the show runs.
#pragma once

#include <FAudio.h>

#include <atomic>
#include <deque>
#include <memory>

#include "audio/wave.h"
#include "utils/multithread.h"

namespace sndkit {

class MyXAudio2;

class xaudio2_t : public wave_t {
public:
    // One play: the sink its decoder sends to, its voice and its thread.
    struct buffer_t : send_t {
        explicit buffer_t(xaudio2_t* player) : owner(player) {}

        // Queues the bytes on `voice`. Every send but the first waits for a
        // buffer end (of any voice) before it returns.
        bool send(const void* data, unsigned long long bytes) override;
        void keep(std::shared_ptr<const void> block) override;

        xaudio2_t* owner;
        bool first = true;                   // decode thread only
        FAudioSourceVoice* voice = nullptr;  // set before the thread starts

        // The decode thread. It sets `ended` as its last act; the other
        // fields belong to the main thread.
        basekit::thread_t thread;
        bool started = false;
        bool joined = false;
        bool decoded = true;  // the thread's outcome, once joined
        std::atomic<bool> ended{false};

        // Decoder memory sent to the voice, held until the voice is done
        // with it (decode thread while it runs).
        std::shared_ptr<const void> kept;
        std::deque<std::shared_ptr<const void>> held;
    };

    // Starts the engine on `device` (0: the default device) on first use.
    explicit xaudio2_t(unsigned long long device);
    // Stops, then ends every play left: threads joined, voices destroyed,
    // since they read this player's memory.
    ~xaudio2_t() override;

    // Creates the process's engine wrapper and its mastering voice once;
    // true even when there is no device (the player then stays silent).
    static bool init(unsigned long long device);
    static bool clear();
    // The process's engine wrapper, null until init; other voices (the
    // music's) are made on it.
    static MyXAudio2* engine();

    // Reads the file and prepares the voices' format. Plays still sounding
    // from an earlier load are ended first: they read what it replaces.
    // After a failed load every play fails until a load succeeds.
    bool load(const char* path) override;
    // Starts one play: a new voice and a new decode thread.
    bool play(bool loop) override;
    // Ends the oldest play's voice and the newest play's thread.
    bool stop() override;
    bool listdevices() override;

    FAudioWaveFormatExtensible format{};
    // One entry per play, oldest first; elements keep their addresses when
    // entries are added at the back or removed at the front.
    std::deque<buffer_t> buffers;

private:
    void reclaim();
    bool finish(buffer_t& play);
    void finisholdest();
    void halt();

    buffer_t* newest = nullptr;    // the play whose thread stop() joins
    bool newest_decoded = true;    // its outcome when it was joined before that
};

} // namespace sndkit
