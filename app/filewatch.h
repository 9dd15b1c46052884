// Watches the files a show was read from (inotify) on a thread of its own,
// so that a save is seen at once even while the viewer is paused and idle.
// Folders are watched rather than files: an editor that saves by writing a
// new file and renaming it over the old one replaces the file watched.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace vexlor {

class filewatch_t {
public:
    filewatch_t() = default;
    ~filewatch_t() { Destroy(); }
    filewatch_t(const filewatch_t&) = delete;
    filewatch_t& operator=(const filewatch_t&) = delete;

    // Starts the thread; `changed` is called on it after each save of a
    // watched file (to wake the main loop). False with the reason in `why`.
    bool Init(const std::function<void()>& changed, std::string& why);
    // Watches exactly these files from now on (paths as given; those that
    // cannot be watched are left out). With `anyinfolder`, any file saved in
    // their folders counts too: a broken show may be fixed by a file it does
    // not name yet.
    void watch(const std::vector<std::string>& files, bool anyinfolder = false);
    // Whether a watched file was saved since the last call.
    bool take() { return m_changed.exchange(false); }
    void Destroy();

private:
    void run();

    int m_fd = -1;
    int m_stop[2] = {-1, -1}; // a pipe whose write end ends the thread
    std::thread m_thread;
    std::function<void()> m_notify;
    std::atomic<bool> m_changed{false};
    std::mutex m_mutex; // guards what follows, shared with the thread
    std::vector<int> m_folders;                     // watch descriptors
    std::set<std::pair<int, std::string>> m_names;  // (folder, file name)
    bool m_anyinfolder = false;
};

} // namespace vexlor
