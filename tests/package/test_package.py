#!/usr/bin/env python3
"""What gets installed: the manual pages against each program's --help, the
menu entry and file types, the Debian package (contents, dependencies,
lintian), and a fresh build tree installed to a staging directory and played
from there. CTest gives VEXLOR_SOURCE, VEXLOR_BUILD and VEXLOR_BINDIR; the
slow steps (a fresh tree, cpack) are set-up commands of this script that write
into VEXLOR_WORK, run once before the checks that need them.
"""
import gzip
import os
import re
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from vexlorrun import Program, Xvfb  # noqa: E402

SOURCE = os.path.abspath(os.environ.get("VEXLOR_SOURCE", "."))
BUILD = os.path.abspath(os.environ.get("VEXLOR_BUILD", "build"))
BINDIR = os.environ.get("VEXLOR_BINDIR", os.path.join(BUILD, "bin"))
WORK = os.environ.get("VEXLOR_WORK", os.path.join(BUILD, "package-test"))
FRESH = os.path.join(WORK, "fresh")
STAGING = os.path.join(FRESH, "staging")
DEBDIR = os.path.join(WORK, "deb")
BRIGHT = 120  # sparks; the sky is 46
ICON_SIZES = (16, 22, 24, 32, 48, 64, 128, 256)
OPTION = re.compile(r"(?<![\w-])--?[A-Za-z0-9][\w-]*")


def run(*args, **kw):
    return subprocess.run(args, capture_output=True, text=True, **kw)


def manpages():
    """(program, section, source) for every page source in docs/man."""
    folder = os.path.join(SOURCE, "docs", "man")
    for name in sorted(os.listdir(folder)):
        m = re.fullmatch(r"(.+)\.(\d)\.scd", name)
        if m:
            yield m[1], m[2], os.path.join(folder, name)


def help_options(text):
    """Options listed by --help: every entry line that starts with a dash
    ("  --help   ...", "  -o,--output FILE  ..."), up to its description."""
    found = set()
    for line in text.splitlines():
        entry = line.strip()
        if entry.startswith("-"):
            found |= set(OPTION.findall(re.split(r"\s{2,}", entry)[0]))
    return found


def page_options(scd):
    """Options in the OPTIONS section of an scdoc page: its term lines."""
    found, inside = set(), False
    for line in scd.splitlines():
        if line.startswith("# "):
            inside = line.strip() == "# OPTIONS"
        elif inside and line.startswith("*-"):
            found |= set(OPTION.findall(line.replace("*", " ").replace("_", " ")))
    return found


def gallery():
    """The shows folder's show and scene files and music: relative path -> text."""
    shows, found = os.path.join(SOURCE, "shows"), {}
    for top, _, files in os.walk(shows):
        for name in files:
            if name.endswith((".toml", ".scene", ".ogg", ".flac")):
                path = os.path.join(top, name)
                with open(path, errors="replace") as f:
                    found[os.path.relpath(path, shows)] = f.read()
    return found


def png_size(path):
    with open(path, "rb") as f:
        head = f.read(24)
    assert head[:8] == b"\x89PNG\r\n\x1a\n", f"{path}: not a PNG"
    return struct.unpack(">II", head[16:24])


def plays(test, binary, args=()):
    """The program starts from an unrelated working directory, finds its
    sound and shows sparks after the first burst, with the sound heard."""
    with Program(binary, args) as p:
        test.assertIsNotNone(p.wait_window(), p.stderr())
        # The burst comes 2 s after the launch; a busy machine may start late,
        # so look until a generous deadline rather than at one moment.
        sparks = 0
        while sparks <= 200 and time.monotonic() < p.started + 8.0:
            time.sleep(0.25)
            test.assertIsNone(p.proc.poll(), p.stderr())
            sparks = p.screenshot().count_brighter(BRIGHT)
        test.assertGreater(sparks, 200, "no sparks")
        p.recording.stop()
        test.assertGreater(max(map(abs, p.recording.samples()), default=0), 0.01, "silent")
        test.assertNotIn("failed", p.stderr())


class Pages(unittest.TestCase):
    def test_every_page_lists_the_options_of_its_program(self):
        pages = list(manpages())
        self.assertTrue(pages, "no manual pages")
        env = {k: v for k, v in os.environ.items() if k != "DISPLAY"}
        for program, _, source in pages:
            with self.subTest(program=program):
                binary = os.path.join(BINDIR, program)
                self.assertTrue(os.access(binary, os.X_OK), f"{program}: a page but no program")
                r = run(binary, "--help", env=env, timeout=20)
                self.assertEqual(r.returncode, 0, r.stderr)
                listed = help_options(r.stdout)
                self.assertIn("--help", listed, "the option list was not understood")
                with open(source) as f:
                    self.assertEqual(page_options(f.read()), listed,
                                     f"{source} OPTIONS against {program} --help")

    def test_pages_render_without_warnings(self):
        for program, section, _ in manpages():
            with self.subTest(program=program):
                page = os.path.join(BUILD, "docs", "man", f"{program}.{section}.gz")
                with gzip.open(page, "rt") as f:
                    self.assertIn(f'.TH "{program}" "{section}"', f.read())
                r = run("man", "--warnings", "-l", page,
                        env=dict(os.environ, MANWIDTH="80", MAN_KEEP_FORMATTING="", LC_ALL="C.UTF-8"))
                self.assertEqual((r.returncode, r.stderr), (0, ""))
                heads = [line for line in r.stdout.splitlines() if re.fullmatch(r"[A-Z][A-Z ]+", line)]
                for head in ("NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXIT STATUS", "EXAMPLES"):
                    self.assertIn(head, heads)


class Desktop(unittest.TestCase):
    def test_entry_validates_and_names_only_known_types(self):
        entry = os.path.join(SOURCE, "desktop", "vexlor.desktop")
        r = run("desktop-file-validate", entry)
        self.assertEqual((r.returncode, r.stdout + r.stderr), (0, ""))
        with open(entry) as f:
            fields = dict(line.split("=", 1) for line in f.read().splitlines() if "=" in line)
        with open(os.path.join(SOURCE, "desktop", "vexlor.xml")) as f:
            defined = set(re.findall(r'<mime-type type="([^"]+)"', f.read()))
        self.assertEqual(set(filter(None, fields["MimeType"].split(";"))), defined)
        self.assertRegex(fields["Exec"], r"^vexlor %[fF]$", "a file manager must hand the file over")

    def test_icons_are_made_at_every_size(self):
        for size in ICON_SIZES:
            png = os.path.join(BUILD, "desktop", "icons", f"{size}x{size}", "vexlor.png")
            self.assertEqual(png_size(png), (size, size))


class Deb(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        debs = [f for f in os.listdir(DEBDIR) if f.endswith(".deb")] if os.path.isdir(DEBDIR) else []
        if len(debs) != 1:
            raise AssertionError(f"expected one package in {DEBDIR}, found {debs}")
        cls.deb = os.path.join(DEBDIR, debs[0])

    def test_contents(self):
        listing = run("dpkg-deb", "-c", self.deb, check=True).stdout
        # A link is listed as "./PATH -> TARGET".
        paths = {line.split(" -> ")[0].split()[-1].lstrip(".") for line in listing.splitlines()}
        want = {"/usr/share/vexlor/reverb.wav", "/usr/share/vexlor/deepburst.wav",
                "/usr/share/vexlor/deeperburst.wav", "/usr/share/vexlor/crackle.wav",
                "/usr/share/applications/vexlor.desktop",
                "/usr/share/mime/packages/vexlor.xml", "/usr/share/doc/vexlor/copyright",
                "/usr/share/doc/vexlor/changelog.gz",
                "/usr/share/icons/hicolor/scalable/apps/vexlor.svg"}
        want |= {f"/usr/share/icons/hicolor/{s}x{s}/apps/vexlor.png" for s in ICON_SIZES}
        for program, section, _ in manpages():
            want |= {f"/usr/bin/{program}", f"/usr/share/man/man{section}/{program}.{section}.gz"}
        want |= {f"/usr/share/vexlor/shows/{rel}" for rel in gallery()}
        want |= {"/usr/share/vexlor/slurm/vexlor-render.sbatch"}
        want |= {"/usr/libexec/xscreensaver/vexlor", "/usr/share/xscreensaver/config/vexlor.xml"}
        self.assertEqual(want - paths, set(), "missing from the package")
        self.assertEqual({p for p in paths if not p.startswith("/usr/")}, set(), "outside /usr")

    def test_control_fields(self):
        fields = run("dpkg-deb", "-f", self.deb, check=True).stdout
        depends = re.search(r"^Depends: (.*)$", fields, re.M)
        self.assertIsNotNone(depends, fields)
        for library in ("libglfw3", "libfaudio0", "libepoxy0", "libc6"):
            self.assertIn(library, depends[1], "dependencies not computed from the programs")
        # What vexlor-render and vexlor-farm run as programs.
        for program in ("ffmpeg", "parallel"):
            self.assertRegex(depends[1], rf"(^|, ){program}(,|$| )", "vexlor-farm's programs")
        self.assertRegex(fields, r"(?m)^Description: \S.*\n( \S.*\n)+")
        with open(os.path.join(SOURCE, "dist", "changelog")) as f:
            latest = re.match(r"vexlor \(([^)]+)\)", f.readline())
        self.assertEqual(latest[1], re.search(r"(?m)^Version: (.*)$", fields)[1],
                         "the changelog's latest entry is not this version")

    def test_lintian_finds_no_errors(self):
        r = run("lintian", "--no-tag-display-limit", self.deb, timeout=300)
        errors = [line for line in r.stdout.splitlines() if line.startswith("E:")]
        self.assertEqual(errors, [], r.stdout)
        if r.stdout.strip():
            print("lintian:\n" + r.stdout, file=sys.stderr)

    def test_unpacked_package_plays(self):
        with tempfile.TemporaryDirectory(prefix="vexlor-deb-") as root:
            run("dpkg-deb", "-x", self.deb, root, check=True)
            plays(self, os.path.join(root, "usr", "bin", "vexlor"))


class Install(unittest.TestCase):
    """The tree built and installed from scratch by `build-fresh`."""

    def test_installed_sound_and_program(self):
        for clip in ("reverb.wav", "deepburst.wav", "deeperburst.wav", "crackle.wav"):
            self.assertTrue(os.path.isfile(os.path.join(STAGING, "share", "vexlor", clip)),
                            f"the sound {clip} was not installed")
        plays(self, os.path.join(STAGING, "bin", "vexlor"))

    def test_file_manager_opens_a_scene_file_with_the_viewer(self):
        """What a file manager does: find the file's type, its default
        application, and start it with the file."""
        with tempfile.TemporaryDirectory(prefix="vexlor-open-") as tmp:
            share = os.path.join(tmp, "share")
            shutil.copytree(os.path.join(STAGING, "share"), share)
            shutil.copy("/usr/share/mime/packages/freedesktop.org.xml",
                        os.path.join(share, "mime", "packages"))
            run("update-mime-database", os.path.join(share, "mime"), check=True)
            run("update-desktop-database", os.path.join(share, "applications"), check=True)
            scene = os.path.join(tmp, "single.scene")
            run(os.path.join(STAGING, "bin", "vexlor-scene"), "make", "single", scene, check=True)

            xvfb = Xvfb()
            try:
                env = dict(xvfb.env(), XDG_DATA_DIRS=share, XDG_DATA_HOME=os.path.join(tmp, "home"),
                           XDG_CONFIG_HOME=os.path.join(tmp, "config"), XDG_CONFIG_DIRS=tmp,
                           PATH=os.path.join(STAGING, "bin") + os.pathsep + os.environ["PATH"],
                           SDL_AUDIODRIVER="dummy")
                # By name; by content when the name tells nothing (each show
                # of the gallery as well); other TOML files stay TOML.
                files = {"salvo.vexlor.toml": ("# a show\n", "application/x-vexlor-show"),
                         "unnamed": ("# a show\n\n[[shell]]\nkind = \"single\"\n",
                                     "application/x-vexlor-show"),
                         "Cargo.toml": ("[package]\nname = \"x\"\n", "application/toml")}
                for name, text in gallery().items():
                    if name.endswith(".toml"):
                        self.assertTrue(name.endswith(".vexlor.toml"), f"{name}: a gallery show a file manager "
                                        "would take for plain TOML")
                        files[name.replace("/", "-")] = (text, "application/x-vexlor-show")
                        files[name.replace("/", "-") + "-unnamed"] = (text, "application/x-vexlor-show")
                for name, (text, _) in files.items():
                    with open(os.path.join(tmp, name), "w") as f:
                        f.write(text)
                for path, kind in [(scene, "application/x-vexlor-scene")] + [
                        (os.path.join(tmp, name), kind) for name, (_, kind) in files.items()]:
                    with self.subTest(path=os.path.basename(path)):
                        found = run("gio", "info", "-a", "standard::content-type", path, env=env)
                        self.assertIn(f"standard::content-type: {kind}\n", found.stdout)
                for kind in ("application/x-vexlor-scene", "application/x-vexlor-show"):
                    default = run("gio", "mime", kind, env=env).stdout
                    self.assertIn("Default application for", default)
                    self.assertIn("vexlor.desktop", default)
                # The viewer inherits gio's streams: a file, not a pipe that
                # stays open while it runs.
                with open(os.path.join(tmp, "gio.err"), "w+") as err:
                    opened = subprocess.run(["gio", "open", scene], env=env, timeout=20,
                                            stdout=subprocess.DEVNULL, stderr=err)
                    err.seek(0)
                    self.assertEqual(opened.returncode, 0, err.read())
                window, deadline = None, time.monotonic() + 20
                while not window and time.monotonic() < deadline:
                    window = xvfb.run("xdotool", "search", "--name", "^vexlor$", check=False).stdout.split()
                    time.sleep(0.1)
                self.assertTrue(window, "opening the file started no viewer")
                pid = int(xvfb.run("xdotool", "getwindowpid", window[0]).stdout)
                try:
                    with open(f"/proc/{pid}/cmdline", "rb") as f:
                        self.assertEqual(f.read().split(b"\0")[1:2], [scene.encode()])
                finally:
                    os.kill(pid, signal.SIGKILL)
            finally:
                xvfb.close()


def build_fresh():
    """A new build tree configured as a user would, built, and installed
    under a prefix of its own."""
    tree = os.path.join(FRESH, "tree")
    shutil.rmtree(FRESH, ignore_errors=True)
    steps = (["cmake", "-S", SOURCE, "-B", tree, "-DVEXLOR_TESTS=OFF", "-DVEXLOR_BENCH=OFF"],
             ["cmake", "--build", tree, "-j", "2"],
             ["cmake", "--install", tree, "--prefix", STAGING])
    for step in steps:
        r = run(*step)
        if r.returncode:
            sys.exit(f"{' '.join(step)} failed:\n{r.stdout[-3000:]}{r.stderr[-3000:]}")


def make_deb():
    shutil.rmtree(DEBDIR, ignore_errors=True)
    r = run("cpack", "-G", "DEB", "-B", DEBDIR, cwd=BUILD)
    if r.returncode:
        sys.exit(f"cpack failed:\n{r.stdout}{r.stderr}")
    shutil.rmtree(os.path.join(DEBDIR, "_CPack_Packages"), ignore_errors=True)


if __name__ == "__main__":
    if sys.argv[1:] == ["build-fresh"]:
        build_fresh()
    elif sys.argv[1:] == ["make-deb"]:
        make_deb()
    else:
        unittest.main()
