// The soft round dot every spark is drawn with: a 256 x 256 RGBA image, white,
// whose opacity falls like a hemisphere from the centre to the rim.
#pragma once

#include <array>
#include <cstddef>

namespace vexlor {

constexpr std::size_t k_sprite_side = 256;
using sprite_image_t = std::array<unsigned char, k_sprite_side * k_sprite_side * 4>;

// Fills `image` row by row, four bytes a texel.
void makesprite(sprite_image_t& image);

} // namespace vexlor
