// vexlor-scene run as a program: usage, the six shows written and read back,
// the checker's verdicts and the facts that info prints; show files checked,
// described and expanded, and every show of the gallery checked.
#include "firework/loadsave.h"
#include "firework/openshow.h"
#include "firework/show.h"
#include "tests/firework/scenes.h"

#include <filesystem>

#include <sndfile.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>

namespace {

struct result_t { int status; std::string out, err; };

// Runs the tool with the given arguments (no quoting needed for them),
// in the given environment settings ("NAME=value ...").
result_t run(const tempdir& dir, const std::string& arguments, const std::string& environment = "")
{
    const std::string out = dir.path + "/stdout", err = dir.path + "/stderr";
    const int raw = std::system((environment + " " + SCENETOOL + " " + arguments + " >" + out + " 2>" + err).c_str());
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, tempdir::read(out), tempdir::read(err)};
}

} // namespace

TEST(SceneTool, MakeCheckInfoHelpAndUsage)
{
    tempdir dir;
    std::vector<vexlor::firework_t> scene;
    for (const auto& [show, fireworks] : std::vector<std::pair<std::string, std::size_t>>{
             {"single", 1}, {"random", 23}, {"miniexhibition", 5}, {"blink", 1}, {"susuki", 1}, {"simple", 1}}) {
        const std::string path = dir.path + "/" + show + ".scene";
        EXPECT_TRUE(run(dir, "make " + show + " " + path).status == 0 && run(dir, "check " + path).status == 0) << show;
        ASSERT_TRUE(vexlor::load(path.c_str(), scene));
        EXPECT_EQ(scene.size(), fireworks);
    }
    // The last one, simple, is white at speed 6.25.
    EXPECT_TRUE(scene.at(0).fires.at(0).speed == 6.25f && scenes::same(scene[0].fires[0].powders.at(0).films.at(0).from, {1, 1, 1, 1}));
    // Susuki: 176 stars of 1 + 320 stages, one film each; it ends when the
    // last spark (lit 2 + 10 s in) has glowed for 0.25 s; at 60 frames a
    // second the first frame with nine sparks and the star lit behind every
    // star comes half a second after the burst.
    // The same under a decimal-comma locale (made by the test fixture).
    for (const char* environment : {"", "LC_ALL=de_DE.UTF-8"}) {
        const result_t info = run(dir, "info " + dir.path + "/susuki.scene", environment);
        EXPECT_EQ(info.status, 0);
        EXPECT_EQ(info.out, "fireworks: 1\ndesigns: 1\nfires: 176\npowders: 56496\nfilms: 56496\n"
                            "length: 12.250 s\nlargest frame: 1760 points at 2.500 s\nsounds: 2\n") << environment;
    }

    const result_t help = run(dir, "--help");
    EXPECT_TRUE(help.status == 0 && help.out.rfind("Usage: vexlor-scene make SHOW FILE\n", 0) == 0);
    const result_t usage = run(dir, "make susuki");
    EXPECT_TRUE(usage.status == 2 && usage.err == "vexlor-scene: make takes a show and a file name; try 'vexlor-scene --help'.\n");
    for (const char* empty : {"make single ''", "check ''", "info ''"}) {
        const result_t r = run(dir, empty);
        EXPECT_EQ(r.status, 2) << empty;
        EXPECT_EQ(r.err, "vexlor-scene: the file name is empty; try 'vexlor-scene --help'.\n") << empty;
    }
    const std::string broken = dir.write("broken.scene", "1\r\n0\r\n1, 2, 3\r\ndir3(0, 0, 20)\r\n2\r\n9\r\n1\r\n"
                                                         "col3a(1, 1, 1, 1)\r\n0\r\n");
    const result_t checked = run(dir, "info " + broken); // info checks first: load would hang on this file
    EXPECT_TRUE(checked.status == 1 && checked.out.empty());
    EXPECT_EQ(checked.err, broken + ":3: expected the launch position as pos3(x, y, z), found \"1, 2, 3\"\n");
}

// Whatever is written must arrive: a full disk ends make, expand and info
// with one line and status 1.
TEST(SceneTool, AFullDiskIsAFailure)
{
    tempdir dir;
    const std::pair<std::string, std::string> cases[] = {
        {"make susuki /dev/full", "/dev/full: cannot write the file (No space left on device)\n"},
        {"expand random /dev/full", "/dev/full: cannot write the file (No space left on device)\n"},
        {"info single >/dev/full", "vexlor-scene: cannot write to standard output (No space left on device)\n"},
        {"--help >/dev/full", "vexlor-scene: cannot write to standard output (No space left on device)\n"},
    };
    for (const auto& [arguments, says] : cases) {
        const std::string err = dir.path + "/stderr";
        const int raw = std::system((std::string(SCENETOOL) + " " + arguments + " 2>" + err).c_str());
        EXPECT_TRUE(WIFEXITED(raw) && WEXITSTATUS(raw) == 1) << arguments;
        EXPECT_EQ(tempdir::read(err), says) << arguments;
    }
}

// What is not a show or scene file is refused as what it is, and a FIFO or
// a device is never read (a FIFO would hang the tool: the test times out),
// named on the command line or included by a show file.
TEST(SceneTool, FilesThatAreNeitherShowsNorScenesAreToldAsWhatTheyAre)
{
    tempdir dir;
    const std::string fifo = dir.path + "/fifo.scene";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const std::string binary = dir.write("zeros.scene", std::string("1\n") + std::string(1000, '\0'));
    const std::string includes = dir.write("includes.toml", "[[shell]]\nkind = \"scene\"\ntime = 0\nfile = \"/dev/zero\"\n"
                                                            "[[shell]]\nkind = \"scene\"\ntime = 0\nfile = \"fifo.scene\"\n");
    const std::pair<std::string, std::string> cases[] = {
        {fifo, fifo + ": not a regular file (a FIFO)\n"},
        {"/dev/zero", "/dev/zero: not a regular file (a character device)\n"},
        {binary, binary + ": a binary file, neither a show file nor a scene file\n"},
        {includes, includes + ":4:8: scene file: /dev/zero: not a regular file (a character device)\n"},
    };
    for (const auto& [file, says] : cases)
        for (const char* command : {"check ", "info "}) {
            const result_t r = run(dir, command + file);
            EXPECT_EQ(r.status, 1) << command << file;
            EXPECT_EQ(r.err.substr(0, r.err.find('\n') + 1), says) << command << file;
        }
    EXPECT_EQ(run(dir, "check " + includes).err,
              includes + ":4:8: scene file: /dev/zero: not a regular file (a character device)\n" + includes
                  + ":8:8: scene file: " + fifo + ": not a regular file (a FIFO)\n");
}

TEST(SceneTool, ShowFilesCheckedDescribedAndExpanded)
{
    tempdir dir;
    const std::string show = dir.write("salvo.vexlor.toml", "# two rows\n[[shell]]\nkind = \"simple\"\ntime = 0\ncount = 3\n"
                                                     "interval = 0.5\nstep = [10, 0, 0]\n\n[[shell]]\nkind = \"single\"\ntime = 1\n");
    EXPECT_EQ(run(dir, "check " + show).status, 0);
    const result_t info = run(dir, "info " + show);
    EXPECT_EQ(info.status, 0);
    EXPECT_EQ(info.out.substr(0, info.out.find("length")),
              "fireworks: 4\ndesigns: 2\nfires: 992\npowders: 992\nfilms: 992\n");
    // The expansion is an ordinary scene file that reads back as the same show.
    const std::string scene = dir.path + "/salvo.scene";
    ASSERT_EQ(run(dir, "expand " + show + " " + scene).status, 0);
    EXPECT_EQ(run(dir, "check " + scene).status, 0);
    EXPECT_EQ(run(dir, "info " + scene).out, info.out);
    std::vector<vexlor::firework_t> loaded;
    ASSERT_TRUE(vexlor::load(scene.c_str(), loaded));
    ASSERT_EQ(loaded.size(), 4u);
    EXPECT_TRUE(loaded[2].time == 1.0f && loaded[2].position.x == 20.0f && loaded[3].fires.size() == 464u);
    EXPECT_EQ(run(dir, "expand random " + dir.path + "/random.scene").status, 0);

    // Every problem, each on its own line with its position; nothing on standard output.
    const std::string bad = dir.write("bad.toml", "[[shell]]\nkind = \"sparkler\"\ntime = 0\n[[shell]]\nkind = \"blink\"\n"
                                                  "time = -2\ncount = 100001\n");
    const result_t checked = run(dir, "check " + bad);
    EXPECT_TRUE(checked.status == 1 && checked.out.empty());
    EXPECT_EQ(checked.err, bad + ":2:8: unknown kind \"sparkler\" (choose single, simple, blink, susuki, random, miniexhibition, scene, peony, chrysanthemum, dahlia, willow, palm, ring, crossette, strobe, crackle, multibreak, comet, mine or cake)\n"
                           + bad + ":6:8: time must lie from 0 to 14400 s\n"
                           + bad + ":7:9: count must lie from 1 to 100000\n");
    // Info and expand stop at the first problem; a failed expand writes nothing.
    const result_t expanded = run(dir, "expand " + bad + " " + dir.path + "/bad.scene");
    EXPECT_TRUE(expanded.status == 1 && expanded.err == bad + ":2:8: unknown kind \"sparkler\" (choose single, simple, "
                                                             "blink, susuki, random, miniexhibition, scene, peony, "
                                                             "chrysanthemum, dahlia, willow, palm, ring, crossette, strobe, "
                                                             "crackle, multibreak, comet, mine or cake)\n");
    EXPECT_FALSE(std::filesystem::exists(dir.path + "/bad.scene"));
    EXPECT_EQ(run(dir, "info " + dir.path + "/none.toml").status, 1);
    EXPECT_EQ(run(dir, "expand " + show).status, 2);
}

// A show that starts late, or pauses between its shells, lasts until its last
// spark: info's length, busiest frame and sounds count every shell. The
// thousand-shell gallery show is told from its designs, not played.
TEST(SceneTool, InfoOnShowsThatStartLateOrPause)
{
    tempdir dir;
    const std::string late = dir.write("late.toml", "[[shell]]\nkind = \"single\"\ntime = 1.0\n");
    const std::string gap = dir.write("gap.toml", "[[shell]]\nkind = \"simple\"\ntime = 0\n\n"
                                                   "[[shell]]\nkind = \"simple\"\ntime = 30\n");
    const result_t a = run(dir, "info " + late), b = run(dir, "info " + gap);
    EXPECT_EQ(a.status, 0);
    EXPECT_NE(a.out.find("length: 23.000 s\nlargest frame: 464 points at 3.017 s\nsounds: 2\n"), std::string::npos)
        << a.out;
    EXPECT_EQ(b.status, 0);
    EXPECT_NE(b.out.find("length: 52.000 s\nlargest frame: 176 points at 2.017 s\nsounds: 4\n"), std::string::npos)
        << b.out;
    const result_t thousand = run(dir, std::string("info ") + SHOWS + "/thousand.vexlor.toml");
    EXPECT_NE(thousand.out.find("length: 71.850 s\nlargest frame: 153800 points at "), std::string::npos)
        << thousand.out;
}

// A show's music: check opens it and names the show file's line and the
// track when it cannot be played; info tells its length and format.
TEST(SceneTool, MusicCheckedAndDescribed)
{
    tempdir dir;
    {
        SF_INFO format{};
        format.samplerate = 44100;
        format.channels = 2;
        format.format = SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
        SNDFILE* file = sf_open((dir.path + "/song.flac").c_str(), SFM_WRITE, &format);
        ASSERT_NE(file, nullptr);
        std::vector<float> samples(2 * 66150, 0.1f);
        sf_writef_float(file, samples.data(), 66150);
        sf_close(file);
    }
    const std::string shell = "[[shell]]\nkind = \"single\"\ntime = 0\n";
    const std::string good = dir.write("good.toml", shell + "[music]\nfile = \"song.flac\"\noffset = -0.5\ngain = 0.8\n");
    EXPECT_EQ(run(dir, "check " + good).status, 0);
    const result_t info = run(dir, "info " + good);
    EXPECT_EQ(info.status, 0);
    EXPECT_NE(info.out.find("sounds: 2\n" + dir.path + "/song.flac\nmusic: 1.500 s, FLAC (Signed 16 bit PCM), 44100 Hz, "
                            "2 channels, from -0.5 s at gain 0.8\n"), std::string::npos) << info.out;

    // The look a show asks for is told after the sounds.
    const std::string night = dir.write("night.toml", shell + "[look]\nname = \"night\"\nwater = true\nwind = [2, 0, 0]\n");
    const result_t looks = run(dir, "info " + night);
    EXPECT_EQ(looks.status, 0);
    EXPECT_NE(looks.out.find("sounds: 2\nlook: night, water, wind 2:0:0 m/s, sky night, horizon skyline, smoke, glow 1\n"),
              std::string::npos) << looks.out;
    EXPECT_EQ(run(dir, "info " + good).out.find("look:"), std::string::npos) << "the plain look goes unsaid";

    dir.write("notes.txt", "these are words\n");
    std::filesystem::create_directory(dir.path + "/folder.ogg");
    const std::pair<std::string, std::string> cases[] = {{"missing.ogg", "cannot read the file (No such file or directory)"},
                                                         {"notes.txt", "not a sound format that can be played ("},
                                                         {"folder.ogg", "cannot read the file (Is a directory)"}};
    for (const auto& [name, reason] : cases) {
        const std::string bad = dir.write("bad.toml", shell + "\n[music]\nfile = \"" + name + "\"\n");
        for (const char* command : {"check ", "info "}) {
            const result_t r = run(dir, command + bad);
            EXPECT_EQ(r.status, 1) << command << name;
            EXPECT_EQ(r.err.rfind(bad + ":6:8: music file: " + dir.path + "/" + name + ": " + reason, 0), 0u) << r.err;
            EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
        }
    }
}

TEST(SceneTool, EveryShowOfTheGalleryPasses)
{
    tempdir dir;
    std::size_t shows = 0;
    for (const auto& entry : std::filesystem::directory_iterator(SHOWS)) {
        if (entry.path().extension() != ".toml")
            continue;
        const result_t checked = run(dir, "check " + entry.path().string());
        EXPECT_TRUE(checked.status == 0 && checked.err.empty()) << checked.err;
        ++shows;
    }
    EXPECT_GE(shows, 4u);
}

// The beats of a track as aubio and the fitted grid find them, and the beat
// each shell of a show breaks on; tracks without beats say so.
TEST(SceneTool, BeatsOfATrackAndOfAShowsShells)
{
    tempdir dir;
    const result_t beats = run(dir, std::string("beats ") + SHOWS + "/beat.ogg");
    ASSERT_EQ(beats.status, 0) << beats.err;
    std::istringstream lines(beats.out);
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line, "tempo: 120.00 beats a minute");
    // shows/beat.ogg: a beat every half second from 0 for 24 s.
    int k = 0;
    for (; std::getline(lines, line); ++k) EXPECT_NEAR(std::stod(line), 0.5 * k, 0.010) << "beat " << k + 1;
    EXPECT_EQ(k, 48);

    EXPECT_EQ(run(dir, "beats").status, 2);
    dir.write("words.ogg", "these are words\n");
    const result_t words = run(dir, "beats " + dir.path + "/words.ogg");
    EXPECT_EQ(words.status, 1);
    EXPECT_EQ(words.err.rfind(dir.path + "/words.ogg: ", 0), 0u) << words.err;
    EXPECT_EQ(std::count(words.err.begin(), words.err.end(), '\n'), 1);

    const std::string music = std::string("[music]\nfile = \"") + SHOWS + "/beat.ogg\"\n";
    const std::string show = dir.write("show.toml", music + "bpm = 120\nfirst_beat = 0\n"
                                                    "[[shell]]\nkind = \"single\"\nbeat = 9\n"
                                                    "[[shell]]\nkind = \"simple\"\nburst = 6.1\n");
    const result_t info = run(dir, "info " + show);
    ASSERT_EQ(info.status, 0) << info.err;
    EXPECT_NE(info.out.find("beats: 49 at 120.00 a minute (given)\n"
                            "shell 1 (" + show + ":5, single): breaks at 4.000 s on beat 9\n"
                            "shell 2 (" + show + ":8, simple): breaks at 6.100 s, beat 13 +0.100 s\n"),
              std::string::npos) << info.out;
    const result_t detected = run(dir, "info " + dir.write("detect.toml", music + "beats = \"detect\"\n"
                                                                          "[[shell]]\nkind = \"single\"\nbeat = 5\n"));
    ASSERT_EQ(detected.status, 0) << detected.err;
    EXPECT_NE(detected.out.find("beats: 48 at 120.00 a minute (detected)\n"), std::string::npos) << detected.out;

    // Beats asked of a track without any: a show that counts them is
    // refused, one that does not plays but check says so.
    const std::string words_music = "[music]\nfile = \"words.ogg\"\nbeats = \"detect\"\n";
    const result_t counted = run(dir, "check " + dir.write("counted.toml", words_music + "[[shell]]\nkind = \"single\"\nbeat = 2\n"));
    EXPECT_EQ(counted.status, 1);
    EXPECT_NE(counted.err.find("counted.toml:6:8: beat cannot be used: the music file " + dir.path + "/words.ogg cannot be read"),
              std::string::npos) << counted.err;
    const result_t uncounted = run(dir, "check " + dir.write("uncounted.toml", words_music + "[[shell]]\nkind = \"single\"\ntime = 2\n"));
    EXPECT_EQ(uncounted.status, 1);
    EXPECT_EQ(std::count(uncounted.err.begin(), uncounted.err.end(), '\n'), 1) << uncounted.err;
}

namespace {

// The numbers after each `"key": ` in a JSON text, in order.
std::vector<double> jsonvalues(const std::string& json, const std::string& key)
{
    std::vector<double> values;
    const std::string tag = "\"" + key + "\": ";
    for (std::size_t at = json.find(tag); at != std::string::npos; at = json.find(tag, at + 1))
        values.push_back(std::strtod(json.c_str() + at + tag.size(), nullptr));
    return values;
}

} // namespace

// Designers plan from info --json: real shells burst as high and as wide as
// the published figures say (cylinders 30 m high and 14 m across an inch of
// calibre; balls 90 mm: 120 m and 60 m, 150 mm: 190 m and 150-170 m, 300 mm:
// 330 m and 300-320 m), within 15 %.
TEST(SceneTool, InfoJsonTellsEachShellsBurstAsTheFiguresSay)
{
    tempdir dir;
    struct { const char* calibre; const char* style; double height, diameter; } figures[] = {
        {"75mm", "cylinder", 88.6, 41.3}, {"150mm", "cylinder", 177.2, 82.7}, {"300mm", "cylinder", 354.3, 165.4},
        {"75mm", "ball", 100.0, 50.0},    {"150mm", "ball", 190.0, 160.0},    {"300mm", "ball", 330.0, 310.0},
    };
    std::string text = "[camera]\nposition = [0, -900, 2]\ntarget = [0, 0, 150]\n";
    double time = 0.0;
    for (const auto& f : figures) {
        text += std::string("[[shell]]\nkind = \"peony\"\ntime = ") + std::to_string(time) + "\ncalibre = \"" + f.calibre
              + "\"\nstyle = \"" + f.style + "\"\n";
        time += 10.0;
    }
    const std::string show = dir.write("sizes.vexlor.toml", text);
    const result_t info = run(dir, "info --json " + show);
    ASSERT_EQ(info.status, 0) << info.err;
    const std::vector<double> heights = jsonvalues(info.out, "burst_height");
    const std::vector<double> diameters = jsonvalues(info.out, "burst_diameter");
    const std::vector<double> launches = jsonvalues(info.out, "launch"), bursts = jsonvalues(info.out, "burst");
    ASSERT_EQ(heights.size(), std::size(figures)) << info.out;
    ASSERT_EQ(diameters.size(), std::size(figures));
    for (std::size_t i = 0; i < std::size(figures); ++i) {
        const auto& f = figures[i];
        EXPECT_NEAR(heights[i], f.height, 0.15 * f.height) << f.calibre << " " << f.style;
        EXPECT_NEAR(diameters[i], f.diameter, 0.15 * f.diameter) << f.calibre << " " << f.style;
        EXPECT_DOUBLE_EQ(launches[i], 10.0 * static_cast<double>(i));
        // Display shells' time fuses: 3 to 7 s.
        EXPECT_GT(bursts[i] - launches[i], 2.5);
        EXPECT_LT(bursts[i] - launches[i], 7.0);
    }
    const std::vector<double> ends = jsonvalues(info.out, "end");
    ASSERT_EQ(ends.size(), std::size(figures));
    EXPECT_DOUBLE_EQ(jsonvalues(info.out, "length").at(0), ends.back());
    EXPECT_NE(info.out.find("\"kind\": \"peony\", \"calibre\": 300.000, \"style\": \"ball\""), std::string::npos);
    EXPECT_EQ(jsonvalues(info.out, "designs").at(0), 6.0);

    // A scene file has no calibres: its shells are told as such.
    const result_t scene = run(dir, "info --json single");
    EXPECT_EQ(scene.status, 0);
    EXPECT_NE(scene.out.find("\"kind\": \"scene\""), std::string::npos) << scene.out;
    EXPECT_EQ(run(dir, "info --json").status, 2);
    EXPECT_EQ(run(dir, "info --json " + dir.path + "/none.toml").status, 1);
}

// A scene file holds plain stars only: expand refuses what it cannot write,
// naming the shell's line and why, and writes nothing.
TEST(SceneTool, ExpandRefusesEffectsASceneFileCannotHold)
{
    tempdir dir;
    const std::string show = dir.write("willow.vexlor.toml", "[[shell]]\nkind = \"single\"\ntime = 0\n\n"
                                                            "[[shell]]\nkind = \"willow\"\ntime = 1\n");
    const std::string scene = dir.path + "/willow.scene";
    const result_t expanded = run(dir, "expand " + show + " " + scene);
    EXPECT_EQ(expanded.status, 1);
    EXPECT_EQ(expanded.err, show + ":5:1: the willow shell cannot be expanded: a scene file cannot hold stars with tails\n");
    EXPECT_FALSE(std::filesystem::exists(scene));
}
