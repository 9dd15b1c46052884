// Sample decoders: they turn the data chunk of a loaded wave_t into PCM bytes
// and hand them to a sink (send_t) that queues them on one play's voice.
// They run on that play's decode thread.
#pragma once

#include <memory>

namespace sndkit {

class wave_t;

// Where one play's bytes go.
class send_t {
public:
    // Queues `bytes` bytes at `data`; they must stay valid while the voice
    // may still read them. True when they were queued.
    virtual bool send(const void* data, unsigned long long bytes) = 0;
    // Keeps `block` alive until the voice has finished with what was sent
    // from it, for decoders whose output lives in memory of their own.
    virtual void keep(std::shared_ptr<const void> block) = 0;
    virtual ~send_t() = default;
};

class decoder_t {
public:
    explicit decoder_t(wave_t* w) : wave(w) {}
    decoder_t(const decoder_t&) = delete;
    decoder_t& operator=(const decoder_t&) = delete;

    // Bits per sample of the decoded output: the file's own here.
    virtual unsigned bits() const;
    // Sends the clip once, or again and again while the owner's `loop` is
    // set, until its `stopped` is seen. True on a normal end.
    virtual bool decoding(send_t* sink) = 0;
    virtual ~decoder_t() = default;

    wave_t* wave;  // not owned
};

// An IMA ADPCM decoder for format tag 17 (also inside an extensible format),
// a pass-through decoder for everything else. Never null.
std::unique_ptr<decoder_t> decoder_dispatch(wave_t* w);

// Decode thread entry. `arg` is the play's xaudio2_t::buffer_t; the exit
// value is null when decoding ended normally, (void*)1 otherwise.
void* support(void* arg);

} // namespace sndkit
