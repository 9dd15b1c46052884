// The typed text form: exact writer output and the stream's format state,
// lenient readers, round trips, checked type words in composites, the
// deliberate non-round-trips, type tags and tagged values; the strict
// parser of whole values.
#include "expect_geo.h"

#include "geometry/textparse.h"

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
    EXPECT_EQ(next.z, 9.0f) << text(v);
}

template <typename... T> void expect_round_trips(const T&... v) {
    (expect_round_trip(v), ...);
}

// Values that a fixed six-digit text holds exactly.
constexpr matrix3w_t sample{{-1.5f, 0.25f, 3, 0, 1, -0.125f, 7, 2, 0, 0, 1, 0, 5, 6, 7, 1}};

} // namespace

TEST(TextOut, ValuesMatrixTriangleAndFormatState) {
    EXPECT_EQ(text(position3_t{1, 2.5f, -3}), "pos3(1.000000, 2.500000, -3.000000)");
    EXPECT_EQ(text(color3a_t{1, 0.5f, 0, 0.75f}), "col3a(1.000000, 0.500000, 0.000000, 0.750000)");
    EXPECT_EQ(text(projection_t{-1, 1, -0.5, 0.5, 0.1, 1000.1}),
              "projection(-1.000000, 1.000000, -0.500000, 0.500000, 0.100000, 1000.100000)");
    EXPECT_EQ(text(direction2l_t{-2147483647 - 1, 0}), "dir2l(-2147483648, 0)");
    EXPECT_EQ(text(position2ul_t{4294967295u, 1}), "pos2ul(4294967295, 1)");
    EXPECT_EQ(text(dim2_t{5000000000ull, 1}), "dim2(5000000000, 1)");
    EXPECT_EQ(text(rotation3_t{90, {0, 0, 1}}),
              "rot3(90.000000, dir3(0.000000, 0.000000, 1.000000))");
    EXPECT_EQ(text(posture3w_t{{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}),
              "pst3w(rev3(1.000000, 2.000000, 3.000000), rev3(4.000000, 5.000000, 6.000000), "
              "pos3(7.000000, 8.000000, 9.000000))");
    EXPECT_EQ(text(box2_t{{0, 0}, {4, 3}}),
              "box2(pos2(0.000000, 0.000000), pos2(4.000000, 3.000000))");

    // Four groups of four, in storage order: the columns.
    matrix3w_t m{};
    for (int i = 0; i < 16; ++i)
        m.m[i] = static_cast<float>(i);
    const std::string m_text = "mtx3w(\t0.000000, 1.000000, 2.000000, 3.000000,\n"
                               "\t4.000000, 5.000000, 6.000000, 7.000000,\n"
                               "\t8.000000, 9.000000, 10.000000, 11.000000,\n"
                               "\t12.000000, 13.000000, 14.000000, 15.000000)";
    EXPECT_EQ(text(m), m_text);

    // A triangle takes several lines; its float triples use the stream's own notation.
    triangle_t t{};
    t.frame = m;
    t.plane = {0, 0, 1, -2};
    t.edge[1] = {1, 2, 3};
    t.corner[2] = {4, 5, 6};
    t.extra[1][1] = 2.5f;
    t.extra[2][2] = -3;
    EXPECT_EQ(text(t), "s: surface(0.000000, 0.000000, 1.000000, -2.000000)\n" + m_text +
                           "\nl: line2d(0.000000, 0.000000, 0.000000)line2d(1.000000, 2.000000, "
                           "3.000000)line2d(0.000000, 0.000000, 0.000000)\n"
                           "p: pos3(0.000000, 0.000000, 0.000000)pos3(0.000000, 0.000000, "
                           "0.000000)pos3(4.000000, 5.000000, 6.000000)\n"
                           "0, 0, 0\n0, 2.5, 0\n0, 0, -3\n");

    // Precision and flags of the stream are used and kept.
    std::ostringstream os;
    os.precision(2);
    os << std::scientific << std::showpos;
    const auto flags = os.flags();
    os << position3_t{1, 2.5f, -3};
    EXPECT_EQ(os.str(), "pos3(+1.00, +2.50, -3.00)");
    os << matrix3w_t{} << rotation3_t{} << dim2_t{};
    EXPECT_EQ(os.flags(), flags);
    EXPECT_EQ(os.precision(), 2);
}

TEST(TextForm, ByteColoursAreFillAndRawByteButReadAsCharacters) {
    EXPECT_EQ(text(color3aub_t{'A', 'B', 'C', 'D'}), "col3aub(0A0B0C0D)");
    EXPECT_EQ(text(color1aub_t{'l', 'a'}), "col1aub(0l0a)");
    std::ostringstream os;
    os << std::showbase << std::hex;
    os.fill('*');
    const auto flags = os.flags();
    os << color3ub_t{'1', '2', '3'} << ' ' << 255;
    EXPECT_EQ(os.str(), "0xcol3ub(010203) 0xff");
    EXPECT_EQ(os.flags(), flags);
    EXPECT_EQ(os.fill(), '*');

    const color3aub_t c = read_as<color3aub_t>("col3aub(a,b,c,d)");
    EXPECT_TRUE(c.r == 'a' && c.g == 'b' && c.b == 'c' && c.a == 'd');
    const color1aub_t la = read_as<color1aub_t>("col1aub( L , A )");
    EXPECT_TRUE(la.l == 'L' && la.a == 'A');
    // What the writer makes ("0" before every byte, no separators) does not read back.
    const color3ub_t back = read_as<color3ub_t>(text(color3ub_t{'r', 'g', 'b'}));
    EXPECT_TRUE(back.r == '0' && back.g == '0' && back.b == '0');
}

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
    expect_xyz(q, 1, 0, 9); // the failed extraction stores 0
}

TEST(TextIn, RoundTrips) {
    expect_round_trips(position3_t{1, 2.5f, -3}, direction3_t{-0.5f, 0.25f, 1}, position2_t{3, -4},
                       direction2_t{0.125f, 9}, vector3w_t{1, 2, 3, 1},
                       quaternion_t{0.5f, -0.5f, 0.25f, 1}, polarpos3_t{2, 0.5f, -1},
                       angles3_t{10, 20, 30}, revolution3_t{1, -1, 0.5f}, color3_t{1, 0.5f, 0},
                       color3a_t{0.25f, 0.5f, 0.75f, 1}, texcoord1_t{0.5f}, texcoord2_t{0.5f, 1},
                       texcoord2q_t{0.5f, 1, 2}, texcoord3_t{0.5f, 1, 2},
                       texcoord3q_t{0.5f, 1, 2, 4}, surface_t{0, 0, 1, -2}, line2d_t{1, 2, 3});
    expect_round_trips(position2l_t{-2147483647 - 1, 2147483647}, direction2l_t{-5, 6},
                       position2ul_t{4294967295u, 0}, direction2ul_t{7, 8},
                       dim2_t{(1ull << 32) + 1, 1080}, dim3_t{18446744073709551615ull, 2, 3},
                       projection_t{-0.08, 0.08, -0.06, 0.06, 0.1, 1000.1});
    expect_round_trips(rotation3_t{-45, {0, 1, 0}}, straight3_t{12.5f, {1, 0, 0}},
                       inertial3_t{{1, 2, 3}, {4, {0, 0, -1}}}, sample,
                       line3d_t{{0, 0, 1}, sample, Imtx}, box2_t{{-1, -2}, {3, 4}},
                       box3_t{{-1, -2, -3}, {4, 5, 6}});
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
    const box2_t half = read_as<box2_t>("box2(pos2(1, 2), dir2(4, 3))");
    EXPECT_TRUE(half.first.x == 1.0f && half.second.x == 0.0f);

    // Posture demands rot3 members, so what its writer makes does not read back.
    const posture3w_t minus{{-1, -1, -1}, {-1, -1, -1}, {-1, -1, -1}};
    for (const std::string& s :
         {text(posture3w_t{{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}),
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

TEST(StreamType, LookupByNameAndByValue) {
    EXPECT_EQ(get_mtype("projection"), mt_projection);
    EXPECT_EQ(get_mtype("qua"), mt_qua);
    for (const char* unknown : {"pos2ul", "dir2ul", "", "pos", "pos3x", "POS3"})
        EXPECT_EQ(get_mtype(unknown), mt_none) << unknown;
    // By table position: rows 7 on hold other values, and there are 37 rows.
    const std::pair<e_mtype_t, const char*> names[] = {{mt_float, "float"},
                                                       {mt_dir2l, "dir2l"},
                                                       {mt_pos2ul, "table error\n"},
                                                       {mt_qua, "table error\n"},
                                                       {mt_line3d, "table error\n"},
                                                       {mt_projection, "range over\n"},
                                                       {e_mtype_t(1000), "range over\n"}};
    for (const auto& [type, name] : names)
        EXPECT_EQ(text(type), name);
}

TEST(StreamType, TypeWordReader) {
    std::istringstream is("pos3(1, 2, 3)");
    is >> std::noskipws;
    e_mtype_t t = mt_float;
    is >> t;
    EXPECT_EQ(t, mt_pos3);
    EXPECT_EQ(is.peek(), '(');
    EXPECT_TRUE(is.flags() & std::ios::skipws);
    // A blank is no delimiter: the word runs on into the parenthesis.
    std::istringstream blank("  pos3 ()");
    blank >> t;
    EXPECT_EQ(t, mt_none);
    EXPECT_EQ(blank.peek(), ')');
    // Nothing before a delimiter: nothing is consumed.
    for (const char* s : {"(x", ")x", ",x", "\tx", "\nx", "\rx"}) {
        std::istringstream d(s);
        t = mt_float;
        d >> t;
        EXPECT_EQ(t, mt_none) << s;
        EXPECT_EQ(d.peek(), s[0]) << s;
    }
    // Sixteen characters at most; the rest stays in the stream.
    std::istringstream longword("abcdefghijklmnopqrstu(");
    longword >> t;
    EXPECT_EQ(t, mt_none);
    EXPECT_EQ(longword.peek(), 'q');
}

TEST(StreamType, TaggedValues) {
    mtype_reader v{};
    v.type = mt_float;
    v.flt = 2.5f;
    EXPECT_EQ(text(v), "float(2.500000)");
    v.type = mt_pos2ul;
    v.pos2ul = {1, 2};
    EXPECT_EQ(text(v), "pos2ul(1, 2)");
    for (e_mtype_t silent : {mt_box2, mt_dim3, mt_surface, mt_line3d, mt_none}) {
        v.type = silent;
        EXPECT_EQ(text(v), "") << static_cast<unsigned>(silent);
    }

    std::istringstream is("box2(pos2(0, 0), pos2(4, 3)) float(2.5) blob(1, 2) pos2ul(5, 6)"
                          "projection(-1, 1, -2, 2, 0.5, 9)");
    mtype_reader r[5]{};
    is >> r[0] >> r[1] >> r[2] >> r[3] >> r[4];
    EXPECT_TRUE(r[0].type == mt_box2 && r[0].box2.second.x == 4 && r[0].box2.second.y == 3);
    EXPECT_TRUE(r[1].type == mt_float && r[1].flt == 2.5f);
    // Unknown words, the untaggable ones included, skip past the next ")".
    EXPECT_TRUE(r[2].type == mt_none && r[3].type == mt_none);
    EXPECT_TRUE(r[4].type == mt_projection && r[4].projection.bottom == -2 &&
                r[4].projection.far == 9);
}

TEST(StrictText, WholeValuesOnlyAndTheLenientReadersAgree) {
    // Accepted: the writers' own text, and blanks, signs and exponents.
    const char* const positions[] = {"pos3(1.000000, 2.500000, -3.000000)", "pos3(1,2.5,-3)",
                                     "pos3( +1 ,\t25e-1 , -3. )", "pos3(.1e1, 2.50, -0.3E+1)"};
    for (const char* s : positions) {
        position3_t strict{};
        ASSERT_TRUE(parsetext(s, strict)) << s;
        expect_xyz(strict, 1, 2.5f, -3);
        const position3_t lenient = read_as<position3_t>(s);
        EXPECT_EQ(std::memcmp(&strict, &lenient, sizeof strict), 0) << s;
    }
    projection_t p{};
    ASSERT_TRUE(parsetext("projection(-1, 1, -0.5, 0.5, 0.1, 1000.1)", p));
    EXPECT_TRUE(p.near == 0.1 && p.far == 1000.1); // doubles, not floats widened
    color3a_t c{};
    EXPECT_TRUE(parsetext("col3a(1, 0.5, 0, 0.75)", c) && c.g == 0.5f && c.a == 0.75f);
    texcoord1_t t{};
    EXPECT_TRUE(parsetext("txc1(-2)", t) && t.s == -2.0f);

    // Refused: anything but one complete value of the type named.
    const char* const refused[] = {
        "pos3(1, 2, 3",   "pos3(1, 2, 3) ",  " pos3(1, 2, 3)", "pos3 (1, 2, 3)", "dir3(1, 2, 3)", "(1, 2, 3)",
        "pos3(1, 2)",     "pos3(1, 2, 3, 4)", "pos3(1,, 3)",   "pos3(1; 2; 3)", "pos3(1, nan, 3)", "pos3(inf, 2, 3)",
        "pos3(1e39, 2, 3)", "pos3(0x1, 2, 3)", "pos3(1, 2, 3))", "pos3(1 2, 3)", "pos3(+-1, 2, 3)", "pos3()",
        "pos3",           "",                 "pos3(1, 2, 3)\n", "pos3(1,\n2, 3)"};
    for (const char* s : refused) {
        position3_t v{};
        EXPECT_FALSE(parsetext(s, v)) << s;
    }
}
