// The screensaver's command line: no window needed.
#include "app/saveroptions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <initializer_list>
#include <string>
#include <vector>

namespace {

using vexlor::saveroptions_t;

struct parsed_t {
    int status;
    saveroptions_t options;
    std::string err;
};

parsed_t parse(std::initializer_list<const char*> args, const char* envwindow = nullptr)
{
    std::vector<std::string> strings{"vexlor"};
    strings.insert(strings.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (auto& s : strings) argv.push_back(s.data());
    argv.push_back(nullptr);
    parsed_t result;
    testing::internal::CaptureStderr();
    result.status = vexlor::saveroptions(static_cast<int>(strings.size()), argv.data(), envwindow,
                                         result.options);
    result.err = testing::internal::GetCapturedStderr();
    return result;
}

TEST(SaverOptions, WindowIdsAreDecimalOrHexAndFitInThirtyTwoBits)
{
    unsigned long id = 0;
    EXPECT_TRUE(vexlor::parsewindowid("0x12345", id));
    EXPECT_EQ(id, 0x12345u);
    EXPECT_TRUE(vexlor::parsewindowid("0X1aF", id));
    EXPECT_EQ(id, 0x1afu);
    EXPECT_TRUE(vexlor::parsewindowid("4194311", id));
    EXPECT_EQ(id, 4194311u);
    EXPECT_TRUE(vexlor::parsewindowid("0xffffffff", id));
    EXPECT_EQ(id, 0xffffffffu);
    id = 7;
    for (const char* bad : {"", "0x", "abc", "12abc", "1a", "-1", "+5", " 1", "1 ", "0x-1",
                            "0x100000000", "4294967296", "0x1g"}) {
        EXPECT_FALSE(vexlor::parsewindowid(bad, id)) << bad;
        EXPECT_EQ(id, 7u) << bad;
    }
}

TEST(SaverOptions, DelaysAreFiniteNonNegativeSecondsInAnyLocale)
{
    double seconds = -1.0;
    EXPECT_TRUE(vexlor::parseseconds("0", seconds));
    EXPECT_EQ(seconds, 0.0);
    EXPECT_TRUE(vexlor::parseseconds("30", seconds));
    EXPECT_EQ(seconds, 30.0);
    for (const char* bad : {"", "-1", "-0.5", "nan", "inf", "infinity", "1e400", "2s", "2,5", " 2"}) {
        seconds = 9.0;
        EXPECT_FALSE(vexlor::parseseconds(bad, seconds)) << bad;
        EXPECT_EQ(seconds, 9.0) << bad;
    }
    // A decimal-comma locale must not cut "2.5" to 2.
    const std::string before = std::setlocale(LC_ALL, nullptr);
    const bool comma = std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr;
    EXPECT_TRUE(vexlor::parseseconds("2.5", seconds));
    std::setlocale(LC_ALL, before.c_str());
    EXPECT_EQ(seconds, 2.5);
    if (!comma) GTEST_SKIP() << "no de_DE.UTF-8 locale here";
}

TEST(SaverOptions, TheViewersCommandLineIsLeftAlone)
{
    for (auto args : {std::initializer_list<const char*>{}, {"show.scene"}, {"--help"},
                      {"--version"}, {"--bogus"}, {"a", "b"}}) {
        const auto r = parse(args);
        EXPECT_EQ(r.status, -1);
        EXPECT_FALSE(r.options.on);
        EXPECT_EQ(r.err, "");
    }
    // An empty XSCREENSAVER_WINDOW is no window.
    const auto empty = parse({"show.scene"}, "");
    EXPECT_EQ(empty.status, -1);
    EXPECT_FALSE(empty.options.on);
    // Help stays help when started by a daemon too.
    const auto help = parse({"--help"}, "0x400001");
    EXPECT_EQ(help.status, -1);
    EXPECT_FALSE(help.options.on);
}

TEST(SaverOptions, RootWindowIdShowDelaySound)
{
    auto r = parse({"--root"});
    EXPECT_EQ(r.status, -1);
    EXPECT_TRUE(r.options.on);
    EXPECT_TRUE(r.options.root);
    EXPECT_EQ(r.options.show, "");
    EXPECT_EQ(r.options.delay, 0.0);
    EXPECT_FALSE(r.options.sound);

    r = parse({"-root", "--show", "a.scene", "--delay", "2.5", "--sound"});
    EXPECT_EQ(r.status, -1);
    EXPECT_TRUE(r.options.on && r.options.root && r.options.sound);
    EXPECT_EQ(r.options.show, "a.scene");
    EXPECT_EQ(r.options.delay, 2.5);

    // The scene may also come as the viewer names it.
    r = parse({"--root", "b.scene"});
    EXPECT_EQ(r.status, -1);
    EXPECT_EQ(r.options.show, "b.scene");
    EXPECT_EQ(r.options.look.fields, 0u) << "no look asked for: the show's own";

    r = parse({"--root", "--look", "night,water,horizon=hills"});
    EXPECT_EQ(r.status, -1);
    EXPECT_TRUE(r.options.look.look.night());
    EXPECT_TRUE(r.options.look.look.water);
    EXPECT_EQ(r.options.look.look.horizon, vexlor::horizon_t::hills);
    // --look alone is the viewer's: it does not make a screensaver.
    r = parse({"--look", "night"});
    EXPECT_EQ(r.status, -1);
    EXPECT_FALSE(r.options.on);

    for (auto args : {std::initializer_list<const char*>{"--window-id", "0x400007"},
                      {"-window-id", "4194311"}, {"--window-id=0x400007"}}) {
        r = parse(args);
        EXPECT_EQ(r.status, -1);
        EXPECT_TRUE(r.options.on);
        EXPECT_FALSE(r.options.root);
        EXPECT_EQ(r.options.window, 0x400007u);
        EXPECT_EQ(r.err, "");
    }
}

TEST(SaverOptions, TheDaemonsWindowWinsOverTheRoot)
{
    auto r = parse({}, "0x200005");
    EXPECT_EQ(r.status, -1);
    EXPECT_TRUE(r.options.on);
    EXPECT_FALSE(r.options.root);
    EXPECT_EQ(r.options.window, 0x200005u);

    r = parse({"-root", "--delay", "1"}, "0x200005");
    EXPECT_TRUE(r.options.on);
    EXPECT_FALSE(r.options.root);
    EXPECT_EQ(r.options.window, 0x200005u);
    EXPECT_EQ(r.options.delay, 1.0);

    // A window named on the command line is meant.
    r = parse({"--window-id", "77"}, "0x200005");
    EXPECT_EQ(r.options.window, 77u);

    r = parse({"--root"}, "junk");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "vexlor: XSCREENSAVER_WINDOW: not a window id: 'junk'\n");
}

TEST(SaverOptions, BadCommandLinesAreUsageErrorsOfOneLine)
{
    for (auto args : {std::initializer_list<const char*>{"--root", "--window-id", "1"},
                      {"--window-id", "1", "-root"},
                      {"--window-id", "abc"},
                      {"--window-id", ""},
                      {"--window-id"},
                      {"--root", "--delay", "-1"},
                      {"--root", "--delay", "nan"},
                      {"--root", "--delay", "inf"},
                      {"--root", "--delay"},
                      {"--root", "--show", ""},
                      {"--root", ""},
                      {"--root", "--show", "a", "b"},
                      {"--root", "a", "b"},
                      {"--root", "--bogus"},
                      {"--sound"},
                      {"--root", "--look", "dusk"},
                      {"--root", "--look", "night,wind=50"},
                      {"--root", "--look"},
                      {"--delay", "2", "show.scene"}}) {
        const auto r = parse(args);
        std::string line;
        for (const char* a : args) line += std::string(a) + " ";
        EXPECT_EQ(r.status, 2) << line;
        EXPECT_FALSE(r.options.on) << line;
        EXPECT_EQ(r.err.rfind("vexlor: ", 0), 0u) << line << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << line << r.err;
    }
}

} // namespace
