// Scene files as the show-file reader and openshow() read them: regular files
// only, through the strict one-pass reader.
#include "firework/scenefile.h"

#include "firework/scenereader.h"

#include <filesystem>
#include <system_error>

namespace vexlor {

bool readscenefile(const char* path, std::vector<firework_t>& scene, std::string& message,
                   const readprogress_t& progress)
{
    scene.clear();
    // A device or a pipe could be endless: only regular files are read.
    std::error_code error;
    if (std::filesystem::exists(path, error) && !std::filesystem::is_regular_file(path, error)) {
        message = std::string(path) + ": not a regular file";
        return false;
    }
    return readscene(path, scene, message, progress);
}

} // namespace vexlor
