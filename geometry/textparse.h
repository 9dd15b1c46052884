// Strict reading of one typed value that makes up a whole text: its own type
// word, "(", every component, commas between them, ")" and nothing after.
// Blanks (spaces and tabs) may stand around components; numbers are finite,
// in the classic form whatever the locale. For files checked as they are read.
#pragma once

#include "geometry/color.h"
#include "geometry/geotypes.h"

#include <string_view>

namespace geokit {

// False when the text is anything but one complete value of that type; the
// value is then unspecified.
bool parsetext(std::string_view text, position3_t& v);
bool parsetext(std::string_view text, direction3_t& v);
bool parsetext(std::string_view text, position2_t& v);
bool parsetext(std::string_view text, direction2_t& v);
bool parsetext(std::string_view text, vector3w_t& v);
bool parsetext(std::string_view text, quaternion_t& v);
bool parsetext(std::string_view text, polarpos3_t& v);
bool parsetext(std::string_view text, angles3_t& v);
bool parsetext(std::string_view text, revolution3_t& v);
bool parsetext(std::string_view text, surface_t& v);
bool parsetext(std::string_view text, line2d_t& v);
bool parsetext(std::string_view text, projection_t& v);
bool parsetext(std::string_view text, color3_t& v);
bool parsetext(std::string_view text, color3a_t& v);
bool parsetext(std::string_view text, texcoord1_t& v);
bool parsetext(std::string_view text, texcoord2_t& v);
bool parsetext(std::string_view text, texcoord2q_t& v);
bool parsetext(std::string_view text, texcoord3_t& v);
bool parsetext(std::string_view text, texcoord3q_t& v);

} // namespace geokit
