// Film colour lookup shared by every evaluation of a star stage.
#include "firework/filmcolor.h"

namespace vexlor {

bool filmcolor(const std::vector<film_t>& films, float s, geokit::color3a_t& color)
{
    for (const film_t& film : films) {
        if (film.duration < s) {
            s -= film.duration;
            continue;
        }
        const float w = (film.duration - s) / film.duration;
        const float v = 1.0f - w;
        color = {w * film.from.r + v * film.to.r, w * film.from.g + v * film.to.g,
                 w * film.from.b + v * film.to.b, w * film.from.a + v * film.to.a};
        return true;
    }
    return false;
}

} // namespace vexlor
