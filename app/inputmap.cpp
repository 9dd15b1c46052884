// Key translation: a keypad with Num Lock off, Shift/Caps Lock letter case,
// Control masking; keypad 5 maps to 255 on purpose, a code no handler binds.
#include "app/inputmap.h"

#include <cctype>

namespace winkit {
namespace {

constexpr int k_shift = 0x01;
constexpr int k_control = 0x02;
constexpr int k_capslock = 0x10;

struct mapping_t {
    int key;
    int code;
    bool special;
};

constexpr mapping_t k_table[] = {
    {256, 27, false},  // Escape
    {257, 13, false},  // Enter
    {335, 13, false},  // keypad Enter
    {258, 9, false},   // Tab
    {259, 8, false},   // Backspace
    {320, 260, true},  // keypad 0 -> Insert
    {321, 269, true},  // keypad 1 -> End
    {322, 264, true},  // keypad 2 -> Down
    {323, 267, true},  // keypad 3 -> Page Down
    {324, 263, true},  // keypad 4 -> Left
    {325, 255, true},  // keypad 5
    {326, 262, true},  // keypad 6 -> Right
    {327, 268, true},  // keypad 7 -> Home
    {328, 265, true},  // keypad 8 -> Up
    {329, 266, true},  // keypad 9 -> Page Up
    {330, 46, false},  // keypad decimal
    {331, 47, false},  // keypad divide
    {332, 42, false},  // keypad multiply
    {333, 45, false},  // keypad subtract
    {334, 43, false},  // keypad add
    {336, 61, false},  // keypad equal
};

} // namespace

keycode_t translatekey(int key, int mods)
{
    keycode_t result{key, key >= 128};
    for (const auto& m : k_table) {
        if (m.key == key) {
            result = {m.code, m.special};
            break;
        }
    }
    if (result.special) return result;

    const bool shift = (mods & k_shift) != 0;
    const bool caps = (mods & k_capslock) != 0;
    if (shift == caps) result.code = std::tolower(result.code);
    if (mods & k_control) result.code &= 31;
    result.code &= 0xff;
    return result;
}

buttonevent_t translatebutton(int button, int action)
{
    if (button < 3) {
        static constexpr int k_glut[] = {0, 2, 1};
        return {buttonevent_t::button, k_glut[button], action == 1 ? 0 : 1};
    }
    if (action != 1) return {buttonevent_t::none, 0, 0};
    return {buttonevent_t::wheel, (button - 3) / 2, (button % 2) ? +1 : -1};
}

int wheeldirection(double yoffset)
{
    return yoffset < 0 ? -1 : (yoffset > 0 ? +1 : 0);
}

} // namespace winkit
