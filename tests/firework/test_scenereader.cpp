// The strict scene reader: every kind of broken value at every place of a
// scene file, each refused at its own line with its own message; the forms
// it accepts, read to the very scene load makes of them; the file's shape
// (cuts, extra lines, counts beyond the file, long lines, odd bytes); files
// and memory; progress and cancelling; the built-in shows saved and read back.
#include "firework/builtin.h"
#include "firework/loadsave.h"
#include "firework/sample.h"
#include "firework/scenecheck.h"
#include "firework/scenereader.h"
#include "tests/firework/scenes.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <fstream>

#include <cmath>
#include <functional>

using namespace vexlor;
using scenes::join;

namespace {

enum kind_t { count, number, geometry };

struct field_t {
    kind_t kind;
    const char* what;
    const char* form; // the word and a placeholder value, for geometry
    int arity;
};

// The 22 lines of the small scene: one shell, one star, one stage, two films.
const field_t fields[] = {
    {count, "number of fireworks", "", 0}, {number, "launch time", "", 0},
    {geometry, "launch position", "pos3", 3}, {geometry, "launch velocity", "dir3", 3},
    {number, "fuse", "", 0}, {number, "shell size", "", 0}, {number, "shell drag", "", 0},
    {geometry, "shell colour", "col3a", 4}, {count, "number of fires", "", 0},
    {geometry, "star direction", "dir3", 3}, {number, "star speed", "", 0},
    {count, "number of powders", "", 0}, {number, "powder delay", "", 0}, {number, "powder size", "", 0},
    {number, "powder drag", "", 0}, {count, "number of films", "", 0}, {number, "film duration", "", 0},
    {geometry, "start colour", "col3a", 4}, {geometry, "end colour", "col3a", 4},
    {number, "film duration", "", 0}, {geometry, "start colour", "col3a", 4}, {geometry, "end colour", "col3a", 4},
};

const char* formof(const std::string& word)
{
    return word == "pos3" ? "pos3(x, y, z)" : word == "dir3" ? "dir3(x, y, z)" : "col3a(r, g, b, a)";
}

// "word(0, 0, 0)" with `n` components.
std::string value(const std::string& word, int n, const std::string& component = "0")
{
    std::string text = word + "(";
    for (int i = 0; i < n; ++i) text += (i ? ", " : "") + component;
    return text + ")";
}

std::vector<std::string> broken(const field_t& field)
{
    switch (field.kind) {
    case count:
        return {"garbage", "x1", "1abc", "", " 1", "1 ", "+1", "-1", "0x", "08", "1.0", "1e2", "0x1g"};
    case number:
        return {"0.5xyz", "", "nan", "-inf", "inf", "1e39", "0x1p3", " 1", "1 ", "1,5", "--1", "+-1", ".", "1e",
                "1.5.3", "2.5 m"};
    case geometry: {
        const std::string w = field.form;
        const int n = field.arity;
        const std::string full = value(w, n), other = w == "pos3" ? "dir3" : w == "dir3" ? "pos3" : "col3";
        return {full.substr(0, full.size() - 1), full + " junk", full + ")", value(w, n - 1), value(w, n + 1),
                value(other, n), w + " " + full.substr(w.size()), " " + full, full.substr(w.size()),
                value(w, n, "nan"),
                value(w, n, "1e39"), value(w, n, "0x10"), w + "(0,, 0, 0)", w + "(0; 0; 0; 0)", w, ""};
    }
    }
    return {};
}

std::string expected(std::size_t line, const field_t& field, const std::string& found)
{
    // Well formed but beyond what the model's float holds: told as that.
    if (found.find("1e39") != std::string::npos)
        return "x.scene:" + std::to_string(line) + ": the " + field.what + " \"" + found
             + "\" holds a number beyond the largest the model's float holds (3.40282e+38)";
    const std::string as = field.kind == count    ? "an unsigned integer"
                         : field.kind == number ? "a finite decimal number"
                                                : formof(field.form);
    return "x.scene:" + std::to_string(line) + ": expected the " + field.what + " as " + as + ", found "
         + (found.empty() ? "an empty line" : "\"" + found + "\"");
}

// The small scene's lines with line `number` (from 1) replaced.
std::string with(std::size_t number, const std::string& line, const std::string& end = "\r\n")
{
    std::vector<std::string> lines = scenes::smalllines;
    lines[number - 1] = line;
    return join(lines, end);
}

// The reader's verdict on a text: "ok" or its message.
std::string verdict(const std::string& text, std::vector<firework_t>& scene)
{
    std::string message;
    return readscenetext("x.scene", text, scene, message) ? "ok" : message;
}

std::string verdict(const std::string& text)
{
    std::vector<firework_t> scene;
    return verdict(text, scene);
}

} // namespace

TEST(SceneReader, EveryBrokenValueAtEveryPlaceIsRefusedAtItsLine)
{
    ASSERT_EQ(std::size(fields), scenes::smalllines.size());
    ASSERT_EQ(verdict(join(scenes::smalllines)), "ok");
    std::size_t cases = 0;
    for (std::size_t line = 1; line <= std::size(fields); ++line)
        for (const std::string& bad : broken(fields[line - 1]))
            for (const char* end : {"\r\n", "\n"}) {
                std::vector<firework_t> scene = scenes::small(); // a failed read leaves it empty
                EXPECT_EQ(verdict(with(line, bad, end), scene), expected(line, fields[line - 1], bad));
                EXPECT_TRUE(scene.empty());
                ++cases;
            }
    EXPECT_GT(cases, 600u);
}

TEST(SceneReader, AcceptedFormsReadAsLoadReadsThem)
{
    tempdir dir;
    const std::vector<std::pair<std::size_t, std::vector<std::string>>> accepted = {
        {1, {"01", "0x1", "0X1"}},
        {2, {"+1.5", "1.50", "15e-1", "0.15E+1", ".15e1", "-0", "1e-50", "3.40282e+38", "1."}},
        {3, {"pos3(1,2.5,-3)", "pos3( 1 ,\t2.5 , -3 )", "pos3(1e0, 25e-1, -3.000000)", "pos3(-0, 1e-50, 3)"}},
        {8, {"col3a(1,0.5,0.25,1)", "col3a(+1, .5, 2.5e-1, 1.)"}},
        {16, {"02", "0x2", "0X02"}},
    };
    for (const auto& [line, texts] : accepted)
        for (const std::string& text : texts) {
            const std::string file = with(line, text);
            std::vector<firework_t> read, loaded;
            EXPECT_EQ(verdict(file, read), "ok") << text;
            ASSERT_TRUE(load(dir.write("x.scene", file).c_str(), loaded)) << text;
            EXPECT_TRUE(scenes::identical(read, loaded)) << text;
        }
    std::vector<firework_t> scene;
    ASSERT_EQ(verdict(with(2, "-0"), scene), "ok");
    EXPECT_TRUE(std::signbit(scene.at(0).time));
    ASSERT_EQ(verdict(with(2, "1e-50"), scene), "ok");
    EXPECT_EQ(scene.at(0).time, 0.0f);
}

TEST(SceneReader, ShapeOfTheFile)
{
    const std::string text = join(scenes::smalllines);
    EXPECT_EQ(verdict(""), "x.scene:1: expected the number of fireworks as an unsigned integer, found the end of the file");
    EXPECT_EQ(verdict("0\r\n"), "ok");
    EXPECT_EQ(verdict("0"), "ok"); // the last line may lack its line end
    EXPECT_EQ(verdict(join(scenes::smalllines, "\n")), "ok");

    // Every cut: only the whole file, less its last line end, passes.
    for (std::size_t cut = 0; cut < text.size(); ++cut) {
        const std::string v = verdict(text.substr(0, cut));
        if (cut >= text.size() - 2)
            EXPECT_EQ(v, "ok") << cut;
        else
            EXPECT_EQ(v.rfind("x.scene:", 0), 0u) << cut << ": " << v;
    }
    EXPECT_EQ(verdict(text.substr(0, text.find("\r\n0.95"))),
              "x.scene:7: expected the shell drag as a finite decimal number, found the end of the file");

    // Nothing may follow the last firework, not even an empty line.
    EXPECT_EQ(verdict(text + "1\r\n"), "x.scene:23: expected the end of the file, found \"1\"");
    EXPECT_EQ(verdict(text + "\r\n"), "x.scene:23: expected the end of the file, found an empty line");
    EXPECT_EQ(verdict("0\r\n0\r\n"), "x.scene:2: expected the end of the file, found \"0\"");

    // Counts are held against the bytes left.
    EXPECT_EQ(verdict("1\r\n"), "x.scene:1: expected the number of fireworks, at most 0 fireworks in the rest of the file, found \"1\"");
    const std::string huge = verdict(with(9, "0xffffffffffffffff"));
    EXPECT_EQ(huge.rfind("x.scene:9: expected the number of fires, at most ", 0), 0u) << huge;
    EXPECT_NE(huge.find(" fires in the rest of the file, found \"0xffffffffffffffff\""), std::string::npos) << huge;
    // Beyond 64 bits reads as the largest count, which no file holds.
    EXPECT_NE(verdict(with(1, "99999999999999999999999")).find("at most"), std::string::npos);
    EXPECT_EQ(verdict(with(16, "100")).rfind("x.scene:16: expected the number of films, at most ", 0), 0u);

    // Long lines are quoted short; odd bytes are escaped.
    EXPECT_EQ(verdict(with(3, "pos3(" + std::string(5000, '1') + ")")),
              "x.scene:3: expected the launch position as pos3(x, y, z), found \"pos3(" + std::string(35, '1') + "...\"");
    EXPECT_EQ(verdict(with(11, std::string("12\0.5", 5))),
              "x.scene:11: expected the star speed as a finite decimal number, found \"12\\x00.5\"");
    EXPECT_EQ(verdict(with(2, "\"1\xc3\xa9\"\\")),
              "x.scene:2: expected the launch time as a finite decimal number, found \"\\\"1\\xc3\\xa9\\\"\\\\\"");
    // One carriage return belongs to the line end; another is part of the line.
    EXPECT_EQ(verdict(with(2, "1.5\r")),
              "x.scene:2: expected the launch time as a finite decimal number, found \"1.5\\r\"");
    EXPECT_EQ(verdict(join(scenes::smalllines, "\r")).rfind("x.scene:1: expected the number of fireworks as an unsigned integer, found \"1\\r1.5\\r", 0), 0u);
}

TEST(SceneReader, FilesAndMemoryAgreeAndProgressCanCancel)
{
    tempdir dir;
    std::vector<firework_t> susuki;
    makesusuki(susuki);
    const std::string path = dir.path + "/susuki.scene";
    ASSERT_TRUE(save(path.c_str(), susuki));
    const std::string text = tempdir::read(path);
    ASSERT_GT(text.size(), 1000000u); // many chunks, lines across their edges

    std::vector<std::pair<std::uint64_t, std::uint64_t>> calls;
    const readprogress_t record = [&](std::uint64_t done, std::uint64_t total) {
        calls.emplace_back(done, total);
        return true;
    };
    std::vector<firework_t> fromfile, frommemory;
    std::string message;
    ASSERT_TRUE(readscene(path.c_str(), fromfile, message, record)) << message;
    ASSERT_GT(calls.size(), text.size() / 65536);
    EXPECT_EQ(calls.front(), std::make_pair(std::uint64_t{0}, std::uint64_t{text.size()}));
    EXPECT_EQ(calls.back(), std::make_pair(std::uint64_t{text.size()}, std::uint64_t{text.size()}));
    for (std::size_t i = 1; i < calls.size(); ++i) {
        EXPECT_LE(calls[i].first - calls[i - 1].first, 65536u + 200u); // often enough for a live bar
        EXPECT_GT(calls[i].first, calls[i - 1].first);
    }
    calls.clear();
    ASSERT_TRUE(readscenetext("susuki", text, frommemory, message, record));
    EXPECT_TRUE(scenes::identical(fromfile, frommemory));
    EXPECT_EQ(calls.back().first, text.size());

    // Cancelled on the third call: nothing is kept.
    int left = 3;
    const readprogress_t cancel = [&](std::uint64_t, std::uint64_t) { return --left > 0; };
    EXPECT_FALSE(readscene(path.c_str(), fromfile, message, cancel));
    EXPECT_EQ(message, path + ": cancelled");
    EXPECT_TRUE(fromfile.empty());

    // Files that cannot be read; check() gives the same verdicts.
    fromfile = susuki;
    EXPECT_FALSE(readscene((dir.path + "/none.scene").c_str(), fromfile, message));
    EXPECT_EQ(message, dir.path + "/none.scene: cannot read the file (No such file or directory)");
    EXPECT_TRUE(fromfile.empty());
    EXPECT_FALSE(readscene(dir.path.c_str(), fromfile, message));
    EXPECT_EQ(message, dir.path + ": cannot read the file (Is a directory)");
    EXPECT_FALSE(check(dir.write("bad.scene", with(5, "0.5xyz")).c_str(), message));
    EXPECT_EQ(message, dir.path + "/bad.scene:5: expected the fuse as a finite decimal number, found \"0.5xyz\"");
    EXPECT_TRUE(check(path.c_str(), message));
}

namespace {

// Bytes this process has read from files so far (Linux counts them per process).
std::uint64_t bytesread()
{
    std::ifstream io("/proc/self/io");
    std::string key;
    std::uint64_t value = 0;
    while (io >> key >> value)
        if (key == "rchar:")
            return value;
    return 0;
}

} // namespace

// What may never end is never read to its end: a FIFO or a device is refused
// before a byte of it is read (a FIFO without a writer would block the open;
// a hang times the test out), and an over-long line is refused as soon as it
// is too long, whatever follows it.
TEST(SceneReader, EndlessInputsAreRefusedUnread)
{
    tempdir dir;
    const std::string fifo = dir.path + "/fifo.scene";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::vector<firework_t> scene = scenes::small();
    std::string message;
    EXPECT_FALSE(readscene(fifo.c_str(), scene, message));
    EXPECT_EQ(message, fifo + ": not a regular file (a FIFO)");
    EXPECT_TRUE(scene.empty());
    EXPECT_FALSE(readscene("/dev/zero", scene, message));
    EXPECT_EQ(message, "/dev/zero: not a regular file (a character device)");

    // A line of 64 MiB without its end: no more than a window of it is read.
    const std::string path = dir.path + "/long.scene";
    {
        std::ofstream os(path, std::ios::binary);
        os << "1\n";
        const std::string block(1 << 20, '7');
        for (int i = 0; i < 64; ++i) os << block;
    }
    const std::uint64_t before = bytesread();
    EXPECT_FALSE(readscene(path.c_str(), scene, message));
    const std::uint64_t read = bytesread() - before;
    EXPECT_EQ(message, path + ":2: expected the launch time as a finite decimal number, found \""
                           + std::string(40, '7') + "...\"");
    EXPECT_LT(read, 1u << 20) << "the rest of the line was read";
}

// The last line may lack its line end in a file as in memory: it is read
// where it stands, not where the window held it before its last fill.
TEST(SceneReader, TheLastLineWithoutItsEndReadsTheSameFromAFile)
{
    tempdir dir;
    std::string text = join(scenes::smalllines);
    text.resize(text.size() - 2); // the last count's CR LF
    for (const std::string& last : {std::string(), std::string("x"), std::string(300, '7')}) {
        const std::string path = dir.write("cut.scene", text + last);
        std::vector<firework_t> fromfile, frommemory;
        std::string filemessage, memorymessage;
        const bool fileread = readscene(path.c_str(), fromfile, filemessage);
        EXPECT_EQ(fileread, readscenetext(path, text + last, frommemory, memorymessage)) << last;
        EXPECT_EQ(filemessage, memorymessage) << last;
        EXPECT_TRUE(scenes::identical(fromfile, frommemory)) << last;
        EXPECT_EQ(fileread, last.empty()) << filemessage;
    }
    // A long last line starting near the window's front: the move overlaps it.
    std::string letters;
    for (int i = 0; i < 300; ++i) letters += static_cast<char>('a' + i % 26);
    const std::string path = dir.write("one.scene", "1\r\n" + letters);
    std::vector<firework_t> scene;
    std::string message;
    EXPECT_FALSE(readscene(path.c_str(), scene, message));
    EXPECT_EQ(message, path + ":2: expected the launch time as a finite decimal number, found \"" + letters.substr(0, 40) + "...\"");
}

TEST(SceneReader, EveryBuiltInShowSavedPassesAndReadsBackAsLoadReadsIt)
{
    tempdir dir;
    const std::vector<std::string>& names = builtinnames();
    ASSERT_EQ(names.size(), 6u);
    for (std::size_t i = 0; i < names.size(); ++i) {
        std::vector<firework_t> made, read, loaded;
        ASSERT_TRUE(makebuiltin(names[i], made));
        const std::string first = dir.path + "/first.scene", second = dir.path + "/second.scene";
        ASSERT_TRUE(save(first.c_str(), made));
        std::string message;
        ASSERT_TRUE(readscene(first.c_str(), read, message)) << i << ": " << message;
        ASSERT_TRUE(load(first.c_str(), loaded));
        EXPECT_TRUE(scenes::identical(read, loaded)) << i;
        EXPECT_EQ(read.size(), made.size());
        // Six digits once: saving what was read writes the same file again.
        ASSERT_TRUE(save(second.c_str(), read));
        EXPECT_TRUE(tempdir::read(first) == tempdir::read(second)) << i;
    }
}
