// Sprite image: alpha = sqrt(1 - r^2) * 255 inside the unit disc, 0 outside.
#include "render/sprite.h"

#include <cmath>

namespace vexlor {

void makesprite(sprite_image_t& image)
{
    for (std::size_t i = 0; i < k_sprite_side; ++i) {
        const float fy = (static_cast<float>(i) - 127.5f) / 127.5f;
        for (std::size_t j = 0; j < k_sprite_side; ++j) {
            const float fx = (static_cast<float>(j) - 127.5f) / 127.5f;
            const float r2 = fx * fx + fy * fy;
            unsigned char* texel = &image[(i * k_sprite_side + j) * 4];
            texel[0] = texel[1] = texel[2] = 255;
            texel[3] = r2 > 1.0f ? 0 : static_cast<unsigned char>(std::sqrt(1.0f - r2) * 255.0f);
        }
    }
}

} // namespace vexlor
