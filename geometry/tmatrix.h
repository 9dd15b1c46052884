// Generic float matrix of N rows and M columns, stored column by column like
// matrix3w_t, with the minor and determinant operations behind Invert.
#pragma once

#include <cstdint>

namespace geokit {

// Storage group g (a column) holds N elements; element k of group g is m[N * g + k].
template <std::uint64_t N, std::uint64_t M> struct tmatrix_t { float m[N * M]; };

using tmatrix3_t = tmatrix_t<3, 3>;
using tmatrix4_t = tmatrix_t<4, 4>;

// What is left after removing storage group i and, in every other group, element j.
tmatrix3_t shrink(const tmatrix4_t& src, std::uint64_t i, std::uint64_t j);

float Determinant(const tmatrix3_t& src);
// Expansion along the last storage group.
float Determinant(const tmatrix4_t& src);

} // namespace geokit
