// vexlor-render's speed: the susuki show to MP4 at 1280x720 and 1920x1080,
// 60 fps (the targets: twice and once real time), and the 100-shell finale at
// 1280x720; the susuki show again in the night look, with water, and with
// motion blur from 4 instants (the target: real time for the night look).
// Counters: seconds of show per second of work, the processor seconds of the
// render and ffmpeg together, the split between evaluation, drawing, reading
// back and encoding, and the C++ allocations made after the first frame.
// The night look's glow and tone map alone at 1280x720 (the target: 3 ms a
// frame on Mesa's software renderer). And an hour's sound track made and
// written: its speed and how much the process grew for it.
#include "firework/sample.h"
#include "glload/glextloader.h"
#include "render/bloom.h"
#include "render/rendertarget.h"
#include "render/tonemap.h"
#include "tests/firework/reference.h"
#include "tools/render/eglcontext.h"
#include "tools/render/renderjob.h"
#include "tools/render/soundtrack.h"

#include <benchmark/benchmark.h>

#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <new>

namespace {

std::atomic<std::size_t> g_allocations{0};
std::atomic<bool> g_counting{false};
std::size_t g_afterfirst = 0;

void onframe(std::size_t k)
{
    // Frame 0 is handed out with frame 1: count from then on.
    if (k == 1) {
        g_allocations = 0;
        g_counting = true;
    }
    g_afterfirst = g_allocations;
}

// Processor seconds of this process (all its threads, the GL driver's
// included) and of its finished children (ffmpeg).
double cpuseconds()
{
    const auto seconds = [](const timeval& t) { return t.tv_sec + t.tv_usec / 1e6; };
    rusage self{}, children{};
    getrusage(RUSAGE_SELF, &self);
    getrusage(RUSAGE_CHILDREN, &children);
    return seconds(self.ru_utime) + seconds(self.ru_stime) + seconds(children.ru_utime) +
           seconds(children.ru_stime);
}

void run(benchmark::State& state, std::vector<vexlor::firework_t> (*make)(), int width, int height,
         const char* look = "plain", int instants = 1)
{
    const std::string out = "/tmp/bench_render-" + std::to_string(getpid()) + ".mp4";
    vexlor::renderoptions_t options;
    options.show = "bench";
    options.output = out;
    options.width = width;
    options.height = height;
    options.quiet = true;
    options.argv0 = "bench_render";
    options.motionblur = instants;
    std::string problem;
    if (!vexlor::parselook(look, options.look, problem)) state.SkipWithError(problem.c_str());
    vexlor::setframehook(onframe);
    vexlor::renderstats_t stats;
    double cpu = 0.0;
    for (auto _ : state) {
        const double before = cpuseconds();
        g_counting = false;
        g_afterfirst = 0;
        if (vexlor::render(options, make(), stats) != 0) state.SkipWithError("render failed");
        g_counting = false;
        cpu = cpuseconds() - before;
    }
    std::filesystem::remove(out);
    const double show = stats.frames / options.fps;
    state.counters["show_s"] = show;
    state.counters["x_realtime"] = stats.seconds > 0 ? show / stats.seconds : 0;
    // On a machine shared with other work the wall clock varies; the
    // processor time of the render and ffmpeg together does much less.
    state.counters["cpu_s"] = cpu;
    state.counters["scan_s"] = stats.scan;
    state.counters["evaluate_s"] = stats.evaluate;
    state.counters["draw_s"] = stats.draw;
    state.counters["readback_s"] = stats.readback;
    state.counters["encode_s"] = stats.encode;
    state.counters["allocs_after_1st"] = static_cast<double>(g_afterfirst);
}

std::vector<vexlor::firework_t> susuki()
{
    std::vector<vexlor::firework_t> scene;
    vexlor::makesusuki(scene);
    return scene;
}

std::vector<vexlor::firework_t> finale()
{
    std::vector<vexlor::firework_t> scene;
    reference::makefinale(scene, 100, 0.5f);
    return scene;
}

void BM_SusukiMp4_1280x720(benchmark::State& state) { run(state, susuki, 1280, 720); }
void BM_SusukiMp4_1920x1080(benchmark::State& state) { run(state, susuki, 1920, 1080); }
void BM_FinaleMp4_1280x720(benchmark::State& state) { run(state, finale, 1280, 720); }
void BM_SusukiNightMp4_1280x720(benchmark::State& state) { run(state, susuki, 1280, 720, "night"); }
void BM_SusukiNightWaterMp4_1280x720(benchmark::State& state) { run(state, susuki, 1280, 720, "night,water"); }
void BM_SusukiNightBlur4Mp4_1280x720(benchmark::State& state) { run(state, susuki, 1280, 720, "night", 4); }

// The glow (three levels, as renders draw it) and the last pass, over a
// frame of light, each frame waited for by reading one pixel back.
void BM_GlowAndToneMap_1280x720(benchmark::State& state)
{
    constexpr int width = 1280, height = 720;
    vexlor::eglcontext_t context;
    std::string message;
    if (!context.Init(message)) {
        state.SkipWithError(message.c_str());
        return;
    }
    glload::gl_extloader_init();
    vexlor::rendertarget_t light, out;
    light.Init(width, height, GL_RGBA32F);
    out.Init(width, height, GL_RGBA8);
    light.Clear(0.2f, 0.1f, 0.05f, 0.0f);
    vexlor::bloom_t bloom;
    bloom.Init();
    bloom.Resize(width, height, 3);
    vexlor::tonemap_t tonemap;
    tonemap.Init();
    const vexlor::showcamera_t camera{};
    const float gains[vexlor::bloom_t::k_mostlevels] = {0.2f, 0.15f, 0.12f};
    unsigned char pixel[4];
    const auto frame = [&] {
        bloom.Draw(light.texture(), gains);
        out.Bind();
        tonemap.Draw(light.texture(), bloom.glow().texture(), {}, camera, geokit::Imtx, width, height);
        glReadPixels(0, 0, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixel);
    };
    frame();
    // The time column is the time a frame.
    for (auto _ : state) frame();
    bloom.Destroy();
    tonemap.Destroy();
    light.Destroy();
    out.Destroy();
}

// Resident size, in MB.
double residentmb()
{
    long pages = 0, resident = 0;
    if (FILE* f = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2) resident = 0;
        std::fclose(f);
    }
    return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1 << 20);
}

// An hour of bursts, two a second, written as the render writes its track.
void BM_SoundtrackHour(benchmark::State& state)
{
    const std::string wav = "/tmp/bench_soundtrack-" + std::to_string(getpid()) + ".wav";
    sndkit::clip_t burst;
    std::string message;
    if (!sndkit::loadclip(BENCH_REVERB_WAV, vexlor::k_soundrate, burst, message)) {
        state.SkipWithError(message.c_str());
        return;
    }
    constexpr std::size_t seconds = 3600;
    double peak = 0.0;
    for (auto _ : state) {
        const double before = residentmb();
        vexlor::soundtrack_t track(seconds * vexlor::k_soundrate);
        for (std::size_t k = 0; k < 2 * seconds; ++k)
            track.add(burst, static_cast<std::int64_t>(k * vexlor::k_soundrate / 2));
        // Sampled as the blocks go by: the largest the process was.
        double most = before;
        std::size_t blocks = 0;
        if (!track.make([&](const float*, std::size_t) {
                if (++blocks % 64 == 0) most = std::max(most, residentmb());
                return true;
            }, message)) {
            state.SkipWithError(message.c_str());
            return;
        }
        peak = std::max(peak, most - before);
    }
    state.counters["x_realtime"] = benchmark::Counter(static_cast<double>(seconds) * state.iterations(),
                                                      benchmark::Counter::kIsRate);
    state.counters["grew_mb"] = peak;
    // The file itself, once: 16-bit PCM through libsndfile.
    vexlor::soundtrack_t track(seconds * vexlor::k_soundrate);
    for (std::size_t k = 0; k < 2 * seconds; ++k)
        track.add(burst, static_cast<std::int64_t>(k * vexlor::k_soundrate / 2));
    const auto start = std::chrono::steady_clock::now();
    if (!track.write(wav, message)) state.SkipWithError(message.c_str());
    state.counters["write_s"] = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::filesystem::remove(wav);
}

} // namespace

BENCHMARK(BM_SoundtrackHour)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();
BENCHMARK(BM_SusukiMp4_1280x720)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();
BENCHMARK(BM_SusukiMp4_1920x1080)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();
BENCHMARK(BM_FinaleMp4_1280x720)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();
BENCHMARK(BM_SusukiNightMp4_1280x720)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();
BENCHMARK(BM_SusukiNightWaterMp4_1280x720)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();
BENCHMARK(BM_SusukiNightBlur4Mp4_1280x720)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();
BENCHMARK(BM_GlowAndToneMap_1280x720)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(3.0);

// Counts the C++ allocations of the render's own code (the GL driver and
// ffmpeg allocate in C, outside these counts).
void* operator new(std::size_t size)
{
    if (g_counting) ++g_allocations;
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }

BENCHMARK_MAIN();
