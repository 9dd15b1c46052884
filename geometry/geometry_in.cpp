// Readers of the typed text form. Types of the same shape share one reader;
// composite readers check the type word of each member they read. Numbers
// are read in the classic form whatever locale the stream carries.
#include "geometry/geometry_in.h"

#include "geometry/streamtype.h"
#include "utils/numtext.h"

namespace geokit {

namespace {

// Discards everything up to the next "(" and takes it. Blanks are skipped
// while looking, so a blank in front of "(" makes it pass unnoticed.
void open(std::istream& is) {
    char c = 0;
    while (is.peek() != '(')
        is >> c;
    is.get();
}

// Any one character (after white space) serves as a separator.
void separator(std::istream& is) {
    char c = 0;
    is >> c;
}

// Optional ")". At the end of input there is nothing to look at, and peeking
// there would fail the stream.
void close(std::istream& is) {
    if (is.good() && is.peek() == ')') is.get();
}

template <typename First, typename... Rest>
std::istream& read_value(std::istream& is, First& first, Rest&... rest) {
    basekit::classicnumbers numbers(is);
    open(is);
    is >> first;
    ((separator(is), is >> rest), ...);
    close(is);
    return is;
}

bool expect(std::istream& is, e_mtype_t wanted) {
    e_mtype_t word = mt_none;
    is >> word;
    return word == wanted;
}

// The rotation3_t shape: a float, then a "dir3" value.
bool read_scalar_direction(std::istream& is, float& scalar, direction3_t& dir) {
    basekit::classicnumbers numbers(is);
    open(is);
    is >> scalar;
    separator(is);
    if (!expect(is, mt_dir3)) return false;
    is >> dir;
    close(is);
    return true;
}

// Both corners must carry the given word.
template <typename Box> std::istream& read_box(std::istream& is, Box& v, e_mtype_t word) {
    open(is);
    if (!expect(is, word)) return is;
    is >> v.first;
    separator(is);
    if (!expect(is, word)) return is;
    is >> v.second;
    close(is);
    return is;
}

} // namespace

std::istream& operator>>(std::istream& is, position3_t& v) {
    return read_value(is, v.x, v.y, v.z);
}

std::istream& operator>>(std::istream& is, direction3_t& v) {
    return read_value(is, v.x, v.y, v.z);
}

std::istream& operator>>(std::istream& is, position2_t& v) {
    return read_value(is, v.x, v.y);
}

std::istream& operator>>(std::istream& is, direction2_t& v) {
    return read_value(is, v.x, v.y);
}

std::istream& operator>>(std::istream& is, position2l_t& v) {
    return read_value(is, v.x, v.y);
}

std::istream& operator>>(std::istream& is, direction2l_t& v) {
    return read_value(is, v.x, v.y);
}

std::istream& operator>>(std::istream& is, position2ul_t& v) {
    return read_value(is, v.x, v.y);
}

std::istream& operator>>(std::istream& is, direction2ul_t& v) {
    return read_value(is, v.x, v.y);
}

std::istream& operator>>(std::istream& is, vector3w_t& v) {
    return read_value(is, v.x, v.y, v.z, v.w);
}

std::istream& operator>>(std::istream& is, quaternion_t& v) {
    return read_value(is, v.x, v.y, v.z, v.w);
}

std::istream& operator>>(std::istream& is, rotation3_t& v) {
    read_scalar_direction(is, v.angle, v.axis);
    return is;
}

std::istream& operator>>(std::istream& is, polarpos3_t& v) {
    return read_value(is, v.r, v.theta, v.phi);
}

std::istream& operator>>(std::istream& is, angles3_t& v) {
    return read_value(is, v.x, v.y, v.z);
}

std::istream& operator>>(std::istream& is, revolution3_t& v) {
    return read_value(is, v.x, v.y, v.z);
}

std::istream& operator>>(std::istream& is, posture3w_t& v) {
    posture3w_t read{};
    basekit::classicnumbers numbers(is);
    open(is);
    if (!expect(is, mt_rot3)) return is;
    is >> read.attitude;
    separator(is);
    if (!expect(is, mt_rot3)) return is;
    is >> read.rate;
    separator(is);
    if (!expect(is, mt_pos3)) return is;
    is >> read.location;
    close(is);
    v = read;
    return is;
}

std::istream& operator>>(std::istream& is, straight3_t& v) {
    read_scalar_direction(is, v.speed, v.dir);
    return is;
}

std::istream& operator>>(std::istream& is, inertial3_t& v) {
    inertial3_t read{};
    basekit::classicnumbers numbers(is);
    open(is);
    if (!expect(is, mt_rev3)) return is;
    is >> read.turn;
    separator(is);
    if (!expect(is, mt_srt3)) return is;
    if (!read_scalar_direction(is, read.straight.speed, read.straight.dir)) return is;
    close(is);
    v = read;
    return is;
}

// Any one separator character, so ", " and ",\n\t" both serve.
std::istream& operator>>(std::istream& is, matrix3w_t& v) {
    basekit::classicnumbers numbers(is);
    open(is);
    is >> v.m[0];
    for (int i = 1; i < 16; ++i) {
        separator(is);
        is >> v.m[i];
    }
    close(is);
    return is;
}

std::istream& operator>>(std::istream& is, box2_t& v) {
    return read_box(is, v, mt_pos2);
}

std::istream& operator>>(std::istream& is, box3_t& v) {
    return read_box(is, v, mt_pos3);
}

std::istream& operator>>(std::istream& is, dim2_t& v) {
    return read_value(is, v.width, v.height);
}

std::istream& operator>>(std::istream& is, dim3_t& v) {
    return read_value(is, v.width, v.height, v.depth);
}

std::istream& operator>>(std::istream& is, surface_t& v) {
    return read_value(is, v.a, v.b, v.c, v.d);
}

std::istream& operator>>(std::istream& is, line2d_t& v) {
    return read_value(is, v.a, v.b, v.c);
}

// The direction's word is not checked.
std::istream& operator>>(std::istream& is, line3d_t& v) {
    basekit::classicnumbers numbers(is);
    open(is);
    is >> v.dir;
    separator(is);
    is >> v.forward;
    separator(is);
    is >> v.inverse;
    close(is);
    return is;
}

std::istream& operator>>(std::istream& is, projection_t& v) {
    return read_value(is, v.left, v.right, v.bottom, v.top, v.near, v.far);
}

std::istream& operator>>(std::istream& is, color3_t& v) {
    return read_value(is, v.r, v.g, v.b);
}

std::istream& operator>>(std::istream& is, color3a_t& v) {
    return read_value(is, v.r, v.g, v.b, v.a);
}

// uint8_t extraction takes one character: its code is the byte.
std::istream& operator>>(std::istream& is, color3aub_t& v) {
    return read_value(is, v.r, v.g, v.b, v.a);
}

std::istream& operator>>(std::istream& is, color3ub_t& v) {
    return read_value(is, v.r, v.g, v.b);
}

std::istream& operator>>(std::istream& is, color1aub_t& v) {
    return read_value(is, v.l, v.a);
}

std::istream& operator>>(std::istream& is, color1ub_t& v) {
    return read_value(is, v.l);
}

std::istream& operator>>(std::istream& is, texcoord1_t& v) {
    return read_value(is, v.s);
}

std::istream& operator>>(std::istream& is, texcoord2_t& v) {
    return read_value(is, v.s, v.t);
}

std::istream& operator>>(std::istream& is, texcoord2q_t& v) {
    return read_value(is, v.s, v.t, v.q);
}

std::istream& operator>>(std::istream& is, texcoord3_t& v) {
    return read_value(is, v.s, v.t, v.r);
}

std::istream& operator>>(std::istream& is, texcoord3q_t& v) {
    return read_value(is, v.s, v.t, v.r, v.q);
}

} // namespace geokit
