// vexlor-render's speed: the susuki show to MP4 at 1280x720 and 1920x1080,
// 60 fps (the targets: twice and once real time), and the 100-shell finale at
// 1280x720. Counters: seconds of show per second of work, the processor
// seconds of the render and ffmpeg together, the split between
// evaluation, drawing, reading back and encoding, and the C++ allocations
// made after the first frame. And an hour's sound track made and written:
// its speed and how much the process grew for it.
#include "firework/sample.h"
#include "tests/firework/reference.h"
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

void run(benchmark::State& state, std::vector<vexlor::firework_t> (*make)(), int width, int height)
{
    const std::string out = "/tmp/bench_render-" + std::to_string(getpid()) + ".mp4";
    vexlor::renderoptions_t options;
    options.show = "bench";
    options.output = out;
    options.width = width;
    options.height = height;
    options.quiet = true;
    options.argv0 = "bench_render";
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
