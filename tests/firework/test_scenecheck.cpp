// The scene checker on broken files: each problem is found at its line, and
// every file it lets through is one that load reads to the end.
#include "firework/loadsave.h"
#include "firework/scenecheck.h"
#include "tests/firework/scenes.h"

#include <gtest/gtest.h>

using namespace vexlor;
using scenes::join;

namespace {

// The small scene's lines with line `number` (from 1) replaced.
std::vector<std::string> with(std::size_t number, const std::string& line)
{
    std::vector<std::string> lines = scenes::smalllines;
    lines[number - 1] = line;
    return lines;
}

std::string checked(const tempdir& dir, const std::string& text)
{
    const std::string path = dir.write("x.scene", text);
    std::string message;
    return check(path.c_str(), message) ? "ok" : message.substr(dir.path.size() + 1);
}

} // namespace

TEST(SceneCheck, NamesTheFirstProblemAndItsLine)
{
    tempdir dir;
    std::vector<std::string> second = scenes::smalllines; // a second shell without its fire count
    second[0] = "2";
    second.insert(second.end(), {"0", "pos3(0, 0, 0)", "dir3(0, 0, 1)", "1", "1", "1", "col3a(1, 1, 1, 1)"});
    const std::string allcut = join(scenes::smalllines, "\n");
    const std::vector<std::pair<std::string, std::string>> cases = {
        {join(scenes::smalllines), "ok"},
        {join(scenes::smalllines, "\n") + "extra\n", "ok"},
        {join(with(3, "  xyz(1 , 2 , 3)")), "ok"}, // the word is never read
        {"0\r\n", "ok"},
        {"", "x.scene:1: missing line, expected the number of fireworks"},
        {join(second), "x.scene:30: missing line, expected the number of fires"},
        {join(with(1, "0x2")), "x.scene:23: missing line, expected the launch time"},
        {join(with(3, "1, 2, 3")), "x.scene:3: the launch position needs a value like pos3(x, y, z)"},
        // A blank before "(" makes the reader take the "(" as a word character.
        {join(with(4, "dir3 (0, 0, 20)")), "x.scene:4: the launch velocity needs a value like dir3(x, y, z)"},
        {join(with(8, "col3a(1, x, 0, 1)")), "x.scene:8: malformed shell colour, expected a value like col3a(r, g, b, a)"},
        {join(with(18, "col3a(1, 1, 1)")), "x.scene:18: malformed start colour, expected a value like col3a(r, g, b, a)"},
        {join(with(10, "dir3(0, 1e, 0)")), "x.scene:10: malformed star direction, expected a value like dir3(x, y, z)"},
        // Without ")" at the very end the reader meets the end of the text.
        {allcut.substr(0, allcut.size() - 2), "x.scene:22: malformed end colour, expected a value like col3a(r, g, b, a)"},
        {join(with(9, "0xffffffffffffffff")), "x.scene:9: 18446744073709551615 fires announced, but the rest of the file holds at most 4"},
        {join(with(9, "-1")), "x.scene:9: 18446744073709551615 fires announced, but the rest of the file holds at most 4"},
        {join(with(16, "3")), "x.scene:16: 3 films announced, but the rest of the file holds at most 2"},
        {join(with(11, std::string("12\0.5", 4))), "x.scene:11: not a text file (byte 0x00)"},
        {"1\r\n\x7f\r\n", "x.scene:2: not a text file (byte 0x7f)"},
    };
    for (const auto& [text, message] : cases)
        EXPECT_EQ(checked(dir, text), message);
    std::string message;
    EXPECT_FALSE(check(dir.path.c_str(), message));
    EXPECT_EQ(message, dir.path + ": cannot read the file");
}

TEST(SceneCheck, WhatPassesLoadsToTheEnd)
{
    // Every cut of a good file, every line dropped or replaced by text that
    // the readers choke on: whatever the checker lets through, load reads
    // without hanging (a hang times the test out) and without missing a line.
    tempdir dir;
    std::vector<std::string> files;
    for (const char* end : {"\r\n", "\n"}) {
        const std::string text = join(scenes::smalllines, end);
        for (std::size_t cut = 0; cut <= text.size(); ++cut)
            files.push_back(text.substr(0, cut));
    }
    for (std::size_t i = 1; i <= scenes::smalllines.size(); ++i) {
        std::vector<std::string> dropped = scenes::smalllines;
        dropped.erase(dropped.begin() + static_cast<std::ptrdiff_t>(i - 1));
        files.push_back(join(dropped));
        for (const char* line : {"x", "", " (", "pos3 (1, 2, 3)", "(1, 2", "(1,2,3,4)", "0", "077", "99999999999"})
            files.push_back(join(with(i, line)));
    }
    std::size_t passed = 0;
    for (const std::string& text : files) {
        const std::string path = dir.write("fuzz.scene", text);
        std::string message;
        if (check(path.c_str(), message)) {
            std::vector<firework_t> scene;
            EXPECT_TRUE(load(path.c_str(), scene)) << text;
            ++passed;
        }
    }
    EXPECT_GT(passed, 50u);
}
