// Fuzz target for show files. The invariant: any input either yields a show
// that can be played (at least one shell, at most maxshells, every header
// without stars and naming an existing design) with no problem reported, or
// yields no show and at least one problem, each one line that starts with the
// file's name. Nothing may crash, hang or allocate without bound.
#include "firework/evaluate.h"
#include "firework/showfile.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr const char* name = "/nonexistent-fuzz-folder/show.toml"; // included scene files are never found

void require(bool condition)
{
    if (!condition)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    vexlor::show_t show;
    std::vector<std::string> problems;
    const bool read = vexlor::readshowtext(text, name, show, problems);
    if (!read) {
        require(!problems.empty() && show.shells.empty() && show.designs.empty());
        for (const std::string& problem : problems)
            require(problem.rfind(std::string(name) + ":", 0) == 0 && problem.find('\n') == std::string::npos);
        return 0;
    }
    require(problems.empty() && !show.shells.empty() && show.shells.size() <= vexlor::maxshells);
    require(show.design.size() == show.shells.size());
    for (std::size_t i = 0; i < show.shells.size(); ++i)
        require(show.shells[i].fires.empty() && show.design[i] < show.designs.size());
    // One frame a little after the first launch: a readable show also plays.
    vexlor::evaluator_t evaluator;
    std::vector<vexlor::primitive_t> points;
    evaluator.evaluate(show, show.shells.front().time + 0.5f, points, [](std::size_t, vexlor::sound_t) {});
    return 0;
}
