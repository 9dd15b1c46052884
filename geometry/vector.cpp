// Vector operations on positions, directions and homogeneous vectors.
// Arithmetic is in float throughout.
#include "geometry/vector.h"

#include <cmath>

namespace geokit {

namespace {

direction3_t normalized(float x, float y, float z) {
    const float length = std::sqrt(x * x + y * y + z * z);
    if (length == 0.0f) return {0.0f, 0.0f, 0.0f};
    const float inv = 1.0f / length;
    return {x * inv, y * inv, z * inv};
}

direction3_t cross(float ax, float ay, float az, float bx, float by, float bz) {
    return {ay * bz - az * by, az * bx - ax * bz, ax * by - ay * bx};
}

float dot(const direction3_t& a, const direction3_t& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

direction3_t difference(const position3_t& to, const position3_t& from) {
    return {to.x - from.x, to.y - from.y, to.z - from.z};
}

// modf's integer part rounds toward zero for negative values too.
float round_component(float v, float q) {
    const float inv = 1.0f / q;
    float whole = 0.0f;
    std::modf(v * inv, &whole);
    return q * whole;
}

float roundup_component(float v, float q) {
    const float r = round_component(v, q);
    return v > r ? r + q : r;
}

template <typename T> T round_each(const T& p, float qx, float qy, float qz) {
    return {round_component(p.x, qx), round_component(p.y, qy), round_component(p.z, qz)};
}

template <typename T> T roundup_each(const T& p, float qx, float qy, float qz) {
    return {roundup_component(p.x, qx), roundup_component(p.y, qy), roundup_component(p.z, qz)};
}

} // namespace

direction3_t Normalize(const position3_t& p) {
    return normalized(p.x, p.y, p.z);
}

direction3_t Normalize(const direction3_t& d) {
    return normalized(d.x, d.y, d.z);
}

vector3w_t Normalize(const vector3w_t& v) {
    const direction3_t d = normalized(v.x, v.y, v.z);
    return {d.x, d.y, d.z, 0.0f};
}

direction3_t CrossProduct(const direction3_t& a, const direction3_t& b) {
    return cross(a.x, a.y, a.z, b.x, b.y, b.z);
}

direction3_t CrossProduct(const position3_t& p0, const position3_t& p1, const position3_t& p2) {
    return CrossProduct(difference(p1, p0), difference(p2, p1));
}

direction3_t CrossProductWithNormalize(const position3_t& p0, const position3_t& p1,
                                       const position3_t& p2) {
    return Normalize(CrossProduct(p0, p1, p2));
}

float ScalarTriProduct(const position3_t& p0, const position3_t& p1, const position3_t& p2,
                       const position3_t& p3) {
    return ScalarTriProduct(difference(p1, p0), difference(p2, p0), difference(p3, p0));
}

float ScalarTriProduct(const direction3_t& a, const direction3_t& b, const direction3_t& c) {
    return dot(CrossProduct(a, b), c);
}

position3_t round_to_quotient(const position3_t& p, float q) {
    return round_each(p, q, q, q);
}

direction3_t round_to_quotient(const direction3_t& p, float q) {
    return round_each(p, q, q, q);
}

position3_t round_to_quotient(const position3_t& p, const direction3_t& q) {
    return round_each(p, q.x, q.y, q.z);
}

direction3_t round_to_quotient(const direction3_t& p, const direction3_t& q) {
    return round_each(p, q.x, q.y, q.z);
}

float roundup_to_quotient(float v, float q) {
    return roundup_component(v, q);
}

position3_t roundup_to_quotient(const position3_t& p, float q) {
    return roundup_each(p, q, q, q);
}

direction3_t roundup_to_quotient(const direction3_t& p, float q) {
    return roundup_each(p, q, q, q);
}

position3_t roundup_to_quotient(const position3_t& p, const direction3_t& q) {
    return roundup_each(p, q.x, q.y, q.z);
}

direction3_t roundup_to_quotient(const direction3_t& p, const direction3_t& q) {
    return roundup_each(p, q.x, q.y, q.z);
}

position3_t SpecializeToPos(const vector3w_t& v) {
    if (v.w == 0.0f) return {v.x, v.y, v.z};
    const float inv = 1.0f / v.w;
    return {v.x * inv, v.y * inv, v.z * inv};
}

direction3_t SpecializeToDir(const vector3w_t& v) {
    return normalized(v.x, v.y, v.z);
}

} // namespace geokit
