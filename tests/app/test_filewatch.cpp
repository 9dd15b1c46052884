// The file watcher on real files (inotify): a save in place and a save by
// rename are each one change; files beside them are not, unless every file
// of the folder is asked for, and editors' hidden temporaries never are; a
// new list replaces the old. Waits on the watcher's own call, never a clock.
#include "app/filewatch.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <unistd.h>

namespace {

struct counter_t {
    std::mutex mutex;
    std::condition_variable changed;
    int calls = 0;
    void call()
    {
        std::lock_guard<std::mutex> lock(mutex);
        ++calls;
        changed.notify_all();
    }
    // Waits for call number `n`; a watcher that never calls fails after a minute.
    int waitfor(int n)
    {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait_for(lock, std::chrono::minutes(1), [&] { return calls >= n; });
        return calls;
    }
};

void save(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

void savebyrename(const std::string& path, const std::string& text)
{
    save(path + ".tmp~", text);
    std::rename((path + ".tmp~").c_str(), path.c_str());
}

} // namespace

TEST(FileWatch, SavesOfWatchedFilesOnlyEachOnce)
{
    char pattern[] = "/tmp/vexlor-watch-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    const std::string dir = pattern;
    const std::string show = dir + "/show.toml", scene = dir + "/sub/a.scene", other = dir + "/notes.txt";
    std::filesystem::create_directory(dir + "/sub");
    save(show, "1");
    save(scene, "1");

    counter_t counter;
    vexlor::filewatch_t watch;
    std::string why;
    ASSERT_TRUE(watch.Init([&] { counter.call(); }, why)) << why;
    watch.watch({show, scene});
    EXPECT_FALSE(watch.take());

    // Each watched save after an unwatched one: the count must follow the
    // watched saves alone (events come in order, so by the last call every
    // earlier event has been seen).
    int expected = 0;
    save(other, "x");
    save(show, "2");
    EXPECT_EQ(counter.waitfor(++expected), expected);
    EXPECT_TRUE(watch.take());
    EXPECT_FALSE(watch.take()) << "one change, taken once";
    savebyrename(scene, "2");
    EXPECT_EQ(counter.waitfor(++expected), expected);
    save(dir + "/.show.toml.swp", "x");
    savebyrename(show, "3");
    EXPECT_EQ(counter.waitfor(++expected), expected);

    // Any file of the folders, but not hidden temporaries or backups.
    watch.watch({show}, true);
    save(dir + "/.hidden", "x");
    save(dir + "/show.toml~", "x");
    save(other, "y");
    EXPECT_EQ(counter.waitfor(++expected), expected);
    // A new list: the scene's folder is no longer watched.
    watch.watch({show});
    save(scene, "3");
    save(show, "4");
    EXPECT_EQ(counter.waitfor(++expected), expected);
    watch.Destroy();
    std::filesystem::remove_all(dir);
}
