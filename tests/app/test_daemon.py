#!/usr/bin/env python3
"""vexlor run by a real XScreenSaver daemon under a private Xvfb, set up as the
README tells users to: the daemon starts it in its own window when it blanks
the screen and ends it when it unblanks. XScreenSaver runs no display modes
for root, so under root the daemon runs as nobody. CTest gives the binary in
VEXLOR_BIN.
"""
import os
import shutil
import subprocess
import sys
import tempfile
import time
import unittest
import xml.etree.ElementTree as ElementTree

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from vexlorrun import Xvfb  # noqa: E402

BIN = os.path.abspath(os.environ.get("VEXLOR_BIN", "build/bin/vexlor"))
BRIGHT = 120
SKY = (45, 46)
NOBODY = 65534
SETTINGS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "app", "xscreensaver", "vexlor.xml")


def hacks_on(display):
    """vexlor processes on `display`, with their environments."""
    found = {}
    for pid in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{pid}/comm") as f:
                if f.read().strip() != "vexlor":
                    continue
            with open(f"/proc/{pid}/environ", "rb") as f:
                env = dict(item.split(b"=", 1) for item in f.read().split(b"\0") if b"=" in item)
        except OSError:
            continue
        # The daemon names the screen as well: ":1.0".
        if env.get(b"DISPLAY", b"").split(b".")[0] == display.encode():
            found[int(pid)] = env
    return found


class Daemon(unittest.TestCase):
    def setUp(self):
        self.assertIsNotNone(shutil.which("xscreensaver"), "xscreensaver is not installed (scripts/install-deps)")
        self.user = ["setpriv", f"--reuid={NOBODY}", f"--regid={NOBODY}", "--clear-groups"] \
            if os.getuid() == 0 else []
        if self.user and subprocess.run(self.user + ["test", "-x", BIN]).returncode != 0:
            self.skipTest(f"{BIN} cannot be run by nobody, whom the daemon runs as under root")
        self.tmp = tempfile.TemporaryDirectory(prefix="vexlor-daemon-")
        self.home = os.path.join(self.tmp.name, "home")
        os.mkdir(self.home)
        # The display modes line exactly as the README gives it; the hack is
        # found on PATH, as the daemon finds its installed link.
        with open(os.path.join(self.home, ".xscreensaver"), "w") as f:
            f.write("timeout: 0:30:00\nmode: one\nselected: 0\nsplash: False\nlock: False\nfade: False\n"
                    "programs: GL:                vexlor --root           \\n\\\n\n")
        if self.user:
            os.chmod(self.tmp.name, 0o755)
            for top, dirs, files in os.walk(self.home):
                for name in [top] + [os.path.join(top, n) for n in dirs + files]:
                    os.chown(name, NOBODY, NOBODY)
        self.xvfb = Xvfb()
        self.env = dict(self.xvfb.env(), HOME=self.home, SDL_AUDIODRIVER="dummy",
                        PATH=os.path.dirname(BIN) + os.pathsep + os.environ["PATH"])
        self.env.pop("XSCREENSAVER_WINDOW", None)
        self.log = open(os.path.join(self.tmp.name, "daemon.log"), "w+")
        self.daemon = subprocess.Popen(self.user + ["xscreensaver", "-no-splash", "-verbose"], env=self.env,
                                       stdout=self.log, stderr=subprocess.STDOUT, cwd=self.home)

    def tearDown(self):
        self.command("-exit", check=False)
        try:
            self.daemon.wait(timeout=5)
        except subprocess.TimeoutExpired:
            self.daemon.kill()
            self.daemon.wait()
        for pid in hacks_on(self.xvfb.display):
            os.kill(pid, 9)
        self.xvfb.close()
        self.log.close()
        self.tmp.cleanup()

    def command(self, what, check=True):
        return subprocess.run(self.user + ["xscreensaver-command", what], env=self.env, capture_output=True,
                              text=True, check=check, timeout=10)

    def daemonlog(self):
        self.log.seek(0)
        return self.log.read()

    def test_the_daemon_runs_it_in_its_window_and_ends_it_on_unblank(self):
        # The daemon answers once it is up.
        deadline = time.monotonic() + 15
        while self.command("-time", check=False).returncode != 0:
            self.assertLess(time.monotonic(), deadline, self.daemonlog())
            time.sleep(0.2)
        self.command("-activate")

        hacks, deadline = {}, time.monotonic() + 20
        while not hacks and time.monotonic() < deadline:
            time.sleep(0.2)
            hacks = hacks_on(self.xvfb.display)
        self.assertEqual(len(hacks), 1, f"the daemon started no vexlor:\n{self.daemonlog()}")
        pid, env = next(iter(hacks.items()))
        window = env.get(b"XSCREENSAVER_WINDOW")
        self.assertIsNotNone(window, "the daemon set no XSCREENSAVER_WINDOW")

        # The daemon's window covers the screen: the sky over all of it, then
        # the sparks of the first burst.
        sky = sparks = None
        deadline = time.monotonic() + 20
        while time.monotonic() < deadline and not sparks:
            shot = self.xvfb.screenshot()
            if shot.most_common() in [(a, b, c) for a in SKY for b in SKY for c in SKY]:
                sky = sky or time.monotonic()
                if shot.count_brighter(BRIGHT) > 200:
                    sparks = time.monotonic()
            time.sleep(0.1)
        self.assertIsNotNone(sky, f"no sky on the screen; the daemon said:\n{self.daemonlog()}")
        self.assertIsNotNone(sparks, "no sparks in the daemon's window")

        self.command("-deactivate")
        deadline = time.monotonic() + 5
        while pid in hacks_on(self.xvfb.display) and time.monotonic() < deadline:
            time.sleep(0.05)
        self.assertNotIn(pid, hacks_on(self.xvfb.display), "still running after the daemon unblanked")
        time.sleep(0.5)
        log = self.daemonlog()
        # Ended by the daemon's signal, not of its own accord before it.
        self.assertIn(f"killing pid {pid} ", log)
        self.assertNotIn("vexlor:", log, "vexlor told of a problem")


class Settings(unittest.TestCase):
    def test_every_setting_of_the_dialog_gives_a_command_line_vexlor_takes(self):
        """The settings dialog builds the command line from the controls'
        arguments; each, at its bounds, must pass vexlor's option checks (no
        display here: status 1 and that line, not a usage error)."""
        root = ElementTree.parse(SETTINGS).getroot()
        fixed = [c.get("arg") for c in root.iter("command")]
        choices = []
        for control in root:
            if control.tag == "file":
                choices.append([control.get("arg").replace("%", "/nonexistent.vexlor.toml")])
            elif control.tag == "number":
                choices.append([control.get("arg").replace("%", control.get(k)) for k in ("low", "high", "default")])
            elif control.tag == "boolean":
                choices.append([control.get("arg-set")])
            elif control.tag == "select":
                choices.append([option.get("arg-set") for option in control if option.get("arg-set")])
        self.assertEqual(len(choices), 4, "the show, the delay, the sound and the look")
        env = {k: v for k, v in os.environ.items() if k not in ("DISPLAY", "XSCREENSAVER_WINDOW")}
        for choice in choices:
            for arg in choice:
                command = [BIN] + " ".join(fixed + [arg]).split()
                with self.subTest(command=" ".join(command[1:])):
                    done = subprocess.run(command, env=env, capture_output=True, text=True, timeout=10)
                    self.assertEqual(done.returncode, 1, done.stderr)
                    self.assertEqual(done.stderr.count("\n"), 1, done.stderr)


if __name__ == "__main__":
    unittest.main()
