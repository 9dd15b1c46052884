// The one window of the program: owns the show and its point list, sets up
// the camera, loads the burst sound, draws each frame (optionally through a
// trail texture) and answers the keys.
#pragma once

#include "app/glutyapi4.h"
#include "firework/evaluate.h"
#include "firework/firework.h"
#include "firework/primitive.h"

#include <epoxy/gl.h>

#include <cstdint>
#include <string>
#include <vector>

namespace vexlor {

class ViewWindow : public winkit::glutyAPI4 {
public:
    ViewWindow(int argc, char** argv);
    ~ViewWindow() override;

    void init() override;
    void reshape(int width, int height) override;
    void display() override;
    void idle() override;
    void keyboard(unsigned char key, int x, int y) override;
    void specialkey(int key, int x, int y) override;
    void specialkeyup(int key, int x, int y) override;

private:
    void loadsound();
    void loadscene();
    void restart();
    void togglepause();
    void step(std::int64_t micros);
    void entertrail();
    void leavetrail();
    void toggleworkarea();

    int m_argc;
    char** m_argv;
    std::string m_basename;
    std::string m_dirname;
    std::vector<primitive_t> m_primitives;
    std::vector<firework_t> m_scene;
    evaluator_t m_evaluator; // what it knows of the scene makes burnt-out stars free
    bool m_paused = false;
    bool m_trail = false;
    GLuint m_framebuffer = 0;
    GLuint m_trailtexture = 0;
    std::uint32_t m_origin = 0;     // clock value at scene time 0
    std::uint32_t m_pausestart = 0; // clock value when the pause began
    std::uint32_t m_now = 0;        // clock value of the current frame
    float m_elapsed = 0.0f;         // scene time, microseconds
};

} // namespace vexlor
