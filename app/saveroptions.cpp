// Screensaver options. Daemons pass the single-dash forms ("-root",
// "-window-id") by old convention; they mean the same as the double-dash ones.
#include "app/saveroptions.h"

#include "app/usage.h"

#include <CLI/CLI.hpp>

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iostream>
#include <vector>

namespace vexlor {
namespace {

constexpr const char* k_program = "vexlor";

// The options that only the screensaver has: one of them, or the daemon's
// variable, switches the mode on.
bool saverarg(const std::string& arg)
{
    for (const char* name : {"--root", "-root", "--window-id", "-window-id", "--show", "--delay",
                             "--sound"}) {
        const std::size_t n = std::strlen(name);
        if (arg.compare(0, n, name) == 0 && (arg.size() == n || arg[n] == '='))
            return true;
    }
    return false;
}

std::string doubledash(const std::string& arg)
{
    if (arg == "-root" || arg == "-window-id") return "-" + arg;
    return arg;
}

int usageerror(const std::string& what)
{
    std::cerr << k_program << ": " << what << " (try --help)" << std::endl;
    return 2;
}

} // namespace

bool parsewindowid(const std::string& text, unsigned long& id)
{
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const char* first = text.data() + (hex ? 2 : 0);
    const char* last = text.data() + text.size();
    if (first == last || !std::isxdigit(static_cast<unsigned char>(*first))) return false;
    std::uint32_t value = 0; // X resource ids are 32-bit
    const auto [end, error] = std::from_chars(first, last, value, hex ? 16 : 10);
    if (error != std::errc() || end != last) return false;
    id = value;
    return true;
}

bool parseseconds(const std::string& text, double& seconds)
{
    double value = 0.0;
    const char* last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, value);
    if (error != std::errc() || end != last || !std::isfinite(value) || value < 0.0) return false;
    seconds = value;
    return true;
}

int saveroptions(int argc, char** argv, const char* envwindow, saveroptions_t& options)
{
    options = saveroptions_t{};
    if (envwindow && !*envwindow) envwindow = nullptr; // set but empty: not set
    std::vector<std::string> args(argv + (argc > 0 ? 1 : 0), argv + (argc > 0 ? argc : 0));
    // Help and version stay the viewer's, whatever the environment says.
    if (!args.empty() && (args[0] == "--help" || args[0] == "-h" || args[0] == "--version"))
        return -1;
    bool asked = envwindow != nullptr;
    for (const auto& arg : args) asked = asked || saverarg(arg);
    if (!asked) return -1;

    CLI::App app{"vexlor screensaver", k_program};
    app.set_help_flag();
    std::string windowtext, delaytext, scene, look;
    auto* root = app.add_flag("--root", options.root);
    auto* window = app.add_option("--window-id", windowtext);
    auto* show = app.add_option("--show", options.show);
    app.add_option("--delay", delaytext);
    app.add_flag("--sound", options.sound);
    auto* lookopt = app.add_option("--look", look);
    auto* positional = app.add_option("scene", scene);
    root->excludes(window);

    std::vector<std::string> normalised{k_program};
    for (const auto& arg : args) normalised.push_back(doubledash(arg));
    std::vector<const char*> pointers;
    for (const auto& arg : normalised) pointers.push_back(arg.c_str());
    try {
        app.parse(static_cast<int>(pointers.size()), pointers.data());
    } catch (const CLI::ParseError& e) {
        return usageerror(e.what());
    }

    if (show->count() && options.show.empty()) return usageerror("--show: empty file name");
    if (lookopt->count() && !readlookoption(look, options.look)) return 2;
    if (positional->count()) {
        if (show->count())
            return usageerror("more than one show: '" + options.show + "' and '" + scene + "'");
        if (scene.empty()) return usageerror("empty scene file name");
        options.show = scene;
    }
    if (!delaytext.empty() || app.count("--delay")) {
        if (!parseseconds(delaytext, options.delay))
            return usageerror("--delay: not a number of seconds >= 0: '" + delaytext + "'");
    }
    if (window->count()) {
        if (!parsewindowid(windowtext, options.window))
            return usageerror("--window-id: not a window id (decimal or 0x hex): '" + windowtext + "'");
    } else if (envwindow) {
        // The daemon's own window, also when it passes -root: its screen is
        // covered by that window, not by the root.
        if (!parsewindowid(envwindow, options.window)) {
            std::cerr << k_program << ": XSCREENSAVER_WINDOW: not a window id: '" << envwindow
                      << "'" << std::endl;
            return 1;
        }
        options.root = false;
    } else if (!options.root) {
        return usageerror("--show, --delay and --sound need --root or --window-id");
    }
    options.on = true;
    return -1;
}

} // namespace vexlor
