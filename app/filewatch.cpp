// inotify on the watched files' folders: a file closed after writing or
// renamed into place counts as saved. A save in place gives one close, a
// save by rename one move, so every save is one change.
#include "app/filewatch.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <climits>
#include <cstring>
#include <filesystem>
#include <map>

namespace vexlor {

namespace {

constexpr std::uint32_t k_saved = IN_CLOSE_WRITE | IN_MOVED_TO;

} // namespace

bool filewatch_t::Init(const std::function<void()>& changed, std::string& why)
{
    if (m_fd >= 0) return true;
    m_fd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (m_fd < 0) {
        why = std::string("cannot watch files (") + std::strerror(errno) + ")";
        return false;
    }
    if (pipe2(m_stop, O_CLOEXEC) != 0) {
        why = std::string("cannot watch files (") + std::strerror(errno) + ")";
        close(m_fd);
        m_fd = -1;
        return false;
    }
    m_notify = changed;
    m_thread = std::thread(&filewatch_t::run, this);
    return true;
}

void filewatch_t::watch(const std::vector<std::string>& files, bool anyinfolder)
{
    if (m_fd < 0) return;
    std::lock_guard<std::mutex> lock(m_mutex);
    for (int wd : m_folders) inotify_rm_watch(m_fd, wd);
    m_folders.clear();
    m_names.clear();
    m_anyinfolder = anyinfolder;
    std::map<std::string, int> folders;
    for (const std::string& file : files) {
        if (file.empty()) continue;
        const std::filesystem::path path = std::filesystem::absolute(file).lexically_normal();
        const std::string folder = path.parent_path().string();
        auto found = folders.find(folder);
        if (found == folders.end()) {
            const int wd = inotify_add_watch(m_fd, folder.c_str(), k_saved | IN_ONLYDIR);
            if (wd < 0) continue;
            found = folders.emplace(folder, wd).first;
            m_folders.push_back(wd);
        }
        m_names.emplace(found->second, path.filename().string());
    }
}

void filewatch_t::run()
{
    alignas(inotify_event) char buffer[sizeof(inotify_event) + NAME_MAX + 1];
    pollfd fds[2] = {{m_fd, POLLIN, 0}, {m_stop[0], POLLIN, 0}};
    for (;;) {
        if (poll(fds, 2, -1) < 0) {
            if (errno == EINTR) continue;
            return;
        }
        if (fds[1].revents != 0) return;
        bool saved = false;
        for (;;) {
            const ssize_t got = read(m_fd, buffer, sizeof buffer);
            if (got <= 0) break;
            std::lock_guard<std::mutex> lock(m_mutex);
            for (char* p = buffer; p < buffer + got;) {
                const auto* event = reinterpret_cast<const inotify_event*>(p);
                p += sizeof(inotify_event) + event->len;
                if (event->len == 0 || (event->mask & k_saved) == 0) continue;
                const std::string name(event->name);
                if (m_names.count({event->wd, name}) != 0) saved = true;
                // Any file of a folder we watch, but not an editor's hidden
                // temporaries and backups, which come and go with every save.
                else if (m_anyinfolder && name[0] != '.' && name.back() != '~') saved = true;
            }
        }
        if (saved) {
            m_changed = true;
            if (m_notify) m_notify();
        }
    }
}

void filewatch_t::Destroy()
{
    if (m_thread.joinable()) {
        const char stop = 1;
        [[maybe_unused]] const ssize_t wrote = write(m_stop[1], &stop, 1);
        m_thread.join();
    }
    for (int& fd : m_stop) {
        if (fd >= 0) close(fd);
        fd = -1;
    }
    if (m_fd >= 0) close(m_fd);
    m_fd = -1;
    m_folders.clear();
    m_names.clear();
}

} // namespace vexlor
