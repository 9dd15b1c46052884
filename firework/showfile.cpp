// The show file reader: toml++ parses, this file checks every key and value
// against a table of what each kind accepts and the range of each number,
// then builds the show. Repetitions are counted before anything is built; the
// makers run once per distinct design, a built-in show once per entry.
#include "firework/tomlconfig.h"

#include "firework/showfile.h"

#include "firework/builtin.h"
#include "firework/calibre.h"
#include "firework/effectmaker.h"
#include "firework/framing.h"
#include "firework/lookfile.h"
#include "firework/namedcolor.h"
#include "firework/sample.h"
#include "firework/showbeats.h"
#include "firework/showtiming.h"
#include "firework/valueranges.h"
#include "utils/regularfile.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <tuple>

namespace vexlor {

namespace {

// ---- Text from the file, as messages quote it

// The code point at text[i] and its length in bytes; 0 when the bytes there
// are not UTF-8 (a stray or missing continuation byte, an overlong form, a
// surrogate, a code point past U+10FFFF).
std::size_t decode(std::string_view text, std::size_t i, char32_t& point)
{
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(text[i + k]); };
    const unsigned lead = byte(0);
    std::size_t length = 0;
    char32_t least = 0;
    if (lead < 0x80) {
        point = lead;
        return 1;
    } else if (lead >= 0xc2 && lead < 0xe0) {
        length = 2;
        point = lead & 0x1fu;
        least = 0x80;
    } else if (lead >= 0xe0 && lead < 0xf0) {
        length = 3;
        point = lead & 0x0fu;
        least = 0x800;
    } else if (lead >= 0xf0 && lead < 0xf5) {
        length = 4;
        point = lead & 0x07u;
        least = 0x10000;
    } else {
        return 0;
    }
    if (text.size() - i < length)
        return 0;
    for (std::size_t k = 1; k < length; ++k) {
        if ((byte(k) & 0xc0u) != 0x80u)
            return 0;
        point = point << 6 | (byte(k) & 0x3fu);
    }
    if (point < least || point > 0x10ffff || (point >= 0xd800 && point <= 0xdfff))
        return 0;
    return length;
}

// Characters a terminal acts on or that reorder what it shows: control
// characters (C0, DEL, C1) and the bidirectional controls.
bool acts(char32_t c)
{
    return c < 0x20 || (c >= 0x7f && c <= 0x9f) || c == 0x061c || c == 0x200e || c == 0x200f
        || (c >= 0x202a && c <= 0x202e) || (c >= 0x2066 && c <= 0x2069);
}

// At most `most` code points of `text`, every character that acts on a
// terminal written as TOML writes it escaped ("\u001B"), bytes that are not
// UTF-8 as "\xFF"; "..." ends a text that was cut. `quotes` escapes '"' and
// '\' too, for text shown between quotes.
std::string escaped(std::string_view text, std::size_t most, bool quotes)
{
    std::string out;
    std::size_t shown = 0;
    for (std::size_t i = 0; i < text.size(); ++shown) {
        if (shown == most)
            return out + "...";
        char32_t c = 0;
        const std::size_t length = decode(text, i, c);
        char code[16];
        if (length == 0) {
            std::snprintf(code, sizeof code, "\\x%02X", static_cast<unsigned char>(text[i]));
            out += code;
            ++i;
            continue;
        }
        if (c == '\t' || c == '\n' || c == '\r') {
            out += c == '\t' ? "\\t" : c == '\n' ? "\\n" : "\\r";
        } else if (acts(c)) {
            std::snprintf(code, sizeof code, "\\u%04X", static_cast<unsigned>(c));
            out += code;
        } else {
            if (quotes && (c == '"' || c == '\\'))
                out += '\\';
            out.append(text.substr(i, length));
        }
        i += length;
    }
    return out;
}

// A value from the file as a message quotes it: a short, escaped excerpt.
constexpr std::size_t quotedchars = 40;
std::string quoted(std::string_view text)
{
    return "\"" + escaped(text, quotedchars, true) + "\"";
}

// A whole problem line, printable as it stands: no cut, every character that
// would act on a terminal escaped (names from the file and the parser's
// quote of what it saw may hold any).
std::string printable(std::string_view text)
{
    return escaped(text, std::string_view::npos, false);
}

// The parser's own descriptions quote keys and text of any length.
constexpr std::size_t descriptionchars = 200;

// ---- What toml++ 3.3 cannot read

// toml++ 3.3 tests for Unicode blanks (is_non_ascii_horizontal_whitespace)
// by blocks of 0x3FA code points from U+00A0 and has no case for three of the
// blocks its mask lets through: any other code point of blocks 0, 11 and 63
// (U+00A1-U+0499, U+2C8E-U+3087 and U+FB26-U+FEFE, U+3000 apart) reaches a
// point marked unreachable, which in an optimised build may do anything.
bool misread(char32_t c)
{
    if (c <= 0xa0 || c >= 0xfeff || c == 0x3000)
        return false;
    const char32_t block = (c - 0xa0) / 0x3fa;
    return block == 0 || block == 11 || block == 63;
}

// What that test calls a blank, where it answers (the ASCII ones and the
// Unicode spaces it lists).
bool tomlblank(char32_t c)
{
    return c == ' ' || c == '\t' || c == 0xa0 || c == 0x1680 || c == 0x180e || (c >= 0x2000 && c <= 0x200b)
        || c == 0x202f || c == 0x205f || c == 0x2060 || c == 0x3000 || c == 0xfeff;
}

// ---- The kinds and the keys they take

enum class kind_t {
    single, simple, blink, susuki, random, miniexhibition, scene,
    peony, chrysanthemum, dahlia, willow, palm, ring, crossette, strobe, crackle, multibreak, comet, mine, cake,
};

struct kindinfo_t {
    kind_t kind;
    const char* name;
};

const kindinfo_t kinds[] = {
    {kind_t::single, "single"}, {kind_t::simple, "simple"}, {kind_t::blink, "blink"},
    {kind_t::susuki, "susuki"}, {kind_t::random, "random"}, {kind_t::miniexhibition, "miniexhibition"},
    {kind_t::scene, "scene"}, {kind_t::peony, "peony"}, {kind_t::chrysanthemum, "chrysanthemum"},
    {kind_t::dahlia, "dahlia"}, {kind_t::willow, "willow"}, {kind_t::palm, "palm"}, {kind_t::ring, "ring"},
    {kind_t::crossette, "crossette"}, {kind_t::strobe, "strobe"}, {kind_t::crackle, "crackle"},
    {kind_t::multibreak, "multibreak"}, {kind_t::comet, "comet"}, {kind_t::mine, "mine"}, {kind_t::cake, "cake"},
};

using kindset_t = unsigned;

constexpr kindset_t kindbit(kind_t kind)
{
    return 1u << static_cast<unsigned>(kind);
}

constexpr kindset_t nokind = 0u;
constexpr kindset_t everykind = ~0u;
// One shell the makers build, as opposed to a show or a scene placed whole.
constexpr kindset_t oneshell =
    kindbit(kind_t::single) | kindbit(kind_t::simple) | kindbit(kind_t::blink) | kindbit(kind_t::susuki);
// One break in the air, sized by its calibre.
constexpr kindset_t breaks = kindbit(kind_t::peony) | kindbit(kind_t::chrysanthemum) | kindbit(kind_t::dahlia)
                           | kindbit(kind_t::willow) | kindbit(kind_t::palm) | kindbit(kind_t::ring)
                           | kindbit(kind_t::crossette) | kindbit(kind_t::strobe) | kindbit(kind_t::crackle);
// Every kind sized by a calibre.
constexpr kindset_t realkinds =
    breaks | kindbit(kind_t::multibreak) | kindbit(kind_t::comet) | kindbit(kind_t::mine) | kindbit(kind_t::cake);
// Every kind that goes up as shells the entry makes (not a placed show).
constexpr kindset_t launched = oneshell | realkinds;
// The kinds with one burst to time: by their launch (time), their burst or a
// beat. A multibreak's first break is its burst; its later ones follow.
constexpr kindset_t burstkinds = oneshell | breaks | kindbit(kind_t::multibreak);
// The rest go up at a time and go off at theirs: a placed show or scene, a
// comet or mine (off as it leaves the ground), a cake (shot after shot).
constexpr kindset_t placedwhole = everykind & ~burstkinds;

// How a value is written.
enum class form_t {
    number,  // a number, whole or not
    whole,   // a whole number
    vector,  // [x, y, z]
    color,   // a named colour, [red, green, blue] or [red, green, blue, alpha]
    colors,  // a colour, or a list of them that each star changes through
    file,    // a file's name, relative to the show file's folder
    calibre, // "75mm", "3in" or a number of millimetres
    choice,  // one of the words in `choices`
    word,    // the one word in `choices`
    flag,    // true or false
    stages,  // a list of two or three breaks: kinds, or tables with a kind
};

// One key of a table: the kinds that take it and those that must give it,
// how it is written, the range of each of its numbers and their unit.
struct keyinfo_t {
    const char* name;
    kindset_t takes;
    kindset_t needs;
    form_t form;
    double least;
    double most;
    const char* unit;               // "s", "m", "m/s", "mm", "degrees", "Hz", or "" for a plain number
    const char* choices = nullptr;  // a choice's or a word's words, "|" between them
};

// The kinds a cake's shot and a multibreak's stage may be.
constexpr const char* shotkinds = "peony|chrysanthemum|dahlia|willow|palm|ring|crossette|strobe|crackle|comet";
constexpr const char* breakkinds = "peony|chrysanthemum|dahlia|willow|palm|ring|crossette|strobe|crackle";

// The colours one star may change through.
constexpr std::size_t maxcolors = 8;

// The keys of a [[shell]] table besides `kind`. A new key, a new kind's keys
// or a new range goes here; reading, checking and the messages follow.
const keyinfo_t shellkeys[] = {
    // A shell goes up at its time, or breaks at its burst or on a beat of the
    // music; one of the three (placed shows and scenes: a time).
    {"time", everykind, placedwhole, form_t::number, 0.0, maxshowtime, "s"},
    {"burst", burstkinds, nokind, form_t::number, 0.0, maxshowtime, "s"},
    {"beat", burstkinds, nokind, form_t::number, 1.0, maxbeat, ""},
    {"position", everykind, nokind, form_t::vector, -maxdistance, maxdistance, "m"},
    {"velocity", oneshell, nokind, form_t::vector, -maxspeed, maxspeed, "m/s"},
    {"fuse", oneshell, nokind, form_t::number, 0.0, maxfuse, "s"},
    {"color", oneshell | realkinds, nokind, form_t::colors, 0.0, 1.0, ""},
    {"speed", kindbit(kind_t::simple), nokind, form_t::number, 0.0, maxspeed, "m/s"},
    {"file", kindbit(kind_t::scene), kindbit(kind_t::scene), form_t::file, 0.0, 0.0, ""},
    {"calibre", realkinds, nokind, form_t::calibre, mincalibre, maxcalibre, "mm"},
    {"style", breaks | kindbit(kind_t::multibreak) | kindbit(kind_t::cake), nokind, form_t::choice, 0.0, 0.0, "",
     "ball|cylinder"},
    {"angle", launched, nokind, form_t::number, 0.0, maxangle, "degrees"},
    {"azimuth", launched, nokind, form_t::number, -360.0, 360.0, "degrees"},
    {"pistil", breaks | kindbit(kind_t::cake), nokind, form_t::color, 0.0, 1.0, ""},
    {"strobe", breaks | kindbit(kind_t::cake), nokind, form_t::number, minstrobe, maxstrobe, "Hz"},
    {"crackle", breaks | kindbit(kind_t::cake), nokind, form_t::flag, 0.0, 0.0, ""},
    {"stars", breaks | kindbit(kind_t::mine) | kindbit(kind_t::cake), nokind, form_t::whole, 1.0, maxstars, ""},
    {"tilt", kindbit(kind_t::ring), nokind, form_t::number, -90.0, 90.0, "degrees"},
    {"split", kindbit(kind_t::crossette), nokind, form_t::number, 0.1, 10.0, "s"},
    {"breaks", kindbit(kind_t::multibreak), nokind, form_t::stages, 0.0, 0.0, ""},
    {"breakinterval", kindbit(kind_t::multibreak), nokind, form_t::number, 0.1, 5.0, "s"},
    {"shots", kindbit(kind_t::cake), nokind, form_t::whole, 1.0, maxshots, ""},
    {"shotinterval", kindbit(kind_t::cake), nokind, form_t::number, 0.02, 10.0, "s"},
    {"fan", kindbit(kind_t::cake), nokind, form_t::number, 0.0, 120.0, "degrees"},
    {"shot", kindbit(kind_t::cake), nokind, form_t::choice, 0.0, 0.0, "", shotkinds},
    {"cone", kindbit(kind_t::mine), nokind, form_t::number, 0.0, 60.0, "degrees"},
    {"count", everykind, nokind, form_t::whole, 1.0, static_cast<double>(maxshells), ""},
    {"interval", everykind, nokind, form_t::number, 0.0, maxshowtime, "s"},
    {"step", everykind, nokind, form_t::vector, -maxdistance, maxdistance, "m"},
    {"every", burstkinds, nokind, form_t::number, 0.0, maxbeat, ""}, // beats between repetitions
};

// The keys of a multibreak's stage given as a table, besides its kind.
const keyinfo_t stagekeys[] = {
    {"color", breaks, nokind, form_t::colors, 0.0, 1.0, ""},
    {"pistil", breaks, nokind, form_t::color, 0.0, 1.0, ""},
    {"strobe", breaks, nokind, form_t::number, minstrobe, maxstrobe, "Hz"},
    {"crackle", breaks, nokind, form_t::flag, 0.0, 0.0, ""},
    {"stars", breaks, nokind, form_t::whole, 1.0, maxstars, ""},
    {"tilt", kindbit(kind_t::ring), nokind, form_t::number, -90.0, 90.0, "degrees"},
    {"split", kindbit(kind_t::crossette), nokind, form_t::number, 0.1, 10.0, "s"},
};

// The keys of the [music] table.
const keyinfo_t musickeys[] = {
    {"file", everykind, everykind, form_t::file, 0.0, 0.0, ""},
    {"offset", everykind, nokind, form_t::number, -maxmusicoffset, maxmusicoffset, "s"},
    {"gain", everykind, nokind, form_t::number, 0.0, maxmusicgain, ""},
    // Its beats: a tempo and the track's time of beat 1, or found in the track.
    {"bpm", everykind, nokind, form_t::number, minbpm, maxbpm, "beats a minute"},
    {"first_beat", everykind, nokind, form_t::number, 0.0, maxmusicoffset, "s"},
    {"beats", everykind, nokind, form_t::word, 0.0, 0.0, "", "detect"},
};

// The keys of the [camera] table.
const keyinfo_t camerakeys[] = {
    {"position", everykind, nokind, form_t::vector, -maxdistance, maxdistance, "m"},
    {"target", everykind, nokind, form_t::vector, -maxdistance, maxdistance, "m"},
    {"fov", everykind, nokind, form_t::number, minfov, maxfov, "degrees"},
    {"sound", everykind, nokind, form_t::choice, 0.0, 0.0, "", "distance|none"},
};

template <std::size_t N> const keyinfo_t* findkey(const keyinfo_t (&keys)[N], std::string_view name)
{
    for (const keyinfo_t& key : keys)
        if (name == key.name)
            return &key;
    return nullptr;
}

// "file, offset, gain", or with `last` before the last name: "file, offset and gain".
template <std::size_t N> std::string keynames(const keyinfo_t (&keys)[N], const char* last = ", ")
{
    std::string text;
    for (std::size_t i = 0; i < N; ++i)
        text += std::string(i == 0 ? "" : i + 1 == N ? last : ", ") + keys[i].name;
    return text;
}

std::string kindchoice()
{
    std::string text;
    for (std::size_t i = 0; i < std::size(kinds); ++i)
        text += std::string(i == 0 ? "" : i + 1 == std::size(kinds) ? " or " : ", ") + kinds[i].name;
    return text;
}

std::string kindname(kind_t kind)
{
    for (const kindinfo_t& info : kinds)
        if (info.kind == kind)
            return info.name;
    return {};
}

// A bound as messages write it: "14400", "-10000", "0.5".
std::string bound(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%g", value);
    return text;
}

// A value as read: a number, the numbers of a vector or colour, or a file.
struct value_t {
    double number[4] = {0.0, 0.0, 0.0, 1.0}; // a colour of three numbers is opaque
    std::string file;                        // resolved against the show file's folder
    std::string text;                        // a choice's word
    std::vector<geokit::color3a_t> colors;   // a colour, or a change through several
    std::vector<breakspec_t> stages;         // a multibreak's breaks
    toml::source_region where;
};

// One [[shell]] table (or the [music] or [camera] table) as read and checked.
struct entry_t {
    kind_t kind = kind_t::single;
    std::map<std::string, value_t, std::less<>> values;
    toml::source_region where; // the table

    const value_t* get(std::string_view key) const
    {
        const auto found = values.find(key);
        return found == values.end() ? nullptr : &found->second;
    }
    double number(std::string_view key, double otherwise) const
    {
        const value_t* value = get(key);
        return value != nullptr ? value->number[0] : otherwise;
    }
    // A vector's numbers; none given: the origin.
    const double* vector(std::string_view key) const
    {
        static const double origin[4] = {};
        const value_t* value = get(key);
        return value != nullptr ? value->number : origin;
    }
    std::size_t count() const { return static_cast<std::size_t>(number("count", 1.0)); }

    std::size_t line = 0; // of the table
    float fuse = 0.0f;    // the shell's fuse, once known (burst and beat)
};

class reader_t {
public:
    reader_t(const char* path, std::vector<std::string>& problems, const readprogress_t& progress,
             const trackreader_t& tracks)
        : m_path(path), m_problems(problems), m_progress(progress), m_tracks(tracks)
    {
        m_folder = std::filesystem::path(path).parent_path();
    }

    bool readfile(show_t& show)
    {
        std::string text;
        return readtext(text) && read(text, show);
    }

    bool read(const std::string& text, show_t& show)
    {
        const std::size_t before = m_problems.size();
        if (!readable(text))
            return false;
        toml::parse_result parsed = toml::parse(text, m_path);
        if (!parsed) {
            const toml::parse_error& error = parsed.error();
            problem(error.source(), escaped(error.description(), descriptionchars, false));
            return false;
        }
        toml::table& root = parsed.table();
        std::vector<entry_t> entries;
        music_t music;
        entry_t camera;
        bool hascamera = false;
        look_t look;
        for (auto&& [key, node] : root) {
            if (key.str() == "music") {
                readmusic(node, music);
                continue;
            }
            if (key.str() == "camera") {
                hascamera = readcamera(node, camera);
                continue;
            }
            if (key.str() == "look") {
                readlooktable(node, look, [this](const toml::source_region& where, const std::string& what) {
                    problem(where, what);
                });
                continue;
            }
            if (key.str() != "shell") {
                problem(key.source(), "unknown key '" + escaped(key.str(), quotedchars, false)
                                          + "' (a show holds [[shell]] tables, one [music], one [look] and one [camera] table)");
                continue;
            }
            toml::array* array = node.as_array();
            if (array == nullptr || !array->is_array_of_tables()) {
                problem(node.source(), "'shell' must be a list of [[shell]] tables");
                continue;
            }
            for (toml::node& element : *array) {
                entry_t entry;
                if (readentry(*element.as_table(), entry))
                    entries.push_back(std::move(entry));
            }
        }
        // Bursts and beats are placed once the music is known, whatever the
        // order of the tables.
        if (music.bpm > 0.0 || music.detect)
            readtrack(music);
        for (entry_t& entry : entries)
            if (entry.get("burst") != nullptr || entry.get("beat") != nullptr)
                placebreaks(entry, music);
        if (m_problems.size() == before && entries.empty())
            problem(at_t{1, 1}, "the show holds no shells");
        if (m_problems.size() != before) {
            if (m_problems.size() - before > maxproblems) {
                const std::size_t more = m_problems.size() - before - maxproblems;
                m_problems.resize(before + maxproblems);
                m_problems.push_back(printable(m_path) + ": " + std::to_string(more) + " more problem"
                                     + (more == 1 ? "" : "s") + " not listed");
            }
            return false;
        }
        m_music = music;
        build(entries, show);
        for (const auto& scene : m_scenes) show.scenefiles.push_back(scene.first);
        show.music = std::move(music);
        placecamera(show, hascamera ? &camera : nullptr);
        show.look = look;
        show.files.push_back(m_path);
        for (const auto& scene : m_scenes) show.files.push_back(scene.first);
        // Refused before anything plays it: a frame that cannot be drawn in
        // bounded memory, known from the designs and launch times.
        if (std::string why; !drawable(show, why)) {
            m_problems.push_back(printable(m_path) + ": " + why);
            show = {};
            return false;
        }
        return true;
    }

private:
    struct at_t {
        std::size_t line;
        std::size_t column;
    };

    // Problems are kept in file order, whatever order the tables are walked in.
    void problem(at_t at, const std::string& what)
    {
        const std::string text =
            printable(m_path + ":" + std::to_string(at.line) + ":" + std::to_string(at.column) + ": " + what);
        const auto later = std::upper_bound(m_positions.begin(), m_positions.end(), std::make_pair(at.line, at.column));
        m_problems.insert(m_problems.begin() + m_first + (later - m_positions.begin()), text);
        m_positions.insert(later, std::make_pair(at.line, at.column));
    }

    void problem(const toml::source_region& region, const std::string& what)
    {
        problem(at_t{region.begin.line, region.begin.column}, what);
    }

    bool readtext(std::string& text)
    {
        std::string reason;
        const int fd = basekit::openregular(m_path.c_str(), reason);
        if (fd < 0) {
            m_problems.push_back(printable(m_path) + ": " + reason);
            return false;
        }
        text.resize(maxshowbytes + 1);
        std::size_t have = 0;
        ssize_t got = 0;
        while (have < text.size() && (got = ::read(fd, text.data() + have, text.size() - have)) != 0) {
            if (got < 0 && errno == EINTR)
                continue;
            if (got < 0)
                break;
            have += static_cast<std::size_t>(got);
        }
        const int error = errno;
        ::close(fd);
        text.resize(have);
        if (got < 0) {
            m_problems.push_back(printable(m_path) + ": cannot read the file (" + std::strerror(error) + ")");
            return false;
        }
        if (text.size() > maxshowbytes) {
            m_problems.push_back(printable(m_path) + ": a show file may hold at most "
                                 + std::to_string(maxshowbytes >> 20) + " MB");
            return false;
        }
        return true;
    }

    // The text before the parser sees it: UTF-8 throughout, no control
    // character but tab and line ends, and none of what toml++ 3.3 misreads
    // (see misread()) where it would test it. It tests every character
    // outside strings and comments: after a key, after a value, and along a
    // malformed value (a number, a date, a word) up to the next blank, ']',
    // '}', ',' or '#', quotes included, to report it. Outside strings and
    // comments TOML allows nothing beyond ASCII, so all of it is refused
    // there; the keys and values are followed as the parser does, so that a
    // quote inside a malformed value does not pass for a string. In a
    // multi-line basic string it tests the character after a backslash and
    // those after a line-ending backslash up to the first that is no blank:
    // the one place where valid TOML is refused. Columns count code points,
    // as the parser's do.
    bool readable(const std::string& text)
    {
        // Where the parser is: outside strings and comments it expects a key,
        // a value, or what may follow a value; `run` is a value it reads to
        // its end, and `open` the arrays and inline tables around it.
        enum class in_t { text, run, comment, basic, literal, basiclines, literallines };
        enum class expect_t { key, value, after };
        in_t in = in_t::text;
        expect_t expect = expect_t::key;
        std::string open;
        bool header = false;   // inside a [table] header
        bool escape = false;   // the character before was a backslash, in a basic string
        bool skipping = false; // after a line-ending backslash, up to the first non-blank
        std::size_t line = 1;
        std::size_t column = 0;
        const auto refuse = [&](const std::string& what) {
            problem(at_t{line, column}, what);
            return false;
        };
        const auto named = [](char32_t c) {
            char name[16];
            std::snprintf(name, sizeof name, "U+%04X", static_cast<unsigned>(c));
            return std::string(name);
        };
        // A run of quotes: three to five end a multi-line string, the first
        // one or two of them belonging to it.
        const auto quotes = [&](std::size_t i, char quote) {
            std::size_t n = 0;
            while (i + n < text.size() && text[i + n] == quote && n < 5)
                ++n;
            return n;
        };
        const auto closed = [&] {
            in = in_t::text;
            if (expect == expect_t::value)
                expect = expect_t::after;
        };
        std::size_t i = text.compare(0, 3, "\xef\xbb\xbf") == 0 ? 3 : 0; // a byte order mark is skipped
        while (i < text.size()) {
            char32_t c = 0;
            const std::size_t length = decode(text, i, c);
            ++column;
            if (length == 0) {
                char what[64];
                std::snprintf(what, sizeof what, "not UTF-8: the byte 0x%02X is not a character's start or end",
                              static_cast<unsigned char>(text[i]));
                return refuse(what);
            }
            if (c == '\n') {
                if (in == in_t::run)
                    closed();
                if (in == in_t::comment || in == in_t::basic || in == in_t::literal)
                    in = in_t::text;
                if (in == in_t::basiclines && escape)
                    skipping = true; // a line-ending backslash right before the line end
                if (in == in_t::text && open.empty()) {
                    expect = expect_t::key;
                    header = false;
                }
                escape = false;
                ++line;
                column = 0;
                ++i;
                continue;
            }
            if ((c < 0x20 && c != '\t' && c != '\r') || c == 0x7f) {
                char what[48];
                std::snprintf(what, sizeof what, "control character 0x%02x is not allowed", static_cast<unsigned>(c));
                return refuse(what);
            }
            if (in == in_t::run && (c == ' ' || c == '\t' || c == '\r' || c == ']' || c == '}' || c == ',' || c == '#')) {
                closed(); // the character that ends the value is read again below
            }
            switch (in) {
            case in_t::run:
            case in_t::text:
                if (c >= 0x80)
                    return refuse("the character " + named(c) + " may stand only in strings and comments");
                if (in == in_t::run || c == ' ' || c == '\t' || c == '\r')
                    break;
                if (c == '#') {
                    in = in_t::comment;
                } else if ((c == '"' || c == '\'') && expect != expect_t::after) {
                    const bool lines = quotes(i, static_cast<char>(c)) >= 3;
                    in = c == '"' ? (lines ? in_t::basiclines : in_t::basic) : (lines ? in_t::literallines : in_t::literal);
                    if (lines) {
                        i += 3;
                        column += 2;
                        continue;
                    }
                } else if (expect == expect_t::key) {
                    if (c == '=')
                        expect = expect_t::value;
                    else if (c == '[' && open.empty())
                        header = true;
                    else if (c == ']' && header)
                        header = false, expect = expect_t::after;
                    else if (c == '}' && !open.empty() && open.back() == '{')
                        open.pop_back(), expect = expect_t::after;
                } else if (expect == expect_t::value) {
                    if (c == '[' || c == '{')
                        open += static_cast<char>(c), expect = c == '[' ? expect_t::value : expect_t::key;
                    else if (c == ']' && !open.empty() && open.back() == '[')
                        open.pop_back(), expect = expect_t::after;
                    else if (c != ',')
                        in = in_t::run;
                } else if (c == ',' && !open.empty()) {
                    expect = open.back() == '[' ? expect_t::value : expect_t::key;
                } else if ((c == ']' && !open.empty() && open.back() == '[') || (c == '}' && !open.empty() && open.back() == '{')) {
                    open.pop_back();
                } else if (c != ']' || !open.empty()) {
                    in = in_t::run; // nothing may follow a value here: read along as the parser does
                }
                break;
            case in_t::basic:
                if (escape)
                    escape = false;
                else if (c == '\\')
                    escape = true;
                else if (c == '"')
                    closed();
                break;
            case in_t::basiclines:
                if (escape) {
                    if (misread(c))
                        return refuse("an escape cannot start with the character " + named(c));
                    escape = false;
                    skipping = c == ' ' || c == '\t' || c == '\r';
                    if (skipping) // a line-ending backslash: its blanks, its line end, then the next line's blanks
                        break;
                } else if (skipping && c != '"' && c != '\\' && c != '\r') {
                    if (misread(c))
                        return refuse("the character " + named(c) + " cannot follow a line-ending backslash here "
                                      "(the TOML reader misreads it); write it as \\u" + named(c).substr(2));
                    skipping = tomlblank(c);
                } else if (c == '\\') {
                    escape = true;
                    skipping = false;
                } else if (c == '"') {
                    skipping = false;
                    const std::size_t n = quotes(i, '"');
                    if (n >= 3) {
                        closed();
                        i += n;
                        column += n - 1;
                        continue;
                    }
                }
                break;
            case in_t::literal:
                if (c == '\'')
                    closed();
                break;
            case in_t::literallines:
                if (c == '\'') {
                    const std::size_t n = quotes(i, '\'');
                    if (n >= 3) {
                        closed();
                        i += n;
                        column += n - 1;
                        continue;
                    }
                }
                break;
            case in_t::comment:
                break;
            }
            i += length;
        }
        return true;
    }

    // ---- Values by their form and range

    std::string outside(const keyinfo_t& key, bool each) const
    {
        return std::string(each ? "each number of " : "") + key.name + " must lie from " + bound(key.least) + " to "
             + bound(key.most) + (*key.unit ? " " : "") + key.unit;
    }

    // One number of a key, in its range. Integers past 2^53 keep their
    // magnitude as doubles (never 0): each range refuses them.
    bool number(const toml::node& node, const keyinfo_t& key, bool each, double& value)
    {
        if (const toml::value<std::int64_t>* integer = node.as_integer())
            value = static_cast<double>(integer->get());
        else if (const toml::value<double>* real = node.as_floating_point())
            value = real->get();
        else {
            problem(node.source(), std::string(key.name) + (each ? " must hold numbers only" : " must be a number"));
            return false;
        }
        if (!(value >= key.least && value <= key.most)) {
            problem(node.source(), outside(key, each));
            return false;
        }
        return true;
    }

    bool whole(const toml::node& node, const keyinfo_t& key, double& value)
    {
        const toml::value<std::int64_t>* integer = node.as_integer();
        if (integer == nullptr) {
            problem(node.source(), std::string(key.name) + " must be a whole number");
            return false;
        }
        const std::int64_t n = integer->get();
        if (!(static_cast<double>(n) >= key.least && static_cast<double>(n) <= key.most)) {
            problem(node.source(), outside(key, false));
            return false;
        }
        value = static_cast<double>(n);
        return true;
    }

    bool numbers(const toml::node& node, const keyinfo_t& key, std::size_t least, std::size_t most, value_t& value)
    {
        const toml::array* array = node.as_array();
        if (array == nullptr || array->size() < least || array->size() > most) {
            problem(node.source(), std::string(key.name) + " must be an array of three numbers [x, y, z]");
            return false;
        }
        for (std::size_t i = 0; i < array->size(); ++i)
            if (!number((*array)[i], key, true, value.number[i]))
                return false;
        return true;
    }

    // A file named relative to the show file's folder; only its name is
    // checked here.
    bool file(const toml::node& node, const keyinfo_t& key, const char* what, value_t& value)
    {
        const std::optional<std::string_view> name = node.value<std::string_view>();
        if (!name || name->empty()) {
            problem(node.source(), std::string(key.name) + " must name " + what);
            return false;
        }
        if (name->find('\0') != std::string_view::npos) {
            problem(node.source(), std::string(key.name) + ": a file's name cannot hold the character U+0000");
            return false;
        }
        if (name->size() >= PATH_MAX) {
            problem(node.source(), std::string(key.name) + ": the name " + quoted(*name) + " is longer than the "
                                       + std::to_string(PATH_MAX - 1) + " bytes a file's name may have");
            return false;
        }
        const std::filesystem::path path(*name);
        value.file = (path.is_absolute() ? path : m_folder / path).string();
        return true;
    }

    bool word(const toml::node& node, const keyinfo_t& key)
    {
        const std::optional<std::string_view> text = node.value<std::string_view>();
        if (!text || *text != key.choices) {
            problem(node.source(), std::string(key.name) + " must be \"" + key.choices + "\"");
            return false;
        }
        return true;
    }

    // Why a real kind with no single burst is not timed by one, for burst,
    // beat and every; null for any other key or kind.
    static const char* untimed(kind_t kind, std::string_view key)
    {
        if (key != "burst" && key != "beat" && key != "every")
            return nullptr;
        switch (kind) {
        case kind_t::cake:
            return "its shots break one after another, with no one burst to time; give time, its first shot's launch";
        case kind_t::comet: return "it burns from the ground up and never breaks; give time, its launch";
        case kind_t::mine: return "it goes off as it leaves the ground, with no burst to time; give time, its launch";
        default: return nullptr;
        }
    }

    // Reads the keys of a table that `kind` takes into `entry`: every value
    // in its form and range, every key given that it needs. `handled` names
    // a key read before (the kind) or is null; `what` names the table in
    // messages ("the shell", "the music"), `unknown` lists the keys there
    // are and `filewhat` says what its file is.
    // A colour: a name from the chemistry or [red, green, blue(, alpha)].
    bool color(const toml::node& node, const keyinfo_t& key, geokit::color3a_t& color)
    {
        if (const std::optional<std::string_view> name = node.value<std::string_view>()) {
            if (namedcolor(*name, color))
                return true;
            problem(node.source(), "unknown colour " + quoted(*name) + " for " + key.name + " (choose " + colorchoice()
                                       + ", or give [red, green, blue])");
            return false;
        }
        value_t value;
        const toml::array* array = node.as_array();
        if (array == nullptr || array->size() < 3 || array->size() > 4) {
            problem(node.source(), std::string(key.name) + " must be a colour's name (" + colorchoice()
                                       + ") or an array [red, green, blue] or [red, green, blue, alpha]");
            return false;
        }
        for (std::size_t i = 0; i < array->size(); ++i)
            if (!number((*array)[i], key, true, value.number[i]))
                return false;
        color = colorof(value);
        return true;
    }

    // A colour, or a list of colours that each star changes through: a list
    // whose first element is a name or an array.
    bool colors(const toml::node& node, const keyinfo_t& key, value_t& value)
    {
        const toml::array* array = node.as_array();
        const bool list = array != nullptr && !array->empty() && ((*array)[0].is_string() || (*array)[0].is_array());
        if (!list) {
            geokit::color3a_t one;
            if (!color(node, key, one))
                return false;
            value.colors = {one};
            return true;
        }
        if (array->size() > maxcolors) {
            problem(node.source(), std::string(key.name) + " may change through at most " + std::to_string(maxcolors)
                                       + " colours");
            return false;
        }
        for (const toml::node& element : *array) {
            geokit::color3a_t one;
            if (!color(element, key, one))
                return false;
            value.colors.push_back(one);
        }
        return true;
    }

    bool calibre(const toml::node& node, const keyinfo_t& key, value_t& value)
    {
        const std::string rule = std::string(key.name) + " must be like \"75mm\", \"3in\" or a number of millimetres, from "
                               + bound(key.least) + " to " + bound(key.most) + " mm";
        double mm = 0.0;
        if (const std::optional<std::string_view> text = node.value<std::string_view>()) {
            if (!parsecalibre(std::string(*text), mm)) {
                problem(node.source(), "unknown calibre " + quoted(*text) + ": " + rule);
                return false;
            }
        } else if (node.is_number()) {
            mm = node.is_integer() ? static_cast<double>(node.as_integer()->get()) : node.as_floating_point()->get();
        } else {
            problem(node.source(), rule);
            return false;
        }
        if (!(mm >= key.least && mm <= key.most)) {
            problem(node.source(), rule);
            return false;
        }
        value.number[0] = mm;
        return true;
    }

    // "ball or cylinder" from "ball|cylinder".
    static std::string choicelist(const char* choices)
    {
        std::string words(choices), text;
        std::size_t count = static_cast<std::size_t>(std::count(words.begin(), words.end(), '|')) + 1, at = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const std::size_t end = words.find('|', at);
            text += std::string(i == 0 ? "" : i + 1 == count ? " or " : ", ") + words.substr(at, end - at);
            at = end + 1;
        }
        return text;
    }

    static bool among(std::string_view word, const char* choices)
    {
        std::string_view words(choices);
        while (true) {
            const std::size_t end = words.find('|');
            if (word == words.substr(0, end))
                return true;
            if (end == std::string_view::npos)
                return false;
            words.remove_prefix(end + 1);
        }
    }

    bool choice(const toml::node& node, const keyinfo_t& key, value_t& value)
    {
        const std::optional<std::string_view> word = node.value<std::string_view>();
        if (!word || !among(*word, key.choices)) {
            problem(node.source(), (word ? "unknown " + std::string(key.name) + " " + quoted(*word) + " (choose "
                                         : std::string(key.name) + " must be a string: ")
                                       + choicelist(key.choices) + (word ? ")" : ""));
            return false;
        }
        value.text = std::string(*word);
        return true;
    }

    bool flag(const toml::node& node, const keyinfo_t& key, value_t& value)
    {
        const std::optional<bool> on = node.value_exact<bool>();
        if (!on) {
            problem(node.source(), std::string(key.name) + " must be true or false");
            return false;
        }
        value.number[0] = *on ? 1.0 : 0.0;
        return true;
    }

    // A multibreak's breaks: two or three kinds, each a name or a table
    // { kind = "ring", color = "blue", ... } with the keys of one break.
    bool stages(const toml::node& node, const keyinfo_t& key, value_t& value)
    {
        static const std::string kindlist = choicelist(breakkinds);
        const toml::array* array = node.as_array();
        if (array == nullptr || array->size() < 2 || array->size() > 3) {
            problem(node.source(), std::string(key.name) + " must list two or three breaks, each a kind (" + kindlist
                                       + ") or a table with a kind");
            return false;
        }
        for (const toml::node& element : *array) {
            const toml::table* table = element.as_table();
            const toml::node* kind = table != nullptr ? table->get("kind") : &element;
            const std::optional<std::string_view> name = kind != nullptr ? kind->value<std::string_view>() : std::nullopt;
            effectkind_t found = effectkind_t::peony;
            if (!name || !among(*name, breakkinds) || !findeffect(*name, found)) {
                const toml::node& where = kind != nullptr ? *kind : element;
                problem(where.source(), name ? "unknown break " + quoted(*name) + " (choose " + kindlist + ")"
                                             : "a break needs a kind (" + kindlist + ")");
                return false;
            }
            entry_t stage;
            for (const kindinfo_t& info : kinds)
                if (*name == info.name)
                    stage.kind = info.kind;
            if (table != nullptr) {
                const std::size_t before = m_problems.size();
                static const std::string unknown = "(a break takes kind, " + keynames(stagekeys) + ")";
                readkeys(*table, stagekeys, kindbit(stage.kind), "kind", "the break", unknown, "", stage);
                if (m_problems.size() != before)
                    return false;
            }
            breakspec_t spec;
            spec.kind = found;
            applybreak(stage, spec);
            value.stages.push_back(spec);
        }
        return true;
    }

    // The keys of `kind`'s tables, as a message lists them.
    template <std::size_t N> static std::string takenby(const keyinfo_t (&keys)[N], kindset_t kind)
    {
        std::string text;
        for (const keyinfo_t& key : keys)
            if ((key.takes & kind) != 0)
                text += std::string(text.empty() ? "" : ", ") + key.name;
        return text;
    }

    // Reads the keys of a table that `kind` takes into `entry`: every value
    // in its form and range, every key given that it needs. `handled` names
    // a key read before (the kind) or is null; `what` names the table in
    // messages ("the shell", "the music"), `unknown` lists the keys there
    // are and `filewhat` says what its file is.
    template <std::size_t N>
    void readkeys(const toml::table& table, const keyinfo_t (&keys)[N], kindset_t kind, const char* handled,
                  const std::string& what, const std::string& unknown, const char* filewhat, entry_t& entry)
    {
        entry.where = table.source();
        for (const keyinfo_t& key : keys)
            if ((key.needs & kind) != 0 && table.get(key.name) == nullptr)
                problem(table.source(), key.needs == everykind ? what + " has no " + key.name
                                                               : "a " + kindname(entry.kind) + " shell needs a " + key.name);
        for (auto&& [name, node] : table) {
            const std::string_view k = name.str();
            if (handled != nullptr && k == handled)
                continue;
            const keyinfo_t* key = findkey(keys, k);
            if (key == nullptr) {
                problem(name.source(), "unknown key '" + escaped(k, quotedchars, false) + "' " + unknown);
                continue;
            }
            if ((key->takes & kind) == 0) {
                const std::string noun = what == "the break" ? " break" : " shell";
                if (const char* why = untimed(entry.kind, k)) {
                    problem(name.source(), "'" + std::string(k) + "' does not apply to a " + kindname(entry.kind)
                                               + noun + ": " + why);
                    continue;
                }
                problem(name.source(), "'" + std::string(k) + "' does not apply to a " + kindname(entry.kind) + noun
                                           + " (it takes " + std::string(handled != nullptr ? handled : "")
                                           + (handled != nullptr ? ", " : "") + takenby(keys, kind) + ")");
                continue;
            }
            value_t value;
            value.where = node.source();
            bool ok = false;
            switch (key->form) {
            case form_t::number: ok = number(node, *key, false, value.number[0]); break;
            case form_t::whole: ok = whole(node, *key, value.number[0]); break;
            case form_t::vector: ok = numbers(node, *key, 3, 3, value); break;
            case form_t::color: {
                geokit::color3a_t one;
                ok = color(node, *key, one);
                value.colors = {one};
                break;
            }
            case form_t::colors: ok = colors(node, *key, value); break;
            case form_t::file: ok = file(node, *key, filewhat, value); break;
            case form_t::calibre: ok = calibre(node, *key, value); break;
            case form_t::choice: ok = choice(node, *key, value); break;
            case form_t::word: ok = word(node, *key); break;
            case form_t::flag: ok = flag(node, *key, value); break;
            case form_t::stages: ok = stages(node, *key, value); break;
            }
            if (ok)
                entry.values.emplace(std::string(k), std::move(value));
        }
    }

    // The keys one break takes, from an entry (a [[shell]] or a stage's table).
    static void applybreak(const entry_t& entry, breakspec_t& spec)
    {
        if (const value_t* value = entry.get("color"))
            spec.colors = value->colors;
        if (const value_t* value = entry.get("pistil")) {
            spec.pistil = true;
            spec.pistilcolor = value->colors.front();
        }
        spec.strobe = entry.number("strobe", spec.strobe);
        spec.crackle = entry.number("crackle", spec.crackle ? 1.0 : 0.0) != 0.0;
        spec.stars = static_cast<std::size_t>(entry.number("stars", static_cast<double>(spec.stars)));
        spec.tilt = entry.number("tilt", spec.tilt);
        spec.split = entry.number("split", spec.split);
    }

    bool readentry(toml::table& table, entry_t& entry)
    {
        const std::size_t before = m_problems.size();
        entry.line = table.source().begin.line;
        const toml::node* kind = table.get("kind");
        if (kind == nullptr) {
            problem(table.source(), "the shell has no kind (" + kindchoice() + ")");
            return false;
        }
        const std::optional<std::string_view> name = kind->value<std::string_view>();
        bool known = false;
        for (const kindinfo_t& info : kinds)
            if (name && *name == info.name) {
                entry.kind = info.kind;
                known = true;
            }
        if (!known) {
            problem(kind->source(), name ? "unknown kind " + quoted(*name) + " (choose " + kindchoice() + ")"
                                         : "kind must be a string: " + kindchoice());
            return false;
        }
        // The keys of its own kind: with twenty kinds, the list of all keys
        // would name many that do not apply.
        const std::string unknown = "(a " + kindname(entry.kind) + " shell takes kind, "
                                  + takenby(shellkeys, kindbit(entry.kind)) + ")";
        readkeys(table, shellkeys, kindbit(entry.kind), "kind", "the shell", unknown, "a scene file", entry);
        if ((kindbit(entry.kind) & burstkinds) != 0)
            readwhen(table, entry);
        if (entry.kind == kind_t::scene && entry.get("file") != nullptr)
            readscene(entry);
        const value_t* color = entry.get("color");
        if (color != nullptr && color->colors.size() > 1 && (kindbit(entry.kind) & oneshell) != 0)
            problem(color->where, "a " + kindname(entry.kind) + " shell takes one colour, not a change of colours");
        if (m_problems.size() != before)
            return false;
        return limits(table, entry);
    }

    // The [music] table: a file, and optionally an offset and a gain. The file
    // is opened by whoever plays it; here only its name is checked.
    void readmusic(toml::node& node, music_t& music)
    {
        toml::table* table = node.as_table();
        if (table == nullptr) {
            problem(node.source(), "'music' must be a table [music] with " + keynames(musickeys, " and "));
            return;
        }
        entry_t entry;
        readkeys(*table, musickeys, everykind, nullptr, "the music", "(music takes " + keynames(musickeys) + ")",
                 "a music file", entry);
        if (const value_t* file = entry.get("file")) {
            music.file = file->file;
            music.line = file->where.begin.line;
            music.column = file->where.begin.column;
            music.showfile = m_path;
        }
        music.offset = entry.number("offset", music.offset);
        music.gain = entry.number("gain", music.gain);
        music.bpm = entry.number("bpm", 0.0);
        music.firstbeat = entry.number("first_beat", 0.0);
        music.detect = entry.get("beats") != nullptr;
        if (music.detect && music.bpm > 0.0) {
            problem(entry.get("beats")->where, "beats = \"detect\" finds the tempo in the track: give it or bpm, not both");
            music.bpm = 0.0;
        }
        if (const value_t* first = entry.get("first_beat"); first != nullptr && entry.get("bpm") == nullptr)
            problem(first->where, "first_beat goes with bpm; with beats = \"detect\" the beats are found in the track");
        if (const value_t* first = entry.get("first_beat"))
            m_firstbeat = first->where;
    }

    // ---- Bursts and beats

    // An entry with one burst is timed by one of time, burst and beat; its
    // repetitions are `interval` seconds apart, or `every` beats with beat.
    void readwhen(const toml::table& table, const entry_t& entry)
    {
        std::vector<std::pair<at_t, const char*>> given;
        // Given counts even when its value was refused: that has its own line.
        for (const char* way : {"time", "burst", "beat"})
            if (const toml::node* node = table.get(way))
                given.emplace_back(at_t{node->source().begin.line, node->source().begin.column}, way);
        std::sort(given.begin(), given.end(), [](const auto& a, const auto& b) {
            return std::make_pair(a.first.line, a.first.column) < std::make_pair(b.first.line, b.first.column);
        });
        if (given.empty())
            problem(table.source(), "the shell has no time: give time (its launch), burst (its break) or beat "
                                    "(the music's beat it breaks on)");
        for (std::size_t i = 1; i < given.size(); ++i)
            problem(given[i].first, std::string("both ") + given[0].second + " and " + given[i].second
                                        + ": a shell goes up at its time, or breaks at its burst or on a beat, one of them");
        const bool beat = entry.get("beat") != nullptr;
        if (const value_t* every = entry.get("every"); every != nullptr && !beat)
            problem(every->where, "every counts the beats between repetitions and goes with beat; with time or "
                                  "burst use interval");
        if (const value_t* interval = entry.get("interval"); interval != nullptr && beat)
            problem(interval->where, "with beat, repetitions are counted in beats: use every instead of interval");
    }

    // The track's length, and its beats when they are to be found in it.
    void readtrack(music_t& music)
    {
        if (music.file.empty())
            return;
        double seconds = 0.0, bpm = 0.0;
        std::vector<double> beats;
        std::string why = "nothing here reads music files";
        if (!m_tracks || !m_tracks(music.file, music.detect, seconds, bpm, beats, why)) {
            m_trackwhy = why;
            music.beatproblem = musicproblem(music, why);
            music.beats.clear();
            if (music.detect)
                music.bpm = 0.0;
            return;
        }
        music.seconds = seconds;
        if (music.detect) {
            music.bpm = bpm;
            music.beats = std::move(beats);
        } else if (music.firstbeat > music.seconds) {
            problem(m_firstbeat, "first_beat at " + bound(music.firstbeat) + " s lies past the track's end ("
                                     + millis(music.seconds) + " s)");
        }
    }

    // The fuse from launch to burst a kind's maker gives: a one-shell kind's
    // made once; a real shell's from its calibre and style, as its maker
    // sizes the first (or only) break.
    float makerfuse(const entry_t& entry)
    {
        if ((kindbit(entry.kind) & realkinds) != 0) {
            const shellspec_t spec = specof(entry);
            return static_cast<float>(shellsize(spec.shell.calibre, spec.shell.style).fuse);
        }
        const kind_t kind = entry.kind;
        const auto found = m_fuses.find(kind);
        if (found != m_fuses.end())
            return found->second;
        std::vector<firework_t> scene;
        switch (kind) {
        case kind_t::single: makesingle(scene); break;
        case kind_t::simple: makesimple(scene, 6.25f, geokit::color3a_t{1, 1, 1, 1}); break;
        case kind_t::blink: makeblink(scene); break;
        default: makesusuki(scene); break;
        }
        const float fuse = scene.empty() ? 0.0f : scene.front().fuse;
        m_fuses.emplace(kind, fuse);
        return fuse;
    }

    // Where the break of an entry timed by burst or beat is told wrong: no
    // beats to count, a beat past the music's end, a break before the shell
    // can rise, a launch past the show's latest time.
    void placebreaks(entry_t& entry, const music_t& music)
    {
        entry.fuse = static_cast<float>(entry.number("fuse", makerfuse(entry)));
        const double n = static_cast<double>(entry.count() - 1);
        const value_t* beat = entry.get("beat");
        const value_t& at = beat != nullptr ? *beat : *entry.get("burst");
        double first = at.number[0];
        double last = first + n * entry.number("interval", 0.0);
        if (beat != nullptr) {
            if (!hasbeats(music)) {
                problem(at.where, nobeats(music));
                return;
            }
            const double lastbeat = first + n * entry.number("every", 0.0);
            if (!beattime(music, first, first)) {
                problem(at.where, pastend(music, first));
                return;
            }
            if (!beattime(music, lastbeat, last)) {
                problem(at.where, "the last repetition's " + pastend(music, lastbeat));
                return;
            }
        }
        const double fuse = static_cast<double>(entry.fuse);
        if (first - fuse < 0.0) {
            problem(at.where, (beat != nullptr ? "beat " + bound(at.number[0]) + " breaks at " + millis(first) + " s"
                                               : "burst at " + bound(first) + " s")
                                  + ", before the shell can rise: its fuse burns " + bound(fuse) + " s");
            return;
        }
        if (last - fuse > maxshowtime)
            problem(at.where, "the last repetition would go up at " + millis(last - fuse)
                                  + " s, after the latest time a show may use (" + bound(maxshowtime) + " s)");
    }

    std::string nobeats(const music_t& music) const
    {
        if (music.file.empty())
            return "beat counts the music's beats, and the show has no [music]";
        if (!(music.bpm > 0.0) && !music.detect)
            return "beat counts the music's beats: give [music] bpm and first_beat, or beats = \"detect\"";
        if (!m_trackwhy.empty())
            return "beat cannot be used: the music file " + music.file + " cannot be read (" + m_trackwhy + ")";
        return "beat cannot be used: no beats were found in the music file " + music.file;
    }

    static std::string pastend(const music_t& music, double beat)
    {
        const std::size_t count = beatcount(music);
        double last = 0.0;
        beattime(music, static_cast<double>(count), last);
        return "beat " + bound(beat) + " is past the music's end: its last beat is beat " + std::to_string(count)
             + " at " + millis(last) + " s";
    }

    // A time in seconds as messages write it, to the millisecond.
    static std::string millis(double value)
    {
        char text[32];
        std::snprintf(text, sizeof text, "%.3f", value);
        return text;
    }

    // The launch of repetition `i` of an entry.
    double launch(const entry_t& entry, std::size_t i) const
    {
        const double n = static_cast<double>(i);
        if (const value_t* beat = entry.get("beat")) {
            double at = 0.0;
            beattime(m_music, beat->number[0] + n * entry.number("every", 0.0), at);
            return at - static_cast<double>(entry.fuse);
        }
        if (const value_t* burst = entry.get("burst"))
            return burst->number[0] + n * entry.number("interval", 0.0) - static_cast<double>(entry.fuse);
        return entry.number("time", 0.0) + n * entry.number("interval", 0.0);
    }

    // The [camera] table: where the audience stands and looks, its field of
    // view, and whether sounds arrive late by their distance.
    bool readcamera(toml::node& node, entry_t& camera)
    {
        toml::table* table = node.as_table();
        if (table == nullptr) {
            problem(node.source(), "'camera' must be a table [camera] with " + keynames(camerakeys, " and "));
            return false;
        }
        const std::size_t before = m_problems.size();
        readkeys(*table, camerakeys, everykind, nullptr, "the camera", "(the camera takes " + keynames(camerakeys) + ")",
                 "", camera);
        const value_t* position = camera.get("position");
        const value_t* target = camera.get("target");
        if (position != nullptr && target != nullptr && position->number[0] == target->number[0]
            && position->number[1] == target->number[1] && position->number[2] == target->number[2])
            problem(target->where, "the camera's target must not be where it stands");
        return m_problems.size() == before;
    }

    // The camera a show gets: the one its [camera] table places, what that
    // table leaves out framed as a show of real shells frames it; without a
    // table, the described camera unless the show holds real shells.
    void placecamera(show_t& show, const entry_t* table)
    {
        const bool real = m_real;
        const bool placed = table != nullptr
                         && (table->get("position") != nullptr || table->get("target") != nullptr
                             || table->get("fov") != nullptr);
        viewpoint_t view;
        if (real || placed)
            view = frameshow(show);
        if (table != nullptr) {
            const auto point = [](const value_t& v) {
                return geokit::position3_t{static_cast<float>(v.number[0]), static_cast<float>(v.number[1]),
                                           static_cast<float>(v.number[2])};
            };
            if (const value_t* v = table->get("position"))
                view.position = point(*v);
            if (const value_t* v = table->get("target"))
                view.target = point(*v);
            view.fov = static_cast<float>(table->number("fov", view.fov));
            if (const value_t* v = table->get("sound"))
                view.distancesound = v->text == "distance";
            // A camera placed where the framing looks: look level instead.
            if (view.position.x == view.target.x && view.position.y == view.target.y && view.position.z == view.target.z)
                view.target.y += 1.0f;
        }
        show.camera = view;
    }

    // Reads each named scene file once; its problem is reported where it is named.
    bool readscene(const entry_t& entry)
    {
        const value_t& named = *entry.get("file");
        const std::string& path = named.file;
        if (m_scenes.count(path) != 0)
            return true;
        fileformat_t format = fileformat_t::scene;
        std::string message;
        if (!sniffformat(path.c_str(), format, message)) {
            problem(named.where, "scene file: " + message);
            return false;
        }
        if (format == fileformat_t::show) {
            problem(named.where, "scene file: " + path + " is a show file; a show includes scene files only");
            return false;
        }
        std::vector<firework_t> scene;
        if (!readscenefile(path.c_str(), scene, message, m_progress)) {
            problem(named.where, "scene file: " + message);
            return false;
        }
        if (scene.empty()) {
            problem(named.where, "scene file: " + path + " holds no fireworks: the entry would show nothing");
            return false;
        }
        m_scenes.emplace(path, std::move(scene));
        return true;
    }

    // Shells a repetition adds, and the time and place of the last: all bounded.
    bool limits(const toml::table& table, const entry_t& entry)
    {
        std::size_t each = 1;
        if (entry.kind == kind_t::random)
            each = 23;
        else if (entry.kind == kind_t::miniexhibition)
            each = 5;
        else if (entry.kind == kind_t::scene)
            each = m_scenes.at(entry.get("file")->file).size();
        else if ((kindbit(entry.kind) & realkinds) != 0)
            each = shellsof(entry);
        const std::size_t count = entry.count();
        const toml::node* counted = table.get("count");
        const toml::source_region& where = counted != nullptr ? counted->source() : table.source();
        if (count > maxshells / each || m_total + count * each > maxshells) {
            problem(where, "this would make the show hold more than " + std::to_string(maxshells) + " shells");
            return false;
        }
        const double n = static_cast<double>(count - 1);
        // A cake's last shot goes up after its first; shells timed by burst
        // or beat are checked once the music and their fuse are known.
        const double shots = entry.kind == kind_t::cake ? entry.number("shots", 10.0) - 1.0 : 0.0;
        const double last =
            entry.number("time", 0.0) + n * entry.number("interval", 0.0) + shots * entry.number("shotinterval", 0.25);
        if (entry.get("time") != nullptr && last > maxshowtime) {
            problem(where, "the last repetition would go up at " + bound(last) + " s, after the latest time a show may use ("
                               + bound(maxshowtime) + " s)");
            return false;
        }
        const double* position = entry.vector("position");
        const double* step = entry.vector("step");
        for (int axis = 0; axis < 3; ++axis)
            if (std::fabs(position[axis] + n * step[axis]) > maxdistance) {
                problem(where, "the last repetition would stand more than " + bound(maxdistance) + " m out");
                return false;
            }
        m_total += count * each;
        return true;
    }

    // ---- Building

    // Built once per distinct kind, colour and speed.
    using designkey_t = std::tuple<kind_t, float, float, float, float, float>;

    struct made_t {
        firework_t header; // the maker's shell, without its fires
        std::size_t design = 0;
    };

    static geokit::color3a_t colorof(const value_t& value)
    {
        const double* c = value.number;
        return {static_cast<float>(c[0]), static_cast<float>(c[1]), static_cast<float>(c[2]), static_cast<float>(c[3])};
    }

    const made_t& made(show_t& show, const entry_t& entry)
    {
        const value_t* color = entry.get("color");
        const geokit::color3a_t c = color != nullptr ? color->colors.front() : geokit::color3a_t{};
        const float speed = static_cast<float>(entry.number("speed", 6.25));
        const designkey_t key{entry.kind, color != nullptr ? c.r : -1.0f, c.g, c.b, c.a, speed};
        auto found = m_made.find(key);
        if (found != m_made.end())
            return found->second;
        std::vector<firework_t> scene;
        switch (entry.kind) {
        case kind_t::single:
            color != nullptr ? makesingle(scene, c) : makesingle(scene);
            break;
        case kind_t::simple:
            makesimple(scene, speed, color != nullptr ? c : geokit::color3a_t{1, 1, 1, 1});
            break;
        case kind_t::blink:
            color != nullptr ? makeblink(scene, c) : makeblink(scene);
            break;
        default:
            color != nullptr ? makesusuki(scene, c) : makesusuki(scene);
            break;
        }
        made_t result;
        result.design = m_designs.add(show, std::move(scene[0].fires));
        result.header = std::move(scene[0]);
        result.header.fires = {};
        return m_made.emplace(key, std::move(result)).first->second;
    }

    static geokit::position3_t moved(const geokit::position3_t& p, const double* by)
    {
        return {static_cast<float>(p.x + by[0]), static_cast<float>(p.y + by[1]), static_cast<float>(p.z + by[2])};
    }

    // Headers and designs of a placed scene or built-in show, shifted in time and place.
    void place(show_t& show, const std::vector<firework_t>& headers, const std::vector<std::size_t>& designs,
               double time, const double* at)
    {
        for (std::size_t k = 0; k < headers.size(); ++k) {
            firework_t shell = headers[k];
            shell.time = static_cast<float>(shell.time + time);
            shell.position = moved(shell.position, at);
            show.shells.push_back(std::move(shell));
            show.design.push_back(designs[k]);
        }
    }

    void share(show_t& show, std::vector<firework_t>& scene, std::vector<std::size_t>& designs)
    {
        designs.clear();
        for (firework_t& shell : scene) {
            designs.push_back(m_designs.add(show, std::move(shell.fires)));
            shell.fires = {};
        }
    }

    void build(const std::vector<entry_t>& entries, show_t& show)
    {
        show = {};
        show.shells.reserve(m_total);
        show.design.reserve(m_total);
        show.notes.reserve(m_total);
        show.sourcefile = m_path;
        std::map<std::string, std::vector<std::size_t>> scenedesigns;
        std::vector<firework_t> placed;
        std::vector<std::size_t> designs;
        for (const entry_t& entry : entries) {
            const auto number = static_cast<std::uint32_t>(show.entries.size());
            show.entries.push_back(noteentry(entry));
            const std::size_t first = show.shells.size();
            if ((kindbit(entry.kind) & realkinds) != 0) {
                m_real = true;
                placereal(show, entry, number);
                origin(show, entry, first);
                continue;
            }
            const double start = entry.number("time", 0.0);
            const double interval = entry.number("interval", 0.0);
            const double* position = entry.vector("position");
            const double* step = entry.vector("step");
            const value_t* velocity = entry.get("velocity");
            const value_t* fuse = entry.get("fuse");
            if (entry.kind == kind_t::random || entry.kind == kind_t::miniexhibition) {
                // Made once for the entry (the random show draws its
                // velocities then) and placed at every repetition.
                placed.clear();
                makebuiltin(entry.kind == kind_t::random ? "random" : "miniexhibition", placed);
                share(show, placed, designs);
            }
            for (std::size_t i = 0; i < entry.count(); ++i) {
                const double n = static_cast<double>(i);
                const double time = (kindbit(entry.kind) & oneshell) != 0 ? launch(entry, i) : start + n * interval;
                const double at[3] = {position[0] + n * step[0], position[1] + n * step[1], position[2] + n * step[2]};
                if ((kindbit(entry.kind) & oneshell) != 0) {
                    const made_t& maker = made(show, entry);
                    firework_t shell = maker.header;
                    shell.time = static_cast<float>(time);
                    shell.position = moved(shell.position, at);
                    if (velocity != nullptr)
                        shell.velocity = {static_cast<float>(velocity->number[0]), static_cast<float>(velocity->number[1]),
                                          static_cast<float>(velocity->number[2])};
                    if (fuse != nullptr)
                        shell.fuse = static_cast<float>(fuse->number[0]);
                    if (entry.get("angle") != nullptr)
                        shell.velocity = leaned(shell.velocity, entry.number("angle", 0.0), entry.number("azimuth", 0.0));
                    show.shells.push_back(std::move(shell));
                    show.design.push_back(maker.design);
                } else if (entry.kind == kind_t::scene) {
                    const std::string& file = entry.get("file")->file;
                    std::vector<firework_t>& scene = m_scenes.at(file);
                    auto found = scenedesigns.find(file);
                    if (found == scenedesigns.end()) {
                        share(show, scene, designs);
                        found = scenedesigns.emplace(file, designs).first;
                    }
                    place(show, scene, found->second, time, at);
                } else {
                    place(show, placed, designs, time, at);
                }
            }
            shellnote_t note;
            note.entry = number;
            show.notes.resize(show.shells.size(), note);
            origin(show, entry, first);
        }
    }

    // Where the entry's shells were written, shared by all of them.
    void origin(show_t& show, const entry_t& entry, std::size_t first)
    {
        shellorigin_t where;
        where.file = m_path;
        where.line = entry.line;
        where.kind = kindname(entry.kind);
        if (entry.kind == kind_t::scene)
            where.kind += " " + std::filesystem::path(entry.get("file")->file).filename().string();
        where.first = first;
        where.count = entry.count();
        where.each = (show.shells.size() - first) / std::max<std::size_t>(where.count, 1);
        show.origin.resize(show.shells.size(), static_cast<std::uint32_t>(show.origins.size()));
        show.origins.push_back(std::move(where));
    }

    // ---- Real shells

    // The shells one entry of a real kind launches each time it goes up.
    static std::size_t shellsof(const entry_t& entry)
    {
        switch (entry.kind) {
        case kind_t::multibreak: {
            const value_t* stages = entry.get("breaks");
            return stages != nullptr ? stages->stages.size() : 2;
        }
        case kind_t::cake: {
            const value_t* shot = entry.get("shot");
            const auto shots = static_cast<std::size_t>(entry.number("shots", 10.0));
            return shot != nullptr && shot->text == "palm" ? 2 * shots : shots;
        }
        case kind_t::palm: return 2; // the break and its rising tail
        default: return 1;
        }
    }

    static effectkind_t effectkind(kind_t kind)
    {
        effectkind_t found = effectkind_t::peony;
        findeffect(kindname(kind), found);
        return found;
    }

    static shellspec_t specof(const entry_t& entry)
    {
        shellspec_t spec;
        breakspec_t& shell = spec.shell;
        shell.kind = effectkind(entry.kind);
        shell.calibre = entry.number("calibre", defaultcalibre(shell.kind));
        if (const value_t* style = entry.get("style"))
            shell.style = style->text == "cylinder" ? style_t::cylinder : style_t::ball;
        applybreak(entry, shell);
        spec.angle = entry.number("angle", 0.0);
        spec.azimuth = entry.number("azimuth", 0.0);
        if (const value_t* stages = entry.get("breaks")) {
            spec.breaks = stages->stages;
            // A stage without colours of its own takes the shell's.
            for (breakspec_t& stage : spec.breaks)
                if (stage.colors.empty())
                    stage.colors = shell.colors;
        }
        spec.breakinterval = entry.number("breakinterval", 0.0);
        spec.shots = static_cast<std::size_t>(entry.number("shots", static_cast<double>(spec.shots)));
        spec.shotinterval = entry.number("shotinterval", spec.shotinterval);
        spec.fan = entry.number("fan", spec.fan);
        if (const value_t* shot = entry.get("shot"))
            findeffect(shot->text, spec.shot);
        spec.cone = entry.number("cone", spec.cone);
        return spec;
    }

    // Every value of a spec as bytes: equal specs make equal shells.
    static std::string speckey(const shellspec_t& spec)
    {
        std::string key;
        const auto put = [&key](const auto& value) {
            key.append(reinterpret_cast<const char*>(&value), sizeof value);
        };
        const auto putbreak = [&](const breakspec_t& b) {
            put(b.kind), put(b.calibre), put(b.style), put(b.colors.size());
            for (const geokit::color3a_t& c : b.colors)
                put(c.r), put(c.g), put(c.b), put(c.a);
            put(b.pistil), put(b.pistilcolor.r), put(b.pistilcolor.g), put(b.pistilcolor.b), put(b.pistilcolor.a);
            put(b.strobe), put(b.crackle), put(b.stars), put(b.tilt), put(b.split);
        };
        putbreak(spec.shell);
        put(spec.angle), put(spec.azimuth), put(spec.breaks.size());
        for (const breakspec_t& b : spec.breaks)
            putbreak(b);
        put(spec.breakinterval), put(spec.shots), put(spec.shotinterval), put(spec.fan), put(spec.shot), put(spec.cone);
        return key;
    }

    struct placedshell_t {
        firework_t header;
        std::size_t design = 0;
        shellnote_t note;
    };

    // The shells of an entry's spec, their designs and effects in the show
    // once for every entry alike.
    const std::vector<placedshell_t>& madereal(show_t& show, const entry_t& entry)
    {
        const shellspec_t spec = specof(entry);
        const std::string key = speckey(spec);
        auto found = m_real_made.find(key);
        if (found != m_real_made.end())
            return found->second;
        std::vector<placedshell_t> shells;
        for (madeshell_t& made : makeshells(spec)) {
            for (fire_t& fire : made.design.fires)
                if (fire.effect != 0)
                    fire.effect = m_effects.add(show, std::move(made.design.effects[fire.effect - 1]));
            placedshell_t shell;
            shell.design = m_designs.add(show, std::move(made.design.fires));
            shell.header = made.header;
            shell.note = made.note;
            shells.push_back(std::move(shell));
        }
        return m_real_made.emplace(key, std::move(shells)).first->second;
    }

    void placereal(show_t& show, const entry_t& entry, std::uint32_t number)
    {
        const double* position = entry.vector("position");
        const double* step = entry.vector("step");
        const std::vector<placedshell_t>& shells = madereal(show, entry);
        for (std::size_t i = 0; i < entry.count(); ++i) {
            const double n = static_cast<double>(i);
            // Later breaks and shots keep their offsets from the entry's launch.
            const double time = launch(entry, i);
            const double at[3] = {position[0] + n * step[0], position[1] + n * step[1], position[2] + n * step[2]};
            for (const placedshell_t& made : shells) {
                firework_t shell = made.header;
                shell.time = static_cast<float>(time + made.header.time);
                shell.position = moved(shell.position, at);
                show.shells.push_back(std::move(shell));
                show.design.push_back(made.design);
                shellnote_t note = made.note;
                note.entry = number;
                show.notes.push_back(note);
            }
        }
    }

    // A velocity leaned `angle` degrees from where it points towards
    // `azimuth`: for a straight-up launch, that many degrees from vertical.
    static geokit::direction3_t leaned(const geokit::direction3_t& v, double angle, double azimuth)
    {
        const double a = angle * 3.14159265358979323846 / 180.0, b = azimuth * 3.14159265358979323846 / 180.0;
        // Turn about the horizontal axis across the azimuth (Rodrigues).
        const double kx = -std::sin(b), ky = std::cos(b);
        const double c = std::cos(a), s = std::sin(a);
        const double x = v.x, y = v.y, z = v.z;
        const double dot = kx * x + ky * y;
        const double cx = ky * z, cy = -kx * z, cz = kx * y - ky * x; // k x v
        return {static_cast<float>(x * c + cx * s + kx * dot * (1 - c)),
                static_cast<float>(y * c + cy * s + ky * dot * (1 - c)), static_cast<float>(z * c + cz * s)};
    }

    entrynote_t noteentry(const entry_t& entry) const
    {
        entrynote_t note;
        note.kind = kindname(entry.kind);
        note.line = entry.where.begin.line;
        note.column = entry.where.begin.column;
        if ((kindbit(entry.kind) & realkinds) != 0) {
            note.calibre = entry.number("calibre", defaultcalibre(effectkind(entry.kind)));
            const value_t* style = entry.get("style");
            note.style = style != nullptr ? style->text : "ball";
        }
        return note;
    }

    std::string m_path;
    std::filesystem::path m_folder;
    std::vector<std::string>& m_problems;
    std::size_t m_first = m_problems.size(); // this file's first problem
    std::vector<std::pair<std::size_t, std::size_t>> m_positions; // of this file's problems, in order
    const readprogress_t& m_progress;
    const trackreader_t& m_tracks;
    music_t m_music; // once read: what beats are counted on
    std::string m_trackwhy; // why the track's beats could not be read
    toml::source_region m_firstbeat;
    std::map<kind_t, float> m_fuses;
    std::map<std::string, std::vector<firework_t>> m_scenes;
    std::size_t m_total = 0;
    designindex_t m_designs;
    effectindex_t m_effects;
    std::map<designkey_t, made_t> m_made;
    std::map<std::string, std::vector<placedshell_t>> m_real_made;
    bool m_real = false; // the show holds real shells
};

bool isdigits(std::string_view text, int base)
{
    if (text.empty())
        return false;
    for (char c : text)
        if (!(base == 16 ? std::isxdigit(static_cast<unsigned char>(c)) : std::isdigit(static_cast<unsigned char>(c))))
            return false;
    return true;
}

} // namespace

bool sniffformat(const char* path, fileformat_t& format, std::string& message)
{
    std::string reason;
    const int fd = basekit::openregular(path, reason);
    if (fd < 0) {
        message = printable(path) + ": " + reason;
        return false;
    }
    char buffer[512];
    ssize_t got = 0;
    while ((got = ::read(fd, buffer, sizeof buffer)) < 0 && errno == EINTR) {}
    const int error = errno;
    ::close(fd);
    if (got < 0) {
        message = printable(path) + ": cannot read the file (" + std::strerror(error) + ")";
        return false;
    }
    std::string_view line(buffer, static_cast<std::size_t>(got));
    // Neither kind holds a NUL byte; text files never do.
    if (line.find('\0') != std::string_view::npos) {
        message = printable(path) + ": a binary file, neither a show file nor a scene file";
        return false;
    }
    line = line.substr(0, line.find('\n'));
    while (!line.empty() && std::isspace(static_cast<unsigned char>(line.back())))
        line.remove_suffix(1);
    while (!line.empty() && std::isspace(static_cast<unsigned char>(line.front())))
        line.remove_prefix(1);
    const bool hex = line.size() > 2 && line[0] == '0' && (line[1] == 'x' || line[1] == 'X');
    format = (hex ? isdigits(line.substr(2), 16) : isdigits(line, 10)) ? fileformat_t::scene : fileformat_t::show;
    return true;
}

std::string musicproblem(const music_t& music, const std::string& reason)
{
    return printable(music.showfile + ":" + std::to_string(music.line) + ":" + std::to_string(music.column)
                     + ": music file: " + music.file + ": " + reason);
}

bool readshowfile(const char* path, show_t& show, std::vector<std::string>& problems, const readprogress_t& progress,
                  const trackreader_t& tracks)
{
    reader_t reader(path, problems, progress, tracks);
    return reader.readfile(show);
}

bool readshowtext(const std::string& text, const char* path, show_t& show, std::vector<std::string>& problems,
                  const readprogress_t& progress, const trackreader_t& tracks)
{
    if (text.size() > maxshowbytes) {
        problems.push_back(printable(path) + ": a show file may hold at most " + std::to_string(maxshowbytes >> 20)
                           + " MB");
        return false;
    }
    reader_t reader(path, problems, progress, tracks);
    return reader.read(text, show);
}

} // namespace vexlor
