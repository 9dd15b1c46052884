// Opening what the user names: the scene file's guard, then its loader.
#include "app/showsource.h"

#include "firework/loadsave.h"
#include "firework/sample.h"
#include "firework/scenecheck.h"

#include <iostream>
#include <string>

namespace vexlor {

bool openshow(const char* path, std::vector<firework_t>& scene)
{
    if (!path) {
        makesusuki(scene);
        return true;
    }
    // load() trusts its input; a broken file must never reach it.
    std::string problem;
    if (!check(path, problem)) {
        std::cerr << problem << std::endl;
        return false;
    }
    return load(path, scene);
}

} // namespace vexlor
