// The clips' files and the cues of a whole show, delays by distance included.
#include "firework/soundcue.h"

#include "firework/ballistic.h"
#include "firework/show.h"

#include <algorithm>
#include <cmath>

namespace vexlor {

const char* soundfile(soundclip_t clip)
{
    switch (clip) {
    case soundclip_t::burst: return "reverb.wav";
    case soundclip_t::deepburst: return "deepburst.wav";
    case soundclip_t::deeperburst: return "deeperburst.wav";
    case soundclip_t::crackle: return "crackle.wav";
    case soundclip_t::none: break;
    }
    return nullptr;
}

double sounddelay(const show_t& show, std::size_t shell, sound_t what)
{
    if (!show.camera.distancesound)
        return 0.0;
    const firework_t& firework = show.shells[shell];
    // A launch is heard from the ground, a burst and its crackle from where
    // the shell broke.
    const geokit::position3_t at = what == sound_t::launch
                                     ? firework.position
                                     : ballistic(firework.position, firework.velocity, firework.fuse, firework.drag);
    const geokit::position3_t& ear = show.camera.position;
    const double dx = static_cast<double>(at.x) - ear.x;
    const double dy = static_cast<double>(at.y) - ear.y;
    const double dz = static_cast<double>(at.z) - ear.z;
    return std::sqrt(dx * dx + dy * dy + dz * dz) / soundspeed;
}

std::vector<soundcue_t> soundcues(const show_t& show)
{
    std::vector<soundcue_t> cues;
    cues.reserve(2 * show.shells.size());
    for (std::size_t i = 0; i < show.shells.size(); ++i) {
        const firework_t& shell = show.shells[i];
        const shellnote_t note = noteof(show, i);
        const double burst = static_cast<double>(shell.time) + shell.fuse;
        if (note.launch != soundclip_t::none)
            cues.push_back({shell.time + sounddelay(show, i, sound_t::launch), note.launch});
        const double heard = sounddelay(show, i, sound_t::burst);
        if (note.burst != soundclip_t::none)
            cues.push_back({burst + heard, note.burst});
        if (note.crackle >= 0.0f)
            cues.push_back({burst + note.crackle + heard, soundclip_t::crackle});
    }
    std::stable_sort(cues.begin(), cues.end(), [](const soundcue_t& a, const soundcue_t& b) { return a.time < b.time; });
    return cues;
}

} // namespace vexlor
