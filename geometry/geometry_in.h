// Readers of the typed text form. Lenient by design: everything up to the
// next "(" is skipped unchecked, any one character serves as a separator and
// the closing ")" is optional. The skip does not stop at end of input, so a
// reader must only be called where a value stands and the stream is good.
#pragma once

#include "geometry/color.h"
#include "geometry/geotypes.h"

#include <istream>

namespace geokit {

std::istream& operator>>(std::istream& is, position3_t& v);
std::istream& operator>>(std::istream& is, direction3_t& v);
std::istream& operator>>(std::istream& is, position2_t& v);
std::istream& operator>>(std::istream& is, direction2_t& v);
std::istream& operator>>(std::istream& is, position2l_t& v);
std::istream& operator>>(std::istream& is, direction2l_t& v);
std::istream& operator>>(std::istream& is, position2ul_t& v);
std::istream& operator>>(std::istream& is, direction2ul_t& v);
std::istream& operator>>(std::istream& is, vector3w_t& v);
std::istream& operator>>(std::istream& is, quaternion_t& v);
// The axis must be tagged "dir3"; otherwise reading stops after the word.
std::istream& operator>>(std::istream& is, rotation3_t& v);
std::istream& operator>>(std::istream& is, polarpos3_t& v);
std::istream& operator>>(std::istream& is, angles3_t& v);
std::istream& operator>>(std::istream& is, revolution3_t& v);
// Demands "rot3", "rot3", "pos3" members (so a written posture does not read
// back); the value is filled only when all members were read.
std::istream& operator>>(std::istream& is, posture3w_t& v);
std::istream& operator>>(std::istream& is, straight3_t& v);
// Demands "rev3" then "srt3"; filled only when all members were read.
std::istream& operator>>(std::istream& is, inertial3_t& v);
std::istream& operator>>(std::istream& is, matrix3w_t& v);
std::istream& operator>>(std::istream& is, box2_t& v);
std::istream& operator>>(std::istream& is, box3_t& v);
std::istream& operator>>(std::istream& is, dim2_t& v);
std::istream& operator>>(std::istream& is, dim3_t& v);
std::istream& operator>>(std::istream& is, surface_t& v);
std::istream& operator>>(std::istream& is, line2d_t& v);
std::istream& operator>>(std::istream& is, line3d_t& v);
std::istream& operator>>(std::istream& is, projection_t& v);

std::istream& operator>>(std::istream& is, color3_t& v);
std::istream& operator>>(std::istream& is, color3a_t& v);
// Byte colours read each component as one character, with one separator
// character between components.
std::istream& operator>>(std::istream& is, color3aub_t& v);
std::istream& operator>>(std::istream& is, color3ub_t& v);
std::istream& operator>>(std::istream& is, color1aub_t& v);
std::istream& operator>>(std::istream& is, color1ub_t& v);
std::istream& operator>>(std::istream& is, texcoord1_t& v);
std::istream& operator>>(std::istream& is, texcoord2_t& v);
std::istream& operator>>(std::istream& is, texcoord2q_t& v);
std::istream& operator>>(std::istream& is, texcoord3_t& v);
std::istream& operator>>(std::istream& is, texcoord3q_t& v);

} // namespace geokit
