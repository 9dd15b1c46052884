// A hidden GLFW window with GLFW's default context, for tests that need GL.
// Run such tests under tests/support/with-xvfb.
#pragma once

#include "glload/keepdriver.h"

#define GLFW_INCLUDE_NONE
#include <GLFW/glfw3.h>

namespace testsupport {

class glcontext {
public:
    glcontext(int width = 64, int height = 64)
    {
        if (!glfwInit()) return;
        glfwWindowHint(GLFW_VISIBLE, GLFW_FALSE);
        m_window = glfwCreateWindow(width, height, "test", nullptr, nullptr);
        if (!m_window) return;
        glfwMakeContextCurrent(m_window);
        glload::keepdriverloaded();
    }
    ~glcontext()
    {
        if (m_window) glfwDestroyWindow(m_window);
        glfwTerminate();
    }
    glcontext(const glcontext&) = delete;
    glcontext& operator=(const glcontext&) = delete;

    bool ok() const { return m_window != nullptr; }
    GLFWwindow* window() const { return m_window; }

private:
    GLFWwindow* m_window = nullptr;
};

} // namespace testsupport
