// Opening what the user names: a built-in show, a scene file read strictly or
// a show file with its music.
#include "app/showsource.h"

#include "firework/sample.h"
#include "firework/scenereader.h"
#include "firework/showfile.h"

#include <iostream>
#include <string>

namespace vexlor {

bool openshow(const char* path, std::vector<firework_t>& scene)
{
    music_t music;
    return openshow(path, scene, music);
}

bool openshow(const char* path, std::vector<firework_t>& scene, music_t& music)
{
    music = {};
    if (!path) {
        makesusuki(scene);
        return true;
    }
    fileformat_t format = fileformat_t::scene;
    if (sniffformat(path, format) && format == fileformat_t::show) {
        show_t show;
        std::vector<std::string> problems;
        if (!readshowfile(path, show, problems)) {
            std::cerr << (problems.empty() ? std::string(path) + ": cannot read the file" : problems.front())
                      << std::endl;
            return false;
        }
        scene = expand(show);
        music = std::move(show.music);
        return true;
    }
    std::string problem;
    if (!readscene(path, scene, problem)) {
        std::cerr << problem << std::endl;
        return false;
    }
    return true;
}

} // namespace vexlor
