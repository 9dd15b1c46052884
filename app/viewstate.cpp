// The viewer's process-wide state and the camera set-up shared by the frame
// and the keys.
#include "app/viewstate.h"

#include "utils/mmtime.h"

namespace vexlor {
namespace view {

draw_t draw;
texture_t texture;
sndkit::wave_t* wave = nullptr;

geokit::rotation3_t m_rot{-90.0f, {1.0f, 0.0f, 0.0f}};
geokit::rotation3_t m_inv{90.0f, {1.0f, 0.0f, 0.0f}};
geokit::position3_t m_pos{0.0f, -5.0f, -100.0f};
geokit::matrix3w_t mtx;
geokit::matrix3w_t inv;
geokit::matrix3w_t modelmtx;
geokit::matrix3w_t projmtx;

int polyoffsetfactor = 0;
int polyoffsetunit = 0;
int width = 0;
int height = 0;
bool fullscreen = true;
int winwidth = 0;
int winheight = 0;
int winx = 0;
int winy = 0;

void camerasetup()
{
    m_rot = {-90.0f, {1.0f, 0.0f, 0.0f}};
    m_inv = {90.0f, {1.0f, 0.0f, 0.0f}};
    m_pos = {0.0f, -1010.0f, -100.0f};

    mtx = geokit::getRotateMatrix(m_rot);
    mtx.m[12] = m_pos.x;
    mtx.m[13] = m_pos.y;
    mtx.m[14] = m_pos.z;
    mtx.m[15] = 1.0f;

    // inv = T(-m_pos) x R(m_inv), row by column.
    geokit::matrix3w_t translate = geokit::Imtx;
    translate.m[12] = -m_pos.x;
    translate.m[13] = -m_pos.y;
    translate.m[14] = -m_pos.z;
    const geokit::matrix3w_t rotate = geokit::getRotateMatrix(m_inv);
    for (int row = 0; row < 4; ++row) {
        for (int col = 0; col < 4; ++col) {
            float sum = 0.0f;
            for (int k = 0; k < 4; ++k) sum += translate.m[4 * row + k] * rotate.m[4 * k + col];
            inv.m[4 * row + col] = sum;
        }
    }
    modelmtx = mtx;
}

void toworkarea(GLFWwindow* window)
{
    int ax = 0, ay = 0, aw = 0, ah = 0;
    glfwGetWindowSize(window, &winwidth, &winheight);
    glfwGetWindowPos(window, &winx, &winy);
    glfwGetMonitorWorkarea(glfwGetPrimaryMonitor(), &ax, &ay, &aw, &ah);
    glfwSetWindowPos(window, 0, 0);
    glfwSetWindowSize(window, aw, ah);
}

std::uint32_t clockmicros()
{
    return basekit::timeGetTime() * 1000u;
}

} // namespace view

} // namespace vexlor
