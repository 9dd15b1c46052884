// Scene counts and a silent run of the show, frame by frame.
#include "firework/sceneinfo.h"

#include "firework/evaluate.h"
#include "utils/multithread.h"

namespace vexlor {

namespace {

void addfires(scenecounts_t& counts, const std::vector<fire_t>& fires, std::size_t times)
{
    counts.fires += fires.size() * times;
    for (const fire_t& fire : fires) {
        counts.powders += fire.powders.size() * times;
        for (const powder_t& powder : fire.powders)
            counts.films += powder.films.size() * times;
    }
}

std::vector<firework_t>& shells(std::vector<firework_t>& scene) { return scene; }
std::vector<firework_t>& shells(show_t& show) { return show.shells; }

template <typename Scene> showrun_t play(Scene& scene, double framerate, double limit)
{
    constexpr float firsttick = 0.001f; // the clock counts whole milliseconds
    showrun_t run;
    evaluator_t evaluator;
    evaluator.setthreads(static_cast<unsigned>(basekit::thread_t::getcorecount()));
    std::vector<primitive_t> points;
    points.reserve(1024);
    const soundfunc_t count = [&run](std::size_t, sound_t) { ++run.sounds; };
    const soundfunc_t silent = [](std::size_t, sound_t) {};
    const auto frame = [&](float t, const soundfunc_t& onsound) {
        evaluator.evaluate(scene, t, points, onsound);
        return points.size();
    };

    float last = 0.0f; // the latest frame with points
    for (long k = 0;; ++k) {
        const float t = k == 0 ? firsttick : static_cast<float>(static_cast<double>(k) / framerate);
        if (t > limit)
            break;
        const std::size_t n = frame(t, count);
        if (n == 0) {
            run.ends = true;
            run.length = k == 0 ? 0.0f : t; // nothing ever shows: restarted at once
            break;
        }
        if (n > run.largest) {
            run.largest = n;
            run.largestat = t;
        }
        last = t;
    }
    // The first empty time lies between the last frame with points and the
    // empty one; halve that interval down to neighbouring floats.
    if (run.ends && run.largest > 0) {
        float low = last;
        float high = run.length;
        while (true) {
            const float middle = low + (high - low) * 0.5f;
            if (middle <= low || middle >= high)
                break;
            (frame(middle, silent) == 0 ? high : low) = middle;
        }
        run.length = high;
    }
    for (firework_t& firework : shells(scene)) {
        firework.launched = false;
        firework.exploded = false;
    }
    return run;
}

} // namespace

scenecounts_t countscene(const std::vector<firework_t>& scene)
{
    scenecounts_t counts;
    counts.fireworks = scene.size();
    for (const firework_t& firework : scene)
        addfires(counts, firework.fires, 1);
    return counts;
}

scenecounts_t countshow(const show_t& show)
{
    scenecounts_t counts;
    counts.fireworks = show.shells.size();
    std::vector<std::size_t> uses(show.designs.size(), 0);
    for (std::size_t design : show.design)
        ++uses[design];
    for (std::size_t i = 0; i < show.designs.size(); ++i)
        addfires(counts, show.designs[i], uses[i]);
    return counts;
}

showrun_t runshow(std::vector<firework_t>& scene, double framerate, double limit)
{
    return play(scene, framerate, limit);
}

showrun_t runshow(show_t& show, double framerate, double limit)
{
    return play(show, framerate, limit);
}

} // namespace vexlor
