// GLFW input to GLUT-style keys, buttons and wheel steps. Pure functions, so
// the tables are tested without a window.
#pragma once

#define GLFW_INCLUDE_NONE
#include <GLFW/glfw3.h>

namespace winkit {

// The character codes keys become, as a GLUT-style handler sees them.
constexpr unsigned char key_backspace = 8;
constexpr unsigned char key_tab = 9;
constexpr unsigned char key_enter = 13;
constexpr unsigned char key_escape = 27;
constexpr unsigned char key_space = ' ';
// The code keypad 5 becomes with Num Lock off: no handler binds it.
constexpr int key_keypadcentre = 255;

struct keycode_t {
    int code;     // character code (0..255) or special key code
    bool special; // true: goes to specialkey / specialkeyup
};

// Translates a GLFW key with its modifier bits (GLFW_MOD_SHIFT,
// GLFW_MOD_CONTROL, GLFW_MOD_CAPS_LOCK).
keycode_t translatekey(int key, int mods);

struct buttonevent_t {
    enum kind_t { none, button, wheel } kind;
    int a; // GLUT button, or wheel number
    int b; // GLUT state (0 press, 1 release), or wheel direction
};

// Buttons 0..2 become GLUT buttons (left 0, right 2, middle 1); buttons 3 and
// up are wheel steps, presses only.
buttonevent_t translatebutton(int button, int action);

// -1, 0 or +1 from a scroll callback's vertical offset.
int wheeldirection(double yoffset);

} // namespace winkit
