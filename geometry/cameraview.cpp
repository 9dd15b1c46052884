// Projection volumes from cameras and projection matrices from volumes.
// Doubles up to the final element values, which are stored as float.
#include "geometry/cameraview.h"

#include "geometry/rotation.h"

#include <cmath>

namespace geokit {

namespace {

// Half height at the far distance; the angle of view is diagonal.
double far_half_height(const cameraview_t& c) {
    const double t = std::tan(0.5 * c.fov);
    const double a = c.aspect;
    return t * c.far / std::sqrt(a * a + 1.0);
}

float to_float(double v) {
    return static_cast<float>(v);
}

} // namespace

void cameraview_t::setAngleFrom35mmFocalLength(double focal) {
    fov = 2.0 * std::atan2(half_diagonal_35mm, focal);
}

double cameraview_t::get35mmFocalLengthFromAngle() const {
    return std::tan(0.5 * fov) * half_diagonal_35mm;
}

projection_t getPerspective(const cameraview_t& c) {
    const double a = c.aspect;
    const double h = far_half_height(c);
    const double k = c.near / c.far;
    return {-(a * h * k), a * h * k, -(h * k), h * k, c.near, c.far};
}

projection_t getWallPaper(const cameraview_t& c) {
    const double a = c.aspect;
    const double h = far_half_height(c);
    return {-(a * h), a * h, -h, h, c.near, c.far};
}

projection_t getOrtho(const orthoview_t& o) {
    return {-o.aspect, o.aspect, -1.0, 1.0, o.near, o.far};
}

matrix3w_t getPerspectiveMatrix(const projection_t& p) {
    const double l = p.left, r = p.right, b = p.bottom, t = p.top, n = p.near, fa = p.far;
    matrix3w_t out{};
    out.m[0] = to_float(2.0 * n / (r - l));
    out.m[5] = to_float(2.0 * n / (t - b));
    out.m[8] = to_float((r + l) / (r - l));
    out.m[9] = to_float((t + b) / (t - b));
    out.m[10] = to_float(-(fa + n) / (fa - n));
    out.m[11] = -1.0f;
    out.m[14] = to_float(fa * -2.0 * n / (fa - n));
    return out;
}

matrix3w_t getPerspectiveInvert(const projection_t& p) {
    const double l = p.left, r = p.right, b = p.bottom, t = p.top, n = p.near, fa = p.far;
    matrix3w_t out{};
    out.m[0] = to_float((r - l) / (2.0 * n));
    out.m[5] = to_float((t - b) / (2.0 * n));
    out.m[11] = to_float(-(fa - n) / (2.0 * fa * n));
    out.m[12] = to_float((r + l) / (2.0 * n));
    out.m[13] = to_float((t + b) / (2.0 * n));
    out.m[14] = -1.0f;
    out.m[15] = to_float((fa + n) / (2.0 * fa * n));
    return out;
}

matrix3w_t getOrthoMatrix(const projection_t& p) {
    const double l = p.left, r = p.right, b = p.bottom, t = p.top, n = p.near, fa = p.far;
    matrix3w_t out{};
    out.m[0] = to_float(2.0 / (r - l));
    out.m[5] = to_float(2.0 / (t - b));
    out.m[10] = to_float(-2.0 / (fa - n));
    out.m[12] = to_float(-(r + l) / (r - l));
    out.m[13] = to_float(-(t + b) / (t - b));
    out.m[14] = to_float(-(fa + n) / (fa - n));
    out.m[15] = 1.0f;
    return out;
}

matrix3w_t getInvertOrthoMatrix(const projection_t& p) {
    const double l = p.left, r = p.right, b = p.bottom, t = p.top, n = p.near, fa = p.far;
    matrix3w_t out{};
    out.m[0] = to_float((r - l) * 0.5);
    out.m[5] = to_float((t - b) * 0.5);
    out.m[10] = to_float(-(fa - n) * 0.5);
    out.m[12] = to_float((r + l) * 0.5);
    out.m[13] = to_float((t + b) * 0.5);
    out.m[14] = to_float((fa + n) * -0.5);
    out.m[15] = 1.0f;
    return out;
}

matrix3w_t getEquiangularMatrix(float width, float height, float angle) {
    const float theta = static_cast<float>(angle * degree_factor);
    const float s = std::sin(theta);
    const float c = std::cos(theta);
    matrix3w_t out{};
    out.m[0] = 2.0f * c / width;
    out.m[1] = 2.0f * s / height;
    out.m[2] = -0.5f / height;
    out.m[5] = 2.0f / height;
    out.m[8] = -2.0f * c / width;
    out.m[9] = -2.0f * s / height;
    out.m[10] = -0.5f / height;
    out.m[15] = 1.0f;
    return out;
}

matrix3w_t getSlantMatrix(float width, float height, float slant) {
    const float longer = width > height ? width : height;
    matrix3w_t out{};
    out.m[0] = 2.0f / width;
    out.m[5] = 2.0f / height;
    out.m[8] = -slant;
    out.m[9] = -slant;
    out.m[10] = 1.0f / longer;
    out.m[15] = 1.0f;
    return out;
}

} // namespace geokit
