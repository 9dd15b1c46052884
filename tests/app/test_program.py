#!/usr/bin/env python3
"""The vexlor program itself: a private Xvfb (1280x720), Mesa's software
OpenGL, the sound recorded by SDL's disk driver, keys through xdotool,
screenshots read back. CTest gives the binaries in VEXLOR_BIN and
VEXLOR_SCENE_BIN. A show without music runs on the monotonic clock: times
are measured from the show's own first sound or from when its window says it
has begun, never from the program's start, whose first frame may be late.
"""
import os
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from vexlorrun import HEIGHT, WIDTH, Program  # noqa: E402

BIN = os.environ.get("VEXLOR_BIN", "build/bin/vexlor")
SCENE_BIN = os.environ.get("VEXLOR_SCENE_BIN", "build/bin/vexlor-scene")
SHOWS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "shows")
PICTURES = os.environ.get("VEXLOR_PICTURES")  # where the README's pictures go, when set
FULL = (0, 0, WIDTH, HEIGHT)
BRIGHT = 120  # well above the background (0.18 * 255 = 45.9), below the sparks


def sleep_until(t):
    time.sleep(max(0.0, t - time.monotonic()))


def own(text):
    """Our own lines: SDL logs its driver choices as "INFO: ..." and "CRITICAL: ..."."""
    return "".join(line for line in text.splitlines(keepends=True)
                   if not line.startswith(("INFO: ", "CRITICAL: ", "WARN: ")))


def differing(a, b):
    return sum(x != y for x, y in zip(a.rgb, b.rgb))


def distance(a, b):
    """How far apart the stars of two pictures are, seen coarsely."""
    ca, cb = a.cells(BRIGHT), b.cells(BRIGHT)
    return sum(abs(ca.get(k, 0) - cb.get(k, 0)) for k in ca.keys() | cb.keys())


def picture(p, name):
    if PICTURES:
        p.save_screenshot(os.path.join(PICTURES, name))


def first_sound(p, timeout=20.0):
    """The wall time of the first sound recorded: the show's first launch."""
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline and p.proc.poll() is None:
        onsets = os.path.exists(p.recording.path) and p.recording.onsets()
        if onsets:
            return onsets[0]
        time.sleep(0.1)
    return None


class ShowRun(unittest.TestCase):
    def test_show_runs_loops_and_closes(self):
        with Program(BIN) as p:
            self.assertIsNotNone(p.wait_window(), p.stderr())
            self.assertEqual(p.wait_geometry(FULL), FULL, "not at the work area's size")
            launch = first_sound(p)
            self.assertIsNotNone(launch, p.stderr())
            sleep_until(launch + 2.7)
            picture(p, "show.png")

            # The shell bursts 2 s after launch; 1.6 s later its stars are out.
            sleep_until(launch + 3.6)
            shot = p.screenshot()
            self.assertTrue(all(c in (45, 46) for c in shot.most_common()), shot.most_common())
            self.assertGreater(shot.count_brighter(BRIGHT), 200, "no sparks after the burst")

            # The last spark dies 12.25 s after launch and the show starts again.
            sleep_until(launch + 15.0)
            p.close_window()
            self.assertEqual(p.wait(10), 0, "closing the window ends the program with 0")
            p.recording.stop()
            peak = max(map(abs, p.recording.samples()))
            self.assertTrue(0.01 < peak <= 1.5, f"silent, or not float samples: peak {peak}")
            onsets = p.recording.onsets()
            relative = [round(t - onsets[0], 2) for t in onsets[:4]]
            self.assertEqual(len(relative), 4, f"sounds at {relative}")
            for got, want in zip(relative, [0.0, 2.0, 12.25, 14.25]):
                self.assertAlmostEqual(got, want, delta=0.25, msg=f"sounds at {relative}")
            self.assertNotIn("rror", p.stderr())  # neither "error:" nor "Error"


class Keys(unittest.TestCase):
    def test_keys(self):
        with Program(BIN) as p:
            self.assertIsNotNone(p.wait_window(), p.stderr())
            self.assertTrue(p.focus())
            launch = first_sound(p)
            self.assertIsNotNone(launch, p.stderr())
            sleep_until(launch + 3.0)

            def after(*keys, wait=0.3):
                if keys:
                    p.key(*keys)
                time.sleep(wait)
                return p.screenshot()

            # Space freezes the picture.
            frozen = after("space")
            time.sleep(0.4)
            self.assertEqual(differing(frozen, p.screenshot()), 0, "the paused picture moved")

            # Right and Left move the paused scene a second on and back; it stays
            # paused there. (The first step starts from the key press's time.)
            ahead, behind, ahead2, behind2 = (after(k) for k in ("Right", "Left") * 2)
            moved = distance(ahead, behind)
            self.assertGreater(moved, 100, "Right/Left did not move the paused scene")
            self.assertLess(distance(ahead, ahead2), moved / 5, "Right went elsewhere")
            self.assertLess(distance(behind, behind2), moved / 5, "Left went elsewhere")
            time.sleep(0.3)
            self.assertEqual(differing(behind2, p.screenshot()), 0, "stepping ended the pause")

            resumed = after("space")
            self.assertGreater(distance(resumed, after()), 50, "the show did not resume")

            after("KP_Multiply", "KP_Multiply", "KP_Divide", "KP_Add", "KP_Subtract", "KP_Subtract")
            self.assertEqual(p.stdout().splitlines()[-6:], [
                "polyoffsetfactor: 1", "polyoffsetfactor: 2", "polyoffsetfactor: 1",
                "polyoffsetunit: 1", "polyoffsetunit: 0", "polyoffsetunit: -1"])

            # "f": the window's own 640 x 480, then the work area again.
            p.key("f")
            self.assertEqual(p.wait_geometry((0, 0, 640, 480))[2:], (640, 480))
            p.key("f")
            self.assertEqual(p.wait_geometry(FULL), FULL)

            # Enter restarts: only the rising shell is left, and it sounds again.
            left, _, right, _ = after(wait=0.5).white_box(BRIGHT)
            self.assertGreater(right - left, 200, "the stars should be spread out by now")
            restarted = time.monotonic()
            # The launch sound comes in the frames written after the key: the
            # delay is counted on the recording's own samples.
            pressed = p.recording.frames()
            left, top, right, bottom = after("Return", wait=0.6).white_box(BRIGHT)
            self.assertLess(max(right - left, bottom - top), 20, "more than the shell after Enter")
            deadline = time.monotonic() + 10.0
            launched = []
            while not launched and time.monotonic() < deadline:
                launched = [f for f in p.recording.onset_frames() if f >= pressed]
                time.sleep(0.1)
            self.assertTrue(launched, "no launch sound after Enter")
            self.assertLess((launched[0] - pressed) / 48000, 0.5, "the launch sound came late")

            # Shift held leaves trails; releasing it ends them.
            sleep_until(restarted + 3.0)
            plain = p.screenshot().count_brighter(BRIGHT)
            # Trails grow a frame at a time: a loaded machine draws fewer
            # frames a second, so the picture is watched until they show.
            def watch(until, seconds=4.0):
                deadline = time.monotonic() + seconds
                while True:
                    count = p.screenshot().count_brighter(BRIGHT)
                    if until(count) or time.monotonic() > deadline:
                        return count

            p.xdotool("keydown", "shift")
            time.sleep(0.3)
            trails = watch(lambda n: n > 3 * plain)
            picture(p, "trails.png")
            p.xdotool("keyup", "shift")
            self.assertGreater(trails, 3 * plain, f"trails {trails}, plain {plain}")
            self.assertLess(watch(lambda n: 2 * n < trails) * 2, trails, "trails stayed")

            # Upper-case Q is not quit; "q" is, with status 1.
            p.key("shift+q")
            self.assertIsNone(p.wait(0.7), "upper-case Q ended the program")
            p.key("q")
            self.assertEqual(p.wait(10), 1)
            self.assertNotIn("error:", p.stderr())


class Scenes(unittest.TestCase):
    def test_scene_from_the_tool_plays_and_escape_quits(self):
        with tempfile.TemporaryDirectory() as tmp:
            scene = os.path.join(tmp, "single.scene")
            subprocess.run([SCENE_BIN, "make", "single", scene], check=True)
            with Program(BIN, [scene]) as p:
                self.assertIsNotNone(p.wait_window(), p.stderr())
                begun = time.monotonic()
                self.assertTrue(p.focus())
                sleep_until(begun + 3.5)
                self.assertGreater(p.screenshot().count_brighter(BRIGHT), 200)
                p.key("Escape")
                self.assertEqual(p.wait(10), 1)
                self.assertEqual(own(p.stderr()), "")

    def test_scene_plays_under_a_decimal_comma_locale(self):
        # The viewer runs under the user's locale, where C's strtod reads
        # "0.95" as 0; the scene's numbers must still mean a point. A strict
        # reader misled so would refuse the file.
        if "de_DE.utf8" not in subprocess.run(["locale", "-a"], capture_output=True, text=True).stdout:
            self.skipTest("de_DE.UTF-8 is not installed (the CTest fixture "
                          "tests/support/decimal-comma-locale makes it as root)")
        with tempfile.TemporaryDirectory() as tmp:
            scene = os.path.join(tmp, "single.scene")
            subprocess.run([SCENE_BIN, "make", "single", scene], check=True)
            with open(scene, "rb") as f:
                self.assertIn(b".", f.read(), "the show has no fractional numbers to misread")
            with Program(BIN, [scene], audio="dummy", extra_env={"LC_ALL": "de_DE.UTF-8"}) as p:
                self.assertIsNotNone(p.wait_window(), p.stderr())
                time.sleep(3.5)
                self.assertGreater(p.screenshot().count_brighter(BRIGHT), 200)
                self.assertEqual(own(p.stderr()), "")

    def refused(self, path):
        with Program(BIN, [path], audio="dummy") as p:
            return p.wait(10), own(p.stderr())

    def test_missing_and_broken_scene_files_exit_1(self):
        status, err = self.refused("/nonexistent/show.scene")
        self.assertEqual(status, 1)
        self.assertEqual(err.count("\n"), 1, err)
        self.assertIn("/nonexistent/show.scene", err)

        with tempfile.TemporaryDirectory() as tmp:
            # A launch point without "(" would make the loader spin for ever.
            broken, huge = os.path.join(tmp, "broken.scene"), os.path.join(tmp, "huge.scene")
            subprocess.run([SCENE_BIN, "make", "simple", broken], check=True)
            with open(broken, "rb") as f:
                lines = f.read().split(b"\r\n")
            lines[2] = b"no geometry here"
            with open(broken, "wb") as f:
                f.write(b"\r\n".join(lines))
            # A count far beyond what the file holds.
            with open(huge, "wb") as f:
                f.write(b"4000000000\r\n")
            # A fuse that is no number (the lenient loader took it).
            nanfuse = os.path.join(tmp, "nan.scene")
            lines[2], lines[4] = b"pos3(0, 0, 0)", b"nan"
            with open(nanfuse, "wb") as f:
                f.write(b"\r\n".join(lines))
            for path, line in ((broken, 3), (huge, 1), (nanfuse, 5)):
                status, err = self.refused(path)
                self.assertEqual(status, 1)
                self.assertTrue(err.startswith(f"{path}:{line}:"), err)
                self.assertEqual(err.count("\n"), 1, err)
            self.assertIn('expected the fuse as a finite decimal number, found "nan"', err)


class Shows(unittest.TestCase):
    def test_every_gallery_show_plays(self):
        shows = sorted(f for f in os.listdir(SHOWS) if f.endswith(".toml"))
        self.assertGreaterEqual(len(shows), 4, shows)
        for name in shows:
            with self.subTest(show=name), Program(BIN, [os.path.join(SHOWS, name)], audio="dummy") as p:
                self.assertIsNotNone(p.wait_window(), p.stderr())
                begun = time.monotonic()  # the plain title: the show has begun
                brightest = 0
                for t in (2.5, 3.0, 3.5, 4.0, 4.5):
                    sleep_until(begun + t)
                    brightest = max(brightest, p.screenshot().count_brighter(BRIGHT))
                self.assertGreater(brightest, 100, "no sparks")
                self.assertIsNone(p.proc.poll(), p.stderr())
                self.assertEqual(own(p.stderr()), "")

    def test_broken_show_files_give_their_line_and_exit_1(self):
        with tempfile.TemporaryDirectory() as tmp:
            unknown, syntax = os.path.join(tmp, "unknown.toml"), os.path.join(tmp, "syntax.toml")
            with open(unknown, "w") as f:
                f.write('[[shell]]\nkind = "susuki"\ntime = 0.0\n\n[[shell]]\nkind = "nosuch"\n')
            with open(syntax, "w") as f:
                f.write('[[shell]\nkind = "susuki"\n')
            for path, where in ((unknown, "6:8"), (syntax, "1:9")):
                with Program(BIN, [path], audio="dummy") as p:
                    self.assertEqual(p.wait(10), 1, "not refused")
                    err = own(p.stderr())
                    self.assertTrue(err.startswith(f"{path}:{where}: "), err)
                    self.assertEqual(err.count("\n"), 1, err)


# A show that starts at 5 s and pauses 30 s between its two shells (each
# over 12.25 s after its launch): played whole, not restarted in the dark.
LATE_AND_PAUSED = ('[[shell]]\nkind = "susuki"\ntime = 5\n\n'
                   '[[shell]]\nkind = "susuki"\ntime = 35\nposition = [30, 0, 0]\n').encode()


class Timing(unittest.TestCase):
    def test_a_show_that_starts_late_and_pauses_plays_whole(self):
        with Program(BIN, ["show.toml"], files={"show.toml": LATE_AND_PAUSED}) as p:
            self.assertIsNotNone(p.wait_window(), p.stderr())
            self.assertTrue(p.focus())
            begun = time.monotonic()
            # Dark until 5 s; then the first shell, its launch and its burst.
            sleep_until(begun + 3.0)
            self.assertEqual(p.screenshot().count_brighter(BRIGHT), 0, "something before the first launch")
            launch = first_sound(p)
            self.assertIsNotNone(launch, "the first shell never went up")
            sleep_until(launch + 3.0)
            self.assertGreater(p.screenshot().count_brighter(BRIGHT), 200, "no sparks after the burst")
            # Past its end (17.25 s) and through the gap a second a key.
            sleep_until(launch + 12.5)
            p.key(*["Right"] * 15)
            time.sleep(5.0)
            self.assertGreater(p.screenshot().count_brighter(BRIGHT), 200, "the second shell did not burst")
            self.assertIsNone(p.proc.poll(), p.stderr())
            onsets = p.recording.onsets()
            self.assertEqual(len(onsets), 4, f"sounds at {[round(t - launch, 2) for t in onsets]}: "
                                             "two launches and two bursts, nothing started again")
            self.assertAlmostEqual(onsets[1] - onsets[0], 2.0, delta=0.25)
            self.assertGreater(onsets[2] - onsets[1], 1.0)
            self.assertEqual(own(p.stderr()), "")


def rows(shot, top, bottom):
    """Mean (r, g, b) of the rows from `top` to `bottom`."""
    row = shot.width * 3
    part = shot.rgb[top * row:bottom * row]
    n = len(part) // 3
    return tuple(sum(part[k::3]) / n for k in range(3))


class NightLook(unittest.TestCase):
    """--look and [look]: the night look's sky, skyline and lake in the
    window, the command line over the show file, a bad look refused."""

    def test_night_over_a_lake_with_the_sparks_glowing(self):
        with Program(BIN, ["--look", "night,water"], audio="dummy") as p:
            self.assertIsNotNone(p.wait_window(), p.stderr())
            self.assertEqual(p.wait_geometry(FULL), FULL, "not at the work area's size")
            sleep_until(p.started + 3.0)
            shot = p.screenshot()
            picture(p, "night-window.png")
            self.assertIsNone(p.proc.poll(), p.stderr())
            self.assertEqual(own(p.stderr()), "")
            # A dark blue night at the top, no grey anywhere much.
            r, g, b = rows(shot, 0, 20)
            self.assertLess(r, 40)
            self.assertGreater(b, r)
            self.assertNotEqual(shot.most_common(), (46, 46, 46))
            self.assertGreater(shot.count_brighter(BRIGHT), 100, "no sparks")
            # The lake below the horizon mirrors what is above it: it is not
            # the plain black of land.
            lake = rows(shot, HEIGHT - 200, HEIGHT)
            self.assertGreater(sum(lake), 3.0, lake)

    def test_the_command_line_wins_over_the_show_file(self):
        with tempfile.TemporaryDirectory() as tmp:
            show = os.path.join(tmp, "night.vexlor.toml")
            with open(show, "w") as f:
                f.write('[look]\nname = "night"\n\n[[shell]]\nkind = "single"\ntime = 0\n')
            for args, night in (([show], True), (["--look", "plain", show], False)):
                with self.subTest(args=args), Program(BIN, args, audio="dummy") as p:
                    self.assertIsNotNone(p.wait_window(), p.stderr())
                    sleep_until(p.started + 1.5)
                    common = p.screenshot().most_common()
                    self.assertEqual(common == (46, 46, 46), not night, common)
                    self.assertEqual(own(p.stderr()), "")

    def test_a_bad_look_is_one_line_and_status_2(self):
        env = {k: v for k, v in os.environ.items() if k != "DISPLAY"}
        for look, says in (("dawn", "unknown look 'dawn' (choose plain or night)"),
                           ("night,wind=40", "a wind of 40 m/s is too strong (at most 20 m/s)")):
            r = subprocess.run([BIN, "--look", look], env=env, capture_output=True, text=True, timeout=10)
            self.assertEqual(r.returncode, 2, r.stderr)
            self.assertEqual(r.stderr.count("\n"), 1, r.stderr)
            self.assertIn(says, r.stderr)


class Loading(unittest.TestCase):
    """A scene file large enough to take a while to read: the window is there
    at once, says how far the read has got and answers while it reads."""

    @classmethod
    def setUpClass(cls):
        cls.tmp = tempfile.TemporaryDirectory()
        show = os.path.join(cls.tmp.name, "large.toml")
        cls.scene = os.path.join(cls.tmp.name, "large.scene")
        with open(show, "w") as f:
            f.write('[[shell]]\nkind = "susuki"\ntime = 0.0\nposition = [-90, 0, 0]\n'
                    'count = 50\ninterval = 0.1\nstep = [3.6, 0, 0]\n')
        subprocess.run([SCENE_BIN, "expand", show, cls.scene], check=True)

    @classmethod
    def tearDownClass(cls):
        cls.tmp.cleanup()

    def loading(self, p):
        self.assertIsNotNone(p.wait_window(name="^vexlor: loading"), p.stderr())
        self.assertTrue(p.focus())

    def percent(self, p):
        title = p.title()
        return int(title[len("vexlor: loading "):-1]) if title.startswith("vexlor: loading ") else None

    def test_progress_in_the_title_and_q_ends_the_load_at_once(self):
        with Program(BIN, [self.scene], audio="dummy") as p:
            self.loading(p)
            seen = []
            while len(set(seen)) < 2:
                percent = self.percent(p)
                self.assertIsNotNone(percent, f"the load ended before it was seen to progress: {p.title()!r}")
                seen.append(percent)
                time.sleep(0.02)
            self.assertEqual(seen, sorted(seen), "the progress went back")
            self.assertLess(seen[-1], 100)
            sent = time.monotonic()
            p.key("q")
            self.assertEqual(p.wait(5), 1)
            took = time.monotonic() - sent
            print(f"q during the load: exit {took:.3f} s after the key", file=sys.stderr)
            self.assertLess(took, 1.0)
            self.assertEqual(own(p.stderr()), "")

    @staticmethod
    def bar(shot):
        """Pixels of the loading bar's filled part and of its empty track, on
        the row through the middle of the window."""
        y = HEIGHT // 2
        row = shot.rgb[3 * WIDTH * y:3 * WIDTH * (y + 1)]
        pixels = [tuple(row[i:i + 3]) for i in range(0, len(row), 3)]
        filled = sum(abs(r - 242) <= 2 and abs(g - 191) <= 2 and abs(b - 76) <= 2 for r, g, b in pixels)
        track = sum(all(abs(c - 26) <= 2 for c in px) for px in pixels)
        return filled, track

    def test_closing_the_window_during_the_load_exits_0(self):
        with Program(BIN, [self.scene], audio="dummy") as p:
            self.loading(p)
            # A bar across the middle, three fifths of the width, filling up.
            # The title can name the load a moment before the first frame is
            # on screen (a slow first shader compile under the sanitizers).
            first = self.bar(p.screenshot())
            deadline = time.monotonic() + 5.0
            while sum(first) == 0 and time.monotonic() < deadline:
                time.sleep(0.05)
                first = self.bar(p.screenshot())
            time.sleep(0.3)
            second = self.bar(p.screenshot())
            self.assertIsNotNone(self.percent(p), "loaded before the bar was seen twice")
            self.assertAlmostEqual(sum(first), WIDTH * 3 // 5, delta=8, msg=first)
            self.assertAlmostEqual(sum(second), WIDTH * 3 // 5, delta=8, msg=second)
            self.assertGreater(second[0], first[0], f"the bar did not fill: {first} then {second}")
            sent = time.monotonic()
            p.close_window()
            self.assertEqual(p.wait(5), 0)
            print(f"closed during the load: exit {time.monotonic() - sent:.3f} s after", file=sys.stderr)
            self.assertLess(time.monotonic() - sent, 1.0)
            self.assertEqual(own(p.stderr()), "")

    def test_the_show_begins_at_0_once_loaded(self):
        with Program(BIN, [self.scene], audio="dummy") as p:
            self.loading(p)
            self.assertIsNotNone(p.wait_window(timeout=60), p.stderr())
            loaded = time.monotonic()
            # Shells rise for 2 s before they burst: a clock that ran while
            # the file loaded would show bursts at once.
            sleep_until(loaded + 1.0)
            rising = p.screenshot().count_brighter(BRIGHT)
            sleep_until(loaded + 3.0)
            burst = p.screenshot().count_brighter(BRIGHT)
            print(f"sparks 1 s after the load: {rising}, 3 s after: {burst}", file=sys.stderr)
            self.assertLess(rising, 100)
            self.assertGreater(burst, 1000)
            self.assertEqual(own(p.stderr()), "")


class Process(unittest.TestCase):
    def test_signals_end_the_show_promptly(self):
        for sig in (signal.SIGTERM, signal.SIGINT):
            with Program(BIN) as p:
                self.assertIsNotNone(p.wait_window(), p.stderr())
                time.sleep(0.5)
                p.proc.send_signal(sig)
                self.assertEqual(p.wait(3), -sig, f"{sig.name} did not end the program")

    def test_no_sound_device_keeps_the_show_silent(self):
        with Program(BIN, audio="no-such-driver") as p:
            self.assertIsNotNone(p.wait_window(), p.stderr())
            time.sleep(3.0)  # past the launch and the burst
            self.assertIsNone(p.proc.poll(), "the program ended without a sound device")
            self.assertGreater(p.screenshot().count_brighter(BRIGHT), 200)
            self.assertEqual(own(p.stderr()), "myxa2: master voice failed.\n")

    def test_no_display_no_window_or_no_shaders_end_the_start_saying_why(self):
        env = dict(os.environ, DISPLAY=":4242", SDL_AUDIODRIVER="dummy")
        r = subprocess.run([BIN], env=env, capture_output=True, text=True, timeout=10)
        self.assertEqual(r.returncode, 1)
        self.assertEqual(own(r.stderr), "glfw: X11: Failed to open display :4242\nglfwInit() failed.\n")
        # Without GLX no context can be made; GLFW's reason is the line.
        with Program(BIN, audio="dummy", xvfb_args=("-extension", "GLX")) as p:
            self.assertEqual(p.wait(10), 1)
            self.assertEqual(own(p.stderr()), "vexlor: cannot create the window: GLX: GLX extension not found\n")
        # A driver held to GLSL 1.30 cannot build the shaders: its log, no show.
        with Program(BIN, audio="dummy", extra_env={"MESA_GL_VERSION_OVERRIDE": "3.0",
                                                    "MESA_GLSL_VERSION_OVERRIDE": "130"}) as p:
            self.assertEqual(p.wait(10), 1)
            err = own(p.stderr())
            self.assertRegex(err, r"^(shader compile|program link) error\.\n")
            self.assertIn("error", err.split("\n", 1)[1], "the driver's log is missing")

    def test_broken_burst_sound_says_why(self):
        def wave(fmt, data):
            chunks = b"fmt " + struct.pack("<I", len(fmt)) + fmt + b"data" + struct.pack("<I", len(data)) + data
            return b"RIFF" + struct.pack("<I", 4 + len(chunks)) + b"WAVE" + chunks
        mono8 = struct.pack("<HHIIHH", 1, 1, 8000, 8000, 1, 8)
        claims = bytearray(wave(mono8, bytes(200)))
        claims[40:44] = struct.pack("<I", 0xFFFFFFF0)
        cases = (
            (bytes(claims), '"data" chunk at byte 36 claims 4294967280 bytes, the file holds 200 after its header.'),
            (wave(struct.pack("<HHIIHHHH", 17, 1, 8000, 4000, 1, 4, 2, 1), bytes(64)),
             '"fmt " chunk at byte 12: IMA ADPCM block align 1, smaller than its header of 4 bytes.'),
            (wave(b"", bytes(16)), '"fmt " chunk at byte 12: 0 bytes, fewer than the 16 every format needs.'),
        )
        for content, line in cases:
            with Program(BIN, audio="dummy", files={"reverb.wav": content}) as p:
                self.assertEqual(p.wait(10), 1)
                self.assertEqual(own(p.stderr()), f"reverb.wav: {line}\nwave load failed.\n")

    def test_help_and_version_need_no_display(self):
        env = {k: v for k, v in os.environ.items() if k != "DISPLAY"}
        for arg, pattern in (("--help", r"^usage: vexlor"), ("--version", r"^vexlor \d+\.\d+\.\d+\n$")):
            r = subprocess.run([BIN, arg], env=env, capture_output=True, text=True, timeout=10)
            self.assertEqual(r.returncode, 0)
            self.assertRegex(r.stdout, pattern)


if __name__ == "__main__":
    unittest.main()
