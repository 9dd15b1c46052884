// Strings: prefixes, trimming, tokens, multibyte conversion, list copies,
// the stream manipulators and the flag guard.

#include <gtest/gtest.h>

#include <clocale>
#include <iomanip>
#include <sstream>

#include "utils/ssutil.h"
#include "utils/strutil.h"

using namespace basekit;
using L = std::list<std::string>;

TEST(Strutil, PrefixAndChop)
{
    EXPECT_EQ(stringcmp("vexlor", "vex"), 0);
    EXPECT_LT(stringcmp("ve", "vex"), 0);
    const struct { std::string in, chopped, chopped2; } cases[] = {
        {"a\r\n\r\n", "a", "a"},
        {"a \t\n", "a \t", "a"},
        {std::string("x y\0 \r\0", 7), std::string("x y\0 \r\0", 7), "x y"},
        {"\n\r", "", ""},
        {"", "", ""},
    };
    for (const auto& c : cases) {
        std::string s = c.in, s2 = c.in;
        chop(s);
        chop2(s2);
        EXPECT_EQ(s, c.chopped);
        EXPECT_EQ(s2, c.chopped2);
    }
}

TEST(Strutil, Tokens)
{
    L out{"kept"};
    separate_token(out, ",a,,b,", ",");
    separate_token(out, "", ",");
    separate_token(out, std::string("x y\0z", 5), " ,");
    EXPECT_EQ(out, (L{"kept", "", "a", "", "b", "x", "y", "z"}));

    std::pair<std::string, std::string> kv{"old", "pair"};
    EXPECT_FALSE(separate_first_token(kv, "novalue", '='));
    EXPECT_EQ(kv.first + "|" + kv.second, "old|pair");
    EXPECT_TRUE(separate_first_token(kv, "key=value=x", '='));
    EXPECT_EQ(kv.first + "|" + kv.second, "key|value=x");

    std::string joined = "stale";
    L parts{"a", "b", "c"}, none;
    concatenate_token(joined, parts, ", ");
    EXPECT_EQ(joined, "a, b, c");
    concatenate_token(joined, none, ", ");
    EXPECT_EQ(joined, "");
}

TEST(Strutil, CopiesAndWideConversion)
{
    L in{"a", "bb"};
    std::vector<std::string> out{"x"};
    cat(out, in);
    EXPECT_EQ(out, (std::vector<std::string>{"x", "a", "bb"}));
    copy(out, in);
    EXPECT_EQ(out, (std::vector<std::string>{"a", "bb"}));
    std::vector<const char*> ptrs{"stale"};
    makecharptrarray(ptrs, in);
    EXPECT_EQ(ptrs, (std::vector<const char*>{in.front().c_str(), in.back().c_str()}));
    EXPECT_EQ(str2wstr("abc"), L"abc");
    EXPECT_EQ(wstr2str(L"abc"), "abc");
    if (!std::setlocale(LC_ALL, "C.UTF-8"))
        GTEST_SKIP() << "no UTF-8 locale";
    EXPECT_EQ(str2wstr("x\xe3\x81\x82"), std::wstring({L'x', wchar_t(0x3042)}));
    // Nine bytes from three wide characters: more than twice the wide length.
    EXPECT_EQ(wstr2str({wchar_t(0x3042), wchar_t(0x3044), wchar_t(0x3046)}),
              "\xe3\x81\x82\xe3\x81\x84\xe3\x81\x86");
    EXPECT_EQ(str2wstr("\xff\xfe"), L"");
    std::setlocale(LC_ALL, "C");
}

TEST(Ssutil, Manipulators)
{
    std::ostringstream os;
    os << _putcn{'-', 3} << '|' << _putcn{'x', 0} << _putn{"hello", 3} << '|' << _putspace{2} << '|';
    // A width pads the first character only and is used up by it.
    os << std::setw(4) << _putcn{'x', 2};
    EXPECT_EQ(os.str(), "---|hel|  |   xx");

    // _puthex: "0x" with show-base, then '0' and the raw byte; flags and
    // fill come back as they were.
    os.str("");
    os << _puthex<unsigned char>{0x41} << _puthex<unsigned char>{0x07} << std::showbase << std::setfill('*');
    const auto flags = os.flags();
    os << _puthex<unsigned char>{'z'};
    EXPECT_EQ(os.flags(), flags);
    os << std::setw(5) << 255;
    EXPECT_EQ(os.str(), std::string("0A0\x07" "0x0z**255"));
}

TEST(Ssutil, KeepflagRestoresFlags)
{
    std::ostringstream os;
    os << std::left;
    {
        keepflag guard(os);
        os << std::hex << std::showbase << std::uppercase << std::right << 255 << ' ';
    }
    os << std::setw(4) << 255 << '|';
    EXPECT_EQ(os.str(), "0XFF 255 |");
}
