// Scene files: the bytes save writes, what load makes of hand-written files
// (C's base prefixes, bare line feeds, short files) and round trips; the
// checker on broken files: each problem is found at its line, and every file
// it lets through is one that load reads to the end.
#include "firework/loadsave.h"
#include "firework/scenecheck.h"
#include "tests/firework/scenes.h"

#include <gtest/gtest.h>

using namespace vexlor;
using scenes::join;

namespace {

// The small scene's lines with line `number` (from 1) replaced.
std::string with(std::size_t number, const std::string& line)
{
    std::vector<std::string> lines = scenes::smalllines;
    lines[number - 1] = line;
    return join(lines);
}

} // namespace

TEST(LoadSave, ExactBytesRoundTripsBasePrefixesAndShortFiles)
{
    tempdir dir;
    const std::string path = dir.path + "/small.scene";
    ASSERT_TRUE(save(path.c_str(), scenes::small()));
    EXPECT_EQ(tempdir::read(path), join(scenes::smalllines));
    EXPECT_TRUE(save(path.c_str(), {}) && tempdir::read(path) == "0\r\n");
    EXPECT_FALSE(save((dir.path + "/no/such/dir/x.scene").c_str(), {}));
    // Read back from bare line feeds and written again: the same bytes, and
    // six significant digits read as the text says.
    std::vector<firework_t> loaded = scenes::small();
    ASSERT_TRUE(load(dir.write("bare.scene", join(scenes::smalllines, "\n")).c_str(), loaded) && save(path.c_str(), loaded));
    EXPECT_EQ(tempdir::read(path), join(scenes::smalllines));
    EXPECT_TRUE(loaded.size() == 1u && !loaded[0].launched); // flags are not stored
    EXPECT_EQ(loaded.at(0).fires.at(0).powders.at(0).films.at(1).duration, 1234570.0f);

    // Counts take C's base prefixes, unparsable numbers read as 0.
    const std::string white = "col3a(1, 1, 1, 1)\n";
    std::string text = "0x1\n2.5xyz\npos3(0, 0, 0)\ndir3(0, 0, 20)\nabc\n1\n1\n" + white + "01\n" // one fire, octal
                       "dir3(1, 0, 0)\n10\n0x2\n0\n1\n1\n010\n";                             // eight films, octal
    for (int i = 0; i < 8; ++i) text += "0.5\n" + white + white;
    std::vector<firework_t> scene;
    ASSERT_TRUE(load(dir.write("prefix.scene", text + "0.25\n1\n1\n0\n").c_str(), scene));
    ASSERT_TRUE(scene.size() == 1u && scene[0].fires.size() == 1u && scene[0].fires[0].powders.size() == 2u);
    const fire_t& fire = scene[0].fires[0];
    EXPECT_TRUE(scene[0].time == 2.5f && scene[0].fuse == 0.0f && fire.speed == 10.0f);
    EXPECT_TRUE(fire.powders[0].films.size() == 8u && fire.powders[1].delay == 0.25f);
    EXPECT_TRUE(!load(dir.path.c_str(), scene) && scene.at(0).time == 2.5f); // untouched
    EXPECT_FALSE(load(dir.write("short.scene", "1\r\n0.5\r\npos3(1, 2, 3)\r\n").c_str(), scene));
}

TEST(SceneCheck, NamesTheFirstProblemAndItsLineAndWhatPassesLoadsToTheEnd)
{
    tempdir dir;
    std::string message;
    const std::string text = join(scenes::smalllines, "\n");
    const std::pair<std::string, std::string> cases[] = {
        {with(3, "  xyz(1 , 2 , 3)") + "extra", "ok"}, // the word is never read
        {with(1, "0x2"), "x.scene:23: missing line, expected the launch time"},
        {with(3, "1, 2, 3"), "x.scene:3: the launch position needs a value like pos3(x, y, z)"},
        // A blank before "(" makes the reader take the "(" as a word character.
        {with(4, "dir3 (0, 0, 20)"), "x.scene:4: the launch velocity needs a value like dir3(x, y, z)"},
        {with(8, "col3a(1, x, 0, 1)"), "x.scene:8: malformed shell colour, expected a value like col3a(r, g, b, a)"},
        // Without ")" at the very end the reader meets the end of the text.
        {text.substr(0, text.size() - 2), "x.scene:22: malformed end colour, expected a value like col3a(r, g, b, a)"},
        {with(9, "0xffffffffffffffff"), "x.scene:9: 18446744073709551615 fires announced, but the rest of the file holds at most 4"},
        {with(16, "3"), "x.scene:16: 3 films announced, but the rest of the file holds at most 2"},
        {with(11, std::string("12\0.5", 4)), "x.scene:11: not a text file (byte 0x00)"},
        {"1\r\n\x7f\r\n", "x.scene:2: not a text file (byte 0x7f)"},
    };
    for (const auto& [file, expected] : cases) {
        const std::string path = dir.write("x.scene", file);
        EXPECT_EQ(check(path.c_str(), message) ? "ok" : message.substr(dir.path.size() + 1), expected);
    }
    EXPECT_FALSE(check(dir.path.c_str(), message));
    EXPECT_EQ(message, dir.path + ": cannot read the file");

    // Every cut of a good file, every line replaced by text that
    // the readers choke on: whatever the checker lets through, load reads
    // without hanging (a hang times the test out) and without missing a line.
    std::vector<std::string> files;
    for (std::size_t cut = 0; cut <= text.size(); ++cut) files.push_back(text.substr(0, cut));
    for (std::size_t i = 1; i <= scenes::smalllines.size(); ++i)
        for (const char* line : {"x", "", " (", "pos3 (1, 2, 3)", "(1, 2", "(1,2,3,4)", "0", "077", "99999999999"})
            files.push_back(with(i, line));
    std::vector<firework_t> scene;
    for (const std::string& file : files) {
        const std::string path = dir.write("fuzz.scene", file);
        EXPECT_TRUE(!check(path.c_str(), message) || load(path.c_str(), scene)) << file;
    }
}
