#!/usr/bin/env python3
"""vexlor as a screensaver under a private Xvfb (1280x720): drawn into a window
the test makes (as a daemon does) or into the root window, following the
window's size, ending when the window goes or on SIGTERM and SIGINT, and
refusing bad windows and options. CTest gives the binaries in VEXLOR_BIN and
VEXLOR_SCENE_BIN.
"""
import ctypes
import os
import signal
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from vexlorrun import HEIGHT, WIDTH, Picture, Program, Xvfb  # noqa: E402

BIN = os.environ.get("VEXLOR_BIN", "build/bin/vexlor")
SCENE_BIN = os.environ.get("VEXLOR_SCENE_BIN", "build/bin/vexlor-scene")
BRIGHT = 120  # well above the sky (0.18 * 255 = 45.9), below the sparks
SKY = (45, 46)
NAVY = 0x000080  # our windows' own background, before anything is drawn


def sleep_until(t):
    time.sleep(max(0.0, t - time.monotonic()))


def own(text):
    """Our own lines: SDL logs its driver choices as "INFO: ..." and "CRITICAL: ..."."""
    return "".join(line for line in text.splitlines(keepends=True)
                   if not line.startswith(("INFO: ", "CRITICAL: ", "WARN: ")))


def is_sky(colour):
    return all(c in SKY for c in colour)


def crop(shot, box):
    """The part of a screenshot inside (x, y, width, height)."""
    x, y, w, h = box
    row = shot.width * 3
    return Picture(w, b"".join(shot.rgb[(y + j) * row + x * 3:(y + j) * row + (x + w) * 3]
                               for j in range(h)))


def pixel(shot, x, y):
    i = (y * shot.width + x) * 3
    return tuple(shot.rgb[i:i + 3])


def centre(picture):
    left, top, right, bottom = picture.white_box(BRIGHT)
    return (left + right) / 2, (top + bottom) / 2


class XWindow:
    """A plain window of ours, made through libX11 as a screensaver daemon
    makes its own. Our connection must close before the X server goes."""

    def __init__(self, display, x, y, width, height):
        x11 = self.x11 = ctypes.cdll.LoadLibrary("libX11.so.6")
        x11.XOpenDisplay.restype = ctypes.c_void_p
        x11.XOpenDisplay.argtypes = [ctypes.c_char_p]
        x11.XDefaultRootWindow.restype = ctypes.c_ulong
        x11.XDefaultRootWindow.argtypes = [ctypes.c_void_p]
        x11.XCreateSimpleWindow.restype = ctypes.c_ulong
        x11.XCreateSimpleWindow.argtypes = [ctypes.c_void_p, ctypes.c_ulong] + [ctypes.c_int] * 2 + \
            [ctypes.c_uint] * 3 + [ctypes.c_ulong] * 2
        for name in ("XMapWindow", "XDestroyWindow"):
            getattr(x11, name).argtypes = [ctypes.c_void_p, ctypes.c_ulong]
        x11.XResizeWindow.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_uint, ctypes.c_uint]
        x11.XSync.argtypes = [ctypes.c_void_p, ctypes.c_int]
        x11.XCloseDisplay.argtypes = [ctypes.c_void_p]
        self.dpy = x11.XOpenDisplay(display.encode())
        self.box = (x, y, width, height)
        self.id = x11.XCreateSimpleWindow(self.dpy, x11.XDefaultRootWindow(self.dpy), x, y,
                                          width, height, 0, 0, NAVY)
        x11.XMapWindow(self.dpy, self.id)
        x11.XSync(self.dpy, 0)

    def resize(self, width, height):
        self.box = self.box[:2] + (width, height)
        self.x11.XResizeWindow(self.dpy, self.id, width, height)
        self.x11.XSync(self.dpy, 0)

    def destroy(self):
        self.x11.XDestroyWindow(self.dpy, self.id)
        self.x11.XSync(self.dpy, 0)

    def close(self):
        if self.dpy:
            self.x11.XCloseDisplay(self.dpy)
            self.dpy = None


class Screen:
    """A private X server with one window of ours on it, and vexlor run there."""

    def __init__(self, x, y, width, height):
        self.xvfb = Xvfb()
        self.window = XWindow(self.xvfb.display, x, y, width, height)
        self.program = None

    def run(self, args, **kwargs):
        self.program = Program(BIN, args, xvfb=self.xvfb, **kwargs)
        return self.program

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.window.close()
        if self.program:
            self.program.close()
        else:
            self.xvfb.close()


def wait_drawn(p, box, timeout=15.0):
    """Until the sky covers `box`: the first frames are up, and with them the
    show's time 0 (to a screenshot's time). None when that never comes."""
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline and p.proc.poll() is None:
        if is_sky(crop(p.screenshot(), box).most_common()):
            return time.monotonic()
        time.sleep(0.05)
    return None


def wait_sound(p, timeout=15.0):
    """The wall time of the first sound: the launch at the show's time 0."""
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline and p.proc.poll() is None:
        onsets = os.path.exists(p.recording.path) and p.recording.onsets()
        if onsets:
            return onsets[0]
        time.sleep(0.1)
    return None


def ends_promptly(test, p, sig):
    sent = time.monotonic()
    p.proc.send_signal(sig)
    status = p.wait(5)
    took = time.monotonic() - sent
    test.assertEqual(status, -sig, f"{sig.name} did not end the screensaver")
    # A daemon expects the end within half a second; a frame takes a few tens
    # of milliseconds here, and a loaded CI machine gets half as much again.
    test.assertLess(took, 0.75, f"{sig.name} took {took:.3f} s")
    return took


class Saver(unittest.TestCase):
    def test_window_is_drawn_its_size_followed_and_its_end_ends_the_show(self):
        with Screen(100, 60, 640, 360) as screen:
            win = screen.window
            p = screen.run(["--window-id", hex(win.id)])
            start = wait_drawn(p, win.box)
            self.assertIsNotNone(start, p.stderr())

            # The shell bursts 2 s after launch; 1.5 s later its stars are out.
            sleep_until(start + 3.4)
            shot = p.screenshot()
            inside = crop(shot, win.box)
            self.assertTrue(is_sky(inside.most_common()), inside.most_common())
            self.assertGreater(inside.count_brighter(BRIGHT), 100, "no sparks after the burst")
            self.assertEqual(shot.count_brighter(BRIGHT), inside.count_brighter(BRIGHT),
                             "drawn outside the window")
            for x, y in ((20, 20), (WIDTH - 20, HEIGHT - 20)):
                self.assertFalse(is_sky(pixel(shot, x, y)), "the root window was drawn on")
            cx, cy = centre(inside)
            self.assertLess(abs(cx - 320), 60, f"sparks centred at {cx}")

            # Grown to 1120 x 630: the picture fills the new size, centred anew
            # (left at the old size, it would stay in the bottom-left corner).
            win.resize(1120, 630)
            time.sleep(0.5)
            inside = crop(p.screenshot(), win.box)
            self.assertTrue(is_sky(inside.most_common()), inside.most_common())
            gx, gy = centre(inside)
            self.assertLess(abs(gx - 560), 100, f"sparks centred at {gx} after growing")
            self.assertGreater(gx - cx, 150, f"the picture did not follow: {cx} -> {gx}")
            self.assertLess(gy - cy, 200, f"the picture did not follow: {cy} -> {gy}")

            # A daemon destroys its window without warning: we end quietly.
            win.destroy()
            self.assertEqual(p.wait(5), 0, p.stderr())
            self.assertEqual(own(p.stderr()), "")
            # Silent unless asked: the sound device was never opened.
            sound = os.path.join(p.tmp.name, "sound.raw")
            self.assertFalse(os.path.exists(sound) and os.path.getsize(sound), "it made a sound")

    def test_the_night_look_fills_the_window(self):
        with Screen(100, 60, 640, 360) as screen:
            win = screen.window
            p = screen.run(["--window-id", hex(win.id), "--look", "night,horizon=hills"])
            # Drawn once the window is no longer its own navy.
            deadline = time.monotonic() + 15
            while time.monotonic() < deadline and p.proc.poll() is None:
                if pixel(crop(p.screenshot(), win.box), 320, 5) != (0, 0, 0x80):
                    break
                time.sleep(0.05)
            time.sleep(3.5)
            shot = p.screenshot()
            inside = crop(shot, win.box)
            top = pixel(inside, 320, 5)
            self.assertLess(top[0], 40, top)
            self.assertGreater(top[2], top[0], f"not a night sky: {top}")
            self.assertFalse(is_sky(inside.most_common()), "the plain look's grey")
            self.assertGreater(inside.count_brighter(BRIGHT), 50, "no sparks after the burst")
            self.assertEqual(shot.count_brighter(BRIGHT), inside.count_brighter(BRIGHT),
                             "drawn outside the window")
            p.proc.send_signal(signal.SIGTERM)
            self.assertEqual(p.wait(5), -signal.SIGTERM, p.stderr())
            self.assertEqual(own(p.stderr()), "")

    def test_root_window_with_sound_ends_promptly_on_sigterm(self):
        with Program(BIN, ["--root", "--sound"]) as p:
            start = wait_sound(p)
            self.assertIsNotNone(start, p.stderr())
            sleep_until(start + 3.5)
            shot = p.screenshot()
            self.assertTrue(is_sky(shot.most_common()), shot.most_common())
            self.assertGreater(shot.count_brighter(BRIGHT), 200, "no sparks after the burst")
            onsets = p.recording.onsets()
            relative = [round(t - onsets[0], 2) for t in onsets]
            self.assertEqual(len(relative), 2, f"launch and burst sounds at {relative}")
            self.assertAlmostEqual(relative[1], 2.0, delta=0.25, msg=f"sounds at {relative}")
            # With sound on, the audio library's own signal handlers must not
            # swallow the daemon's SIGTERM.
            ends_promptly(self, p, signal.SIGTERM)

    def test_the_daemons_window_is_used_with_root_and_sigint_ends_it(self):
        with Screen(700, 100, 480, 320) as screen:
            win = screen.window
            p = screen.run(["-root"], audio="dummy", extra_env={"XSCREENSAVER_WINDOW": hex(win.id)})
            self.assertIsNotNone(wait_drawn(p, win.box), p.stderr())
            self.assertFalse(is_sky(pixel(p.screenshot(), 20, 20)), "drew on the root window")
            ends_promptly(self, p, signal.SIGINT)

    def test_show_file_loops_after_the_delay(self):
        with tempfile.TemporaryDirectory() as tmp:
            # The single shell with films of 1 s instead of 20: it is over 3 s
            # after launch.
            scene = os.path.join(tmp, "short.scene")
            subprocess.run([SCENE_BIN, "make", "single", scene], check=True)
            with open(scene, "rb") as f:
                lines = f.read().split(b"\r\n")
            with open(scene, "wb") as f:
                f.write(b"\r\n".join(b"1" if line == b"20" else line for line in lines))

            with Program(BIN, ["--root", "--show", scene, "--delay", "1.5", "--sound"]) as p:
                start = wait_sound(p)
                self.assertIsNotNone(start, p.stderr())
                # Between the end (3 s) and the next launch (4.5 s): empty sky.
                sleep_until(start + 3.75)
                self.assertEqual(p.screenshot().count_brighter(BRIGHT), 0, "the sky is not empty")
                sleep_until(start + 5.3)
                onsets = p.recording.onsets()
                relative = [round(t - onsets[0], 2) for t in onsets]
                self.assertEqual(len(relative), 3, f"sounds at {relative}")
                for got, want in zip(relative, [0.0, 2.0, 4.5]):
                    self.assertAlmostEqual(got, want, delta=0.25, msg=f"sounds at {relative}")
                ends_promptly(self, p, signal.SIGTERM)

    def test_a_show_that_starts_late_and_pauses_plays_whole(self):
        # Its first shell at 5 s, the second 30 s later, each over 12.25 s
        # after its launch: both play, and nothing starts again in the dark.
        # A silent track makes the device's frames the show's clock, so the
        # sounds are placed exactly on the recording's samples.
        with tempfile.TemporaryDirectory() as tmp:
            show = os.path.join(tmp, "paused.vexlor.toml")
            subprocess.run(["sox", "-n", "-r", "48000", "-c", "2", "-b", "16", os.path.join(tmp, "quiet.flac"),
                            "trim", "0", "50"], check=True)
            with open(show, "w") as f:
                f.write('[[shell]]\nkind = "susuki"\ntime = 5\n\n'
                        '[[shell]]\nkind = "susuki"\ntime = 35\nposition = [30, 0, 0]\n\n'
                        '[music]\nfile = "quiet.flac"\n')
            with Program(BIN, ["--root", "--show", show, "--sound"]) as p:
                start = wait_sound(p, timeout=25)
                self.assertIsNotNone(start, p.stderr())
                # The show runs at the device's pace: its second burst (32 s
                # after the first launch) is looked for from a second on, as
                # the recording's own frames count, until a loaded machine
                # has drawn it.
                launched = p.recording.onset_frames()[0]
                deadline = time.monotonic() + 60.0
                while p.recording.frames() < launched + 33.0 * 48000 and time.monotonic() < deadline:
                    time.sleep(0.05)
                deadline = time.monotonic() + 5.0
                while (sparks := p.screenshot().count_brighter(BRIGHT)) <= 200 and time.monotonic() < deadline:
                    pass
                self.assertGreater(sparks, 200, "the second shell did not burst")
                frames = p.recording.onset_frames()
                relative = [round((f - frames[0]) / 48000, 3) for f in frames]
                self.assertEqual(len(relative), 4, f"sounds at {relative}")
                for got, want in zip(relative, [0.0, 2.0, 30.0, 32.0]):
                    self.assertAlmostEqual(got, want, delta=0.011, msg=f"sounds at {relative}")
                ends_promptly(self, p, signal.SIGTERM)

    def test_bad_windows_displays_and_options(self):
        def run(args, env):
            r = subprocess.run([BIN, *args], env=env, capture_output=True, text=True, timeout=10)
            return r.returncode, own(r.stderr)

        nodisplay = {k: v for k, v in os.environ.items() if k not in ("DISPLAY", "XSCREENSAVER_WINDOW")}
        for args in (["--root", "--window-id", "0x400001"], ["--window-id", "0x4g"],
                     ["--window-id", "window"], ["--root", "--delay", "-1"],
                     ["--root", "--delay", "nan"], ["--delay", "3"], ["--root", "a", "b"],
                     ["--root", "--look", "dusk"], ["--root", "--look", "night,glow=-1"]):
            status, err = run(args, nodisplay)
            self.assertEqual(status, 2, args)
            self.assertEqual(err.count("\n"), 1, err)
            self.assertTrue(err.startswith("vexlor: "), err)

        status, err = run(["--root"], nodisplay)
        self.assertEqual((status, err), (1, "vexlor: cannot open display ''\n"))
        status, err = run(["--root", "--show", "/nonexistent/show.scene"], nodisplay)
        self.assertEqual(status, 1)
        self.assertEqual(err.count("\n"), 1, err)
        self.assertIn("/nonexistent/show.scene", err)
        status, err = run([], dict(nodisplay, XSCREENSAVER_WINDOW="nonsense"))
        self.assertEqual((status, err), (1, "vexlor: XSCREENSAVER_WINDOW: not a window id: 'nonsense'\n"))

        xvfb = Xvfb()
        try:
            for window in ("0x12345", "0"):
                status, err = run(["--window-id", window], dict(xvfb.env(), SDL_AUDIODRIVER="dummy"))
                self.assertEqual(status, 1)
                self.assertEqual(err, f"vexlor: window {hex(int(window, 16))}: no such window\n")
        finally:
            xvfb.close()


if __name__ == "__main__":
    unittest.main()
