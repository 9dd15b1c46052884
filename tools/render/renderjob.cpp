// The render's stages in order. Nothing is allocated per frame once the
// first frame is out: the point list, the GL buffers and the sink's row
// tables are sized before.
#include "tools/render/renderjob.h"

#include "audio/trackscan.h"
#include "firework/openshow.h"
#include "firework/showfile.h"
#include "firework/showrunner.h"
#include "glload/glextloader.h"
#include "render/frame.h"
#include "render/pgmshdr.h"
#include "tools/render/eglcontext.h"
#include "tools/render/framesink.h"
#include "tools/render/offscreen.h"
#include "tools/render/showframe.h"
#include "firework/smoke.h"
#include "tools/render/soundtrack.h"
#include "utils/datapath.h"

#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <system_error>

namespace vexlor {
namespace {

constexpr const char* k_program = "vexlor-render";
constexpr int k_stopped = 130;

volatile std::sig_atomic_t g_stop = 0;
framehook_t g_hook = nullptr;

using steady = std::chrono::steady_clock;

double since(steady::time_point start)
{
    return std::chrono::duration<double>(steady::now() - start).count();
}

int fail(const std::string& message)
{
    std::cerr << k_program << ": " << message << std::endl;
    return 1;
}

std::string clocktext(double seconds)
{
    const long whole = std::lround(seconds);
    char text[32];
    std::snprintf(text, sizeof text, "%ld:%02ld", whole / 60, whole % 60);
    return text;
}

// "frame 120/735  58.3 fps  0:10 left", rewritten in place.
class progress_t {
public:
    progress_t(bool shown, std::size_t total) : m_shown(shown), m_total(total) {}
    void update(std::size_t done, double elapsed)
    {
        if (!m_shown || (elapsed - m_last < 0.25 && done != m_total)) return;
        m_last = elapsed;
        const double rate = elapsed > 0 ? done / elapsed : 0.0;
        const double left = rate > 0 ? (m_total - done) / rate : 0.0;
        std::fprintf(stderr, "\r%s: frame %zu/%zu  %.1f fps  %s left  ", k_program, done, m_total, rate,
                     clocktext(left).c_str());
        std::fflush(stderr);
        m_drawn = true;
    }
    void clear()
    {
        if (m_drawn) std::fputs("\r\033[K", stderr);
        m_drawn = false;
    }

private:
    bool m_shown;
    std::size_t m_total;
    double m_last = -1.0;
    bool m_drawn = false;
};

// The whole track alone, written under a temporary name beside the output
// and renamed into place when complete; a directory gets "sound.wav".
bool writesoundonly(const std::string& output, soundtrack_t& track, std::string& message)
{
    namespace fs = std::filesystem;
    const bool folder = outputkind(output) == outputkind_t::directory;
    const fs::path written = writtenpath(output);
    std::error_code ec;
    if (folder) fs::create_directories(written, ec);
    if (ec) {
        message = output + ": cannot write there (" + ec.message() + ")";
        return false;
    }
    const fs::path target = folder ? written / "sound.wav" : written;
    if (fs::is_directory(target, ec)) {
        message = target.string() + ": is a directory";
        return false;
    }
    const fs::path dir = target.has_parent_path() ? target.parent_path() : fs::path(".");
    const fs::path partial = dir / partialname(dir.string(), target.filename().string(), ".wav");
    if (!track.write(partial.string(), message)) {
        fs::remove(partial, ec);
        return false;
    }
    fs::rename(partial, target, ec);
    if (ec) {
        fs::remove(partial, ec);
        message = target.string() + ": " + ec.message();
        return false;
    }
    return true;
}

} // namespace

chunkspan_t chunkof(std::size_t frames, int chunk, int chunks)
{
    // Boundaries at floor(k * frames / chunks): every frame in exactly one
    // chunk, the chunks' sizes a frame apart at most. A render's frames
    // (an hour at 1000 fps) times a chunk number fit in 64 bits.
    const auto boundary = [&](int k) {
        return static_cast<std::size_t>(static_cast<std::uint64_t>(frames) * static_cast<std::uint64_t>(k) /
                                        static_cast<std::uint64_t>(chunks));
    };
    const std::size_t first = boundary(chunk - 1);
    return {first, boundary(chunk) - first};
}

void stoprender()
{
    g_stop = 1;
}

void setframehook(framehook_t hook)
{
    g_hook = hook;
}

int render(const renderoptions_t& options, renderstats_t& stats)
{
    show_t show;
    std::string message;
    // A scene file's problem is told as the checker words it: FILE:LINE: what.
    // A signal cancels the read of a large file within a chunk.
    if (!openshow(options.show, show, message, [](std::uint64_t, std::uint64_t) { return g_stop == 0; },
                  sndkit::readtrack)) {
        if (g_stop) {
            std::cerr << k_program << ": stopped; " << options.output << " was not written" << std::endl;
            return k_stopped;
        }
        std::cerr << message << std::endl;
        return 1;
    }
    if (options.listinputs) {
        // Absolute, so that a copy elsewhere can keep their places relative
        // to each other. A built-in show reads no file.
        namespace fs = std::filesystem;
        std::error_code ec;
        std::vector<std::string> files;
        if (fs::exists(options.show, ec)) files.push_back(options.show);
        files.insert(files.end(), show.scenefiles.begin(), show.scenefiles.end());
        if (!show.music.file.empty()) files.push_back(show.music.file);
        for (const std::string& file : files) std::cout << fs::absolute(file, ec).string() << '\n';
        std::cout.flush();
        return std::cout ? 0 : fail("cannot write the list of files");
    }
    return render(options, std::move(show), stats);
}

int render(const renderoptions_t& options, std::vector<firework_t> scene, renderstats_t& stats)
{
    return render(options, sharescene(std::move(scene)), stats);
}

int render(const renderoptions_t& options, show_t scene, renderstats_t& stats)
{
    const auto start = steady::now();
    stats = renderstats_t{};
    std::string message;

    showrunner_t runner;
    const music_t music = scene.music;
    runner.load(std::move(scene));

    std::unique_ptr<framesink_t> sink;
    const auto stopped = [&] {
        if (sink) sink->abandon();
        std::cerr << k_program << ": stopped; " << options.output << " was not written" << std::endl;
        return k_stopped;
    };
    const auto stopping = [] { return g_stop != 0; };

    // Frames and sounds from the model, before anything is drawn: a span asked
    // for is rendered even when empty; without one, up to the show's end.
    const renderspan_t span = runner.renderspan(options.from, options.to, options.fps);
    if (g_stop) return stopped();
    char from[32];
    std::snprintf(from, sizeof from, "%g", options.from);
    const bool bounded = options.to > options.from;
    if (!bounded && (!runner.timing().ends() || static_cast<double>(runner.end()) - options.from > k_longestrender))
        return fail(options.show + ": the show runs longer than " + std::to_string(int(k_longestrender)) +
                    " s; choose an end with --to");
    if (!bounded && span.frames == 0) return fail(options.show + ": nothing to draw from " + from + " s on");
    if (!options.soundonly && outputkind(options.output) == outputkind_t::directory && span.frames > k_mostframefiles)
        return fail(options.output + ": " + std::to_string(span.frames) + " frames; a directory holds at most " +
                    std::to_string(k_mostframefiles) + " (choose a lower --fps or a shorter span)");
    const chunkspan_t part = options.chunks > 0 ? chunkof(span.frames, options.chunk, options.chunks)
                                                : chunkspan_t{0, span.frames};
    if (options.chunks > 0 && part.frames == 0)
        return fail(options.show + ": chunk " + std::to_string(options.chunk) + "/" + std::to_string(options.chunks) +
                    " holds no frames: the render has " + std::to_string(span.frames) + "; choose at most " +
                    std::to_string(span.frames) + " chunks");
    const std::size_t frames = part.frames;
    const std::size_t largest =
        frames == 0 ? 0
                    : runner.timing()
                          .busiest(runner.show(), span.fps, span.at(part.first), span.at(part.first + frames - 1))
                          .points;

    const sinkformat_t format{options.width, options.height, options.fps, options.chunks > 0, part.first};
    if (!options.soundonly) {
        sink = makesink(options.output, format, message);
        if (!sink) return fail(message);
    }

    // Each clip the show sounds, read once.
    const std::vector<rendersound_t> sounds = runner.rendersounds(span);
    std::array<sndkit::clip_t, soundclips> clips;
    std::array<bool, soundclips> loaded{};
    for (const rendersound_t& sound : sounds) {
        const auto clip = static_cast<std::size_t>(sound.clip);
        if (loaded[clip]) continue;
        const std::string soundpath = basekit::finddata(soundfile(sound.clip), options.argv0.c_str());
        if (!sndkit::loadclip(soundpath, k_soundrate, clips[clip], message)) return fail(message);
        loaded[clip] = true;
    }
    // As long as the span, whatever its frames: the track ends where the span does.
    soundtrack_t track(static_cast<std::size_t>(std::llround(span.seconds * k_soundrate)));
    track.stopwhen(stopping);
    for (const rendersound_t& sound : sounds)
        track.add(clips[static_cast<std::size_t>(sound.clip)], std::llround((sound.time - options.from) * k_soundrate));
    if (!music.file.empty() && !track.music(music.file, music.offset, music.gain, options.from, message))
        return fail(musicproblem(music, message));
    stats.scan = since(start);
    if (g_stop) return stopped();
    if (options.soundonly) {
        if (!writesoundonly(options.output, track, message)) return g_stop ? stopped() : fail(message);
        stats.scan = stats.seconds = since(start);
        char summary[160];
        std::snprintf(summary, sizeof summary, "the sound track of %zu %s, %.2f s, in %.1f s", span.frames,
                      span.frames == 1 ? "frame" : "frames", span.seconds, stats.seconds);
        std::cerr << k_program << ": " << options.output << ": " << summary << std::endl;
        return 0;
    }

    eglcontext_t context;
    if (!context.Init(message)) return fail(message);
    glload::gl_extloader_init();
    offscreen_t target;
    if (!target.Init(options.width, options.height, sink->wantsyuv(), message))
        return fail(options.output + ": " + message);
    frame_t frame;
    // The model knows the busiest frame: nothing grows while rendering.
    frame.Init(largest);
    // The driver's log is out already; without shaders every frame would be grey.
    if (shaderfailed()) return fail("the shaders did not build; nothing was written");
    frame.SetView(runner.show().camera);
    frame.Reshape(options.width, options.height);
    // The command line's look over the show's; renders draw it in full.
    const look_t look = chooselook(runner.show().look, options.look);
    frame.SetLook(look);
    if (options.trails) frame.EnterTrail();

    // The track is made as it is written, a block at a time.
    const auto mixing = steady::now();
    const bool begun = sink->begin([&track](const std::string& path, std::string& problem) {
        return track.write(path, problem);
    }, message);
    stats.scan += since(mixing);
    if (g_stop) return stopped();
    if (!begun) return fail(message);

    std::vector<primitive_t> points;
    points.reserve(largest);
    smoke_t smoke;
    std::vector<primitive_t> puffs;
    if (look.night() && look.smoke) {
        smoke.prepare(runner.show(), look.wind);
        puffs.reserve(smoke_t::k_mostbursts * smoke_t::k_puffsperburst);
    }
    framesource_t source{runner, smoke, points, puffs};
    const shutter_t shutter{options.motionblur, options.shutter / options.fps};
    progress_t progress(!options.quiet && isatty(STDERR_FILENO), frames);

    const auto handout = [&](const unsigned char* pixels) {
        const auto begin = steady::now();
        const bool ok = pixels && sink->frame(pixels, message);
        stats.encode += since(begin);
        if (!pixels) message = "cannot read the frame back from GL";
        return ok;
    };

    const auto drawing = steady::now();
    bool ok = true;
    for (std::size_t k = 0; k < frames && ok; ++k) {
        if (g_stop) break;
        auto begin = steady::now();
        const double evaluating =
            drawshowframe(source, frame, span.at(part.first + k), shutter, target.framebuffer());
        stats.evaluate += evaluating;
        stats.draw += since(begin) - evaluating;

        // The frame before this one is handed out while this one draws.
        begin = steady::now();
        target.Read();
        const unsigned char* previous = target.MapPrevious();
        stats.readback += since(begin);
        if (k > 0) ok = handout(previous);
        target.Unmap();
        if (ok) {
            stats.frames = k;
            if (g_hook) g_hook(k);
        }
        progress.update(k, since(drawing));
    }
    if (ok && !g_stop && frames > 0) {
        auto begin = steady::now();
        const unsigned char* last = target.MapLatest();
        stats.readback += since(begin);
        ok = handout(last);
        target.Unmap();
    }
    if (ok && !g_stop) {
        stats.frames = frames;
        progress.update(frames, since(drawing));
    }
    progress.clear();

    if (g_stop) return stopped();
    if (ok) {
        const auto begin = steady::now();
        ok = sink->finish(message);
        stats.encode += since(begin);
    }
    if (g_stop) return stopped(); // while ffmpeg was finishing
    if (!ok) {
        sink->abandon();
        return fail(message);
    }
    stats.seconds = since(start);

    const double length = options.chunks > 0 ? static_cast<double>(frames) / options.fps : span.seconds;
    char summary[256];
    char chunk[64] = "";
    if (options.chunks > 0)
        std::snprintf(chunk, sizeof chunk, " (chunk %d/%d from frame %zu)", options.chunk, options.chunks,
                      part.first);
    std::snprintf(summary, sizeof summary, "%zu %s%s, %.2f s of show at %dx%d, %g fps, in %.1f s (%.1f fps)",
                  frames, frames == 1 ? "frame" : "frames", chunk, length, options.width, options.height, options.fps, stats.seconds,
                  stats.seconds > 0 ? frames / stats.seconds : 0.0);
    std::cerr << k_program << ": " << options.output << ": " << summary << std::endl;
    return 0;
}

} // namespace vexlor
