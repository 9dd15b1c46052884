// The viewer's loading thread: openshow() with a progress report that also
// carries the cancel flag back to the reader.
#include "app/showloader.h"

#include "audio/trackscan.h"
#include "firework/openshow.h"

#include <malloc.h>


namespace vexlor {

void showloader_t::start(const std::string& arg)
{
    Destroy();
    m_cancel = false;
    m_done = m_total = 0;
    m_state = state_t::loading;
    m_thread = std::thread(&showloader_t::run, this, arg);
}

void showloader_t::run(std::string arg)
{
    show_t show;
    std::string message;
    const bool opened = openshow(arg, show, message, [this](std::uint64_t done, std::uint64_t total) {
        m_total = total;
        m_done = done;
        return !m_cancel.load();
    }, sndkit::readtrack);
    // A scene file is read whole before its shells are shared; the freed
    // copies sit in this thread's arena, which glibc does not give back by
    // itself: without this the viewer keeps the file's size for good.
    malloc_trim(0);
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_show = std::move(show);
        m_message = std::move(message);
    }
    m_state = opened ? state_t::done : state_t::failed;
    if (m_finished) m_finished();
}

double showloader_t::fraction() const
{
    const std::uint64_t total = m_total.load();
    if (m_state.load() == state_t::done) return 1.0;
    return total == 0 ? 0.0 : static_cast<double>(m_done.load()) / static_cast<double>(total);
}

bool showloader_t::take(show_t& show)
{
    if (m_state.load() != state_t::done) return false;
    if (m_thread.joinable()) m_thread.join();
    std::lock_guard<std::mutex> lock(m_mutex);
    show = std::move(m_show);
    m_show = show_t{};
    m_state = state_t::idle;
    return true;
}

std::string showloader_t::message() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_message;
}

void showloader_t::reset()
{
    if (m_state.load() != state_t::failed) return;
    if (m_thread.joinable()) m_thread.join();
    m_state = state_t::idle;
}

void showloader_t::Destroy()
{
    m_cancel = true;
    if (m_thread.joinable()) m_thread.join();
}

} // namespace vexlor
