// The sprite image, checked against values worked out by hand.
#include "render/sprite.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

namespace {

using vexlor::k_sprite_side;

unsigned char alpha(const vexlor::sprite_image_t& img, std::size_t row, std::size_t col)
{
    return img[(row * k_sprite_side + col) * 4 + 3];
}

TEST(Sprite, HemisphereAlphaInsideTheDiscAndWhiteEverywhere)
{
    auto img = std::make_unique<vexlor::sprite_image_t>();
    vexlor::makesprite(*img);

    // Centre texels: fx = fy = -0.5/127.5, so alpha = floor(254.996) = 254.
    EXPECT_EQ(alpha(*img, 127, 127), 254);
    EXPECT_EQ(alpha(*img, 128, 128), 254);
    // Corners and the middle of the edges lie outside the unit disc.
    EXPECT_EQ(alpha(*img, 0, 0), 0);
    EXPECT_EQ(alpha(*img, 255, 255), 0);
    EXPECT_EQ(alpha(*img, 127, 0), 0);
    // One texel in from the edge: sqrt(1 - 0.98439) * 255 = 31.86.
    EXPECT_EQ(alpha(*img, 127, 1), 31);
    EXPECT_EQ(alpha(*img, 1, 127), 31);

    std::size_t inside = 0;
    for (std::size_t i = 0; i < k_sprite_side; ++i) {
        for (std::size_t j = 0; j < k_sprite_side; ++j) {
            const unsigned char* t = &(*img)[(i * k_sprite_side + j) * 4];
            ASSERT_EQ(t[0], 255);
            ASSERT_EQ(t[1], 255);
            ASSERT_EQ(t[2], 255);
            // Symmetric about both centre lines.
            ASSERT_EQ(t[3], alpha(*img, k_sprite_side - 1 - i, j)) << i << "," << j;
            ASSERT_EQ(t[3], alpha(*img, i, k_sprite_side - 1 - j)) << i << "," << j;
            if (t[3] > 0) ++inside;
        }
    }
    // About pi * 127.5^2 texels; those on the rim itself round down to 0.
    EXPECT_NEAR(static_cast<double>(inside), M_PI * 127.5 * 127.5, 600.0);
}

} // namespace
