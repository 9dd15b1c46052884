// Colours in float and byte form and texture coordinates: plain aggregates
// with the text forms col3*, col1* and txc*.
#pragma once

#include <cstdint>

namespace geokit {

struct color3_t {
    float r, g, b;
};

// a is opacity, 1.0 opaque.
struct color3a_t {
    float r, g, b, a;
};

struct color3aub_t {
    std::uint8_t r, g, b, a;
};

struct color3ub_t {
    std::uint8_t r, g, b;
};

struct color1aub_t {
    std::uint8_t l, a;
};

struct color1ub_t {
    std::uint8_t l;
};

struct texcoord1_t {
    float s;
};

struct texcoord2_t {
    float s, t;
};

struct texcoord2q_t {
    float s, t, q;
};

struct texcoord3_t {
    float s, t, r;
};

struct texcoord3q_t {
    float s, t, r, q;
};

} // namespace geokit
