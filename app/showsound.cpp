// The show's sound: a voice per sound, or the music's voice with the bursts
// mixed into it.
#include "app/showsound.h"

#include "audio/xaudio2.h"
#include "firework/showfile.h"

#include <iostream>

namespace vexlor {

void showsound_t::Init(sndkit::wave_t* wave, const std::string& burstpath)
{
    m_wave = wave;
    m_burstpath = burstpath;
}

void showsound_t::Destroy()
{
    m_voice.Destroy();
}

void showsound_t::load(const music_t& music, const std::vector<double>& soundtimes)
{
    m_voice.Destroy();
    if (!m_wave || music.file.empty()) return;
    std::string message;
    if (!m_voice.Init(sndkit::xaudio2_t::engine(), music.file.c_str(), music.offset, music.gain, message)) {
        std::cerr << musicproblem(music, message) << std::endl;
        return;
    }
    if (!m_voice.active()) return; // no device: silent, on the monotonic clock
    // The bursts on the music's own samples, so a burst on a beat is heard on it.
    if (!sndkit::loadclip(m_burstpath, m_voice.rate(), m_clip, message)) {
        std::cerr << message << std::endl;
        m_voice.Destroy();
        return;
    }
    m_voice.setsounds(&m_clip, soundtimes);
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

void showsound_t::sound(std::size_t, sound_t)
{
    if (m_wave && !m_voice.active()) m_wave->play(false);
}

} // namespace vexlor
