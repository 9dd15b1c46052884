// GLFW keys, buttons and wheel offsets to GLUT-style events, and frame pacing.
#include "app/framepacer.h"
#include "app/inputmap.h"

#include <gtest/gtest.h>

namespace {

using winkit::translatekey;

constexpr int shift = 0x01, control = 0x02, capslock = 0x10;

TEST(InputMap, LetterCaseFollowsShiftAndCapsLock)
{
    // GLFW reports letters in upper case ('A' = 65).
    EXPECT_EQ(translatekey('A', 0).code, 'a');
    EXPECT_EQ(translatekey('A', shift).code, 'A');
    EXPECT_EQ(translatekey('A', capslock).code, 'A');
    EXPECT_EQ(translatekey('A', shift | capslock).code, 'a');
    EXPECT_FALSE(translatekey('A', shift).special);
    // Control masks with 31 after the case rule: Control+a is 1, Shift too.
    EXPECT_EQ(translatekey('A', control).code, 1);
    EXPECT_EQ(translatekey('A', control | shift).code, 1);
    // Shift+8 stays '8': the shifted symbol is not synthesised.
    EXPECT_EQ(translatekey('8', shift).code, '8');
    EXPECT_EQ(translatekey('Q', 0).code, 'q');
    EXPECT_EQ(translatekey('Q', shift).code, 'Q');
    EXPECT_EQ(translatekey(' ', 0).code, ' ');
}

TEST(InputMap, NamedAndKeypadKeys)
{
    struct {
        int key;
        int code;
        bool special;
    } const cases[] = {
        {256, 27, false},  {335, 13, false}, {259, 8, false},  // Escape, keypad Enter, Backspace
        {324, 263, true},  {320, 260, true}, {325, 255, true}, // keypad 4 = Left, 0 = Insert, 5
        {332, '*', false}, {336, '=', false},                  // keypad multiply, equal
        {263, 263, true},  {340, 340, true}, {290, 290, true}, // Left, Left Shift, F1 kept
    };
    for (const auto& c : cases) {
        const auto k = translatekey(c.key, 0);
        EXPECT_EQ(k.code, c.code) << c.key;
        EXPECT_EQ(k.special, c.special) << c.key;
    }
    // Keypad 4 is the Left arrow; modifiers never change special keys.
    EXPECT_EQ(translatekey(324, shift | control).code, 263);
    // Control applies to translated characters too: Escape & 31 = 27.
    EXPECT_EQ(translatekey(256, control).code, 27);
    EXPECT_EQ(translatekey(334, control).code, '+' & 31);
}

TEST(InputMap, ButtonsAndWheel)
{
    using winkit::buttonevent_t;
    const auto left = winkit::translatebutton(0, 1);
    EXPECT_EQ(left.kind, buttonevent_t::button);
    EXPECT_EQ(left.a, 0);
    EXPECT_EQ(left.b, 0);
    const auto right = winkit::translatebutton(1, 0);
    EXPECT_EQ(right.a, 2);
    EXPECT_EQ(right.b, 1);
    EXPECT_EQ(winkit::translatebutton(2, 1).a, 1);

    // Buttons 3 and up: presses are wheel steps, releases are dropped.
    const auto b3 = winkit::translatebutton(3, 1);
    EXPECT_EQ(b3.kind, buttonevent_t::wheel);
    EXPECT_EQ(b3.a, 0);
    EXPECT_EQ(b3.b, +1);
    const auto b4 = winkit::translatebutton(4, 1);
    EXPECT_EQ(b4.a, 0);
    EXPECT_EQ(b4.b, -1);
    const auto b6 = winkit::translatebutton(6, 1);
    EXPECT_EQ(b6.a, 1);
    EXPECT_EQ(b6.b, -1);
    EXPECT_EQ(winkit::translatebutton(3, 0).kind, buttonevent_t::none);

    EXPECT_EQ(winkit::wheeldirection(0.5), +1);
    EXPECT_EQ(winkit::wheeldirection(-3.0), -1);
    EXPECT_EQ(winkit::wheeldirection(0.0), 0);
}

TEST(FramePacer, EarlyFramesWaitLateFramesDoNot)
{
    using namespace std::chrono;
    winkit::framepacer_t pacer;
    pacer.setrate(0);
    const auto period = pacer.period();
    EXPECT_NEAR(duration<double>(period).count(), 1.0 / 60, 1e-6) << "unknown rate means 60 Hz";
    pacer.setrate(50);
    EXPECT_NEAR(duration<double>(pacer.period()).count(), 0.02, 1e-6);

    const auto t0 = steady_clock::time_point{} + seconds(100);
    EXPECT_EQ(pacer.next(t0), steady_clock::duration::zero()) << "the first frame never waits";
    // A frame that took 5 ms waits the other 15.
    EXPECT_EQ(pacer.next(t0 + milliseconds(5)), milliseconds(15));
    // Measured from the end of that wait (t0 + 20 ms): 3 ms of work, 17 to wait.
    EXPECT_EQ(pacer.next(t0 + milliseconds(23)), milliseconds(17));
    // A late frame (the next was due at t0 + 60 ms) does not wait, nor does
    // it let the following ones catch up.
    EXPECT_EQ(pacer.next(t0 + milliseconds(90)), steady_clock::duration::zero());
    EXPECT_EQ(pacer.next(t0 + milliseconds(91)), milliseconds(19));
}

} // namespace
