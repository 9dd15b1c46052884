// Readers of the typed text form: leniency, round trips through the writers,
// checked type words in composites and the deliberate non-round-trips.
#include "expect_geo.h"

#include <cstring>
#include <sstream>
#include <string>

using namespace geokit;
using geotest::expect_xyz;

namespace {

template <typename T> std::string text(const T& v) {
    std::ostringstream os;
    os << v;
    return os.str();
}

template <typename T> T read_as(const std::string& s) {
    std::istringstream is(s);
    T v{};
    is >> v;
    return v;
}

// Written, read back into a zeroed value: equal byte for byte, and the reader
// stopped right after the value.
template <typename T> void expect_round_trip(const T& v) {
    std::istringstream is(text(v) + " pos3(7, 8, 9)");
    T back{};
    position3_t next{};
    is >> back >> next;
    EXPECT_EQ(std::memcmp(&back, &v, sizeof(T)), 0) << text(v);
    expect_xyz(next, 7, 8, 9);
}

template <typename... T> void expect_round_trips(const T&... v) {
    (expect_round_trip(v), ...);
}

matrix3w_t sample_matrix() {
    matrix3w_t m{};
    for (int i = 0; i < 16; ++i)
        m.m[i] = 0.25f * static_cast<float>(i) - 1.5f;
    return m;
}

} // namespace

TEST(TextIn, LenientReading) {
    expect_xyz(read_as<position3_t>("dir3(1,2,3)"), 1, 2, 3);
    expect_xyz(read_as<position3_t>("xyz(1 , 2 , 3)"), 1, 2, 3);
    expect_xyz(read_as<direction3_t>("(4;5;6)"), 4, 5, 6);
    // A blank before "(" lets the skip swallow it: the next "(" is used.
    expect_xyz(read_as<position3_t>("pos3 (1, 2, 3) pos3(4, 5, 6)"), 4, 5, 6);

    // No closing parenthesis: the values are read and the stream is not failed.
    std::istringstream open_end("pos3(1, 2, 3");
    position3_t p{};
    open_end >> p;
    expect_xyz(p, 1, 2, 3);
    EXPECT_FALSE(open_end.fail());

    // A number that does not parse fails the stream and stops filling.
    std::istringstream bad("pos3(1, x, 3)");
    position3_t q{9, 9, 9};
    bad >> q;
    EXPECT_TRUE(bad.fail());
    EXPECT_EQ(q.x, 1.0f);
    EXPECT_EQ(q.z, 9.0f);
}

TEST(TextIn, RoundTrips) {
    expect_round_trips(position3_t{1, 2.5f, -3}, direction3_t{-0.5f, 0.25f, 1}, position2_t{3, -4},
                       direction2_t{0.125f, 9}, vector3w_t{1, 2, 3, 1});
    expect_round_trips(position2l_t{-2147483647 - 1, 2147483647}, direction2l_t{-5, 6},
                       position2ul_t{4294967295u, 0}, direction2ul_t{7, 8});
    expect_round_trips(quaternion_t{0.5f, -0.5f, 0.25f, 1}, rotation3_t{-45, {0, 1, 0}},
                       polarpos3_t{2, 0.5f, -1}, angles3_t{10, 20, 30}, revolution3_t{1, -1, 0.5f});
    expect_round_trips(straight3_t{12.5f, {1, 0, 0}}, inertial3_t{{1, 2, 3}, {4, {0, 0, -1}}},
                       sample_matrix(), line3d_t{{0, 0, 1}, sample_matrix(), Imtx});
    expect_round_trips(box2_t{{-1, -2}, {3, 4}}, box3_t{{-1, -2, -3}, {4, 5, 6}},
                       dim2_t{(1ull << 32) + 1, 1080}, dim3_t{18446744073709551615ull, 2, 3});
    expect_round_trips(surface_t{0, 0, 1, -2}, line2d_t{1, 2, 3},
                       projection_t{-0.08, 0.08, -0.06, 0.06, 0.1, 1000.1});
    expect_round_trips(color3_t{1, 0.5f, 0}, color3a_t{0.25f, 0.5f, 0.75f, 1}, texcoord1_t{0.5f},
                       texcoord2_t{0.5f, 1}, texcoord2q_t{0.5f, 1, 2}, texcoord3_t{0.5f, 1, 2},
                       texcoord3q_t{0.5f, 1, 2, 4});
}

TEST(TextIn, CompositesCheckTheirWords) {
    // Wrong word for the axis: the angle is kept, the axis untouched, and the
    // stream stands just after the word.
    std::istringstream rot("rot3(45, pos3(0, 0, 1))");
    rotation3_t r{0, {7, 7, 7}};
    rot >> r;
    EXPECT_EQ(r.angle, 45.0f);
    expect_xyz(r.axis, 7, 7, 7);
    EXPECT_EQ(rot.peek(), '(');
    box2_t partly{{9, 9}, {9, 9}};
    std::istringstream half("box2(pos2(1, 2), dir2(4, 3))");
    half >> partly;
    EXPECT_EQ(partly.first.x, 1.0f);
    EXPECT_EQ(partly.second.x, 9.0f);

    // Posture demands rot3 members, so what its writer makes does not read back.
    const posture3w_t minus{{-1, -1, -1}, {-1, -1, -1}, {-1, -1, -1}};
    for (const std::string& s :
         {text(posture3w_t{{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}),
          std::string("pst3w(rev3(1, 2, 3), rot3(4, 5, 6), pos3(7, 8, 9))"),
          std::string("pst3w(rot3(1, 2, 3), rot3(4, 5, 6), dir3(7, 8, 9))")}) {
        std::istringstream is(s);
        posture3w_t untouched = minus;
        is >> untouched;
        EXPECT_EQ(std::memcmp(&untouched, &minus, sizeof minus), 0) << s;
    }
    const posture3w_t accepted =
        read_as<posture3w_t>("pst3w(rot3(1, 2, 3), rot3(4, 5, 6), pos3(7, 8, 9))");
    expect_xyz(accepted.attitude, 1, 2, 3);
    expect_xyz(accepted.location, 7, 8, 9);

    inertial3_t motion{{-1, -1, -1}, {-1, {-1, -1, -1}}};
    std::istringstream("irt3(rev3(1, 2, 3), srt3(4, pos3(0, 0, 1)))") >> motion;
    EXPECT_EQ(motion.turn.x, -1.0f);

    // The line's direction word is not checked.
    const line3d_t line =
        read_as<line3d_t>("line3d(anything(1, 2, 3), m(1,0,0,0,0,1,0,0,0,0,1,0,0,0,0,1), "
                          "m(0,0,0,0,0,0,0,0,0,0,0,0,5,6,7,1))");
    expect_xyz(line.dir, 1, 2, 3);
    EXPECT_EQ(line.inverse.m[14], 7.0f);
}

TEST(TextIn, ByteColoursReadSingleCharacters) {
    const color3aub_t c = read_as<color3aub_t>("col3aub(a,b,c,d)");
    EXPECT_TRUE(c.r == 'a' && c.g == 'b' && c.b == 'c' && c.a == 'd');
    const color1aub_t la = read_as<color1aub_t>("col1aub( L , A )");
    EXPECT_TRUE(la.l == 'L' && la.a == 'A');
    // What the writer makes ("0" before every byte, no separators) does not read back.
    const color3ub_t back = read_as<color3ub_t>(text(color3ub_t{'r', 'g', 'b'}));
    EXPECT_TRUE(back.r == '0' && back.g == '0' && back.b == '0');
}
