"""Runs the real vexlor program for tests: a private Xvfb, the sound recorded
by SDL's disk driver, keys through xdotool, screenshots read back as pixels.

Only the standard library and the Debian tools the tests install are used.
"""
import ctypes
import os
import signal
import struct
import subprocess
import tempfile
import threading
import time

WIDTH, HEIGHT = 1280, 720


class Xvfb:
    """A private X server; picks a free display itself."""

    def __init__(self):
        rfd, wfd = os.pipe()
        self.proc = subprocess.Popen(
            ["Xvfb", "-displayfd", str(wfd), "-screen", "0", f"{WIDTH}x{HEIGHT}x24",
             "-nolisten", "tcp"],
            pass_fds=[wfd], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(wfd)
        number = b""
        with os.fdopen(rfd, "rb") as pipe:
            while not number.endswith(b"\n"):
                chunk = pipe.read(1)
                if not chunk:
                    break
                number += chunk
        if not number.strip():
            self.proc.kill()
            raise RuntimeError("Xvfb did not start")
        self.display = ":" + number.decode().strip()
        # A key held down when a program ends must not autorepeat into the next.
        self.run(["xset", "r", "off"])

    def env(self):
        return dict(os.environ, DISPLAY=self.display)

    def run(self, args, check=True):
        return subprocess.run(args, env=self.env(), check=check, capture_output=True, text=True)

    def close(self):
        # Terminated, not killed: Xvfb then removes its lock and socket, so the
        # next server does not trip over them.
        self.proc.terminate()
        try:
            self.proc.wait(timeout=5)
        except subprocess.TimeoutExpired:
            self.proc.kill()
            self.proc.wait()


class Recording:
    """Samples the size of the disk driver's file against the wall clock, so
    that byte offsets can be turned into the times at which they were written
    (the driver runs a few per cent slower than real time)."""

    def __init__(self, path):
        self.path = path
        self.samples = []  # (wall time, bytes)
        self._stop = threading.Event()
        self._thread = threading.Thread(target=self._poll, daemon=True)
        self._thread.start()

    def _poll(self):
        while not self._stop.is_set():
            try:
                size = os.path.getsize(self.path)
            except OSError:
                size = 0
            self.samples.append((time.monotonic(), size))
            time.sleep(0.005)

    def stop(self):
        self._stop.set()
        self._thread.join()

    def time_of(self, offset):
        """Wall time at which the file first reached `offset` bytes."""
        for t, size in self.samples:
            if size >= offset:
                return t
        return None

    def frames(self, channels=2):
        """The recording as float32 frames (the driver's format here; checked
        by the caller through the byte rate and the sample range)."""
        with open(self.path, "rb") as f:
            data = f.read()
        count = len(data) // 4
        values = struct.unpack(f"<{count}f", data[:count * 4])
        return values, channels

    def byte_rate(self):
        """Bytes per second of wall time, measured over the recording."""
        grown = [(t, s) for t, s in self.samples if s > 0]
        if len(grown) < 2:
            return 0.0
        (t0, s0), (t1, s1) = grown[0], grown[-1]
        return (s1 - s0) / (t1 - t0) if t1 > t0 else 0.0

    def onsets(self, block_seconds=0.01, rate=48000, channels=2, ratio=6.0, floor=1e-4):
        """Wall times at which a sound starts: a block whose energy jumps well
        above that of the 50 ms before it."""
        values, _ = self.frames(channels)
        block = int(rate * block_seconds) * channels
        energies = []
        for start in range(0, len(values) - block + 1, block):
            chunk = values[start:start + block]
            energies.append(sum(v * v for v in chunk) / block)
        found = []
        history = int(0.05 / block_seconds)
        for i, e in enumerate(energies):
            before = energies[max(0, i - history):i]
            base = max(before) if before else 0.0
            if e > floor and e > ratio * base:
                t = self.time_of(i * block * 4)
                if t is not None and (not found or t - found[-1] > 0.3):
                    found.append(t)
        return found


class Program:
    """One run of vexlor under a private X server with its sound recorded."""

    def __init__(self, binary, args=(), audio="disk", cwd=None, extra_env=None):
        self.xvfb = Xvfb()
        self.tmp = tempfile.TemporaryDirectory(prefix="vexlor-run-")
        self.audio_path = os.path.join(self.tmp.name, "sound.raw")
        env = self.xvfb.env()
        env["SDL_AUDIODRIVER"] = audio
        env["SDL_DISKAUDIOFILE"] = self.audio_path
        env.update(extra_env or {})
        self.out_path = os.path.join(self.tmp.name, "stdout")
        self.err_path = os.path.join(self.tmp.name, "stderr")
        self._out = open(self.out_path, "w")
        self._err = open(self.err_path, "w")
        self.recording = Recording(self.audio_path) if audio == "disk" else None
        self.started = time.monotonic()
        self.proc = subprocess.Popen([binary, *args], env=env, cwd=cwd or self.tmp.name,
                                     stdout=self._out, stderr=self._err)
        self.window = None

    # --- the window -----------------------------------------------------

    def wait_window(self, timeout=20.0):
        deadline = time.monotonic() + timeout
        while time.monotonic() < deadline:
            if self.proc.poll() is not None:
                return None
            r = self.xvfb.run(["xdotool", "search", "--name", "^vexlor$"], check=False)
            ids = r.stdout.split()
            if ids:
                self.window = ids[0]
                return self.window
            time.sleep(0.05)
        return None

    def geometry(self):
        r = self.xvfb.run(["xdotool", "getwindowgeometry", "--shell", self.window])
        values = dict(line.split("=", 1) for line in r.stdout.split())
        return int(values["X"]), int(values["Y"]), int(values["WIDTH"]), int(values["HEIGHT"])

    def wait_geometry(self, want, timeout=5.0):
        deadline = time.monotonic() + timeout
        got = None
        while time.monotonic() < deadline:
            got = self.geometry()
            if got == want:
                return got
            time.sleep(0.05)
        return got

    def focus(self, timeout=5.0):
        """Keyboard focus on the window; it may not be mapped at first."""
        deadline = time.monotonic() + timeout
        while True:
            r = self.xvfb.run(["xdotool", "windowfocus", "--sync", self.window], check=False)
            if r.returncode == 0 or time.monotonic() > deadline:
                return r.returncode == 0
            time.sleep(0.05)

    def key(self, *names):
        self.xvfb.run(["xdotool", "key", "--delay", "50", *names])

    def keydown(self, name):
        self.xvfb.run(["xdotool", "keydown", name])

    def keyup(self, name):
        self.xvfb.run(["xdotool", "keyup", name])

    def close_window(self):
        """WM_DELETE_WINDOW, as a window manager sends it."""
        x11 = ctypes.cdll.LoadLibrary("libX11.so.6")
        x11.XOpenDisplay.restype = ctypes.c_void_p
        x11.XOpenDisplay.argtypes = [ctypes.c_char_p]
        x11.XInternAtom.restype = ctypes.c_ulong
        x11.XInternAtom.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int]
        x11.XSendEvent.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_int, ctypes.c_long,
                                   ctypes.c_void_p]
        x11.XFlush.argtypes = [ctypes.c_void_p]
        x11.XCloseDisplay.argtypes = [ctypes.c_void_p]

        class ClientMessage(ctypes.Structure):
            _fields_ = [("type", ctypes.c_int), ("serial", ctypes.c_ulong),
                        ("send_event", ctypes.c_int), ("display", ctypes.c_void_p),
                        ("window", ctypes.c_ulong), ("message_type", ctypes.c_ulong),
                        ("format", ctypes.c_int), ("data", ctypes.c_long * 5),
                        ("pad", ctypes.c_long * 12)]

        dpy = x11.XOpenDisplay(self.xvfb.display.encode())
        ev = ClientMessage()
        ev.type = 33  # ClientMessage
        ev.send_event = 1
        ev.display = dpy
        ev.window = int(self.window)
        ev.message_type = x11.XInternAtom(dpy, b"WM_PROTOCOLS", 0)
        ev.format = 32
        ev.data[0] = x11.XInternAtom(dpy, b"WM_DELETE_WINDOW", 0)
        ev.data[1] = 0  # CurrentTime
        x11.XSendEvent(dpy, int(self.window), 0, 0, ctypes.byref(ev))
        x11.XFlush(dpy)
        x11.XCloseDisplay(dpy)

    # --- pictures -------------------------------------------------------

    def save_screenshot(self, path):
        subprocess.run(["import", "-window", "root", path], env=self.xvfb.env(), check=True)

    def screenshot(self):
        """The whole screen as rows of (r, g, b) bytes."""
        r = subprocess.run(["import", "-window", "root", "-depth", "8", "ppm:-"],
                           env=self.xvfb.env(), check=True, capture_output=True)
        data = r.stdout
        # P6 <w> <h> <max> then raw RGB.
        fields, pos = [], 0
        while len(fields) < 4:
            while data[pos:pos + 1].isspace():
                pos += 1
            end = pos
            while not data[end:end + 1].isspace():
                end += 1
            fields.append(data[pos:end])
            pos = end
        pos += 1
        w, h = int(fields[1]), int(fields[2])
        return Picture(w, h, data[pos:pos + w * h * 3])

    # --- the end --------------------------------------------------------

    def wait(self, timeout):
        try:
            return self.proc.wait(timeout=timeout)
        except subprocess.TimeoutExpired:
            return None

    def stdout(self):
        self._out.flush()
        with open(self.out_path) as f:
            return f.read()

    def stderr(self):
        self._err.flush()
        with open(self.err_path) as f:
            return f.read()

    def close(self):
        if self.proc.poll() is None:
            os.kill(self.proc.pid, signal.SIGKILL)
            self.proc.wait()
        if self.recording:
            self.recording.stop()
        self.xvfb.close()
        self._out.close()
        self._err.close()
        self.tmp.cleanup()


class Picture:
    def __init__(self, width, height, rgb):
        self.width, self.height, self.rgb = width, height, rgb

    def pixel(self, x, y):
        i = (y * self.width + x) * 3
        return tuple(self.rgb[i:i + 3])

    def count_brighter(self, level):
        """Colour channels above `level` (a spark is one to a few pixels)."""
        table = bytes(1 if v > level else 0 for v in range(256))
        return self.rgb.translate(table).count(1)

    def bright_box(self, level):
        """(left, top, right, bottom) of the pixels with a channel above
        `level`, or None when there are none."""
        table = bytes(1 if v > level else 0 for v in range(256))
        marks = self.rgb.translate(table)
        xs, ys = [], []
        i = marks.find(1)
        while i >= 0:
            pixel = i // 3
            xs.append(pixel % self.width)
            ys.append(pixel // self.width)
            i = marks.find(1, (pixel + 1) * 3)
        if not xs:
            return None
        return min(xs), min(ys), max(xs), max(ys)

    def most_common(self):
        counts = {}
        for i in range(0, len(self.rgb), 3 * 97):  # a sample is enough
            p = bytes(self.rgb[i:i + 3])
            counts[p] = counts.get(p, 0) + 1
        return tuple(max(counts, key=counts.get))
