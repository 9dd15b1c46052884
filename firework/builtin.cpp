// The table of built-in shows shared by the viewer and the tools.
#include "firework/builtin.h"

#include "firework/sample.h"

namespace vexlor {

namespace {

struct builtin_t {
    const char* name;
    void (*make)(std::vector<firework_t>&);
};

const builtin_t builtins[] = {
    {"single", [](std::vector<firework_t>& scene) { makesingle(scene); }},
    {"simple", [](std::vector<firework_t>& scene) { makesimple(scene, 6.25f, {1.0f, 1.0f, 1.0f, 1.0f}); }},
    {"random", [](std::vector<firework_t>& scene) { makerandom(scene); }},
    {"miniexhibition", [](std::vector<firework_t>& scene) { makeminiexhibition(scene); }},
    {"blink", [](std::vector<firework_t>& scene) { makeblink(scene); }},
    {"susuki", [](std::vector<firework_t>& scene) { makesusuki(scene); }},
};

} // namespace

const std::vector<std::string>& builtinnames()
{
    static const std::vector<std::string> names = [] {
        std::vector<std::string> list;
        for (const builtin_t& builtin : builtins)
            list.emplace_back(builtin.name);
        return list;
    }();
    return names;
}

std::string builtinchoice()
{
    std::string text;
    const std::vector<std::string>& names = builtinnames();
    for (std::size_t i = 0; i < names.size(); ++i)
        text += (i == 0 ? "" : i + 1 == names.size() ? " or " : ", ") + names[i];
    return text;
}

bool makebuiltin(const std::string& name, std::vector<firework_t>& scene)
{
    for (const builtin_t& builtin : builtins) {
        if (name == builtin.name) {
            builtin.make(scene);
            return true;
        }
    }
    return false;
}

} // namespace vexlor
