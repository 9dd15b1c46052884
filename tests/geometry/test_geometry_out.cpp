// Writers of the typed text form: exact text, nesting, matrix layout, byte
// colours and the stream's format state afterwards.
#include "expect_geo.h"

#include <sstream>
#include <string>

using namespace geokit;

namespace {

template <typename T> std::string text(const T& v) {
    std::ostringstream os;
    os << v;
    return os.str();
}

} // namespace

TEST(TextOut, Values) {
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
}

TEST(TextOut, MatrixLayout) {
    matrix3w_t m{};
    for (int i = 0; i < 16; ++i)
        m.m[i] = static_cast<float>(i);
    EXPECT_EQ(text(m), "mtx3w(\t0.000000, 1.000000, 2.000000, 3.000000,\n"
                       "\t4.000000, 5.000000, 6.000000, 7.000000,\n"
                       "\t8.000000, 9.000000, 10.000000, 11.000000,\n"
                       "\t12.000000, 13.000000, 14.000000, 15.000000)");
}

TEST(TextOut, ByteColoursAreFillAndRawByte) {
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
}

TEST(TextOut, FlagsAndPrecisionKept) {
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

TEST(TextOut, TriangleLines) {
    triangle_t t{};
    t.frame = Imtx;
    t.plane = {0, 0, 1, -2};
    t.edge[1] = {1, 2, 3};
    t.corner[2] = {4, 5, 6};
    t.extra[1][1] = 2.5f;
    t.extra[2][2] = -3;
    EXPECT_EQ(text(t), "s: surface(0.000000, 0.000000, 1.000000, -2.000000)\n"
                       "mtx3w(\t1.000000, 0.000000, 0.000000, 0.000000,\n"
                       "\t0.000000, 1.000000, 0.000000, 0.000000,\n"
                       "\t0.000000, 0.000000, 1.000000, 0.000000,\n"
                       "\t0.000000, 0.000000, 0.000000, 1.000000)\n"
                       "l: line2d(0.000000, 0.000000, 0.000000)line2d(1.000000, 2.000000, "
                       "3.000000)line2d(0.000000, 0.000000, 0.000000)\n"
                       "p: pos3(0.000000, 0.000000, 0.000000)pos3(0.000000, 0.000000, "
                       "0.000000)pos3(4.000000, 5.000000, 6.000000)\n"
                       "0, 0, 0\n0, 2.5, 0\n0, 0, -3\n");
}
