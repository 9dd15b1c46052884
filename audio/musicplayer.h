// musicplayer_t: the show's music on a source voice of its own, fed by a
// thread in small buffers from a musicstream_t. The owner tells it the show
// time on every move of its clock (start, seek, pause, resume) and once a
// frame; it flushes and refills on a move. When the samples played and the
// show's clock run apart it nudges the voice's rate, and re-seeks when they
// are far apart.
#pragma once

#include "audio/musicstream.h"

#include <FAudio.h>

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace sndkit {

class MyXAudio2;

class musicplayer_t {
public:
    // Frames in one buffer handed to the voice, and how many are queued:
    // about 21 ms each at 48 kHz, 85 ms ahead.
    static constexpr std::size_t k_frames = 1024;
    static constexpr std::size_t k_queued = 4;
    // Small drift is taken up by playing the music a little faster or
    // slower; beyond this (seconds) it is moved back into place at once.
    static constexpr double k_tolerance = 0.040;

    musicplayer_t() = default;
    ~musicplayer_t();
    musicplayer_t(const musicplayer_t&) = delete;
    musicplayer_t& operator=(const musicplayer_t&) = delete;

    // Opens the track for `engine`'s mastering voice; the music's first
    // sample plays at show time `offset`, at `gain`. Without a device it
    // opens nothing and stays silent (true). False with the reason in
    // `message` when the track cannot be played.
    bool Init(MyXAudio2* engine, const char* path, double offset, double gain, std::string& message);
    void Destroy();
    bool active() const { return m_voiceformat.nSamplesPerSec != 0; }

    // The show's clock moved to `showtime`: plays from there, or, paused,
    // stays silent and plays from there once resumed.
    void play(double showtime);
    void pause(double showtime);
    // Once a frame, with the frame's show time: re-seeks on drift.
    void sync(double showtime);

    // For measurements: the show time the music has reached by the samples
    // the voice played, less where the clock says it should be (seconds),
    // and the number of re-seeks made for drift.
    double drift() const { return m_drift.load(); }
    std::size_t resyncs() const { return m_resyncs.load(); }

private:
    struct callback_t : FAudioVoiceCallback {
        explicit callback_t(musicplayer_t* player);
        musicplayer_t* owner;
    };
    static void OnBufferEnd(FAudioVoiceCallback* self, void* context);

    void restart(double showtime, bool start); // under m_lock
    void topup();                              // under m_lock
    void feed();
    std::int64_t frameat(double showtime) const;

    MyXAudio2* m_engine = nullptr;
    musicstream_t m_stream;
    double m_offset = 0.0;
    float m_gain = 1.0f;
    FAudioWaveFormatEx m_voiceformat{};
    callback_t m_callback{this};

    std::mutex m_lock;
    std::condition_variable m_wake;
    std::thread m_feeder;
    bool m_quit = false;
    bool m_playing = false;
    FAudioSourceVoice* m_voice = nullptr;
    std::array<std::vector<float>, k_queued + 1> m_buffers;
    std::size_t m_next = 0;
    std::int64_t m_startframe = 0; // the stream frame the voice's first sample carries

    // Drift: the largest difference seen over a window of frames, since the
    // samples played grow a mixing period at a time.
    double m_windowmax = -1e9;
    int m_windowframes = 0;
    double m_windowstart = 0.0;
    double m_reference = 0.0;
    bool m_hasreference = false;
    bool m_skipped = false; // the first window after a start
    double m_integral = 0.0; // drift summed over time, for the rate's steady part
    double m_ratio = 1.0;
    std::atomic<double> m_drift{0.0};
    std::atomic<std::size_t> m_resyncs{0};
};

} // namespace sndkit
