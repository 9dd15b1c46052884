// 4x4 matrices: transpose, the two vector products, minors, determinants and
// the adjugate inverse.
#include "expect_geo.h"

#include <cmath>

using namespace geokit;
using geotest::expect_identity;
using geotest::expect_matrix;

namespace {

matrix3w_t counting() {
    matrix3w_t m{};
    for (int i = 0; i < 16; ++i)
        m.m[i] = static_cast<float>(i + 1);
    return m;
}

// Upper triangular (columns stored one after another): determinant 2*3*4*5.
constexpr matrix3w_t upper{{2, 0, 0, 0, 7, 3, 0, 0, 1, 5, 4, 0, 9, 8, 6, 5}};

} // namespace

TEST(Matrix, TransposeAndTheTwoProducts) {
    expect_matrix(Transpose(counting()), {1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15, 4, 8, 12, 16},
                  0);
    // v x M sums the k-th element of every storage group, M x v sums within each group.
    const vector3w_t a = vector3w_t{1, 1, 1, 1} * counting();
    const vector3w_t b = counting() * vector3w_t{1, 1, 1, 1};
    geotest::expect_near3(a.x, a.y, a.z, 28, 32, 36);
    EXPECT_FLOAT_EQ(a.w, 40);
    geotest::expect_near3(b.x, b.y, b.z, 10, 26, 42);
    EXPECT_FLOAT_EQ(b.w, 58);
}

TEST(Matrix, TranslationMovesAPoint) {
    matrix3w_t t = Imtx;
    t.m[12] = 10;
    t.m[13] = 20;
    t.m[14] = 30;
    const vector3w_t p{1, 2, 3, 1};
    geotest::expect_xyz(p * t, 11, 22, 33);
    geotest::expect_xyz(Transpose(t) * p, 11, 22, 33);
    EXPECT_FLOAT_EQ((t * p).w, 1 + 10 + 40 + 90);
    geotest::expect_xyz(vector3w_t{1, 2, 3, 0} * t, 1, 2, 3);
}

TEST(Matrix, ShrinkAndDeterminants) {
    tmatrix4_t g{};
    for (int i = 0; i < 16; ++i)
        g.m[i] = static_cast<float>(i);
    const tmatrix3_t s = shrink(g, 1, 2);
    const float kept[9] = {0, 1, 3, 8, 9, 11, 12, 13, 15};
    for (int i = 0; i < 9; ++i)
        EXPECT_EQ(s.m[i], kept[i]) << i;

    // Rows [1 0 5; 2 1 6; 3 4 0]: 1*(0-24) + 5*(8-3) = 1.
    EXPECT_FLOAT_EQ(Determinant(tmatrix3_t{{1, 2, 3, 0, 1, 4, 5, 6, 0}}), 1.0f);
    EXPECT_FLOAT_EQ(Determinant(Imtx), 1.0f);
    EXPECT_FLOAT_EQ(Determinant(upper), 120.0f);
    EXPECT_FLOAT_EQ(Determinant(matrix3w_t{{0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}}), -1);
    matrix3w_t equal_columns = counting();
    for (int k = 0; k < 4; ++k)
        equal_columns.m[8 + k] = equal_columns.m[k];
    EXPECT_FLOAT_EQ(Determinant(equal_columns), 0.0f);
}

TEST(Matrix, InvertByAdjugate) {
    expect_matrix(Invert(Imtx), {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}, 0);
    matrix3w_t t = Imtx;
    t.m[12] = 3;
    t.m[13] = -4;
    t.m[14] = 5;
    expect_matrix(Invert(t), {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, -3, 4, -5, 1});
    expect_identity(geotest::multiply(Invert(upper), upper));
    expect_identity(geotest::multiply(upper, Invert(upper)));

    bool any_non_finite = false;
    for (float v : Invert(counting()).m)
        any_non_finite = any_non_finite || !std::isfinite(v);
    EXPECT_TRUE(any_non_finite);
}
