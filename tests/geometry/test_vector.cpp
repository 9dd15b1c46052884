// Vector operations: normalising, products, grid snapping and the
// homogeneous-to-ordinary conversions.
#include "expect_geo.h"

#include <cmath>

using namespace geokit;
using geotest::expect_xyz;

TEST(Vector, NormalizeAllForms) {
    expect_xyz(Normalize(direction3_t{3, 0, 4}), 0.6f, 0.0f, 0.8f);
    expect_xyz(Normalize(position3_t{0, -5, 12}), 0.0f, -5.0f / 13, 12.0f / 13);
    expect_xyz(Normalize(direction3_t{0, 0, 0}), 0, 0, 0);
    const vector3w_t v = Normalize(vector3w_t{0, 3, 4, 7});
    expect_xyz(v, 0.0f, 0.6f, 0.8f);
    EXPECT_EQ(v.w, 0.0f);
}

TEST(Vector, CrossAndTripleProducts) {
    expect_xyz(CrossProduct(direction3_t{1, 2, 3}, direction3_t{4, 5, 6}), -3, 6, -3);
    // Edges (2, 0, 0) then (0, 3, 0): not normalised.
    const position3_t p0{1, 1, 1}, p1{3, 1, 1}, p2{3, 4, 1};
    expect_xyz(CrossProduct(p0, p1, p2), 0, 0, 6);
    expect_xyz(CrossProductWithNormalize(p0, p1, p2), 0, 0, 1);
    expect_xyz(CrossProductWithNormalize(p0, p0, p0), 0, 0, 0);

    EXPECT_FLOAT_EQ(ScalarTriProduct(IdirY, IdirX, IdirZ), -1.0f);
    // Edges from p0: (2,0,0), (0,3,0), then (0,0,5) or (0,0,-2).
    const position3_t q1{3, 1, 1}, q2{1, 4, 1};
    EXPECT_FLOAT_EQ(ScalarTriProduct(p0, q1, q2, position3_t{1, 1, 6}), 30.0f);
    EXPECT_FLOAT_EQ(ScalarTriProduct(p0, q1, q2, position3_t{1, 1, -1}), -12.0f);
}

TEST(Vector, RoundingToAQuotient) {
    expect_xyz(round_to_quotient(position3_t{2.7f, -2.7f, 5}, 1.0f), 2, -2, 5);
    // Per-component quotients: 1.3/0.5 -> 2, -5/2 -> -2, 7/3 -> 2.
    expect_xyz(round_to_quotient(direction3_t{1.3f, -5, 7}, direction3_t{0.5f, 2, 3}), 1, -4, 6);
    EXPECT_TRUE(std::isnan(round_to_quotient(position3_t{1, 2, 3}, 0.0f).x));

    EXPECT_FLOAT_EQ(roundup_to_quotient(2.1f, 0.5f), 2.5f);
    EXPECT_FLOAT_EQ(roundup_to_quotient(-2.1f, 1.0f), -2.0f);
    EXPECT_FLOAT_EQ(roundup_to_quotient(2.0f, 0.5f), 2.0f);
    expect_xyz(roundup_to_quotient(direction3_t{2.1f, -2.1f, 3}, 1.0f), 3, -2, 3);
    expect_xyz(roundup_to_quotient(position3_t{1.3f, -5, 7}, direction3_t{0.5f, 2, 3}), 1.5f, -4,
               9);
}

TEST(Vector, Specialize) {
    expect_xyz(SpecializeToPos(vector3w_t{2, 4, 6, 2}), 1, 2, 3);
    expect_xyz(SpecializeToPos(vector3w_t{2, 4, 6, 0}), 2, 4, 6);
    expect_xyz(SpecializeToPos(vector3w_t{1, -2, 3, -0.5f}), -2, 4, -6);
    expect_xyz(SpecializeToDir(vector3w_t{3, 0, 4, 9}), 0.6f, 0, 0.8f);
}
