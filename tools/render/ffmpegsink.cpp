// ffmpeg runs in its own process group (a Ctrl-C is ours to handle), reads
// frames from a pipe and writes a temporary file beside the output, which is
// renamed into place when ffmpeg has finished well. Its own messages go to a
// file in memory, so that its last error line can be told even when the disk
// it writes to is full.
#include "tools/render/ffmpegsink.h"

#include "tools/render/soundtrack.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

extern char** environ;

namespace vexlor {
namespace {

namespace fs = std::filesystem;

std::string number(double value)
{
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text.precision(17);
    text << value;
    return text.str();
}

class ffmpegsink_t : public framesink_t {
public:
    ffmpegsink_t(std::string program, fs::path target, outputkind_t kind, const sinkformat_t& format)
        : m_program(std::move(program)), m_target(std::move(target)), m_kind(kind), m_format(format)
    {
        const fs::path dir = m_target.has_parent_path() ? m_target.parent_path() : fs::path(".");
        const std::string name = m_target.filename().string();
        m_partial = dir / partialname(dir.string(), name, kind == outputkind_t::mp4 ? ".mp4" : ".webm");
        m_sound = dir / partialname(dir.string(), name, ".wav");
    }
    ~ffmpegsink_t() override
    {
        if (!m_done) abandon();
    }

    // Tried before anything is drawn, so an unwritable place is told at once.
    bool writable(std::string& message)
    {
        std::ofstream probe(m_partial);
        if (!probe) {
            message = m_target.string() + ": cannot write there (" + std::strerror(errno) + ")";
            return false;
        }
        return true;
    }

    bool begin(const soundwriter_t& sound, std::string& message) override
    {
        if (!m_format.chunk && !sound(m_sound.string(), message)) return false;
        return spawn(message);
    }

    // The GPU packs four bytes a texel, so NV12 needs a width that is a
    // multiple of 4; other widths go as RGBA and ffmpeg converts them.
    bool wantsyuv() const override { return m_format.width % 4 == 0; }

    bool frame(const unsigned char* pixels, std::string& message) override
    {
        const std::size_t pixels_ = static_cast<std::size_t>(m_format.width) * m_format.height;
        const std::size_t bytes = wantsyuv() ? pixels_ * 3 / 2 : pixels_ * 4;
        std::size_t done = 0;
        while (done < bytes) {
            const ssize_t sent = write(m_pipe, pixels + done, bytes - done);
            if (sent < 0) {
                if (errno == EINTR) return interrupted(message);
                message = failure("ffmpeg stopped reading frames");
                return false;
            }
            done += static_cast<std::size_t>(sent);
        }
        return true;
    }

    bool finish(std::string& message) override
    {
        close(m_pipe);
        m_pipe = -1;
        int status = 0;
        // A signal while ffmpeg finishes is a stop: the caller abandons.
        if (waitpid(m_child, &status, 0) < 0) return interrupted(message);
        m_child = -1;
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
            message = failure("ffmpeg failed");
            return false;
        }
        std::error_code ec;
        fs::rename(m_partial, m_target, ec);
        if (ec) {
            message = m_target.string() + ": " + ec.message();
            return false;
        }
        removetemporary();
        m_done = true;
        return true;
    }

    void abandon() override
    {
        if (m_pipe >= 0) close(m_pipe);
        m_pipe = -1;
        if (m_child > 0) {
            kill(m_child, SIGKILL);
            while (waitpid(m_child, nullptr, 0) < 0 && errno == EINTR) {}
            m_child = -1;
        }
        std::error_code ec;
        fs::remove(m_partial, ec);
        removetemporary();
        m_done = true;
    }

private:
    void removetemporary()
    {
        std::error_code ec;
        fs::remove(m_sound, ec);
        if (m_log >= 0) close(m_log);
        m_log = -1;
    }

    std::vector<std::string> arguments() const
    {
        std::vector<std::string> args{
            m_program, "-hide_banner", "-nostats", "-loglevel", "error", "-y",
            "-f", "rawvideo", "-pixel_format", wantsyuv() ? "nv12" : "rgba",
            "-video_size", std::to_string(m_format.width) + "x" + std::to_string(m_format.height),
            "-framerate", number(m_format.fps), "-i", "pipe:0"};
        if (!m_format.chunk) args.insert(args.end(), {"-i", m_sound.string(), "-map", "0:v:0", "-map", "1:a:0"});
        args.insert(args.end(), {
            "-colorspace", "bt709", "-color_primaries", "bt709", "-color_trc", "bt709", "-color_range", "tv"});
        if (!wantsyuv()) {
            // RGBA comes bottom row first.
            args.insert(args.end(), {"-vf", "vflip,scale=out_color_matrix=bt709:out_range=tv"});
        }
        args.insert(args.end(), {"-pix_fmt", m_kind == outputkind_t::mp4 && wantsyuv() ? "nv12" : "yuv420p"});
        // A chunk's first frame is a key frame whatever the encoder: the
        // chunks are joined without decoding.
        const std::vector<std::string> video =
            m_kind == outputkind_t::mp4
                ? std::vector<std::string>{"-c:v", "libx264", "-preset", "ultrafast", "-crf", "20"}
                : std::vector<std::string>{"-c:v", "libvpx-vp9", "-crf", "32", "-b:v", "0",
                                           "-deadline", "realtime", "-cpu-used", "8", "-row-mt", "1"};
        args.insert(args.end(), video.begin(), video.end());
        if (m_format.chunk) args.insert(args.end(), {"-force_key_frames", "expr:eq(n,0)", "-an"});
        else if (m_kind == outputkind_t::mp4)
            args.insert(args.end(), {"-c:a", "aac", "-b:a", "192k"});
        else
            args.insert(args.end(), {"-c:a", "libopus", "-b:a", "160k"});
        if (m_kind == outputkind_t::mp4)
            args.insert(args.end(), {"-movflags", "+faststart", "-f", "mp4"});
        else
            args.insert(args.end(), {"-f", "webm"});
        args.push_back(m_partial.string());
        return args;
    }

    bool spawn(std::string& message)
    {
        int fds[2];
        if (pipe(fds) != 0) {
            message = std::string("cannot make a pipe for ffmpeg: ") + std::strerror(errno);
            return false;
        }
        fcntl(fds[1], F_SETFD, FD_CLOEXEC);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, fds[0], STDIN_FILENO);
        posix_spawn_file_actions_addclose(&actions, fds[0]);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        if (m_log < 0) m_log = memfd_create("ffmpeg-messages", MFD_CLOEXEC);
        if (m_log >= 0)
            posix_spawn_file_actions_adddup2(&actions, m_log, STDERR_FILENO);
        else
            posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setpgroup(&attributes, 0);
        sigset_t defaults;
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGINT);
        sigaddset(&defaults, SIGTERM);
        sigaddset(&defaults, SIGPIPE);
        posix_spawnattr_setsigdefault(&attributes, &defaults);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF);

        const std::vector<std::string> args = arguments();
        std::vector<char*> argv;
        for (const auto& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
        argv.push_back(nullptr);
        const int error = posix_spawn(&m_child, m_program.c_str(), &actions, &attributes, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
        close(fds[0]);
        if (error != 0) {
            close(fds[1]);
            m_child = -1;
            message = m_program + ": " + std::strerror(error);
            return false;
        }
        m_pipe = fds[1];
        return true;
    }

    // ffmpeg's last line, when it said anything.
    std::string failure(const std::string& what)
    {
        if (m_pipe >= 0) {
            close(m_pipe);
            m_pipe = -1;
        }
        if (m_child > 0) {
            while (waitpid(m_child, nullptr, 0) < 0 && errno == EINTR) {}
            m_child = -1;
        }
        // Its last line that says anything; only the end of what it wrote is read.
        std::string text(1 << 16, '\0');
        const off_t size = m_log >= 0 ? lseek(m_log, 0, SEEK_END) : -1;
        const off_t from = size > static_cast<off_t>(text.size()) ? size - static_cast<off_t>(text.size()) : 0;
        const ssize_t got = size > 0 ? pread(m_log, text.data(), text.size(), from) : 0;
        text.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
        std::string last;
        std::size_t start = 0;
        while (start < text.size()) {
            const std::size_t end = std::min(text.find('\n', start), text.size());
            const std::string line = text.substr(start, end - start);
            if (line.find_first_not_of(" \t\r") != std::string::npos) last = line;
            start = end + 1;
        }
        return last.empty() ? what : what + ": " + last;
    }

    bool interrupted(std::string& message)
    {
        message = "interrupted";
        return false;
    }

    std::string m_program;
    fs::path m_target;
    outputkind_t m_kind;
    sinkformat_t m_format;
    fs::path m_partial;
    fs::path m_sound;
    int m_log = -1; // ffmpeg's messages, in memory
    pid_t m_child = -1;
    int m_pipe = -1;
    bool m_done = false;
};

} // namespace

std::string findffmpeg()
{
    const char* path = std::getenv("PATH");
    std::string dirs = path ? path : "/usr/bin:/bin";
    std::size_t start = 0;
    while (start <= dirs.size()) {
        const std::size_t end = std::min(dirs.find(':', start), dirs.size());
        const std::string dir = end > start ? dirs.substr(start, end - start) : ".";
        const std::string candidate = dir + "/ffmpeg";
        if (access(candidate.c_str(), X_OK) == 0) return candidate;
        start = end + 1;
    }
    return {};
}

std::unique_ptr<framesink_t> makeffmpegsink(const std::string& output, outputkind_t kind,
                                            const sinkformat_t& format, std::string& message)
{
    if (format.width % 2 != 0 || format.height % 2 != 0) {
        message = output + ": H.264 and VP9 video need an even width and height";
        return nullptr;
    }
    const std::string program = findffmpeg();
    if (program.empty()) {
        message = "ffmpeg not found: install the Debian package ffmpeg, or render into a directory "
                  "(an output name ending in /)";
        return nullptr;
    }
    std::error_code ec;
    if (fs::is_directory(output, ec)) {
        message = output + ": is a directory";
        return nullptr;
    }
    auto sink = std::make_unique<ffmpegsink_t>(program, fs::path(output), kind, format);
    if (!sink->writable(message)) return nullptr;
    return sink;
}

} // namespace vexlor
