// The checker first, so that the lenient loader only ever sees files it can
// read to the end.
#include "firework/scenefile.h"

#include "firework/loadsave.h"
#include "firework/scenecheck.h"

#include <filesystem>
#include <system_error>

namespace vexlor {

bool readscenefile(const char* path, std::vector<firework_t>& scene, std::string& message,
                   const readprogress_t& progress)
{
    scene.clear();
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    const std::uint64_t total = error ? 0 : size;
    const auto cancelled = [&](std::uint64_t done) {
        if (!progress || progress(done, total))
            return false;
        message = std::string(path) + ": reading cancelled";
        return true;
    };
    if (cancelled(0))
        return false;
    // A device or a pipe could be endless: only regular files are read.
    if (std::filesystem::exists(path, error) && !std::filesystem::is_regular_file(path, error)) {
        message = std::string(path) + ": not a regular file";
        return false;
    }
    if (!check(path, message))
        return false;
    if (!load(path, scene)) {
        scene.clear();
        message = std::string(path) + ": cannot read the file";
        return false;
    }
    if (cancelled(total)) {
        scene.clear();
        return false;
    }
    return true;
}

} // namespace vexlor
