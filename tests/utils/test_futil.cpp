// Path utilities: separators of both kinds, extensions, splitting and joining,
// multibyte names, search along PATH and modification-time comparison.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>

#include "tests/utils/locale_guard.h"
#include "tests/utils/tempdir.h"
#include "utils/futil.h"

// Calls to basename are qualified: glibc declares a ::basename(const char*)
// that would otherwise win over basekit::basename(const std::string&).
using namespace basekit;

namespace {

const std::string a_ = "\xe3\x81\x82";   // U+3042 in UTF-8
const std::string i_ = "\xe3\x81\x84";   // U+3044

} // namespace

TEST(Futil, BasenameAndDirname)
{
    EXPECT_EQ(basekit::basename("D:\\data/scene.old.txt"), "scene.old");
    EXPECT_EQ(dirname("D:\\data/scene.old.txt"), "D:\\data/");
    EXPECT_EQ(dirname("a/b\\c.x"), "a/b\\");
    EXPECT_EQ(basekit::basename("noext"), "noext");
    EXPECT_EQ(dirname("noext"), "");
    EXPECT_EQ(basekit::basename("dir.d/file"), "file");
    EXPECT_EQ(basekit::basename("dir/"), "");
    EXPECT_EQ(basekit::basename(""), "");

    const char* p = "x/y\\zz.q";
    EXPECT_EQ(baseptr(p), p + 4);
    const char* plain = "plain";
    EXPECT_EQ(baseptr(plain), plain);

    char buf[16];
    EXPECT_EQ(basekit::basename(buf, "dir/abcdef.txt", 4), 3u);
    EXPECT_STREQ(buf, "abc");
    EXPECT_EQ(dirname(buf, "/usr/lib/x", sizeof buf), 9u);
    EXPECT_STREQ(buf, "/usr/lib/");
}

TEST(Futil, Extensions)
{
    EXPECT_EQ(extcasecmp("reverb.WAV", ".wav"), 0);
    EXPECT_EQ(extcasecmp(std::string("a"), ".wav"), -1);
    EXPECT_NE(extcasecmp("reverb.wav", ".mp3"), 0);
    EXPECT_EQ(extcasecmp("reverb.wav.bak", 10, ".WAV"), 0);
    EXPECT_EQ(extcasecmp(".wav", ".wav"), 0);
}

TEST(Futil, DelimiterConversion)
{
    EXPECT_EQ(delimconvert("a/b\\c/"), "a\\b\\c\\");
    EXPECT_EQ(deliminvert("a/b\\c\\"), "a/b/c/");
}

TEST(Futil, SplitAndConcat)
{
    char drive[path_part_max], dir[path_part_max], name[path_part_max], ext[path_part_max];
    splitpath("D:\\x\\y.z", drive, dir, name, ext);
    EXPECT_STREQ(drive, "D:");
    EXPECT_STREQ(dir, "\\x\\");
    EXPECT_STREQ(name, "y");
    EXPECT_STREQ(ext, ".z");

    splitpath("/usr/lib/a.b.c", drive, dir, name, ext);
    EXPECT_STREQ(drive, "");
    EXPECT_STREQ(dir, "/usr/lib/");
    EXPECT_STREQ(name, "a.b");
    EXPECT_STREQ(ext, ".c");

    // Only the name and extension are asked for; a point in the directory
    // does not count.
    splitpath("d.e/name", nullptr, nullptr, name, ext);
    EXPECT_STREQ(name, "name");
    EXPECT_STREQ(ext, "");

    splitpath_t parts;
    split(parts, "C:/shows/susuki.scene");
    char joined[4 * path_part_max];
    EXPECT_EQ(concat(joined, parts), joined);
    EXPECT_STREQ(joined, "C:/shows/susuki.scene");
    EXPECT_STREQ(concatpath(joined, "", "/tmp/", "a", nullptr), "/tmp/a");

    // Over-long names are cut to fit the 260-byte parts.
    split(parts, (std::string(300, 'n') + ".ext").c_str());
    EXPECT_EQ(std::string(parts.name), std::string(259, 'n'));
    EXPECT_STREQ(parts.ext, ".ext");
}

TEST(Futil, MultibyteNames)
{
    const std::string path = "d" + a_ + "/" + a_ + i_ + ".txt";
    {
        // Not convertible in the C locale: handled byte by byte.
        locale_guard c("C");
        EXPECT_EQ(basekit::basename(path), a_ + i_);
        EXPECT_EQ(dirname(path), "d" + a_ + "/");
    }
    locale_guard utf8("C.UTF-8");
    if (!utf8.ok())
        GTEST_SKIP() << "no UTF-8 locale";
    EXPECT_EQ(basekit::basename(path), a_ + i_);
    EXPECT_EQ(dirname(path), "d" + a_ + "/");
    EXPECT_EQ(baseptr(path.c_str()), path.c_str() + 5);
    EXPECT_EQ(deliminvert("x\\" + a_ + "\\y"), "x/" + a_ + "/y");

    // 5 bytes hold one 3-byte character and the zero, not half of the second.
    char buf[5];
    EXPECT_EQ(basekit::basename(buf, path.c_str(), sizeof buf), 3u);
    EXPECT_EQ(std::string(buf), a_);

    splitpath_t parts;
    split(parts, ("Q:" + a_ + "\\" + i_ + "." + a_).c_str());
    EXPECT_EQ(std::string(parts.drive), "Q:");
    EXPECT_EQ(std::string(parts.dir), a_ + "\\");
    EXPECT_EQ(std::string(parts.name), i_);
    EXPECT_EQ(std::string(parts.ext), "." + a_);
}

TEST(Futil, SearchPath)
{
    tempdir first, second;
    ASSERT_FALSE(first.path().empty());
    ASSERT_FALSE(second.path().empty());
    first.write("needle.dat", "1");
    const std::string in_second = second.write("needle.dat", "2");

    const char* old = std::getenv("PATH");
    const std::string saved = old ? old : "";

    setenv("PATH", ("/nonexistent;;" + first.path()).c_str(), 1);
    EXPECT_EQ(searchpath("needle.dat", nullptr), first.path() + "/needle.dat");
    setenv("PATH", (first.path() + "/").c_str(), 1);
    EXPECT_EQ(searchpath("needle.dat", nullptr), first.path() + "/needle.dat");
    // The origin's directory comes before PATH.
    EXPECT_EQ(searchpath("needle.dat", (second.path() + "/prog").c_str()), in_second);
    // Found as given: returned as given.
    EXPECT_EQ(searchpath(in_second, nullptr), in_second);
    EXPECT_EQ(searchpath("missing.dat", (second.path() + "/prog").c_str()), "missing.dat");
    // A ':'-separated list is one directory name here.
    setenv("PATH", ("/nonexistent:" + first.path()).c_str(), 1);
    EXPECT_EQ(searchpath("needle.dat", nullptr), "needle.dat");

    setenv("PATH", saved.c_str(), 1);
}

TEST(Futil, NeedUpdate)
{
    tempdir dir;
    const std::string src = dir.write("src", "s");
    const std::string dst = dir.write("dst", "d");
    const auto stamp = [](const std::string& path, time_t sec, long nsec) {
        const struct timespec times[2] = {{sec, nsec}, {sec, nsec}};
        ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    };

    EXPECT_FALSE(need_update(dir.path() + "/none", dst));
    EXPECT_TRUE(need_update(src, dir.path() + "/none"));
    stamp(src, 2000, 0);
    stamp(dst, 1000, 0);
    EXPECT_TRUE(need_update(src, dst));
    EXPECT_FALSE(need_update(dst, src));
    stamp(dst, 2000, 0);
    EXPECT_FALSE(need_update(src, dst));
    stamp(src, 2000, 500);
    EXPECT_TRUE(need_update(src, dst));
}
