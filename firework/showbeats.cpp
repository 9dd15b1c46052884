// Beats from a tempo are worked out, detected beats are looked up; both in
// track seconds, shifted by the music's offset into show time.
#include "firework/showbeats.h"

#include <algorithm>
#include <cmath>

namespace vexlor {

namespace {

double period(const music_t& music)
{
    return 60.0 / music.bpm;
}

// Track seconds of beat index k (0 for beat 1) on a given tempo.
double gridtime(const music_t& music, double k)
{
    return music.firstbeat + k * period(music);
}

} // namespace

bool hasbeats(const music_t& music)
{
    return music.detect ? !music.beats.empty() : music.bpm > 0.0;
}

std::size_t beatcount(const music_t& music)
{
    if (music.detect)
        return music.beats.size();
    if (!(music.bpm > 0.0) || music.firstbeat > music.seconds)
        return 0;
    return static_cast<std::size_t>(std::floor((music.seconds - music.firstbeat) / period(music) + 1e-9)) + 1;
}

bool beattime(const music_t& music, double beat, double& showtime)
{
    const std::size_t count = beatcount(music);
    if (!(beat >= 1.0) || beat > static_cast<double>(count))
        return false;
    const double k = beat - 1.0;
    if (!music.detect) {
        showtime = music.offset + gridtime(music, k);
        return true;
    }
    const auto i = static_cast<std::size_t>(k);
    const double fraction = k - static_cast<double>(i);
    double track = music.beats[i];
    if (fraction > 0.0 && i + 1 < count)
        track += fraction * (music.beats[i + 1] - music.beats[i]);
    showtime = music.offset + track;
    return true;
}

bool beatat(const music_t& music, double showtime, beatplace_t& place)
{
    const std::size_t count = beatcount(music);
    if (count == 0)
        return false;
    const double track = showtime - music.offset;
    std::size_t index = 0;
    if (!music.detect) {
        const double k = std::round((track - music.firstbeat) / period(music));
        index = static_cast<std::size_t>(std::clamp(k, 0.0, static_cast<double>(count - 1)));
    } else {
        const auto after = std::lower_bound(music.beats.begin(), music.beats.end(), track);
        index = static_cast<std::size_t>(after - music.beats.begin());
        if (index == count || (index > 0 && track - music.beats[index - 1] <= music.beats[index] - track))
            --index;
    }
    double at = 0.0;
    beattime(music, static_cast<double>(index + 1), at);
    place.beat = index + 1;
    place.off = showtime - at;
    return true;
}

} // namespace vexlor
