// Comparison helpers shared by the geokit tests.
#pragma once

#include "geometry/geokit.h"

#include <gtest/gtest.h>

#include <initializer_list>

namespace geotest {

constexpr float tolerance = 1e-5f;

inline void expect_near3(float x, float y, float z, float ex, float ey, float ez,
                         float eps = tolerance) {
    EXPECT_NEAR(x, ex, eps);
    EXPECT_NEAR(y, ey, eps);
    EXPECT_NEAR(z, ez, eps);
}

template <typename V>
void expect_xyz(const V& v, float ex, float ey, float ez, float eps = tolerance) {
    expect_near3(v.x, v.y, v.z, ex, ey, ez, eps);
}

inline void expect_matrix(const geokit::matrix3w_t& m, std::initializer_list<float> expected,
                          float eps = tolerance) {
    int i = 0;
    for (float e : expected) {
        EXPECT_NEAR(m.m[i], e, eps) << "element " << i;
        ++i;
    }
}

// Product in the column-major storage: (A B)(row i, col j) = sum A(i, k) B(k, j).
inline geokit::matrix3w_t multiply(const geokit::matrix3w_t& a, const geokit::matrix3w_t& b) {
    geokit::matrix3w_t out{};
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            for (int k = 0; k < 4; ++k)
                out.m[4 * j + i] += a.m[4 * k + i] * b.m[4 * j + k];
    return out;
}

inline void expect_identity(const geokit::matrix3w_t& m, float eps = tolerance) {
    expect_matrix(m, {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}, eps);
}

} // namespace geotest
