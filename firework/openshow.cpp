// One entry for everything that names a show.
#include "firework/openshow.h"

#include "firework/builtin.h"
#include "firework/showfile.h"
#include "firework/showtiming.h"

#include <filesystem>
#include <vector>

namespace vexlor {

bool openshow(const std::string& arg, show_t& show, std::string& message, const readprogress_t& progress)
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
        show = std::move(read);
        return true;
    }
    std::vector<std::string> problems;
    show_t read;
    if (!readshowfile(arg.c_str(), read, problems, progress)) {
        message = problems.empty() ? arg + ": cannot read the file" : problems.front();
        return false;
    }
    show = std::move(read);
    return true;
}

} // namespace vexlor
