// Writers of the typed text form, e.g. "pos3(1.000000, 2.500000, -3.000000)":
// a type word, "(", the components separated by ", ", ")". Floats are fixed
// notation; the stream's format flags are as before after every writer.
#pragma once

#include "geometry/color.h"
#include "geometry/geotypes.h"

#include <ostream>

namespace geokit {

std::ostream& operator<<(std::ostream& os, const position3_t& v);
std::ostream& operator<<(std::ostream& os, const direction3_t& v);
std::ostream& operator<<(std::ostream& os, const position2_t& v);
std::ostream& operator<<(std::ostream& os, const direction2_t& v);
std::ostream& operator<<(std::ostream& os, const position2l_t& v);
std::ostream& operator<<(std::ostream& os, const direction2l_t& v);
std::ostream& operator<<(std::ostream& os, const position2ul_t& v);
std::ostream& operator<<(std::ostream& os, const direction2ul_t& v);
std::ostream& operator<<(std::ostream& os, const vector3w_t& v);
std::ostream& operator<<(std::ostream& os, const quaternion_t& v);
std::ostream& operator<<(std::ostream& os, const rotation3_t& v);
std::ostream& operator<<(std::ostream& os, const polarpos3_t& v);
std::ostream& operator<<(std::ostream& os, const angles3_t& v);
std::ostream& operator<<(std::ostream& os, const revolution3_t& v);
std::ostream& operator<<(std::ostream& os, const posture3w_t& v);
std::ostream& operator<<(std::ostream& os, const straight3_t& v);
std::ostream& operator<<(std::ostream& os, const inertial3_t& v);
// Four lines: "mtx3w(\t", then the storage groups joined by ",\n\t".
std::ostream& operator<<(std::ostream& os, const matrix3w_t& v);
std::ostream& operator<<(std::ostream& os, const box2_t& v);
std::ostream& operator<<(std::ostream& os, const box3_t& v);
std::ostream& operator<<(std::ostream& os, const dim2_t& v);
std::ostream& operator<<(std::ostream& os, const dim3_t& v);
std::ostream& operator<<(std::ostream& os, const surface_t& v);
std::ostream& operator<<(std::ostream& os, const line2d_t& v);
std::ostream& operator<<(std::ostream& os, const line3d_t& v);
// Several lines, each ended and flushed; the float triples keep the stream's notation.
std::ostream& operator<<(std::ostream& os, const triangle_t& v);
std::ostream& operator<<(std::ostream& os, const projection_t& v);

std::ostream& operator<<(std::ostream& os, const color3_t& v);
std::ostream& operator<<(std::ostream& os, const color3a_t& v);
// Byte colours: each byte goes out as '0' followed by the raw byte, with no
// separators, so they do not read back; showbase puts "0x" before the word.
std::ostream& operator<<(std::ostream& os, const color3aub_t& v);
std::ostream& operator<<(std::ostream& os, const color3ub_t& v);
std::ostream& operator<<(std::ostream& os, const color1aub_t& v);
std::ostream& operator<<(std::ostream& os, const color1ub_t& v);
std::ostream& operator<<(std::ostream& os, const texcoord1_t& v);
std::ostream& operator<<(std::ostream& os, const texcoord2_t& v);
std::ostream& operator<<(std::ostream& os, const texcoord2q_t& v);
std::ostream& operator<<(std::ostream& os, const texcoord3_t& v);
std::ostream& operator<<(std::ostream& os, const texcoord3q_t& v);

} // namespace geokit
