// [look] in show files: name, water, wind, sky, horizon, smoke and glow,
// checked with the same rules as --look.
#include "firework/lookfile.h"

#include <cmath>
#include <cstdio>
#include <optional>

namespace vexlor {

namespace {

const char* const tablekeys = "name, water, wind, sky, horizon, smoke, glow";

// ", not VALUE" for a value of the wrong kind: a short string or a number as
// it reads, otherwise what kind of value it is.
std::string saying(const toml::node& node)
{
    if (const std::optional<std::string_view> text = node.value_exact<std::string_view>())
        return text->size() <= 30 ? ", not \"" + std::string(*text) + "\"" : ", not a long string";
    if (const std::optional<bool> on = node.value_exact<bool>()) return *on ? ", not true" : ", not false";
    if (node.is_number()) {
        char text[32];
        std::snprintf(text, sizeof text, "%g", node.value<double>().value_or(0.0));
        return std::string(", not ") + text;
    }
    if (const toml::array* array = node.as_array())
        return ", not an array of " + std::to_string(array->size());
    if (node.is_table()) return ", not a table";
    return ", not a date or time";
}

class lookreader_t {
public:
    lookreader_t(look_t& look, const lookproblem_t& problem) : m_look(look), m_problem(problem) {}

    void read(const toml::node& node)
    {
        const toml::table* table = node.as_table();
        if (table == nullptr) {
            m_problem(node.source(), std::string("'look' must be a table [look] with ") + tablekeys + saying(node));
            return;
        }
        if (table->get("name") == nullptr)
            m_problem(table->source(), std::string("the look has no name (") + lookchoices + ")");
        for (auto&& [key, value] : *table) {
            const std::string_view k = key.str();
            if (k == "name")
                word(value, "name", "look", lookchoices, findlookname, m_look.name);
            else if (k == "water")
                flag(value, "water", m_look.water);
            else if (k == "smoke")
                flag(value, "smoke", m_look.smoke);
            else if (k == "wind")
                wind(value);
            else if (k == "sky")
                word(value, "sky", "sky", skychoices, findsky, m_look.sky);
            else if (k == "horizon")
                word(value, "horizon", "horizon", horizonchoices, findhorizon, m_look.horizon);
            else if (k == "glow")
                glow(value);
            else
                m_problem(key.source(), "unknown key '" + std::string(k) + "' (look takes " + tablekeys + ")");
        }
    }

private:
    // `key` names the value, `kind` what it chooses: name = "dawn" is an unknown look.
    template <typename T>
    void word(const toml::node& node, const char* key, const char* kind, const char* choices,
              bool (*find)(std::string_view, T&), T& value)
    {
        const std::optional<std::string_view> text = node.value<std::string_view>();
        if (!text) {
            m_problem(node.source(), std::string(key) + " must be a string: " + choices + saying(node));
            return;
        }
        if (!find(*text, value))
            m_problem(node.source(), "unknown " + std::string(kind) + " \"" + std::string(*text) + "\" (choose "
                                         + choices + ")");
    }

    void flag(const toml::node& node, const char* what, bool& value)
    {
        const std::optional<bool> on = node.value_exact<bool>();
        if (!on) {
            m_problem(node.source(), std::string(what) + " must be true or false" + saying(node));
            return;
        }
        value = *on;
    }

    bool finite(const toml::node& node, double& value)
    {
        if (!node.is_number()) return false;
        value = node.value<double>().value_or(0.0);
        return std::isfinite(value);
    }

    void wind(const toml::node& node)
    {
        const toml::array* array = node.as_array();
        double v[3] = {0.0, 0.0, 0.0};
        std::string wrong = array == nullptr || array->size() != 3 ? saying(node) : std::string();
        static const char* const which[] = {"x", "y", "z"};
        for (std::size_t i = 0; wrong.empty() && i < 3; ++i)
            if (!finite((*array)[i], v[i])) wrong = std::string(", and its ") + which[i] + " is not";
        if (!wrong.empty()) {
            m_problem(node.source(), "wind must be an array of three finite numbers [x, y, z] in m/s "
                                     "(x to the right, y away from the viewer, z up)" + wrong);
            return;
        }
        if (const std::string why = windproblem(v[0], v[1], v[2]); !why.empty()) {
            m_problem(node.source(), why);
            return;
        }
        m_look.wind = {static_cast<float>(v[0]), static_cast<float>(v[1]), static_cast<float>(v[2])};
    }

    void glow(const toml::node& node)
    {
        double value = 0.0;
        if (!finite(node, value)) {
            m_problem(node.source(), "glow must be a finite number from 0 to " + std::to_string(int(maxglow)) + saying(node));
            return;
        }
        if (const std::string why = glowproblem(value); !why.empty()) {
            m_problem(node.source(), why + saying(node));
            return;
        }
        m_look.glow = static_cast<float>(value);
    }

    look_t& m_look;
    const lookproblem_t& m_problem;
};

} // namespace

void readlooktable(const toml::node& node, look_t& look, const lookproblem_t& problem)
{
    lookreader_t(look, problem).read(node);
}

} // namespace vexlor
