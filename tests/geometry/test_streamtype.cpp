// Type tags: lookup by name, the type-word reader, the name-by-value writer
// and tagged values.
#include "expect_geo.h"

#include <sstream>
#include <string>
#include <utility>

using namespace geokit;

namespace {

template <typename T> std::string text(const T& v) {
    std::ostringstream os;
    os << v;
    return os.str();
}

} // namespace

TEST(StreamType, LookupByNameAndByValue) {
    EXPECT_EQ(get_mtype("projection"), mt_projection);
    EXPECT_EQ(get_mtype("qua"), mt_qua);
    EXPECT_EQ(get_mtype("float"), mt_float);
    for (const char* unknown : {"pos2ul", "dir2ul", "", "pos", "pos3x", "POS3"})
        EXPECT_EQ(get_mtype(unknown), mt_none) << unknown;

    // By table position: rows 7 on hold other values, and there are 37 rows.
    const std::pair<e_mtype_t, const char*> names[] = {
        {mt_float, "float"},
        {mt_dir2l, "dir2l"},
        {mt_pos2ul, "table error\n"},
        {mt_qua, "table error\n"},
        {mt_line3d, "table error\n"},
        {mt_projection, "range over\n"},
        {static_cast<e_mtype_t>(1000), "range over\n"}};
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
    mtype_reader r{};
    is >> r;
    EXPECT_EQ(r.type, mt_box2);
    EXPECT_TRUE(r.box2.second.x == 4.0f && r.box2.second.y == 3.0f);
    is >> r;
    EXPECT_EQ(r.type, mt_float);
    EXPECT_EQ(r.flt, 2.5f);
    // Unknown words, the untaggable ones included, skip past the next ")".
    is >> r;
    EXPECT_EQ(r.type, mt_none);
    is >> r;
    EXPECT_EQ(r.type, mt_none);
    is >> r;
    EXPECT_EQ(r.type, mt_projection);
    EXPECT_TRUE(r.projection.bottom == -2.0 && r.projection.far == 9.0);
}
