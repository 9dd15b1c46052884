// 4x4 matrix operations on matrix3w_t: transpose, the two products with a
// homogeneous vector, determinant and inverse by the adjugate.
#pragma once

#include "geometry/geotypes.h"

namespace geokit {

inline constexpr matrix3w_t Imtx{{1.0f, 0.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f, 0.0f, 1.0f,
                                  0.0f, 0.0f, 0.0f, 0.0f, 1.0f}};

matrix3w_t Transpose(const matrix3w_t& src);

// The column vector v transformed by M as OpenGL applies it:
// result_i = m[i] v.x + m[4 + i] v.y + m[8 + i] v.z + m[12 + i] v.w.
vector3w_t operator*(const vector3w_t& v, const matrix3w_t& M);
// Deliberately the transposed transform: result_i = sum over k of m[4i + k] v_k.
vector3w_t operator*(const matrix3w_t& M, const vector3w_t& v);

float Determinant(const matrix3w_t& src);

// No singularity test: a zero determinant gives non-finite elements.
matrix3w_t Invert(const matrix3w_t& src);

} // namespace geokit
