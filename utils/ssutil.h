// Stream manipulators that leave a stream's format state as they found it:
// keepflag (a scope guard for the format flags), repeated characters and the
// byte writer used by the byte-colour text forms.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>

namespace basekit {

// Saves a stream's format flags and puts them back when the scope ends.
class keepflag {
public:
    explicit keepflag(std::ios_base& stream) : m_stream(stream), m_flags(stream.flags()) {}
    ~keepflag() { m_stream.flags(static_cast<std::ios_base::fmtflags>(m_flags)); }
    keepflag(const keepflag&) = delete;
    keepflag& operator=(const keepflag&) = delete;

private:
    std::ios_base& m_stream;
    std::uint32_t m_flags;
};

// Writes `count` characters of `text`.
struct _putn {
    const char* text;
    std::uint64_t count;
};

// Writes the character `c` `count` times.
struct _putcn {
    char c;
    std::uint64_t count;
};

// Writes `count` blanks.
struct _putspace {
    std::uint64_t count;
};

// Writes a value in "hexadecimal form"; only unsigned char exists. The byte
// goes out as a character padded to width 2 with '0', not as digits.
template <typename T> struct _puthex;

template <> struct _puthex<unsigned char> {
    unsigned char value;
};

std::ostream& operator<<(std::ostream& os, const _putn& m);
std::ostream& operator<<(std::ostream& os, const _putcn& m);
std::ostream& operator<<(std::ostream& os, const _putspace& m);
std::ostream& operator<<(std::ostream& os, const _puthex<unsigned char>& m);

} // namespace basekit
