#!/usr/bin/env python3
"""The timeline in the real program: Tab shows it and hides it, a click on its
strip and a drag along it move the paused show to the time under the mouse,
and the picture above the panel is then the frame vexlor-render draws at that
time (both draw through the same frame code). The strip spans the window's
width from 0 to the show's length in whole seconds, so the time of a column
is x / width * length exactly. While hidden the timeline takes no click.
"""
import math
import os
import re
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from vexlorrun import HEIGHT, WIDTH, Program  # noqa: E402

BIN = os.environ.get("VEXLOR_BIN", "build/bin/vexlor")
SCENE_BIN = os.environ.get("VEXLOR_SCENE_BIN", "build/bin/vexlor-scene")
RENDER_BIN = os.environ.get("VEXLOR_RENDER_BIN", "build/bin/vexlor-render")
PANEL = 170  # the timeline's height at the window's bottom
STRIP = HEIGHT - PANEL + 24 + 20  # a row inside the strip
WAIT = 30.0

SHOW = (b"[[shell]]\nkind = \"simple\"\ntime = 0.3\ncolor = [1, 0.6, 0.2]\ncount = 30\ninterval = 0.7\n"
        b"position = [-60, 0, 0]\nstep = [4, 0, 0]\n"
        b"[[shell]]\nkind = \"single\"\nburst = 9.6\nposition = [40, 10, 0]\n")


def still(p, before=None):
    """A screenshot that the next one equals: the paused frame once drawn;
    with `before`, once the picture has left it (a click's effect comes
    when the program has read the click, not when xdotool returns)."""
    deadline = time.monotonic() + WAIT
    last = p.screenshot()
    while before is not None and last.rgb == before.rgb and time.monotonic() < deadline:
        time.sleep(0.05)
        last = p.screenshot()
    while time.monotonic() < deadline:
        time.sleep(0.2)
        shot = p.screenshot()
        if shot.rgb == last.rgb:
            return shot
        last = shot
    raise AssertionError("the picture never stood still")


def above_panel(rgb):
    return rgb[:(HEIGHT - PANEL) * WIDTH * 3]


def read_png(path):
    """A PNG's pixels as raw RGB rows, decoded by imagemagick as the screenshots are."""
    data = subprocess.run(["convert", path, "-depth", "8", "ppm:-"], check=True, capture_output=True).stdout
    header = re.match(rb"P6\s+(\d+)\s+(\d+)\s+\d+\s", data)
    return data[header.end():header.end() + int(header[1]) * int(header[2]) * 3]


def rendered(show, t):
    """The frame vexlor-render draws at show time t, at the screen's size."""
    with tempfile.TemporaryDirectory(prefix="vexlor-tl-") as out:
        subprocess.run([RENDER_BIN, show, "-o", out + "/", "--size", f"{WIDTH}x{HEIGHT}", "--from", repr(t),
                        "--to", repr(t + 0.01), "--fps", "100", "-q"],
                       check=True, capture_output=True, env=dict(os.environ, DISPLAY=""))
        return read_png(os.path.join(out, "frame000000.png"))


def length(show):
    out = subprocess.run([SCENE_BIN, "info", show], check=True, capture_output=True, text=True).stdout
    return math.ceil(float(re.search(r"length: ([0-9.]+) s", out)[1]))


# Bytes that may differ between the window and the render of the same time:
# the clock keeps microseconds, so a spark may land a hair apart. Half a
# millisecond off already differs in thousands.
SAME = 200


def mismatch(a, b):
    """How many bytes differ by more than a level."""
    return sum(abs(x - y) > 1 for x, y in zip(a, b))


class Timeline(unittest.TestCase):
    def test_click_and_drag_seek_to_the_exact_time(self):
        with Program(BIN, ["show.toml"], files={"show.toml": SHOW}) as p:
            self.assertIsNotNone(p.wait_window(), p.stderr())
            self.assertTrue(p.focus())
            show = os.path.join(p.tmp.name, "show.toml")
            seconds = length(show)
            # Keys count once the show has begun (its first sparks), not while it loads.
            deadline = time.monotonic() + WAIT
            while p.screenshot().count_brighter(120) == 0 and time.monotonic() < deadline:
                time.sleep(0.1)
            p.key("space")
            hidden = still(p)
            # Hidden, it takes no click: the paused picture stays as it was.
            p.xdotool("mousemove", "900", str(STRIP), "click", "1")
            self.assertEqual(still(p).rgb, hidden.rgb)

            p.key("Tab")
            shown = still(p)
            self.assertNotEqual(shown.rgb[-PANEL * WIDTH * 3:], hidden.rgb[-PANEL * WIDTH * 3:], "no panel")
            self.assertEqual(above_panel(shown.rgb), above_panel(hidden.rgb), "the show under it moved")

            before = shown
            for x in (517, 301):
                p.xdotool("mousemove", str(x), str(STRIP), "click", "1")
                t = x / WIDTH * seconds
                before = still(p, before)
                got, want = above_panel(before.rgb), above_panel(rendered(show, t))
                if os.environ.get("DUMP"):
                    p.save_screenshot(f"/tmp/e17/got{x}.png")
                    open(f"/tmp/e17/want{x}.ppm", "wb").write(b"P6 1280 550 255\n" + want)
                self.assertGreater(sum(v > 120 for v in want), 50, f"sparks at {t} s")
                self.assertLess(mismatch(got, want), SAME, f"the click at x = {x} is not the frame at {t} s")

            # A drag ends where the mouse is let go.
            p.xdotool("mousemove", "300", str(STRIP), "mousedown", "1")
            p.xdotool("mousemove", "--sync", "450", str(STRIP))
            p.xdotool("mousemove", "--sync", "620", str(STRIP), "mouseup", "1")
            t = 620 / WIDTH * seconds
            want = above_panel(rendered(show, t))
            deadline = time.monotonic() + WAIT
            while mismatch(above_panel(p.screenshot().rgb), want) >= SAME and time.monotonic() < deadline:
                time.sleep(0.1)
            self.assertLess(mismatch(above_panel(still(p).rgb), want), SAME, "the drag did not end at its time")

            # Hidden again, the show looks as without it.
            dragged = still(p)
            p.key("Tab")
            self.assertLess(mismatch(still(p, dragged).rgb, rendered(show, t)), SAME)
            self.assertIsNone(p.proc.poll())


if __name__ == "__main__":
    unittest.main()
