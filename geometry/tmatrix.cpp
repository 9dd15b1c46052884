// Minors and determinants of the generic matrix, all in float.
#include "geometry/tmatrix.h"

namespace geokit {

tmatrix3_t shrink(const tmatrix4_t& src, std::uint64_t i, std::uint64_t j) {
    tmatrix3_t out{};
    std::uint64_t n = 0;
    for (std::uint64_t g = 0; g < 4; ++g) {
        if (g == i) continue;
        for (std::uint64_t k = 0; k < 4; ++k) {
            if (k == j) continue;
            out.m[n++] = src.m[4 * g + k];
        }
    }
    return out;
}

float Determinant(const tmatrix3_t& src) {
    const float* a = src.m;
    return a[0] * (a[4] * a[8] - a[5] * a[7]) - a[3] * (a[1] * a[8] - a[2] * a[7]) +
           a[6] * (a[1] * a[5] - a[2] * a[4]);
}

float Determinant(const tmatrix4_t& src) {
    float det = 0.0f;
    for (std::uint64_t k = 0; k < 4; ++k) {
        const float sign = (k % 2 == 0) ? -1.0f : 1.0f;
        det += sign * src.m[12 + k] * Determinant(shrink(src, 3, k));
    }
    return det;
}

} // namespace geokit
