// vexlor-render run as a program against what goes wrong: shaders the driver
// will not build, inputs and options out of range, files that are not
// regular, long and linked output names, frame directories used twice, a
// full disk, and signals at every stage. Each ends with one line and a
// status, and leaves nothing half-written behind.
#include "tests/firework/scenes.h"

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;

struct result_t {
    int status;
    std::string err;
};

// The program headless (no DISPLAY: EGL surfaceless), with `environment`
// (VAR=value ...) put before it; standard error kept.
result_t run(const tempdir& dir, const std::string& arguments, const std::string& environment = "")
{
    const std::string err = dir.path + "/stderr";
    const std::string command = "env -u DISPLAY " + environment + " " + RENDERTOOL + " " + arguments + " >/dev/null 2>" + err;
    const int raw = std::system(command.c_str());
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, tempdir::read(err)};
}

// Nothing temporary is left in `folder`.
void nopartial(const std::string& folder)
{
    for (const auto& entry : fs::directory_iterator(folder))
        EXPECT_EQ(entry.path().filename().string().find(".partial"), std::string::npos) << entry.path();
}

} // namespace

// The driver itself is made to fail the build: Mesa reads replacement
// sources for the renderer's shaders (found by their dump names) that do not
// compile. The render stops after the driver's log, with status 1 and no
// output, where it used to write grey frames and succeed.
TEST(RenderFaults, ShadersThatDoNotBuildStopTheRender)
{
    tempdir dir;
    const std::string dump = dir.path + "/dump", broken = dir.path + "/broken";
    fs::create_directories(dump);
    fs::create_directories(broken);
    const std::string out = dir.path + "/frames/";
    ASSERT_EQ(run(dir, "single -o " + out + " --size 64x36 --to 0.1 --quiet", "MESA_SHADER_DUMP_PATH=" + dump).status, 0);
    std::size_t shaders = 0;
    for (const auto& entry : fs::directory_iterator(dump)) {
        dir.write("broken/" + entry.path().filename().string(), "#version 330\nthis is not GLSL\n");
        ++shaders;
    }
    ASSERT_GE(shaders, 2u) << "Mesa dumped no shaders: the driver cannot be made to fail this way";
    fs::remove_all(out);
    const result_t r = run(dir, "single -o " + out + " --size 64x36 --to 0.1 --quiet", "MESA_SHADER_READ_PATH=" + broken);
    EXPECT_EQ(r.status, 1) << r.err;
    EXPECT_EQ(r.err.rfind("shader compile error.\n", 0), 0u) << r.err;
    EXPECT_NE(r.err.find("syntax error"), std::string::npos) << "the driver's log" << r.err;
    const std::string last = "vexlor-render: the shaders did not build; nothing was written\n";
    EXPECT_EQ(r.err.substr(r.err.size() - std::min(r.err.size(), last.size())), last) << r.err;
    EXPECT_FALSE(fs::exists(out));
    nopartial(dir.path);
}
