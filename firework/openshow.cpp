// One entry for everything that names a show.
#include "firework/openshow.h"

#include "firework/builtin.h"
#include "firework/showfile.h"
#include "firework/showtiming.h"

#include <filesystem>
#include <vector>

namespace vexlor {

namespace {

// A scene file or a built-in show: one origin for every shell.
void oneorigin(show_t& show, const std::string& file, const std::string& kind)
{
    shellorigin_t origin;
    origin.file = file;
    origin.kind = kind;
    origin.count = show.shells.size();
    show.origins.push_back(std::move(origin));
    show.origin.assign(show.shells.size(), 0);
}

} // namespace

bool openshow(const std::string& arg, show_t& show, std::string& message, const readprogress_t& progress,
              const trackreader_t& tracks)
{
    std::error_code error;
    fileformat_t format = fileformat_t::show;
    if (!std::filesystem::exists(arg, error)) {
        std::vector<firework_t> scene;
        if (!makebuiltin(arg, scene)) {
            message = arg + ": no such file, nor a built-in show (" + builtinchoice() + ")";
            return false;
        }
        show = sharescene(std::move(scene));
        oneorigin(show, arg, "built-in show");
        return true;
    }
    if (!sniffformat(arg.c_str(), format, message))
        return false;
    if (format == fileformat_t::scene) {
        std::vector<firework_t> scene;
        if (!readscenefile(arg.c_str(), scene, message, progress))
            return false;
        show_t read = sharescene(std::move(scene));
        if (std::string why; !drawable(read, why)) {
            message = arg + ": " + why;
            return false;
        }
        oneorigin(read, arg, "scene file");
        read.files.push_back(arg);
        show = std::move(read);
        return true;
    }
    std::vector<std::string> problems;
    show_t read;
    if (!readshowfile(arg.c_str(), read, problems, progress, tracks)) {
        message = problems.empty() ? arg + ": cannot read the file" : problems.front();
        return false;
    }
    show = std::move(read);
    return true;
}

} // namespace vexlor
