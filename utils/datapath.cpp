// Data-file lookup for people who start the program from anywhere.
#include "utils/datapath.h"

#include "utils/futil.h"

#include <filesystem>
#include <system_error>

namespace basekit {
namespace {

bool isfile(const std::filesystem::path& path)
{
    std::error_code ec;
    return std::filesystem::is_regular_file(path, ec);
}

std::filesystem::path executabledir(const char* argv0)
{
    std::error_code ec;
    const auto self = std::filesystem::read_symlink("/proc/self/exe", ec);
    if (!ec) return self.parent_path();
    return argv0 ? dirname(std::string(argv0)) : std::string();
}

} // namespace

std::string finddata(const std::string& name, const char* argv0)
{
    if (isfile(name)) return name;
    const auto beside = executabledir(argv0) / name;
    if (isfile(beside)) return beside.string();
    // An installed tree moved elsewhere (a staging directory, another prefix)
    // still keeps its data at the same place relative to its programs.
    const auto relocated = (executabledir(argv0) / VEXLOR_DATADIR_FROM_BINDIR / name).lexically_normal();
    if (isfile(relocated)) return relocated.string();
    const auto installed = std::filesystem::path(VEXLOR_DATADIR) / name;
    if (isfile(installed)) return installed.string();
    return name;
}

} // namespace basekit
