// Choosing the sink by the output's name.
#include "tools/render/framesink.h"

#include "tools/render/ffmpegsink.h"
#include "tools/render/pngsink.h"

#include <cstdio>

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

std::unique_ptr<framesink_t> makesink(const std::string& output, const sinkformat_t& format,
                                      std::string& message)
{
    switch (outputkind(output)) {
    case outputkind_t::directory: return makepngsink(output, format, message);
    case outputkind_t::mp4:
    case outputkind_t::webm: return makeffmpegsink(output, outputkind(output), format, message);
    case outputkind_t::none: break;
    }
    message = output + ": unknown kind of output (name a .mp4 or .webm file, or a directory ending in /)";
    return nullptr;
}

} // namespace vexlor
