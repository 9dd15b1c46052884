// The show's camera set-up and its perspective.
#include "render/showcamera.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace vexlor {

void showcamera_t::setup()
{
    m_rot = {-90.0f, {1.0f, 0.0f, 0.0f}};
    m_inv = {90.0f, {1.0f, 0.0f, 0.0f}};
    m_pos = {0.0f, -1010.0f, -100.0f};

    mtx = geokit::getRotateMatrix(m_rot);
    mtx.m[12] = m_pos.x;
    mtx.m[13] = m_pos.y;
    mtx.m[14] = m_pos.z;
    mtx.m[15] = 1.0f;

    // inv = T(-m_pos) x R(m_inv), row by column.
    geokit::matrix3w_t translate = geokit::Imtx;
    translate.m[12] = -m_pos.x;
    translate.m[13] = -m_pos.y;
    translate.m[14] = -m_pos.z;
    const geokit::matrix3w_t rotate = geokit::getRotateMatrix(m_inv);
    for (int row = 0; row < 4; ++row) {
        for (int col = 0; col < 4; ++col) {
            float sum = 0.0f;
            for (int k = 0; k < 4; ++k) sum += translate.m[4 * row + k] * rotate.m[4 * k + col];
            inv.m[4 * row + col] = sum;
        }
    }
    modelmtx = mtx;
}

void showcamera_t::setup(const viewpoint_t& view)
{
    if (!view.placed) {
        setup();
        return;
    }
    // Eye space: x to the right, y up, looking down -z. A row vector times
    // the matrix: column j holds axis j and its offset (see geokit).
    const auto sub = [](const geokit::position3_t& a, const geokit::position3_t& b) {
        return std::array<double, 3>{double(a.x) - b.x, double(a.y) - b.y, double(a.z) - b.z};
    };
    const auto unit = [](std::array<double, 3> v) {
        const double length = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
        for (double& c : v) c /= length;
        return v;
    };
    const auto cross = [](const std::array<double, 3>& a, const std::array<double, 3>& b) {
        return std::array<double, 3>{a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
    };
    const std::array<double, 3> forward = unit(sub(view.target, view.position));
    std::array<double, 3> right = cross(forward, {0.0, 0.0, 1.0});
    // Looking straight up or down: any right will do.
    if (std::sqrt(right[0] * right[0] + right[1] * right[1] + right[2] * right[2]) < 1e-9) right = {1.0, 0.0, 0.0};
    right = unit(right);
    const std::array<double, 3> up = cross(right, forward);
    const std::array<double, 3> eye{view.position.x, view.position.y, view.position.z};
    const std::array<double, 3> back{-forward[0], -forward[1], -forward[2]};
    const std::array<const std::array<double, 3>*, 3> axes{&right, &up, &back};
    mtx = geokit::Imtx;
    for (int j = 0; j < 3; ++j) {
        const std::array<double, 3>& axis = *axes[j];
        for (int i = 0; i < 3; ++i) mtx.m[4 * i + j] = static_cast<float>(axis[i]);
        mtx.m[12 + j] = static_cast<float>(-(axis[0] * eye[0] + axis[1] * eye[1] + axis[2] * eye[2]));
    }
    m_pos = {mtx.m[12], mtx.m[13], mtx.m[14]};
    inv = geokit::Invert(mtx);
    modelmtx = mtx;
}

geokit::matrix3w_t showprojection(const viewpoint_t& view, int width, int height)
{
    if (!view.placed) return showprojection(width, height);
    const double a = height > 0 ? static_cast<double>(width) / static_cast<double>(height) : 1.0;
    const double dx = double(view.target.x) - view.position.x, dy = double(view.target.y) - view.position.y,
                 dz = double(view.target.z) - view.position.z;
    const double distance = std::sqrt(dx * dx + dy * dy + dz * dz);
    // Nothing is depth-tested: the far plane only has to hold the show.
    const double near = 1.0, far = std::max(1000.0, 8.0 * distance + 20000.0);
    const double top = near * std::tan(0.5 * static_cast<double>(view.fov) * 3.14159265358979323846 / 180.0);
    const geokit::projection_t frustum{-a * top, a * top, -top, top, near, far};
    return geokit::getPerspectiveMatrix(frustum);
}

geokit::matrix3w_t showprojection(int width, int height)
{
    // 414.21356237309504 is 1000 tan(22.5 deg).
    const double a = static_cast<double>(width) / static_cast<double>(height);
    const double d = 414.21356237309504 / std::sqrt(a * a + 1.0);
    const double halfwidth = a * d * 0.001;
    const double halfheight = d * 0.001;
    const geokit::projection_t frustum{-halfwidth, halfwidth, -halfheight, halfheight, 1.0, 1000.0};
    return geokit::getPerspectiveMatrix(frustum);
}

} // namespace vexlor
