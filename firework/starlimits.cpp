// Conservative bounds for skipping burnt-out stars and stages. Float walks
// lose at most 2^-24 relative per subtraction; the margins below cover 4096
// subtractions with room to spare, longer lists get no bound.
#include "firework/starlimits.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vexlor {

namespace {

constexpr std::size_t longestwalk = 4096;
constexpr double relativemargin = 1e-3;
constexpr double absolutemargin = 1e-6; // covers subnormal results and empty sums
constexpr double infinity = std::numeric_limits<double>::infinity();

bool regulardelay(float delay)
{
    return delay > 0.0f && std::isfinite(delay);
}

double widen(double bound)
{
    return std::isfinite(bound) ? bound * (1.0 + relativemargin) + absolutemargin : bound;
}

// The largest power of two that divides a positive finite float.
double lowbit(float x)
{
    double bit = std::ldexp(1.0, std::max(std::ilogb(x) - 23, -149));
    while (std::fmod(static_cast<double>(x), 2.0 * bit) == 0.0)
        bit *= 2.0;
    return bit;
}

// Limits that allow no shortcut at all.
starlimits_t nolimits(std::size_t powders)
{
    starlimits_t limits;
    limits.powders = powders;
    limits.tailstart = powders;
    limits.mindelay = std::numeric_limits<float>::infinity();
    limits.tailwindow = infinity;
    limits.burnout = infinity;
    return limits;
}

} // namespace

double filmwindow(const std::vector<film_t>& films);

namespace {

// A star with effects is walked stage by stage; only its burnout is kept,
// split stages bounded from the burst by their own delay.
starlimits_t speciallimits(const fire_t& fire, const stareffect_t& effect)
{
    starlimits_t limits = nolimits(fire.powders.size());
    limits.effect = fire.effect;
    limits.special = true;
    double burnout = -infinity;
    double delays = 0.0;
    for (std::size_t i = 0; i < fire.powders.size(); ++i) {
        const powder_t& powder = fire.powders[i];
        const double window = filmwindow(powder.films);
        const bool split = i < effect.stages.size() && effect.stages[i].split;
        if (split) {
            if (!std::isfinite(powder.delay))
                return limits; // no bound known
            burnout = std::max(burnout, std::max(0.0, static_cast<double>(powder.delay)) + window);
        } else if (powder.delay == 0.0f) {
            if (powder.films.empty())
                return limits; // draws the shell for ever
            burnout = std::max(burnout, window);
        } else if (regulardelay(powder.delay)) {
            delays += powder.delay;
            burnout = std::max(burnout, delays + window);
        } else {
            return limits;
        }
    }
    limits.burnout = widen(burnout);
    return limits;
}

} // namespace

double filmwindow(const std::vector<film_t>& films)
{
    if (films.empty())
        return -infinity;
    if (films.size() > longestwalk)
        return infinity;
    double sum = 0.0;
    for (const film_t& film : films) {
        if (!(film.duration >= 0.0f) || !std::isfinite(film.duration))
            return infinity;
        sum += film.duration;
    }
    return widen(sum);
}

starlimits_t starlimits(const fire_t& fire, const stareffect_t* effect)
{
    const std::vector<powder_t>& powders = fire.powders;
    starlimits_t limits;
    limits.powders = powders.size();
    if (powders.size() > longestwalk) {
        limits = nolimits(powders.size());
        limits.effect = fire.effect;
        limits.special = effect != nullptr;
        return limits;
    }
    if (effect != nullptr)
        return speciallimits(fire, *effect);

    limits.tailstart = 0;
    for (std::size_t i = 0; i < powders.size(); ++i)
        if (!regulardelay(powders[i].delay))
            limits.tailstart = i + 1;
    limits.mindelay = std::numeric_limits<float>::infinity();
    limits.tailwindow = -infinity;
    if (limits.tailstart < powders.size())
        limits.step = powders[limits.tailstart].delay;

    // A delayed stage has used up at most the sum of all delays before it
    // (inclusive), so it is out once the time since the burst passes that
    // sum plus its own film window.
    double burnout = -infinity;
    double delays = 0.0;
    bool endless = false;
    for (std::size_t i = 0; i < powders.size(); ++i) {
        const powder_t& powder = powders[i];
        const double window = filmwindow(powder.films);
        if (i >= limits.tailstart) {
            limits.mindelay = std::min(limits.mindelay, powder.delay);
            limits.tailwindow = std::max(limits.tailwindow, window);
            if (powder.delay != limits.step)
                limits.step = 0.0f;
        }
        if (endless)
            continue;
        if (powder.delay == 0.0f) {
            // A carrier without films draws the shell for ever.
            endless = powder.films.empty();
            burnout = endless ? infinity : std::max(burnout, window);
        } else if (regulardelay(powder.delay)) {
            delays += powder.delay;
            burnout = std::max(burnout, delays + window);
        } else {
            endless = true;
            burnout = infinity;
        }
    }
    if (limits.step > 0.0f)
        limits.stepquantum = lowbit(limits.step);
    limits.burnout = widen(burnout);
    limits.effect = fire.effect;
    return limits;
}

} // namespace vexlor
