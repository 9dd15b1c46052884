// The show's sound while its music plays: one stereo float voice at the
// device's own rate, never resampled and never stopped, fed by a thread of
// its own with the music from its exact sample and the burst sounds mixed in
// on theirs (a burst written on a beat is heard on the beat). The frames the
// device has played are the show's clock: clock() tells the show time being
// heard at any instant, smoothed over the last second of the device's reports.
#pragma once

#include "audio/clipmix.h"
#include "audio/deviceclock.h"
#include "audio/musicstream.h"

#include <FAudio.h>

#include <array>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace sndkit {

class MyXAudio2;

class showvoice_t {
public:
    // Frames in one buffer handed to the voice, and how many are queued:
    // about 21 ms each at 48 kHz, half a second ahead, so a feeder held up
    // that long on a loaded machine leaves no gap in the sound (a gap would
    // also hold the show's clock; a quarter second was seen to run dry at a
    // load of 11 on two cores). A move drops what is queued and is heard
    // after the one buffer playing.
    static constexpr std::size_t k_frames = 1024;
    static constexpr std::size_t k_queued = 24;

    showvoice_t() = default;
    ~showvoice_t() { Destroy(); }
    showvoice_t(const showvoice_t&) = delete;
    showvoice_t& operator=(const showvoice_t&) = delete;

    // Opens the track for `engine`'s mastering voice and starts the voice,
    // silent until play(): the music's first sample plays at show time
    // `offset`, at `gain`. Without a device it opens nothing and stays
    // silent (true). False with the reason in `message` when the track
    // cannot be played.
    bool Init(MyXAudio2* engine, const char* path, double offset, double gain, std::string& message);
    // Ends the feeding thread, then the voice.
    void Destroy();
    bool active() const { return m_voice != nullptr; }
    // Frames a second of the voice, the device's own rate (0 when inactive).
    int rate() const { return m_rate; }

    // `clip` (at rate()) mixed in from each of `times`, in show seconds; the
    // clip must live as long as the voice or the next call.
    void setsounds(const clip_t* clip, const std::vector<double>& times);
    // Each of several clips at its own show time.
    struct timedclip_t {
        double time = 0.0;
        const clip_t* clip = nullptr;
    };
    void setsounds(const std::vector<timedclip_t>& sounds);

    // The show's clock moved to `showtime`: what is queued from the old place
    // is dropped and the voice plays on from there, or, paused, stays silent.
    void play(double showtime);
    void pause(double showtime);

    // The show time heard at monotonic reading `now` (microseconds): the
    // device's played frames, fitted to a steady line. Right after a move it
    // holds at the move's time until the device reaches what was queued for
    // it. False when inactive.
    bool clock(std::int64_t now, double& showtime);

    // For measurements: the device's frames a monotonic second, as fitted.
    double devicerate();

private:
    struct callback_t : FAudioVoiceCallback {
        explicit callback_t(showvoice_t* voice);
        showvoice_t* owner;
    };
    static void OnBufferEnd(FAudioVoiceCallback* self, void* context);

    // One buffer handed to the voice: the device frame (in the voice's count
    // of frames played) it starts at, and the show frame it carries.
    struct block_t {
        std::int64_t device = 0;
        std::int64_t show = 0;
        bool playing = false;
    };
    static constexpr std::size_t k_blocks = 64;                // blocks remembered
    static constexpr std::size_t k_buffers = 2 * k_queued + 2; // a dropped buffer is not refilled at once
    static constexpr std::uint64_t k_none = ~std::uint64_t{0};

    void move(double showtime, bool playing); // under m_lock
    void topup();                             // under m_lock
    std::size_t freebuffer(std::uint64_t current) const;
    void observe(std::int64_t now);           // under m_lock
    void feed();

    MyXAudio2* m_engine = nullptr;
    musicstream_t m_stream;
    std::int64_t m_offset = 0; // show frame of the music's first sample
    float m_gain = 1.0f;
    int m_rate = 0;
    FAudioWaveFormatEx m_format{};
    callback_t m_callback{this};

    std::mutex m_lock;
    std::condition_variable m_wake;
    std::thread m_feeder;
    bool m_quit = false;
    FAudioSourceVoice* m_voice = nullptr;
    std::array<std::vector<float>, k_buffers> m_buffers;
    std::array<std::uint64_t, k_buffers> m_holds{}; // the block each buffer last carried
    std::vector<float> m_music;
    std::size_t m_nextbuffer = 0;
    std::array<block_t, k_blocks> m_blocks;
    std::uint64_t m_nextblock = 0; // the next block's number
    std::uint64_t m_moveblock = 0; // the first block after the latest move
    std::int64_t m_submitted = 0;  // the device frame the next block starts at
    std::int64_t m_showframe = 0;  // the show frame the next block carries
    bool m_playing = false;
    clipmix_t m_mix;
    deviceclock_t m_clock;
};

} // namespace sndkit
