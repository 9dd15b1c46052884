// The named colours. The RGB of each is chosen to look like the flame on a
// dark sky: saturated, and never so dark that the sky's grey hides it.
#include "firework/namedcolor.h"

#include <iterator>

namespace vexlor {

namespace {

struct named_t {
    const char* name;
    geokit::color3a_t color;
};

const named_t k_colors[] = {
    {"red", {1.0f, 0.13f, 0.08f, 1.0f}},     // strontium
    {"orange", {1.0f, 0.48f, 0.1f, 1.0f}},   // calcium
    {"yellow", {1.0f, 0.86f, 0.25f, 1.0f}},  // sodium
    {"green", {0.3f, 1.0f, 0.32f, 1.0f}},    // barium
    {"blue", {0.22f, 0.42f, 1.0f, 1.0f}},    // copper
    {"purple", {0.72f, 0.28f, 1.0f, 1.0f}},  // strontium and copper together
    {"gold", {1.0f, 0.68f, 0.28f, 1.0f}},    // charcoal and iron sparks
    {"silver", {0.86f, 0.9f, 0.97f, 1.0f}},  // aluminium and titanium sparks
    {"white", {1.0f, 1.0f, 1.0f, 1.0f}},     // magnesium
};

} // namespace

bool namedcolor(std::string_view name, geokit::color3a_t& color)
{
    for (const named_t& named : k_colors)
        if (name == named.name) {
            color = named.color;
            return true;
        }
    return false;
}

std::string colorchoice()
{
    std::string text;
    for (std::size_t i = 0; i < std::size(k_colors); ++i)
        text += std::string(i == 0 ? "" : i + 1 == std::size(k_colors) ? " or " : ", ") + k_colors[i].name;
    return text;
}

} // namespace vexlor
