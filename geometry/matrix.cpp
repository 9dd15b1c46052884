// Transpose, vector products, determinant and adjugate inverse of the 4x4
// column-major matrix.
#include "geometry/matrix.h"

#include "geometry/tmatrix.h"

#include <algorithm>
#include <iterator>

namespace geokit {

namespace {

tmatrix4_t generic(const matrix3w_t& src) {
    tmatrix4_t out{};
    std::copy(std::begin(src.m), std::end(src.m), std::begin(out.m));
    return out;
}

} // namespace

matrix3w_t Transpose(const matrix3w_t& src) {
    matrix3w_t out{};
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            out.m[4 * i + j] = src.m[4 * j + i];
    return out;
}

vector3w_t operator*(const vector3w_t& v, const matrix3w_t& M) {
    const float* m = M.m;
    float r[4];
    for (int i = 0; i < 4; ++i)
        r[i] = m[i] * v.x + m[4 + i] * v.y + m[8 + i] * v.z + m[12 + i] * v.w;
    return {r[0], r[1], r[2], r[3]};
}

vector3w_t operator*(const matrix3w_t& M, const vector3w_t& v) {
    const float* m = M.m;
    float r[4];
    for (int i = 0; i < 4; ++i)
        r[i] = m[4 * i] * v.x + m[4 * i + 1] * v.y + m[4 * i + 2] * v.z + m[4 * i + 3] * v.w;
    return {r[0], r[1], r[2], r[3]};
}

float Determinant(const matrix3w_t& src) {
    return Determinant(generic(src));
}

matrix3w_t Invert(const matrix3w_t& src) {
    const tmatrix4_t g = generic(src);
    const float d = 1.0f / Determinant(g);
    matrix3w_t out{};
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            const float sign = ((i + j) % 2 == 0) ? 1.0f : -1.0f;
            out.m[4 * i + j] = sign * Determinant(shrink(g, j, i)) * d;
        }
    }
    return out;
}

} // namespace geokit
