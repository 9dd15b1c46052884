// Scene files: the bytes save writes, what load makes of hand-written files
// (C's base prefixes, bare line feeds, short files) and round trips; every
// file the strict reader lets through is one that load reads to the same scene.
#include "firework/loadsave.h"
#include "firework/scenereader.h"
#include "tests/firework/scenes.h"

#include <gtest/gtest.h>

#include <cerrno>

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

TEST(LoadSave, WhatTheReaderPassesLoadReadsToTheSameScene)
{
    // Every cut of a good file, every line replaced by text that the lenient
    // readers choke on: whatever the strict reader lets through, load reads
    // without hanging (a hang times the test out) to the very same scene.
    tempdir dir;
    const std::string text = join(scenes::smalllines, "\n");
    std::vector<std::string> files;
    for (std::size_t cut = 0; cut <= text.size(); ++cut) files.push_back(text.substr(0, cut));
    for (std::size_t i = 1; i <= scenes::smalllines.size(); ++i)
        for (const char* line : {"x", "", " (", "pos3 (1, 2, 3)", "(1, 2", "(1,2,3,4)", "0", "077", "99999999999",
                                 "col3a(1, 1, 1, 1)", "dir3(1, 2, 3)", "pos3(1,2,3)"})
            files.push_back(with(i, line));
    std::size_t passed = 0;
    for (const std::string& file : files) {
        std::vector<firework_t> read, loaded;
        std::string message;
        if (!readscenetext("fuzz.scene", file, read, message)) continue;
        ++passed;
        EXPECT_TRUE(load(dir.write("fuzz.scene", file).c_str(), loaded)) << file;
        EXPECT_TRUE(scenes::identical(read, loaded)) << file;
    }
    EXPECT_GT(passed, 5u);
}

// A full disk fails a save, and errno tells why, whether the failure shows
// on the writes of a long scene or only at the close of a short one.
TEST(LoadSave, AFullDiskFailsTheSave)
{
    std::vector<firework_t> scene = scenes::small();
    for (int i = 0; i < 200; ++i) scene.push_back(scene.front());
    for (const std::vector<firework_t>& written : {scene, std::vector<firework_t>{}}) {
        errno = 0;
        EXPECT_FALSE(save("/dev/full", written)) << written.size();
        EXPECT_EQ(errno, ENOSPC) << written.size();
    }
}
