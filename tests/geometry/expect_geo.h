// Comparison helpers shared by the geokit tests.
#pragma once

#include "geometry/geokit.h"

#include <gtest/gtest.h>

#include <initializer_list>

namespace geotest {

constexpr float tolerance = 1e-5f;

// x, y, z of any vector-like value.
template <typename V>
void expect_xyz(const V& v, float ex, float ey, float ez, float eps = tolerance) {
    EXPECT_NEAR(v.x, ex, eps);
    EXPECT_NEAR(v.y, ey, eps);
    EXPECT_NEAR(v.z, ez, eps);
}

// The leading elements of m, in storage order.
inline void expect_matrix(const geokit::matrix3w_t& m, std::initializer_list<float> expected,
                          float eps = tolerance) {
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_NEAR(m.m[i], expected.begin()[i], eps) << "element " << i;
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

inline void expect_identity(const geokit::matrix3w_t& m) {
    expect_matrix(m, {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});
}

} // namespace geotest
