// Numbers in files under a decimal-comma locale. The viewer runs under the
// user's locale (setlocale(LC_ALL, "")), where C's strtod reads "2.5" as 2;
// scene files and the typed text form must still mean a point, and write one,
// also on streams that carry such a locale and under a global C++ locale.
#include "firework/loadsave.h"
#include "firework/look.h"
#include "firework/scenecheck.h"
#include "firework/scenereader.h"
#include "geometry/geokit.h"
#include "tests/firework/scenes.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <locale>
#include <sstream>

using namespace vexlor;

namespace {

constexpr const char* decimalcomma = "de_DE.UTF-8";

class DecimalComma : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!std::setlocale(LC_ALL, decimalcomma))
            GTEST_SKIP() << decimalcomma << " is not installed: enable it in /etc/locale.gen and run locale-gen "
                         << "(the test fixture tests/support/decimal-comma-locale does that as root)";
        // Otherwise nothing below would be tested.
        ASSERT_EQ(std::strtod("2.5", nullptr), 2.0);
    }

    void TearDown() override
    {
        std::locale::global(std::locale::classic());
        std::setlocale(LC_ALL, "C");
    }

    // The small scene as save writes it, loaded, read and checked.
    void expectsmallscene()
    {
        tempdir dir;
        const std::string text = scenes::join(scenes::smalllines);
        const std::string path = dir.write("small.scene", text);
        std::vector<firework_t> loaded, read;
        ASSERT_TRUE(load(path.c_str(), loaded));
        const firework_t& shell = loaded.at(0);
        EXPECT_TRUE(shell.time == 1.5f && shell.drag == 0.95f && shell.position.y == 2.5f && shell.color.g == 0.5f);
        EXPECT_EQ(shell.fires.at(0).powders.at(0).films.at(1).duration, 1234570.0f);
        std::string message;
        ASSERT_TRUE(readscene(path.c_str(), read, message)) << message;
        EXPECT_TRUE(scenes::identical(read, loaded));
        EXPECT_TRUE(check(path.c_str(), message)) << message;
        ASSERT_TRUE(save(path.c_str(), scenes::small()));
        EXPECT_EQ(tempdir::read(path), text);
    }
};

template <typename T> std::string text(const T& v, const std::locale& locale)
{
    std::ostringstream os;
    os.imbue(locale);
    os << v;
    EXPECT_EQ(os.getloc(), locale); // the stream's own locale is kept
    return os.str();
}

template <typename T> T read_as(const std::string& s, const std::locale& locale)
{
    std::istringstream is(s);
    is.imbue(locale);
    T v{};
    is >> v;
    EXPECT_FALSE(is.fail()) << s;
    return v;
}

// --look's numbers mean a point whatever the locale the viewer runs under.
TEST_F(DecimalComma, LookSettingsReadAPoint)
{
    lookchoice_t choice;
    std::string problem;
    ASSERT_TRUE(parselook("night,glow=1.5,wind=2.5:-0.5:0", choice, problem)) << problem;
    EXPECT_EQ(choice.look.glow, 1.5f);
    EXPECT_EQ(choice.look.wind.x, 2.5f);
    EXPECT_EQ(choice.look.wind.y, -0.5f);
    EXPECT_FALSE(parselook("night,glow=1,5", choice, problem)) << "a comma separates settings";
}

} // namespace

TEST_F(DecimalComma, LoaderReaderCheckerAndSaveUnderTheUsersLocale)
{
    expectsmallscene();
}

TEST_F(DecimalComma, LoaderReaderCheckerAndSaveUnderAGlobalCppLocale)
{
    std::locale::global(std::locale(decimalcomma));
    std::ostringstream os;
    os << 1234.5;
    ASSERT_EQ(os.str(), "1.234,5"); // grouped, with a comma: what a file must not hold
    expectsmallscene();
}

TEST_F(DecimalComma, TypedTextFormOnStreamsWithThatLocale)
{
    const std::locale german(decimalcomma);
    EXPECT_EQ(text(geokit::position3_t{1234.5f, 2.5f, -3}, german), "pos3(1234.500000, 2.500000, -3.000000)");
    EXPECT_EQ(text(geokit::dim2_t{5000000000ull, 1}, german), "dim2(5000000000, 1)");
    EXPECT_EQ(text(geokit::projection_t{-1, 1, -0.5, 0.5, 0.1, 1000.1}, german),
              "projection(-1.000000, 1.000000, -0.500000, 0.500000, 0.100000, 1000.100000)");
    geokit::mtype_reader tagged{};
    tagged.type = geokit::mt_float;
    tagged.flt = 0.25f;
    EXPECT_EQ(text(tagged, german), "float(0.250000)");

    const geokit::color3a_t c = read_as<geokit::color3a_t>("col3a(1234.5, 0.95, 0.5, 1)", german);
    EXPECT_TRUE(c.r == 1234.5f && c.g == 0.95f && c.b == 0.5f && c.a == 1.0f);
    const geokit::matrix3w_t m{{-1.5f, 0.25f, 3, 0, 1, -0.125f, 7, 2, 0, 0, 1, 0, 5, 6, 7, 1234.5f}};
    const geokit::matrix3w_t back = read_as<geokit::matrix3w_t>(text(m, german), german);
    EXPECT_TRUE(scenes::bits(back, m));
    EXPECT_EQ(read_as<geokit::mtype_reader>("float(2.5)", german).flt, 2.5f);
}
