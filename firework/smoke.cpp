// The smoke's closed form. A puff of a break at B, s seconds old, stands at
//   B + u r (1 - e^(-s/0.8)) + wind s + rise (1 - e^(-s/6)) up,
// its diameter d0 + 1.5 sqrt(s) m (turbulent spreading), its opacity falling
// as its smoke thins over a larger disc and as it dissipates (e^(-s/20)).
// Direction u, reach r and first size d0 come from a hash of the shell's index
// and the puff's, so every instant is the same whenever it is asked for.
#include "firework/smoke.h"

#include "firework/ballistic.h"
#include "firework/effect.h"
#include "firework/filmcolor.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace vexlor {

namespace {

constexpr float k_outtime = 0.8f;    // s: the break throws its smoke out within a second or so
constexpr float k_rise = 1.0f;       // m/s: warm smoke rises at first ...
constexpr float k_risetime = 6.0f;   // s: ... and slows as it cools
constexpr float k_growth = 1.5f;     // m per square-root second
constexpr float k_opacity = 0.22f;   // a fresh puff at its first size
constexpr float k_fade = 20.0f;      // s: dissipation
constexpr float k_appear = 0.2f;     // s: a puff thickens as the break's charge burns
constexpr float k_flashtime = 0.15f; // s: the break's own flash
constexpr float k_flash = 1.5f;
constexpr float k_starlight = 0.35f; // the light of a burst's stars, at their own colour
constexpr float k_leastradius = 3.0f; // m: the smallest reach of a burst's light
constexpr std::size_t k_lightstars = 8;
constexpr geokit::color3a_t k_flashcolor{1.0f, 0.85f, 0.6f, 1.0f};

std::uint64_t mix(std::uint64_t x)
{
    x += 0x9e3779b97f4a7c15ull;
    x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9ull;
    x = (x ^ (x >> 27)) * 0x94d049bb133111ebull;
    return x ^ (x >> 31);
}

// Four numbers from 0 to 1 out of one hash.
struct draws_t {
    float a, b, c, d;
};

draws_t draws(std::uint64_t seed)
{
    const std::uint64_t h = mix(seed), g = mix(h);
    constexpr float scale = 1.0f / 4294967296.0f;
    return {static_cast<float>(h >> 32) * scale, static_cast<float>(h & 0xffffffffu) * scale,
            static_cast<float>(g >> 32) * scale, static_cast<float>(g & 0xffffffffu) * scale};
}

// The carrier stage that gives a star its own colour from the burst on.
const powder_t* carrier(const fire_t& fire)
{
    for (const powder_t& powder : fire.powders)
        if (powder.delay == 0.0f && !powder.films.empty()) return &powder;
    return nullptr;
}

float length(const geokit::direction3_t& d)
{
    return std::sqrt(d.x * d.x + d.y * d.y + d.z * d.z);
}

float distance(const geokit::position3_t& a, const geokit::position3_t& b)
{
    const float x = a.x - b.x, y = a.y - b.y, z = a.z - b.z;
    return std::sqrt(x * x + y * y + z * z);
}

geokit::position3_t burstpoint(const firework_t& shell)
{
    return ballistic(shell.position, shell.velocity, shell.fuse, shell.drag);
}

} // namespace

void smoke_t::prepare(const show_t& show, const geokit::direction3_t& wind)
{
    m_wind = wind;
    m_shells = show.shells.size();
    m_designs.clear();
    m_designs.reserve(show.designs.size());
    for (const std::vector<fire_t>& fires : show.designs) {
        design_t design;
        design.bursts = !fires.empty();
        double speed = 0.0;
        for (const fire_t& fire : fires) speed += fire.speed * length(fire.direction);
        design.speed = fires.empty() ? 0.0f : static_cast<float>(speed / fires.size());
        design.spread = std::clamp(0.35f * design.speed, 1.5f, 12.0f);
        for (const fire_t& fire : fires)
            if (const powder_t* powder = carrier(fire)) {
                design.drag = powder->drag;
                break;
            }
        // Real shells' stars slow under air drag and reach speed / rate: their
        // smoke spreads with the break, a 300 mm shell's far wider than the
        // built-in shows' few metres.
        if (!fires.empty()) {
            const stareffect_t* effect = effectof(&show.effects, fires.front().effect);
            design.air = effect != nullptr && !effect->stages.empty() && effect->stages.front().motion == motion_t::air;
        }
        if (design.air) {
            const float rate = -std::log(std::clamp(design.drag, 1e-6f, 0.999f));
            design.spread = std::clamp(0.3f * design.speed / rate, 1.5f, 120.0f);
        }
        const std::size_t step = std::max<std::size_t>(1, fires.size() / k_lightstars);
        for (std::size_t i = 0; i < fires.size() && design.lightstars.size() < k_lightstars; i += step)
            if (carrier(fires[i]) != nullptr) design.lightstars.push_back(i);
        // How long the light lasts: its stars' carrier films, or the flash.
        design.lightlife = 1.0f;
        for (std::size_t i : design.lightstars) {
            float films = 0.0f;
            for (const film_t& film : carrier(fires[i])->films) films += film.duration;
            design.lightlife = std::max(design.lightlife, films);
        }
        m_designs.push_back(std::move(design));
    }
    m_bursts.reserve(k_mostbursts);
    m_lightbursts.reserve(k_mostlights);
    m_lights.reserve(k_mostlights);
}

// The breaks at most a puff's life old (their design's light life when
// `forlight`), the newest `most` of them, in the order of the show's shells.
void smoke_t::newest(const show_t& show, float t, bool forlight, std::size_t most, std::vector<burst_t>& bursts) const
{
    bursts.clear();
    for (std::size_t i = 0; i < show.shells.size(); ++i) {
        const firework_t& shell = show.shells[i];
        const design_t& design = m_designs[show.design[i]];
        if (!design.bursts) continue;
        const float age = t - (shell.time + shell.fuse);
        // The evaluation bursts a shell strictly after its fuse.
        if (!(age > 0.0f) || age > (forlight ? design.lightlife : k_life)) continue;
        bursts.push_back({age, i, 1.0f});
    }
    // A break's weight goes by its rank, the number of newer breaks: full
    // until the last few places kept, then a step less with each newer break,
    // so none vanishes at once when the newest `most` are kept.
    const std::size_t fading = std::min(most, k_fadingbursts);
    if (bursts.size() > most - fading) {
        const auto newer = [](const burst_t& a, const burst_t& b) {
            return a.age < b.age || (a.age == b.age && a.shell > b.shell);
        };
        if (bursts.size() > most) {
            std::nth_element(bursts.begin(), bursts.begin() + static_cast<std::ptrdiff_t>(most), bursts.end(), newer);
            bursts.resize(most);
        }
        std::sort(bursts.begin(), bursts.end(), newer);
        for (std::size_t rank = most - fading; rank < bursts.size(); ++rank)
            bursts[rank].weight = static_cast<float>(most - rank) / static_cast<float>(fading + 1);
        std::sort(bursts.begin(), bursts.end(), [](const burst_t& a, const burst_t& b) { return a.shell < b.shell; });
    }
}

bool smoke_t::light(const show_t& show, std::size_t index, float age, burstlight_t& light) const
{
    const firework_t& shell = show.shells[index];
    const design_t& design = m_designs[show.design[index]];
    const std::vector<fire_t>& fires = show.designs[show.design[index]];
    float r = 0.0f, g = 0.0f, b = 0.0f;
    for (std::size_t i : design.lightstars) {
        geokit::color3a_t color;
        if (!filmcolor(carrier(fires[i])->films, age, color)) continue;
        r += color.r * color.a;
        g += color.g * color.a;
        b += color.b * color.a;
    }
    const float stars = design.lightstars.empty() ? 0.0f : k_starlight / static_cast<float>(design.lightstars.size());
    const float flash = k_flash * std::exp(-age / k_flashtime);
    light.color = {r * stars + flash * k_flashcolor.r, g * stars + flash * k_flashcolor.g,
                   b * stars + flash * k_flashcolor.b, 1.0f};
    if (std::max({light.color.r, light.color.g, light.color.b}) < 1e-3f) return false;
    // The cloud of stars: its middle falls as a star at rest would, its reach
    // is how far a star of mean speed has flown.
    if (design.air) {
        const geokit::direction3_t rest{0.0f, 0.0f, 0.0f};
        light.position = flightpoint(motion_t::air, burstpoint(shell), rest, age, design.drag);
        const float rate = -std::log(std::clamp(design.drag, 1e-6f, 0.999f));
        light.radius = std::max(k_leastradius, design.speed * -std::expm1(-rate * age) / rate);
        return true;
    }
    light.position = ballistic(burstpoint(shell), {0.0f, 0.0f, 0.0f}, age, design.drag);
    light.radius = std::max(k_leastradius, design.speed * std::pow(design.drag, age) * age);
    return true;
}

void smoke_t::lights(const show_t& show, float t, std::vector<burstlight_t>& lights) const
{
    lights.clear();
    if (m_designs.size() != show.designs.size() || m_shells != show.shells.size()) return;
    newest(show, t, true, k_mostlights, m_lightbursts);
    for (const burst_t& burst : m_lightbursts) {
        burstlight_t light;
        if (!this->light(show, burst.shell, burst.age, light)) continue;
        light.color = {light.color.r * burst.weight, light.color.g * burst.weight, light.color.b * burst.weight, 1.0f};
        lights.push_back(light);
    }
}

void smoke_t::evaluate(const show_t& show, float t, std::vector<primitive_t>& puffs)
{
    puffs.clear();
    if (m_designs.size() != show.designs.size() || m_shells != show.shells.size()) return;
    newest(show, t, false, k_mostbursts, m_bursts);
    lights(show, t, m_lights);
    for (const burst_t& burst : m_bursts) {
        const firework_t& shell = show.shells[burst.shell];
        const design_t& design = m_designs[show.design[burst.shell]];
        const geokit::position3_t B = burstpoint(shell);
        const float s = burst.age;
        const float out = 1.0f - std::exp(-s / k_outtime);
        const float rise = k_rise * k_risetime * (1.0f - std::exp(-s / k_risetime));
        const float thicken = (1.0f - std::exp(-s / k_appear)) * std::exp(-s / k_fade) * burst.weight;
        const float growth = k_growth * std::sqrt(s);
        for (std::size_t k = 0; k < k_puffsperburst; ++k) {
            const draws_t h = draws(burst.shell * k_puffsperburst + k);
            // A direction spread evenly over the sphere.
            const float z = 2.0f * h.a - 1.0f;
            const float around = 6.2831853f * h.b;
            const float ring = std::sqrt(std::max(0.0f, 1.0f - z * z));
            const float reach = design.spread * (0.3f + 0.7f * h.c) * out;
            const float first = design.spread * (0.8f + 0.4f * h.d);
            primitive_t puff;
            puff.position = {B.x + ring * std::cos(around) * reach + m_wind.x * s,
                             B.y + ring * std::sin(around) * reach + m_wind.y * s,
                             B.z + z * reach + m_wind.z * s + rise};
            puff.pointsize = first + growth;
            const float thin = first / puff.pointsize;
            float r = 0.0f, g = 0.0f, b = 0.0f;
            for (const burstlight_t& light : m_lights) {
                const float d = distance(puff.position, light.position) / light.radius;
                const float w = 1.0f / (1.0f + d * d);
                r += light.color.r * w;
                g += light.color.g * w;
                b += light.color.b * w;
            }
            puff.color = {r, g, b, k_opacity * thin * thin * thicken};
            puffs.push_back(puff);
        }
    }
}

} // namespace vexlor
