// Rotation matrices from degrees and axis, the half-angle way back, and the
// rotation between two directions.
#include "expect_geo.h"

#include <cmath>

using namespace geokit;
using geotest::expect_xyz;

namespace {

vector3w_t point(const direction3_t& d) {
    return {d.x, d.y, d.z, 1.0f};
}

} // namespace

TEST(Rotation, ToMatrix) {
    const matrix3w_t quarter = getRotateMatrix(rotation3_t{90, {0, 0, 5}});
    geotest::expect_matrix(quarter, {0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});
    expect_xyz(vector3w_t{1, 0, 0, 1} * quarter, 0, 1, 0);
    // Right-hand rule about x: y goes to z.
    expect_xyz(vector3w_t{0, 1, 0, 1} * getRotateMatrix(rotation3_t{90, IdirX}), 0, 0, 1);
    // A third of a turn about (1, 1, 1) cycles the axes x -> y -> z -> x.
    const matrix3w_t third = getRotateMatrix(rotation3_t{120, {1, 1, 1}});
    expect_xyz(vector3w_t{1, 0, 0, 1} * third, 0, 1, 0);
    expect_xyz(vector3w_t{0, 0, 1, 1} * third, 1, 0, 0);

    // 30 degrees about (1, 2, 2): the axis stays, a perpendicular vector turns
    // by 30 degrees toward axis x vector.
    const direction3_t axis{1, 2, 2}, perp{2, -1, 0};
    const matrix3w_t r = getRotateMatrix(rotation3_t{30, axis});
    expect_xyz(point(axis) * r, 1, 2, 2);
    const vector3w_t t = point(perp) * r;
    EXPECT_NEAR((perp.x * t.x + perp.y * t.y) / 5.0f, std::cos(std::acos(-1.0) / 6.0), 1e-5);
    expect_xyz(Normalize(CrossProduct(perp, direction3_t{t.x, t.y, t.z})), 1.0f / 3, 2.0f / 3,
               2.0f / 3);

    // A zero axis leaves only the cosine on the diagonal.
    geotest::expect_matrix(getRotateMatrix(rotation3_t{60, {0, 0, 0}}),
                           {0.5f, 0, 0, 0, 0, 0.5f, 0, 0, 0, 0, 0.5f, 0, 0, 0, 0, 1});
}

TEST(Rotation, BackFromMatrixGivesHalfTheAngle) {
    const rotation3_t quarter = getRotation3(getRotateMatrix(rotation3_t{90, IdirZ}));
    EXPECT_NEAR(quarter.angle, 45.0f, 1e-3f);
    expect_xyz(quarter.axis, 0, 0, 1);
    const rotation3_t third = getRotation3(getRotateMatrix(rotation3_t{120, {1, 1, 1}}));
    EXPECT_NEAR(third.angle, 60.0f, 1e-3f);
    const float k = 1.0f / std::sqrt(3.0f);
    expect_xyz(third.axis, k, k, k);

    const rotation3_t identity = getRotation3(Imtx);
    EXPECT_EQ(identity.angle, 0.0f);
    expect_xyz(identity.axis, 0, 0, 0);
    // Trace out of range: the arc cosine fails and Irot comes back.
    matrix3w_t scaled = Imtx;
    scaled.m[0] = scaled.m[5] = scaled.m[10] = 2;
    scaled.m[1] = 1;
    const rotation3_t fallback = getRotation3(scaled);
    EXPECT_EQ(fallback.angle, 0.0f);
    expect_xyz(fallback.axis, 0, 0, 1);
}

TEST(Rotation, BetweenTwoDirections) {
    for (const direction3_t& to : {IdirX, direction3_t{-1, 0, 0}}) {
        const rotation3_t none = calcRotation3(IdirX, to);
        EXPECT_EQ(none.angle, 0.0f);
        expect_xyz(none.axis, 0, 0, 1);
    }
    const rotation3_t xy = calcRotation3(IdirX, IdirY);
    EXPECT_NEAR(xy.angle, 90.0f, 1e-4f);
    expect_xyz(xy.axis, 0, 0, 1);
    expect_xyz(calcRotation3(IdirY, IdirX).axis, 0, 0, -1);

    // Made into a matrix it turns the first direction onto the second.
    const direction3_t from = Normalize(direction3_t{1, 2, 3});
    const direction3_t to = Normalize(direction3_t{-2, 0, 1});
    expect_xyz(point(from) * getRotateMatrix(calcRotation3(from, to)), to.x, to.y, to.z);
    // Not normalised here: a dot product above 1 gives no angle.
    EXPECT_TRUE(std::isnan(calcRotation3(direction3_t{2, 0, 0}, direction3_t{2, 0.1f, 0}).angle));
}
