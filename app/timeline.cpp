// The timeline's ImGui frame: one borderless panel across the bottom of the
// window, drawn with its draw list (a thousand shells are two thousand
// lines), and a small panel at the top for a save's problem. ImGui's GLFW
// backend is started without its own callbacks: the window manager hands it
// the mouse only while the timeline shows (rawinput_t), so nothing is chained
// behind the manager's back and a hidden timeline takes no input.
#include "app/timeline.h"

#include "audio/trackscan.h"
#include "firework/showbeats.h"

#include <imgui.h>
#include <backends/imgui_impl_glfw.h>
#include <backends/imgui_impl_opengl3.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>

namespace vexlor {

namespace {

// A waveform value every 10 ms: finer than a pixel column of a long show.
constexpr double k_stretch = 0.01;
// How near (pixels) the mouse must be to a mark to name its shell.
constexpr float k_hoverreach = 4.0f;
// Beat lines closer than this (pixels) are thinned to every fourth.
constexpr float k_beatspacing = 4.0f;

const ImU32 k_panel = IM_COL32(12, 12, 20, 215);
const ImU32 k_lane = IM_COL32(28, 28, 40, 255);
const ImU32 k_wave = IM_COL32(110, 150, 200, 255);
const ImU32 k_beat = IM_COL32(230, 200, 90, 110);
const ImU32 k_bar = IM_COL32(230, 200, 90, 200);
const ImU32 k_head = IM_COL32(255, 255, 255, 255);
const ImVec4 k_problem{1.0f, 0.45f, 0.35f, 1.0f};

// The colour a shell shows: the brightest its first star takes (a star may
// fade in from black), else the shell's own.
ImU32 shellcolour(const show_t& show, std::size_t i)
{
    geokit::color3a_t c = show.shells[i].color;
    if (i < show.design.size() && show.design[i] < show.designs.size() && !show.designs[show.design[i]].empty()) {
        float best = -1.0f;
        for (const powder_t& powder : show.designs[show.design[i]].front().powders)
            for (const film_t& film : powder.films)
                for (const geokit::color3a_t& each : {film.from, film.to})
                    if (each.r + each.g + each.b > best) {
                        best = each.r + each.g + each.b;
                        c = each;
                    }
    }
    const auto byte = [](float v) { return static_cast<int>(std::lround(std::clamp(v, 0.0f, 1.0f) * 255.0f)); };
    return IM_COL32(byte(c.r), byte(c.g), byte(c.b), 255);
}

std::string seconds(double t)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.3f s", t);
    return text;
}

} // namespace

double timelinelength(const show_t& show, const showtiming_t& timing)
{
    double last = 0.0;
    for (const shelltimes_t& shell : timing.shells()) {
        last = std::max(last, shell.burst);
        if (std::isfinite(shell.out)) last = std::max(last, static_cast<double>(shell.out));
    }
    if (timing.ends()) last = std::max(last, static_cast<double>(timing.end()));
    if (show.music.seconds > 0.0) last = std::max(last, show.music.offset + show.music.seconds);
    return std::max(1.0, std::ceil(last));
}

bool timeline_t::Init(GLFWwindow* window)
{
    if (m_initialised) return true;
    IMGUI_CHECKVERSION();
    ImGui::CreateContext();
    ImGuiIO& io = ImGui::GetIO();
    io.IniFilename = nullptr; // nothing written beside the user's files
    io.LogFilename = nullptr;
    ImGui::StyleColorsDark();
    if (!ImGui_ImplGlfw_InitForOpenGL(window, false)) {
        ImGui::DestroyContext();
        return false;
    }
    if (!ImGui_ImplOpenGL3_Init("#version 130")) {
        ImGui_ImplGlfw_Shutdown();
        ImGui::DestroyContext();
        return false;
    }
    m_window = window;
    m_initialised = true;
    return true;
}

void timeline_t::Destroy()
{
    m_cancel = true;
    if (m_scanner.joinable()) m_scanner.join();
    if (!m_initialised) return;
    ImGui_ImplOpenGL3_Shutdown();
    ImGui_ImplGlfw_Shutdown();
    ImGui::DestroyContext();
    m_initialised = false;
    m_window = nullptr;
}

void timeline_t::setshow(const show_t& show, const showtiming_t& timing)
{
    m_show = &show;
    m_marks.clear();
    m_marks.reserve(show.shells.size());
    const std::vector<shelltimes_t>& times = timing.shells();
    for (std::size_t i = 0; i < show.shells.size() && i < times.size(); ++i)
        m_marks.push_back({times[i].launch, static_cast<float>(times[i].burst), shellcolour(show, i)});
    m_length = timelinelength(show, timing);
    m_offset = show.music.offset;
    m_beats.clear();
    for (std::size_t k = 1, n = beatcount(show.music); k <= n; ++k) {
        double t = 0.0;
        if (beattime(show.music, static_cast<double>(k), t)) m_beats.push_back(t);
    }
    // The same track saved again is another: its waveform is read again.
    std::string track = show.music.file;
    if (!track.empty()) {
        std::error_code error;
        const auto written = std::filesystem::last_write_time(track, error);
        if (!error) track += "@" + std::to_string(written.time_since_epoch().count());
    }
    if (track != m_track) {
        m_cancel = true;
        if (m_scanner.joinable()) m_scanner.join();
        m_cancel = false;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_peaks.clear();
            m_stretch = 0.0;
        }
        m_track = track;
        m_columnswidth = 0;
        if (!show.music.file.empty()) m_scanner = std::thread(&timeline_t::scanmusic, this, show.music.file);
    }
}

// A track that cannot be read draws no waveform; the music's own voice has
// already said why.
void timeline_t::scanmusic(std::string path)
{
    sndkit::trackscan_t scan;
    sndkit::scanwant_t want;
    want.stretch = k_stretch;
    std::string message;
    if (!sndkit::scantrack(path.c_str(), want, scan, message, [this] { return !m_cancel.load(); })) return;
    std::lock_guard<std::mutex> lock(m_mutex);
    m_peaks = std::move(scan.peaks);
    m_stretch = scan.stretch;
}

bool timeline_t::takeseek(double& showtime)
{
    if (!m_seek) return false;
    m_seek = false;
    showtime = m_seekto;
    return true;
}

void timeline_t::draw(double now, bool paused, const std::string& problem)
{
    if (!m_initialised || (!m_visible && problem.empty())) return;
    ImGui_ImplOpenGL3_NewFrame();
    ImGui_ImplGlfw_NewFrame();
    ImGui::NewFrame();
    if (m_visible) drawpanel(now, paused, problem);
    if (!problem.empty()) {
        ImGui::SetNextWindowPos(ImVec2(8, 8));
        ImGui::SetNextWindowBgAlpha(0.85f);
        ImGui::Begin("problem", nullptr,
                     ImGuiWindowFlags_NoDecoration | ImGuiWindowFlags_AlwaysAutoResize | ImGuiWindowFlags_NoInputs
                         | ImGuiWindowFlags_NoFocusOnAppearing | ImGuiWindowFlags_NoNav);
        ImGui::TextColored(k_problem, "The last save cannot be played; the show before it plays on:");
        ImGui::TextUnformatted(problem.c_str());
        ImGui::End();
    }
    ImGui::Render();
    ImGui_ImplOpenGL3_RenderDrawData(ImGui::GetDrawData());
}

void timeline_t::drawpanel(double now, bool paused, const std::string& problem)
{
    const ImGuiIO& io = ImGui::GetIO();
    timelinelayout_t layout;
    layout.width = static_cast<int>(io.DisplaySize.x);
    layout.height = static_cast<int>(io.DisplaySize.y);
    layout.length = m_length;
    if (layout.width <= 0 || layout.top() < 0.0f) return;

    ImGui::PushStyleVar(ImGuiStyleVar_WindowPadding, ImVec2(0, 0));
    ImGui::PushStyleVar(ImGuiStyleVar_WindowBorderSize, 0.0f);
    ImGui::PushStyleVar(ImGuiStyleVar_WindowRounding, 0.0f);
    ImGui::SetNextWindowPos(ImVec2(0, layout.top()));
    ImGui::SetNextWindowSize(ImVec2(static_cast<float>(layout.width), timelinelayout_t::k_height));
    ImGui::SetNextWindowBgAlpha(0.0f);
    ImGui::Begin("timeline", nullptr,
                 ImGuiWindowFlags_NoDecoration | ImGuiWindowFlags_NoMove | ImGuiWindowFlags_NoSavedSettings
                     | ImGuiWindowFlags_NoNav | ImGuiWindowFlags_NoFocusOnAppearing);
    ImDrawList* list = ImGui::GetWindowDrawList();
    list->AddRectFilled(ImVec2(0, layout.top()), ImVec2(static_cast<float>(layout.width), static_cast<float>(layout.height)),
                        k_panel);

    std::string text = seconds(now) + " of " + seconds(m_length) + (paused ? "   paused" : "");
    ImGui::SetCursorScreenPos(ImVec2(8, layout.top() + 4));
    ImGui::TextUnformatted(text.c_str());
    if (!problem.empty()) {
        ImGui::SameLine(0, 24);
        ImGui::TextColored(k_problem, "%s", problem.c_str());
    }

    // The strip and waveform: seeking is button()'s and cursor()'s.
    ImGui::SetCursorScreenPos(ImVec2(0, layout.striptop()));
    ImGui::InvisibleButton("strip", ImVec2(static_cast<float>(layout.width),
                                           timelinelayout_t::k_strip + timelinelayout_t::k_wave));
    const bool hovered = ImGui::IsItemHovered();
    drawstrip(layout, now);
    drawwave(layout);
    if (hovered) hover(layout);
    ImGui::End();
    ImGui::PopStyleVar(3);
}

void timeline_t::drawstrip(const timelinelayout_t& layout, double now)
{
    ImDrawList* list = ImGui::GetWindowDrawList();
    const float top = layout.striptop(), mid = top + timelinelayout_t::k_strip / 2, bottom = layout.wavetop();
    const auto w = static_cast<float>(layout.width);
    list->AddRectFilled(ImVec2(0, top + 2), ImVec2(w, bottom - 2), k_lane);
    // Launches as thin ticks above the middle, bursts as thicker ticks
    // below: plain rectangles, four vertices each, for thousands of shells.
    list->PrimReserve(12 * static_cast<int>(m_marks.size()), 8 * static_cast<int>(m_marks.size()));
    const ImVec2 white = ImGui::GetFontTexUvWhitePixel();
    for (const mark_t& mark : m_marks) {
        const float xl = std::floor(layout.xat(mark.launch)), xb = std::floor(layout.xat(mark.burst));
        list->PrimRectUV(ImVec2(xl, top + 6), ImVec2(xl + 1, mid - 6), white, white, mark.colour);
        list->PrimRectUV(ImVec2(xb - 1, mid + 2), ImVec2(xb + 1, bottom - 6), white, white, mark.colour);
    }
    const float head = layout.xat(now);
    list->AddLine(ImVec2(head, top), ImVec2(head, static_cast<float>(layout.height)), k_head, 2.0f);
}

void timeline_t::drawwave(const timelinelayout_t& layout)
{
    ImDrawList* list = ImGui::GetWindowDrawList();
    const float top = layout.wavetop(), bottom = top + timelinelayout_t::k_wave;
    const float mid = (top + bottom) / 2, half = (bottom - top) / 2 - 4;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        // The loudest peak of each pixel column, worked out again only when
        // the width or the track changes.
        if (m_stretch > 0.0 && (m_columnswidth != layout.width || m_columnspeaks != m_peaks.size())) {
            m_columns.assign(static_cast<std::size_t>(layout.width), 0.0f);
            for (std::size_t i = 0; i < m_peaks.size(); ++i) {
                const double t = m_offset + static_cast<double>(i) * m_stretch;
                const auto column = static_cast<long>(std::floor(layout.xat(t)));
                if (column >= 0 && column < layout.width)
                    m_columns[static_cast<std::size_t>(column)] =
                        std::max(m_columns[static_cast<std::size_t>(column)], m_peaks[i]);
            }
            m_columnswidth = layout.width;
            m_columnspeaks = m_peaks.size();
        }
    }
    if (m_columnswidth == layout.width)
        for (std::size_t x = 0; x < m_columns.size(); ++x)
            if (m_columns[x] > 0.0f) {
                const float h = std::min(1.0f, m_columns[x]) * half, fx = static_cast<float>(x) + 0.5f;
                list->AddLine(ImVec2(fx, mid - h), ImVec2(fx, mid + h), k_wave);
            }
    // The beat grid; every fourth beat (a bar of four) stronger.
    if (m_beats.size() >= 2) {
        const float spacing = layout.xat(m_beats.back() - m_beats.front()) / static_cast<float>(m_beats.size() - 1);
        const std::size_t every = spacing < k_beatspacing ? 4 : 1;
        for (std::size_t k = 0; k < m_beats.size(); k += every) {
            const float x = layout.xat(m_beats[k]);
            list->AddLine(ImVec2(x, top), ImVec2(x, bottom), k % 4 == 0 ? k_bar : k_beat);
        }
    }
}

// The mark nearest the mouse names its shell: file, line, kind and times.
void timeline_t::hover(const timelinelayout_t& layout)
{
    const ImVec2 mouse = ImGui::GetIO().MousePos;
    if (mouse.y >= layout.wavetop() || m_show == nullptr) return;
    const bool bursts = mouse.y >= layout.striptop() + timelinelayout_t::k_strip / 2;
    std::size_t best = m_marks.size();
    float nearest = k_hoverreach;
    for (std::size_t i = 0; i < m_marks.size(); ++i) {
        const float d = std::fabs(layout.xat(bursts ? m_marks[i].burst : m_marks[i].launch) - mouse.x);
        if (d <= nearest) {
            nearest = d;
            best = i;
        }
    }
    if (best == m_marks.size()) return;
    std::string where = "shell " + std::to_string(best + 1);
    if (const shellorigin_t* origin = originof(*m_show, best)) {
        where = origin->file + (origin->line != 0 ? ":" + std::to_string(origin->line) : std::string()) + ": "
              + origin->kind;
        if (origin->count > 1)
            where += " (repetition " + std::to_string((best - origin->first) / std::max<std::size_t>(origin->each, 1) + 1)
                   + " of " + std::to_string(origin->count) + ")";
    }
    ImGui::BeginTooltip();
    ImGui::TextUnformatted(where.c_str());
    const std::string times =
        "launch " + seconds(m_marks[best].launch) + ", burst " + seconds(m_marks[best].burst);
    ImGui::TextUnformatted(times.c_str());
    beatplace_t place;
    if (m_show && beatat(m_show->music, m_marks[best].burst, place)) {
        char line[64];
        std::snprintf(line, sizeof line, "beat %zu %+.3f s", place.beat, place.off);
        ImGui::TextUnformatted(line);
    }
    ImGui::EndTooltip();
}

timelinelayout_t timeline_t::layout(GLFWwindow* window) const
{
    timelinelayout_t layout;
    glfwGetWindowSize(window, &layout.width, &layout.height);
    layout.length = m_length;
    return layout;
}

// The press itself seeks, and every move while it is held, rather than the
// next ImGui frame: a click's press and release may both come before it.
void timeline_t::seekat(const timelinelayout_t& layout, double x)
{
    m_seek = true;
    m_seekto = layout.timeat(std::clamp(x, 0.0, static_cast<double>(layout.width)));
}

bool timeline_t::button(GLFWwindow* window, int button, int action, int mods)
{
    if (!m_visible || !m_initialised) return false;
    ImGui_ImplGlfw_MouseButtonCallback(window, button, action, mods);
    winkit::glfwyMGR4::instance()->PostRedisplay();
    if (button != GLFW_MOUSE_BUTTON_LEFT) return ImGui::GetIO().WantCaptureMouse;
    if (action == GLFW_RELEASE) {
        const bool was = m_dragging;
        m_dragging = false;
        return was;
    }
    double x = 0.0, y = 0.0;
    glfwGetCursorPos(window, &x, &y);
    const timelinelayout_t where = layout(window);
    if (action == GLFW_PRESS && y >= where.striptop() && y < where.wavetop() + timelinelayout_t::k_wave) {
        m_dragging = true;
        seekat(where, x);
        return true;
    }
    return ImGui::GetIO().WantCaptureMouse;
}

bool timeline_t::cursor(GLFWwindow* window, double x, double)
{
    if (!m_visible || !m_initialised) return false;
    if (m_dragging) seekat(layout(window), x);
    // ImGui reads the cursor itself each frame; a frame must come to see it.
    winkit::glfwyMGR4::instance()->PostRedisplay();
    return m_dragging || ImGui::GetIO().WantCaptureMouse;
}

bool timeline_t::scroll(GLFWwindow* window, double x, double y)
{
    if (!m_visible || !m_initialised) return false;
    ImGui_ImplGlfw_ScrollCallback(window, x, y);
    return ImGui::GetIO().WantCaptureMouse;
}

void timeline_t::entered(GLFWwindow* window, int entered)
{
    if (m_initialised) ImGui_ImplGlfw_CursorEnterCallback(window, entered);
}

void timeline_t::focused(GLFWwindow* window, int focused)
{
    if (m_initialised) ImGui_ImplGlfw_WindowFocusCallback(window, focused);
}

} // namespace vexlor
