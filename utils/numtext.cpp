// Locale-free numbers: std::from_chars for the strict parsers, strtod_l with
// one C locale object for the lenient ones.
#include "utils/numtext.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <locale.h>
#include <stdlib.h>
#include <system_error>

namespace basekit {

namespace {

bool startsnumber(char c)
{
    return (c >= '0' && c <= '9') || c == '.';
}

// from_chars takes no "+" and reads "inf" and "nan"; neither belongs in a
// decimal number here.
template <typename T> const char* parse(const char* first, const char* last, T& value)
{
    const char* p = first;
    bool negative = false;
    if (p != last && (*p == '+' || *p == '-')) {
        negative = *p == '-';
        ++p;
    }
    if (p == last || !startsnumber(*p))
        return nullptr;
    T magnitude{};
    const auto [end, error] = std::from_chars(p, last, magnitude, std::chars_format::general);
    if (error == std::errc::result_out_of_range) {
        // Too small for a float: the double, narrowed, gives the zero (or the
        // least subnormal) that C's strtof gives. Too large is refused.
        double wide = 0.0;
        const auto [wideend, wideerror] = std::from_chars(p, last, wide, std::chars_format::general);
        if (wideerror != std::errc() || wideend != end || wide > 1.0)
            return nullptr;
        magnitude = static_cast<T>(wide);
    } else if (error != std::errc() || !std::isfinite(magnitude)) {
        return nullptr;
    }
    value = negative ? -magnitude : magnitude;
    return end;
}

} // namespace

const char* parsenumber(const char* first, const char* last, double& value)
{
    return parse(first, last, value);
}

const char* parsenumber(const char* first, const char* last, float& value)
{
    return parse(first, last, value);
}

bool parsewholenumber(std::string_view text, float& value)
{
    double wide = 0.0;
    const char* last = text.data() + text.size();
    if (parsenumber(text.data(), last, wide) != last || std::fabs(wide) > std::numeric_limits<float>::max())
        return false;
    value = static_cast<float>(wide);
    return true;
}

bool parsecount(std::string_view text, std::uint64_t& value)
{
    int base = 10;
    std::size_t start = 0;
    if (text.size() > 1 && text[0] == '0') {
        if (text[1] == 'x' || text[1] == 'X') {
            base = 16;
            start = 2;
        } else {
            base = 8;
            start = 1;
        }
    }
    const char* first = text.data() + start;
    const char* last = text.data() + text.size();
    if (first == last)
        return false;
    // from_chars takes a "-" for signed types only, and no prefix or blank.
    const auto [end, error] = std::from_chars(first, last, value, base);
    if (error == std::errc::result_out_of_range && end == last)
        value = UINT64_MAX;
    return (error == std::errc() || error == std::errc::result_out_of_range) && end == last;
}

double strtodclassic(const char* text, char** end)
{
    static const locale_t classic = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
    return strtod_l(text, end, classic);
}

classicnumbers::classicnumbers(std::ios& stream) : m_stream(stream)
{
    static const std::locale classic = std::locale::classic();
    std::locale current = stream.getloc();
    if (current != classic)
        m_saved = stream.imbue(classic);
}

classicnumbers::~classicnumbers()
{
    if (m_saved)
        m_stream.imbue(*m_saved);
}

} // namespace basekit
