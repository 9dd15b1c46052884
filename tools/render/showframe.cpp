// A render's frame from one instant or several.
#include "tools/render/showframe.h"

#include <chrono>

namespace vexlor {
namespace {

using steady = std::chrono::steady_clock;

double since(steady::time_point start)
{
    return std::chrono::duration<double>(steady::now() - start).count();
}

} // namespace

double drawshowframe(framesource_t& source, frame_t& frame, float t, const shutter_t& shutter, GLuint target)
{
    double evaluating = 0.0;
    const auto evaluate = [&](float at) {
        const auto begin = steady::now();
        source.runner.evaluate(at, source.points);
        evaluating += since(begin);
        frame.Update(source.points.data(), source.points.size());
    };
    if (frame.look().night()) {
        const auto begin = steady::now();
        source.smoke.evaluate(source.runner.show(), t, source.puffs);
        evaluating += since(begin);
        frame.UpdateSmoke(t, source.puffs.data(), source.puffs.size());
    }
    if (shutter.instants <= 1) {
        evaluate(t);
        frame.Draw(target);
        return evaluating;
    }
    // The middle of each of `instants` equal parts of the shutter's
    // interval: each instant stands for its part, so a streak's light is as
    // long as the travel while the shutter is open.
    frame.BeginExposure(shutter.instants);
    const double parts = static_cast<double>(shutter.instants);
    for (int i = 0; i < shutter.instants; ++i) {
        evaluate(static_cast<float>(static_cast<double>(t) + shutter.open * ((i + 0.5) / parts - 0.5)));
        frame.ExposeInstant();
    }
    frame.FinishExposure(target);
    return evaluating;
}

} // namespace vexlor
