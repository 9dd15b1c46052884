// Plain value types in which the whole system speaks of space: points,
// directions, homogeneous vectors, 4x4 matrices, rotations, motions, boxes,
// sizes and the projection frustum. Aggregates only, copied by value.
#pragma once

#include <cstdint>

namespace geokit {

struct position3_t {
    float x, y, z;
};

// Same fields as a position; the type decides which operations apply.
struct direction3_t {
    float x, y, z;
};

struct position2_t {
    float x, y;
};

struct direction2_t {
    float x, y;
};

struct position2l_t {
    std::int32_t x, y;
};

struct direction2l_t {
    std::int32_t x, y;
};

struct position2ul_t {
    std::uint32_t x, y;
};

struct direction2ul_t {
    std::uint32_t x, y;
};

// w is 1 for a point, 0 for a direction.
struct vector3w_t {
    float x, y, z, w;
};

// Carried in stored order; nothing here interprets the components.
struct quaternion_t {
    float x, y, z, w;
};

// Degrees about an axis (right-hand rule); the axis need not be unit length.
struct rotation3_t {
    float angle;
    direction3_t axis;
};

struct polarpos3_t {
    float r, theta, phi;
};

struct angles3_t {
    float x, y, z;
};

struct revolution3_t {
    float x, y, z;
};

struct posture3w_t {
    revolution3_t attitude;
    revolution3_t rate;
    position3_t location;
};

struct straight3_t {
    float speed;
    direction3_t dir;
};

struct inertial3_t {
    revolution3_t turn;
    straight3_t straight;
};

// Column-major as glUniformMatrix4fv takes it untransposed: (row i, column j)
// is m[4 * j + i], so m[12], m[13], m[14] hold the translation.
struct matrix3w_t {
    float m[16];
};

struct box2_t {
    position2_t first, second;
};

struct box3_t {
    position3_t first, second;
};

struct dim2_t {
    std::uint64_t width, height;
};

struct dim3_t {
    std::uint64_t width, height, depth;
};

struct surface_t {
    float a, b, c, d;
};

struct line2d_t {
    float a, b, c;
};

// A direction with its forward and inverse frame.
struct line3d_t {
    direction3_t dir;
    matrix3w_t forward, inverse;
};

struct triangle_t {
    matrix3w_t frame;
    surface_t plane;
    line2d_t edge[3];
    position3_t corner[3];
    float extra[3][3];
};

// A viewing volume as glFrustum / glOrtho take it; near and far are positive
// distances, the sides are measured on the near plane for a perspective volume.
struct projection_t {
    double left, right, bottom, top, near, far;
};

} // namespace geokit
