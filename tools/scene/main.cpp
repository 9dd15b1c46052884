// vexlor-scene: the built-in shows as scene files, show files expanded into
// scene files, a look into either before the viewer plays them, and the
// beats of a music track.
// Exit status: 0 done, 1 the file is bad or cannot be written, 2 usage error
// (an empty file name included).
#include "audio/musicstream.h"
#include "audio/trackscan.h"
#include "firework/ballistic.h"
#include "firework/builtin.h"
#include "firework/framing.h"
#include "firework/loadsave.h"
#include "firework/openshow.h"
#include "firework/scenecheck.h"
#include "firework/sceneinfo.h"
#include "firework/showbeats.h"
#include "firework/showfile.h"
#include "firework/showtiming.h"
#include "firework/soundcue.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <limits>
#include <map>
#include <string>
#include <vector>

namespace {

using vexlor::firework_t;

constexpr const char* program = "vexlor-scene";

const char* const helptext =
    "Usage: vexlor-scene make SHOW FILE\n"
    "       vexlor-scene check FILE\n"
    "       vexlor-scene info [--json] FILE\n"
    "       vexlor-scene expand SHOWFILE SCENEFILE\n"
    "       vexlor-scene beats TRACK\n"
    "Writes the built-in shows of the vexlor fireworks viewer to scene files,\n"
    "checks show and scene files, tells what is in them and expands show files\n"
    "into scene files, and finds the beats of music tracks. Show and scene files\n"
    "are told apart by their content.\n"
    "A show file's shells are of the kinds single, simple, blink, susuki,\n"
    "random, miniexhibition and scene, or real effects sized by their calibre:\n"
    "peony, chrysanthemum, dahlia, willow, palm, ring, crossette, strobe,\n"
    "crackle, multibreak, comet, mine and cake (see the README).\n"
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
    "  info --json FILE    the same as one JSON object, with each shell's kind,\n"
    "                      calibre, style, launch and burst times, burst point\n"
    "                      and height above its launch site, burst diameter and\n"
    "                      the time its last star goes out (metres, seconds)\n"
    "  expand SHOW SCENE   write SHOW (a show file, scene file or built-in show)\n"
    "                      as the scene file SCENE; shells whose stars have\n"
    "                      effects a scene file cannot hold (every kind sized\n"
    "                      by calibre) are refused: the first is named by its\n"
    "                      line and nothing is written\n"
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
    // Every launch, burst and crackle heard: the frame after the end has
    // asked for all.
    std::cout << line << "sounds: " << vexlor::soundcues(show).size() << '\n';
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

// A string as JSON writes it.
std::string jsonstring(const std::string& text)
{
    std::string out = "\"";
    for (const char c : text) {
        const auto u = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (u < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", u);
            out += escaped;
        } else {
            out += c;
        }
    }
    return out + "\"";
}

// A number as JSON writes it: millisecond (or millimetre) steps; null for
// what JSON has no number for.
std::string jsonnumber(double value)
{
    if (!std::isfinite(value))
        return "null";
    char text[64];
    std::snprintf(text, sizeof text, "%.3f", value);
    return text;
}

const char* partname(vexlor::part_t part)
{
    switch (part) {
    case vexlor::part_t::laterbreak: return "laterbreak";
    case vexlor::part_t::risingtail: return "risingtail";
    case vexlor::part_t::shot: return "shot";
    case vexlor::part_t::whole: break;
    }
    return "whole";
}

int infojson(const std::string& path)
{
    vexlor::show_t show;
    if (!open(path, show))
        return 1;
    vexlor::showtiming_t timing;
    timing.analyse(show);
    const vexlor::busiest_t busiest = timing.busiest(show);
    std::map<std::size_t, double> diameters; // per design, measured once
    std::string out = "{\n  \"file\": " + jsonstring(path) + ",\n";
    out += "  \"length\": " + jsonnumber(timing.ends() ? std::max(0.0, static_cast<double>(timing.end()))
                                                          : std::numeric_limits<double>::infinity()) + ",\n";
    out += "  \"busiest\": {\"points\": " + std::to_string(busiest.points) + ", \"at\": " + jsonnumber(busiest.at)
         + "},\n";
    out += "  \"designs\": " + std::to_string(show.designs.size()) + ",\n";
    out += "  \"effects\": " + std::to_string(show.effects.size()) + ",\n";
    if (!show.music.file.empty())
        out += "  \"music\": " + jsonstring(show.music.file) + ",\n";
    if (show.camera.placed) {
        const geokit::position3_t& p = show.camera.position;
        const geokit::position3_t& q = show.camera.target;
        out += "  \"camera\": {\"position\": [" + jsonnumber(p.x) + ", " + jsonnumber(p.y) + ", " + jsonnumber(p.z)
             + "], \"target\": [" + jsonnumber(q.x) + ", " + jsonnumber(q.y) + ", " + jsonnumber(q.z)
             + "], \"fov\": " + jsonnumber(show.camera.fov) + "},\n";
    }
    out += "  \"shells\": [";
    for (std::size_t i = 0; i < show.shells.size(); ++i) {
        const vexlor::firework_t& shell = show.shells[i];
        const vexlor::shellnote_t note = vexlor::noteof(show, i);
        const vexlor::entrynote_t* entry = note.entry < show.entries.size() ? &show.entries[note.entry] : nullptr;
        const vexlor::shelltimes_t& times = timing.shells()[i];
        const std::size_t design = show.design[i];
        auto found = diameters.find(design);
        if (found == diameters.end())
            found = diameters.emplace(design, vexlor::designbox(show, design).diameter()).first;
        const geokit::position3_t B = vexlor::ballistic(shell.position, shell.velocity, shell.fuse, shell.drag);
        out += i == 0 ? "\n" : ",\n";
        out += "    {\"kind\": " + jsonstring(entry != nullptr ? entry->kind : "scene");
        if (entry != nullptr && entry->calibre > 0.0)
            out += ", \"calibre\": " + jsonnumber(entry->calibre) + ", \"style\": " + jsonstring(entry->style);
        if (entry != nullptr)
            out += ", \"line\": " + std::to_string(entry->line);
        out += ", \"part\": " + jsonstring(partname(note.part)) + ", \"index\": " + std::to_string(note.index);
        out += ", \"launch\": " + jsonnumber(times.launch) + ", \"burst\": " + jsonnumber(times.burst);
        out += ", \"burst_point\": [" + jsonnumber(B.x) + ", " + jsonnumber(B.y) + ", " + jsonnumber(B.z) + "]";
        out += ", \"burst_height\": " + jsonnumber(static_cast<double>(B.z) - shell.position.z);
        out += ", \"burst_diameter\": " + jsonnumber(found->second);
        out += ", \"end\": " + jsonnumber(times.out) + "}";
    }
    out += show.shells.empty() ? "]\n}\n" : "\n  ]\n}\n";
    std::cout << out;
    return 0;
}

int expand(const std::string& from, const char* to)
{
    vexlor::show_t show;
    if (!open(from, show))
        return 1;
    // Refused before the file is touched: a scene file cannot hold what
    // the real kinds draw.
    for (std::size_t i = 0; i < show.shells.size(); ++i) {
        std::string reason;
        if (vexlor::expandable(show, i, reason))
            continue;
        const vexlor::shellnote_t note = vexlor::noteof(show, i);
        if (note.entry < show.entries.size()) {
            const vexlor::entrynote_t& entry = show.entries[note.entry];
            std::cerr << show.sourcefile << ":" << entry.line << ":" << entry.column << ": the " << entry.kind
                      << " shell cannot be expanded: " << reason << std::endl;
        } else {
            std::cerr << from << ": shell " << i + 1 << " cannot be expanded: " << reason << std::endl;
        }
        return 1;
    }
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
    if (command == "info" && argc >= 3 && std::string(argv[2]) == "--json") {
        if (argc != 4)
            return usage("info --json takes one file name");
        if (argv[3][0] == '\0')
            return usage("the file name is empty");
        return infojson(argv[3]);
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
