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

TEST(Strutil, TrimTokensCopiesAndConversions) {
    EXPECT_EQ(stringcmp("vexlor", "vex"), 0);
    EXPECT_LT(stringcmp("ve", "vex"), 0);
    std::string crlf = "a\r\n\r\n", blanks = "a \t\n", zeros("x y\0 \t\r\n\0", 9), none;
    chop(crlf);
    chop(blanks);
    chop2(zeros);
    chop2(none);
    EXPECT_EQ(crlf + "|" + blanks + "|" + zeros + "|" + none, "a|a \t|x y|");

    L tokens{"kept"}, in{"a", "bb"}, empty;
    separate_token(tokens, ",a,,b,", ",");
    separate_token(tokens, "", ",");
    separate_token(tokens, std::string("x y\0z", 5), " ,");
    EXPECT_EQ(tokens, (L{"kept", "", "a", "", "b", "x", "y", "z"}));
    std::pair<std::string, std::string> kv{"old", "pair"};
    EXPECT_FALSE(separate_first_token(kv, "novalue", '='));
    EXPECT_EQ(kv.first + "|" + kv.second, "old|pair");
    EXPECT_TRUE(separate_first_token(kv, "key=value=x", '='));
    EXPECT_EQ(kv.first + "|" + kv.second, "key|value=x");
    std::string joined = "stale";
    concatenate_token(joined, in, ", ");
    EXPECT_EQ(joined, "a, bb");
    concatenate_token(joined, empty, ", ");
    EXPECT_EQ(joined, "");

    std::vector<std::string> out{"x"}, copied{"x"};
    cat(out, in);
    copy(copied, in);
    EXPECT_EQ(out, (std::vector<std::string>{"x", "a", "bb"})); // cat appends, copy replaces
    EXPECT_EQ(copied, (std::vector<std::string>{"a", "bb"}));
    std::vector<const char*> ptrs{"stale"};
    makecharptrarray(ptrs, in);
    EXPECT_EQ(ptrs, (std::vector<const char*>{in.front().c_str(), in.back().c_str()}));

    if (!std::setlocale(LC_ALL, "C.UTF-8")) GTEST_SKIP() << "no UTF-8 locale";
    EXPECT_EQ(str2wstr("x\xe3\x81\x82"), std::wstring({L'x', wchar_t(0x3042)}));
    // Nine bytes from three wide characters: more than twice the wide length.
    EXPECT_EQ(wstr2str({wchar_t(0x3042), wchar_t(0x3044), wchar_t(0x3046)}),
              "\xe3\x81\x82\xe3\x81\x84\xe3\x81\x86");
    std::setlocale(LC_ALL, "C");
}

TEST(Ssutil, ManipulatorsAndFlagGuard) {
    std::ostringstream os;
    os << _putcn{'-', 3} << _putcn{'x', 0} << _putn{"hello", 3} << _putspace{2} << '|';
    // A width pads the first character only and is used up by it.
    os << std::setw(4) << _putcn{'x', 2};
    EXPECT_EQ(os.str(), "---hel  |   xx");

    // _puthex: "0x" with show-base, then '0' and the raw byte; flags and
    // fill come back as they were. keepflag restores the flags on leaving.
    os.str("");
    os << _puthex<unsigned char>{0x41} << _puthex<unsigned char>{0x07} << std::showbase;
    os << std::setfill('*');
    const auto flags = os.flags();
    os << _puthex<unsigned char>{'z'};
    EXPECT_EQ(os.flags(), flags);
    os << std::setw(5) << 255;
    {
        keepflag guard(os);
        os << std::hex << std::uppercase << std::left << std::setw(5) << 255;
    }
    os << std::setw(5) << 255;
    EXPECT_EQ(os.str(), "0A0\a0x0z**2550XFF***255");
}
