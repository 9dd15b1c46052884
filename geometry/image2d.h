// A picture in memory: 8-bit RGB pixels, three bytes each, rows packed
// without padding, first row first (ready for glTexImage2D with GL_RGB).
#pragma once

#include "utils/alloc_new.h"
#include "utils/ofsvector.h"

#include <cstdint>

namespace geokit {

struct image2d_t {
    // The first pixel byte is at the block's data plus the view's offset.
    basekit::ofsvector<unsigned char, basekit::alloc_new> pixels;
    std::int32_t width;
    std::uint32_t height;
};

} // namespace geokit
