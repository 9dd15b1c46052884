// Option parsing and checking; sizes as WxH, times in seconds.
#include "tools/render/options.h"

#include "firework/valueranges.h"
#include "tools/render/framesink.h"
#include "tools/render/showframe.h"
#include "tools/render/showsource.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <regex>

namespace vexlor {
namespace {

constexpr int k_largestside = 16384;
// The largest frame in all: a cinema's 8K (8192x4320). Its buffers take a
// few hundred megabytes; 16384 on both sides would take gigabytes.
constexpr long k_mostpixels = 8192L * 4320L;
// Frames a second: from a slide show's one to a slow-motion camera's thousand.
constexpr double k_leastfps = 1.0;
constexpr double k_mostfps = 1000.0;
// As many chunks as a directory holds frames: one frame each at most.
constexpr int k_mostchunks = static_cast<int>(k_mostframefiles);

// "1920x1080": two whole numbers from 1 to 16384, at most 8K in all.
std::string readsize(const std::string& text, int& width, int& height)
{
    static const std::regex form("([0-9]{1,6})[xX]([0-9]{1,6})");
    std::smatch match;
    if (!std::regex_match(text, match, form)) return "--size " + text + ": not of the form WxH, such as 1920x1080";
    width = std::stoi(match[1]);
    height = std::stoi(match[2]);
    if (width < 1 || height < 1 || width > k_largestside || height > k_largestside)
        return "--size " + text + ": each side must be from 1 to " + std::to_string(k_largestside);
    if (static_cast<long>(width) * height > k_mostpixels)
        return "--size " + text + ": at most " + std::to_string(k_mostpixels) + " pixels in all (8192x4320)";
    return {};
}

// A number as the messages write it.
std::string text(double value)
{
    char line[32];
    std::snprintf(line, sizeof line, "%g", value);
    return line;
}

// The whole text one number, read the C way (the locale is C here anyway).
bool readwhole(const std::string& text, int& value)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return !text.empty() && error == std::errc() && end == text.data() + text.size();
}

bool readnumber(const std::string& text, double& value)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return !text.empty() && error == std::errc() && end == text.data() + text.size() && std::isfinite(value);
}

// "K/N": chunk K (from 1) of N.
std::string readchunk(const std::string& text, int& chunk, int& chunks)
{
    const auto slash = text.find('/');
    if (slash == std::string::npos || !readwhole(text.substr(0, slash), chunk) ||
        !readwhole(text.substr(slash + 1), chunks))
        return "--chunk " + text + ": not of the form K/N, such as 2/8";
    if (chunks < 1 || chunks > k_mostchunks)
        return "--chunk " + text + ": N must be from 1 to " + std::to_string(k_mostchunks);
    if (chunk < 1 || chunk > chunks) return "--chunk " + text + ": K must be from 1 to N (" + std::to_string(chunks) + ")";
    return {};
}

bool endswith(const std::string& text, const std::string& tail)
{
    return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

std::string shownames()
{
    std::string text;
    for (const auto& name : builtinshows()) text += (text.empty() ? "" : ", ") + name;
    return text;
}

} // namespace

int parseoptions(int argc, char** argv, renderoptions_t& options)
{
    CLI::App app{"Renders a fireworks show to a video file or to PNG frames, with its sound, "
                 "without a window.\nSHOW is a show file, a scene file or a built-in show (" + shownames() + ").",
                 "vexlor-render"};
    app.get_formatter()->column_width(22);
    std::string size = "1920x1080";
    double fps = 60.0;
    double from = 0.0;
    double to = -1.0;
    app.add_option("SHOW", options.show, "show file, scene file or built-in show")->required();
    app.add_option("-o,--output", options.output,
                   "OUT.mp4 (H.264, AAC), OUT.webm (VP9, Opus) or DIR/ (PNG frames and sound.wav)");
    app.add_option("--size", size, "frame size WxH")->default_str("1920x1080");
    app.add_option("--fps", fps, "frames a second")->default_str("60");
    app.add_option("--from", from, "first frame's scene time, seconds")->default_str("0");
    auto* toopt = app.add_option("--to", to, "end of the render, seconds (default: when nothing is left to draw)");
    app.add_flag("--trails", options.trails, "leave trails, as if Shift were held");
    std::string look, motionblur = "1", shutter = "0.5";
    auto* lookopt = app.add_option("--look", look,
                                   "plain or night, then settings after commas: water, wind=X:Y:Z (m/s), "
                                   "sky=night|dusk, horizon=skyline|hills, smoke=false, glow=G (0 to 4); "
                                   "over the show file's [look]")
                        ->type_name("LOOK");
    app.add_option("--motion-blur", motionblur, "draw each frame from N instants over the shutter's interval (1 to " +
                                                    std::to_string(k_mostinstants) + "; 1: none)")
        ->type_name("N")
        ->default_str("1");
    app.add_option("--shutter", shutter, "how long the shutter is open, a fraction of a frame's time (above 0, at "
                                         "most 1)")
        ->type_name("F")
        ->default_str("0.5");
    std::string chunk;
    auto* chunkopt = app.add_option("--chunk", chunk,
                                    "render only the K-th of N equal spans of the frames, video only, for "
                                    "joining with the others (PNG frames keep their numbers)")
                         ->type_name("K/N");
    app.add_flag("--sound-only", options.soundonly,
                 "write only the whole render's sound track: to OUT.wav, or DIR/sound.wav");
    app.add_flag("--list-inputs", options.listinputs,
                 "print the files the show reads (the show file, its scene files, its music), one a line, "
                 "and render nothing");
    app.add_flag("-q,--quiet", options.quiet, "no progress line");
    app.set_version_flag("--version", std::string("vexlor-render ") + VEXLOR_VERSION);

    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForVersion& e) {
        return app.exit(e);
    } catch (const CLI::ParseError& e) {
        std::cerr << "vexlor-render: " << e.what() << " (try --help)" << std::endl;
        return 2;
    }

    const auto usage = [](const std::string& problem) {
        std::cerr << "vexlor-render: " << problem << " (try --help)" << std::endl;
        return 2;
    };
    options.argv0 = argv[0];
    // With an output named, its options are checked before the list.
    if (options.listinputs && options.output.empty()) return -1;
    if (options.output.empty()) return usage("-o,--output is required");
    if (const std::string problem = readsize(size, options.width, options.height); !problem.empty())
        return usage(problem);
    // Every time lies within a show's span, where the frames' float times
    // still step by well under a frame (see firework/valueranges.h).
    if (!(fps >= k_leastfps && fps <= k_mostfps))
        return usage("--fps " + app.get_option("--fps")->as<std::string>() + ": must be from " + text(k_leastfps) +
                     " to " + text(k_mostfps) + " frames a second");
    if (!(from >= 0.0 && from <= maxshowtime))
        return usage("--from " + app.get_option("--from")->as<std::string>() + ": must be from 0 to " +
                     text(maxshowtime) + " seconds");
    if (toopt->count() > 0) {
        if (!std::isfinite(to) || to <= from) return usage("--to: must come after --from");
        if (to - from > k_longestrender)
            return usage("--to: a render spans at most " + std::to_string(int(k_longestrender)) + " s");
    }
    if (lookopt->count() > 0) {
        std::string problem;
        if (!parselook(look, options.look, problem)) return usage("--look " + look + ": " + problem);
    }
    if (!readwhole(motionblur, options.motionblur) || options.motionblur < 1 || options.motionblur > k_mostinstants)
        return usage("--motion-blur " + motionblur + ": must be a whole number from 1 to " +
                     std::to_string(k_mostinstants));
    if (!readnumber(shutter, options.shutter) || !(options.shutter > 0.0) || options.shutter > 1.0)
        return usage("--shutter " + shutter + ": must be a number above 0 and at most 1 (a fraction of a frame's time)");
    if (chunkopt->count() > 0) {
        if (const std::string problem = readchunk(chunk, options.chunk, options.chunks); !problem.empty())
            return usage(problem);
        if (options.soundonly) return usage("--chunk and --sound-only: a chunk is video only; render the sound once");
        if (options.trails) return usage("--chunk and --trails: a frame with trails holds the frames before it");
    }
    const outputkind_t kind = outputkind(options.output);
    if (options.soundonly) {
        if (kind != outputkind_t::directory && !endswith(options.output, ".wav"))
            return usage(options.output + ": --sound-only writes a .wav file, or sound.wav in a directory ending in /");
    } else if (kind == outputkind_t::none)
        return usage(options.output + ": unknown kind of output (name a .mp4 or .webm file, or a directory ending in /)");
    if (kind == outputkind_t::directory && toopt->count() > 0 && std::ceil((to - from) * fps) > k_mostframefiles)
        return usage(options.output + ": a directory holds at most " + std::to_string(k_mostframefiles) +
                     " frames; choose a lower --fps or a shorter span");
    if (kind != outputkind_t::directory && !options.soundonly && (options.width % 2 != 0 || options.height % 2 != 0))
        return usage("--size " + size + ": H.264 and VP9 video need an even width and height");
    options.fps = fps;
    options.from = from;
    options.to = toopt->count() > 0 ? to : -1.0;
    options.argv0 = argv[0];
    return -1;
}

} // namespace vexlor
