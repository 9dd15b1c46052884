// Breaks measured by sampling their stars over their burn with the frame's
// own evaluation, and the audience placed to see all of them.
#include "firework/framing.h"

#include "firework/ballistic.h"
#include "firework/evaluate.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vexlor {

namespace {

// Samples over each star's burn: the stars of a break spread fastest at
// first, so the samples crowd there; the last lies at the burnout itself.
constexpr int k_samples = 32;
// A star that burns for ever is followed this long.
constexpr double k_longest = 60.0;

constexpr double k_pi = 3.14159265358979323846;

} // namespace

double burstbox_t::diameter() const
{
    return std::max(high[0] - low[0], high[1] - low[1]);
}

burstbox_t designbox(const show_t& show, std::size_t design)
{
    burstbox_t box;
    bool any = false;
    std::vector<primitive_t> points;
    for (const fire_t& fire : show.designs[design]) {
        const starlimits_t limits = starlimits(fire, effectof(&show.effects, fire.effect));
        const double end = std::min(k_longest, limits.burnout);
        if (!(end > 0.0))
            continue;
        for (int k = 1; k <= k_samples; ++k) {
            const double share = static_cast<double>(k) / k_samples;
            // The burnout bound lies a hair past the last lit instant: the
            // last sample steps back from it by that margin.
            const double b = k == k_samples ? end / (1.0 + 2e-3) : end * share * share;
            points.clear();
            starpoints(fire, &show.effects, {0.0f, 0.0f, 0.0f}, static_cast<float>(b), points, true);
            for (const primitive_t& p : points) {
                const double at[3] = {p.position.x, p.position.y, p.position.z};
                for (int axis = 0; axis < 3; ++axis) {
                    box.low[axis] = any ? std::min(box.low[axis], at[axis]) : at[axis];
                    box.high[axis] = any ? std::max(box.high[axis], at[axis]) : at[axis];
                }
                any = true;
            }
        }
    }
    return box;
}

viewpoint_t frameshow(const show_t& show)
{
    viewpoint_t view;
    view.placed = true;
    if (show.shells.empty())
        return view;
    std::vector<burstbox_t> boxes(show.designs.size());
    std::vector<bool> measured(show.designs.size(), false);
    double low[3], high[3];
    for (int axis = 0; axis < 3; ++axis) {
        low[axis] = std::numeric_limits<double>::infinity();
        high[axis] = -std::numeric_limits<double>::infinity();
    }
    const auto take = [&](double x, double y, double z) {
        const double at[3] = {x, y, z};
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(low[axis], at[axis]);
            high[axis] = std::max(high[axis], at[axis]);
        }
    };
    for (std::size_t i = 0; i < show.shells.size(); ++i) {
        const firework_t& shell = show.shells[i];
        const std::size_t design = show.design[i];
        if (!measured[design]) {
            boxes[design] = designbox(show, design);
            measured[design] = true;
        }
        take(shell.position.x, shell.position.y, shell.position.z);
        const geokit::position3_t B = ballistic(shell.position, shell.velocity, shell.fuse, shell.drag);
        if (!std::isfinite(B.x) || !std::isfinite(B.y) || !std::isfinite(B.z))
            continue;
        const burstbox_t& box = boxes[design];
        take(B.x + box.low[0], B.y + box.low[1], B.z + box.low[2]);
        take(B.x + box.high[0], B.y + box.high[1], B.z + box.high[2]);
    }
    // The audience on the ground in front (towards -y) of the middle of it
    // all, far enough back that a ball round everything fits the narrower
    // way of a picture at least 4:3 wide, and never looking up more than
    // 35 degrees.
    const double centre[3] = {0.5 * (low[0] + high[0]), 0.5 * (low[1] + high[1]), 0.5 * (low[2] + high[2])};
    const double half[3] = {0.5 * (high[0] - low[0]), 0.5 * (high[1] - low[1]), 0.5 * (high[2] - low[2])};
    const double radius = std::max(10.0, std::sqrt(half[0] * half[0] + half[1] * half[1] + half[2] * half[2]));
    const double halffov = 0.5 * static_cast<double>(view.fov) * k_pi / 180.0;
    constexpr double k_eye = 2.0; // an audience's eyes above the ground
    const double distance = 1.1 * radius / std::sin(halffov);
    const double rise = centre[2] - (low[2] + k_eye);
    const double across = std::sqrt(std::max(0.0, distance * distance - rise * rise));
    const double back = std::max(across, rise / std::tan(35.0 * k_pi / 180.0));
    view.position = {static_cast<float>(centre[0]), static_cast<float>(centre[1] - back),
                     static_cast<float>(low[2] + k_eye)};
    view.target = {static_cast<float>(centre[0]), static_cast<float>(centre[1]), static_cast<float>(centre[2])};
    return view;
}

} // namespace vexlor
