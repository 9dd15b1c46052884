// Stream manipulators and the flag guard: what they write, how a field width
// applies, and that the stream's format state comes back unchanged.

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>

#include "utils/ssutil.h"

using namespace basekit;

TEST(Ssutil, RepeatedCharacters)
{
    std::ostringstream os;
    os << _putcn{'-', 3} << '|' << _putcn{'x', 0} << _putn{"hello", 3} << '|' << _putspace{4} << '|';
    EXPECT_EQ(os.str(), "---|hel|    |");

    // A width pads the first character only, and is used up by it.
    std::ostringstream padded;
    padded << std::setw(4) << _putcn{'x', 2} << std::setw(3) << _putn{"ab", 2};
    EXPECT_EQ(padded.str(), "   xx  ab");
    EXPECT_EQ(padded.width(), 0);
}

TEST(Ssutil, PutHexWritesZeroThenRawByte)
{
    std::ostringstream os;
    os << _puthex<unsigned char>{0x41} << ' ' << _puthex<unsigned char>{0x07};
    EXPECT_EQ(os.str(), std::string("0A 0\x07"));

    // Show-base adds "0x"; flags and fill come back as they were.
    std::ostringstream based;
    based << std::showbase << std::setfill('*');
    const auto flags = based.flags();
    based << _puthex<unsigned char>{'z'};
    EXPECT_EQ(based.str(), "0x0z");
    EXPECT_EQ(based.flags(), flags);
    EXPECT_EQ(based.fill(), '*');
    based.str("");
    based << std::noshowbase << std::setw(5) << 255;
    EXPECT_EQ(based.str(), "**255");
}

TEST(Ssutil, KeepflagRestoresFlags)
{
    std::ostringstream os;
    os << std::left;
    const auto before = os.flags();
    {
        keepflag guard(os);
        os << std::hex << std::showbase << std::uppercase << std::right << 255;
        EXPECT_EQ(os.str(), "0XFF");
    }
    EXPECT_EQ(os.flags(), before);
    os << ' ' << 255;
    EXPECT_EQ(os.str(), "0XFF 255");
}
