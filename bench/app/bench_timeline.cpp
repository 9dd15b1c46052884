// The timeline's cost a frame at 1280x720 with the gallery's 1000-shell show:
// ImGui's frame, two thousand marks, the play head and the GL calls that
// draw it, in a hidden GLFW window (a display is needed: Xvfb will do).
// "CPU" is the drawing thread's; with Mesa's software OpenGL it includes
// the vertex work a graphics card would do, the rasteriser's threads not.
#include "app/timeline.h"
#include "firework/showfile.h"
#include "firework/showtiming.h"

#include <benchmark/benchmark.h>
#include <epoxy/gl.h>

#define GLFW_INCLUDE_NONE
#include <GLFW/glfw3.h>

#include <string>
#include <vector>

namespace {

void BM_TimelineFrame(benchmark::State& state, bool visible)
{
    if (!glfwInit()) {
        state.SkipWithError("no display");
        return;
    }
    glfwWindowHint(GLFW_VISIBLE, GLFW_FALSE);
    GLFWwindow* window = glfwCreateWindow(1280, 720, "bench", nullptr, nullptr);
    if (window == nullptr) {
        state.SkipWithError("no window");
        glfwTerminate();
        return;
    }
    glfwMakeContextCurrent(window);
    {
        vexlor::show_t show;
        std::vector<std::string> problems;
        if (!vexlor::readshowfile(SHOWS "/thousand.vexlor.toml", show, problems)) {
            state.SkipWithError("cannot read the show");
            return;
        }
        vexlor::showtiming_t timing;
        timing.analyse(show);
        vexlor::timeline_t timeline;
        if (!timeline.Init(window)) {
            state.SkipWithError("no timeline");
            return;
        }
        timeline.setshow(show, timing);
        if (visible) timeline.toggle();
        double t = 0.0;
        for (auto _ : state) {
            timeline.draw(t, false, "");
            t += 1.0 / 60.0;
            state.PauseTiming();
            glFinish();
            state.ResumeTiming();
        }
        state.counters["shells"] = static_cast<double>(show.shells.size());
        timeline.Destroy();
    }
    glfwDestroyWindow(window);
    glfwTerminate();
}

BENCHMARK_CAPTURE(BM_TimelineFrame, shown, true)->Unit(benchmark::kMicrosecond)->MinTime(2.0);
BENCHMARK_CAPTURE(BM_TimelineFrame, hidden, false)->Unit(benchmark::kMicrosecond)->MinTime(1.0);

} // namespace

BENCHMARK_MAIN();
