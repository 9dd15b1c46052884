// Rotation matrices from and to rotation3_t, in float with the angle
// conversions done in double.
#include "geometry/rotation.h"

#include "geometry/matrix.h"
#include "geometry/vector.h"

#include <cmath>
#include <limits>

namespace geokit {

matrix3w_t getRotateMatrix(const rotation3_t& r) {
    const float theta = static_cast<float>(r.angle * degree_factor);
    const float s = std::sin(theta);
    const float c = std::cos(theta);
    const direction3_t a = Normalize(r.axis);
    const float t = 1.0f - c;

    matrix3w_t out = Imtx;
    float* m = out.m;
    m[0] = a.x * a.x * t + c;
    m[1] = a.x * a.y * t + a.z * s;
    m[2] = a.x * a.z * t - a.y * s;
    m[4] = a.x * a.y * t - a.z * s;
    m[5] = a.y * a.y * t + c;
    m[6] = a.y * a.z * t + a.x * s;
    m[8] = a.x * a.z * t + a.y * s;
    m[9] = a.y * a.z * t - a.x * s;
    m[10] = a.z * a.z * t + c;
    return out;
}

rotation3_t getRotation3(const matrix3w_t& M) {
    const float* m = M.m;
    const float t = (m[0] + m[5] + m[10] - 1.0f) * 0.5f;
    const float phi = std::acos(t);
    const float angle = static_cast<float>(phi * radian_factor) * 0.5f;
    const direction3_t axis = Normalize(direction3_t{m[6] - m[9], m[8] - m[2], m[1] - m[4]});
    if (std::fabs(angle) <= std::numeric_limits<float>::max()) return {angle, axis};
    return Irot;
}

rotation3_t calcRotation3(const direction3_t& from, const direction3_t& to) {
    const direction3_t n = CrossProduct(from, to);
    const float len = std::sqrt(n.x * n.x + n.y * n.y + n.z * n.z);
    if (len == 0.0f) return Irot;
    const float cosine = from.x * to.x + from.y * to.y + from.z * to.z;
    const float angle = static_cast<float>(std::acos(cosine) * radian_factor);
    const float inv = 1.0f / len;
    return {angle, {n.x * inv, n.y * inv, n.z * inv}};
}

} // namespace geokit
