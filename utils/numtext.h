// Numbers in text in the classic "C" form, whatever the user's locale: strict
// parsers for file formats, C's strtod with the C locale for lenient readers,
// and a stream guard that writes and reads numbers in that form.
#pragma once

#include <cstdint>
#include <ios>
#include <locale>
#include <optional>
#include <string_view>

namespace basekit {

// Reads a decimal number at the start of [first, last): an optional sign,
// digits with an optional point and exponent. Returns the end of the number,
// or nullptr when there is none or it is not finite in the target type. A
// float that underflows reads as zero of its sign, as the C library gives it.
const char* parsenumber(const char* first, const char* last, double& value);
const char* parsenumber(const char* first, const char* last, float& value);

// The whole text is one finite decimal number read as a double and then
// narrowed to float (the way C's strtod is used); false if it is not, or
// lies beyond the float range.
bool parsewholenumber(std::string_view text, float& value);

// The whole text is one unsigned integer in decimal, octal (leading "0") or
// hexadecimal ("0x" or "0X"), as C's strtoul reads them with base 0, without
// sign or blanks. A number beyond 64 bits reads as the largest, as strtoul
// gives it.
bool parsecount(std::string_view text, std::uint64_t& value);

// C's strtod in the C locale: a point is the decimal separator even when the
// program runs under the user's locale.
double strtodclassic(const char* text, char** end);

// While it lives, the stream reads and writes numbers in the classic form
// (no grouping, a point for decimals); its own locale is put back after.
// Streams that carry the classic locale already are left alone.
class classicnumbers {
public:
    explicit classicnumbers(std::ios& stream);
    ~classicnumbers();
    classicnumbers(const classicnumbers&) = delete;
    classicnumbers& operator=(const classicnumbers&) = delete;

private:
    std::ios& m_stream;
    std::optional<std::locale> m_saved;
};

} // namespace basekit
