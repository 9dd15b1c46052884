// Scene files: the bytes save writes, what load makes of hand-written files
// (C's base prefixes, bare line feeds, short files) and round trips.
#include "firework/loadsave.h"
#include "firework/sample.h"
#include "tests/firework/scenes.h"

#include <gtest/gtest.h>

using namespace vexlor;

TEST(LoadSave, SaveWritesOneValueALineEndingInCarriageReturnLineFeed)
{
    tempdir dir;
    const std::string path = dir.path + "/small.scene";
    ASSERT_TRUE(save(path.c_str(), scenes::small()));
    EXPECT_EQ(tempdir::read(path), scenes::join(scenes::smalllines));
    ASSERT_TRUE(save(path.c_str(), {}));
    EXPECT_EQ(tempdir::read(path), "0\r\n");
    std::vector<firework_t> scene = scenes::small();
    EXPECT_TRUE(load(path.c_str(), scene));
    EXPECT_TRUE(scene.empty());
    EXPECT_FALSE(save((dir.path + "/no/such/dir/x.scene").c_str(), scene));
}

TEST(LoadSave, RoundTripsKeepSixSignificantDigits)
{
    // Written, read and written again, a scene gives the same bytes: what
    // was read is what the text says. Bare line feeds read the same.
    tempdir dir;
    std::vector<firework_t> shows;
    makesingle(shows);
    makeblink(shows);
    shows.push_back(scenes::small()[0]);
    const std::string first = dir.path + "/first.scene", second = dir.path + "/second.scene";
    ASSERT_TRUE(save(first.c_str(), shows));
    std::vector<firework_t> loaded(7);
    ASSERT_TRUE(load(first.c_str(), loaded));
    ASSERT_TRUE(save(second.c_str(), loaded));
    EXPECT_EQ(tempdir::read(first), tempdir::read(second));
    ASSERT_EQ(loaded.size(), 3u);
    EXPECT_FALSE(loaded[2].launched); // flags are not stored
    EXPECT_EQ(loaded[2].fires[0].powders[0].films[1].duration, 1234570.0f);
    EXPECT_EQ(loaded[2].fires[0].direction.y, 0.6f);
    EXPECT_EQ(loaded[1].fires[0].powders[0].films.size(), 320u);

    ASSERT_TRUE(load(dir.write("bare.scene", scenes::join(scenes::smalllines, "\n")).c_str(), loaded));
    ASSERT_TRUE(save(second.c_str(), loaded));
    EXPECT_EQ(tempdir::read(second), scenes::join(scenes::smalllines));
}

TEST(LoadSave, CountsTakeBasePrefixesAndNumbersAreLenient)
{
    tempdir dir;
    const std::string white = "col3a(1, 1, 1, 1)\n";
    std::string text = "0x1\n2.5xyz\npos3(0, 0, 0)\ndir3(0, 0, 20)\nabc\n1\n1\n" + white + "01\n" // one fire, octal
                       "dir3(1, 0, 0)\n10\n0x2\n0\n1\n1\n010\n";                             // eight films, octal
    for (int i = 0; i < 8; ++i)
        text += "0.5\n" + white + white;
    text += "0.25\n1\n1\n0\n";
    std::vector<firework_t> scene;
    ASSERT_TRUE(load(dir.write("prefix.scene", text).c_str(), scene));
    ASSERT_EQ(scene.size(), 1u);
    EXPECT_TRUE(scene[0].time == 2.5f && scene[0].fuse == 0.0f);
    ASSERT_EQ(scene[0].fires.size(), 1u);
    ASSERT_EQ(scene[0].fires[0].powders.size(), 2u);
    EXPECT_EQ(scene[0].fires[0].powders[0].films.size(), 8u);
    EXPECT_EQ(scene[0].fires[0].powders[1].delay, 0.25f);

    std::string sixteen = "0x10\n";
    for (int i = 0; i < 16; ++i)
        sixteen += "0\npos3(0, 0, 0)\ndir3(0, 0, 1)\n1\n1\n1\n" + white + "0\n";
    ASSERT_TRUE(load(dir.write("hex.scene", sixteen).c_str(), scene));
    EXPECT_EQ(scene.size(), 16u);
}

TEST(LoadSave, MissingAndShortFiles)
{
    tempdir dir;
    std::vector<firework_t> scene = scenes::small();
    EXPECT_FALSE(load((dir.path + "/missing.scene").c_str(), scene));
    EXPECT_FALSE(load(dir.path.c_str(), scene));
    ASSERT_EQ(scene.size(), 1u);
    EXPECT_EQ(scene[0].time, 1.5f); // untouched
    // Past the end every field reads the last line again: the velocity
    // repeats the position, numbers read 0, the colour reader fails.
    EXPECT_FALSE(load(dir.write("short.scene", "1\r\n0.5\r\npos3(1, 2, 3)\r\n").c_str(), scene));
    ASSERT_EQ(scene.size(), 1u);
    EXPECT_TRUE(scene[0].time == 0.5f && scene[0].position.z == 3.0f && scene[0].fuse == 0.0f);
    EXPECT_TRUE(scene[0].velocity.x == 1.0f && scene[0].velocity.z == 3.0f);
    EXPECT_TRUE(scene[0].fires.empty());
}
