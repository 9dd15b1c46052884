// The show's sound for the viewer and the screensaver: each sound's clip on a
// voice of its own at every launch, burst and crackle, or, while a show's
// music plays, the music and the sounds mixed on one voice whose device clock
// the show follows. What the runner is handed as its showaudio_t.
#pragma once

#include "audio/clipmix.h"
#include "audio/showvoice.h"
#include "audio/wave.h"
#include "firework/showaudio.h"

#include <array>
#include <memory>
#include <string>

namespace vexlor {

class showsound_t : public showaudio_t {
public:
    // `wave`: the loaded burst sound (null: silence, and no music either);
    // `burstpath`: its file, read again at the device's rate when it is
    // mixed into music. The other clips are found as the burst sound was
    // (beside `argv0` among others) once a show needs them.
    void Init(sndkit::wave_t* wave, const std::string& burstpath, const char* argv0 = nullptr);
    // Ends the music's voice and its thread.
    void Destroy();
    ~showsound_t() override { Destroy(); }

    // A track that cannot be played is told in one line; the show then
    // plays without it, each sound on its own voice. A clip that cannot be
    // read is told in one line too, and the burst sound plays for it.
    void load(const music_t& music, const std::vector<soundcue_t>& cues) override;
    void play(double showtime) override;
    void pause(double showtime) override;
    bool clock(std::int64_t now, double& showtime) override;
    void sound(const soundhit_t& hit) override;

    bool music() const { return m_voice.active(); }

private:
    std::string pathof(soundclip_t clip) const;
    sndkit::wave_t* waveof(soundclip_t clip);

    sndkit::wave_t* m_wave = nullptr;
    std::string m_burstpath;
    std::string m_argv0;
    std::array<std::unique_ptr<sndkit::wave_t>, soundclips> m_waves; // the other clips, once needed
    std::array<bool, soundclips> m_tried{};                          // a load was tried (and told)
    sndkit::showvoice_t m_voice;
    std::array<sndkit::clip_t, soundclips> m_clips; // at the voice's rate
};

} // namespace vexlor
