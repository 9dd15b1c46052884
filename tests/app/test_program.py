#!/usr/bin/env python3
"""The vexlor program itself, for real: a private Xvfb (1280x720), Mesa's
software OpenGL, the sound recorded by SDL's disk driver, keys through
xdotool, screenshots read back.

The binaries come from VEXLOR_BIN and VEXLOR_SCENE_BIN (CTest sets both).
The show's clock is the wall clock, so times are measured as intervals
between events, with room for a slow first frame.
"""
import os
import signal
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from vexlorrun import HEIGHT, WIDTH, Program  # noqa: E402

BIN = os.environ.get("VEXLOR_BIN", "build/bin/vexlor")
# Where the README's pictures are written, when set.
PICTURES = os.environ.get("VEXLOR_PICTURES")
SCENE_BIN = os.environ.get("VEXLOR_SCENE_BIN", "build/bin/vexlor-scene")

# The background is glClearColor(0.18, 0.18, 0.18): 0.18 * 255 = 45.9.
BACKGROUND = range(45, 47)
BRIGHT = 120  # well above the background, below the sparks' colours


def sleep_until(t):
    delay = t - time.monotonic()
    if delay > 0:
        time.sleep(delay)


def own(text):
    """The program's own lines: SDL logs its driver choices as "INFO: ..." and
    "CRITICAL: ..." (the disk driver warns that it writes a file)."""
    return "".join(line for line in text.splitlines(keepends=True)
                   if not line.startswith(("INFO: ", "CRITICAL: ", "WARN: ")))


def differing(a, b):
    """Bytes that differ between two screenshots."""
    return sum(1 for x, y in zip(a.rgb, b.rgb) if x != y)


class ShowRun(unittest.TestCase):
    """The default show, untouched: window, picture, sound, restart, close."""

    def test_show_runs_loops_and_closes(self):
        p = Program(BIN)
        try:
            self.assertIsNotNone(p.wait_window(), p.stderr())
            # The window goes to the monitor's work area: the whole screen here.
            self.assertEqual(p.wait_geometry((0, 0, WIDTH, HEIGHT)), (0, 0, WIDTH, HEIGHT))

            if PICTURES:
                sleep_until(p.started + 2.7)
                p.save_screenshot(os.path.join(PICTURES, "show.png"))

            # The shell bursts 2 s after launch; 1.3 s later its stars are out.
            sleep_until(p.started + 3.6)
            picture = p.screenshot()
            background = picture.most_common()
            for channel in background:
                self.assertIn(channel, BACKGROUND, background)
            self.assertGreater(picture.count_brighter(BRIGHT), 200, "no sparks after the burst")

            # The last spark dies 12.25 s after launch; the show then starts again.
            sleep_until(p.started + 17.0)
            p.close_window()
            self.assertEqual(p.wait(10), 0, "closing the window ends the program with 0")
            p.recording.stop()

            values, _ = p.recording.frames()
            self.assertGreater(len(values), 48000, "nothing recorded")
            peak = max(abs(v) for v in values)
            self.assertTrue(0.01 < peak <= 1.5, f"not float samples or silent: peak {peak}")

            onsets = p.recording.onsets()
            self.assertGreaterEqual(len(onsets), 4, f"onsets at {onsets}")
            first = onsets[0]
            relative = [round(t - first, 2) for t in onsets[:4]]
            for got, want in zip(relative, [0.0, 2.0, 12.25, 14.25]):
                self.assertAlmostEqual(got, want, delta=0.25, msg=f"sounds at {relative}")

            self.assertNotIn("error:", p.stderr())
            self.assertNotIn("Error", p.stderr())
        finally:
            p.close()


class Keys(unittest.TestCase):
    """Every key of the viewer on one run of the default show."""

    def test_keys(self):
        p = Program(BIN)
        try:
            self.assertIsNotNone(p.wait_window(), p.stderr())
            self.assertTrue(p.focus())
            sleep_until(p.started + 3.0)

            # Space freezes the picture.
            p.key("space")
            time.sleep(0.3)
            frozen = p.screenshot()
            time.sleep(0.4)
            still = p.screenshot()
            self.assertEqual(differing(frozen, still), 0, "the paused picture moved")

            # Right moves the paused scene a second on, Left a second back; the
            # scene stays paused at the time the step leads to. (The first step
            # starts from the time of the key press, a frame after the picture.)
            def step(key):
                p.key(key)
                time.sleep(0.3)
                return p.screenshot()

            ahead, behind = step("Right"), step("Left")
            ahead2, behind2 = step("Right"), step("Left")
            moved = differing(ahead, behind)
            self.assertGreater(moved, 1000, "Right/Left did not move the paused scene")
            self.assertLess(differing(ahead, ahead2), moved / 5, "Right went elsewhere")
            self.assertLess(differing(behind, behind2), moved / 5, "Left went elsewhere")
            time.sleep(0.3)
            self.assertEqual(differing(behind2, p.screenshot()), 0, "stepping ended the pause")

            # Space resumes.
            p.key("space")
            time.sleep(0.3)
            a = p.screenshot()
            time.sleep(0.3)
            self.assertGreater(differing(a, p.screenshot()), 1000, "the show did not resume")

            # The four polygon-offset keys print their counters.
            p.key("KP_Multiply", "KP_Multiply", "KP_Divide", "KP_Add", "KP_Subtract",
                  "KP_Subtract")
            time.sleep(0.3)
            self.assertEqual(p.stdout().splitlines()[-6:], [
                "polyoffsetfactor: 1", "polyoffsetfactor: 2", "polyoffsetfactor: 1",
                "polyoffsetunit: 1", "polyoffsetunit: 0", "polyoffsetunit: -1"])

            # "f" leaves the work-area size for the window's own 640 x 480, and back.
            _, _, w, h = p.geometry()
            self.assertEqual((w, h), (WIDTH, HEIGHT))
            p.key("f")
            self.assertEqual(p.wait_geometry((0, 0, 640, 480))[2:], (640, 480))
            p.key("f")
            self.assertEqual(p.wait_geometry((0, 0, WIDTH, HEIGHT)), (0, 0, WIDTH, HEIGHT))

            # Enter restarts: only the rising shell is left, and it sounds again.
            time.sleep(0.5)
            left, _, right, _ = p.screenshot().bright_box(BRIGHT)
            self.assertGreater(right - left, 200, "the stars should be spread out by now")
            sound_before = len(p.recording.onsets())
            restarted = time.monotonic()
            p.key("Return")
            time.sleep(0.6)
            left, top, right, bottom = p.screenshot().bright_box(BRIGHT)
            self.assertLess(max(right - left, bottom - top), 20, "more than the shell after Enter")
            time.sleep(0.2)
            onsets = p.recording.onsets()
            self.assertGreater(len(onsets), sound_before)
            self.assertLess(abs(onsets[-1] - restarted), 0.4, "no launch sound at the restart")

            # Shift held leaves trails; releasing it ends them.
            sleep_until(restarted + 3.0)
            plain = p.screenshot().count_brighter(BRIGHT)
            p.keydown("shift")
            time.sleep(1.2)
            trails = p.screenshot().count_brighter(BRIGHT)
            if PICTURES:
                p.save_screenshot(os.path.join(PICTURES, "trails.png"))
            p.keyup("shift")
            time.sleep(0.4)
            after = p.screenshot().count_brighter(BRIGHT)
            self.assertGreater(trails, 3 * plain, f"trails {trails}, plain {plain}")
            self.assertLess(after * 2, trails, f"trails stayed: {after} of {trails}")

            # Upper-case Q is not quit; "q" is, with status 1.
            p.key("shift+q")
            self.assertIsNone(p.wait(0.7), "upper-case Q ended the program")
            p.key("q")
            self.assertEqual(p.wait(10), 1)
            self.assertNotIn("error:", p.stderr())
        finally:
            p.close()


class Scenes(unittest.TestCase):
    """Scene files: one made by vexlor-scene plays; broken ones never reach the show."""

    def test_scene_from_the_tool_plays_and_escape_quits(self):
        with tempfile.TemporaryDirectory() as tmp:
            scene = os.path.join(tmp, "single.scene")
            subprocess.run([SCENE_BIN, "make", "single", scene], check=True)
            p = Program(BIN, [scene])
            try:
                self.assertIsNotNone(p.wait_window(), p.stderr())
                self.assertTrue(p.focus())
                sleep_until(p.started + 3.5)
                self.assertGreater(p.screenshot().count_brighter(BRIGHT), 200)
                p.key("Escape")
                self.assertEqual(p.wait(10), 1)
                self.assertEqual(own(p.stderr()), "")
            finally:
                p.close()

    def run_refused(self, path):
        p = Program(BIN, [path], audio="dummy")
        try:
            status = p.wait(10)
            return status, own(p.stderr())
        finally:
            p.close()

    def test_missing_and_broken_scene_files_exit_1(self):
        status, err = self.run_refused("/nonexistent/show.scene")
        self.assertEqual(status, 1)
        self.assertEqual(len(err.splitlines()), 1, err)
        self.assertIn("/nonexistent/show.scene", err)

        with tempfile.TemporaryDirectory() as tmp:
            # A launch point without "(" would make the loader spin for ever.
            broken = os.path.join(tmp, "broken.scene")
            subprocess.run([SCENE_BIN, "make", "simple", broken], check=True)
            with open(broken, "rb") as f:
                lines = f.read().split(b"\r\n")
            lines[2] = b"no geometry here"
            with open(broken, "wb") as f:
                f.write(b"\r\n".join(lines))
            status, err = self.run_refused(broken)
            self.assertEqual(status, 1)
            self.assertTrue(err.startswith(broken + ":3:"), err)

            # A count far beyond what the file holds.
            huge = os.path.join(tmp, "huge.scene")
            with open(huge, "wb") as f:
                f.write(b"4000000000\r\n")
            status, err = self.run_refused(huge)
            self.assertEqual(status, 1)
            self.assertTrue(err.startswith(huge + ":1:"), err)


class Process(unittest.TestCase):
    """What a terminal user expects of the process."""

    def test_signals_end_the_show_promptly(self):
        for sig in (signal.SIGTERM, signal.SIGINT):
            p = Program(BIN)
            try:
                self.assertIsNotNone(p.wait_window(), p.stderr())
                time.sleep(0.5)
                p.proc.send_signal(sig)
                self.assertEqual(p.wait(3), -sig, f"{sig.name} did not end the program")
            finally:
                p.close()

    def test_no_sound_device_keeps_the_show_silent(self):
        p = Program(BIN, audio="no-such-driver")
        try:
            self.assertIsNotNone(p.wait_window(), p.stderr())
            sleep_until(p.started + 3.0)  # past the launch and the burst
            self.assertIsNone(p.proc.poll(), "the program ended without a sound device")
            self.assertGreater(p.screenshot().count_brighter(BRIGHT), 200)
            self.assertEqual(own(p.stderr()), "myxa2: master voice failed.\n")
        finally:
            p.close()

    def test_help_and_version_need_no_display(self):
        env = {k: v for k, v in os.environ.items() if k != "DISPLAY"}
        r = subprocess.run([BIN, "--help"], env=env, capture_output=True, text=True, timeout=10)
        self.assertEqual(r.returncode, 0)
        self.assertIn("usage: vexlor", r.stdout)
        r = subprocess.run([BIN, "--version"], env=env, capture_output=True, text=True, timeout=10)
        self.assertEqual(r.returncode, 0)
        self.assertRegex(r.stdout, r"^vexlor \d+\.\d+\.\d+\n$")


if __name__ == "__main__":
    unittest.main()
