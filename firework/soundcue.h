// The sounds of a show: what happened to a shell (its launch, its burst, its
// stars' crackle) and which of the programs' clips sounds it, a frame's
// requests and the cues of a whole show for those who mix it ahead.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vexlor {

enum class sound_t { launch, burst, crackle };

// The clips the programs play; each is a WAVE file among their data.
enum class soundclip_t : std::uint8_t {
    none,        // silent
    burst,       // the classic launch and burst sound, and small shells' breaks
    deepburst,   // the break of a shell from 100 mm
    deeperburst, // from 200 mm
    crackle,     // many tiny reports
};
inline constexpr std::size_t soundclips = 5;

// The clip's file name ("reverb.wav" for the classic burst); null for none.
const char* soundfile(soundclip_t clip);

// A sound a frame asks for.
struct soundhit_t {
    std::size_t shell = 0;
    sound_t what = sound_t::launch;
    soundclip_t clip = soundclip_t::burst;
};

// A sound of a whole show at its show time.
struct soundcue_t {
    double time = 0.0;
    soundclip_t clip = soundclip_t::burst;
};

struct show_t;

// How long after it happens shell `shell`'s `what` reaches the audience:
// its distance from the camera at the speed of sound when the show's camera
// asks for that, else 0.
double sounddelay(const show_t& show, std::size_t shell, sound_t what);

// Every sound the show makes, at the show time it is heard (delays
// included), in order of time; silent ones left out. For those who mix the
// sounds ahead of time.
std::vector<soundcue_t> soundcues(const show_t& show);

} // namespace vexlor
