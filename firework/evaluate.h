// The per-frame evaluation: the whole scene in closed form at scene time t,
// one point per rising shell, star and star stage, and one sound request per
// launch and per burst. Free of GL and audio; the viewer uploads and plays.
#pragma once

#include "firework/firework.h"
#include "firework/primitive.h"
#include "firework/show.h"
#include "firework/soundcue.h"
#include "firework/starlimits.h"
#include "utils/workerpool.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace vexlor {

// Called with the firework's index in the scene and what happened to it.
using soundfunc_t = std::function<void(std::size_t firework, sound_t what)>;

// The number of points to reserve: every powder of every star of every shell.
std::size_t primitivecount(const std::vector<firework_t>& scene);

// How many threads should share frames of up to `points` points: one for
// small shows, where starting the workers costs more than it saves, else
// every online processor.
unsigned threadsfor(std::size_t points);

// Keeps what it derives from the scene's delays and film durations, so that
// stars and shells that have burnt out cost next to nothing. The points and
// sounds are exactly those of the plain step-by-step evaluation, for any t in
// any order (restart, stepping back, pause), however many threads share the
// work. A show_t is evaluated exactly as its expansion would be, with the
// limits derived once per design.
class evaluator_t {
public:
    // Derives the limits; call it after building or loading a scene and after
    // changing delays, films or the shape of the scene. Positions, velocities,
    // colours, sizes, drags, fuses and launch times may change freely.
    void prepare(const std::vector<firework_t>& scene);
    void prepare(const show_t& show);

    // Clears `points` (keeping its capacity) and refills it for time t, sets
    // the sound flags of each firework and reports every sound to play, the
    // index being the shell's in the scene (in the expansion for a show).
    // A scene whose counts of shells, stars or stages no longer match the
    // limits is prepared again.
    void evaluate(std::vector<firework_t>& scene, float t, std::vector<primitive_t>& points,
                  const soundfunc_t& onsound);
    void evaluate(show_t& show, float t, std::vector<primitive_t>& points, const soundfunc_t& onsound);
    // The points alone, at any instant and in any order: no sound is asked
    // for and the sound flags stay as they are.
    void points(const show_t& show, float t, std::vector<primitive_t>& points);

    // Shares the points of each frame among `threads` threads, the caller
    // being one of them (1, the default, keeps it all on the caller). The
    // points come out the same and in the same order. False when the threads
    // could not be started; the evaluation then stays on the caller.
    bool setthreads(unsigned threads);

    // Makes room in the threads' own buffers for frames of up to `points`
    // points, so that no frame allocates; the caller sizes its own buffer.
    void reserve(std::size_t points);

private:
    struct shelllimits_t {
        std::size_t firststar = 0; // index of its first star in m_stars
        std::size_t stars = 0;
        double burnout = 0.0; // latest time since the burst at which any star shows
    };

    // A stretch of shells evaluated into its own buffer when threads share a frame.
    struct part_t {
        std::size_t begin = 0;
        std::size_t end = 0;
        std::vector<primitive_t> points;
    };

    void addlimits(const std::vector<fire_t>& fires, const effecttable_t* effects);
    bool matches(const std::vector<firework_t>& scene) const;
    bool matches(const show_t& show) const;
    template <typename Source> void run(Source& source, float t, std::vector<primitive_t>& points,
                                        const soundfunc_t* onsound);
    template <typename Source> void fill(const Source& source, float t, std::size_t begin, std::size_t end,
                                         std::vector<primitive_t>& points) const;
    template <typename Source> static void runpart(void* context, std::size_t part);

    std::vector<shelllimits_t> m_limits; // per shell of a scene, per design of a show
    std::vector<starlimits_t> m_stars;
    bool m_show = false; // the limits are per design
    std::size_t m_effects = 0; // the show's star effects when they were derived

    basekit::workerpool_t m_pool;
    std::vector<part_t> m_parts;
    std::size_t m_reserved = 0; // points a frame, for the parts' buffers
    std::vector<std::size_t> m_weights; // per shell: its share of this frame's work
    const void* m_source = nullptr;     // the frame being shared
    std::vector<primitive_t>* m_output = nullptr;
    float m_t = 0.0f;
};

// Whether a star gives any point b seconds after its burst, by the same walk
// as the evaluation (positions aside): what the show's end is found with. A
// strobing or crackling stage counts while it burns, dark or lit, so that no
// end falls between two flashes.
bool starshows(const fire_t& fire, const starlimits_t& limits, float b, const effecttable_t* effects = nullptr);

// Appends the points of one star b seconds after a burst at B, as a frame
// draws them (a shell point for a stage that keeps the shell is left out);
// with `heads`, only where its stages reach: no tails, a strobe lit and
// every crackle flash at once.
void starpoints(const fire_t& fire, const effecttable_t* effects, const geokit::position3_t& B, float b,
                std::vector<primitive_t>& points, bool heads = false);

} // namespace vexlor
