// Memory blocks: the allocation policy, whole-file loads, sharing between
// handles, resizing, and the views of ofsvector.

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/utils/tempdir.h"
#include "utils/alloc_new.h"
#include "utils/ofsvector.h"
#include "utils/refvector2.h"

using namespace basekit;

namespace {

// alloc_new that counts the arrays alive, to see when blocks are freed.
struct counting_alloc {
    static inline int live = 0;
    static void* allocate(std::size_t& size, const char* path, e_prot_t prot, std::size_t offset,
                          android_app* app)
    {
        void* p = alloc_new::allocate(size, path, prot, offset, app);
        live += p != nullptr;
        return p;
    }
    static void* reallocate(std::size_t& size, void* old, std::size_t newsize)
    {
        return alloc_new::reallocate(size, old, newsize);
    }
    static void deallocate(void* p)
    {
        live -= p != nullptr;
        alloc_new::deallocate(p);
    }
};

using bytes = refvector2<unsigned char, alloc_new>;
using counted = refvector2<unsigned char, counting_alloc>;
using view = ofsvector<unsigned char, alloc_new>;

std::string text(const unsigned char* begin, const unsigned char* end)
{
    return std::string(reinterpret_cast<const char*>(begin), static_cast<std::size_t>(end - begin));
}

template <typename V> std::string text(const V& v)
{
    return text(v.begin(), v.end());
}

} // namespace

TEST(Blocks, AllocNew)
{
    std::size_t size = 4;
    auto* p = static_cast<unsigned char*>(alloc_new::allocate(size, nullptr, prot_read, 0, nullptr));
    ASSERT_NE(p, nullptr);
    std::memcpy(p, "abcd", 4);
    p = static_cast<unsigned char*>(alloc_new::reallocate(size, p, 8));
    EXPECT_EQ(size, 8u);
    EXPECT_EQ(std::memcmp(p, "abcd", 4), 0);
    p = static_cast<unsigned char*>(alloc_new::reallocate(size, p, 2));
    EXPECT_EQ(size, 2u);
    EXPECT_EQ(std::memcmp(p, "ab", 2), 0);
    alloc_new::deallocate(p);
    alloc_new::deallocate(nullptr);

    tempdir dir;
    const std::string file = dir.write("f.bin", std::string("\x00\x01\x02\xff", 4));
    size = 0;
    p = static_cast<unsigned char*>(alloc_new::allocate(size, file.c_str(), prot_read, 0, nullptr));
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(size, 4u);
    EXPECT_EQ(p[3], 0xff);
    alloc_new::deallocate(p);

    // Read-write access to a file we may not write is refused (root may).
    chmod(file.c_str(), 0444);
    size = 0;
    p = static_cast<unsigned char*>(alloc_new::allocate(size, file.c_str(), prot_readwrite, 0, nullptr));
    if (geteuid() != 0) {
        EXPECT_EQ(p, nullptr);
    }
    alloc_new::deallocate(p);
}

TEST(Blocks, LoadFromFiles)
{
    tempdir dir;
    const std::string file = dir.write("data.bin", "0123456789");

    bytes whole;
    ASSERT_TRUE(whole.load(0, file.c_str()));
    EXPECT_EQ(whole.size(), 10u);
    EXPECT_EQ(text(whole), "0123456789");
    EXPECT_EQ(whole[9], '9');
    EXPECT_EQ(*whole.operator->(), '0');

    bytes head;
    ASSERT_TRUE(head.load(3, file.c_str()));
    EXPECT_EQ(text(head), "012");

    // More than the file holds, a missing file, a directory: no data.
    EXPECT_FALSE(head.load(11, file.c_str()));
    EXPECT_TRUE(head.empty());
    EXPECT_FALSE(head.load(0, (dir.path() + "/missing").c_str()));
    EXPECT_TRUE(head.empty());
    EXPECT_EQ(head.begin(), nullptr);
    EXPECT_FALSE(head.load(0, dir.path().c_str()));

    bytes none;
    ASSERT_TRUE(none.load(0, dir.write("empty", "").c_str()));
    EXPECT_FALSE(none.empty());
    EXPECT_EQ(none.size(), 0u);

    // keep: the old contents overwrite the start of the newly read block.
    bytes kept;
    ASSERT_TRUE(kept.load(4));
    std::memcpy(kept.begin(), "abcd", 4);
    ASSERT_TRUE(kept.load(0, file.c_str(), prot_read, 0, true));
    EXPECT_EQ(text(kept), "abcd456789");

    // Elements wider than a byte: the count comes from the file's size.
    refvector2<std::uint16_t, alloc_new> words;
    ASSERT_TRUE(words.load(0, file.c_str()));
    EXPECT_EQ(words.size(), 5u);
}

TEST(Blocks, SharingAndResize)
{
    ASSERT_EQ(counting_alloc::live, 0);
    {
        counted a;
        ASSERT_TRUE(a.load(3));
        std::memcpy(a.begin(), "xyz", 3);
        counted b = a;
        EXPECT_EQ(counting_alloc::live, 1);
        b[0] = 'X';
        EXPECT_EQ(a[0], 'X');

        // Resizing grows the one shared block for both handles.
        ASSERT_TRUE(b.resize(5));
        EXPECT_EQ(a.size(), 5u);
        EXPECT_EQ(text(a.begin(), a.begin() + 3), "Xyz");

        a.clear();
        EXPECT_TRUE(a.empty());
        EXPECT_EQ(a.size(), 0u);
        EXPECT_EQ(counting_alloc::live, 1);
        EXPECT_EQ(text(b.begin(), b.begin() + 3), "Xyz");

        counted c;
        c = b;
        b.clear();
        EXPECT_EQ(counting_alloc::live, 1);
        c.clear();
        EXPECT_EQ(counting_alloc::live, 0);

        // Without a block, resize makes one.
        ASSERT_TRUE(c.resize(7));
        EXPECT_EQ(c.size(), 7u);
        EXPECT_EQ(counting_alloc::live, 1);
        counted moved = std::move(c);
        EXPECT_TRUE(c.empty());
        EXPECT_EQ(moved.size(), 7u);
    }
    EXPECT_EQ(counting_alloc::live, 0);
}

TEST(Blocks, OffsetViews)
{
    tempdir dir;
    const std::string file = dir.write("hex", "0123456789ABCDEF");
    view v;
    ASSERT_TRUE(v.load(0, file.c_str()));
    EXPECT_EQ(v.ofs, 0u);
    EXPECT_EQ(v.len, view::to_end);
    EXPECT_EQ(text(v), "0123456789ABCDEF");

    v.ofs = 10;
    v.len = 5;
    EXPECT_EQ(v.size(), 5u);
    EXPECT_EQ(text(v), "ABCDE");
    EXPECT_EQ(v[1], 'B');
    v.len = view::to_end;
    EXPECT_EQ(text(v), "ABCDEF");
    v.ofs = 20;
    EXPECT_EQ(v.size(), 0u);
    EXPECT_FALSE(v.empty());

    // Growing a view: its 5 elements start a new, unshared block.
    v.ofs = 10;
    v.len = 5;
    view other = v;
    ASSERT_TRUE(v.resize(100));
    EXPECT_EQ(v.size(), 100u);
    EXPECT_EQ(v.ofs, 0u);
    EXPECT_EQ(v.len, view::to_end);
    EXPECT_EQ(text(v.begin(), v.begin() + 5), "ABCDE");
    EXPECT_EQ(text(other), "ABCDE");
    other.ofs = 0;
    other.len = view::to_end;
    EXPECT_EQ(text(other), "0123456789ABCDEF");

    // A view to the end copies only what lies after its start.
    other.ofs = 12;
    ASSERT_TRUE(other.resize(8));
    EXPECT_EQ(other.size(), 8u);
    EXPECT_EQ(text(other.begin(), other.begin() + 4), "CDEF");

    other.ofs = 3;
    other.len = 2;
    other.clear();
    EXPECT_TRUE(other.empty());
    EXPECT_EQ(other.ofs, 0u);
    EXPECT_EQ(other.len, view::to_end);
    ASSERT_TRUE(other.resize(2));
    EXPECT_EQ(other.size(), 2u);
}
