// Flight under either law, and the strobes and crackles drawn from a star's
// own fixed numbers. Single precision, in one grouping, so that a point is
// the same bit for bit on every thread and at every call.
#include "firework/effect.h"

#include "firework/ballistic.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vexlor {

namespace {

// Below this the drag is taken for none: the series would lose its digits.
constexpr float k_nodrag = 1e-5f;

float dragrate(float drag)
{
    // Velocity retained per second, as a rate: drag = exp(-rate).
    return drag > 0.0f ? -std::log(std::min(drag, 1.0f)) : 30.0f;
}

template <typename T> bool samebits(const T& a, const T& b)
{
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

} // namespace

bool sameeffect(const stageeffect_t& a, const stageeffect_t& b)
{
    return a.motion == b.motion && a.split == b.split && samebits(a.kick, b.kick) && a.tail == b.tail
        && samebits(a.tailgap, b.tailgap) && samebits(a.tailsize, b.tailsize) && samebits(a.tailcolor, b.tailcolor)
        && samebits(a.strobe, b.strobe) && samebits(a.duty, b.duty) && a.crackle == b.crackle
        && samebits(a.flash, b.flash) && samebits(a.spread, b.spread);
}

bool sameeffect(const stareffect_t& a, const stareffect_t& b)
{
    return std::equal(a.stages.begin(), a.stages.end(), b.stages.begin(), b.stages.end(),
                      [](const stageeffect_t& x, const stageeffect_t& y) { return sameeffect(x, y); });
}

geokit::position3_t flightpoint(motion_t motion, const geokit::position3_t& from, const geokit::direction3_t& v,
                                float s, float drag)
{
    if (motion == motion_t::classic)
        return ballistic(from, v, s, drag);
    const float k = dragrate(drag);
    if (k < k_nodrag) {
        const float fall = 0.5f * gravity * s * s;
        return {from.x + v.x * s, from.y + v.y * s, from.z + v.z * s + fall};
    }
    // The velocity relaxes from v towards the steady fall g / k: the point
    // has gone v m plus that fall over the time not yet relaxed, s - m.
    const float m = -std::expm1(-k * s) / k;
    const float steady = gravity / k;
    return {from.x + v.x * m, from.y + v.y * m, from.z + v.z * m + steady * (s - m)};
}

geokit::direction3_t flightvelocity(motion_t motion, const geokit::direction3_t& v, float s, float drag)
{
    if (motion == motion_t::classic) {
        // The derivative of ballistic(): f = drag^s s, f' = drag^s (1 + s ln drag).
        const float p = std::pow(drag, s);
        const float f = p * s;
        const float df = p * (1.0f + s * std::log(drag));
        return {v.x * df, v.y * df, v.z * df + 0.5f * gravity * (f + s * df)};
    }
    const float k = dragrate(drag);
    if (k < k_nodrag)
        return {v.x, v.y, v.z + gravity * s};
    const float e = std::exp(-k * s);
    const float steady = gravity / k;
    return {v.x * e, v.y * e, v.z * e + steady * (1.0f - e)};
}

float starnoise(std::uint32_t seed, std::uint32_t index)
{
    // A 32-bit integer mix (the "lowbias32" finaliser), then its top 24 bits.
    std::uint32_t x = seed ^ (index * 0x9e3779b9u);
    x ^= x >> 16;
    x *= 0x7feb352du;
    x ^= x >> 15;
    x *= 0x846ca68bu;
    x ^= x >> 16;
    return static_cast<float>(x >> 8) * (1.0f / 16777216.0f);
}

std::uint32_t starseed(const fire_t& fire, std::size_t stage)
{
    std::uint32_t bits[3];
    std::memcpy(&bits[0], &fire.direction.x, 4);
    std::memcpy(&bits[1], &fire.direction.y, 4);
    std::memcpy(&bits[2], &fire.direction.z, 4);
    std::uint32_t seed = static_cast<std::uint32_t>(stage) * 0x85ebca6bu;
    for (std::uint32_t b : bits)
        seed = (seed ^ b) * 0x01000193u;
    return seed;
}

bool strobelit(const stageeffect_t& effect, std::uint32_t seed, float s)
{
    if (!(effect.strobe > 0.0f))
        return true;
    // Each star flashes at its own phase, as real strobe stars do.
    const float cycles = s * effect.strobe + starnoise(seed, 0x5742u);
    return cycles - std::floor(cycles) < effect.duty;
}

float crackletime(const stageeffect_t& effect, std::uint32_t seed, std::uint32_t j, float films)
{
    const float window = std::max(0.0f, films - effect.flash);
    return (static_cast<float>(j) + starnoise(seed, 2 * j)) * window / static_cast<float>(effect.crackle);
}

geokit::direction3_t crackleoffset(const stageeffect_t& effect, std::uint32_t seed, std::uint32_t j)
{
    // A point spread evenly through a ball of radius `spread`.
    const float z = 2.0f * starnoise(seed, 2 * j + 1) - 1.0f;
    const float turn = 6.2831853f * starnoise(seed ^ 0xc2b2ae35u, j);
    const float across = std::sqrt(std::max(0.0f, 1.0f - z * z));
    const float radius = effect.spread * std::cbrt(starnoise(seed ^ 0x27d4eb2fu, j));
    return {radius * across * std::cos(turn), radius * across * std::sin(turn), radius * z};
}

std::size_t cracklebound(const stageeffect_t& effect, float films)
{
    const std::size_t all = effect.crackle;
    const double window = std::max(0.0, static_cast<double>(films) - effect.flash);
    if (!(window > 0.0))
        return all;
    // A flash starts somewhere in its own slot of window / crackle seconds:
    // those lit at an instant started within the last `flash` seconds.
    const double slots = std::floor(static_cast<double>(effect.flash) * effect.crackle / window) + 2.0;
    return std::min(all, static_cast<std::size_t>(slots));
}

} // namespace vexlor
