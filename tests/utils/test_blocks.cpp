// Memory blocks: whole-file loads, sharing between handles, resizing, and the
// views of ofsvector.

#include <gtest/gtest.h>

#include <cstring>

#include "tests/utils/tempdir.h"
#include "utils/ofsvector.h"

using namespace basekit;

namespace {

// alloc_new that counts the arrays alive, to see when blocks are freed.
struct counting_alloc : alloc_new {
    static inline int live = 0;
    static void* allocate(std::size_t& size, const char* path, e_prot_t prot, std::size_t offset,
                          android_app* app)
    {
        void* p = alloc_new::allocate(size, path, prot, offset, app);
        live += p != nullptr;
        return p;
    }
    static void deallocate(void* p)
    {
        live -= p != nullptr;
        alloc_new::deallocate(p);
    }
};

using bytes = refvector2<unsigned char, alloc_new>;
using view = ofsvector<unsigned char, alloc_new>;

template <typename V> std::string text(const V& v, std::size_t n = std::string::npos)
{
    return std::string(reinterpret_cast<const char*>(v.begin()), std::min(n, v.size()));
}

} // namespace

TEST(Blocks, LoadFromFiles)
{
    tempdir dir;
    const std::string file = dir.write("data.bin", "0123456789");
    bytes b;
    ASSERT_TRUE(b.load(0, file.c_str()));
    EXPECT_EQ(text(b), "0123456789");
    ASSERT_TRUE(b.load(3, file.c_str()));
    EXPECT_EQ(text(b), "012");

    // More than the file holds, a missing file, a directory: no data.
    for (const auto& [count, path] : {std::pair{11, file}, {0, dir.path + "/none"}, {0, dir.path}}) {
        EXPECT_FALSE(b.load(count, path.c_str())) << path;
        EXPECT_TRUE(b.empty());
        EXPECT_EQ(b.begin(), nullptr);
    }
    ASSERT_TRUE(b.load(0, dir.write("empty", "").c_str()));
    EXPECT_FALSE(b.empty());
    EXPECT_EQ(b.size(), 0u);

    // keep: the old contents overwrite the start of the newly read block.
    ASSERT_TRUE(b.load(4));
    std::memcpy(b.begin(), "abcd", 4);
    ASSERT_TRUE(b.load(0, file.c_str(), prot_read, 0, true));
    EXPECT_EQ(text(b), "abcd456789");
}

TEST(Blocks, SharingAndResize)
{
    {
        refvector2<unsigned char, counting_alloc> a, c;
        ASSERT_TRUE(a.load(3));
        std::memcpy(a.begin(), "xyz", 3);
        auto b = a;
        b[0] = 'X';
        ASSERT_TRUE(b.resize(5));   // one shared block grows for both
        EXPECT_EQ(a.size(), 5u);
        EXPECT_EQ(text(a, 3), "Xyz");
        a.clear();
        EXPECT_TRUE(a.empty());
        EXPECT_EQ(text(b, 3), "Xyz");
        c = b;
        b.clear();
        EXPECT_EQ(counting_alloc::live, 1);
        c.clear();
        EXPECT_EQ(counting_alloc::live, 0);
        ASSERT_TRUE(c.resize(7));   // without a block, resize makes one
    }
    EXPECT_EQ(counting_alloc::live, 0);
}

TEST(Blocks, OffsetViews)
{
    tempdir dir;
    view v;
    ASSERT_TRUE(v.load(0, dir.write("hex", "0123456789ABCDEF").c_str()));
    EXPECT_EQ(text(v), "0123456789ABCDEF");
    v.ofs = 10;
    v.len = 5;
    EXPECT_EQ(text(v), "ABCDE");
    EXPECT_EQ(v[1], 'B');
    v.len = view::to_end;
    EXPECT_EQ(text(v), "ABCDEF");
    v.ofs = 20;
    EXPECT_EQ(v.size(), 0u);

    // Growing a view: its 5 elements start a new, unshared block.
    v.ofs = 10;
    v.len = 5;
    view other = v;
    ASSERT_TRUE(v.resize(100));
    EXPECT_EQ(v.size(), 100u);   // also tells ofs 0, len to the end
    EXPECT_EQ(text(v, 5), "ABCDE");
    EXPECT_EQ(text(other), "ABCDE");

    // A view to the end copies only what lies after its start.
    other.ofs = 12;
    other.len = view::to_end;
    ASSERT_TRUE(other.resize(8));
    EXPECT_EQ(text(other, 4), "CDEF");
    other.ofs = 3;
    other.clear();
    ASSERT_TRUE(other.load(2));
    EXPECT_EQ(other.size(), 2u);   // ofs back to 0
}
