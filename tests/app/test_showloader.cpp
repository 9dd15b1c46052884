// The viewer's loading thread, headless: what it hands over, what it says
// when it cannot, and that a cancel ends a large read early.
#include "app/showloader.h"
#include "firework/builtin.h"
#include "firework/loadsave.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

namespace {

namespace fs = std::filesystem;
using state_t = vexlor::showloader_t::state_t;

// Polls as the main loop does, for at most ten seconds.
state_t settled(const vexlor::showloader_t& loader)
{
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (loader.state() == state_t::loading && std::chrono::steady_clock::now() < until)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    return loader.state();
}

struct tempdir_t {
    fs::path path = fs::temp_directory_path() / ("showloader-" + std::to_string(::getpid()));
    tempdir_t() { fs::create_directories(path); }
    ~tempdir_t() { fs::remove_all(path); }
};

TEST(ShowLoader, HandsOverTheShowItReadOnce)
{
    vexlor::showloader_t loader;
    loader.start("miniexhibition");
    ASSERT_EQ(settled(loader), state_t::done) << loader.message();
    EXPECT_EQ(loader.fraction(), 1.0);
    vexlor::show_t show;
    ASSERT_TRUE(loader.take(show));
    std::vector<vexlor::firework_t> scene;
    ASSERT_TRUE(vexlor::makebuiltin("miniexhibition", scene));
    ASSERT_EQ(show.shells.size(), scene.size());
    EXPECT_LT(show.designs.size(), scene.size()) << "identical shells are not shared";
    const auto expanded = vexlor::expand(show);
    for (std::size_t i = 0; i < scene.size(); ++i) EXPECT_EQ(expanded[i].fires.size(), scene[i].fires.size());
    EXPECT_EQ(loader.state(), state_t::idle);
    EXPECT_FALSE(loader.take(show)) << "handed over twice";
}

TEST(ShowLoader, FailuresAreOneLineNamingTheFile)
{
    tempdir_t dir;
    const std::string broken = (dir.path / "broken.scene").string();
    std::ofstream(broken) << "1\r\nnot a count\r\n";
    const std::pair<std::string, std::string> cases[] = {
        {"/nonexistent/show.scene", "/nonexistent/show.scene: "},
        {broken, broken + ":1: "},
    };
    for (const auto& [arg, start] : cases) {
        vexlor::showloader_t loader;
        loader.start(arg);
        ASSERT_EQ(settled(loader), state_t::failed) << arg;
        const std::string message = loader.message();
        EXPECT_EQ(message.rfind(start, 0), 0u) << message;
        EXPECT_EQ(message.find('\n'), std::string::npos) << message;
        vexlor::show_t show;
        EXPECT_FALSE(loader.take(show));
    }
}

TEST(ShowLoader, ACancelEndsALargeReadEarly)
{
    tempdir_t dir;
    const std::string path = (dir.path / "large.scene").string();
    std::vector<vexlor::firework_t> scene;
    ASSERT_TRUE(vexlor::makebuiltin("susuki", scene));
    for (int i = 0; i < 3; ++i) scene.push_back(scene.front());
    ASSERT_TRUE(vexlor::save(path.c_str(), scene));
    ASSERT_GT(fs::file_size(path), 8u << 20);

    vexlor::showloader_t loader;
    loader.start(path);
    loader.cancel();
    const auto asked = std::chrono::steady_clock::now();
    loader.Destroy(); // as the viewer's end waits for it
    const double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - asked).count();
    EXPECT_EQ(loader.state(), state_t::failed);
    EXPECT_EQ(loader.message(), path + ": cancelled");
    EXPECT_LT(took, 0.5);
    EXPECT_LT(loader.fraction(), 0.5) << "the read went on after the cancel";

    // The same loader reads it whole when left alone.
    loader.start(path);
    ASSERT_EQ(settled(loader), state_t::done) << loader.message();
    vexlor::show_t show;
    ASSERT_TRUE(loader.take(show));
    EXPECT_EQ(show.shells.size(), 4u);
    EXPECT_EQ(show.designs.size(), 1u);
}

} // namespace
