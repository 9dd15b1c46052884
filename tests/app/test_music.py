#!/usr/bin/env python3
"""The show's music in the real viewer, recorded by SDL's disk driver: heard
at its offset, silenced by a pause, moved a second by Right (paused or not),
started again by Enter, and a track that cannot be played told in one line.

The track says where it is: second k is a pure tone of 300 + 50 k Hz, so the
frequency counted in the recording tells the second of music being heard.
"""
import math
import os
import struct
import sys
import time
import unittest
import wave

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from vexlorrun import Program  # noqa: E402

BIN = os.environ.get("VEXLOR_BIN", "build/bin/vexlor")
RATE = 48000
OFFSET = 2.5  # after the launch sound (1.6 s) has died away
# One shell rising for a minute: a launch sound at 0 and nothing more.
SHOW = ("[[shell]]\nkind = \"single\"\ntime = 0\nfuse = 60\n\n"
        "[music]\nfile = \"seconds.wav\"\noffset = %g\ngain = 0.5\n" % OFFSET).encode()


def track(seconds=30, rate=44100):
    """Mono 16-bit, at a rate the engine's is not, so the resampler is in play."""
    frames = bytearray()
    phase = 0.0
    for i in range(seconds * rate):
        phase += 2 * math.pi * (300 + 50 * (i // rate)) / rate
        frames += struct.pack("<h", int(0.8 * 32767 * math.sin(phase)))
    path = os.path.join(os.environ.get("TMPDIR", "/tmp"), "vexlor-seconds-%d.wav" % os.getpid())
    with wave.open(path, "wb") as w:
        w.setnchannels(1)
        w.setsampwidth(2)
        w.setframerate(rate)
        w.writeframes(bytes(frames))
    with open(path, "rb") as f:
        data = f.read()
    os.remove(path)
    return data


def own(text):
    return "".join(line for line in text.splitlines(keepends=True)
                   if not line.startswith(("INFO: ", "CRITICAL: ", "WARN: ")))


class Heard:
    """What the recording held at a wall time: the frame the driver had
    written by then, and the 50 ms before it."""

    def __init__(self, recording):
        self.recording = recording

    def block(self, at, length=0.05):
        while time.monotonic() < at + 0.1:
            time.sleep(0.01)
        size = next((s for t, s in reversed(self.recording.sizes) if t <= at), 0)
        end = size // 8
        n = int(length * RATE)
        with open(self.recording.path, "rb") as f:
            f.seek(max(0, end - n) * 8)
            data = f.read(n * 8)
        values = struct.unpack(f"<{len(data) // 4}f", data[:len(data) // 4 * 4])
        return values[0::2]

    def loudness(self, at):
        left = self.block(at)
        return math.sqrt(sum(v * v for v in left) / max(1, len(left)))

    def second(self, at):
        """The second of music heard at `at`, from the tone's zero crossings."""
        left = self.block(at, 0.1)
        crossings = sum(1 for a, b in zip(left, left[1:]) if (a < 0) != (b < 0))
        frequency = crossings / 2 / (len(left) / RATE)
        return (frequency - 300) / 50


class Music(unittest.TestCase):
    def test_offset_pause_steps_and_restart(self):
        with Program(BIN, ["show.toml"], files={"show.toml": SHOW, "seconds.wav": track()}) as p:
            self.assertIsNotNone(p.wait_window(), p.stderr())
            self.assertTrue(p.focus())
            heard = Heard(p.recording)
            time.sleep(OFFSET + 1.5)
            onsets = p.recording.onsets()
            self.assertGreaterEqual(len(onsets), 2, f"sounds at {onsets}")
            launch = onsets[0]
            # The first beat at its offset, from the track's first second (the
            # launch sound comes with the first frame, which may be late).
            self.assertAlmostEqual(onsets[1] - launch, OFFSET, delta=0.15, msg=f"sounds at {onsets}")
            self.assertEqual(round(heard.second(launch + OFFSET + 0.5)), 0)
            self.assertLess(heard.loudness(launch + OFFSET - 0.3), 1e-3, "music before its offset")

            def show(t):
                return launch + t

            # At music 2.3 s, pause: silence, and Right moves the music a
            # second on while paused; resumed, it plays from 3.3 s.
            time.sleep(max(0.0, show(OFFSET + 2.3) - time.monotonic()))
            p.key("space")
            paused = time.monotonic()
            self.assertLess(heard.loudness(paused + 0.2), 1e-3, "the pause did not silence the music")
            p.key("Right")
            time.sleep(0.3)
            self.assertLess(heard.loudness(time.monotonic()), 1e-3, "a step ended the pause")
            p.key("space")
            resumed = time.monotonic()
            got = heard.second(resumed + 0.35)
            self.assertAlmostEqual(got, 3.0, delta=0.45, msg="resumed elsewhere than a second on")

            # Enter: silence until the offset, then the first second again.
            time.sleep(0.3)
            p.key("Return")
            restarted = time.monotonic()
            self.assertLess(heard.loudness(restarted + OFFSET - 0.4), 1e-3, "music before its offset after Enter")
            self.assertEqual(round(heard.second(restarted + OFFSET + 0.4)), 0)
            onset = [t for t in p.recording.onsets() if t > restarted + 1.0][0]
            print(f"music heard {onset - restarted - OFFSET:+.3f} s from its offset after Enter", file=sys.stderr)
            self.assertAlmostEqual(onset - restarted, OFFSET, delta=0.05)

            # Right while playing: from music 0.5 s to 1.5 s at once.
            time.sleep(max(0.0, restarted + OFFSET + 0.5 - time.monotonic()))
            p.key("Right")
            stepped = time.monotonic()
            self.assertAlmostEqual(heard.second(stepped + 0.3), 1.0, delta=0.45, msg="Right did not move the music")
            self.assertEqual(own(p.stderr()), "")

    def test_missing_or_unplayable_music_is_told_and_the_show_plays(self):
        for name, content, reason in (("gone.ogg", None, "cannot read the file (No such file or directory)"),
                                      ("words.ogg", b"not a sound at all\n", "not a sound format that can be played")):
            files = {"show.toml": SHOW.replace(b"seconds.wav", name.encode())}
            if content:
                files[name] = content
            with Program(BIN, ["show.toml"], files=files) as p:
                self.assertIsNotNone(p.wait_window(), p.stderr())
                time.sleep(1.0)
                self.assertIsNone(p.proc.poll(), "the show ended")
                err = own(p.stderr())
                self.assertEqual(err.count("\n"), 1, err)
                self.assertTrue(err.startswith("show.toml:7:8: music file: " + name + ": " + reason), err)
                self.assertEqual(len(p.recording.onsets()), 1, "the launch sound")

    def test_no_sound_device_stays_silent_with_music(self):
        with Program(BIN, ["show.toml"], audio="no-such-driver",
                     files={"show.toml": SHOW, "seconds.wav": track(seconds=3)}) as p:
            self.assertIsNotNone(p.wait_window(), p.stderr())
            p.focus()
            time.sleep(OFFSET + 0.5)
            p.key("space", "Right", "space", "Return")
            time.sleep(0.5)
            self.assertIsNone(p.proc.poll(), "the program ended without a sound device")
            self.assertEqual(own(p.stderr()), "myxa2: master voice failed.\n")


if __name__ == "__main__":
    unittest.main()
