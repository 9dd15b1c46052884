#!/usr/bin/env python3
"""Live reload in the real program: a show file saved in place and saved by
an editor's rename reaches the screen in its new colour at the same show
time; a broken save leaves the last good show playing, its problem told once
and shown, until a fixed save plays again. The show time is held still by the
pause, so the pictures before and after a save are compared pixel for pixel:
a shell's colour swapped from red to green moves its sparks from one channel
to another and nothing else.
"""
import os
import sys
import time
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from vexlorrun import Program  # noqa: E402

BIN = os.environ.get("VEXLOR_BIN", "build/bin/vexlor")
WAIT = 30.0  # how long a change may take to show before the test gives up


def show(colour, broken=False):
    """Simple shells every quarter second, so that sparks are always up."""
    r, g, b = colour
    time_line = "time = -1\n" if broken else "time = 0\n"
    return (f"[[shell]]\nkind = \"simple\"\n{time_line}color = [{r}, {g}, {b}]\n"
            "count = 400\ninterval = 0.25\nposition = [0, 0, 0]\n").encode()


def channel(shot, k):
    return shot.rgb[k::3]


def lit_in(p, k):
    """A screenshot whose channel k shows sparks, or None."""
    shot = p.screenshot()
    return shot if max(channel(shot, k)) > 120 else None


def own(text):
    return "".join(line for line in text.splitlines(keepends=True)
                   if not line.startswith(("INFO: ", "CRITICAL: ", "WARN: ")))


def wait_for(predicate, what):
    deadline = time.monotonic() + WAIT
    while time.monotonic() < deadline:
        got = predicate()
        if got:
            return got
        time.sleep(0.05)
    raise AssertionError(f"never happened: {what if isinstance(what, str) else what()}")


class Reload(unittest.TestCase):
    def test_saves_in_place_and_by_rename_play_at_the_same_time(self):
        with Program(BIN, ["show.toml"], files={"show.toml": show((1, 0, 0))}) as p:
            self.assertIsNotNone(p.wait_window(), p.stderr())
            self.assertTrue(p.focus())
            path = os.path.join(p.tmp.name, "show.toml")
            # Red sparks up, then the time held.
            wait_for(lambda: max(channel(p.screenshot(), 0)) > 120, "red sparks")
            p.key("space")
            still = wait_for(lambda: (a := p.screenshot()).rgb == p.screenshot().rgb and a, "a still picture")
            red = channel(still, 0)
            self.assertGreater(max(red), 120)
            self.assertEqual(channel(still, 1), channel(still, 2), "sparks in red only")

            # Saved in place: the same sparks, now green.
            with open(path, "wb") as f:
                f.write(show((0, 1, 0)))
            green = wait_for(lambda: lit_in(p, 1), "green")
            self.assertEqual(channel(green, 1), red, "the same show time, the same sparks")

            # Saved as an editor does: a new file renamed over the old.
            with open(path + ".new", "wb") as f:
                f.write(show((0, 0, 1)))
            os.rename(path + ".new", path)
            blue = wait_for(lambda: lit_in(p, 2), "blue")
            self.assertEqual(channel(blue, 2), red)
            self.assertEqual(own(p.stderr()), "")
            self.assertIsNone(p.proc.poll())

    def test_a_broken_save_keeps_the_show_and_says_why_until_fixed(self):
        with Program(BIN, ["show.toml"], files={"show.toml": show((1, 0, 0))}) as p:
            self.assertIsNotNone(p.wait_window(), p.stderr())
            self.assertTrue(p.focus())
            path = os.path.join(p.tmp.name, "show.toml")
            wait_for(lambda: max(channel(p.screenshot(), 0)) > 120, "red sparks")
            problem = "show.toml:3:8: time must lie from 0 to 14400 s\n"
            for _ in range(2):  # the same mistake saved twice is told once
                with open(path, "wb") as f:
                    f.write(show((0, 1, 0), broken=True))
                wait_for(lambda: problem in p.stderr(), lambda: "the problem on standard error: " + p.stderr())
            # Still playing, still red, and the problem in the window's title.
            a = wait_for(lambda: lit_in(p, 0), "red after")
            wait_for(lambda: p.screenshot().rgb != a.rgb, "the show moving on")
            self.assertEqual(max(channel(p.screenshot(), 1)), max(channel(p.screenshot(), 2)), "no green")
            self.assertIn("time must lie from 0 to 14400 s", p.title())
            # Fixed: the new colour plays and the problem is gone.
            with open(path, "wb") as f:
                f.write(show((0, 1, 0)))
            wait_for(lambda: max(channel(p.screenshot(), 1)) > 120, "green once fixed")
            wait_for(lambda: p.title() == "vexlor", "the title back to the plain one")
            self.assertEqual(own(p.stderr()), problem, "told once")
            self.assertIsNone(p.proc.poll())


if __name__ == "__main__":
    unittest.main()
