// Key translation: a keypad with Num Lock off, Shift/Caps Lock letter case,
// Control masking; keypad 5 maps to 255 on purpose, a code no handler binds.
#include "app/inputmap.h"

#include <cctype>

namespace winkit {
namespace {

struct mapping_t {
    int key;
    int code;
    bool special;
};

// The keypad reads as with Num Lock off: its digits are the keys printed
// beside them.
constexpr mapping_t k_table[] = {
    {GLFW_KEY_ESCAPE, key_escape, false},
    {GLFW_KEY_ENTER, key_enter, false},
    {GLFW_KEY_KP_ENTER, key_enter, false},
    {GLFW_KEY_TAB, key_tab, false},
    {GLFW_KEY_BACKSPACE, key_backspace, false},
    {GLFW_KEY_KP_0, GLFW_KEY_INSERT, true},
    {GLFW_KEY_KP_1, GLFW_KEY_END, true},
    {GLFW_KEY_KP_2, GLFW_KEY_DOWN, true},
    {GLFW_KEY_KP_3, GLFW_KEY_PAGE_DOWN, true},
    {GLFW_KEY_KP_4, GLFW_KEY_LEFT, true},
    {GLFW_KEY_KP_5, key_keypadcentre, true},
    {GLFW_KEY_KP_6, GLFW_KEY_RIGHT, true},
    {GLFW_KEY_KP_7, GLFW_KEY_HOME, true},
    {GLFW_KEY_KP_8, GLFW_KEY_UP, true},
    {GLFW_KEY_KP_9, GLFW_KEY_PAGE_UP, true},
    {GLFW_KEY_KP_DECIMAL, '.', false},
    {GLFW_KEY_KP_DIVIDE, '/', false},
    {GLFW_KEY_KP_MULTIPLY, '*', false},
    {GLFW_KEY_KP_SUBTRACT, '-', false},
    {GLFW_KEY_KP_ADD, '+', false},
    {GLFW_KEY_KP_EQUAL, '=', false},
};

// Codes below it are characters; GLFW's named keys start above it.
constexpr int k_firstspecial = 128;

} // namespace

keycode_t translatekey(int key, int mods)
{
    keycode_t result{key, key >= k_firstspecial};
    for (const auto& m : k_table) {
        if (m.key == key) {
            result = {m.code, m.special};
            break;
        }
    }
    if (result.special) return result;

    const bool shift = (mods & GLFW_MOD_SHIFT) != 0;
    const bool caps = (mods & GLFW_MOD_CAPS_LOCK) != 0;
    if (shift == caps) result.code = std::tolower(result.code);
    // Control+letter is the letter's control character: its low five bits.
    if (mods & GLFW_MOD_CONTROL) result.code &= 0x1f;
    result.code &= 0xff;
    return result;
}

namespace {

// GLUT's buttons and states.
constexpr int k_glutleft = 0;
constexpr int k_glutmiddle = 1;
constexpr int k_glutright = 2;
constexpr int k_glutdown = 0;
constexpr int k_glutup = 1;
// GLFW's buttons past the middle one are the wheel's steps, in pairs.
constexpr int k_firstwheel = GLFW_MOUSE_BUTTON_4;

} // namespace

buttonevent_t translatebutton(int button, int action)
{
    if (button < k_firstwheel) {
        const int glut = button == GLFW_MOUSE_BUTTON_LEFT    ? k_glutleft
                         : button == GLFW_MOUSE_BUTTON_RIGHT ? k_glutright
                                                             : k_glutmiddle;
        return {buttonevent_t::button, glut, action == GLFW_PRESS ? k_glutdown : k_glutup};
    }
    if (action != GLFW_PRESS) return {buttonevent_t::none, 0, 0};
    const int step = button - k_firstwheel;
    return {buttonevent_t::wheel, step / 2, step % 2 == 0 ? +1 : -1};
}

int wheeldirection(double yoffset)
{
    return yoffset < 0 ? -1 : (yoffset > 0 ? +1 : 0);
}

} // namespace winkit
