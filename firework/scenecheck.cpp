// The check is the strict reader itself: one set of rules for what a scene
// file may hold, whether it is played or only looked at.
#include "firework/scenecheck.h"

#include "firework/scenereader.h"

#include <vector>

namespace vexlor {

bool check(const char* path, std::string& message)
{
    std::vector<firework_t> scene;
    return readscene(path, scene, message);
}

} // namespace vexlor
