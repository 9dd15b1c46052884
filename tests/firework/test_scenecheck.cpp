// The scene checker on broken files: each problem is found at its line, and
// every file it lets through is one that load reads to the end.
#include "firework/loadsave.h"
#include "firework/sample.h"
#include "firework/scenecheck.h"
#include "tests/firework/tempdir.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace vexlor;

namespace {

// One shell, one star, one stage, two films: 22 lines.
const std::vector<std::string> goodlines = {
    "1", "1.5", "pos3(1.000000, 2.500000, -3.000000)", "dir3(0.000000, 0.000000, 20.000000)", "2", "250", "0.95",
    "col3a(1.000000, 0.500000, 0.250000, 1.000000)", "1", "dir3(0.000000, 0.600000, 0.800000)", "12.5", "1",
    "0.03125", "12.5", "0.9", "2", "0.25", "col3a(1.000000, 0.750000, 0.500000, 1.000000)",
    "col3a(0.000000, 0.000000, 0.000000, 1.000000)", "1.23457e+06", "col3a(0.000000, 0.000000, 0.000000, 0.000000)",
    "col3a(1.000000, 1.000000, 1.000000, 1.000000)"};

std::string join(const std::vector<std::string>& lines, const std::string& end = "\r\n")
{
    std::string text;
    for (const std::string& line : lines)
        text += line + end;
    return text;
}

// The lines with line `number` (1-based) replaced.
std::vector<std::string> with(std::size_t number, const std::string& line)
{
    std::vector<std::string> lines = goodlines;
    lines[number - 1] = line;
    return lines;
}

struct checked_t {
    bool ok;
    std::string message;
};

checked_t checktext(const tempdir& dir, const std::string& text)
{
    const std::string path = dir.write("x.scene", text);
    checked_t result{false, {}};
    result.ok = check(path.c_str(), result.message);
    return result;
}

} // namespace

TEST(SceneCheck, GoodFilesPass)
{
    tempdir dir;
    std::string message = "untouched";
    EXPECT_TRUE(checktext(dir, join(goodlines)).ok);
    EXPECT_TRUE(checktext(dir, join(goodlines, "\n")).ok);
    EXPECT_TRUE(checktext(dir, join(goodlines) + "extra lines\r\nare ignored\r\n").ok);
    EXPECT_TRUE(checktext(dir, "0\r\n").ok);
    EXPECT_TRUE(checktext(dir, join(with(3, "  xyz(1 , 2 , 3)"))).ok); // the word is never read
    std::vector<firework_t> scene;
    makesusuki(scene);
    const std::string path = dir.path + "/susuki.scene";
    ASSERT_TRUE(save(path.c_str(), scene));
    EXPECT_TRUE(check(path.c_str(), message));
    EXPECT_EQ(message, "untouched");
}

TEST(SceneCheck, BrokenFilesNameTheirFirstProblemAndItsLine)
{
    tempdir dir;
    const std::string p = dir.path + "/x.scene:";
    struct broken_t {
        std::string text;
        std::string message;
    };
    std::vector<std::string> secondshort = goodlines;
    secondshort[0] = "2";
    secondshort.insert(secondshort.end(), {"0", "pos3(0, 0, 0)", "dir3(0, 0, 1)", "1", "1", "1", "col3a(1, 1, 1, 1)"});
    const std::vector<broken_t> cases = {
        {"", p + "1: missing line, expected the number of fireworks"},
        {join(secondshort), p + "30: missing line, expected the number of fires"},
        {join(with(3, "1, 2, 3")), p + "3: the launch position needs a value like pos3(x, y, z)"},
        {join(with(4, "dir3 (0, 0, 20)")), p + "4: the launch velocity needs a value like dir3(x, y, z)"},
        {join(with(8, "col3a(1, x, 0, 1)")), p + "8: malformed shell colour, expected a value like col3a(r, g, b, a)"},
        {join(with(18, "col3a(1, 1, 1)")), p + "18: malformed start colour, expected a value like col3a(r, g, b, a)"},
        {join(with(10, "dir3(0, 1e, 0)")), p + "10: malformed star direction, expected a value like dir3(x, y, z)"},
        // Without ")" at the very end the reader meets the end of the text.
        {join(goodlines, "\n").substr(0, join(goodlines, "\n").size() - 2), p + "22: malformed end colour, expected a value like col3a(r, g, b, a)"},
        {join(with(9, "0xffffffffffffffff")), p + "9: 18446744073709551615 fires announced, but the rest of the file holds at most 4"},
        {join(with(9, "-1")), p + "9: 18446744073709551615 fires announced, but the rest of the file holds at most 4"},
        {join(with(16, "3")), p + "16: 3 films announced, but the rest of the file holds at most 2"},
        {join(with(1, "0x2")), p + "23: missing line, expected the launch time"}, // the count alone fits
        {join(with(11, std::string("12\0.5", 4))), p + "11: not a text file (byte 0x00)"},
        {"1\r\n\x7f\r\n", p + "2: not a text file (byte 0x7f)"},
    };
    for (const broken_t& broken : cases) {
        const checked_t result = checktext(dir, broken.text);
        EXPECT_FALSE(result.ok);
        EXPECT_EQ(result.message, broken.message);
    }

    std::string message;
    EXPECT_FALSE(check((dir.path + "/missing.scene").c_str(), message));
    EXPECT_EQ(message, dir.path + "/missing.scene: cannot read the file");
    EXPECT_FALSE(check(dir.path.c_str(), message));
    EXPECT_EQ(message, dir.path + ": cannot read the file");
}

TEST(SceneCheck, WhatPassesLoadsToTheEnd)
{
    // Every cut of a good file, every line dropped or replaced by text that
    // the readers choke on: whatever the checker lets through, load reads
    // without hanging and without missing a line.
    tempdir dir;
    std::vector<std::string> files;
    for (const std::string& end : {std::string("\r\n"), std::string("\n")}) {
        const std::string text = join(goodlines, end);
        for (std::size_t cut = 0; cut <= text.size(); ++cut)
            files.push_back(text.substr(0, cut));
    }
    for (std::size_t i = 1; i <= goodlines.size(); ++i) {
        std::vector<std::string> dropped = goodlines;
        dropped.erase(dropped.begin() + static_cast<std::ptrdiff_t>(i - 1));
        files.push_back(join(dropped));
        for (const char* line : {"x", "", " (", "pos3 (1, 2, 3)", "(1, 2", "(1,2,3,4)", "0", "077", "99999999999"})
            files.push_back(join(with(i, line)));
    }
    std::size_t passed = 0;
    for (const std::string& text : files) {
        const std::string path = dir.write("fuzz.scene", text);
        std::string message;
        if (!check(path.c_str(), message)) {
            EXPECT_EQ(message.rfind(path + ":", 0), 0u) << message;
            continue;
        }
        ++passed;
        std::vector<firework_t> scene;
        EXPECT_TRUE(load(path.c_str(), scene)) << text;
    }
    EXPECT_GT(passed, 50u);
    EXPECT_LT(passed, files.size() / 2);
}
