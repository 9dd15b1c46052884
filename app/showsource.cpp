// Opening what the user names: a built-in show or a scene file, read strictly.
#include "app/showsource.h"

#include "firework/sample.h"
#include "firework/scenereader.h"

#include <iostream>
#include <string>

namespace vexlor {

bool openshow(const char* path, std::vector<firework_t>& scene)
{
    if (!path) {
        makesusuki(scene);
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
