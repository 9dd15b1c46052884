// Loads the show a user names on a worker thread, so that the window appears
// at once and keeps answering while a large file is read. The main loop polls
// it each pass: how far the read has got, then the finished show or its one
// line of failure.
#pragma once

#include "firework/show.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace vexlor {

class showloader_t {
public:
    enum class state_t { idle, loading, done, failed };

    showloader_t() = default;
    ~showloader_t() { Destroy(); }
    showloader_t(const showloader_t&) = delete;
    showloader_t& operator=(const showloader_t&) = delete;

    // Starts reading `arg` (a file or a built-in show's name) through openshow().
    void start(const std::string& arg);
    // Called on the worker once the read has succeeded or failed (to wake
    // a main loop that sleeps while the show is paused).
    void onfinish(const std::function<void()>& finished) { m_finished = finished; }
    state_t state() const { return m_state.load(); }
    // How far the read has got, 0 to 1.
    double fraction() const;
    // Once done: moves the show out (the loader is then idle).
    bool take(show_t& show);
    // Once failed: the one line saying why.
    std::string message() const;
    // Once failed and told: idle again.
    void reset();
    // Asks the read to stop at its next progress report; does not wait.
    void cancel() { m_cancel = true; }
    // Cancels and waits for the worker, which sees the cancel within a block.
    void Destroy();

private:
    void run(std::string arg);

    std::thread m_thread;
    std::atomic<state_t> m_state{state_t::idle};
    std::atomic<bool> m_cancel{false};
    std::atomic<std::uint64_t> m_done{0};
    std::atomic<std::uint64_t> m_total{0};
    mutable std::mutex m_mutex; // guards m_show and m_message
    show_t m_show;
    std::string m_message;
    std::function<void()> m_finished;
};

} // namespace vexlor
