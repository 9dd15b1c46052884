// Look names and settings: the command line's form, its checks, and the rule
// that what the command line names wins over the show file.
#include "firework/look.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <vector>

namespace vexlor {

namespace {

template <typename T> struct word_t {
    const char* word;
    T value;
};

const word_t<lookname_t> lookwords[] = {{"plain", lookname_t::plain}, {"night", lookname_t::night}};
const word_t<sky_t> skywords[] = {{"night", sky_t::night}, {"dusk", sky_t::dusk}};
const word_t<horizon_t> horizonwords[] = {{"skyline", horizon_t::skyline}, {"hills", horizon_t::hills}};

template <typename T, std::size_t N> bool findword(const word_t<T> (&words)[N], std::string_view word, T& value)
{
    for (const auto& w : words)
        if (word == w.word) {
            value = w.value;
            return true;
        }
    return false;
}

template <typename T, std::size_t N> const char* wordof(const word_t<T> (&words)[N], T value)
{
    for (const auto& w : words)
        if (w.value == value) return w.word;
    return "";
}

// A whole finite number in the C form, whatever the locale.
bool readnumber(std::string_view text, double& value)
{
    const char* first = text.data();
    const char* last = first + text.size();
    if (first != last && *first == '+') ++first;
    const auto [end, error] = std::from_chars(first, last, value);
    return first != last && error == std::errc() && end == last && std::isfinite(value);
}

std::string number(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%g", value);
    return text;
}

std::vector<std::string_view> split(std::string_view text, char separator)
{
    std::vector<std::string_view> parts;
    for (;;) {
        const std::size_t at = text.find(separator);
        parts.push_back(text.substr(0, at));
        if (at == std::string_view::npos) return parts;
        text.remove_prefix(at + 1);
    }
}

bool readswitch(std::string_view key, std::string_view value, bool hasvalue, bool& on, std::string& problem)
{
    if (!hasvalue || value == "true") {
        on = true;
        return true;
    }
    if (value == "false") {
        on = false;
        return true;
    }
    problem = std::string(key) + "=" + std::string(value) + ": " + std::string(key) + " takes true or false";
    return false;
}

bool readwind(std::string_view value, geokit::direction3_t& wind, std::string& problem)
{
    const std::vector<std::string_view> parts = split(value, ':');
    double v[3] = {0.0, 0.0, 0.0};
    bool ok = parts.size() == 1 || parts.size() == 3;
    for (std::size_t i = 0; ok && i < parts.size(); ++i) ok = readnumber(parts[i], v[i]);
    if (!ok) {
        problem = "wind=" + std::string(value) + ": the wind is X or X:Y:Z in m/s (x to the right, y away, z up)";
        return false;
    }
    if (const std::string why = windproblem(v[0], v[1], v[2]); !why.empty()) {
        problem = "wind=" + std::string(value) + ": " + why;
        return false;
    }
    wind = {static_cast<float>(v[0]), static_cast<float>(v[1]), static_cast<float>(v[2])};
    return true;
}

} // namespace

bool findlookname(std::string_view word, lookname_t& name) { return findword(lookwords, word, name); }
bool findsky(std::string_view word, sky_t& sky) { return findword(skywords, word, sky); }
bool findhorizon(std::string_view word, horizon_t& horizon) { return findword(horizonwords, word, horizon); }
const char* lookname(lookname_t name) { return wordof(lookwords, name); }
const char* skyname(sky_t sky) { return wordof(skywords, sky); }
const char* horizonname(horizon_t horizon) { return wordof(horizonwords, horizon); }

std::string windproblem(double x, double y, double z)
{
    if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(z)) return "the wind must be finite";
    const double speed = std::sqrt(x * x + y * y + z * z);
    if (speed > maxwind)
        return "a wind of " + number(speed) + " m/s is too strong (at most " + number(maxwind) + " m/s)";
    return {};
}

std::string glowproblem(double glow)
{
    if (!std::isfinite(glow) || glow < 0.0 || glow > maxglow)
        return "glow must lie from 0 to " + number(maxglow);
    return {};
}

bool parselook(std::string_view text, lookchoice_t& choice, std::string& problem)
{
    choice = lookchoice_t{};
    const std::vector<std::string_view> items = split(text, ',');
    if (!findlookname(items[0], choice.look.name)) {
        problem = items[0].empty() ? std::string("no look named (choose ") + lookchoices + ")"
                                   : "unknown look '" + std::string(items[0]) + "' (choose " + lookchoices + ")";
        return false;
    }
    choice.fields = look_name;
    for (std::size_t i = 1; i < items.size(); ++i) {
        const std::string_view item = items[i];
        const std::size_t equals = item.find('=');
        const std::string_view key = item.substr(0, equals);
        const bool hasvalue = equals != std::string_view::npos;
        const std::string_view value = hasvalue ? item.substr(equals + 1) : std::string_view{};
        look_t& look = choice.look;
        bool ok = true;
        unsigned field = 0;
        if (key == "water") {
            field = look_water;
            ok = readswitch(key, value, hasvalue, look.water, problem);
        } else if (key == "smoke") {
            field = look_smoke;
            ok = readswitch(key, value, hasvalue, look.smoke, problem);
        } else if (key == "wind") {
            field = look_wind;
            ok = readwind(value, look.wind, problem);
        } else if (key == "sky") {
            field = look_sky;
            ok = findsky(value, look.sky);
            if (!ok) problem = "sky=" + std::string(value) + ": unknown sky (choose " + skychoices + ")";
        } else if (key == "horizon") {
            field = look_horizon;
            ok = findhorizon(value, look.horizon);
            if (!ok) problem = "horizon=" + std::string(value) + ": unknown horizon (choose " + horizonchoices + ")";
        } else if (key == "glow") {
            field = look_glow;
            double glow = 0.0;
            if (!readnumber(value, glow)) {
                ok = false;
                problem = "glow=" + std::string(value) + ": glow takes a number from 0 to " + number(maxglow);
            } else if (const std::string why = glowproblem(glow); !why.empty()) {
                ok = false;
                problem = "glow=" + std::string(value) + ": " + why;
            }
            look.glow = static_cast<float>(glow);
        } else {
            problem = "unknown setting '" + std::string(item) + "' (settings: " + looksettings + ")";
            return false;
        }
        if (!ok) return false;
        choice.fields |= field;
    }
    return true;
}

look_t chooselook(const look_t& show, const lookchoice_t& choice)
{
    look_t look = show;
    const look_t& over = choice.look;
    const unsigned f = choice.fields;
    if (f & look_name) look.name = over.name;
    if (f & look_water) look.water = over.water;
    if (f & look_wind) look.wind = over.wind;
    if (f & look_sky) look.sky = over.sky;
    if (f & look_horizon) look.horizon = over.horizon;
    if (f & look_smoke) look.smoke = over.smoke;
    if (f & look_glow) look.glow = over.glow;
    return look;
}

std::string describelook(const look_t& look)
{
    std::string text = lookname(look.name);
    if (!look.night()) return text;
    if (look.water) text += ", water";
    const geokit::direction3_t& w = look.wind;
    text += ", wind " + number(w.x) + ":" + number(w.y) + ":" + number(w.z) + " m/s";
    text += std::string(", sky ") + skyname(look.sky) + ", horizon " + horizonname(look.horizon);
    text += look.smoke ? ", smoke" : ", no smoke";
    text += ", glow " + number(look.glow);
    return text;
}

} // namespace vexlor
