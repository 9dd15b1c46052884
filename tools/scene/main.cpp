// vexlor-scene: the built-in shows as scene files, show files expanded into
// scene files, a look into either before the viewer plays them, and the
// beats of a music track.
// Exit status: 0 done, 1 the file is bad or cannot be written, 2 usage error
// (an empty file name included).
#include "audio/musicstream.h"
#include "audio/trackscan.h"
#include "firework/builtin.h"
#include "firework/loadsave.h"
#include "firework/openshow.h"
#include "firework/scenecheck.h"
#include "firework/sceneinfo.h"
#include "firework/showbeats.h"
#include "firework/showfile.h"
#include "firework/showtiming.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
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
    "       vexlor-scene expand SHOWFILE SCENEFILE\n"
    "       vexlor-scene beats TRACK\n"
    "Writes the built-in shows of the vexlor fireworks viewer to scene files,\n"
    "checks show and scene files, tells what is in them and expands show files\n"
    "into scene files, and finds the beats of music tracks. Show and scene files\n"
    "are told apart by their content.\n"
    "\n"
    "  make SHOW FILE      write the show SHOW to FILE; SHOW is one of\n"
    "                      single, simple, random, miniexhibition, blink, susuki\n"
    "  check FILE          check that the viewer can play FILE; every problem is\n"
    "                      printed as FILE:LINE:COLUMN: what is wrong (scene\n"
    "                      files: FILE:LINE: what is wrong), the music file\n"
    "                      included\n"
    "  info FILE           print the counts of fireworks, distinct designs, fires,\n"
    "                      powders and films, the show's length (until its last\n"
    "                      spark has burnt out, gaps included), the largest\n"
    "                      number of points in one frame (60 frames a second),\n"
    "                      and the music's file, length and format; when the\n"
    "                      music has beats, the beat each shell breaks on;\n"
    "                      FILE may also name a built-in show\n"
    "  expand SHOW SCENE   write SHOW (a show file, scene file or built-in show)\n"
    "                      as the scene file SCENE\n"
    "  beats TRACK         find the beats of the music file TRACK: print its\n"
    "                      tempo, then the time of every beat in seconds from\n"
    "                      the track's start, one a line (beat 1 first)\n"
    "  --help              print this help\n"
    "\n"
    "Exit status: 0 done, 1 bad or unwritable file, 2 usage error.\n";

int usage(const std::string& problem)
{
    std::cerr << program << ": " << problem << "; try '" << program << " --help'." << std::endl;
    return 2;
}

// The system's reason for the failure just seen, when it gave one.
std::string because(int error)
{
    return error != 0 ? std::string(" (") + std::strerror(error) + ")" : std::string();
}

int cannotwrite(const char* path)
{
    std::cerr << path << ": cannot write the file" << because(errno) << std::endl;
    return 1;
}

int make(const std::string& name, const char* path)
{
    std::vector<firework_t> scene;
    if (!vexlor::makebuiltin(name, scene))
        return usage("unknown show \"" + name + "\" (choose " + vexlor::builtinchoice() + ")");
    if (!vexlor::save(path, scene))
        return cannotwrite(path);
    return 0;
}

int check(const char* path)
{
    vexlor::fileformat_t format;
    std::string message;
    if (!vexlor::sniffformat(path, format, message)) {
        std::cerr << message << std::endl;
        return 1;
    }
    if (format == vexlor::fileformat_t::scene) {
        if (!vexlor::check(path, message)) {
            std::cerr << message << std::endl;
            return 1;
        }
        return 0;
    }
    vexlor::show_t show;
    std::vector<std::string> problems;
    if (!vexlor::readshowfile(path, show, problems, {}, sndkit::readtrack)) {
        for (const std::string& problem : problems)
            std::cerr << problem << '\n';
        std::cerr.flush();
        return 1;
    }
    // The viewer would play the show without its music: a mistake all the same.
    if (!show.music.file.empty()) {
        sndkit::musicinfo_t music;
        if (!sndkit::probemusic(show.music.file.c_str(), music, message)) {
            std::cerr << vexlor::musicproblem(show.music, message) << std::endl;
            return 1;
        }
    }
    // Beats asked for and not found: a mistake even if no shell counts them.
    if (!show.music.beatproblem.empty()) {
        std::cerr << show.music.beatproblem << std::endl;
        return 1;
    }
    return 0;
}

bool open(const std::string& arg, vexlor::show_t& show)
{
    std::string message;
    if (vexlor::openshow(arg, show, message, {}, sndkit::readtrack))
        return true;
    std::cerr << message << std::endl;
    return false;
}

void beatsofshells(const vexlor::show_t& show);

int info(const std::string& path)
{
    vexlor::show_t show;
    if (!open(path, show))
        return 1;
    const vexlor::scenecounts_t counts = vexlor::countshow(show);
    std::cout << "fireworks: " << counts.fireworks << '\n'
              << "designs: " << show.designs.size() << '\n'
              << "fires: " << counts.fires << '\n'
              << "powders: " << counts.powders << '\n'
              << "films: " << counts.films << '\n';
    // From the model: when the last spark has burnt out, and the busiest of
    // the frames up to then.
    vexlor::showtiming_t timing;
    timing.analyse(show);
    const vexlor::busiest_t busiest = timing.busiest(show);
    char line[128];
    if (!timing.ends())
        std::snprintf(line, sizeof line, "length: does not end\n");
    else
        std::snprintf(line, sizeof line, "length: %.3f s\n", std::max(0.0, static_cast<double>(timing.end())));
    std::cout << line;
    std::snprintf(line, sizeof line, "largest frame: %zu points at %.3f s\n", busiest.points, busiest.at);
    // Each shell's launch and burst: the frame after the end has asked for all.
    std::cout << line << "sounds: " << 2 * show.shells.size() << '\n';
    if (show.look.night()) std::cout << "look: " << vexlor::describelook(show.look) << '\n';
    if (!show.music.file.empty()) {
        sndkit::musicinfo_t music;
        std::string message;
        if (!sndkit::probemusic(show.music.file.c_str(), music, message)) {
            std::cout.flush();
            std::cerr << vexlor::musicproblem(show.music, message) << std::endl;
            return 1;
        }
        std::snprintf(line, sizeof line, "music: %.3f s, %s, %d Hz, %d channel%s, from %g s at gain %g\n",
                      music.seconds(), music.format.c_str(), music.rate, music.channels,
                      music.channels == 1 ? "" : "s", show.music.offset, show.music.gain);
        std::cout << show.music.file << '\n' << line;
    }
    if (!show.music.beatproblem.empty()) {
        std::cout.flush();
        std::cerr << show.music.beatproblem << std::endl;
        return 1;
    }
    if (vexlor::hasbeats(show.music))
        beatsofshells(show);
    std::cout.flush();
    return 0;
}

// Each shell's break on the music's beats: on a beat, or how far from the nearest.
void beatsofshells(const vexlor::show_t& show)
{
    char line[160];
    std::snprintf(line, sizeof line, "beats: %zu at %.2f a minute (%s)\n", vexlor::beatcount(show.music),
                  show.music.bpm, show.music.detect ? "detected" : "given");
    std::cout << line;
    for (std::size_t i = 0; i < show.shells.size(); ++i) {
        const vexlor::firework_t& shell = show.shells[i];
        const double burst = static_cast<double>(shell.time) + static_cast<double>(shell.fuse);
        std::cout << "shell " << i + 1;
        if (const vexlor::shellorigin_t* origin = vexlor::originof(show, i))
            std::cout << " (" << origin->file << ':' << origin->line << ", " << origin->kind << ')';
        vexlor::beatplace_t place;
        vexlor::beatat(show.music, burst, place);
        // Within a millisecond counts as on the beat: the model keeps times as floats.
        if (std::fabs(place.off) < 0.0005)
            std::snprintf(line, sizeof line, ": breaks at %.3f s on beat %zu\n", burst, place.beat);
        else
            std::snprintf(line, sizeof line, ": breaks at %.3f s, beat %zu %+.3f s\n", burst, place.beat, place.off);
        std::cout << line;
    }
}

int beats(const char* path)
{
    sndkit::trackscan_t scan;
    sndkit::scanwant_t want;
    want.beats = true;
    std::string message;
    if (!sndkit::scantrack(path, want, scan, message)) {
        std::cerr << path << ": " << message << std::endl;
        return 1;
    }
    char line[64];
    std::snprintf(line, sizeof line, "tempo: %.2f beats a minute\n", scan.beats.bpm);
    std::cout << line;
    for (double t : scan.beats.times) {
        std::snprintf(line, sizeof line, "%.3f\n", t);
        std::cout << line;
    }
    return 0;
}

int expand(const std::string& from, const char* to)
{
    vexlor::show_t show;
    if (!open(from, show))
        return 1;
    if (!vexlor::save(to, show))
        return cannotwrite(to);
    return 0;
}

int run(int argc, char** argv)
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
    if (command == "expand") {
        if (argc != 4)
            return usage("expand takes a show and a scene file name");
        return expand(argv[2], argv[3]);
    }
    if (command == "beats") {
        if (argc != 3)
            return usage("beats takes one music file");
        if (argv[2][0] == '\0')
            return usage("the file name is empty");
        return beats(argv[2]);
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

} // namespace

// What was printed must have reached standard output: `info > /dev/full`
// fails like any other write.
int main(int argc, char** argv)
{
    const int status = run(argc, argv);
    if (!std::cout.flush()) {
        std::cerr << program << ": cannot write to standard output" << because(errno) << std::endl;
        return 1;
    }
    return status;
}
