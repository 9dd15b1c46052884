// Stream manipulators: repeated characters and the byte writer. Each leaves
// the stream's format state as it was, apart from a field width it used up.

#include "utils/ssutil.h"

#include <ios>
#include <string>

namespace basekit {

namespace {

// With a field width set the character goes out formatted, so the width pads
// it and is used up; otherwise it is put as it is.
void putone(std::ostream& os, char c)
{
    if (os.width() != 0)
        os << std::string(1, c);
    else
        os.put(c);
}

} // namespace

std::ostream& operator<<(std::ostream& os, const _putn& m)
{
    for (std::uint64_t i = 0; i < m.count; ++i)
        putone(os, m.text[i]);
    return os;
}

std::ostream& operator<<(std::ostream& os, const _putcn& m)
{
    for (std::uint64_t i = 0; i < m.count; ++i)
        putone(os, m.c);
    return os;
}

std::ostream& operator<<(std::ostream& os, const _putspace& m)
{
    return os << _putcn{' ', m.count};
}

// The byte goes out as a character in a '0'-filled field of width 2: a '0'
// and then the raw byte. The byte-colour text forms are read back this way.
std::ostream& operator<<(std::ostream& os, const _puthex<unsigned char>& m)
{
    if (os.flags() & std::ios_base::showbase)
        os << "0x";
    const std::ios_base::fmtflags flags = os.flags();
    const char fill = os.fill();
    os.setf(std::ios_base::hex, std::ios_base::basefield);
    os.fill('0');
    os.width(2);
    os << m.value;
    os.flags(flags);
    os.fill(fill);
    return os;
}

} // namespace basekit
