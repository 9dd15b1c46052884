// Writers of the typed text form. Every writer but the byte colours runs
// under a keepflag guard with fixed notation; the precision is left alone.
// Numbers are written in the classic form whatever locale the stream carries.
#include "geometry/geometry_out.h"

#include "utils/numtext.h"
#include "utils/ssutil.h"

#include <ios>

namespace geokit {

namespace {

// Floats go through the double insertion.
void put(std::ostream& os, float v) {
    os << static_cast<double>(v);
}

template <typename T> void put(std::ostream& os, const T& v) {
    os << v;
}

template <typename First, typename... Rest>
std::ostream& write_fixed(std::ostream& os, const char* prefix, const First& first,
                          const Rest&... rest) {
    basekit::keepflag guard(os);
    basekit::classicnumbers numbers(os);
    os.setf(std::ios::fixed, std::ios::floatfield);
    os << prefix;
    put(os, first);
    ((os << ", ", put(os, rest)), ...);
    return os << ')';
}

template <typename... Bytes>
std::ostream& write_bytes(std::ostream& os, const char* prefix, Bytes... bytes) {
    const std::ios::fmtflags saved = os.flags();
    if (saved & std::ios::showbase) {
        os << "0x";
        os.unsetf(std::ios::showbase);
    }
    os << prefix;
    ((os << basekit::_puthex<unsigned char>{bytes}), ...);
    os << ')';
    os.flags(saved);
    return os;
}

} // namespace

std::ostream& operator<<(std::ostream& os, const position3_t& v) {
    return write_fixed(os, "pos3(", v.x, v.y, v.z);
}

std::ostream& operator<<(std::ostream& os, const direction3_t& v) {
    return write_fixed(os, "dir3(", v.x, v.y, v.z);
}

std::ostream& operator<<(std::ostream& os, const position2_t& v) {
    return write_fixed(os, "pos2(", v.x, v.y);
}

std::ostream& operator<<(std::ostream& os, const direction2_t& v) {
    return write_fixed(os, "dir2(", v.x, v.y);
}

std::ostream& operator<<(std::ostream& os, const position2l_t& v) {
    return write_fixed(os, "pos2l(", v.x, v.y);
}

std::ostream& operator<<(std::ostream& os, const direction2l_t& v) {
    return write_fixed(os, "dir2l(", v.x, v.y);
}

std::ostream& operator<<(std::ostream& os, const position2ul_t& v) {
    return write_fixed(os, "pos2ul(", v.x, v.y);
}

std::ostream& operator<<(std::ostream& os, const direction2ul_t& v) {
    return write_fixed(os, "dir2ul(", v.x, v.y);
}

std::ostream& operator<<(std::ostream& os, const vector3w_t& v) {
    return write_fixed(os, "vec3w(", v.x, v.y, v.z, v.w);
}

std::ostream& operator<<(std::ostream& os, const quaternion_t& v) {
    return write_fixed(os, "qua(", v.x, v.y, v.z, v.w);
}

std::ostream& operator<<(std::ostream& os, const rotation3_t& v) {
    return write_fixed(os, "rot3(", v.angle, v.axis);
}

std::ostream& operator<<(std::ostream& os, const polarpos3_t& v) {
    return write_fixed(os, "plr3(", v.r, v.theta, v.phi);
}

std::ostream& operator<<(std::ostream& os, const angles3_t& v) {
    return write_fixed(os, "ang3(", v.x, v.y, v.z);
}

std::ostream& operator<<(std::ostream& os, const revolution3_t& v) {
    return write_fixed(os, "rev3(", v.x, v.y, v.z);
}

std::ostream& operator<<(std::ostream& os, const posture3w_t& v) {
    return write_fixed(os, "pst3w(", v.attitude, v.rate, v.location);
}

std::ostream& operator<<(std::ostream& os, const straight3_t& v) {
    return write_fixed(os, "srt3(", v.speed, v.dir);
}

std::ostream& operator<<(std::ostream& os, const inertial3_t& v) {
    return write_fixed(os, "irt3(", v.turn, v.straight);
}

std::ostream& operator<<(std::ostream& os, const matrix3w_t& v) {
    basekit::keepflag guard(os);
    basekit::classicnumbers numbers(os);
    os.setf(std::ios::fixed, std::ios::floatfield);
    os << "mtx3w(\t";
    for (int i = 0; i < 16; ++i) {
        if (i > 0) os << (i % 4 == 0 ? ",\n\t" : ", ");
        put(os, v.m[i]);
    }
    return os << ')';
}

std::ostream& operator<<(std::ostream& os, const box2_t& v) {
    return write_fixed(os, "box2(", v.first, v.second);
}

std::ostream& operator<<(std::ostream& os, const box3_t& v) {
    return write_fixed(os, "box3(", v.first, v.second);
}

std::ostream& operator<<(std::ostream& os, const dim2_t& v) {
    return write_fixed(os, "dim2(", v.width, v.height);
}

std::ostream& operator<<(std::ostream& os, const dim3_t& v) {
    return write_fixed(os, "dim3(", v.width, v.height, v.depth);
}

std::ostream& operator<<(std::ostream& os, const surface_t& v) {
    return write_fixed(os, "surface(", v.a, v.b, v.c, v.d);
}

std::ostream& operator<<(std::ostream& os, const line2d_t& v) {
    return write_fixed(os, "line2d(", v.a, v.b, v.c);
}

std::ostream& operator<<(std::ostream& os, const line3d_t& v) {
    return write_fixed(os, "line3d(", v.dir, v.forward, v.inverse);
}

std::ostream& operator<<(std::ostream& os, const triangle_t& v) {
    basekit::classicnumbers numbers(os);
    os << "s: " << v.plane << std::endl;
    os << v.frame << std::endl;
    os << "l: " << v.edge[0] << v.edge[1] << v.edge[2] << std::endl;
    os << "p: " << v.corner[0] << v.corner[1] << v.corner[2] << std::endl;
    for (const auto& triple : v.extra) {
        put(os, triple[0]);
        os << ", ";
        put(os, triple[1]);
        os << ", ";
        put(os, triple[2]);
        os << std::endl;
    }
    return os;
}

std::ostream& operator<<(std::ostream& os, const projection_t& v) {
    return write_fixed(os, "projection(", v.left, v.right, v.bottom, v.top, v.near, v.far);
}

std::ostream& operator<<(std::ostream& os, const color3_t& v) {
    return write_fixed(os, "col3(", v.r, v.g, v.b);
}

std::ostream& operator<<(std::ostream& os, const color3a_t& v) {
    return write_fixed(os, "col3a(", v.r, v.g, v.b, v.a);
}

std::ostream& operator<<(std::ostream& os, const color3aub_t& v) {
    return write_bytes(os, "col3aub(", v.r, v.g, v.b, v.a);
}

std::ostream& operator<<(std::ostream& os, const color3ub_t& v) {
    return write_bytes(os, "col3ub(", v.r, v.g, v.b);
}

std::ostream& operator<<(std::ostream& os, const color1aub_t& v) {
    return write_bytes(os, "col1aub(", v.l, v.a);
}

std::ostream& operator<<(std::ostream& os, const color1ub_t& v) {
    return write_bytes(os, "col1ub(", v.l);
}

std::ostream& operator<<(std::ostream& os, const texcoord1_t& v) {
    return write_fixed(os, "txc1(", v.s);
}

std::ostream& operator<<(std::ostream& os, const texcoord2_t& v) {
    return write_fixed(os, "txc2(", v.s, v.t);
}

std::ostream& operator<<(std::ostream& os, const texcoord2q_t& v) {
    return write_fixed(os, "txc2q(", v.s, v.t, v.q);
}

std::ostream& operator<<(std::ostream& os, const texcoord3_t& v) {
    return write_fixed(os, "txc3(", v.s, v.t, v.r);
}

std::ostream& operator<<(std::ostream& os, const texcoord3q_t& v) {
    return write_fixed(os, "txc3q(", v.s, v.t, v.r, v.q);
}

} // namespace geokit
