// The scene checker. Geometry lines are tried with the very readers load
// uses, after making sure their skip to "(" ends within the line; counts are
// held against the lines left, so nothing here can loop or allocate without
// bound either.
#include "firework/scenecheck.h"

#include "firework/loadsave.h"
#include "geometry/geokit.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <sstream>
#include <string_view>

namespace vexlor {

namespace {

// Fewest lines a record can take: its fields and the count of its children.
constexpr std::size_t fireworklines = 8;
constexpr std::size_t firelines = 3;
constexpr std::size_t powderlines = 4;
constexpr std::size_t filmlines = 3;

bool isblank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

bool istext(unsigned char c)
{
    return c >= 0x20 ? c != 0x7f : c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// The geometry readers peek for "(" and otherwise take one character with
// blanks skipped, so a blank before "(" makes them take the "(" itself. True
// when that skip stops within the line.
bool reachesparenthesis(std::string_view line)
{
    std::size_t pos = 0;
    while (pos < line.size()) {
        if (line[pos] == '(')
            return true;
        while (pos < line.size() && isblank(line[pos]))
            ++pos;
        if (pos == line.size())
            return false;
        ++pos;
    }
    return false;
}

class checker_t {
public:
    checker_t(const char* path, const std::string& text) : m_path(path), m_text(text)
    {
        for (char c : text)
            m_total += c == '\n';
        if (!text.empty() && text.back() != '\n')
            ++m_total;
    }

    bool scene()
    {
        std::size_t fireworks = 0;
        if (!count("number of fireworks", "firework", fireworklines, fireworks))
            return false;
        for (std::size_t i = 0; i < fireworks; ++i)
            if (!firework())
                return false;
        return true;
    }

    const std::string& message() const { return m_message; }

private:
    bool firework()
    {
        std::size_t fires = 0;
        if (!number("launch time") || !geometry<geokit::position3_t>("launch position", "pos3(x, y, z)")
            || !geometry<geokit::direction3_t>("launch velocity", "dir3(x, y, z)") || !number("fuse")
            || !number("shell size") || !number("shell drag")
            || !geometry<geokit::color3a_t>("shell colour", "col3a(r, g, b, a)")
            || !count("number of fires", "fire", firelines, fires))
            return false;
        for (std::size_t i = 0; i < fires; ++i)
            if (!fire())
                return false;
        return true;
    }

    bool fire()
    {
        std::size_t powders = 0;
        if (!geometry<geokit::direction3_t>("star direction", "dir3(x, y, z)") || !number("star speed")
            || !count("number of powders", "powder", powderlines, powders))
            return false;
        for (std::size_t i = 0; i < powders; ++i)
            if (!powder())
                return false;
        return true;
    }

    bool powder()
    {
        std::size_t films = 0;
        if (!number("powder delay") || !number("powder size") || !number("powder drag")
            || !count("number of films", "film", filmlines, films))
            return false;
        for (std::size_t i = 0; i < films; ++i)
            if (!film())
                return false;
        return true;
    }

    bool film()
    {
        return number("film duration") && geometry<geokit::color3a_t>("start colour", "col3a(r, g, b, a)")
            && geometry<geokit::color3a_t>("end colour", "col3a(r, g, b, a)");
    }

    bool next(const char* what)
    {
        if (m_line == m_total)
            return fail(m_line + 1, std::string("missing line, expected the ") + what);
        const std::size_t end = m_text.find('\n', m_pos);
        const std::size_t stop = end == std::string::npos ? m_text.size() : end;
        m_current.assign(m_text, m_pos, stop - m_pos);
        m_pos = stop + 1;
        ++m_line;
        return true;
    }

    // Any text reads as a number (unparsable text as 0), as in load.
    bool number(const char* what) { return next(what); }

    bool count(const char* what, const char* record, std::size_t linesper, std::size_t& value)
    {
        if (!next(what))
            return false;
        const unsigned long announced = std::strtoul(m_current.c_str(), nullptr, 0);
        const std::size_t most = (m_total - m_line) / linesper;
        if (announced > most)
            return fail(m_line, std::to_string(announced) + " " + record + (announced == 1 ? "" : "s")
                                    + " announced, but the rest of the file holds at most " + std::to_string(most));
        value = announced;
        return true;
    }

    // A value that leaves load's geometry stream at its end or failed would
    // make the next geometry field of the load loop for ever.
    template <typename T> bool geometry(const char* what, const char* form)
    {
        if (!next(what))
            return false;
        if (!reachesparenthesis(m_current))
            return fail(m_line, std::string("the ") + what + " needs a value like " + form);
        m_geometry.clear();
        m_geometry.str(m_current);
        T value{};
        m_geometry >> value;
        if (!m_geometry.good())
            return fail(m_line, std::string("malformed ") + what + ", expected a value like " + form);
        return true;
    }

    bool fail(std::size_t line, const std::string& what)
    {
        m_message = m_path + ":" + std::to_string(line) + ": " + what;
        return false;
    }

    std::string m_path;
    const std::string& m_text;
    std::size_t m_total = 0; // lines that getline can read
    std::size_t m_line = 0;  // lines read so far
    std::size_t m_pos = 0;
    std::string m_current;
    std::istringstream m_geometry; // cleared for every line, unlike load's
    std::string m_message;
};

bool readfile(const char* path, std::string& text)
{
    std::ifstream is;
    if (!openscene(path, is))
        return false;
    text.assign(std::istreambuf_iterator<char>(is), std::istreambuf_iterator<char>());
    return !is.bad();
}

} // namespace

bool check(const char* path, std::string& message)
{
    std::string text;
    if (!readfile(path, text)) {
        message = std::string(path) + ": cannot read the file";
        return false;
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (!istext(c)) {
            std::ostringstream os;
            os << path << ':' << 1 + std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(i), '\n')
               << ": not a text file (byte 0x" << std::hex << std::setw(2) << std::setfill('0')
               << static_cast<unsigned>(c) << ')';
            message = os.str();
            return false;
        }
    }
    checker_t checker(path, text);
    if (!checker.scene()) {
        message = checker.message();
        return false;
    }
    return true;
}

} // namespace vexlor
