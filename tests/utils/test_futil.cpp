// Path utilities: separators of both kinds, extensions, splitting and joining,
// multibyte names, search along PATH and modification-time comparison.

#include <gtest/gtest.h>

#include <clocale>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <vector>

#include "tests/utils/tempdir.h"
#include "utils/futil.h"

// basename is always qualified: glibc's ::basename(const char*) would
// otherwise win over basekit::basename(const std::string&).
using namespace basekit;

TEST(Futil, BaseAndDirName)
{
    const struct { const char *path, *base, *dir; } cases[] = {
        {"D:\\data/scene.old.txt", "scene.old", "D:\\data/"},
        {"a/b\\c.x", "c", "a/b\\"},
        {"noext", "noext", ""},
        {"dir.d/file", "file", "dir.d/"},
        {"dir/", "", "dir/"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(basekit::basename(c.path), c.base) << c.path;
        EXPECT_EQ(dirname(c.path), c.dir) << c.path;
        EXPECT_EQ(baseptr(c.path), c.path + std::strlen(c.dir)) << c.path;
    }
    char buf[16];
    EXPECT_EQ(basekit::basename(buf, "dir/abcdef.txt", 4), 3u);
    EXPECT_STREQ(buf, "abc");

    EXPECT_EQ(extcasecmp("reverb.WAV", ".wav"), 0);
    EXPECT_EQ(extcasecmp("a", ".wav"), -1);
    EXPECT_NE(extcasecmp("reverb.wav", ".mp3"), 0);
    EXPECT_EQ(extcasecmp("reverb.wav.bak", 10, ".WAV"), 0);
    EXPECT_EQ(delimconvert("a/b\\c/"), "a\\b\\c\\");
    EXPECT_EQ(deliminvert("a/b\\c\\"), "a/b/c/");
}

TEST(Futil, SplitAndConcat)
{
    using V = std::vector<std::string>;
    const auto parts = [](const std::string& path) {
        splitpath_t s;
        split(s, path.c_str());
        return V{s.drive, s.dir, s.name, s.ext};
    };
    EXPECT_EQ(parts("D:\\x\\y.z"), (V{"D:", "\\x\\", "y", ".z"}));
    EXPECT_EQ(parts("/usr/lib/a.b.c"), (V{"", "/usr/lib/", "a.b", ".c"}));
    EXPECT_EQ(parts("d.e/name"), (V{"", "d.e/", "name", ""}));
    EXPECT_EQ(parts(std::string(300, 'n') + ".e")[2], std::string(259, 'n'));

    splitpath_t s;
    split(s, "C:/shows/susuki.scene");
    char joined[4 * path_part_max];
    EXPECT_STREQ(concat(joined, s), "C:/shows/susuki.scene");
}

TEST(Futil, MultibyteNames)
{
    const std::string a = "\xe3\x81\x82", i = "\xe3\x81\x84";   // U+3042, U+3044
    const std::string path = "d" + a + "/" + a + i + ".txt";
    // The C locale cannot convert these bytes: they are handled as they are.
    EXPECT_EQ(basekit::basename(path), a + i);
    if (!std::setlocale(LC_ALL, "C.UTF-8"))
        GTEST_SKIP() << "no UTF-8 locale";
    EXPECT_EQ(basekit::basename(path), a + i);
    EXPECT_EQ(dirname(path), "d" + a + "/");
    EXPECT_EQ(baseptr(path.c_str()), path.c_str() + 5);
    // 5 bytes hold one 3-byte character and the zero, not half of the next.
    char buf[5];
    EXPECT_EQ(basekit::basename(buf, path.c_str(), sizeof buf), 3u);
    EXPECT_EQ(buf, a);
    splitpath_t s;
    split(s, ("Q:" + a + "\\" + i + "." + a).c_str());
    EXPECT_EQ(s.dir, a + "\\");
    EXPECT_EQ(s.ext, "." + a);
    std::setlocale(LC_ALL, "C");
}

TEST(Futil, SearchPath)
{
    tempdir first, second;
    first.write("needle", "1");
    const std::string in_second = second.write("needle", "2");
    const std::string saved = getenv("PATH") ? getenv("PATH") : "";
    const std::string origin = second.path + "/prog";

    setenv("PATH", ("/nonexistent;;" + first.path).c_str(), 1);
    EXPECT_EQ(searchpath("needle"), first.path + "/needle");
    EXPECT_EQ(searchpath("needle", origin.c_str()), in_second);   // origin first
    EXPECT_EQ(searchpath(in_second), in_second);                   // found as given
    EXPECT_EQ(searchpath("missing", origin.c_str()), "missing");
    setenv("PATH", (first.path + "/").c_str(), 1);
    EXPECT_EQ(searchpath("needle"), first.path + "/needle");
    setenv("PATH", ("/nonexistent:" + first.path).c_str(), 1);   // ';' only
    EXPECT_EQ(searchpath("needle"), "needle");
    setenv("PATH", saved.c_str(), 1);
}

TEST(Futil, NeedUpdate)
{
    tempdir dir;
    const std::string src = dir.write("src", "s"), dst = dir.write("dst", "d");
    const auto stamp = [](const std::string& path, long nsec) {
        const timespec times[2] = {{2000, nsec}, {2000, nsec}};
        return utimensat(AT_FDCWD, path.c_str(), times, 0) == 0;
    };
    EXPECT_FALSE(need_update(dir.path + "/none", dst));
    EXPECT_TRUE(need_update(src, dir.path + "/none"));
    ASSERT_TRUE(stamp(src, 0) && stamp(dst, 0));
    EXPECT_FALSE(need_update(src, dst));
    ASSERT_TRUE(stamp(src, 500));
    EXPECT_TRUE(need_update(src, dst));
    EXPECT_FALSE(need_update(dst, src));
}
