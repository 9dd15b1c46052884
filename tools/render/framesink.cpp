// Choosing the sink by the output's name.
#include "tools/render/framesink.h"

#include "tools/render/ffmpegsink.h"
#include "tools/render/pngsink.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace vexlor {
namespace {

bool endswith(const std::string& text, const std::string& tail)
{
    return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

} // namespace

outputkind_t outputkind(const std::string& output)
{
    if (endswith(output, "/")) return outputkind_t::directory;
    if (endswith(output, ".mp4")) return outputkind_t::mp4;
    if (endswith(output, ".webm")) return outputkind_t::webm;
    return outputkind_t::none;
}

std::string framename(std::size_t k)
{
    char name[32];
    std::snprintf(name, sizeof name, "frame%06zu.png", k);
    return name;
}

bool isframename(const std::string& name)
{
    // "frame" six digits ".png", as framename() writes them.
    if (name.size() != 15 || name.compare(0, 5, "frame") != 0 || name.compare(11, 4, ".png") != 0) return false;
    for (std::size_t i = 5; i < 11; ++i)
        if (name[i] < '0' || name[i] > '9') return false;
    return true;
}

std::string partialname(const std::string& folder, const std::string& name, const std::string& suffix)
{
    const long most = pathconf(folder.empty() ? "." : folder.c_str(), _PC_NAME_MAX);
    const std::string tail = ".partial-" + std::to_string(getpid()) + suffix;
    const std::size_t longest = static_cast<std::size_t>(most > 0 ? most : 255);
    const std::size_t room = longest > tail.size() + 1 ? longest - 1 - tail.size() : 0;
    std::size_t cut = std::min(name.size(), room);
    while (cut > 0 && cut < name.size() && (static_cast<unsigned char>(name[cut]) & 0xc0u) == 0x80u) --cut;
    return "." + name.substr(0, cut) + tail;
}

// An output that is a symbolic link is written through it, as a shell's
// redirection and cp write through one: the link is how its owner chose to
// name where the video goes (a folder on another disk, a file others link
// to). Renaming the finished file onto the link would replace the link
// instead and leave its target as it was. The chain is followed to its end,
// relative links from the folder that holds each.
std::string writtenpath(const std::string& output)
{
    namespace fs = std::filesystem;
    // "out/" names the folder "out", itself perhaps a link.
    const bool folder = !output.empty() && output.back() == '/';
    fs::path target = folder ? fs::path(output).parent_path() : fs::path(output);
    for (int hops = 0; hops < 40; ++hops) {
        std::error_code ec;
        if (target.empty() || !fs::is_symlink(target, ec)) break;
        const fs::path link = fs::read_symlink(target, ec);
        if (ec) break;
        target = link.is_absolute() ? link : target.parent_path() / link;
    }
    return target.string() + (folder ? "/" : "");
}

std::unique_ptr<framesink_t> makesink(const std::string& output, const sinkformat_t& format,
                                      std::string& message)
{
    switch (outputkind(output)) {
    case outputkind_t::directory: return makepngsink(writtenpath(output), format, message);
    case outputkind_t::mp4:
    case outputkind_t::webm: return makeffmpegsink(writtenpath(output), outputkind(output), format, message);
    case outputkind_t::none: break;
    }
    message = output + ": unknown kind of output (name a .mp4 or .webm file, or a directory ending in /)";
    return nullptr;
}

} // namespace vexlor
