// vexlor-render run as a program against what goes wrong: shaders the driver
// will not build, inputs and options out of range, files that are not
// regular, long and linked output names, frame directories used twice, a
// full disk, and signals at every stage. Each ends with one line and a
// status, and leaves nothing half-written behind.
#include "tests/firework/scenes.h"
#include "tools/render/soundtrack.h"

#include <gtest/gtest.h>
#include <sndfile.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;

struct result_t {
    int status;
    std::string err;
};

// The program headless (no DISPLAY: EGL surfaceless), with `environment`
// (VAR=value ...) put before it; standard error kept.
result_t run(const tempdir& dir, const std::string& arguments, const std::string& environment = "")
{
    const std::string err = dir.path + "/stderr";
    const std::string command = "env -u DISPLAY " + environment + " " + RENDERTOOL + " " + arguments + " >/dev/null 2>" + err;
    const int raw = std::system(command.c_str());
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, tempdir::read(err)};
}

// Nothing temporary is left in `folder`.
void nopartial(const std::string& folder)
{
    for (const auto& entry : fs::directory_iterator(folder))
        EXPECT_EQ(entry.path().filename().string().find(".partial"), std::string::npos) << entry.path();
}

} // namespace

// The driver itself is made to fail the build: Mesa reads replacement
// sources for the renderer's shaders (found by their dump names) that do not
// compile. The render stops after the driver's log, with status 1 and no
// output, where it used to write grey frames and succeed.
TEST(RenderFaults, ShadersThatDoNotBuildStopTheRender)
{
    tempdir dir;
    const std::string dump = dir.path + "/dump", broken = dir.path + "/broken";
    fs::create_directories(dump);
    fs::create_directories(broken);
    const std::string out = dir.path + "/frames/";
    ASSERT_EQ(run(dir, "single -o " + out + " --size 64x36 --to 0.1 --quiet", "MESA_SHADER_DUMP_PATH=" + dump).status, 0);
    std::size_t shaders = 0;
    for (const auto& entry : fs::directory_iterator(dump)) {
        dir.write("broken/" + entry.path().filename().string(), "#version 330\nthis is not GLSL\n");
        ++shaders;
    }
    ASSERT_GE(shaders, 2u) << "Mesa dumped no shaders: the driver cannot be made to fail this way";
    fs::remove_all(out);
    const result_t r = run(dir, "single -o " + out + " --size 64x36 --to 0.1 --quiet", "MESA_SHADER_READ_PATH=" + broken);
    EXPECT_EQ(r.status, 1) << r.err;
    EXPECT_EQ(r.err.rfind("shader compile error.\n", 0), 0u) << r.err;
    EXPECT_NE(r.err.find("syntax error"), std::string::npos) << "the driver's log" << r.err;
    const std::string last = "vexlor-render: the shaders did not build; nothing was written\n";
    EXPECT_EQ(r.err.substr(r.err.size() - std::min(r.err.size(), last.size())), last) << r.err;
    EXPECT_FALSE(fs::exists(out));
    nopartial(dir.path);
}

namespace {

// A scene with one shell at 0 s whose star glows for 4 s: ten frames a second,
// frames are few and quick to draw.
std::string probescene(const tempdir& dir)
{
    return dir.write("probe.scene", scenes::join(scenes::smalllines));
}

std::size_t framesin(const std::string& folder)
{
    std::size_t count = 0;
    for (const auto& entry : fs::directory_iterator(folder))
        count += entry.path().extension() == ".png" ? 1 : 0;
    return count;
}

} // namespace

// Options out of their ranges are usage errors, told in one line before
// anything is read: times beyond a show's span (a float's frame times there
// would collapse), fewer than one frame a second (whose sound track then ran
// for frames / fps seconds whatever --to said) and frames too large to hold.
TEST(RenderFaults, OptionsOutOfRangeAreRefused)
{
    tempdir dir;
    const std::string out = " -o " + dir.path + "/out.mp4";
    const std::pair<std::string, std::string> cases[] = {
        {"single" + out + " --from 1e15 --to 1.000000000001e15", "vexlor-render: --from 1e15: must be from 0 to 14400 seconds (try --help)\n"},
        {"single" + out + " --from 14401", "vexlor-render: --from 14401: must be from 0 to 14400 seconds (try --help)\n"},
        {"single" + out + " --from nan", "vexlor-render: --from nan: must be from 0 to 14400 seconds (try --help)\n"},
        {"single" + out + " --fps 0.01 --to 1", "vexlor-render: --fps 0.01: must be from 1 to 1000 frames a second (try --help)\n"},
        {"single" + out + " --fps 1001", "vexlor-render: --fps 1001: must be from 1 to 1000 frames a second (try --help)\n"},
        {"single" + out + " --size 16384x16384", "vexlor-render: --size 16384x16384: at most 35389440 pixels in all (8192x4320) (try --help)\n"},
    };
    for (const auto& [arguments, says] : cases) {
        const result_t r = run(dir, arguments);
        EXPECT_EQ(r.status, 2) << arguments;
        EXPECT_EQ(r.err, says) << arguments;
    }
    EXPECT_EQ(run(dir, "single -o " + dir.path + "/ok/ --size 64x36 --fps 1 --from 14399 --to 14400 --quiet").status, 0);
    EXPECT_FALSE(fs::exists(dir.path + "/out.mp4"));
}

// A show file, a scene file or music that is a FIFO or a device is refused
// before it is read: the renderer used to hang on one. A hang times the test out.
TEST(RenderFaults, FilesThatAreNotRegularAreRefusedUnread)
{
    tempdir dir;
    const std::string fifo = dir.path + "/fifo.toml";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const std::string includes = dir.write("includes.toml", "[[shell]]\nkind = \"scene\"\ntime = 0\nfile = \"fifo.toml\"\n");
    const std::string music = dir.write("music.toml", "[[shell]]\nkind = \"single\"\ntime = 0\n[music]\nfile = \"fifo.toml\"\n");
    const std::string out = " -o " + dir.path + "/out/ --size 64x36 --to 0.2";
    const std::pair<std::string, std::string> cases[] = {
        {fifo, fifo + ": not a regular file (a FIFO)\n"},
        {"/dev/zero", "/dev/zero: not a regular file (a character device)\n"},
        {includes, includes + ":4:8: scene file: " + fifo + ": not a regular file (a FIFO)\n"},
        {music, "vexlor-render: " + music + ":5:8: music file: " + fifo + ": not a regular file (a FIFO)\n"},
    };
    for (const auto& [show, says] : cases) {
        const result_t r = run(dir, show + out);
        EXPECT_EQ(r.status, 1) << show;
        EXPECT_EQ(r.err, says) << show;
    }
    EXPECT_FALSE(fs::exists(dir.path + "/out"));
    nopartial(dir.path);
}

// Every name the file system takes can be rendered to: the temporary name
// beside the output is cut to fit where the output's own name is long.
TEST(RenderFaults, OutputNamesUpToTheLongestTheFileSystemTakes)
{
    tempdir dir;
    const std::string scene = probescene(dir);
    const std::string video = std::string(251, 'v') + ".mp4"; // 255 bytes
    const std::string folder = std::string(252, 'f') + "\u00e9";  // 254 bytes, its last character two
    for (const std::string& name : {video, folder + "/"}) {
        const result_t r = run(dir, scene + " -o " + dir.path + "/" + name + " --size 64x36 --fps 10 --to 0.5 --quiet");
        EXPECT_EQ(r.status, 0) << r.err;
    }
    EXPECT_TRUE(fs::is_regular_file(dir.path + "/" + video));
    EXPECT_EQ(framesin(dir.path + "/" + folder), 5u);
    nopartial(dir.path);
}

// An output that is a symbolic link is written through it: the link stays,
// its target gets the render (a video, or a folder of frames).
TEST(RenderFaults, OutputsThatAreLinksAreWrittenThrough)
{
    tempdir dir;
    const std::string scene = probescene(dir);
    fs::create_directories(dir.path + "/elsewhere/frames");
    fs::create_symlink("elsewhere/video.mp4", dir.path + "/video.mp4"); // dangling until written
    fs::create_symlink(dir.path + "/elsewhere/frames", dir.path + "/frames");
    for (const char* name : {"video.mp4", "frames/"}) {
        const result_t r = run(dir, scene + " -o " + dir.path + "/" + name + " --size 64x36 --fps 10 --to 0.5 --quiet");
        EXPECT_EQ(r.status, 0) << r.err;
    }
    EXPECT_TRUE(fs::is_symlink(dir.path + "/video.mp4"));
    EXPECT_TRUE(fs::is_regular_file(dir.path + "/elsewhere/video.mp4"));
    EXPECT_GT(fs::file_size(dir.path + "/elsewhere/video.mp4"), 1000u);
    EXPECT_TRUE(fs::is_symlink(dir.path + "/frames"));
    EXPECT_EQ(framesin(dir.path + "/elsewhere/frames"), 5u);
    nopartial(dir.path);
    nopartial(dir.path + "/elsewhere");
}

// A render into a folder leaves it holding its own frames only: an earlier,
// longer render's frames past its last are gone, and what is not a render's
// (any name but frameNNNNNN.png and sound.wav) stays.
TEST(RenderFaults, AFolderHoldsOnlyTheLastRendersFrames)
{
    tempdir dir;
    const std::string scene = probescene(dir);
    const std::string out = dir.path + "/out/";
    ASSERT_EQ(run(dir, scene + " -o " + out + " --size 64x36 --fps 10 --to 2 --quiet").status, 0);
    ASSERT_EQ(framesin(out), 20u);
    dir.write("out/notes.txt", "mine\n");
    dir.write("out/frame12.png", "not a render's name\n");
    dir.write("out/frame0000001.png", "seven digits: not a render's name either\n");
    ASSERT_EQ(run(dir, scene + " -o " + out + " --size 64x36 --fps 10 --to 0.5 --quiet").status, 0);
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(out)) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"frame000000.png", "frame0000001.png", "frame000001.png", "frame000002.png",
                                               "frame000003.png", "frame000004.png", "frame12.png", "notes.txt", "sound.wav"}));
}

// A full disk, made by a small file system of its own (a tmpfs mounted in a
// user and mount namespace, where the system allows one): the render fails
// with one line that says so, whichever file filled it, and leaves nothing.
// ffmpeg's own reason used to be lost, its messages having gone to the full disk.
TEST(RenderFaults, AFullDiskIsToldAsSuch)
{
    if (std::system("unshare --user --map-root-user --mount true >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "no user namespaces here to mount a small file system in";
    tempdir dir;
    const std::string scene = probescene(dir), disk = dir.path + "/disk";
    fs::create_directories(disk);
    const struct {
        std::string output, span, says, also;
    } cases[] = {
        {"out.mp4", "--size 640x360 --from 2 --to 3", "No space left on device", "ffmpeg"}, // ffmpeg's own reason
        {"out.mp4", "--size 64x36 --to 4", "cannot write the sound (No space left on device)", ""},
        {"out/", "--size 1280x720 --fps 10 --from 2 --to 3", "cannot write the frame (No space left on device)", ""},
    };
    for (const auto& c : cases) {
        const std::string script = "mount -t tmpfs -o size=260k none " + disk + " && env -u DISPLAY " RENDERTOOL " susuki -o " + disk
                                 + "/" + c.output + " " + c.span + " --quiet 2>" + dir.path + "/stderr; status=$?; ls -A " + disk
                                 + " >" + dir.path + "/left; exit $status";
        const int raw = std::system(("unshare --user --map-root-user --mount sh -c '" + script + "'").c_str());
        const std::string err = tempdir::read(dir.path + "/stderr");
        EXPECT_TRUE(WIFEXITED(raw) && WEXITSTATUS(raw) == 1) << c.output << " " << c.span << "\n" << err;
        EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
        EXPECT_NE(err.find(c.says), std::string::npos) << err;
        EXPECT_NE(err.find(c.also), std::string::npos) << err;
        EXPECT_EQ(tempdir::read(dir.path + "/left"), "") << c.output << " " << c.span;
    }
}

namespace {

// The program started on its own (DISPLAY unset), its standard error into `err`.
pid_t start(const std::vector<std::string>& arguments, const std::string& err)
{
    const pid_t child = fork();
    if (child == 0) {
        unsetenv("DISPLAY");
        const int fd = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(fd, STDERR_FILENO);
        std::vector<char*> argv{const_cast<char*>(RENDERTOOL)};
        for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
        argv.push_back(nullptr);
        execv(RENDERTOOL, argv.data());
        _exit(127);
    }
    return child;
}

// The first entry of `folder` whose name holds `part`, if any.
std::string findentry(const std::string& folder, const std::string& part)
{
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(folder, ec))
        if (entry.path().filename().string().find(part) != std::string::npos) return entry.path().string();
    return {};
}

// Polls `ready` until it holds (false after `seconds`: it never did).
bool waitfor(const std::function<bool()>& ready, int seconds = 60)
{
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (!ready()) {
        if (std::chrono::steady_clock::now() > until) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// Sends `signal` and waits for the end: the exit status, or -1 when the
// program is still running ten seconds later (it is then killed). The stage
// it is stopped in would run for a minute or more on its own, so the
// deadline tells a stop from the stage's end on any machine; how soon it
// stops is measured, not tested (README).
int stop(pid_t child, int signal)
{
    kill(child, signal);
    int status = 0;
    const bool ended = waitfor([&] { return waitpid(child, &status, WNOHANG) == child; }, 10);
    if (!ended) {
        kill(child, SIGKILL);
        waitpid(child, &status, 0);
        return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// 100000 shells without stars, one every 0.036 s for an hour: cheap frames,
// but 200000 sounds to mix into the track.
std::string hourofsounds(const tempdir& dir)
{
    dir.write("bare.scene", "1\r\n0\r\npos3(0, 0, 0)\r\ndir3(0, 0, 20)\r\n2\r\n9\r\n1\r\ncol3a(1, 1, 1, 1)\r\n0\r\n");
    return dir.write("hour.toml", "[[shell]]\nkind = \"scene\"\nfile = \"bare.scene\"\ntime = 0\ncount = 100000\ninterval = 0.036\n");
}

} // namespace

// A signal ends a render at any stage, leaving nothing: here while it scans
// the show for its frames and sounds (3.6 million frames), and while it
// mixes the sound track (an hour of it), where signals used to wait for the
// stage's end. The drawing stage is tested in test_render.
TEST(RenderFaults, ASignalStopsTheScanAndTheSoundTrack)
{
    tempdir dir;
    const std::string show = hourofsounds(dir), err = dir.path + "/stderr";
    const struct {
        std::string output;
        std::vector<std::string> options;
        int signal;
        std::string stage; // what appears when the stage has begun
    } cases[] = {
        {dir.path + "/scanned.mp4", {"--fps", "1000", "--to", "3600"}, SIGINT, ".scanned.mp4.partial-"},
        {dir.path + "/mixed/", {"--fps", "1", "--to", "3600"}, SIGTERM, "sound.wav"},
    };
    for (const auto& c : cases) {
        std::vector<std::string> arguments{show, "-o", c.output, "--size", "64x36", "--quiet"};
        arguments.insert(arguments.end(), c.options.begin(), c.options.end());
        const pid_t child = start(arguments, err);
        ASSERT_GT(child, 0);
        const bool begun = waitfor([&] {
            const std::string partial = findentry(dir.path, ".partial-");
            return !partial.empty() && (c.stage != "sound.wav" || fs::exists(partial + "/sound.wav"));
        });
        EXPECT_TRUE(begun) << c.output << ": the stage never began\n" << tempdir::read(err);
        const auto sent = std::chrono::steady_clock::now();
        EXPECT_EQ(stop(child, c.signal), 130) << c.output << "\n" << tempdir::read(err);
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - sent).count();
        if (std::getenv("VEXLOR_SHOW_MESSAGES")) std::cout << c.output << ": stopped in " << seconds << " s\n";
        EXPECT_EQ(tempdir::read(err), "vexlor-render: stopped; " + c.output + " was not written\n");
        EXPECT_FALSE(fs::exists(c.output));
        nopartial(dir.path);
    }
}

// A render from far into the show with music: the track's first frame,
// (offset - from) * 48000, is held where its negation stays a 64-bit count
// (it was INT64_MIN, negated: undefined behaviour that the sanitizers catch).
// The track is then silence, and a stop asked for ends the mixing at once.
TEST(RenderFaults, MusicFarFromTheRenderIsSilenceAndMixingStops)
{
    tempdir dir;
    const std::string music = dir.path + "/tone.wav";
    {
        SF_INFO format{};
        format.samplerate = 48000;
        format.channels = 2;
        format.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
        SNDFILE* file = sf_open(music.c_str(), SFM_WRITE, &format);
        ASSERT_NE(file, nullptr);
        const std::vector<float> samples(2 * 48000, 0.5f);
        sf_writef_float(file, samples.data(), 48000);
        sf_close(file);
    }
    for (const double from : {1e15, -1e300, 1e300}) {
        vexlor::soundtrack_t track(48000);
        std::string message;
        ASSERT_TRUE(track.music(music, 0.0, 1.0, from, message)) << message;
        float loudest = 0.0f;
        ASSERT_TRUE(track.make([&](const float* samples, std::size_t frames) {
            for (std::size_t i = 0; i < 2 * frames; ++i) loudest = std::max(loudest, std::fabs(samples[i]));
            return true;
        }, message)) << message;
        EXPECT_EQ(loudest, 0.0f) << from;
    }
    vexlor::soundtrack_t hour(3600 * 48000);
    int blocks = 0;
    hour.stopwhen([&] { return blocks == 3; });
    std::string message;
    EXPECT_FALSE(hour.make([&](const float*, std::size_t) { return ++blocks > 0; }, message));
    EXPECT_EQ(blocks, 3);
    EXPECT_EQ(message, "stopped");
}
