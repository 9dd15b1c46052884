// Vector, matrix and rotation operations (normalising, products, grid snapping,
// homogeneous conversion, transpose, determinants, the adjugate inverse,
// rotations to matrices and back), and cameras to projection volumes and
// OpenGL's projection matrices.
#include "expect_geo.h"

#include <cmath>

using namespace geokit;
using geotest::expect_identity;
using geotest::expect_matrix;
using geotest::expect_xyz;
using geotest::multiply;

namespace {

matrix3w_t counting() {
    matrix3w_t m{};
    for (int i = 0; i < 16; ++i)
        m.m[i] = static_cast<float>(i + 1);
    return m;
}

// Upper triangular (columns stored one after another): determinant 2*3*4*5.
constexpr matrix3w_t upper{{2, 0, 0, 0, 7, 3, 0, 0, 1, 5, 4, 0, 9, 8, 6, 5}};

vector3w_t point(const direction3_t& d) {
    return {d.x, d.y, d.z, 1.0f};
}

void expect_projection(const projection_t& p, std::initializer_list<double> expected) {
    const double got[6] = {p.left, p.right, p.bottom, p.top, p.near, p.far};
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_NEAR(got[i], expected.begin()[i], 1e-6) << "field " << i;
}

} // namespace

TEST(Vector, NormalizeAndProducts) {
    expect_xyz(Normalize(direction3_t{3, 0, 4}), 0.6f, 0.0f, 0.8f);
    expect_xyz(Normalize(position3_t{0, -5, 12}), 0.0f, -5.0f / 13, 12.0f / 13);
    expect_xyz(Normalize(direction3_t{0, 0, 0}), 0, 0, 0);
    const vector3w_t v = Normalize(vector3w_t{0, 3, 4, 7});
    expect_xyz(v, 0.0f, 0.6f, 0.8f);
    EXPECT_EQ(v.w, 0.0f);

    expect_xyz(CrossProduct(direction3_t{1, 2, 3}, direction3_t{4, 5, 6}), -3, 6, -3);
    // Edges (2, 0, 0) then (0, 3, 0): not normalised.
    const position3_t p0{1, 1, 1}, p1{3, 1, 1}, p2{3, 4, 1};
    expect_xyz(CrossProduct(p0, p1, p2), 0, 0, 6);
    expect_xyz(CrossProductWithNormalize(p0, p1, p2), 0, 0, 1);
    expect_xyz(CrossProductWithNormalize(p0, p0, p0), 0, 0, 0);
    EXPECT_FLOAT_EQ(ScalarTriProduct(IdirY, IdirX, IdirZ), -1.0f);
    // Edges from p0: (2, 0, 0), (2, 3, 0), then (0, 0, -2).
    EXPECT_FLOAT_EQ(ScalarTriProduct(p0, p1, p2, position3_t{1, 1, -1}), -12.0f);
}

TEST(Vector, RoundingAndSpecialize) {
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

    expect_xyz(SpecializeToPos(vector3w_t{2, 4, 6, 2}), 1, 2, 3);
    expect_xyz(SpecializeToPos(vector3w_t{2, 4, 6, 0}), 2, 4, 6);
    expect_xyz(SpecializeToDir(vector3w_t{3, 0, 4, 9}), 0.6f, 0, 0.8f);
}

TEST(Matrix, TransposeProductsAndTranslation) {
    expect_matrix(Transpose(counting()), {1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15, 4, 8, 12, 16},
                  0);
    // v x M sums the k-th element of every storage group, M x v sums within each group.
    const vector3w_t a = vector3w_t{1, 1, 1, 1} * counting();
    const vector3w_t b = counting() * vector3w_t{1, 1, 1, 1};
    expect_xyz(a, 28, 32, 36);
    EXPECT_FLOAT_EQ(a.w, 40);
    expect_xyz(b, 10, 26, 42);
    EXPECT_FLOAT_EQ(b.w, 58);

    // A translation lives in m[12..14] and moves points, not directions.
    matrix3w_t t = Imtx;
    t.m[12] = 10;
    t.m[13] = 20;
    t.m[14] = 30;
    expect_xyz(vector3w_t{1, 2, 3, 1} * t, 11, 22, 33);
    expect_xyz(Transpose(t) * vector3w_t{1, 2, 3, 1}, 11, 22, 33);
    expect_xyz(vector3w_t{1, 2, 3, 0} * t, 1, 2, 3);
}

TEST(Matrix, ShrinkDeterminantsAndInverse) {
    tmatrix4_t g{};
    for (int i = 0; i < 16; ++i)
        g.m[i] = static_cast<float>(i);
    const tmatrix3_t s = shrink(g, 1, 2);
    const float kept[9] = {0, 1, 3, 8, 9, 11, 12, 13, 15};
    for (int i = 0; i < 9; ++i)
        EXPECT_EQ(s.m[i], kept[i]) << i;

    // Rows [1 0 5; 2 1 6; 3 4 0]: 1*(0-24) + 5*(8-3) = 1.
    EXPECT_FLOAT_EQ(Determinant(tmatrix3_t{{1, 2, 3, 0, 1, 4, 5, 6, 0}}), 1.0f);
    EXPECT_FLOAT_EQ(Determinant(upper), 120.0f);
    EXPECT_FLOAT_EQ(Determinant(matrix3w_t{{0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}}), -1);
    matrix3w_t equal_columns = counting();
    for (int k = 0; k < 4; ++k)
        equal_columns.m[8 + k] = equal_columns.m[k];
    EXPECT_FLOAT_EQ(Determinant(equal_columns), 0.0f);

    expect_identity(Invert(Imtx));
    matrix3w_t t = Imtx;
    t.m[12] = 3;
    t.m[13] = -4;
    t.m[14] = 5;
    expect_matrix(Invert(t), {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, -3, 4, -5, 1});
    expect_identity(multiply(Invert(upper), upper));
    expect_identity(multiply(upper, Invert(upper)));
    // A zero determinant is not guarded against.
    matrix3w_t flat = Imtx;
    flat.m[0] = 0;
    EXPECT_FALSE(std::isfinite(Invert(flat).m[5]));
}

TEST(Rotation, ToMatrix) {
    const matrix3w_t quarter = getRotateMatrix(rotation3_t{90, {0, 0, 5}});
    expect_matrix(quarter, {0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});
    expect_xyz(vector3w_t{1, 0, 0, 1} * quarter, 0, 1, 0);
    // 30 degrees about (1, 2, 2): the axis stays, a perpendicular vector turns
    // by 30 degrees toward axis x vector (right-hand rule).
    const direction3_t axis{1, 2, 2}, perp{2, -1, 0};
    const matrix3w_t r = getRotateMatrix(rotation3_t{30, axis});
    expect_xyz(point(axis) * r, 1, 2, 2);
    const vector3w_t t = point(perp) * r;
    EXPECT_NEAR((perp.x * t.x + perp.y * t.y) / 5.0f, std::cos(std::acos(-1.0) / 6.0), 1e-5);
    expect_xyz(Normalize(CrossProduct(perp, direction3_t{t.x, t.y, t.z})), 1.0f / 3, 2.0f / 3,
               2.0f / 3);
    // A zero axis leaves only the cosine on the diagonal.
    expect_matrix(getRotateMatrix(rotation3_t{60, {0, 0, 0}}),
                  {0.5f, 0, 0, 0, 0, 0.5f, 0, 0, 0, 0, 0.5f, 0, 0, 0, 0, 1});
}

TEST(Rotation, BackFromMatrixAndBetweenDirections) {
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

    // Between two directions: parallel or opposite ones give no rotation.
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

TEST(Camera, FocalLengthAndVolumes) {
    cameraview_t c;
    // The half diagonal of a 36 x 24 frame is sqrt(468).
    c.setAngleFrom35mmFocalLength(std::sqrt(468.0));
    EXPECT_NEAR(c.fov, std::acos(-1.0) / 2, 1e-12);
    EXPECT_NEAR(c.get35mmFocalLengthFromAngle(), std::sqrt(468.0), 1e-9);
    // The getter multiplies by the tangent, so 50 mm comes back as 468 / 50.
    c.setAngleFrom35mmFocalLength(50);
    EXPECT_NEAR(c.get35mmFocalLengthFromAngle(), 468.0 / 50, 1e-9);

    // Defaults: a = 4/3, sqrt(a^2 + 1) = 5/3, half height 0.6 * far at the far plane.
    const cameraview_t d;
    expect_projection(getPerspective(d), {-0.08, 0.08, -0.06, 0.06, 0.1, 1000.1});
    expect_projection(getWallPaper(d), {-800.08, 800.08, -600.06, 600.06, 0.1, 1000.1});
    orthoview_t o{0, 0.5, 20};
    o.setAspectRatio(400, 200);
    expect_projection(getOrtho(o), {-2, 2, -1, 1, 0.5, 20});
}

TEST(Camera, ProjectionMatrices) {
    expect_matrix(getPerspectiveMatrix(projection_t{-1, 1, -1, 1, 1, 3}),
                  {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, -2, -1, 0, 0, -3, 0});
    // Off-centre: 2n/(r-l) = 2, 2n/(t-b) = 1, (r+l)/(r-l) = 1, (t+b)/(t-b) = 0.5,
    // -(f+n)/(f-n) = -2, -2fn/(f-n) = -6. The near plane's top-right corner
    // lands on (1, 1, -1).
    const projection_t p{0, 2, -1, 3, 2, 6};
    const matrix3w_t m = getPerspectiveMatrix(p);
    expect_matrix(m, {2, 0, 0, 0, 0, 1, 0, 0, 1, 0.5f, -2, -1, 0, 0, -6, 0});
    expect_xyz(SpecializeToPos(vector3w_t{2, 3, -2, 1} * m), 1, 1, -1);
    expect_identity(multiply(getPerspectiveInvert(p), m));
    expect_identity(multiply(m, getPerspectiveInvert(p)));

    const projection_t q{0, 4, 0, 2, 1, 5};
    const matrix3w_t o = getOrthoMatrix(q);
    expect_matrix(o, {0.5f, 0, 0, 0, 0, 1, 0, 0, 0, 0, -0.5f, 0, -1, -1, -1.5f, 1});
    expect_matrix(getInvertOrthoMatrix(q), {2, 0, 0, 0, 0, 1, 0, 0, 0, 0, -2, 0, 2, 1, -3, 1});
    // Degenerate volumes are not guarded.
    EXPECT_FALSE(std::isfinite(getOrthoMatrix(projection_t{1, 1, 0, 1, 1, 2}).m[0]));
}

TEST(Camera, EquiangularAndSlant) {
    expect_matrix(getEquiangularMatrix(4, 2, 0),
                  {0.5f, 0, -0.25f, 0, 0, 1, 0, 0, -0.5f, 0, -0.25f, 0, 0, 0, 0, 1});
    expect_matrix(getEquiangularMatrix(4, 2, 90),
                  {0, 1, -0.25f, 0, 0, 1, 0, 0, 0, -1, -0.25f, 0, 0, 0, 0, 1});
    expect_matrix(getSlantMatrix(4, 2, 0.5f),
                  {0.5f, 0, 0, 0, 0, 1, 0, 0, -0.5f, -0.5f, 0.25f, 0, 0, 0, 0, 1});
    EXPECT_FLOAT_EQ(getSlantMatrix(2, 8, 1).m[10], 0.125f);
    // max(w, h) takes h when w is not a number.
    EXPECT_FLOAT_EQ(getSlantMatrix(std::nanf(""), 5, 1).m[10], 0.2f);
}
