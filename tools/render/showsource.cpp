// The built-in shows by name, and scene files checked before they are loaded.
#include "tools/render/showsource.h"

#include "firework/loadsave.h"
#include "firework/sample.h"
#include "firework/scenecheck.h"

#include <filesystem>
#include <functional>
#include <map>

namespace vexlor {
namespace {

using maker_t = std::function<void(std::vector<firework_t>&)>;

const std::map<std::string, maker_t>& makers()
{
    static const std::map<std::string, maker_t> table{
        {"single", makesingle},
        {"simple", [](std::vector<firework_t>& scene) { makesimple(scene, 6.25f, {1.0f, 1.0f, 1.0f, 1.0f}); }},
        {"random", makerandom},
        {"miniexhibition", makeminiexhibition},
        {"blink", makeblink},
        {"susuki", makesusuki},
    };
    return table;
}

// load() trusts its input; a broken file must never reach it.
bool openscenefile(const std::string& path, std::vector<firework_t>& scene, std::string& message)
{
    if (!check(path.c_str(), message)) return false;
    if (!load(path.c_str(), scene)) {
        message = path + ": cannot load the scene";
        return false;
    }
    return true;
}

} // namespace

const std::vector<std::string>& builtinshows()
{
    static const std::vector<std::string> names{"single", "simple", "random", "miniexhibition", "blink",
                                                "susuki"};
    return names;
}

bool openshow(const std::string& arg, std::vector<firework_t>& scene, std::string& message)
{
    scene.clear();
    // A file of that name wins over a built-in show.
    std::error_code ec;
    const auto maker = makers().find(arg);
    if (maker != makers().end() && !std::filesystem::exists(arg, ec)) {
        maker->second(scene);
        return true;
    }
    return openscenefile(arg, scene, message);
}

} // namespace vexlor
