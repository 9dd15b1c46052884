// Renders split into chunks: vexlor-render --chunk and --sound-only against
// the single render, byte for byte; vexlor-farm through GNU parallel on this
// machine and over SSH to hosts served by an sshd of the test's own (a host
// that dies in the middle of a chunk, one without vexlor, one that cannot be
// reached), its videos decoded and compared frame by frame.
#include "tests/firework/scenes.h"
#include "tools/render/renderjob.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <regex>
#include <set>
#include <thread>

namespace {

namespace fs = std::filesystem;

constexpr int k_width = 160;
constexpr int k_height = 90;
// Small frames and a short show keep these quick on a loaded machine.
const std::string k_format = "--size 160x90 --fps 10 --to 3 --look night --motion-blur 2";
constexpr int k_frames = 30;

struct result_t {
    int status = -1;
    std::string err;
};

// A shell command with the programs under test first on the PATH.
result_t run(const tempdir& dir, const std::string& command)
{
    const std::string err = dir.path + "/stderr";
    const std::string line = "cd " + dir.path + " && env -u DISPLAY PATH=" BINDIR ":$PATH sh -c '" + command +
                             "' >/dev/null 2>" + err;
    const int raw = std::system(line.c_str());
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, tempdir::read(err)};
}

std::string output(const std::string& command)
{
    std::string text;
    if (FILE* pipe = popen(command.c_str(), "r")) {
        char buffer[4096];
        std::size_t got;
        while ((got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) text.append(buffer, got);
        pclose(pipe);
    }
    return text;
}

std::size_t lines(const std::string& text)
{
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

// What ffprobe counts by decoding, and the container's duration.
struct probe_t {
    long frames = -1;
    double video = -1.0;
    double audio = -1.0;
};

probe_t probe(const std::string& video)
{
    probe_t p;
    const std::string text = output("ffprobe -v error -count_frames -show_entries "
                                    "stream=codec_type,nb_read_frames,duration -of default=noprint_wrappers=1 " +
                                    video);
    std::string kind;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        const auto eq = line.find('=');
        if (eq == std::string::npos) continue;
        const std::string key = line.substr(0, eq), value = line.substr(eq + 1);
        if (key == "codec_type") kind = value;
        if (key == "nb_read_frames" && kind == "video") p.frames = std::atol(value.c_str());
        if (key == "duration" && value != "N/A") (kind == "video" ? p.video : p.audio) = std::atof(value.c_str());
    }
    return p;
}

// Every frame as the video holds it: 8-bit 4:2:0, its planes one after
// another, so that the PSNR over all its bytes is the usual one for video.
std::vector<std::string> decode(const std::string& video)
{
    const std::string raw = output("ffmpeg -v error -i " + video + " -f rawvideo -pix_fmt yuv420p -");
    const std::size_t size = static_cast<std::size_t>(k_width) * k_height * 3 / 2;
    std::vector<std::string> frames;
    for (std::size_t at = 0; at + size <= raw.size(); at += size) frames.push_back(raw.substr(at, size));
    return frames;
}

double psnr(const std::string& a, const std::string& b)
{
    double sum = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const double d = static_cast<unsigned char>(a[i]) - static_cast<unsigned char>(b[i]);
        sum += d * d;
    }
    const double mse = sum / static_cast<double>(a.size());
    return mse == 0.0 ? 99.0 : 10.0 * std::log10(255.0 * 255.0 / mse);
}

std::set<std::string> names(const fs::path& folder)
{
    std::set<std::string> found;
    for (const auto& entry : fs::directory_iterator(folder)) found.insert(entry.path().filename().string());
    return found;
}

bool have(const std::string& program)
{
    return std::system(("command -v " + program + " >/dev/null 2>&1").c_str()) == 0;
}

// A show of our own in a folder of its own: a scene file in a folder below
// it and music beside it, all named relative to the show file.
class Chunks : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        s_dir = new tempdir;
        fs::create_directories(s_dir->path + "/show/scenes");
        fs::copy_file(SHOWS "/tiny.scene", s_dir->path + "/show/scenes/tiny.scene");
        fs::copy_file(SHOWS "/beat.ogg", s_dir->path + "/show/beat.ogg");
        s_show = s_dir->write("show/farm.vexlor.toml", "[music]\nfile = \"beat.ogg\"\ngain = 0.8\n\n"
                                                       "[[shell]]\nkind = \"scene\"\nfile = \"scenes/tiny.scene\"\n"
                                                       "time = 0.0\ncount = 2\ninterval = 0.7\nstep = [30, 0, 0]\n\n"
                                                       "[[shell]]\nkind = \"susuki\"\ntime = 0.4\n"
                                                       "position = [-20, 10, 0]\n");
        s_single = run(*s_dir, "vexlor-render " + s_show + " -o single.mp4 -q " + k_format);
    }
    static void TearDownTestSuite() { delete s_dir; }

    void SetUp() override
    {
        if (!have("ffmpeg") || !have("ffprobe")) GTEST_SKIP() << "ffmpeg and ffprobe are needed";
        ASSERT_EQ(s_single.status, 0) << s_single.err;
    }

    // The video from the farm against the single render: as many frames,
    // as long, each frame close to the single render's.
    static void expectlikesingle(const std::string& video)
    {
        const std::string path = s_dir->path + "/" + video;
        const probe_t made = probe(path), single = probe(s_dir->path + "/single.mp4");
        EXPECT_EQ(made.frames, k_frames) << video;
        EXPECT_EQ(made.frames, single.frames) << video;
        EXPECT_NEAR(made.video, single.video, 1e-3) << video;
        EXPECT_NEAR(made.audio, single.audio, 0.03) << video << ": the sound track";
        const auto a = decode(path), b = decode(s_dir->path + "/single.mp4");
        ASSERT_EQ(a.size(), static_cast<std::size_t>(k_frames)) << video;
        ASSERT_EQ(b.size(), a.size());
        double lowest = 99.0;
        for (std::size_t k = 0; k < a.size(); ++k) {
            const double db = psnr(a[k], b[k]);
            lowest = std::min(lowest, db);
            EXPECT_GE(db, 45.0) << video << " frame " << k;
        }
        // A frame shifted by one would fail: neighbours differ far more.
        EXPECT_LT(psnr(a[12], b[13]), lowest) << video;
    }

    // Nothing but what was there and the output, whatever happened.
    static void expectnoleftovers(const std::set<std::string>& before, const std::string& out)
    {
        std::set<std::string> after = names(s_dir->path);
        std::set<std::string> was = before;
        after.erase(out);
        after.erase("stderr");
        was.erase("stderr");
        EXPECT_EQ(after, was);
    }

    static tempdir* s_dir;
    static std::string s_show;
    static result_t s_single;
};
tempdir* Chunks::s_dir = nullptr;
std::string Chunks::s_show;
result_t Chunks::s_single;

TEST(ChunkSpans, EveryFrameInExactlyOneChunkAndTheChunksEvenToAFrame)
{
    for (const std::size_t frames : {1ul, 2ul, 7ul, 30ul, 601ul, 3600000ul})
        for (const int chunks : {1, 2, 3, 7, 30, 999999}) {
            if (static_cast<std::size_t>(chunks) > frames) continue;
            std::size_t next = 0, least = frames, most = 0;
            for (int k = 1; k <= chunks; ++k) {
                const vexlor::chunkspan_t span = vexlor::chunkof(frames, k, chunks);
                ASSERT_EQ(span.first, next) << frames << " frames, chunk " << k << "/" << chunks;
                next = span.first + span.frames;
                least = std::min(least, span.frames);
                most = std::max(most, span.frames);
            }
            EXPECT_EQ(next, frames) << chunks;
            EXPECT_LE(most - least, 1u) << frames << " frames in " << chunks;
            EXPECT_GE(least, 1u);
        }
}

TEST_F(Chunks, PngChunksTogetherAreTheSingleRenderByteForByte)
{
    ASSERT_EQ(run(*s_dir, "vexlor-render " + s_show + " -o pngsingle/ -q " + k_format).status, 0);
    // Three chunks at once into one folder, and seven, uneven, one at a time
    // into another; the sound track alone beside them.
    const std::string three = "for k in 1 2 3; do vexlor-render " + s_show + " -o png3/ -q --chunk $k/3 " + k_format +
                              " & done; wait";
    ASSERT_EQ(run(*s_dir, three).status, 0);
    ASSERT_EQ(run(*s_dir, "for k in 1 2 3 4 5 6 7; do vexlor-render " + s_show + " -o png7/ -q --chunk $k/7 " +
                              k_format + " || exit 1; done").status, 0);
    const std::set<std::string> frames = names(s_dir->path + "/png3");
    EXPECT_EQ(frames.size(), static_cast<std::size_t>(k_frames)) << "a chunk holds no sound";
    for (const std::string folder : {"png3", "png7"})
        ASSERT_EQ(run(*s_dir, "vexlor-render " + s_show + " -o " + folder + "/ --sound-only " + k_format).status, 0);
    const std::set<std::string> single = names(s_dir->path + "/pngsingle");
    ASSERT_EQ(single.size(), static_cast<std::size_t>(k_frames) + 1);
    for (const std::string folder : {"png3", "png7"}) {
        EXPECT_EQ(names(s_dir->path + "/" + folder), single) << folder;
        for (const std::string& name : single)
            EXPECT_EQ(tempdir::read(s_dir->path + "/" + folder + "/" + name),
                      tempdir::read(s_dir->path + "/pngsingle/" + name))
                << folder << "/" << name;
    }
    // --sound-only into a file of its own is the same track.
    ASSERT_EQ(run(*s_dir, "vexlor-render " + s_show + " -o track.wav --sound-only " + k_format).status, 0);
    EXPECT_EQ(tempdir::read(s_dir->path + "/track.wav"), tempdir::read(s_dir->path + "/pngsingle/sound.wav"));
}

TEST_F(Chunks, AnMp4ChunkIsVideoOnlyAndStartsWithAKeyFrame)
{
    ASSERT_EQ(run(*s_dir, "vexlor-render " + s_show + " -o chunk2.mp4 -q --chunk 2/3 " + k_format).status, 0);
    const std::string streams = output("ffprobe -v error -show_entries stream=codec_type -of csv=p=0 " + s_dir->path +
                                       "/chunk2.mp4");
    EXPECT_EQ(streams, "video\n");
    const std::string first = output("ffprobe -v error -select_streams v -show_entries frame=key_frame,pict_type "
                                     "-read_intervals %+#1 -of csv=p=0 " + s_dir->path + "/chunk2.mp4");
    EXPECT_EQ(first.substr(0, 3), "1,I") << first;
    EXPECT_EQ(probe(s_dir->path + "/chunk2.mp4").frames, k_frames / 3);
}

TEST_F(Chunks, ChunkOptionsThatCannotWorkAreUsageErrors)
{
    const struct {
        std::string arguments;
        int status;
        std::string says;
    } cases[] = {
        {"--chunk 0/3", 2, "--chunk 0/3: K must be from 1 to N (3)"},
        {"--chunk 4/3", 2, "--chunk 4/3: K must be from 1 to N (3)"},
        {"--chunk 1/0", 2, "--chunk 1/0: N must be from 1 to 999999"},
        {"--chunk 1/1000000", 2, "--chunk 1/1000000: N must be from 1 to 999999"},
        {"--chunk -1/3", 2, "--chunk -1/3: K must be from 1 to N"},
        {"--chunk 2", 2, "--chunk 2: not of the form K/N"},
        {"--chunk 1/2/3", 2, "not of the form K/N"},
        {"--chunk 1/2 --sound-only", 2, "--chunk and --sound-only"},
        {"--chunk 1/2 --trails", 2, "--chunk and --trails"},
        {"--chunk 1/31", 1, "chunk 1/31 holds no frames: the render has 30; choose at most 30 chunks"},
    };
    for (const auto& c : cases) {
        const result_t r = run(*s_dir, "vexlor-render " + s_show + " -o bad.mp4 " + k_format + " " + c.arguments);
        EXPECT_EQ(r.status, c.status) << c.arguments << "\n" << r.err;
        EXPECT_EQ(lines(r.err), 1u) << c.arguments << "\n" << r.err;
        EXPECT_NE(r.err.find(c.says), std::string::npos) << c.arguments << "\n" << r.err;
    }
    const result_t mp4 = run(*s_dir, "vexlor-render " + s_show + " -o bad.mp4 --sound-only " + k_format);
    EXPECT_EQ(mp4.status, 2);
    EXPECT_NE(mp4.err.find("--sound-only writes a .wav file"), std::string::npos) << mp4.err;
    EXPECT_FALSE(fs::exists(s_dir->path + "/bad.mp4"));
}

TEST_F(Chunks, ListInputsNamesTheShowItsSceneFilesAndItsMusic)
{
    const std::string listed = output("cd " + s_dir->path + "/show && " BINDIR "/vexlor-render farm.vexlor.toml "
                                      "--list-inputs");
    const std::string folder = s_dir->path + "/show/";
    EXPECT_EQ(listed, folder + "farm.vexlor.toml\n" + folder + "scenes/tiny.scene\n" + folder + "beat.ogg\n");
    EXPECT_EQ(output(BINDIR "/vexlor-render susuki --list-inputs"), "");
}

TEST_F(Chunks, TheFarmsThreeChunksMakeTheSingleRendersVideo)
{
    if (!have("parallel")) GTEST_SKIP() << "GNU parallel is not installed";
    const std::set<std::string> before = names(s_dir->path);
    const result_t r = run(*s_dir, "vexlor-farm " + s_show + " -o farm.mp4 --chunks 3 --jobs 2 " + k_format);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.err.find("30 frames in 3 chunks"), std::string::npos) << r.err;
    expectlikesingle("farm.mp4");
    expectnoleftovers(before, "farm.mp4");
}

TEST_F(Chunks, TheFarmRefusesWhatCannotWorkAndLeavesNothing)
{
    const std::set<std::string> before = names(s_dir->path);
    const struct {
        std::string arguments;
        int status;
        std::string says;
    } cases[] = {
        {s_show + " -o out.avi", 2, "out.avi: name a .mp4 or .webm file"},
        {s_show + " -o out.mp4 --chunks 0", 2, "--chunks 0: must be a whole number"},
        {s_show + " -o out.mp4 --chunks many", 2, "--chunks many"},
        {s_show + " -o out.mp4 --chunk 1/2", 2, "--chunk"},
        {s_show + " -o out.mp4 --trails", 2, "--trails"},
        {s_show + " -o out.mp4 --hosts /nonexistent", 2, "--hosts /nonexistent: cannot read the file"},
        {s_show + " -o out.mp4 --size 161x90", 2, "even"},
        {"/nonexistent.toml -o out.mp4", 1, "/nonexistent.toml"},
        {"-o out.mp4", 2, "SHOW"},
    };
    for (const auto& c : cases) {
        const result_t r = run(*s_dir, "vexlor-farm " + c.arguments);
        EXPECT_EQ(r.status, c.status) << c.arguments << "\n" << r.err;
        EXPECT_EQ(lines(r.err), 1u) << c.arguments << "\n" << r.err;
        EXPECT_NE(r.err.find(c.says), std::string::npos) << c.arguments << "\n" << r.err;
    }
    expectnoleftovers(before, "");
}

// Processes whose working folder lies under `prefix`.
std::size_t workingunder(const std::string& prefix)
{
    std::size_t count = 0;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator("/proc", ec)) {
        std::error_code gone;
        const std::string cwd = fs::read_symlink(entry.path() / "cwd", gone).string();
        if (!gone && cwd.compare(0, prefix.size(), prefix) == 0) ++count;
    }
    return count;
}

TEST_F(Chunks, StoppingTheFarmStopsItsChunksAndLeavesNothing)
{
    if (!have("parallel")) GTEST_SKIP() << "GNU parallel is not installed";
    const std::set<std::string> before = names(s_dir->path);
    const pid_t farm = fork();
    if (farm == 0) {
        if (chdir(s_dir->path.c_str()) != 0 || !freopen("/dev/null", "w", stderr)) _exit(127);
        setenv("PATH", (std::string(BINDIR ":") + std::getenv("PATH")).c_str(), 1);
        unsetenv("DISPLAY");
        execlp("vexlor-farm", "vexlor-farm", s_show.c_str(), "-o", "stopped.mp4", "--chunks", "2", "--jobs", "2",
               "--size", "160x90", "--fps", "10", "--to", "120", "--look", "night", "--motion-blur", "4", nullptr);
        _exit(127);
    }
    // Once a chunk is being written: its partial file in the jobs' folder.
    const std::string work = s_dir->path + "/.stopped.mp4.farm-";
    bool writing = false;
    for (int tries = 0; tries < 1200 && !writing; ++tries) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        std::error_code ec;
        for (auto entry = fs::recursive_directory_iterator(s_dir->path, ec);
             !ec && entry != fs::recursive_directory_iterator(); entry.increment(ec))
            if (entry->path().filename().string().rfind(".chunk-", 0) == 0) writing = true;
    }
    ASSERT_TRUE(writing) << "no chunk was being written";
    kill(farm, SIGTERM);
    int status = 0;
    ASSERT_EQ(waitpid(farm, &status, 0), farm);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 130) << status;
    expectnoleftovers(before, "");
    // Its renders end with it, and their ffmpegs after them.
    for (int tries = 0; tries < 200 && workingunder(work) > 0; ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(workingunder(work), 0u) << "processes left running in the farm's folder";
}

// A port nothing listens on just now, on the loopback address.
int freeport()
{
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    int port = -1;
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
        getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) == 0)
        port = ntohs(address.sin_port);
    close(fd);
    return port;
}

// An sshd of the test's own on private ports, with its own host key and
// client key: each port is a host of its own, its commands run in a folder
// of their own with a PATH of their own. hosta has vexlor; hostb's render
// dies once it has begun writing its chunk; hostc has no vexlor; nothing
// answers on deadhost's port.
class SshFarm : public Chunks {
protected:
    static void SetUpTestSuite()
    {
        Chunks::SetUpTestSuite();
        s_ssh = new tempdir;
        s_reason = start();
    }
    static void TearDownTestSuite()
    {
        if (s_sshd > 0) {
            kill(s_sshd, SIGTERM);
            waitpid(s_sshd, nullptr, 0);
        }
        delete s_ssh;
        Chunks::TearDownTestSuite();
    }
    void SetUp() override
    {
        Chunks::SetUp();
        if (IsSkipped()) return;
        if (!have("parallel") || !have("rsync")) GTEST_SKIP() << "GNU parallel and rsync are needed";
        if (!s_reason.empty()) GTEST_SKIP() << s_reason;
    }

    // Empty when the hosts answer; otherwise why they cannot be had here.
    static std::string start()
    {
        const std::string sshd = "/usr/sbin/sshd";
        if (access(sshd.c_str(), X_OK) != 0 || !have("ssh") || !have("ssh-keygen"))
            return "openssh-server and openssh-client are needed";
        const std::string& d = s_ssh->path;
        if (std::system(("ssh-keygen -q -t ed25519 -N '' -f " + d + "/hostkey && ssh-keygen -q -t ed25519 -N '' -f " +
                         d + "/clientkey && cp " + d + "/clientkey.pub " + d + "/authorized_keys").c_str()) != 0)
            return "ssh-keygen cannot make keys";
        // As root sshd wants its privilege separation folder, made at boot
        // by its package; a container may not have it yet.
        if (geteuid() == 0) fs::create_directories("/run/sshd");
        const int ports[] = {freeport(), freeport(), freeport()};
        s_deadport = freeport();
        std::string config = "HostKey " + d + "/hostkey\nAuthorizedKeysFile " + d + "/authorized_keys\nPidFile " + d +
                             "/sshd.pid\nPasswordAuthentication no\nKbdInteractiveAuthentication no\n"
                             "PermitRootLogin prohibit-password\nUsePAM no\nStrictModes no\nLogLevel ERROR\n";
        for (const int port : ports) config += "ListenAddress 127.0.0.1:" + std::to_string(port) + "\n";
        // sshd passes on no environment: a sanitizer's settings reach the
        // renders the hosts run as they reach those run here.
        std::string sanitizer;
        for (const char* name : {"ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS"})
            if (const char* value = std::getenv(name))
                sanitizer += std::string(name) + "='" + value + "' ";
        const char* hosts[] = {"hosta", "hostb", "hostc"};
        const std::string paths[] = {BINDIR ":/usr/bin:/bin", d + "/dying:" BINDIR ":/usr/bin:/bin", "/usr/bin:/bin"};
        std::string client;
        for (int i = 0; i < 3; ++i) {
            fs::create_directories(d + "/" + hosts[i]);
            config += std::string("Match LocalPort ") + std::to_string(ports[i]) + "\n  ForceCommand cd " + d + "/" +
                      hosts[i] + " && " + sanitizer + "PATH=" + paths[i] + " exec /bin/sh -c \"$SSH_ORIGINAL_COMMAND\"\n";
            client += std::string("Host ") + hosts[i] + "\n  Port " + std::to_string(ports[i]) + "\n";
        }
        client += "Host deadhost\n  Port " + std::to_string(s_deadport) + "\n";
        client += "Host *\n  HostName 127.0.0.1\n  IdentityFile " + d + "/clientkey\n  IdentitiesOnly yes\n"
                  "  HostKeyAlias farmtest\n  UserKnownHostsFile " + d + "/known_hosts\n  StrictHostKeyChecking yes\n"
                  "  BatchMode yes\n  ConnectTimeout 20\n  LogLevel ERROR\n";
        s_ssh->write("sshd_config", config);
        s_ssh->write("ssh_config", client);
        s_ssh->write("known_hosts", "farmtest " + tempdir::read(d + "/hostkey.pub"));
        fs::create_directories(d + "/dying");
        const std::string dying = s_ssh->write(
            "dying/vexlor-render",
            "#!/bin/sh\n# This host dies in the middle of a chunk: once its render has begun writing.\n" BINDIR
            "/vexlor-render \"$@\" &\npid=$!\n"
            "while kill -0 $pid 2>/dev/null && ! ls .chunk-*.partial-* >/dev/null 2>&1; do sleep 0.05; done\n"
            "kill -KILL $pid 2>/dev/null\nrm -f chunk-*\necho \"$*\" >>" + d + "/died\nexit 137\n");
        fs::permissions(dying, fs::perms::owner_all);

        s_sshd = fork();
        if (s_sshd == 0) {
            const std::string log = d + "/sshd.log";
            if (!freopen(log.c_str(), "w", stderr)) _exit(127);
            execl(sshd.c_str(), sshd.c_str(), "-D", "-e", "-f", (d + "/sshd_config").c_str(), nullptr);
            _exit(127);
        }
        // Until it answers or gives up; a loaded machine may take a while.
        for (int tries = 0; tries < 200; ++tries) {
            if (waitpid(s_sshd, nullptr, WNOHANG) == s_sshd) {
                s_sshd = -1;
                return "sshd cannot start here: " + tempdir::read(d + "/sshd.log");
            }
            if (std::system(("ssh -F " + d + "/ssh_config hosta true >/dev/null 2>&1").c_str()) == 0) return {};
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        return "sshd does not answer: " + tempdir::read(d + "/sshd.log");
    }

    static std::string hostsfile(const std::string& name, const std::vector<std::string>& hosts)
    {
        std::string text = "# the test's own hosts\n";
        for (const auto& host : hosts) text += "1/ssh -F " + s_ssh->path + "/ssh_config " + host + "\n";
        return s_ssh->write("hosts-" + name, text);
    }

    static tempdir* s_ssh;
    static std::string s_reason;
    static pid_t s_sshd;
    static int s_deadport;
};
tempdir* SshFarm::s_ssh = nullptr;
std::string SshFarm::s_reason;
pid_t SshFarm::s_sshd = -1;
int SshFarm::s_deadport = -1;

TEST_F(SshFarm, ThreeChunksOverSshMakeTheSingleRendersVideo)
{
    const std::set<std::string> before = names(s_dir->path);
    const result_t r = run(*s_dir, "vexlor-farm " + s_show + " -o ssh.mp4 --chunks 3 --hosts " +
                                       hostsfile("onehost", {"hosta"}) + " " + k_format);
    ASSERT_EQ(r.status, 0) << r.err;
    expectlikesingle("ssh.mp4");
    expectnoleftovers(before, "ssh.mp4");
    // The host was given the show's files and keeps none of them.
    EXPECT_TRUE(fs::is_empty(s_ssh->path + "/hosta")) << "files left on the host";
}

TEST_F(SshFarm, AHostThatDiesMidChunkHasItsChunkRetriedOnAnother)
{
    fs::remove(s_ssh->path + "/died");
    const result_t r = run(*s_dir, "vexlor-farm " + s_show + " -o retried.mp4 --chunks 3 --hosts " +
                                       hostsfile("twohosts", {"hostb", "hosta"}) + " " + k_format);
    ASSERT_EQ(r.status, 0) << r.err;
    // hostb took at least one chunk and died in it.
    EXPECT_NE(tempdir::read(s_ssh->path + "/died").find("--chunk"), std::string::npos);
    expectlikesingle("retried.mp4");
}

TEST_F(SshFarm, AChunkThatFailsTwiceIsNamedWithItsHost)
{
    const std::set<std::string> before = names(s_dir->path);
    const bool installed = fs::exists("/usr/bin/vexlor-render") || fs::exists("/bin/vexlor-render");
    std::vector<std::pair<std::string, std::string>> cases = {
        {"deadhost", "deadhost: chunk [12]/2 failed twice: cannot be reached"}};
    // Where vexlor is installed for everyone, hostc has it too.
    if (!installed) cases.push_back({"hostc", "hostc: chunk [12]/2 failed twice: vexlor-render is not installed there"});
    for (const auto& [host, says] : cases) {
        const result_t r = run(*s_dir, "vexlor-farm " + s_show + " -o failed.mp4 --chunks 2 --hosts " +
                                           hostsfile(host, {host}) + " " + k_format);
        EXPECT_EQ(r.status, 1) << host << "\n" << r.err;
        EXPECT_EQ(lines(r.err), 1u) << host << "\n" << r.err;
        EXPECT_TRUE(std::regex_search(r.err, std::regex(says))) << host << "\n" << r.err;
    }
    expectnoleftovers(before, "");
}

// A one-node Slurm of the test's own: slurmctld and slurmd in the
// foreground on private ports with a configuration in a temporary folder,
// no authentication (the test's own user only), no cgroups.
class SlurmFarm : public Chunks {
protected:
    static void SetUpTestSuite()
    {
        Chunks::SetUpTestSuite();
        s_slurm = new tempdir;
        s_reason = start();
    }
    static void TearDownTestSuite()
    {
        for (pid_t* pid : {&s_slurmd, &s_slurmctld})
            if (*pid > 0) {
                kill(*pid, SIGTERM);
                waitpid(*pid, nullptr, 0);
                *pid = -1;
            }
        unsetenv("SLURM_CONF");
        delete s_slurm;
        Chunks::TearDownTestSuite();
    }
    void SetUp() override
    {
        Chunks::SetUp();
        if (IsSkipped()) return;
        if (!s_reason.empty()) GTEST_SKIP() << s_reason;
    }

    static pid_t daemon(const std::string& program, const std::vector<std::string>& arguments, const std::string& log)
    {
        const pid_t pid = fork();
        if (pid == 0) {
            if (!freopen(log.c_str(), "w", stderr) || !freopen("/dev/null", "w", stdout)) _exit(127);
            std::vector<char*> argv{const_cast<char*>(program.c_str())};
            for (const auto& arg : arguments) argv.push_back(const_cast<char*>(arg.c_str()));
            argv.push_back(nullptr);
            execv(program.c_str(), argv.data());
            _exit(127);
        }
        return pid;
    }

    static std::string start()
    {
        const std::string ctld = "/usr/sbin/slurmctld", slurmd = "/usr/sbin/slurmd";
        if (access(ctld.c_str(), X_OK) != 0 || access(slurmd.c_str(), X_OK) != 0 || !have("sbatch"))
            return "slurm-wlm is not installed";
        const std::string& d = s_slurm->path;
        const std::string host = output("hostname -s | tr -d '\\n'");
        const std::string user = output("id -un | tr -d '\\n'");
        for (const char* folder : {"state", "spool"}) fs::create_directories(d + "/" + folder);
        const std::string conf = s_slurm->write(
            "slurm.conf",
            "ClusterName=vexlortest\nSlurmctldHost=" + host + "(127.0.0.1)\nSlurmctldPort=" +
                std::to_string(freeport()) + "\nSlurmdPort=" + std::to_string(freeport()) +
                "\nSlurmUser=" + user + "\nSlurmdUser=" + user +
                "\nAuthType=auth/none\nCredType=cred/none\nStateSaveLocation=" + d + "/state\nSlurmdSpoolDir=" + d +
                "/spool\nSlurmctldPidFile=" + d + "/slurmctld.pid\nSlurmdPidFile=" + d +
                "/slurmd.pid\nProctrackType=proctrack/pgid\nTaskPlugin=task/none\n"
                "JobAcctGatherType=jobacct_gather/none\nAccountingStorageType=accounting_storage/none\n"
                "SchedulerType=sched/builtin\nSelectType=select/cons_tres\nSelectTypeParameters=CR_CPU\n"
                "ReturnToService=2\nMpiDefault=none\nSlurmctldLogFile=" + d + "/slurmctld.log\nSlurmdLogFile=" + d +
                "/slurmd.log\nNodeName=" + host + " NodeAddr=127.0.0.1 CPUs=" + output("nproc | tr -d '\\n'") +
                " State=UNKNOWN\nPartitionName=test Nodes=ALL Default=YES MaxTime=INFINITE State=UP\n");
        setenv("SLURM_CONF", conf.c_str(), 1);
        s_slurmctld = daemon(ctld, {"-D", "-i", "-f", conf}, d + "/slurmctld.err");
        s_slurmd = daemon(slurmd, {"-D", "-f", conf}, d + "/slurmd.err");
        // Until the node is idle, or the daemons give up.
        for (int tries = 0; tries < 300; ++tries) {
            for (pid_t* pid : {&s_slurmctld, &s_slurmd})
                if (waitpid(*pid, nullptr, WNOHANG) == *pid) {
                    *pid = -1;
                    return "Slurm cannot start here: " + tempdir::read(d + "/slurmctld.err") +
                           tempdir::read(d + "/slurmd.err");
                }
            if (output("sinfo -h -o %T 2>/dev/null").find("idle") == 0) return {};
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        return "the Slurm node does not come up: " + tempdir::read(d + "/slurmd.log");
    }

    static tempdir* s_slurm;
    static std::string s_reason;
    static pid_t s_slurmctld;
    static pid_t s_slurmd;
};
tempdir* SlurmFarm::s_slurm = nullptr;
std::string SlurmFarm::s_reason;
pid_t SlurmFarm::s_slurmctld = -1;
pid_t SlurmFarm::s_slurmd = -1;

TEST_F(SlurmFarm, TheJobArrayScriptRendersChunksAndJoinsThem)
{
    const std::set<std::string> before = names(s_dir->path);
    const result_t r = run(*s_dir, "sbatch --array=1-3 --output=" + s_slurm->path + "/task-%a.log " SBATCH " " +
                                       s_show + " slurm.mp4 " + k_format);
    ASSERT_EQ(r.status, 0) << r.err;
    // Until the queue is empty: the three chunks, then the join.
    for (int tries = 0; tries < 1200 && !output("squeue -h 2>&1").empty(); ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
    ASSERT_TRUE(output("squeue -h 2>&1").empty()) << "the jobs did not finish";
    ASSERT_TRUE(fs::exists(s_dir->path + "/slurm.mp4"))
        << tempdir::read(s_slurm->path + "/task-1.log") << tempdir::read(s_dir->path + "/slurm.mp4.chunks/join.log");
    expectlikesingle("slurm.mp4");
    expectnoleftovers(before, "slurm.mp4");
}

} // namespace
