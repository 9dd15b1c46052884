// The show file reader: toml++ parses, this file checks every key and value
// against what each kind accepts, then builds the show. Repetitions are
// counted before anything is built; the makers run once per distinct design.
#include "firework/tomlconfig.h"

#include "firework/showfile.h"

#include "firework/builtin.h"
#include "firework/lookfile.h"
#include "firework/sample.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <tuple>

namespace vexlor {

namespace {

std::string oneline(std::string_view text);

enum class kind_t { single, simple, blink, susuki, random, miniexhibition, scene };

struct kindinfo_t {
    kind_t kind;
    const char* name;
};

const kindinfo_t kinds[] = {
    {kind_t::single, "single"}, {kind_t::simple, "simple"}, {kind_t::blink, "blink"},
    {kind_t::susuki, "susuki"}, {kind_t::random, "random"}, {kind_t::miniexhibition, "miniexhibition"},
    {kind_t::scene, "scene"},
};

const char* const kindchoice = "single, simple, blink, susuki, random, miniexhibition or scene";

// One shell the makers build, as opposed to a show or a scene placed whole.
bool isshell(kind_t kind)
{
    return kind == kind_t::single || kind == kind_t::simple || kind == kind_t::blink || kind == kind_t::susuki;
}

// The keys a kind accepts besides kind, time, position, count, interval, step.
bool accepts(kind_t kind, std::string_view key)
{
    if (key == "velocity" || key == "fuse" || key == "color")
        return isshell(kind);
    if (key == "speed")
        return kind == kind_t::simple;
    if (key == "file")
        return kind == kind_t::scene;
    return false;
}

const char* const commonkeys[] = {"kind", "time", "position", "count", "interval", "step"};
const char* const knownkeys = "kind, time, position, velocity, fuse, color, speed, file, count, interval, step";

struct vec3_t {
    double x = 0.0, y = 0.0, z = 0.0;
};

// One [[shell]] table as read and checked.
struct entry_t {
    kind_t kind = kind_t::single;
    double time = 0.0;
    vec3_t position;
    bool hasvelocity = false;
    vec3_t velocity;
    bool hasfuse = false;
    double fuse = 0.0;
    bool hascolor = false;
    geokit::color3a_t color{};
    double speed = 6.25;
    std::size_t count = 1;
    double interval = 0.0;
    vec3_t step;
    std::string file; // resolved against the show file's folder
};

class reader_t {
public:
    reader_t(const char* path, std::vector<std::string>& problems, const readprogress_t& progress)
        : m_path(path), m_problems(problems), m_progress(progress)
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
        if (!plaintext(text))
            return false;
        toml::parse_result parsed = toml::parse(text, m_path);
        if (!parsed) {
            const toml::parse_error& error = parsed.error();
            problem(error.source(), std::string(error.description()));
            return false;
        }
        toml::table& root = parsed.table();
        std::vector<entry_t> entries;
        music_t music;
        look_t look;
        for (auto&& [key, node] : root) {
            if (key.str() == "music") {
                readmusic(node, music);
                continue;
            }
            if (key.str() == "look") {
                readlooktable(node, look, [this](const toml::source_region& where, const std::string& what) {
                    problem(where, what);
                });
                continue;
            }
            if (key.str() != "shell") {
                problem(key.source(), "unknown key '" + std::string(key.str())
                                          + "' (a show holds [[shell]] tables, one [music] table and one [look] table)");
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
        if (m_problems.size() == before && entries.empty())
            problem(at_t{1, 1}, "the show holds no shells");
        if (m_problems.size() != before) {
            if (m_problems.size() - before > maxproblems) {
                const std::size_t more = m_problems.size() - before - maxproblems;
                m_problems.resize(before + maxproblems);
                m_problems.push_back(m_path + ": " + std::to_string(more) + " more problem" + (more == 1 ? "" : "s")
                                     + " not listed");
            }
            return false;
        }
        build(entries, show);
        show.music = std::move(music);
        show.look = look;
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
        const std::string text = oneline(m_path + ":" + std::to_string(at.line) + ":" + std::to_string(at.column) + ": " + what);
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
        std::error_code error;
        if (std::filesystem::is_directory(m_path, error)) {
            m_problems.push_back(m_path + ": cannot read the file");
            return false;
        }
        std::ifstream is(m_path, std::ios::binary);
        if (!is) {
            m_problems.push_back(m_path + ": cannot read the file");
            return false;
        }
        text.resize(maxshowbytes + 1);
        is.read(text.data(), static_cast<std::streamsize>(text.size()));
        text.resize(static_cast<std::size_t>(is.gcount()));
        if (is.bad()) {
            m_problems.push_back(m_path + ": cannot read the file");
            return false;
        }
        if (text.size() > maxshowbytes) {
            m_problems.push_back(m_path + ": a show file may hold at most " + std::to_string(maxshowbytes >> 20)
                                 + " MB");
            return false;
        }
        return true;
    }

    // TOML allows no control character but tab and line ends anywhere. The
    // parser's test for Unicode blanks is wrong for U+00A1-U+0499,
    // U+2C8E-U+3087 and U+FB26-U+FEFE (it reaches a point marked
    // unreachable), so those are refused outside comments, where it does not
    // look at them.
    bool plaintext(const std::string& text)
    {
        enum class in_t { text, comment, basic, literal, basiclines, literallines };
        static constexpr std::string_view basicquotes = "\"\"\"", literalquotes = "'''";
        in_t in = in_t::text;
        std::size_t line = 1;
        std::size_t start = 0;
        const auto refuse = [&](std::size_t i, const char* format, unsigned value) {
            char what[80];
            std::snprintf(what, sizeof what, format, value);
            problem(at_t{line, i - start + 1}, what);
            return false;
        };
        for (std::size_t i = 0; i < text.size(); ++i) {
            const auto c = static_cast<unsigned char>(text[i]);
            const std::string_view rest(text.data() + i, text.size() - i);
            if (c == '\n') {
                ++line;
                start = i + 1;
                if (in == in_t::comment || in == in_t::basic || in == in_t::literal)
                    in = in_t::text;
                continue;
            }
            if ((c < 0x20 && c != '\t' && c != '\r') || c == 0x7f)
                return refuse(i, "control character 0x%02x is not allowed", c);
            if (c >= 0xc0 && in != in_t::comment) {
                unsigned point = 0;
                if (c < 0xe0 && rest.size() >= 2)
                    point = (c & 0x1fu) << 6 | (static_cast<unsigned char>(rest[1]) & 0x3fu);
                else if (c < 0xf0 && rest.size() >= 3)
                    point = (c & 0x0fu) << 12 | (static_cast<unsigned char>(rest[1]) & 0x3fu) << 6
                          | (static_cast<unsigned char>(rest[2]) & 0x3fu);
                if ((point >= 0xa1 && point <= 0x499) || (point >= 0x2c8e && point <= 0x3087 && point != 0x3000)
                    || (point >= 0xfb26 && point <= 0xfefe))
                    return refuse(i, "the character U+%04X is allowed only in comments", point);
            }
            const bool basicend = rest.substr(0, 3) == basicquotes;
            const bool literalend = rest.substr(0, 3) == literalquotes;
            switch (in) {
            case in_t::text:
                if (c == '#') {
                    in = in_t::comment;
                } else if (basicend || literalend) {
                    in = basicend ? in_t::basiclines : in_t::literallines;
                    i += 2;
                } else if (c == '"') {
                    in = in_t::basic;
                } else if (c == '\'') {
                    in = in_t::literal;
                }
                break;
            case in_t::basic:
            case in_t::basiclines:
                if (c == '\\' && rest.size() > 1 && rest[1] != '\n' && static_cast<unsigned char>(rest[1]) < 0x80)
                    ++i; // an escaped quote or backslash does not end the string
                else if (in == in_t::basic ? c == '"' : basicend)
                    in = in_t::text;
                break;
            case in_t::literal:
                if (c == '\'')
                    in = in_t::text;
                break;
            case in_t::literallines:
                if (literalend)
                    in = in_t::text;
                break;
            case in_t::comment:
                break;
            }
        }
        return true;
    }

    // A finite number, integer or not.
    bool number(const toml::node& node, const char* key, double& value)
    {
        if (!node.is_number()) {
            problem(node.source(), std::string(key) + " must be a number");
            return false;
        }
        value = node.value<double>().value_or(0.0);
        if (!std::isfinite(value)) {
            problem(node.source(), std::string(key) + " must be finite");
            return false;
        }
        return true;
    }

    bool notnegative(const toml::node& node, const char* key, double& value)
    {
        if (!number(node, key, value))
            return false;
        if (value < 0.0) {
            problem(node.source(), std::string(key) + " must not be negative");
            return false;
        }
        return true;
    }

    bool vector(const toml::node& node, const char* key, vec3_t& value)
    {
        const toml::array* array = node.as_array();
        if (array == nullptr || array->size() != 3) {
            problem(node.source(), std::string(key) + " must be an array of three numbers [x, y, z]");
            return false;
        }
        double v[3];
        for (std::size_t i = 0; i < 3; ++i)
            if (!number((*array)[i], key, v[i]))
                return false;
        value = {v[0], v[1], v[2]};
        return true;
    }

    bool color(const toml::node& node, geokit::color3a_t& value)
    {
        const toml::array* array = node.as_array();
        if (array == nullptr || (array->size() != 3 && array->size() != 4)) {
            problem(node.source(), "color must be an array [red, green, blue] or [red, green, blue, alpha]");
            return false;
        }
        float c[4] = {0.0f, 0.0f, 0.0f, 1.0f};
        for (std::size_t i = 0; i < array->size(); ++i) {
            double v = 0.0;
            if (!number((*array)[i], "a color component", v))
                return false;
            if (v < 0.0 || v > 1.0) {
                problem((*array)[i].source(), "a color component must lie from 0 to 1");
                return false;
            }
            c[i] = static_cast<float>(v);
        }
        value = {c[0], c[1], c[2], c[3]};
        return true;
    }

    bool count(const toml::node& node, std::size_t& value)
    {
        if (!node.is_integer()) {
            problem(node.source(), "count must be a whole number");
            return false;
        }
        const std::int64_t n = node.value<std::int64_t>().value_or(0);
        if (n < 1) {
            problem(node.source(), "count must be at least 1");
            return false;
        }
        if (static_cast<std::uint64_t>(n) > maxshells) {
            problem(node.source(), "count " + std::to_string(n) + " exceeds the limit of "
                                       + std::to_string(maxshells) + " shells in a show");
            return false;
        }
        value = static_cast<std::size_t>(n);
        return true;
    }

    bool readentry(toml::table& table, entry_t& entry)
    {
        const std::size_t before = m_problems.size();
        const toml::node* kind = table.get("kind");
        if (kind == nullptr) {
            problem(table.source(), "the shell has no kind (" + std::string(kindchoice) + ")");
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
            problem(kind->source(), name ? "unknown kind \"" + std::string(*name) + "\" (choose " + kindchoice + ")"
                                         : std::string("kind must be a string: ") + kindchoice);
            return false;
        }
        if (table.get("time") == nullptr)
            problem(table.source(), "the shell has no time");
        if (entry.kind == kind_t::scene && table.get("file") == nullptr)
            problem(table.source(), "a scene shell needs a file");

        for (auto&& [key, node] : table) {
            const std::string_view k = key.str();
            bool common = false;
            for (const char* c : commonkeys)
                common = common || k == c;
            if (!common && !accepts(entry.kind, k)) {
                bool exists = false;
                for (const kindinfo_t& info : kinds)
                    exists = exists || accepts(info.kind, k);
                problem(key.source(), exists ? "'" + std::string(k) + "' does not apply to a " + kindname(entry.kind)
                                                   + " shell"
                                             : "unknown key '" + std::string(k) + "' (known: " + knownkeys + ")");
                continue;
            }
            if (k == "time")
                notnegative(node, "time", entry.time);
            else if (k == "position")
                vector(node, "position", entry.position);
            else if (k == "velocity")
                entry.hasvelocity = vector(node, "velocity", entry.velocity);
            else if (k == "fuse")
                entry.hasfuse = notnegative(node, "fuse", entry.fuse);
            else if (k == "color")
                entry.hascolor = color(node, entry.color);
            else if (k == "speed")
                notnegative(node, "speed", entry.speed);
            else if (k == "count")
                count(node, entry.count);
            else if (k == "interval")
                notnegative(node, "interval", entry.interval);
            else if (k == "step")
                vector(node, "step", entry.step);
            else if (k == "file")
                scenefile(node, entry);
        }
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
            problem(node.source(), "'music' must be a table [music] with file, offset and gain");
            return;
        }
        const toml::node* file = table->get("file");
        if (file == nullptr)
            problem(table->source(), "the music has no file");
        for (auto&& [key, value] : *table) {
            const std::string_view k = key.str();
            if (k == "file") {
                const std::optional<std::string_view> name = value.value<std::string_view>();
                if (!name || name->empty()) {
                    problem(value.source(), "file must name a music file");
                    continue;
                }
                const std::filesystem::path path(*name);
                music.file = (path.is_absolute() ? path : m_folder / path).string();
                music.line = value.source().begin.line;
                music.column = value.source().begin.column;
                music.showfile = m_path;
            } else if (k == "offset") {
                if (number(value, "offset", music.offset) && std::fabs(music.offset) > maxmusicoffset)
                    problem(value.source(), "offset must lie within " + std::to_string(int(maxmusicoffset))
                                                + " s either side of the show's start");
            } else if (k == "gain") {
                if (notnegative(value, "gain", music.gain) && music.gain > maxmusicgain)
                    problem(value.source(), "gain must be at most " + std::to_string(int(maxmusicgain)));
            } else {
                problem(key.source(), "unknown key '" + std::string(k) + "' (music takes file, offset, gain)");
            }
        }
    }

    static std::string kindname(kind_t kind)
    {
        for (const kindinfo_t& info : kinds)
            if (info.kind == kind)
                return info.name;
        return {};
    }

    // Reads each named scene file once; its problem is reported where it is named.
    void scenefile(const toml::node& node, entry_t& entry)
    {
        const std::optional<std::string_view> name = node.value<std::string_view>();
        if (!name || name->empty()) {
            problem(node.source(), "file must name a scene file");
            return;
        }
        const std::filesystem::path file(*name);
        entry.file = (file.is_absolute() ? file : m_folder / file).string();
        if (m_scenes.count(entry.file) != 0)
            return;
        fileformat_t format = fileformat_t::scene;
        if (sniffformat(entry.file.c_str(), format) && format == fileformat_t::show) {
            problem(node.source(), "scene file: " + entry.file + " is a show file; a show includes scene files only");
            return;
        }
        std::vector<firework_t> scene;
        std::string message;
        if (!readscenefile(entry.file.c_str(), scene, message, m_progress)) {
            problem(node.source(), "scene file: " + message);
            return;
        }
        m_scenes.emplace(entry.file, std::move(scene));
    }

    // Shells a repetition adds, and the time of the last: both bounded.
    bool limits(const toml::table& table, const entry_t& entry)
    {
        std::size_t each = 1;
        if (entry.kind == kind_t::random)
            each = 23;
        else if (entry.kind == kind_t::miniexhibition)
            each = 5;
        else if (entry.kind == kind_t::scene)
            each = m_scenes.at(entry.file).size();
        const toml::node* count = table.get("count");
        const toml::source_region& where = count != nullptr ? count->source() : table.source();
        if (each != 0 && (entry.count > maxshells / each || m_total + entry.count * each > maxshells)) {
            problem(where, "this would make the show hold more than " + std::to_string(maxshells) + " shells");
            return false;
        }
        m_total += entry.count * each;
        const double last = entry.time + static_cast<double>(entry.count - 1) * entry.interval;
        if (!std::isfinite(static_cast<float>(last))) {
            problem(where, "the last repetition's time is too large");
            return false;
        }
        return true;
    }

    // Built once per distinct kind, colour and speed.
    using designkey_t = std::tuple<kind_t, float, float, float, float, float>;

    struct made_t {
        firework_t header; // the maker's shell, without its fires
        std::size_t design = 0;
    };

    const made_t& made(show_t& show, const entry_t& entry)
    {
        const geokit::color3a_t& c = entry.color;
        const designkey_t key{entry.kind, entry.hascolor ? c.r : -1.0f, c.g, c.b, c.a, static_cast<float>(entry.speed)};
        auto found = m_made.find(key);
        if (found != m_made.end())
            return found->second;
        std::vector<firework_t> scene;
        switch (entry.kind) {
        case kind_t::single:
            entry.hascolor ? makesingle(scene, c) : makesingle(scene);
            break;
        case kind_t::simple:
            makesimple(scene, static_cast<float>(entry.speed), entry.hascolor ? c : geokit::color3a_t{1, 1, 1, 1});
            break;
        case kind_t::blink:
            entry.hascolor ? makeblink(scene, c) : makeblink(scene);
            break;
        default:
            entry.hascolor ? makesusuki(scene, c) : makesusuki(scene);
            break;
        }
        made_t result;
        result.design = m_designs.add(show, std::move(scene[0].fires));
        result.header = std::move(scene[0]);
        result.header.fires = {};
        return m_made.emplace(key, std::move(result)).first->second;
    }

    static geokit::position3_t moved(const geokit::position3_t& p, const vec3_t& by)
    {
        return {static_cast<float>(p.x + by.x), static_cast<float>(p.y + by.y), static_cast<float>(p.z + by.z)};
    }

    // Headers and designs of a placed scene or built-in show, shifted in time and place.
    void place(show_t& show, const std::vector<firework_t>& headers, const std::vector<std::size_t>& designs,
               double time, const vec3_t& at)
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
        std::map<std::string, std::vector<std::size_t>> scenedesigns;
        std::vector<firework_t> placed;
        std::vector<std::size_t> designs;
        for (const entry_t& entry : entries) {
            for (std::size_t i = 0; i < entry.count; ++i) {
                const double n = static_cast<double>(i);
                const double time = entry.time + n * entry.interval;
                const vec3_t at{entry.position.x + n * entry.step.x, entry.position.y + n * entry.step.y,
                                entry.position.z + n * entry.step.z};
                if (isshell(entry.kind)) {
                    const made_t& maker = made(show, entry);
                    firework_t shell = maker.header;
                    shell.time = static_cast<float>(time);
                    shell.position = moved(shell.position, at);
                    if (entry.hasvelocity)
                        shell.velocity = {static_cast<float>(entry.velocity.x), static_cast<float>(entry.velocity.y),
                                          static_cast<float>(entry.velocity.z)};
                    if (entry.hasfuse)
                        shell.fuse = static_cast<float>(entry.fuse);
                    show.shells.push_back(std::move(shell));
                    show.design.push_back(maker.design);
                } else if (entry.kind == kind_t::scene) {
                    std::vector<firework_t>& scene = m_scenes.at(entry.file);
                    auto found = scenedesigns.find(entry.file);
                    if (found == scenedesigns.end()) {
                        share(show, scene, designs);
                        found = scenedesigns.emplace(entry.file, designs).first;
                    }
                    place(show, scene, found->second, time, at);
                } else {
                    // The random show draws new velocities at every placing.
                    placed.clear();
                    makebuiltin(entry.kind == kind_t::random ? "random" : "miniexhibition", placed);
                    share(show, placed, designs);
                    place(show, placed, designs, time, at);
                }
            }
        }
    }

    std::string m_path;
    std::filesystem::path m_folder;
    std::vector<std::string>& m_problems;
    std::size_t m_first = m_problems.size(); // this file's first problem
    std::vector<std::pair<std::size_t, std::size_t>> m_positions; // of this file's problems, in order
    const readprogress_t& m_progress;
    std::map<std::string, std::vector<firework_t>> m_scenes;
    std::size_t m_total = 0;
    designindex_t m_designs;
    std::map<designkey_t, made_t> m_made;
};

// Names from the file and the parser's quote of the character it saw may hold
// line ends: a problem stays on one line.
std::string oneline(std::string_view text)
{
    std::string line;
    for (char c : text) {
        if (c == '\n')
            line += "\\n";
        else if (c == '\r')
            line += "\\r";
        else if (c == '\t')
            line += "\\t";
        else
            line += c;
    }
    return line;
}

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

bool sniffformat(const char* path, fileformat_t& format)
{
    std::error_code error;
    if (std::filesystem::is_directory(path, error))
        return false;
    std::ifstream is(path, std::ios::binary);
    if (!is)
        return false;
    char buffer[256];
    is.read(buffer, sizeof buffer);
    std::string_view line(buffer, static_cast<std::size_t>(is.gcount()));
    if (is.bad())
        return false;
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
    return oneline(music.showfile + ":" + std::to_string(music.line) + ":" + std::to_string(music.column)
                   + ": music file: " + music.file + ": " + reason);
}

bool readshowfile(const char* path, show_t& show, std::vector<std::string>& problems, const readprogress_t& progress)
{
    reader_t reader(path, problems, progress);
    return reader.readfile(show);
}

bool readshowtext(const std::string& text, const char* path, show_t& show, std::vector<std::string>& problems,
                  const readprogress_t& progress)
{
    if (text.size() > maxshowbytes) {
        problems.push_back(std::string(path) + ": a show file may hold at most " + std::to_string(maxshowbytes >> 20)
                           + " MB");
        return false;
    }
    reader_t reader(path, problems, progress);
    return reader.read(text, show);
}

} // namespace vexlor
