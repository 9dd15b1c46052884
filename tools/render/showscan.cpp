// The evaluation run ahead of drawing: frame count, busiest frame and sounds.
#include "tools/render/showscan.h"

#include "render/frame.h"

#include <cmath>

namespace vexlor {

namespace {

std::vector<firework_t>& shellsof(std::vector<firework_t>& scene)
{
    return scene;
}

// A show's headers carry each shell's time and fuse.
std::vector<firework_t>& shellsof(show_t& show)
{
    return show.shells;
}

template <typename Source>
showscan_t scanany(Source& scene, double from, double to, double fps, double limit, const stopfunc_t& stop)
{
    showscan_t scan;
    evaluator_t evaluator;
    evaluator.prepare(scene);
    const std::size_t capacity = pointcapacity(scene);
    evaluator.setthreads(threadsfor(capacity));
    std::vector<primitive_t> points;
    points.reserve(frame_t::startcapacity(capacity));
    const soundfunc_t onsound = [&](std::size_t index, sound_t what) {
        const firework_t& firework = shellsof(scene)[index];
        // The event's own time, not the frame's: it lands on its exact sample.
        double time = firework.time;
        if (what == sound_t::burst) time += static_cast<double>(firework.fuse);
        scan.sounds.push_back({time, what, index});
    };

    const bool bounded = to > from;
    const double end = bounded ? to : from + limit;
    // Frames k with from + k / fps < end; an end on a frame's own time excludes it.
    const auto count = static_cast<std::size_t>(std::max(0.0, std::ceil((end - from) * fps - 1e-9)));
    bool drawn = false;
    for (std::size_t k = 0; k < count; ++k) {
        if (stop && stop()) break;
        evaluator.evaluate(scene, frametime(from, fps, k), points, onsound);
        if (points.size() > scan.largest) scan.largest = points.size();
        if (!bounded && points.empty() && drawn) {
            scan.ends = true;
            scan.frames = k;
            break;
        }
        drawn = drawn || !points.empty();
        scan.frames = k + 1;
    }
    for (firework_t& firework : shellsof(scene)) firework.launched = firework.exploded = false;
    return scan;
}

} // namespace

showscan_t scanshow(std::vector<firework_t>& scene, double from, double to, double fps, double limit,
                    const stopfunc_t& stop)
{
    return scanany(scene, from, to, fps, limit, stop);
}

showscan_t scanshow(show_t& show, double from, double to, double fps, double limit, const stopfunc_t& stop)
{
    return scanany(show, from, to, fps, limit, stop);
}

} // namespace vexlor
