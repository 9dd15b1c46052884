// vexlor-scene run as a program: usage, the six shows written and read back,
// the checker's verdicts and the facts that info prints.
#include "firework/loadsave.h"
#include "tests/firework/scenes.h"

#include <gtest/gtest.h>

#include <sys/wait.h>

namespace {

struct result_t {
    int status;
    std::string out, err;
};

// Runs the tool with the given arguments (no quoting needed for them).
result_t run(const tempdir& dir, const std::string& arguments)
{
    const std::string out = dir.path + "/stdout", err = dir.path + "/stderr";
    const int raw = std::system((std::string(SCENETOOL) + " " + arguments + " >" + out + " 2>" + err).c_str());
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, tempdir::read(out), tempdir::read(err)};
}

} // namespace

TEST(SceneTool, HelpAndUsageErrors)
{
    tempdir dir;
    const result_t help = run(dir, "--help");
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.out.rfind("Usage: vexlor-scene make SHOW FILE\n       vexlor-scene check FILE\n", 0), 0u);
    EXPECT_NE(help.out.find("single, simple, random, miniexhibition, blink, susuki"), std::string::npos);
    const std::vector<std::pair<std::string, std::string>> misuse = {
        {"", "no command given"},
        {"play x.scene", "unknown command \"play\""},
        {"make susuki", "make takes a show and a file name"},
        {"info a b", "info takes one file name"},
        {"make fountain x.scene", "unknown show \"fountain\" (choose single, simple, random, miniexhibition, blink or susuki)"},
    };
    for (const auto& [arguments, problem] : misuse) {
        const result_t result = run(dir, arguments);
        EXPECT_EQ(result.status, 2) << arguments;
        EXPECT_EQ(result.err, "vexlor-scene: " + problem + "; try 'vexlor-scene --help'.\n");
    }
}

TEST(SceneTool, MakesEveryShowAsAFileThatChecksAndLoads)
{
    tempdir dir;
    const std::vector<std::pair<std::string, std::size_t>> shows = {
        {"single", 1}, {"simple", 1}, {"random", 23}, {"miniexhibition", 5}, {"blink", 1}, {"susuki", 1}};
    for (const auto& [show, fireworks] : shows) {
        const std::string path = dir.path + "/" + show + ".scene";
        EXPECT_EQ(run(dir, "make " + show + " " + path).status, 0);
        const result_t checked = run(dir, "check " + path);
        EXPECT_TRUE(checked.status == 0 && checked.out.empty() && checked.err.empty()) << show;
        std::vector<vexlor::firework_t> scene;
        ASSERT_TRUE(vexlor::load(path.c_str(), scene));
        EXPECT_EQ(scene.size(), fireworks);
    }
    std::vector<vexlor::firework_t> simple;
    ASSERT_TRUE(vexlor::load((dir.path + "/simple.scene").c_str(), simple));
    const geokit::color3a_t c = simple.at(0).fires.at(0).powders.at(0).films.at(0).from;
    EXPECT_TRUE(simple[0].fires[0].speed == 6.25f && c.r == 1.0f && c.g == 1.0f && c.b == 1.0f && c.a == 1.0f);
    const result_t unwritable = run(dir, "make single " + dir.path + "/no/x.scene");
    EXPECT_EQ(unwritable.status, 1);
    EXPECT_EQ(unwritable.err, dir.path + "/no/x.scene: cannot write the file\n");
}

TEST(SceneTool, InfoAndCheckReportWhatTheyFind)
{
    // Susuki: 176 stars of 1 + 320 stages, one film each; it ends when the
    // last spark (lit 2 + 10 s in) has glowed for 0.25 s; at 60 frames a
    // second the first frame with nine sparks and the star lit behind every
    // star comes half a second after the burst.
    tempdir dir;
    const std::string path = dir.path + "/susuki.scene";
    ASSERT_EQ(run(dir, "make susuki " + path).status, 0);
    const result_t info = run(dir, "info " + path);
    EXPECT_EQ(info.status, 0);
    EXPECT_EQ(info.out, "fireworks: 1\nfires: 176\npowders: 56496\nfilms: 56496\npoints reserved: 56496\n"
                        "length: 12.250 s\nlargest frame: 1760 points at 2.500 s\nsounds: 2\n");

    const std::string broken = dir.write("broken.scene", "1\r\n0\r\n1, 2, 3\r\ndir3(0, 0, 20)\r\n2\r\n9\r\n1\r\n"
                                                         "col3a(1, 1, 1, 1)\r\n0\r\n");
    for (const char* command : {"check ", "info "}) {
        const result_t result = run(dir, command + broken);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err, broken + ":3: the launch position needs a value like pos3(x, y, z)\n");
        EXPECT_TRUE(result.out.empty());
    }
    const std::string tooshort = dir.write("short.scene", "1\r\n0\r\n");
    EXPECT_EQ(run(dir, "check " + tooshort).err,
              tooshort + ":1: 1 firework announced, but the rest of the file holds at most 0\n");
    EXPECT_EQ(run(dir, "check " + dir.path + "/missing.scene").err, dir.path + "/missing.scene: cannot read the file\n");
}
