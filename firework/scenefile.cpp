// Scene files as the show-file reader and openshow() read them: regular files
// only, through the strict one-pass reader.
#include "firework/scenefile.h"

#include "firework/scenereader.h"

namespace vexlor {

bool readscenefile(const char* path, std::vector<firework_t>& scene, std::string& message,
                   const readprogress_t& progress)
{
    scene.clear();
    return readscene(path, scene, message, progress);
}

} // namespace vexlor
