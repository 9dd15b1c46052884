// The show's sound: a voice per sound, or the music's voice with the sounds
// mixed into it.
#include "app/showsound.h"

#include "audio/wavedispatch.h"
#include "audio/xaudio2.h"
#include "firework/showfile.h"
#include "utils/datapath.h"

#include <iostream>

namespace vexlor {

void showsound_t::Init(sndkit::wave_t* wave, const std::string& burstpath, const char* argv0)
{
    m_wave = wave;
    m_burstpath = burstpath;
    m_argv0 = argv0 != nullptr ? argv0 : "";
}

void showsound_t::Destroy()
{
    m_voice.Destroy();
}

std::string showsound_t::pathof(soundclip_t clip) const
{
    if (clip == soundclip_t::burst) return m_burstpath;
    return basekit::finddata(soundfile(clip), m_argv0.empty() ? nullptr : m_argv0.c_str());
}

// The player of a clip, loaded the first time it is asked for; the burst
// sound's when the clip cannot be read.
sndkit::wave_t* showsound_t::waveof(soundclip_t clip)
{
    if (clip == soundclip_t::burst || !m_wave) return m_wave;
    const auto index = static_cast<std::size_t>(clip);
    if (!m_tried[index]) {
        m_tried[index] = true;
        std::unique_ptr<sndkit::wave_t> wave = sndkit::wave_dispatch(0);
        // The reader says what is wrong in its own line.
        if (wave && wave->load(pathof(clip).c_str())) m_waves[index] = std::move(wave);
    }
    return m_waves[index] ? m_waves[index].get() : m_wave;
}

void showsound_t::load(const music_t& music, const std::vector<soundcue_t>& cues)
{
    m_voice.Destroy();
    if (!m_wave) return;
    // Every clip the show sounds, ready before its first frame.
    for (const soundcue_t& cue : cues) waveof(cue.clip);
    if (music.file.empty()) return;
    std::string message;
    if (!m_voice.Init(sndkit::xaudio2_t::engine(), music.file.c_str(), music.offset, music.gain, message)) {
        std::cerr << musicproblem(music, message) << std::endl;
        return;
    }
    if (!m_voice.active()) return; // no device: silent, on the monotonic clock
    // The sounds on the music's own samples, so a burst on a beat is heard on it.
    std::array<bool, soundclips> ready{};
    std::vector<sndkit::showvoice_t::timedclip_t> sounds;
    sounds.reserve(cues.size());
    for (const soundcue_t& cue : cues) {
        const auto index = static_cast<std::size_t>(cue.clip);
        if (!ready[index]) {
            // A clip that cannot be read plays as the burst sound.
            const bool own = cue.clip == soundclip_t::burst || m_waves[index] != nullptr;
            const std::string path = own ? pathof(cue.clip) : m_burstpath;
            if (!sndkit::loadclip(path, m_voice.rate(), m_clips[index], message)) {
                std::cerr << message << std::endl;
                m_voice.Destroy();
                return;
            }
            ready[index] = true;
        }
        sounds.push_back({cue.time, &m_clips[index]});
    }
    m_voice.setsounds(sounds);
}

void showsound_t::play(double showtime)
{
    m_voice.play(showtime);
}

void showsound_t::pause(double showtime)
{
    m_voice.pause(showtime);
}

bool showsound_t::clock(std::int64_t now, double& showtime)
{
    return m_voice.clock(now, showtime);
}

void showsound_t::sound(const soundhit_t& hit)
{
    if (!m_wave || m_voice.active() || hit.clip == soundclip_t::none) return;
    if (sndkit::wave_t* wave = waveof(hit.clip)) wave->play(false);
}

} // namespace vexlor
