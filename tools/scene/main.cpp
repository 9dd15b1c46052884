// vexlor-scene: the shows the viewer cannot build by itself, as scene files,
// and a look into scene files before the viewer plays them.
// Exit status: 0 done, 1 the file is bad or cannot be written, 2 usage error
// (an empty file name included).
#include "firework/evaluate.h"
#include "firework/loadsave.h"
#include "firework/sample.h"
#include "firework/scenereader.h"
#include "firework/sceneinfo.h"

#include <cstdio>
#include <cstring>
#include <functional>
#include <iostream>
#include <string>
#include <vector>

namespace {

using vexlor::firework_t;

constexpr const char* program = "vexlor-scene";

const char* const helptext =
    "Usage: vexlor-scene make SHOW FILE\n"
    "       vexlor-scene check FILE\n"
    "       vexlor-scene info FILE\n"
    "Writes the built-in shows of the vexlor fireworks viewer to scene files,\n"
    "checks scene files and tells what is in them.\n"
    "\n"
    "  make SHOW FILE  write the show SHOW to FILE; SHOW is one of\n"
    "                  single, simple, random, miniexhibition, blink, susuki\n"
    "  check FILE      check that the viewer can load FILE; a problem is printed\n"
    "                  as FILE:LINE: what is wrong\n"
    "  info FILE       print the counts of fireworks, fires, powders and films,\n"
    "                  the show's length until nothing is left to draw and the\n"
    "                  largest number of points in one frame (60 frames a second)\n"
    "  --help          print this help\n"
    "\n"
    "Exit status: 0 done, 1 bad or unwritable file, 2 usage error.\n";

struct show_t {
    const char* name;
    std::function<void(std::vector<firework_t>&)> make;
};

const std::vector<show_t>& shows()
{
    static const std::vector<show_t> list{
        {"single", vexlor::makesingle},
        {"simple", [](std::vector<firework_t>& scene) { vexlor::makesimple(scene, 6.25f, {1.0f, 1.0f, 1.0f, 1.0f}); }},
        {"random", vexlor::makerandom},
        {"miniexhibition", vexlor::makeminiexhibition},
        {"blink", vexlor::makeblink},
        {"susuki", vexlor::makesusuki},
    };
    return list;
}

int usage(const std::string& problem)
{
    std::cerr << program << ": " << problem << "; try '" << program << " --help'." << std::endl;
    return 2;
}

int make(const char* name, const char* path)
{
    for (const show_t& show : shows()) {
        if (std::strcmp(show.name, name) != 0)
            continue;
        std::vector<firework_t> scene;
        show.make(scene);
        if (!vexlor::save(path, scene)) {
            std::cerr << path << ": cannot write the file" << std::endl;
            return 1;
        }
        return 0;
    }
    return usage(std::string("unknown show \"") + name
                 + "\" (choose single, simple, random, miniexhibition, blink or susuki)");
}

// The viewer's own reader: what passes here, the viewer plays.
bool read(const char* path, std::vector<firework_t>& scene)
{
    std::string message;
    if (vexlor::readscene(path, scene, message))
        return true;
    std::cerr << message << std::endl;
    return false;
}

int check(const char* path)
{
    std::vector<firework_t> scene;
    return read(path, scene) ? 0 : 1;
}

int info(const char* path)
{
    std::vector<firework_t> scene;
    if (!read(path, scene))
        return 1;
    const vexlor::scenecounts_t counts = vexlor::countscene(scene);
    std::cout << "fireworks: " << counts.fireworks << '\n'
              << "fires: " << counts.fires << '\n'
              << "powders: " << counts.powders << '\n'
              << "films: " << counts.films << '\n'
              << "points reserved: " << vexlor::primitivecount(scene) << '\n';
    const vexlor::showrun_t run = vexlor::runshow(scene);
    char line[128];
    if (run.ends)
        std::snprintf(line, sizeof line, "length: %.3f s\n", static_cast<double>(run.length));
    else
        std::snprintf(line, sizeof line, "length: does not end within 3600 s\n");
    std::cout << line;
    std::snprintf(line, sizeof line, "largest frame: %zu points at %.3f s\n", run.largest,
                  static_cast<double>(run.largestat));
    std::cout << line << "sounds: " << run.sounds << std::endl;
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2)
        return usage("no command given");
    const std::string command = argv[1];
    if (command == "--help" || command == "-h") {
        std::cout << helptext;
        return 0;
    }
    if (command == "make") {
        if (argc != 4)
            return usage("make takes a show and a file name");
        if (argv[3][0] == '\0')
            return usage("the file name is empty");
        return make(argv[2], argv[3]);
    }
    if (command == "check" || command == "info") {
        if (argc != 3)
            return usage(command + " takes one file name");
        if (argv[2][0] == '\0')
            return usage("the file name is empty");
        return command == "check" ? check(argv[2]) : info(argv[2]);
    }
    return usage("unknown command \"" + command + "\"");
}
