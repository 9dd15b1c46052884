// vexlor-scene run as a program: usage, the six shows written and read back,
// the checker's verdicts and the facts that info prints.
#include "firework/loadsave.h"
#include "tests/firework/scenes.h"

#include <gtest/gtest.h>

#include <sys/wait.h>

namespace {

struct result_t { int status; std::string out, err; };

// Runs the tool with the given arguments (no quoting needed for them),
// in the given environment settings ("NAME=value ...").
result_t run(const tempdir& dir, const std::string& arguments, const std::string& environment = "")
{
    const std::string out = dir.path + "/stdout", err = dir.path + "/stderr";
    const int raw = std::system((environment + " " + SCENETOOL + " " + arguments + " >" + out + " 2>" + err).c_str());
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, tempdir::read(out), tempdir::read(err)};
}

} // namespace

TEST(SceneTool, MakeCheckInfoHelpAndUsage)
{
    tempdir dir;
    std::vector<vexlor::firework_t> scene;
    for (const auto& [show, fireworks] : std::vector<std::pair<std::string, std::size_t>>{
             {"single", 1}, {"random", 23}, {"miniexhibition", 5}, {"blink", 1}, {"susuki", 1}, {"simple", 1}}) {
        const std::string path = dir.path + "/" + show + ".scene";
        EXPECT_TRUE(run(dir, "make " + show + " " + path).status == 0 && run(dir, "check " + path).status == 0) << show;
        ASSERT_TRUE(vexlor::load(path.c_str(), scene));
        EXPECT_EQ(scene.size(), fireworks);
    }
    // The last one, simple, is white at speed 6.25.
    EXPECT_TRUE(scene.at(0).fires.at(0).speed == 6.25f && scenes::same(scene[0].fires[0].powders.at(0).films.at(0).from, {1, 1, 1, 1}));
    // Susuki: 176 stars of 1 + 320 stages, one film each; it ends when the
    // last spark (lit 2 + 10 s in) has glowed for 0.25 s; at 60 frames a
    // second the first frame with nine sparks and the star lit behind every
    // star comes half a second after the burst.
    // The same under a decimal-comma locale (made by the test fixture).
    for (const char* environment : {"", "LC_ALL=de_DE.UTF-8"}) {
        const result_t info = run(dir, "info " + dir.path + "/susuki.scene", environment);
        EXPECT_EQ(info.status, 0);
        EXPECT_EQ(info.out, "fireworks: 1\nfires: 176\npowders: 56496\nfilms: 56496\npoints reserved: 56496\n"
                            "length: 12.250 s\nlargest frame: 1760 points at 2.500 s\nsounds: 2\n") << environment;
    }

    const result_t help = run(dir, "--help");
    EXPECT_TRUE(help.status == 0 && help.out.rfind("Usage: vexlor-scene make SHOW FILE\n", 0) == 0);
    const result_t usage = run(dir, "make susuki");
    EXPECT_TRUE(usage.status == 2 && usage.err == "vexlor-scene: make takes a show and a file name; try 'vexlor-scene --help'.\n");
    for (const char* empty : {"make single ''", "check ''", "info ''"}) {
        const result_t r = run(dir, empty);
        EXPECT_EQ(r.status, 2) << empty;
        EXPECT_EQ(r.err, "vexlor-scene: the file name is empty; try 'vexlor-scene --help'.\n") << empty;
    }
    const std::string broken = dir.write("broken.scene", "1\r\n0\r\n1, 2, 3\r\ndir3(0, 0, 20)\r\n2\r\n9\r\n1\r\n"
                                                         "col3a(1, 1, 1, 1)\r\n0\r\n");
    const result_t checked = run(dir, "info " + broken); // info checks first: load would hang on this file
    EXPECT_TRUE(checked.status == 1 && checked.out.empty());
    EXPECT_EQ(checked.err, broken + ":3: expected the launch position as pos3(x, y, z), found \"1, 2, 3\"\n");
}
