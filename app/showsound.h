// The show's sound for the viewer and the screensaver: the burst sound on a
// voice of its own at every launch and burst, or, while a show's music plays,
// the music and the bursts mixed on one voice whose device clock the show
// follows. What the runner is handed as its showaudio_t.
#pragma once

#include "audio/clipmix.h"
#include "audio/showvoice.h"
#include "audio/wave.h"
#include "firework/showaudio.h"

#include <string>

namespace vexlor {

class showsound_t : public showaudio_t {
public:
    // `wave`: the loaded burst sound (null: silence, and no music either);
    // `burstpath`: its file, read again at the device's rate when it is
    // mixed into music.
    void Init(sndkit::wave_t* wave, const std::string& burstpath);
    // Ends the music's voice and its thread.
    void Destroy();
    ~showsound_t() override { Destroy(); }

    // A track that cannot be played is told in one line; the show then
    // plays without it, each sound on its own voice.
    void load(const music_t& music, const std::vector<double>& soundtimes) override;
    void play(double showtime) override;
    void pause(double showtime) override;
    bool clock(std::int64_t now, double& showtime) override;
    void sound(std::size_t shell, sound_t what) override;

    bool music() const { return m_voice.active(); }

private:
    sndkit::wave_t* m_wave = nullptr;
    std::string m_burstpath;
    sndkit::showvoice_t m_voice;
    sndkit::clip_t m_clip;
};

} // namespace vexlor
