// GLFW input to GLUT-style keys, buttons and wheel steps. Pure functions, so
// the tables are tested without a window.
#pragma once

namespace winkit {

struct keycode_t {
    int code;     // character code (0..255) or special key code
    bool special; // true: goes to specialkey / specialkeyup
};

// Translates a GLFW key with its modifier bits (Shift 0x01, Control 0x02,
// Caps Lock 0x10).
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
