// String helpers: prefixes, trimming, tokens, multibyte conversion and the
// list-to-vector copies.

#include <gtest/gtest.h>

#include <list>
#include <string>
#include <vector>

#include "tests/utils/locale_guard.h"
#include "utils/strutil.h"

using namespace basekit;

TEST(Strutil, PrefixCompare)
{
    EXPECT_EQ(stringcmp("vexlor", "vex"), 0);
    EXPECT_EQ(stringcmp("anything", ""), 0);
    EXPECT_LT(stringcmp("ve", "vex"), 0);
    EXPECT_GT(stringcmp("vfx", "vex"), 0);
}

TEST(Strutil, Chop)
{
    std::string s = "a\r\n\r\n";
    chop(s);
    EXPECT_EQ(s, "a");
    s = "a \t\r\n";
    chop(s);
    EXPECT_EQ(s, "a \t");
    s = "\n\r";
    chop(s);
    EXPECT_EQ(s, "");
    s.clear();
    chop(s);
    EXPECT_EQ(s, "");

    s = "a \t\n";
    chop2(s);
    EXPECT_EQ(s, "a");
    s = std::string("x y\0 \r\0", 7);
    chop2(s);
    EXPECT_EQ(s, "x y");
    s.clear();
    chop2(s);
    EXPECT_EQ(s, "");
}

TEST(Strutil, Tokens)
{
    using L = std::list<std::string>;
    L out{"kept"};
    separate_token(out, ",a,,b,", ",");
    EXPECT_EQ(out, (L{"kept", "", "a", "", "b"}));

    out.clear();
    separate_token(out, "x y,z", " ,");
    EXPECT_EQ(out, (L{"x", "y", "z"}));

    out.clear();
    separate_token(out, std::string("a\0b", 3), ",");
    EXPECT_EQ(out, (L{"a", "b"}));

    out.clear();
    separate_token(out, "", ",");
    EXPECT_TRUE(out.empty());

    std::pair<std::string, std::string> kv{"old", "pair"};
    EXPECT_FALSE(separate_first_token(kv, "novalue", '='));
    EXPECT_EQ(kv, std::make_pair(std::string("old"), std::string("pair")));
    EXPECT_TRUE(separate_first_token(kv, "key=value=x", '='));
    EXPECT_EQ(kv, std::make_pair(std::string("key"), std::string("value=x")));
    EXPECT_TRUE(separate_first_token(kv, "=", '='));
    EXPECT_EQ(kv, std::make_pair(std::string(), std::string()));

    std::string joined = "stale";
    L parts{"a", "b", "c"};
    concatenate_token(joined, parts, ", ");
    EXPECT_EQ(joined, "a, b, c");
    L none;
    concatenate_token(joined, none, ", ");
    EXPECT_EQ(joined, "");
    L one{"solo"};
    concatenate_token(joined, one, ", ");
    EXPECT_EQ(joined, "solo");
}

TEST(Strutil, WideConversion)
{
    EXPECT_EQ(str2wstr("abc"), L"abc");
    EXPECT_EQ(wstr2str(L"abc"), "abc");
    EXPECT_EQ(str2wstr(""), L"");

    locale_guard utf8("C.UTF-8");
    if (!utf8.ok())
        GTEST_SKIP() << "no UTF-8 locale";
    const std::wstring w = str2wstr("x\xe3\x81\x82");
    ASSERT_EQ(w.size(), 2u);
    EXPECT_EQ(w[1], wchar_t(0x3042));
    // Three characters of three bytes each: more than twice the wide length.
    EXPECT_EQ(wstr2str(L"\u3042\u3044\u3046"), "\xe3\x81\x82\xe3\x81\x84\xe3\x81\x86");
    EXPECT_EQ(str2wstr("\xff\xfe"), L"");
}

TEST(Strutil, ListCopies)
{
    const std::list<std::string> in{"a", "bb"};
    std::vector<std::string> out{"x"};
    cat(out, in);
    EXPECT_EQ(out, (std::vector<std::string>{"x", "a", "bb"}));

    std::list<std::string> src{"p", "q"};
    copy(out, src);
    EXPECT_EQ(out, (std::vector<std::string>{"p", "q"}));

    std::vector<const char*> ptrs{"stale"};
    makecharptrarray(ptrs, in);
    ASSERT_EQ(ptrs.size(), 2u);
    EXPECT_EQ(ptrs[0], in.front().c_str());
    EXPECT_EQ(ptrs[1], in.back().c_str());
}
