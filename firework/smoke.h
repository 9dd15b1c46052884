// Smoke left by each break: puffs thrown out around the burst point that
// spread, drift with the wind and fade over tens of seconds, lit by the
// bursts near them and dark otherwise. Evaluated in closed form like the
// stars: any instant, in any order, from the show alone. Free of GL; the
// night look draws the puffs.
#pragma once

#include "firework/primitive.h"
#include "firework/show.h"

#include <cstddef>
#include <vector>

namespace vexlor {

// A burst's light at one instant: where its stars are, how far they have
// spread, and the light they give (red, green, blue; alpha unused).
struct burstlight_t {
    geokit::position3_t position;
    float radius = 0.0f;
    geokit::color3a_t color{};
};

class smoke_t {
public:
    // Puffs each break leaves, and the most breaks whose smoke is drawn at
    // once (the newest): a finale's breaks of the last minute, bounded for a
    // software renderer when a show breaks faster. The oldest of them fade
    // out as newer ones come, so none vanishes at once.
    static constexpr std::size_t k_puffsperburst = 8;
    static constexpr std::size_t k_mostbursts = 96;
    static constexpr std::size_t k_fadingbursts = 16;
    // Breaks whose light reaches the smoke at once (the newest).
    static constexpr std::size_t k_mostlights = 48;
    // A puff is dropped this long after its break; it has faded long before.
    static constexpr float k_life = 60.0f;

    // Derives what each design needs: how far its break throws the smoke,
    // and which of its stars light it. Call after building or loading a show;
    // launch positions, times and fuses are read at each evaluation.
    void prepare(const show_t& show, const geokit::direction3_t& wind);

    // Clears `puffs` and fills it for time t, one point a puff: pointsize is
    // its diameter in metres, color.rgb the light it scatters towards the
    // viewer, color.a its opacity. Empty unless prepared for this show.
    void evaluate(const show_t& show, float t, std::vector<primitive_t>& puffs);

    // Clears `lights` and fills it with the light of the breaks at time t,
    // as evaluate() lights the puffs with it.
    void lights(const show_t& show, float t, std::vector<burstlight_t>& lights) const;

    bool prepared() const { return !m_designs.empty(); }

private:
    struct design_t {
        bool bursts = false; // has stars: a break, and smoke
        float spread = 0.0f; // how far the break throws its smoke, m
        float speed = 0.0f;  // the stars' mean speed, m/s
        float drag = 1.0f;   // the first star's carrier drag: how the cloud of stars slows
        bool air = false;    // real shells' stars fly under air drag (firework/effect.h)
        float lightlife = 0.0f; // s after the break: its stars' carrier films, at least the flash
        std::vector<std::size_t> lightstars; // a few stars whose colours light the smoke
    };
    struct burst_t {
        float age = 0.0f;
        std::size_t shell = 0;
        float weight = 1.0f; // under 1 for the oldest kept when there are too many
    };

    void newest(const show_t& show, float t, bool forlight, std::size_t most, std::vector<burst_t>& bursts) const;
    bool light(const show_t& show, std::size_t shell, float age, burstlight_t& light) const;

    std::vector<design_t> m_designs;
    geokit::direction3_t m_wind{0, 0, 0};
    std::size_t m_shells = 0; // the show prepared for, by its shell count
    std::vector<burst_t> m_bursts;
    mutable std::vector<burst_t> m_lightbursts;
    std::vector<burstlight_t> m_lights;
};

} // namespace vexlor
