// When a show's points show and how many there are, derived once from the
// model rather than found by playing it: the show's end (the last instant any
// point shows, however late the show starts and whatever gaps it has), each
// shell's launch, burst and last lit instant for a timeline, the times of its
// sounds, and its busiest frame at a given frame rate.
#pragma once

#include "firework/show.h"
#include "firework/starlimits.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vexlor {

// The most points one frame may hold. Each point takes 32 bytes in the point
// list, in each thread's share of it and in the GL buffer: 2^22 points are
// 128 MB in each, far more than a window draws at its frame rate (the
// gallery's 1000-shell show peaks at 153,800).
inline constexpr std::size_t maxframepoints = std::size_t{1} << 22;

// One shell on a timeline, in show seconds. `out` is the last instant at
// which the shell gives a point (its launch when it never does; infinity when
// a star of it draws for ever).
struct shelltimes_t {
    float launch = 0.0f;
    double burst = 0.0; // launch plus fuse: when the burst sound is due
    float out = 0.0f;
};

// The most points of any frame k at from + k / fps, and that frame's time
// (the first such frame).
struct busiest_t {
    std::size_t points = 0;
    double at = 0.0;
};

class showtiming_t {
public:
    // Derives everything from the show's designs and shells; call it again
    // when the show changes.
    void analyse(const show_t& show);

    // The last instant at which any point shows: the show is over once its
    // time has passed it. -infinity for a show that never draws anything,
    // +infinity for one that draws for ever (a stage that keeps the shell).
    float end() const { return m_end; }
    bool ends() const;

    const std::vector<shelltimes_t>& shells() const { return m_shells; }

    // The busiest of the frames k = 0, 1, ... at from + k / fps up to `to`
    // (inclusive), counted from the designs' stage timing shifted by each
    // shell's launch and burst: exact but for instants that fall within
    // rounding of a stage's ignition or burnout. A show that draws for ever
    // is counted until its last change.
    busiest_t busiest(const show_t& show, double fps, double from, double to) const;

    // The busiest frame over the whole show at `fps`, from time 0 (or the
    // earliest launch, if earlier) to the end.
    busiest_t busiest(const show_t& show, double fps = 60.0) const;

private:
    // A run of stages lit from `start` to `stop` seconds after the burst,
    // both included (a start at 0 means just after the burst).
    struct run_t {
        double start = 0.0;
        double stop = 0.0;
        std::uint64_t points = 0;
    };
    struct design_t {
        float end = 0.0f; // the last float time since the burst with a point
        double lastchange = 0.0;
        std::vector<run_t> runs;
    };

    std::vector<design_t> m_designs;
    std::vector<shelltimes_t> m_shells;
    float m_end = 0.0f;
    double m_lastchange = 0.0; // after it the count stays as it is
};

// Whether every frame of the show can be drawn in bounded memory: its
// busiest frame at 60 a second holds at most maxframepoints. When not, what
// is too much, as the end of a line that names the file, in `problem`.
bool drawable(const show_t& show, std::string& problem);

} // namespace vexlor
