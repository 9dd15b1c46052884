// The show's camera set-up and its perspective.
#include "render/showcamera.h"

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
