// The viewer's timeline, drawn with Dear ImGui over the show: the show time
// and length, a strip with every shell's launch and burst in its colour, the
// music's waveform and beats under it, a play head, seeking by click or drag,
// and the problem of a save that could not be played. Toggled by Tab; while
// hidden it takes no input at all, so every key and click is the viewer's.
#pragma once

#include "app/glfwymgr4.h"
#include "firework/show.h"
#include "firework/showtiming.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#define GLFW_INCLUDE_NONE
#include <GLFW/glfw3.h>

namespace vexlor {

// Where the strip lies in a window `width` x `height` and which show time a
// column stands for: the strip spans the whole width, 0 at its left edge and
// `length` (whole seconds) at its right, so that a column's time is exact.
struct timelinelayout_t {
    static constexpr float k_height = 170.0f; // the panel, at the window's bottom
    static constexpr float k_text = 24.0f;    // the line of text on top
    static constexpr float k_strip = 70.0f;   // launches above, bursts below
    static constexpr float k_wave = 60.0f;    // the waveform and beat grid
    int width = 0;
    int height = 0;
    double length = 1.0;
    float top() const { return static_cast<float>(height) - k_height; }
    float striptop() const { return top() + k_text; }
    float wavetop() const { return striptop() + k_strip; }
    double timeat(double x) const { return x / width * length; }
    float xat(double t) const { return static_cast<float>(t / length * width); }
};

// The timeline's length for a show: its end (or its last burst when it never
// ends) or its music's end, whichever is later, up to whole seconds.
double timelinelength(const show_t& show, const showtiming_t& timing);

class timeline_t : public winkit::rawinput_t {
public:
    timeline_t() = default;
    ~timeline_t() override { Destroy(); }
    timeline_t(const timeline_t&) = delete;
    timeline_t& operator=(const timeline_t&) = delete;

    // With `window`'s context current. False when ImGui's GL side cannot start.
    bool Init(GLFWwindow* window);
    void Destroy();

    void toggle()
    {
        m_visible = !m_visible;
        m_dragging = false;
    }
    bool visible() const { return m_visible; }

    // A new show: its marks, colours and origins; its music's waveform is
    // read on a thread when the track is another.
    void setshow(const show_t& show, const showtiming_t& timing);

    // Draws over the frame just drawn, at show time `now`: the panel while
    // visible, the problem (if any) always. A click or drag on the strip
    // asks for a move: takeseek() then gives its time.
    void draw(double now, bool paused, const std::string& problem);
    bool takeseek(double& showtime);

    // rawinput_t: the mouse while visible; keys stay the viewer's.
    bool button(GLFWwindow* window, int button, int action, int mods) override;
    bool cursor(GLFWwindow* window, double x, double y) override;
    bool scroll(GLFWwindow* window, double x, double y) override;
    void entered(GLFWwindow* window, int entered) override;
    void focused(GLFWwindow* window, int focused) override;

private:
    struct mark_t {
        float launch = 0.0f;
        float burst = 0.0f;
        std::uint32_t colour = 0; // ImGui's packed RGBA
    };

    void drawpanel(double now, bool paused, const std::string& problem);
    void drawstrip(const timelinelayout_t& layout, double now);
    void drawwave(const timelinelayout_t& layout);
    void hover(const timelinelayout_t& layout);
    void scanmusic(std::string path);
    timelinelayout_t layout(GLFWwindow* window) const;
    void seekat(const timelinelayout_t& layout, double x);

    GLFWwindow* m_window = nullptr;
    bool m_initialised = false;
    bool m_visible = false;
    const show_t* m_show = nullptr;
    std::vector<mark_t> m_marks;
    std::vector<double> m_beats; // show seconds
    double m_length = 1.0;
    double m_offset = 0.0; // the music's, in show seconds
    bool m_seek = false;
    bool m_dragging = false;
    double m_seekto = 0.0;

    // The waveform, read on a thread of its own.
    std::thread m_scanner;
    std::atomic<bool> m_cancel{false};
    std::mutex m_mutex; // guards m_peaks and m_stretch
    std::string m_track; // the music file and when it was written
    std::vector<float> m_peaks;
    double m_stretch = 0.0;
    std::vector<float> m_columns; // the peaks per pixel column, for m_columnsfor
    int m_columnswidth = 0;
    std::size_t m_columnspeaks = 0;
};

} // namespace vexlor
