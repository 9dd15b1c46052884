// Cameras to projection volumes and volumes to OpenGL's projection matrices.
#include "expect_geo.h"

#include <cmath>

using namespace geokit;
using geotest::expect_identity;
using geotest::expect_matrix;
using geotest::multiply;

namespace {

void expect_projection(const projection_t& p, std::initializer_list<double> expected) {
    const double got[6] = {p.left, p.right, p.bottom, p.top, p.near, p.far};
    int i = 0;
    for (double e : expected)
        EXPECT_NEAR(got[i++], e, 1e-6) << "field " << i;
}

} // namespace

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

TEST(Camera, PerspectiveMatrices) {
    expect_matrix(getPerspectiveMatrix(projection_t{-1, 1, -1, 1, 1, 3}),
                  {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, -2, -1, 0, 0, -3, 0});
    // Off-centre: 2n/(r-l) = 2, 2n/(t-b) = 1, (r+l)/(r-l) = 1, (t+b)/(t-b) = 0.5,
    // -(f+n)/(f-n) = -2, -2fn/(f-n) = -6.
    const projection_t p{0, 2, -1, 3, 2, 6};
    const matrix3w_t m = getPerspectiveMatrix(p);
    expect_matrix(m, {2, 0, 0, 0, 0, 1, 0, 0, 1, 0.5f, -2, -1, 0, 0, -6, 0});
    // The near plane's top-right corner lands on (1, 1, -1).
    const vector3w_t corner = vector3w_t{2, 3, -2, 1} * m;
    geotest::expect_near3(corner.x / corner.w, corner.y / corner.w, corner.z / corner.w, 1, 1, -1);

    const matrix3w_t inv = getPerspectiveInvert(p);
    expect_identity(multiply(inv, m));
    expect_identity(multiply(m, inv));
}

TEST(Camera, OrthoMatrices) {
    const projection_t p{0, 4, 0, 2, 1, 5};
    const matrix3w_t m = getOrthoMatrix(p);
    expect_matrix(m, {0.5f, 0, 0, 0, 0, 1, 0, 0, 0, 0, -0.5f, 0, -1, -1, -1.5f, 1});
    const matrix3w_t inv = getInvertOrthoMatrix(p);
    expect_matrix(inv, {2, 0, 0, 0, 0, 1, 0, 0, 0, 0, -2, 0, 2, 1, -3, 1});
    expect_identity(multiply(inv, m));
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
