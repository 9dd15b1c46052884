// The per-frame evaluation: the whole scene in closed form at scene time t,
// one point per rising shell, star and star stage, and one sound request per
// launch and per burst. Free of GL and audio; the viewer uploads and plays.
#pragma once

#include "firework/firework.h"
#include "firework/primitive.h"
#include "firework/starlimits.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace vexlor {

enum class sound_t { launch, burst };

// Called with the firework's index in the scene and what happened to it.
using soundfunc_t = std::function<void(std::size_t firework, sound_t what)>;

// Elapsed microseconds of the scene clock: both readings go to float first,
// then they are subtracted (after a wrap of the 32-bit clock it is negative).
inline float elapsedmicros(std::uint32_t now, std::uint32_t start)
{
    return static_cast<float>(now) - static_cast<float>(start);
}

// Scene time in seconds from elapsed microseconds.
inline float scenetime(float elapsed)
{
    return static_cast<float>(elapsed / 1000000.0);
}

// The number of points to reserve: every powder of every star of every shell.
std::size_t primitivecount(const std::vector<firework_t>& scene);

// The most points one frame can give: one for a rising shell, at most one per
// stage after its burst. Unlike primitivecount it holds for shells without
// stages too, so the viewer sizes its buffers by it.
std::size_t pointcapacity(const std::vector<firework_t>& scene);

// Keeps what it derives from the scene's delays and film durations, so that
// stars and shells that have burnt out cost next to nothing. The points and
// sounds are exactly those of the plain step-by-step evaluation, for any t in
// any order (restart, stepping back, pause).
class evaluator_t {
public:
    // Derives the limits; call it after building or loading a scene and after
    // changing delays, films or the shape of the scene. Positions, velocities,
    // colours, sizes, drags, fuses and launch times may change freely.
    void prepare(const std::vector<firework_t>& scene);

    // Clears `points` (keeping its capacity) and refills it for time t, sets
    // the sound flags of each firework and reports every sound to play.
    // A scene whose counts of shells, stars or stages no longer match the
    // limits is prepared again.
    void evaluate(std::vector<firework_t>& scene, float t, std::vector<primitive_t>& points,
                  const soundfunc_t& onsound);

private:
    struct shelllimits_t {
        std::size_t firststar = 0; // index of its first star in m_stars
        std::size_t stars = 0;
        double burnout = 0.0; // latest time since the burst at which any star shows
    };

    bool matches(const std::vector<firework_t>& scene) const;

    std::vector<shelllimits_t> m_shells;
    std::vector<starlimits_t> m_stars;
};

} // namespace vexlor
