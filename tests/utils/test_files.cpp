// Files: path names (separators of both kinds, extensions, splitting and
// joining, multibyte names, search along PATH, modification times) and the
// reference-counted memory blocks that whole files are read into.

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "utils/futil.h"
#include "utils/ofsvector.h"

// basename is always qualified: glibc's ::basename(const char*) would
// otherwise win over basekit::basename(const std::string&).
using namespace basekit;

namespace {

// A fresh directory under /tmp for one test, removed with everything in it.
struct tempdir {
    std::string path = "/tmp/basekit-XXXXXX";
    tempdir() { mkdtemp(path.data()); }
    ~tempdir() { std::filesystem::remove_all(path); }
    // Writes `bytes` to the file `name` and returns its full path.
    std::string write(const std::string& name, const std::string& bytes) const {
        std::ofstream(path + "/" + name, std::ios::binary) << bytes;
        return path + "/" + name;
    }
};

// alloc_new that counts the blocks it frees.
struct counting_alloc : alloc_new {
    static inline int freed = 0;
    static void deallocate(void* p) {
        freed += p != nullptr;
        alloc_new::deallocate(p);
    }
};

template <typename V> std::string text(const V& v, std::size_t n = std::string::npos) {
    return std::string(reinterpret_cast<const char*>(v.begin()), std::min(n, v.size()));
}

} // namespace

TEST(Futil, PathsSearchAndTimes) {
    for (const auto& [path, base, dir] :
         {std::tuple{"D:\\data/scene.old.txt", "scene.old", "D:\\data/"},
          {"noext", "noext", ""},
          {"dir.d/file", "file", "dir.d/"}}) {
        EXPECT_EQ(basekit::basename(path), base) << path;
        EXPECT_EQ(dirname(path), dir) << path;
        EXPECT_EQ(baseptr(path), path + std::strlen(dir)) << path;
    }
    char buf[4 * path_part_max];
    EXPECT_EQ(basekit::basename(buf, "dir/abcdef.txt", 4), 3u);
    EXPECT_STREQ(buf, "abc");
    EXPECT_EQ(extcasecmp("reverb.WAV", ".wav"), 0);
    EXPECT_EQ(extcasecmp("a", ".wav"), -1);
    EXPECT_EQ(extcasecmp("reverb.wav.bak", 10, ".WAV"), 0);
    EXPECT_EQ(delimconvert("a/b\\c/"), "a\\b\\c\\");
    EXPECT_EQ(deliminvert("a/b\\c\\"), "a/b/c/");

    splitpath_t s;
    const auto parts = [&s](const std::string& path) {
        split(s, path.c_str());
        return std::string(s.drive) + "|" + s.dir + "|" + s.name + "|" + s.ext;
    };
    EXPECT_EQ(parts("D:\\x\\y.z"), "D:|\\x\\|y|.z");
    EXPECT_EQ(parts(std::string(300, 'n') + ".e"), "||" + std::string(259, 'n') + "|.e");
    EXPECT_EQ(parts("d.e/name"), "|d.e/|name|");
    EXPECT_EQ(parts("/usr/lib/a.b.c"), "|/usr/lib/|a.b|.c");
    EXPECT_STREQ(concat(buf, s), "/usr/lib/a.b.c");

    const std::string a = "\xe3\x81\x82", path = "d" + a + "/" + a + a + ".txt"; // a: U+3042
    // The C locale cannot convert these bytes: they are handled as they are.
    EXPECT_EQ(basekit::basename(path), a + a);
    EXPECT_EQ(dirname(path), "d" + a + "/");

    tempdir first, second;
    const std::string src = first.write("needle", "1"), dst = second.write("needle", "2");
    const std::string saved = getenv("PATH") ? getenv("PATH") : "";
    setenv("PATH", ("/nonexistent;;" + first.path).c_str(), 1);
    EXPECT_EQ(searchpath("needle"), src);
    EXPECT_EQ(searchpath("needle", (second.path + "/prog").c_str()), dst); // origin first
    EXPECT_EQ(searchpath(dst), dst);                                       // found as given
    setenv("PATH", ("/nonexistent:" + first.path).c_str(), 1);             // ';' only
    EXPECT_EQ(searchpath("needle"), "needle");
    setenv("PATH", saved.c_str(), 1);
    namespace fs = std::filesystem;
    EXPECT_FALSE(need_update(first.path + "/none", dst));
    EXPECT_TRUE(need_update(src, first.path + "/none"));
    fs::last_write_time(dst, fs::last_write_time(src));
    EXPECT_FALSE(need_update(src, dst));
    fs::last_write_time(src, fs::last_write_time(dst) + std::chrono::nanoseconds(500));
    EXPECT_TRUE(need_update(src, dst));
}

TEST(Blocks, LoadsViewsAndSharing) {
    tempdir dir;
    const std::string file = dir.write("data.bin", "0123456789");
    refvector2<unsigned char, alloc_new> b;
    ASSERT_TRUE(b.load(0, file.c_str()));
    EXPECT_EQ(text(b), "0123456789");
    ASSERT_TRUE(b.load(3, file.c_str()));
    EXPECT_EQ(text(b), "012");
    // More than the file holds, a missing file, a directory: no data.
    for (const auto& [count, path] :
         {std::pair{11, file}, {0, dir.path + "/none"}, {0, dir.path}}) {
        EXPECT_FALSE(b.load(count, path.c_str())) << path;
        EXPECT_TRUE(b.empty());
    }
    ASSERT_TRUE(b.load(0, dir.write("empty", "").c_str()));
    EXPECT_FALSE(b.empty());
    EXPECT_EQ(b.size(), 0u);
    // keep: the old contents overwrite the start of the newly read block.
    ASSERT_TRUE(b.load(4));
    std::memcpy(b.begin(), "abcd", 4);
    ASSERT_TRUE(b.load(0, file.c_str(), prot_read, 0, true));
    EXPECT_EQ(text(b), "abcd456789");

    // A view: from ofs, len elements or (all ones) to the end of the block.
    ofsvector<unsigned char, alloc_new> v;
    ASSERT_TRUE(v.load(0, dir.write("hex", "0123456789ABCDEF").c_str()));
    v.ofs = 20;
    EXPECT_EQ(v.size(), 0u);
    v.ofs = 10;
    EXPECT_EQ(text(v), "ABCDEF");
    v.len = 5;
    EXPECT_EQ(text(v), "ABCDE");
    EXPECT_EQ(v[1], 'B');
    // Growing a view: its 5 elements start a new, unshared block.
    auto other = v;
    ASSERT_TRUE(v.resize(100));
    EXPECT_EQ(v.size(), 100u); // also tells ofs 0, len to the end
    EXPECT_EQ(text(v, 5), "ABCDE");
    EXPECT_EQ(text(other), "ABCDE");
    ASSERT_TRUE(other.load(2));
    EXPECT_EQ(other.size(), 2u); // ofs back to 0

    // Copies share one block: it grows for all and is freed once, by the last.
    {
        refvector2<unsigned char, counting_alloc> a, c;
        ASSERT_TRUE(a.load(3));
        std::memcpy(a.begin(), "xyz", 3);
        auto twin = a;
        twin[0] = 'X';
        ASSERT_TRUE(twin.resize(5)); // one shared block grows for both
        EXPECT_EQ(a.size(), 5u);
        EXPECT_EQ(text(a, 3), "Xyz");
        a.clear();
        c = twin;
        twin.clear();
        EXPECT_EQ(text(c, 3), "Xyz");
        EXPECT_EQ(counting_alloc::freed, 0);
        c.clear();
        EXPECT_EQ(counting_alloc::freed, 1);
        ASSERT_TRUE(c.resize(7)); // without a block, resize makes one
    }
    EXPECT_EQ(counting_alloc::freed, 2);
}
