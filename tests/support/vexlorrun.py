"""Runs the real vexlor program for tests: a private Xvfb, the sound recorded
by SDL's disk driver, keys through xdotool, screenshots read back as pixels.
"""
import ctypes
import os
import re
import signal
import struct
import subprocess
import tempfile
import threading
import time

WIDTH, HEIGHT = 1280, 720


class Xvfb:
    """A private X server that picks a free display itself (-displayfd).
    -noreset: otherwise the server resets when its last client (xset) leaves,
    and a program connecting during the reset is refused."""

    def __init__(self, extra_args=()):
        rfd, wfd = os.pipe()
        self.proc = subprocess.Popen(
            ["Xvfb", "-displayfd", str(wfd), "-screen", "0", f"{WIDTH}x{HEIGHT}x24",
             "-nolisten", "tcp", "-noreset", *extra_args], pass_fds=[wfd], stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL)
        os.close(wfd)
        with os.fdopen(rfd) as pipe:
            number = pipe.readline().strip()
        if not number:
            self.proc.kill()
            raise RuntimeError("Xvfb did not start")
        self.display = ":" + number
        # A key held down when a program ends must not autorepeat into the next.
        self.run("xset", "r", "off")

    def env(self):
        return dict(os.environ, DISPLAY=self.display)

    def run(self, *args, check=True):
        return subprocess.run(args, env=self.env(), check=check, capture_output=True, text=True)

    def screenshot(self):
        """The whole screen, as the X server shows it."""
        data = subprocess.run(["import", "-window", "root", "-depth", "8", "ppm:-"],
                              env=self.env(), check=True, capture_output=True).stdout
        header = re.match(rb"P6\s+(\d+)\s+(\d+)\s+\d+\s", data)
        w, h = int(header[1]), int(header[2])
        return Picture(w, data[header.end():header.end() + w * h * 3])

    def close(self):
        # Terminated, not killed: Xvfb then removes its lock and socket.
        self.proc.terminate()
        try:
            self.proc.wait(timeout=5)
        except subprocess.TimeoutExpired:
            self.proc.kill()
            self.proc.wait()


class Recording:
    """The disk driver's file, with its size sampled against the wall clock so
    that a byte offset tells when it was written (the driver runs a few per
    cent slower than real time). Samples are float32, stereo."""

    def __init__(self, path):
        self.path, self.sizes = path, []  # (wall time, bytes)
        self._stop = threading.Event()
        self._thread = threading.Thread(target=self._poll, daemon=True)
        self._thread.start()

    def _poll(self):
        while not self._stop.is_set():
            size = os.path.getsize(self.path) if os.path.exists(self.path) else 0
            self.sizes.append((time.monotonic(), size))
            time.sleep(0.005)

    def stop(self):
        self._stop.set()
        self._thread.join()

    def samples(self):
        with open(self.path, "rb") as f:
            data = f.read()
        return struct.unpack(f"<{len(data) // 4}f", data[:len(data) // 4 * 4])

    def frames(self):
        """Stereo frames written so far."""
        return os.path.getsize(self.path) // 8 if os.path.exists(self.path) else 0

    def onset_frames(self, rate=48000, block=0.01, ratio=6.0, floor=1e-4):
        """Frames at which a sound starts: a 10 ms block whose energy jumps
        well above the loudest of the 50 ms before it, at least 0.3 s after
        the one before."""
        values = self.samples()
        n = int(rate * block) * 2
        energy = [sum(v * v for v in values[i:i + n]) / n for i in range(0, len(values) - n + 1, n)]
        found = []
        for i, e in enumerate(energy):
            if e > floor and e > ratio * max(energy[max(0, i - 5):i], default=0.0):
                frame = i * n // 2
                if not found or frame - found[-1] > 0.3 * rate:
                    found.append(frame)
        return found

    def onsets(self, rate=48000, block=0.01, ratio=6.0, floor=1e-4):
        """Wall times at which a sound starts (see onset_frames)."""
        found = []
        for frame in self.onset_frames(rate, block, ratio, floor):
            t = next((t for t, size in self.sizes if size >= frame * 8), None)
            if t is not None:
                found.append(t)
        return found


class Program:
    """One run of vexlor under a private X server with its sound recorded.
    `files` (name: bytes) are written to its working directory first;
    `xvfb_args` go to the X server. An X server made beforehand (to put
    windows on it) may be handed in; the run then owns it."""

    def __init__(self, binary, args=(), audio="disk", extra_env=None, files=None, xvfb_args=(),
                 xvfb=None):
        self.xvfb = xvfb or Xvfb(xvfb_args)
        self.tmp = tempfile.TemporaryDirectory(prefix="vexlor-run-")
        for name, content in (files or {}).items():
            with open(os.path.join(self.tmp.name, name), "wb") as f:
                f.write(content)
        sound = os.path.join(self.tmp.name, "sound.raw")
        env = dict(self.xvfb.env(), SDL_AUDIODRIVER=audio, SDL_DISKAUDIOFILE=sound,
                   **(extra_env or {}))
        self._out = open(os.path.join(self.tmp.name, "stdout"), "w+")
        self._err = open(os.path.join(self.tmp.name, "stderr"), "w+")
        self.recording = Recording(sound) if audio == "disk" else None
        self.started = time.monotonic()
        self.proc = subprocess.Popen([binary, *args], env=env, cwd=self.tmp.name,
                                     stdout=self._out, stderr=self._err)
        self.window = None

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def xdotool(self, *args, check=True):
        return self.xvfb.run("xdotool", *args, check=check)

    def wait_window(self, timeout=20.0, name="^vexlor$"):
        """The window's id once its title matches `name` (the show has begun
        under the plain title; while loading it reads "vexlor: loading N%")."""
        deadline = time.monotonic() + timeout
        while time.monotonic() < deadline and self.proc.poll() is None:
            ids = self.xdotool("search", "--name", name, check=False).stdout.split()
            if ids:
                self.window = ids[0]
                return self.window
            time.sleep(0.05)
        return None

    def geometry(self):
        out = self.xdotool("getwindowgeometry", "--shell", self.window).stdout
        values = dict(line.split("=", 1) for line in out.split())
        return tuple(int(values[k]) for k in ("X", "Y", "WIDTH", "HEIGHT"))

    def wait_geometry(self, want, timeout=5.0):
        deadline = time.monotonic() + timeout
        while (got := self.geometry()) != want and time.monotonic() < deadline:
            time.sleep(0.05)
        return got

    def focus(self, timeout=5.0):
        """Keyboard focus on the window; it may not be mapped at first."""
        deadline = time.monotonic() + timeout
        while self.xdotool("windowfocus", "--sync", self.window, check=False).returncode:
            if time.monotonic() > deadline:
                return False
            time.sleep(0.05)
        return True

    def title(self):
        return self.xdotool("getwindowname", self.window, check=False).stdout.strip()

    def key(self, *names):
        self.xdotool("key", "--delay", "50", *names)

    def close_window(self):
        """WM_DELETE_WINDOW, as a window manager sends it."""
        x11 = ctypes.cdll.LoadLibrary("libX11.so.6")
        x11.XOpenDisplay.restype = ctypes.c_void_p
        x11.XInternAtom.restype = ctypes.c_ulong
        x11.XInternAtom.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int]
        x11.XSendEvent.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_int, ctypes.c_long,
                                   ctypes.c_void_p]
        x11.XCloseDisplay.argtypes = [ctypes.c_void_p]

        class ClientMessage(ctypes.Structure):
            _fields_ = [("type", ctypes.c_int), ("serial", ctypes.c_ulong),
                        ("send_event", ctypes.c_int), ("display", ctypes.c_void_p),
                        ("window", ctypes.c_ulong), ("message_type", ctypes.c_ulong),
                        ("format", ctypes.c_int), ("data", ctypes.c_long * 5),
                        ("pad", ctypes.c_long * 12)]  # an XEvent is 24 longs

        dpy = x11.XOpenDisplay(self.xvfb.display.encode())
        ev = ClientMessage(type=33, send_event=1, display=dpy, window=int(self.window),
                           message_type=x11.XInternAtom(dpy, b"WM_PROTOCOLS", 0), format=32)
        ev.data[0] = x11.XInternAtom(dpy, b"WM_DELETE_WINDOW", 0)
        x11.XSendEvent(dpy, int(self.window), 0, 0, ctypes.byref(ev))
        x11.XCloseDisplay(dpy)  # flushes

    def save_screenshot(self, path):
        self.xvfb.run("import", "-window", "root", path)

    def screenshot(self):
        return self.xvfb.screenshot()

    def wait(self, timeout):
        try:
            return self.proc.wait(timeout=timeout)
        except subprocess.TimeoutExpired:
            return None

    def stdout(self):
        self._out.seek(0)
        return self._out.read()

    def stderr(self):
        self._err.seek(0)
        return self._err.read()

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
    """A screenshot: rows of (r, g, b) bytes."""

    def __init__(self, width, rgb):
        self.width, self.rgb = width, rgb

    def marks(self, level):
        """One byte per channel: 1 where the channel is above `level`."""
        return self.rgb.translate(bytes(int(v > level) for v in range(256)))

    def count_brighter(self, level):
        return self.marks(level).count(1)

    def white(self, level):
        """(x, y) of every pixel whose three channels are all above `level`:
        white and grey stars, not coloured sparks."""
        marks = self.marks(level)
        r, g, b = (int.from_bytes(marks[k::3], "big") for k in range(3))
        every = (r & g & b).to_bytes(len(marks) // 3, "big")
        i = 0
        while (i := every.find(1, i)) >= 0:
            yield i % self.width, i // self.width
            i += 1

    def white_box(self, level):
        """(left, top, right, bottom) of the white pixels, None when there are none."""
        xs, ys = zip(*self.white(level)) or ((), ())
        return (min(xs), min(ys), max(xs), max(ys)) if xs else None

    def cells(self, level, size=32):
        """White pixels counted in cells of size x size pixels: the picture seen
        coarsely, which a shift by a pixel hardly changes."""
        counts = {}
        for x, y in self.white(level):
            counts[x // size, y // size] = counts.get((x // size, y // size), 0) + 1
        return counts

    def most_common(self):
        """The commonest colour, from a sample of the pixels."""
        pixels = [self.rgb[i:i + 3] for i in range(0, len(self.rgb), 3 * 97)]
        return tuple(max(set(pixels), key=pixels.count))
