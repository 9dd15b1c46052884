// Scene files: the bytes save writes, what load makes of hand-written files
// (C's base prefixes, bare line feeds, short files) and round trips.
#include "firework/loadsave.h"
#include "firework/sample.h"
#include "tests/firework/scenes.h"
#include "tests/firework/tempdir.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using namespace vexlor;
using scenes::film;
using scenes::powder;
using scenes::rgba;

namespace {

std::vector<firework_t> smallscene()
{
    firework_t f;
    f.launched = true;
    f.time = 1.5f;
    f.position = {1.0f, 2.5f, -3.0f};
    f.velocity = {0.0f, 0.0f, 20.0f};
    f.fuse = 2.0f;
    f.size = 250.0f;
    f.drag = 0.95f;
    f.color = rgba(1.0f, 0.5f, 0.25f, 1.0f);
    f.fires.push_back({{0.0f, 0.6f, 0.8f},
                       12.5f,
                       {powder(0.03125f, 12.5f, 0.9f,
                               {film(0.25f, rgba(1, 0.75f, 0.5f, 1), rgba(0, 0, 0, 1)),
                                film(1234567.0f, rgba(0, 0, 0, 0), rgba(1, 1, 1, 1))})}});
    return {f};
}

// The file of smallscene(), one value a line.
const char* const smalllines[] = {
    "1", "1.5", "pos3(1.000000, 2.500000, -3.000000)", "dir3(0.000000, 0.000000, 20.000000)", "2", "250", "0.95",
    "col3a(1.000000, 0.500000, 0.250000, 1.000000)", "1", "dir3(0.000000, 0.600000, 0.800000)", "12.5", "1",
    "0.03125", "12.5", "0.9", "2", "0.25", "col3a(1.000000, 0.750000, 0.500000, 1.000000)",
    "col3a(0.000000, 0.000000, 0.000000, 1.000000)", "1.23457e+06", "col3a(0.000000, 0.000000, 0.000000, 0.000000)",
    "col3a(1.000000, 1.000000, 1.000000, 1.000000)"};

std::string join(const char* end)
{
    std::string text;
    for (const char* line : smalllines)
        text += std::string(line) + end;
    return text;
}

void expectnear(float loaded, float saved)
{
    EXPECT_NEAR(loaded, saved, std::abs(saved) * 5e-6 + 5e-7);
}

void expectsamecolour(const geokit::color3a_t& a, const geokit::color3a_t& b)
{
    expectnear(a.r, b.r);
    expectnear(a.g, b.g);
    expectnear(a.b, b.b);
    expectnear(a.a, b.a);
}

// The same tree, every number within what 6 significant digits (or 6
// decimals for geometry) keep; both flags cleared.
void expectsametree(const std::vector<firework_t>& loaded, const std::vector<firework_t>& saved)
{
    ASSERT_EQ(loaded.size(), saved.size());
    for (std::size_t i = 0; i < saved.size(); ++i) {
        const firework_t& a = loaded[i];
        const firework_t& b = saved[i];
        EXPECT_FALSE(a.launched);
        EXPECT_FALSE(a.exploded);
        expectnear(a.time, b.time);
        expectnear(a.position.x, b.position.x);
        expectnear(a.position.z, b.position.z);
        expectnear(a.velocity.z, b.velocity.z);
        expectnear(a.fuse, b.fuse);
        expectnear(a.size, b.size);
        expectnear(a.drag, b.drag);
        expectsamecolour(a.color, b.color);
        ASSERT_EQ(a.fires.size(), b.fires.size());
        for (std::size_t k = 0; k < b.fires.size(); ++k) {
            const fire_t& x = a.fires[k];
            const fire_t& y = b.fires[k];
            expectnear(x.direction.x, y.direction.x);
            expectnear(x.direction.y, y.direction.y);
            expectnear(x.direction.z, y.direction.z);
            expectnear(x.speed, y.speed);
            ASSERT_EQ(x.powders.size(), y.powders.size());
            for (std::size_t p = 0; p < y.powders.size(); ++p) {
                expectnear(x.powders[p].delay, y.powders[p].delay);
                expectnear(x.powders[p].size, y.powders[p].size);
                expectnear(x.powders[p].drag, y.powders[p].drag);
                ASSERT_EQ(x.powders[p].films.size(), y.powders[p].films.size());
                for (std::size_t m = 0; m < y.powders[p].films.size(); ++m) {
                    expectnear(x.powders[p].films[m].duration, y.powders[p].films[m].duration);
                    expectsamecolour(x.powders[p].films[m].from, y.powders[p].films[m].from);
                    expectsamecolour(x.powders[p].films[m].to, y.powders[p].films[m].to);
                }
            }
        }
    }
}

} // namespace

TEST(LoadSave, SaveWritesOneValueALineEndingInCarriageReturnLineFeed)
{
    tempdir dir;
    const std::string path = dir.path + "/small.scene";
    ASSERT_TRUE(save(path.c_str(), smallscene()));
    EXPECT_EQ(tempdir::read(path), join("\r\n"));

    ASSERT_TRUE(save(path.c_str(), {}));
    EXPECT_EQ(tempdir::read(path), "0\r\n");
    std::vector<firework_t> scene = smallscene();
    EXPECT_TRUE(load(path.c_str(), scene));
    EXPECT_TRUE(scene.empty());

    EXPECT_FALSE(save((dir.path + "/no/such/dir/x.scene").c_str(), smallscene()));
}

TEST(LoadSave, RoundTripKeepsSixSignificantDigits)
{
    tempdir dir;
    const std::string path = dir.path + "/shows.scene";
    std::vector<firework_t> shows;
    makesingle(shows);
    makeblink(shows);
    shows.push_back(smallscene()[0]);
    shows[0].exploded = true;
    ASSERT_TRUE(save(path.c_str(), shows));
    std::vector<firework_t> loaded(3);
    ASSERT_TRUE(load(path.c_str(), loaded));
    expectsametree(loaded, shows);
    EXPECT_EQ(loaded[2].fires[0].powders[0].films[1].duration, 1234570.0f); // rounded to 6 digits

    // Bare line feeds read the same.
    const std::string bare = dir.write("bare.scene", join("\n"));
    ASSERT_TRUE(load(bare.c_str(), loaded));
    expectsametree(loaded, smallscene());
}

TEST(LoadSave, CountsTakeBasePrefixesAndNumbersAreLenient)
{
    tempdir dir;
    const std::string white = "col3a(1, 1, 1, 1)";
    std::string text = "0x1\n2.5xyz\npos3(0, 0, 0)\ndir3(0, 0, 20)\nabc\n1\n1\n" + white + "\n01\n"
                       "dir3(1, 0, 0)\n10\n0x2\n"
                       "0\n1\n1\n010\n"; // eight films in octal
    for (int i = 0; i < 8; ++i)
        text += "0.5\n" + white + "\n" + white + "\n";
    text += "0.25\n1\n1\n0\n"; // second powder, no films
    std::vector<firework_t> scene;
    ASSERT_TRUE(load(dir.write("prefix.scene", text).c_str(), scene));
    ASSERT_EQ(scene.size(), 1u);
    EXPECT_EQ(scene[0].time, 2.5f);
    EXPECT_EQ(scene[0].fuse, 0.0f);
    ASSERT_EQ(scene[0].fires.size(), 1u);
    ASSERT_EQ(scene[0].fires[0].powders.size(), 2u);
    EXPECT_EQ(scene[0].fires[0].powders[0].films.size(), 8u);
    EXPECT_EQ(scene[0].fires[0].powders[1].delay, 0.25f);
    EXPECT_EQ(scene[0].fires[0].speed, 10.0f);

    std::string sixteen = "0x10\n";
    for (int i = 0; i < 16; ++i)
        sixteen += "0\npos3(0, 0, 0)\ndir3(0, 0, 1)\n1\n1\n1\n" + white + "\n0\n";
    ASSERT_TRUE(load(dir.write("hex.scene", sixteen).c_str(), scene));
    EXPECT_EQ(scene.size(), 16u);
}

TEST(LoadSave, MissingAndShortFiles)
{
    tempdir dir;
    std::vector<firework_t> scene = smallscene();
    EXPECT_FALSE(load((dir.path + "/missing.scene").c_str(), scene));
    EXPECT_FALSE(load(dir.path.c_str(), scene));
    ASSERT_EQ(scene.size(), 1u);
    EXPECT_EQ(scene[0].time, 1.5f);

    // Past the end every field reads the last line again: the velocity
    // repeats the position, numbers read 0, the colour reader fails.
    const std::string shortfile = dir.write("short.scene", "1\r\n0.5\r\npos3(1, 2, 3)\r\n");
    EXPECT_FALSE(load(shortfile.c_str(), scene));
    ASSERT_EQ(scene.size(), 1u);
    EXPECT_EQ(scene[0].time, 0.5f);
    EXPECT_EQ(scene[0].position.z, 3.0f);
    EXPECT_EQ(scene[0].velocity.x, 1.0f);
    EXPECT_EQ(scene[0].velocity.z, 3.0f);
    EXPECT_EQ(scene[0].fuse, 0.0f);
    EXPECT_TRUE(scene[0].fires.empty());
}
