#!/usr/bin/env python3
"""The show's music in the real viewer, recorded by SDL's disk driver and
measured on the recording's own samples, never against the wall clock (the
driver's pace differs from one machine to the next): the music heard from its
offset, silenced by a pause, moved a second by Right (paused or not),
started again by Enter, never resampled, the burst sounds on the music's own
samples, and a track that cannot be played told in one line.

The music's two channels are opposite, and every burst sound is the same on
both: half the difference of the channels is the music alone, the right
channel of a track silent on the right is the bursts alone.
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
RATES = (48000, 44100, 96000, 88200, 32000, 22050)  # a device runs at one of these
GAIN = 0.5
SILENT = 1e-6


def own(text):
    return "".join(line for line in text.splitlines(keepends=True)
                   if not line.startswith(("INFO: ", "CRITICAL: ", "WARN: ")))


def float_wav(left, right, rate):
    """A stereo WAVE file of 32-bit floats."""
    data = bytearray()
    for a, b in zip(left, right):
        data += struct.pack("<ff", a, b)
    fmt = struct.pack("<HHIIHH", 3, 2, rate, rate * 8, 8, 32)
    chunks = b"fmt " + struct.pack("<I", len(fmt)) + fmt + b"data" + struct.pack("<I", len(data)) + bytes(data)
    return b"RIFF" + struct.pack("<I", 4 + len(chunks)) + b"WAVE" + chunks


def ramp(seconds, rate=48000):
    """Left rises from 0 to 1 over the track, right is its negative: the music
    heard tells the second of the track it comes from."""
    n = int(seconds * rate)
    left = [(i + 1) / n for i in range(n)]
    return float_wav(left, [-v for v in left], rate)


def show(music, offset, shells):
    text = "".join(f"[[shell]]\nkind = \"single\"\ntime = {t}\nfuse = {fuse}\n\n" for t, fuse in shells)
    return (text + f"[music]\nfile = \"{music}\"\noffset = {offset}\ngain = {GAIN}\n").encode()


class Heard:
    """The recording so far (or its last `seconds`), split into the music
    (half the channels' difference) and the bursts (half their sum)."""

    def __init__(self, recording, seconds=None):
        if seconds is None:
            values = recording.samples()
        else:
            with open(recording.path, "rb") as f:
                f.seek(0, os.SEEK_END)
                size = f.tell() // 8 * 8
                f.seek(max(0, size - int(seconds * 48000) * 8))
                data = f.read(size - f.tell())
            values = struct.unpack(f"<{len(data) // 4}f", data)
        self.left, self.right = values[0::2], values[1::2]
        self.bursts = [(a + b) / 2 for a, b in zip(self.left, self.right)]

    def music(self, i):
        return (self.left[i] - self.right[i]) / 2 / GAIN

    def playing(self, i):
        return abs(self.left[i] - self.right[i]) > SILENT

    def runs(self, least):
        """(first, last) sample of each stretch of music, apart by silences of
        at least `least` samples (the feeder may fall behind for a moment)."""
        found, start, quiet = [], None, 0
        for i in range(len(self.left)):
            if self.playing(i):
                if start is None:
                    start = i
                elif quiet >= least:
                    found.append((start, last))
                    start = i
                last, quiet = i, 0
            else:
                quiet += 1
        if start is not None:
            found.append((start, last))
        return found

    def onsets(self, channel, threshold=1e-3, quiet=0.2, rate=48000):
        """Samples where `channel` rises above `threshold` after `quiet`
        seconds below it."""
        found, below = [], 10 ** 9
        for i, v in enumerate(channel):
            if abs(v) > threshold:
                if below >= quiet * rate:
                    found.append(i)
                below = 0
            else:
                below += 1
        return found


def attack():
    """Seconds from the burst sound's first sample to where it first passes
    the onsets' threshold."""
    with wave.open(os.path.join(os.path.dirname(os.path.abspath(BIN)), "reverb.wav")) as clip:
        frames = clip.readframes(clip.getnframes())
        values = struct.unpack(f"<{len(frames) // 2}h", frames)
        return next(i for i, v in enumerate(values) if abs(v) / 32768 > 1e-3) / clip.getframerate()


def device_rate(samples_per_second):
    """The standard rate a measured one is: music that is never resampled
    plays its seconds in exactly that many of the device's samples."""
    return min(RATES, key=lambda r: abs(r - samples_per_second))


def wait_until(p, heard_enough, seconds=None, timeout=20.0, every=0.3):
    """Until the recording (its last `seconds`) satisfies `heard_enough`:
    looked at now and then, since the test shares the machine with the show."""
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline and p.proc.poll() is None:
        if os.path.exists(p.recording.path) and heard_enough(Heard(p.recording, seconds)):
            return True
        time.sleep(every)
    return False


def music_throughout(heard):
    return len(heard.left) > 0 and all(heard.playing(i) for i in range(len(heard.left)))


class Music(unittest.TestCase):
    def test_offset_pause_steps_and_restart(self):
        seconds, offset = 30, 2.5
        # A launch sound at 0; the music from 2.5 s, after the launch sound has died away.
        files = {"show.toml": show("position.wav", offset, [(0, 60)]), "position.wav": ramp(seconds)}
        with Program(BIN, ["show.toml"], files=files) as p:
            self.assertIsNotNone(p.wait_window(), p.stderr())
            self.assertTrue(p.focus())

            # Each key once the music has played on for a while: the
            # recording's last stretch is music throughout.
            self.assertTrue(wait_until(p, music_throughout, seconds=1.3), "no music")
            p.key("space")
            time.sleep(1.0)  # silent meanwhile
            p.key("Right")
            time.sleep(0.5)
            p.key("space")
            self.assertTrue(wait_until(p, music_throughout, seconds=0.8), "no music after the pause")
            p.key("Return")
            time.sleep(offset - 0.5)  # the music's offset again
            self.assertTrue(wait_until(p, music_throughout, seconds=1.0), "no music after Enter")
            p.key("Right")
            time.sleep(1.0)
            heard = Heard(p.recording)
            # q ends the program through its main loop: the music's thread
            # is joined on the way out, and the status is still 1.
            p.key("q")
            self.assertEqual(p.wait(10), 1)
            self.assertEqual(own(p.stderr()), "")

        runs = heard.runs(int(0.3 * 48000))
        self.assertEqual(len(runs), 3, f"music heard in {runs}: not a start, a pause and an Enter")
        (a0, a1), (b0, b1), (c0, c1) = runs
        position = lambda i: heard.music(i) * seconds  # noqa: E731
        # Never resampled: a second of music is a standard rate's samples.
        rate = (a1 - a0) / (position(a1) - position(a0))
        self.assertAlmostEqual(rate / device_rate(rate), 1.0, delta=0.0005, msg=f"{rate:.1f} samples a second")
        rate = device_rate(rate)
        # From its first sample (the ramp's first values are too faint to
        # see: counted back from the first one seen), exactly the offset
        # after the launch sound.
        first = lambda i: i - round(position(i) * rate - 1)  # noqa: E731
        launches = [i - attack() * rate for i in heard.onsets(heard.bursts, rate=rate)]
        self.assertEqual(len(launches), 2, f"launch sounds at {launches}: the start and Enter")
        self.assertLess(position(a0), 0.001)
        self.assertAlmostEqual((first(a0) - launches[0]) / rate, offset, delta=3 / rate)
        # Paused, moved a second on, resumed: a second after what was heard
        # last (less what of a buffer was still playing when the key came).
        moved = position(b0) - position(a1)
        self.assertAlmostEqual(moved, 1.0, delta=0.05, msg="resumed elsewhere than a second on")
        # Enter: the launch sound and the music's first sample, the offset apart.
        self.assertLess(launches[1], c0)
        self.assertLess(position(c0), 0.001)
        self.assertAlmostEqual((first(c0) - launches[1]) / rate, offset, delta=3 / rate)
        # Right while playing: the music jumps a second on, without a gap.
        jumps = [(i, position(i) - position(i - 1)) for i in range(c0 + 1, c1 + 1)
                 if abs(position(i) - position(i - 1)) > 0.01]
        self.assertEqual(len(jumps), 1, f"jumps {jumps}")
        self.assertAlmostEqual(jumps[0][1], 1.0, delta=0.05, msg="Right did not move the music a second")

    def test_pitch_and_bursts_on_the_beats(self):
        # The track, at a rate the device's is not: four seconds of a steady
        # 440 Hz tone (opposite on the two channels), then a click on the left
        # every half second. Shells launch and burst on clicks two seconds
        # apart; the music begins at 2 s, the first shell at 6 s.
        rate, offset, tone = 44100, 2.0, 4.0
        left, right = [], []
        for i in range(int(16 * rate)):
            t = i / rate
            if t < tone:
                s = 0.8 * math.sin(2 * math.pi * 440 * t)
                left.append(s)
                right.append(-s)
            else:
                within = (t - tone) % 0.5
                left.append(0.6 * math.exp(-within * 400) if within < 0.02 else 0.0)
                right.append(0.0)
        beats = [offset + tone + 0.5 * k for k in range(int((16 - tone) / 0.5))]
        shells = [(offset + tone + 4 * j, 2) for j in range(3)]  # sounds at 6, 8, 10, 12, 14, 16 s
        files = {"show.toml": show("beats.wav", offset, shells), "beats.wav": float_wav(left, right, rate)}
        with Program(BIN, ["show.toml"], files=files) as p:
            self.assertIsNotNone(p.wait_window(), p.stderr())
            self.assertTrue(wait_until(p, lambda h: len(h.onsets(h.right)) >= 6, timeout=60, every=2.0),
                            "the six sounds were not heard")
            time.sleep(0.5)
            heard = Heard(p.recording)
            self.assertEqual(own(p.stderr()), "")

        music = [i for i in range(len(heard.left)) if heard.playing(i)]
        self.assertTrue(music, "no music")
        first = music[0]
        # The tone, second by second: zero crossings interpolated between
        # samples count its cycles in the recording's own samples.
        difference = [heard.left[i] - heard.right[i] for i in range(len(heard.left))]
        windows = []
        for w in range(3):
            start = first + int((0.25 + w) * 48000)
            crossings = []
            for i in range(start, start + 48000):
                a, b = difference[i], difference[i + 1]
                if a < 0 <= b:
                    crossings.append(i + a / (a - b))
            windows.append((len(crossings) - 1) / (crossings[-1] - crossings[0]))  # cycles a sample
        device = device_rate(440 / windows[0])
        for cycles in windows:
            self.assertAlmostEqual(cycles * device / 440, 1.0, delta=0.003,
                                   msg=f"{cycles * device:.2f} Hz: the music was resampled")
        print(f"pitch: {', '.join(f'{c * device:.3f}' for c in windows)} Hz at {device} Hz", file=sys.stderr)

        # Each burst sound on its click, in the same recording.
        lead = attack()
        clicks = heard.onsets([heard.left[i] - heard.right[i] for i in range(len(heard.left))], quiet=0.3,
                              rate=device)
        sounds = heard.onsets(heard.right, rate=device)
        self.assertGreaterEqual(len(sounds), 6)
        late = []
        for s in sounds[-6:]:
            nearest = min(clicks, key=lambda c: abs(c + lead * device - s))
            late.append((s - nearest) / device - lead)
        print("bursts after their beats: " + ", ".join(f"{1000 * d:+.2f}" for d in late) + " ms", file=sys.stderr)
        for d in late:
            self.assertLess(abs(d), 0.002, f"bursts off their beats by {late} s")
        self.assertGreaterEqual(len(clicks), len(beats) - 1)

    def test_missing_or_unplayable_music_is_told_and_the_show_plays(self):
        for name, content, reason in (("gone.ogg", None, "cannot read the file (No such file or directory)"),
                                      ("words.ogg", b"not a sound at all\n", "not a sound format that can be played")):
            files = {"show.toml": show(name, 2.5, [(0, 60)])}
            if content:
                files[name] = content
            with Program(BIN, ["show.toml"], files=files) as p:
                self.assertIsNotNone(p.wait_window(), p.stderr())
                self.assertTrue(wait_until(p, lambda h: len(h.onsets(h.bursts)) >= 1), "the launch sound")
                self.assertIsNone(p.proc.poll(), "the show ended")
                err = own(p.stderr())
                self.assertEqual(err.count("\n"), 1, err)
                self.assertTrue(err.startswith("show.toml:7:8: music file: " + name + ": " + reason), err)

    def test_no_sound_device_stays_silent_with_music(self):
        with Program(BIN, ["show.toml"], audio="no-such-driver",
                     files={"show.toml": show("position.wav", 0.5, [(0, 60)]), "position.wav": ramp(3)}) as p:
            self.assertIsNotNone(p.wait_window(), p.stderr())
            p.focus()
            time.sleep(1.0)
            p.key("space", "Right", "space", "Return")
            time.sleep(0.5)
            self.assertIsNone(p.proc.poll(), "the program ended without a sound device")
            self.assertEqual(own(p.stderr()), "myxa2: master voice failed.\n")


if __name__ == "__main__":
    unittest.main()
