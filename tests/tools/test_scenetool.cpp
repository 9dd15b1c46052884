// vexlor-scene run as a program: usage, the six shows written and read back,
// the checker's verdicts and the facts that info prints.
#include "firework/loadsave.h"
#include "tests/firework/tempdir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <sys/wait.h>
#include <vector>

namespace {

struct result_t {
    int status = -1;
    std::string out;
    std::string err;
};

// Runs the tool with the given arguments (no quoting needed for them).
result_t run(const tempdir& dir, const std::string& arguments)
{
    const std::string out = dir.path + "/stdout";
    const std::string err = dir.path + "/stderr";
    const std::string command = std::string(SCENETOOL) + " " + arguments + " >" + out + " 2>" + err;
    const int raw = std::system(command.c_str());
    result_t result;
    result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    result.out = tempdir::read(out);
    result.err = tempdir::read(err);
    return result;
}

const std::string tryhelp = "; try 'vexlor-scene --help'.\n";

} // namespace

TEST(SceneTool, HelpAndUsageErrors)
{
    tempdir dir;
    const result_t help = run(dir, "--help");
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.out.rfind("Usage: vexlor-scene make SHOW FILE\n", 0), 0u);
    for (const char* word : {"check FILE", "info FILE", "single, simple, random, miniexhibition, blink, susuki"})
        EXPECT_NE(help.out.find(word), std::string::npos) << word;
    EXPECT_TRUE(help.err.empty());

    const std::vector<std::pair<std::string, std::string>> misuse = {
        {"", "vexlor-scene: no command given" + tryhelp},
        {"play x.scene", "vexlor-scene: unknown command \"play\"" + tryhelp},
        {"make susuki", "vexlor-scene: make takes a show and a file name" + tryhelp},
        {"check", "vexlor-scene: check takes one file name" + tryhelp},
        {"info a b", "vexlor-scene: info takes one file name" + tryhelp},
        {"make fountain " + dir.path + "/x.scene",
         "vexlor-scene: unknown show \"fountain\" (choose single, simple, random, miniexhibition, blink or susuki)"
             + tryhelp},
    };
    for (const auto& [arguments, message] : misuse) {
        const result_t result = run(dir, arguments);
        EXPECT_EQ(result.status, 2) << arguments;
        EXPECT_EQ(result.err, message);
        EXPECT_TRUE(result.out.empty());
    }
}

TEST(SceneTool, MakesEveryShowAsAFileThatChecksAndLoads)
{
    tempdir dir;
    const std::vector<std::pair<std::string, std::size_t>> shows = {
        {"single", 1}, {"simple", 1}, {"random", 23}, {"miniexhibition", 5}, {"blink", 1}, {"susuki", 1}};
    for (const auto& [show, fireworks] : shows) {
        SCOPED_TRACE(show);
        const std::string path = dir.path + "/" + show + ".scene";
        EXPECT_EQ(run(dir, "make " + show + " " + path).status, 0);
        const result_t checked = run(dir, "check " + path);
        EXPECT_EQ(checked.status, 0);
        EXPECT_TRUE(checked.out.empty() && checked.err.empty());
        std::vector<vexlor::firework_t> scene;
        ASSERT_TRUE(vexlor::load(path.c_str(), scene));
        EXPECT_EQ(scene.size(), fireworks);
        if (show == "simple") {
            ASSERT_EQ(scene[0].fires.size(), 176u);
            EXPECT_EQ(scene[0].fires[0].speed, 6.25f);
            const geokit::color3a_t c = scene[0].fires[0].powders[0].films[0].from;
            EXPECT_TRUE(c.r == 1.0f && c.g == 1.0f && c.b == 1.0f && c.a == 1.0f);
        }
    }
    const result_t unwritable = run(dir, "make single " + dir.path + "/no/such/dir/x.scene");
    EXPECT_EQ(unwritable.status, 1);
    EXPECT_EQ(unwritable.err, dir.path + "/no/such/dir/x.scene: cannot write the file\n");
}

TEST(SceneTool, InfoTellsCountsLengthAndBusiestFrame)
{
    // Susuki: 176 stars of 1 + 320 stages, one film each; it ends when the
    // last spark (lit 2 + 10 s in) has glowed for 0.25 s; at 60 frames a
    // second the first frame with nine sparks and the star lit for every
    // star is half a second after the burst.
    tempdir dir;
    const std::string path = dir.path + "/susuki.scene";
    ASSERT_EQ(run(dir, "make susuki " + path).status, 0);
    const result_t info = run(dir, "info " + path);
    EXPECT_EQ(info.status, 0);
    EXPECT_EQ(info.out, "fireworks: 1\nfires: 176\npowders: 56496\nfilms: 56496\npoints reserved: 56496\n"
                        "length: 12.250 s\nlargest frame: 1760 points at 2.500 s\nsounds: 2\n");
    EXPECT_TRUE(info.err.empty());

    const std::string empty = dir.write("empty.scene", "0\r\n");
    EXPECT_EQ(run(dir, "info " + empty).out, "fireworks: 0\nfires: 0\npowders: 0\nfilms: 0\npoints reserved: 0\n"
                                              "length: 0.000 s\nlargest frame: 0 points at 0.000 s\nsounds: 0\n");
}

TEST(SceneTool, BrokenFilesFailWithTheCheckersLine)
{
    tempdir dir;
    const std::string broken = dir.write("broken.scene", "1\r\n0\r\n1, 2, 3\r\ndir3(0, 0, 20)\r\n2\r\n9\r\n1\r\n"
                                                           "col3a(1, 1, 1, 1)\r\n0\r\n");
    const std::string message = broken + ":3: the launch position needs a value like pos3(x, y, z)\n";
    for (const char* command : {"check ", "info "}) {
        const result_t result = run(dir, command + broken);
        EXPECT_EQ(result.status, 1) << command;
        EXPECT_EQ(result.err, message);
        EXPECT_TRUE(result.out.empty());
    }
    const std::string tooshort = dir.write("short.scene", "1\r\n0\r\n");
    EXPECT_EQ(run(dir, "check " + tooshort).err,
              tooshort + ":1: 1 firework announced, but the rest of the file holds at most 0\n");
    const result_t missing = run(dir, "check " + dir.path + "/missing.scene");
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.err, dir.path + "/missing.scene: cannot read the file\n");
}
