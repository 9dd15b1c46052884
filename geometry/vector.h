// Vector operations: normalising, cross and triple products, snapping to a
// grid, homogeneous-to-ordinary conversion, and the named position and
// direction constants.
#pragma once

#include "geometry/geotypes.h"

namespace geokit {

inline constexpr position3_t Ipos{0.0f, 0.0f, 0.0f};
inline constexpr position2_t Ipos2{0.0f, 0.0f};
inline constexpr direction3_t Idir{1.0f, 1.0f, 1.0f};
inline constexpr direction3_t IdirX{1.0f, 0.0f, 0.0f};
inline constexpr direction3_t IdirY{0.0f, 1.0f, 0.0f};
inline constexpr direction3_t IdirZ{0.0f, 0.0f, 1.0f};

// Unit length; a zero vector stays zero.
direction3_t Normalize(const position3_t& p);
direction3_t Normalize(const direction3_t& d);
// Unit x, y, z with w = 0.
vector3w_t Normalize(const vector3w_t& v);

direction3_t CrossProduct(const direction3_t& a, const direction3_t& b);
// (p1 - p0) x (p2 - p1), not normalised.
direction3_t CrossProduct(const position3_t& p0, const position3_t& p1, const position3_t& p2);
direction3_t CrossProductWithNormalize(const position3_t& p0, const position3_t& p1,
                                       const position3_t& p2);

// ((p1 - p0) x (p2 - p0)) . (p3 - p0)
float ScalarTriProduct(const position3_t& p0, const position3_t& p1, const position3_t& p2,
                       const position3_t& p3);
// (a x b) . c
float ScalarTriProduct(const direction3_t& a, const direction3_t& b, const direction3_t& c);

// Per component, q times the integer part (toward zero) of p / q.
position3_t round_to_quotient(const position3_t& p, float q);
direction3_t round_to_quotient(const direction3_t& p, float q);
position3_t round_to_quotient(const position3_t& p, const direction3_t& q);
direction3_t round_to_quotient(const direction3_t& p, const direction3_t& q);

// As round_to_quotient, plus q where the value lies above the rounded one.
float roundup_to_quotient(float v, float q);
position3_t roundup_to_quotient(const position3_t& p, float q);
direction3_t roundup_to_quotient(const direction3_t& p, float q);
position3_t roundup_to_quotient(const position3_t& p, const direction3_t& q);
direction3_t roundup_to_quotient(const direction3_t& p, const direction3_t& q);

// Divides by w unless w is exactly 0.
position3_t SpecializeToPos(const vector3w_t& v);
// Normalize of x, y, z; w is ignored.
direction3_t SpecializeToDir(const vector3w_t& v);

} // namespace geokit
