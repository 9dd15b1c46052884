// Frame times of the evaluation (the susuki show and a 100-shell finale, with
// the plain step-by-step evaluation beside for scale), the susuki maker,
// saving, checking and loading the susuki scene file, and the strict reader's
// time and peak memory on large scene files against the scene's own memory.
// VEXLOR_BENCH_SCENE=FILE adds that file (bench/app's makefinale writes the
// 100-shell finale) to the memory benchmark. Then the show files of
// the gallery: reading, building and preparing them, their memory and their
// busiest frames on one and two threads; and what `vexlor-scene info` works
// out from the model: a show's end and busiest frame, for the gallery's
// 1000-shell show and for a hundred thousand susuki shells.
#include "firework/evaluate.h"
#include "firework/loadsave.h"
#include "firework/sample.h"
#include "firework/scenecheck.h"
#include "firework/scenereader.h"
#include "firework/showfile.h"
#include "firework/showtiming.h"
#include "tests/firework/reference.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <malloc.h>
#include <string>
#include <unistd.h>
#include <vector>

using namespace vexlor;

namespace {

const std::vector<firework_t>& susuki()
{
    static const std::vector<firework_t> scene = [] {
        std::vector<firework_t> s;
        makesusuki(s);
        return s;
    }();
    return scene;
}

// One susuki shell every half second, 100 of them: about 500 MB of scene.
const std::vector<firework_t>& finale()
{
    static const std::vector<firework_t> scene = [] {
        std::vector<firework_t> s;
        reference::makefinale(s, 100, 0.5f);
        return s;
    }();
    return scene;
}

std::uint64_t filesize(const std::string& path)
{
    std::ifstream is(path, std::ios::binary | std::ios::ate);
    return is ? static_cast<std::uint64_t>(is.tellg()) : 0;
}

// Times are given in milliseconds as benchmark arguments.
float seconds(const benchmark::State& state)
{
    return static_cast<float>(state.range(0)) / 1000.0f;
}

void frame(benchmark::State& state, const std::vector<firework_t>& original)
{
    std::vector<firework_t> scene = original;
    evaluator_t evaluator;
    std::vector<primitive_t> points;
    points.reserve(primitivecount(scene));
    const soundfunc_t silent = [](std::size_t, sound_t) {};
    const float t = seconds(state);
    evaluator.evaluate(scene, t, points, silent); // prepares the limits
    for (auto _ : state) {
        evaluator.evaluate(scene, t, points, silent);
        benchmark::DoNotOptimize(points.data());
    }
    state.counters["points"] = static_cast<double>(points.size());
}

void plainframe(benchmark::State& state, const std::vector<firework_t>& original)
{
    std::vector<firework_t> scene = original;
    std::vector<primitive_t> points;
    points.reserve(primitivecount(scene));
    reference::sounds_t sounds;
    const float t = seconds(state);
    for (auto _ : state) {
        reference::evaluate(scene, t, points, sounds);
        benchmark::DoNotOptimize(points.data());
    }
    state.counters["points"] = static_cast<double>(points.size());
}

void BM_SusukiFrame(benchmark::State& state) { frame(state, susuki()); }
void BM_SusukiFramePlain(benchmark::State& state) { plainframe(state, susuki()); }
void BM_FinaleFrame(benchmark::State& state) { frame(state, finale()); }
void BM_FinaleFramePlain(benchmark::State& state) { plainframe(state, finale()); }

// Rising, just after the burst, full trails, the last sparks.
BENCHMARK(BM_SusukiFrame)->Arg(1000)->Arg(2050)->Arg(7000)->Arg(12200)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SusukiFramePlain)->Arg(1000)->Arg(2050)->Arg(7000)->Arg(12200)->Unit(benchmark::kMicrosecond);
// Early, busiest stretch, most shells burnt out, all burnt out.
BENCHMARK(BM_FinaleFrame)
    ->Arg(5000)->Arg(14000)->Arg(30000)->Arg(49500)->Arg(58000)->Arg(61000)->Arg(70000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FinaleFramePlain)->Arg(14000)->Arg(30000)->Arg(58000)->Unit(benchmark::kMillisecond);

// The one-time derivation of the limits, done on the first frame of a scene.
void BM_PrepareFinale(benchmark::State& state)
{
    evaluator_t evaluator;
    for (auto _ : state)
        evaluator.prepare(finale());
}
BENCHMARK(BM_PrepareFinale)->Unit(benchmark::kMillisecond);

void BM_MakeSusuki(benchmark::State& state)
{
    for (auto _ : state) {
        std::vector<firework_t> scene;
        makesusuki(scene);
        benchmark::DoNotOptimize(scene.data());
    }
}
BENCHMARK(BM_MakeSusuki)->Unit(benchmark::kMillisecond);

std::string susukifile()
{
    static const std::string path = [] {
        const std::string p = "/tmp/bench_firework_" + std::to_string(getpid()) + ".scene";
        save(p.c_str(), susuki());
        return p;
    }();
    return path;
}

void BM_SaveSusuki(benchmark::State& state)
{
    const std::string path = susukifile();
    for (auto _ : state)
        benchmark::DoNotOptimize(save(path.c_str(), susuki()));
}
BENCHMARK(BM_SaveSusuki)->Unit(benchmark::kMillisecond);

void BM_CheckSusuki(benchmark::State& state)
{
    const std::string path = susukifile();
    std::string message;
    for (auto _ : state)
        benchmark::DoNotOptimize(check(path.c_str(), message));
}
BENCHMARK(BM_CheckSusuki)->Unit(benchmark::kMillisecond);

void BM_LoadSusuki(benchmark::State& state)
{
    const std::string path = susukifile();
    std::vector<firework_t> scene;
    for (auto _ : state)
        benchmark::DoNotOptimize(load(path.c_str(), scene));
}
BENCHMARK(BM_LoadSusuki)->Unit(benchmark::kMillisecond);

void BM_ReadSusuki(benchmark::State& state)
{
    const std::string path = susukifile();
    std::vector<firework_t> scene;
    std::string message;
    for (auto _ : state)
        benchmark::DoNotOptimize(readscene(path.c_str(), scene, message));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(filesize(path)));
}
BENCHMARK(BM_ReadSusuki)->Unit(benchmark::kMillisecond);

// A kilobyte figure of this process from /proc/self/status ("VmRSS:", "VmHWM:").
double statuskb(const char* key)
{
    std::ifstream is("/proc/self/status");
    std::string word;
    while (is >> word)
        if (word == key) {
            double kb = 0;
            is >> kb;
            return kb;
        }
    return 0;
}

struct figures_t {
    bool ok;
    double seconds;
    double peak;  // most resident bytes while reading, above the start
    double rss;   // resident bytes of the scene once read
    double heap;  // bytes the allocator handed out for the scene
};

// One read, measured inside a fresh process (this program run with
// "--measure-read"), so that no memory freed earlier is reused and the peak
// is the read's own.
int measureread(const char* how, const char* path)
{
    std::ofstream("/proc/self/clear_refs") << "5"; // the peak starts from here
    const double base = statuskb("VmRSS:");
    const std::size_t heap = mallinfo2().uordblks;
    const auto start = std::chrono::steady_clock::now();
    std::vector<firework_t> scene;
    std::string message;
    figures_t f{};
    f.ok = std::string(how) == "strict" ? readscene(path, scene, message) : load(path, scene);
    f.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    f.peak = (statuskb("VmHWM:") - base) * 1024.0;
    f.rss = (statuskb("VmRSS:") - base) * 1024.0;
    f.heap = static_cast<double>(mallinfo2().uordblks - heap);
    std::printf("%d %.9g %.9g %.9g %.9g\n", f.ok ? 1 : 0, f.seconds, f.peak, f.rss, f.heap);
    return 0;
}

figures_t measure(const std::string& path, bool strict)
{
    const std::string command = "/proc/" + std::to_string(getpid()) + "/exe --measure-read "
                              + (strict ? "strict " : "load ") + path;
    figures_t f{};
    if (FILE* child = popen(command.c_str(), "r")) {
        int ok = 0;
        if (std::fscanf(child, "%d %lf %lf %lf %lf", &ok, &f.seconds, &f.peak, &f.rss, &f.heap) != 5)
            ok = 0;
        f.ok = ok == 1;
        pclose(child);
    }
    return f;
}

// The finale's first `shells` shells as a scene file, written once.
std::string finalefile(std::size_t shells)
{
    const std::string path = "/tmp/bench_firework_" + std::to_string(getpid()) + "_" + std::to_string(shells) + ".scene";
    if (access(path.c_str(), R_OK) != 0) {
        std::vector<firework_t> scene;
        reference::makefinale(scene, shells, 0.5f);
        save(path.c_str(), scene);
    }
    return path;
}

void memory(benchmark::State& state, const std::string& path, bool strict)
{
    figures_t f{};
    for (auto _ : state) {
        f = measure(path, strict);
        state.SetIterationTime(f.seconds);
    }
    if (!f.ok)
        state.SkipWithError(("cannot read " + path).c_str());
    state.counters["file_MB"] = static_cast<double>(filesize(path)) / 1e6;
    state.counters["peak_MB"] = f.peak / 1e6;
    state.counters["scene_rss_MB"] = f.rss / 1e6;
    state.counters["scene_heap_MB"] = f.heap / 1e6;
    state.counters["peak_per_scene"] = f.rss > 0 ? f.peak / f.rss : 0.0;
}

// Read by the strict reader and, for scale, by the lenient load.
void BM_ReadFinalePeak(benchmark::State& state) { memory(state, finalefile(static_cast<std::size_t>(state.range(0))), true); }
void BM_LoadFinalePeak(benchmark::State& state) { memory(state, finalefile(static_cast<std::size_t>(state.range(0))), false); }
BENCHMARK(BM_ReadFinalePeak)->Arg(1)->Arg(10)->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LoadFinalePeak)->Arg(10)->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);
// Show files: read, built (each design made once) and prepared, as the viewer would.
show_t readshow(const char* name)
{
    show_t show;
    std::vector<std::string> problems;
    const std::string path = std::string(SHOWS) + "/" + name;
    if (!readshowfile(path.c_str(), show, problems))
        std::fprintf(stderr, "%s\n", problems.empty() ? path.c_str() : problems.front().c_str());
    return show;
}

void openshowfile(benchmark::State& state, const char* name)
{
    std::size_t bytes = 0;
    for (auto _ : state) {
        show_t show = readshow(name);
        evaluator_t evaluator;
        evaluator.prepare(show);
        bytes = showbytes(show);
        benchmark::DoNotOptimize(show.shells.data());
    }
    state.counters["sceneMB"] = static_cast<double>(bytes) / 1048576.0;
}

// 100000 shells of one built-in show repeated, as `vexlor-scene check`
// reads them: 4347 random shows and 20000 mini exhibitions. Each entry's show
// is made once and shared by its repetitions (it took 4.5 s and 9.9 s when
// every repetition was made anew).
void repeatedbuiltin(benchmark::State& state, const std::string& text)
{
    std::size_t shells = 0;
    for (auto _ : state) {
        show_t show;
        std::vector<std::string> problems;
        if (!readshowtext(text, "repeated.toml", show, problems))
            state.SkipWithError(problems.front().c_str());
        shells = show.shells.size();
        benchmark::DoNotOptimize(show.shells.data());
    }
    state.counters["shells"] = static_cast<double>(shells);
}
void BM_ReadRandomRepeated(benchmark::State& state)
{
    repeatedbuiltin(state, "[[shell]]\nkind = \"random\"\ntime = 0\ncount = 4347\ninterval = 0.1\n");
}
void BM_ReadMiniExhibitionRepeated(benchmark::State& state)
{
    repeatedbuiltin(state, "[[shell]]\nkind = \"miniexhibition\"\ntime = 0\ncount = 20000\ninterval = 0.5\n");
}
BENCHMARK(BM_ReadRandomRepeated)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadMiniExhibitionRepeated)->Unit(benchmark::kMillisecond);

void BM_OpenFinaleShow(benchmark::State& state) { openshowfile(state, "finale.vexlor.toml"); }
void BM_OpenThousandShow(benchmark::State& state) { openshowfile(state, "thousand.vexlor.toml"); }
BENCHMARK(BM_OpenFinaleShow)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OpenThousandShow)->Unit(benchmark::kMillisecond);

// A loaded scene shared by content: the 100-shell finale settles at one design.
void BM_ShareFinaleScene(benchmark::State& state)
{
    std::size_t bytes = 0;
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<firework_t> scene = finale();
        state.ResumeTiming();
        const show_t show = sharescene(std::move(scene));
        bytes = showbytes(show);
    }
    state.counters["sceneMB"] = static_cast<double>(bytes) / 1048576.0;
}
BENCHMARK(BM_ShareFinaleScene)->Iterations(2)->Unit(benchmark::kMillisecond);

// Arguments: the time in milliseconds and the number of threads.
void showframe(benchmark::State& state, const char* name)
{
    show_t show = readshow(name);
    evaluator_t evaluator;
    evaluator.setthreads(static_cast<unsigned>(state.range(1)));
    std::vector<primitive_t> points;
    const soundfunc_t silent = [](std::size_t, sound_t) {};
    const float t = seconds(state);
    evaluator.evaluate(show, t, points, silent); // prepares, and warms the buffers
    for (auto _ : state) {
        evaluator.evaluate(show, t, points, silent);
        benchmark::DoNotOptimize(points.data());
    }
    state.counters["points"] = static_cast<double>(points.size());
}

void BM_FinaleShowFrame(benchmark::State& state) { showframe(state, "finale.vexlor.toml"); }
void BM_ThousandShowFrame(benchmark::State& state) { showframe(state, "thousand.vexlor.toml"); }
// The finale's busiest stretch, as BM_FinaleFrame; the thousand's busiest frame (21.9 s) and others.
BENCHMARK(BM_FinaleShowFrame)->Args({14000, 1})->Args({30000, 1})->Args({30000, 2})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ThousandShowFrame)
    ->Args({21900, 1})->Args({21900, 2})->Args({40000, 1})->Args({40000, 2})
    ->Unit(benchmark::kMillisecond)->UseRealTime();

// The show's timing from its designs and launch times: its end, and its
// busiest frame at 60 frames a second (vexlor-scene info's figures, and the
// size refusal's).
void timing(benchmark::State& state, const show_t& show)
{
    busiest_t busiest;
    float end = 0.0f;
    for (auto _ : state) {
        showtiming_t timing;
        timing.analyse(show);
        busiest = timing.busiest(show);
        end = timing.end();
    }
    state.counters["end_s"] = static_cast<double>(end);
    state.counters["points"] = static_cast<double>(busiest.points);
}

void BM_ThousandShowTiming(benchmark::State& state) { timing(state, readshow("thousand.vexlor.toml")); }
// The size refusal's worst case: 100000 susuki shells, at once (arg 0) or a
// tenth of a second apart (arg 100).
void BM_HundredThousandShellsTiming(benchmark::State& state)
{
    std::vector<firework_t> one;
    makesusuki(one);
    show_t show = sharescene(std::move(one));
    show.shells.resize(100000, show.shells.front());
    show.design.resize(100000, 0);
    for (std::size_t i = 0; i < show.shells.size(); ++i)
        show.shells[i].time = static_cast<float>(i) * static_cast<float>(state.range(0)) / 1000.0f;
    timing(state, show);
}
BENCHMARK(BM_ThousandShowTiming)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_HundredThousandShellsTiming)->Arg(0)->Arg(100)->Unit(benchmark::kMillisecond);

// The effects library at real size: the gallery, and 1000 shells of mixed
// real effects (every kind in turn, six calibres from 75 to 200 mm, nine
// colours: 234 different shells), one every 0.2 s along a 200 m line.
std::string mixedeffects()
{
    static const char* const kinds[] = {"peony", "chrysanthemum", "dahlia", "willow", "palm", "ring", "crossette",
                                        "strobe", "crackle", "multibreak", "comet", "mine", "cake"};
    static const char* const colours[] = {"red", "orange", "yellow", "green", "blue", "purple", "gold", "silver", "white"};
    std::string text;
    for (int i = 0; i < 1000; ++i) {
        char entry[256];
        std::snprintf(entry, sizeof entry,
                      "[[shell]]\nkind = \"%s\"\ntime = %d.%d\ncalibre = %d\ncolor = \"%s\"\nposition = [%d, 0, 0]\n",
                      kinds[i % 13], i / 5, 2 * (i % 5), 75 + 25 * (i % 6), colours[i % 9], (i % 21) * 10 - 100);
        text += entry;
    }
    return text;
}

show_t readeffects(const char* which)
{
    show_t show;
    std::vector<std::string> problems;
    if (std::string(which) == "mixed") {
        if (!readshowtext(mixedeffects(), "mixed-effects.toml", show, problems))
            std::fprintf(stderr, "%s\n", problems.front().c_str());
        return show;
    }
    return readshow(which);
}

// Read, built and prepared as a program does before its first frame: the
// evaluator's limits, the show's end and its busiest frame.
void openeffects(benchmark::State& state, const char* which)
{
    const std::string text = std::string(which) == "mixed" ? mixedeffects() : std::string();
    std::size_t bytes = 0, designs = 0, shells = 0;
    for (auto _ : state) {
        show_t show;
        std::vector<std::string> problems;
        const bool read = text.empty() ? readshowfile((std::string(SHOWS) + "/" + which).c_str(), show, problems)
                                       : readshowtext(text, "mixed-effects.toml", show, problems);
        if (!read) {
            state.SkipWithError(problems.front().c_str());
            break;
        }
        evaluator_t evaluator;
        evaluator.prepare(show);
        showtiming_t timing;
        timing.analyse(show);
        benchmark::DoNotOptimize(timing.busiest(show));
        bytes = showbytes(show);
        designs = show.designs.size();
        shells = show.shells.size();
    }
    state.counters["shells"] = static_cast<double>(shells);
    state.counters["designs"] = static_cast<double>(designs);
    state.counters["showMB"] = static_cast<double>(bytes) / 1048576.0;
}
void BM_OpenEffectsGallery(benchmark::State& state) { openeffects(state, "effects.vexlor.toml"); }
void BM_OpenMixedEffects(benchmark::State& state) { openeffects(state, "mixed"); }
BENCHMARK(BM_OpenEffectsGallery)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OpenMixedEffects)->Unit(benchmark::kMillisecond);

// The busiest frame (found by the show's timing) on 1 and 2 threads.
void effectsframe(benchmark::State& state, const char* which)
{
    show_t show = readeffects(which);
    showtiming_t timing;
    timing.analyse(show);
    const busiest_t busiest = timing.busiest(show);
    evaluator_t evaluator;
    evaluator.setthreads(static_cast<unsigned>(state.range(0)));
    evaluator.reserve(busiest.points);
    std::vector<primitive_t> points;
    points.reserve(busiest.points);
    const auto t = static_cast<float>(busiest.at);
    evaluator.points(show, t, points);
    for (auto _ : state) {
        evaluator.points(show, t, points);
        benchmark::DoNotOptimize(points.data());
    }
    state.counters["points"] = static_cast<double>(points.size());
    state.counters["at_s"] = busiest.at;
}
void BM_EffectsGalleryBusiestFrame(benchmark::State& state) { effectsframe(state, "effects.vexlor.toml"); }
void BM_MixedEffectsBusiestFrame(benchmark::State& state) { effectsframe(state, "mixed"); }
void BM_SuiteBusiestFrame(benchmark::State& state) { effectsframe(state, "suite.vexlor.toml"); }
BENCHMARK(BM_EffectsGalleryBusiestFrame)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_MixedEffectsBusiestFrame)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_SuiteBusiestFrame)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

int main(int argc, char** argv)
{
    if (argc == 4 && std::string(argv[1]) == "--measure-read")
        return measureread(argv[2], argv[3]);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    if (const char* scene = std::getenv("VEXLOR_BENCH_SCENE")) {
        const std::string path = scene;
        benchmark::RegisterBenchmark("BM_ReadScenePeak", [path](benchmark::State& state) { memory(state, path, true); })
            ->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::remove(susukifile().c_str());
    for (std::size_t shells : {1, 10})
        std::remove(("/tmp/bench_firework_" + std::to_string(getpid()) + "_" + std::to_string(shells) + ".scene").c_str());
    return 0;
}
