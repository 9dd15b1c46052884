// The strict scene reader. Lines come from a 64 KiB window over the file (or
// straight from memory), each is parsed where it stands and the scene grows
// as it is read, so the file is read once and only the scene stays in memory.
// Counts are held against the bytes left: no record fits in fewer than the
// bytes its shortest form takes, so a count never reserves more than the rest
// of the file could describe.
#include "firework/scenereader.h"

#include "geometry/textparse.h"
#include "utils/numtext.h"
#include "utils/regularfile.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <limits>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vexlor {

namespace {

constexpr std::size_t chunkbytes = 64 * 1024;
// Longer than any value save writes (a col3a of four largest floats in fixed
// notation is under 200 characters); a longer line is refused unread.
constexpr std::size_t longestline = 4096;
// Most characters of a bad line quoted in a message.
constexpr std::size_t quotechars = 40;
// Vectors are reserved up to this many elements at once, so a count that the
// file does not go on to fill costs little.
constexpr std::size_t reservestep = 4096;

// Fewest bytes a record takes, its own lines and the count of its children,
// as "0\n" and "pos3(0,0,0)\n".
constexpr std::uint64_t fireworkbytes = 2 + 12 + 12 + 2 + 2 + 2 + 15 + 2;
constexpr std::uint64_t firebytes = 12 + 2 + 2;
constexpr std::uint64_t powderbytes = 2 + 2 + 2 + 2;
constexpr std::uint64_t filmbytes = 2 + 15 + 15;

// The lines of a scene file, one at a time, without their line ends.
class lines_t {
public:
    // Text in memory: lines are views into it.
    explicit lines_t(std::string_view text) : m_data(text.data()), m_end(text.size()), m_total(text.size()), m_eof(true) {}

    // An open file of `total` bytes, read in chunks.
    lines_t(int fd, std::uint64_t total) : m_fd(fd), m_total(total), m_buffer(chunkbytes + longestline)
    {
        m_data = m_buffer.data();
    }

    // False at the end of the input or on a read error (see error()).
    // `toolong` tells that the line was cut at `longestline` bytes; it
    // ends the read, so what follows is left unread.
    bool next(std::string_view& line, bool& toolong)
    {
        toolong = false;
        for (;;) {
            const char* start = m_data + m_begin;
            const std::size_t available = m_end - m_begin;
            if (const void* found = std::memchr(start, '\n', std::min(available, longestline + 1))) {
                const std::size_t length = static_cast<std::size_t>(static_cast<const char*>(found) - start);
                take(line, start, length, length + 1);
                return true;
            }
            if (available > longestline) {
                // Refused as it stands: the rest of the line is never read
                // (it may run for gigabytes), and only its start is quoted.
                toolong = true;
                take(line, start, longestline, longestline);
                return true;
            }
            if (m_eof || !fill()) {
                // fill() moves what is left to the front: look again.
                const std::size_t left = m_end - m_begin;
                if (left == 0 || m_error != 0)
                    return false;
                take(line, m_data + m_begin, left, left); // the last line may lack its line end
                return true;
            }
        }
    }

    std::uint64_t consumed() const { return m_consumed; }
    std::uint64_t total() const { return m_total; }
    std::uint64_t left() const { return m_total > m_consumed ? m_total - m_consumed : 0; }
    std::size_t number() const { return m_number; }
    int error() const { return m_error; }

private:
    void take(std::string_view& line, const char* start, std::size_t length, std::size_t used)
    {
        if (length > 0 && start[length - 1] == '\r')
            --length;
        line = std::string_view(start, length);
        m_begin += used;
        m_consumed += used;
        ++m_number;
    }

    // Moves the unread bytes to the front and reads more after them.
    bool fill()
    {
        if (m_fd < 0)
            return false;
        const std::size_t keep = m_end - m_begin;
        std::memmove(m_buffer.data(), m_buffer.data() + m_begin, keep);
        m_begin = 0;
        m_end = keep;
        for (;;) {
            const ssize_t got = ::read(m_fd, m_buffer.data() + m_end, m_buffer.size() - m_end);
            if (got < 0 && errno == EINTR)
                continue;
            if (got < 0)
                m_error = errno;
            if (got <= 0) {
                m_eof = true;
                return false;
            }
            m_end += static_cast<std::size_t>(got);
            return true;
        }
    }

    int m_fd = -1;
    const char* m_data = nullptr;
    std::size_t m_begin = 0; // first unread byte of m_data
    std::size_t m_end = 0;   // end of the valid bytes of m_data
    std::uint64_t m_total = 0;
    std::uint64_t m_consumed = 0;
    std::size_t m_number = 0; // lines handed out
    bool m_eof = false;
    int m_error = 0;
    std::vector<char> m_buffer;
};

// A bad line as the message quotes it: cut short, control bytes and
// anything beyond ASCII escaped so the message stays one printable line.
std::string quote(std::string_view line, bool toolong)
{
    if (line.empty() && !toolong)
        return "an empty line";
    std::string text = "\"";
    for (std::size_t i = 0; i < line.size() && i < quotechars; ++i) {
        const auto c = static_cast<unsigned char>(line[i]);
        if (c == '"' || c == '\\') {
            text += '\\';
            text += static_cast<char>(c);
        } else if (c == '\t') {
            text += "\\t";
        } else if (c == '\r') {
            text += "\\r";
        } else if (c < 0x20 || c >= 0x7f) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\x%02x", c);
            text += escaped;
        } else {
            text += static_cast<char>(c);
        }
    }
    if (line.size() > quotechars || toolong)
        text += "...";
    return text + '"';
}

// Whether a decimal number in the line (digits, a point, an exponent) lies
// beyond the float range, where a value of the model cannot hold it.
bool beyondfloat(std::string_view line)
{
    const auto isdigit = [](char c) { return c >= '0' && c <= '9'; };
    for (std::size_t i = 0; i < line.size();) {
        if (!isdigit(line[i]) && line[i] != '.') {
            ++i;
            continue;
        }
        std::size_t end = i;
        while (end < line.size() && (isdigit(line[end]) || line[end] == '.')) ++end;
        if (end < line.size() && (line[end] == 'e' || line[end] == 'E')) {
            std::size_t exponent = end + 1;
            if (exponent < line.size() && (line[exponent] == '+' || line[exponent] == '-')) ++exponent;
            if (exponent < line.size() && isdigit(line[exponent])) {
                end = exponent;
                while (end < line.size() && isdigit(line[end])) ++end;
            }
        }
        double value = 0.0;
        const char* last = line.data() + end;
        if (basekit::parsenumber(line.data() + i, last, value) == nullptr) {
            // Only an overflow is refused for a double's own range here.
            const std::string token(line.substr(i, end - i));
            if (std::isinf(basekit::strtodclassic(token.c_str(), nullptr)))
                return true;
        } else if (std::fabs(value) > std::numeric_limits<float>::max()) {
            return true;
        }
        i = end;
    }
    return false;
}

// Grows a vector towards `count` elements: up to `reservestep` at once, then
// doubling but never past the count. A count larger than what follows costs
// little; an honest one ends in a vector of the exact size.
template <typename T> T& grow(std::vector<T>& list, std::uint64_t count)
{
    if (list.size() == list.capacity()) {
        const std::uint64_t wanted = std::max<std::uint64_t>(list.size() * 2, reservestep);
        list.reserve(static_cast<std::size_t>(std::min(count, wanted)));
    }
    return list.emplace_back();
}

class reader_t {
public:
    reader_t(const std::string& name, lines_t& lines, const readprogress_t& progress)
        : m_name(name), m_lines(lines), m_progress(progress)
    {
    }

    bool scene(std::vector<firework_t>& scene)
    {
        if (m_progress && !m_progress(0, m_lines.total()))
            return cancelled();
        std::uint64_t fireworks = 0;
        if (!count("number of fireworks", "fireworks", fireworkbytes, fireworks))
            return false;
        for (std::uint64_t i = 0; i < fireworks; ++i)
            if (!firework(grow(scene, fireworks)))
                return false;
        std::string_view line;
        bool toolong = false;
        if (m_lines.next(line, toolong))
            return fail("the end of the file", line, toolong);
        if (m_lines.error() != 0)
            return readerror();
        if (m_progress && !m_progress(m_lines.total(), m_lines.total()))
            return cancelled();
        return true;
    }

    const std::string& message() const { return m_message; }

private:
    bool firework(firework_t& firework)
    {
        std::uint64_t fires = 0;
        if (!number("launch time", firework.time) || !geometry("launch position", "pos3(x, y, z)", firework.position)
            || !geometry("launch velocity", "dir3(x, y, z)", firework.velocity) || !number("fuse", firework.fuse)
            || !number("shell size", firework.size) || !number("shell drag", firework.drag)
            || !geometry("shell colour", "col3a(r, g, b, a)", firework.color)
            || !count("number of fires", "fires", firebytes, fires))
            return false;
        for (std::uint64_t i = 0; i < fires; ++i)
            if (!fire(grow(firework.fires, fires)))
                return false;
        return true;
    }

    bool fire(fire_t& fire)
    {
        std::uint64_t powders = 0;
        if (!geometry("star direction", "dir3(x, y, z)", fire.direction) || !number("star speed", fire.speed)
            || !count("number of powders", "powders", powderbytes, powders))
            return false;
        for (std::uint64_t i = 0; i < powders; ++i)
            if (!powder(grow(fire.powders, powders)))
                return false;
        return true;
    }

    bool powder(powder_t& powder)
    {
        std::uint64_t films = 0;
        if (!number("powder delay", powder.delay) || !number("powder size", powder.size)
            || !number("powder drag", powder.drag) || !count("number of films", "films", filmbytes, films))
            return false;
        for (std::uint64_t i = 0; i < films; ++i)
            if (!film(grow(powder.films, films)))
                return false;
        return true;
    }

    bool film(film_t& film)
    {
        return number("film duration", film.duration)
            && geometry("start colour", "col3a(r, g, b, a)", film.from)
            && geometry("end colour", "col3a(r, g, b, a)", film.to);
    }

    // What a line should have held, for messages only: built when one fails.
    static std::string asnumber(const char* what) { return std::string("the ") + what + " as a finite decimal number"; }
    static std::string ascount(const char* what) { return std::string("the ") + what + " as an unsigned integer"; }
    static std::string asgeometry(const char* what, const char* form) { return std::string("the ") + what + " as " + form; }

    // The next line, or a message naming what was expected instead of the end.
    template <typename Expected> bool next(const Expected& expected)
    {
        if (m_lines.next(m_line, m_toolong)) {
            if (m_progress && m_lines.consumed() - m_reported >= chunkbytes) {
                m_reported = m_lines.consumed();
                if (!m_progress(m_reported, m_lines.total()))
                    return cancelled();
            }
            return true;
        }
        if (m_lines.error() != 0)
            return readerror();
        m_message = m_name + ":" + std::to_string(m_lines.number() + 1) + ": expected " + expected()
                  + ", found the end of the file";
        return false;
    }

    bool number(const char* what, float& value)
    {
        const auto expected = [what] { return asnumber(what); };
        if (!next(expected))
            return false;
        if (!m_toolong && basekit::parsewholenumber(m_line, value))
            return true;
        return toolarge(what) ? false : fail(expected(), m_line, m_toolong);
    }

    bool count(const char* what, const char* records, std::uint64_t recordbytes, std::uint64_t& value)
    {
        const auto expected = [what] { return ascount(what); };
        if (!next(expected))
            return false;
        if (m_toolong || !basekit::parsecount(m_line, value))
            return fail(expected(), m_line, m_toolong);
        // The last line may lack its line end: one byte more than counted.
        const std::uint64_t most = (m_lines.left() + 1) / recordbytes;
        if (value > most)
            return fail(std::string("the ") + what + ", at most " + std::to_string(most) + " " + records
                            + " in the rest of the file",
                        m_line, false);
        return true;
    }

    template <typename T> bool geometry(const char* what, const char* form, T& value)
    {
        const auto expected = [what, form] { return asgeometry(what, form); };
        if (!next(expected))
            return false;
        if (!m_toolong && geokit::parsetext(m_line, value))
            return true;
        return toolarge(what) ? false : fail(expected(), m_line, m_toolong);
    }

    // A line that failed for holding a number beyond the model's float is
    // told as that rather than as bad text; true when it was.
    bool toolarge(const char* what)
    {
        if (m_toolong || !beyondfloat(m_line))
            return false;
        char most[32];
        std::snprintf(most, sizeof most, "%g", static_cast<double>(std::numeric_limits<float>::max()));
        m_message = m_name + ":" + std::to_string(m_lines.number()) + ": the " + what + " " + quote(m_line, false)
                  + " holds a number beyond the largest the model's float holds (" + most + ")";
        return true;
    }

    bool fail(const std::string& expected, std::string_view found, bool toolong)
    {
        m_message = m_name + ":" + std::to_string(m_lines.number()) + ": expected " + expected + ", found "
                  + quote(found, toolong);
        return false;
    }

    bool readerror()
    {
        m_message = m_name + ": cannot read the file (" + std::strerror(m_lines.error()) + ")";
        return false;
    }

    bool cancelled()
    {
        m_message = m_name + ": cancelled";
        return false;
    }

    const std::string& m_name;
    lines_t& m_lines;
    const readprogress_t& m_progress;
    std::string_view m_line;
    bool m_toolong = false;
    std::uint64_t m_reported = 0;
    std::string m_message;
};

bool read(const std::string& name, lines_t& lines, std::vector<firework_t>& scene, std::string& message,
          const readprogress_t& progress)
{
    std::vector<firework_t>().swap(scene); // the old scene's memory is free before the new one grows
    reader_t reader(name, lines, progress);
    if (reader.scene(scene))
        return true;
    std::vector<firework_t>().swap(scene);
    message = reader.message();
    return false;
}

// Closes the file however the read ends.
struct fd_t {
    int fd;
    ~fd_t()
    {
        if (fd >= 0)
            ::close(fd);
    }
};

} // namespace

bool readscenetext(const std::string& name, std::string_view text, std::vector<firework_t>& scene,
                   std::string& message, const readprogress_t& progress)
{
    lines_t lines(text);
    return read(name, lines, scene, message, progress);
}

bool readscene(const char* path, std::vector<firework_t>& scene, std::string& message,
               const readprogress_t& progress)
{
    const std::string name = path;
    // Only a regular file tells a size to hold counts against, and a FIFO or
    // a device could block or never end: anything else is refused unread.
    std::string reason;
    const fd_t file{basekit::openregular(path, reason)};
    struct stat status {};
    if (file.fd < 0 || ::fstat(file.fd, &status) != 0) {
        std::vector<firework_t>().swap(scene);
        message = name + ": " + (file.fd < 0 ? reason : std::string("cannot read the file (") + std::strerror(errno) + ")");
        return false;
    }
    lines_t lines(file.fd, static_cast<std::uint64_t>(status.st_size));
    return read(name, lines, scene, message, progress);
}

} // namespace vexlor
