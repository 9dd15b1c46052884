// What a render plays: whatever the viewer would open under that name (a show
// file, a scene file or a built-in show), expanded into a plain scene.
#include "tools/render/showsource.h"

#include "firework/builtin.h"
#include "firework/openshow.h"

namespace vexlor {

const std::vector<std::string>& builtinshows()
{
    return builtinnames();
}

bool openshow(const std::string& arg, std::vector<firework_t>& scene, std::string& message)
{
    music_t music;
    return openshow(arg, scene, music, message);
}

bool openshow(const std::string& arg, std::vector<firework_t>& scene, music_t& music, std::string& message)
{
    scene.clear();
    show_t show;
    if (!openshow(arg, show, message)) return false;
    scene = expand(show);
    music = std::move(show.music);
    return true;
}

} // namespace vexlor
