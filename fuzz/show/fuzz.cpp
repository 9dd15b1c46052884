// Fuzz target for show files. The invariant: any input either yields a show
// that can be played (at least one shell, at most maxshells, every header
// without stars and naming an existing design, every time, place and speed in
// its range) with no problem reported, or yields no show and at least one
// problem, each one line that starts with the file's name, short, and safe to
// print: nothing in it acts on a terminal. Nothing may crash, hang or
// allocate without bound; the sanitizers' undefined-behaviour checks stand
// for the parser's points marked unreachable.
#include "firework/evaluate.h"
#include "firework/showfile.h"
#include "firework/valueranges.h"

#include <cmath>
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

// No control character (C0, DEL, C1) nor bidirectional control, as UTF-8 bytes.
bool printable(const std::string& line)
{
    const auto* p = reinterpret_cast<const unsigned char*>(line.data());
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (p[i] < 0x20 || p[i] == 0x7f)
            return false;
        if (p[i] == 0xc2 && i + 1 < line.size() && p[i + 1] >= 0x80 && p[i + 1] <= 0x9f)
            return false;
        if (p[i] == 0xe2 && i + 2 < line.size() && p[i + 1] == 0x80 && ((p[i + 2] >= 0xaa && p[i + 2] <= 0xae) || p[i + 2] == 0x8e || p[i + 2] == 0x8f))
            return false;
        if (p[i] == 0xe2 && i + 2 < line.size() && p[i + 1] == 0x81 && p[i + 2] >= 0xa6 && p[i + 2] <= 0xa9)
            return false;
    }
    return true;
}

// A track as the programs' reader tells it, made up here so that every
// path through bursts and beats is reached without decoding sound: a minute
// long, a beat every half second from 0.25 s; a name with "bad" in it
// cannot be read.
bool track(const std::string& path, bool detect, double& seconds, double& bpm, std::vector<double>& beats,
           std::string& why)
{
    if (path.find("bad") != std::string::npos) {
        why = "not a sound file";
        return false;
    }
    seconds = 60.0;
    if (detect) {
        bpm = 120.0;
        for (double t = 0.25; t <= seconds; t += 0.5) beats.push_back(t);
    }
    return true;
}

bool within(double value, double most)
{
    return value >= -most && value <= most;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    vexlor::show_t show;
    std::vector<std::string> problems;
    const bool read = vexlor::readshowtext(text, name, show, problems, {}, track);
    if (!read) {
        require(!problems.empty() && show.shells.empty() && show.designs.empty());
        for (const std::string& problem : problems)
            require(problem.rfind(std::string(name) + ":", 0) == 0 && printable(problem) && problem.size() < 8192);
        return 0;
    }
    require(problems.empty() && !show.shells.empty() && show.shells.size() <= vexlor::maxshells);
    require(show.design.size() == show.shells.size());
    require(show.origin.size() == show.shells.size());
    for (std::uint32_t origin : show.origin) require(origin < show.origins.size());
    require(show.notes.empty() || show.notes.size() == show.shells.size());
    for (const vexlor::shellnote_t& note : show.notes)
        require(note.entry < show.entries.size());
    // Every star's effects are in the show's table.
    for (const std::vector<vexlor::fire_t>& design : show.designs)
        for (const vexlor::fire_t& fire : design)
            require(fire.effect <= show.effects.size());
    const vexlor::viewpoint_t& camera = show.camera;
    require(std::isfinite(camera.position.x) && std::isfinite(camera.position.y) && std::isfinite(camera.position.z)
            && std::isfinite(camera.target.x) && std::isfinite(camera.target.y) && std::isfinite(camera.target.z)
            && camera.fov >= vexlor::minfov && camera.fov <= vexlor::maxfov);
    for (std::size_t i = 0; i < show.shells.size(); ++i) {
        const vexlor::firework_t& shell = show.shells[i];
        require(shell.fires.empty() && show.design[i] < show.designs.size());
        // No scene file is ever found here: every shell comes from the makers.
        require(shell.time >= 0.0f && shell.time <= vexlor::maxshowtime + 3.0f);
        require(shell.fuse >= 0.0f && shell.fuse <= vexlor::maxfuse);
        require(within(shell.position.x, vexlor::maxdistance) && within(shell.position.y, vexlor::maxdistance)
                && within(shell.position.z, vexlor::maxdistance));
        require(within(shell.velocity.x, vexlor::maxspeed) && within(shell.velocity.y, vexlor::maxspeed)
                && within(shell.velocity.z, vexlor::maxspeed));
    }
    // One frame a little after the first launch: a readable show also plays.
    vexlor::evaluator_t evaluator;
    std::vector<vexlor::primitive_t> points;
    evaluator.evaluate(show, show.shells.front().time + 0.5f, points, [](std::size_t, vexlor::sound_t) {});
    return 0;
}
